#include "Sources.h"

#include <vantrell/plugin/Logging.h>

namespace vantrell::linuxcollector {

std::unique_ptr<Source> makeSource(SourceKind kind) {
    switch (kind) {
        case SourceKind::Cpuidle:
            return makeCpuidleSource();
        case SourceKind::ProcStat:
            return makeProcStatSource();
        case SourceKind::Cpufreq:
            return makeCpufreqSource();
        case SourceKind::Cpuinfo:
            return makeCpuinfoSource();
        case SourceKind::Thermal:
            return makeThermalSource();
        case SourceKind::Hwmon:
            return makeHwmonSource();
        case SourceKind::Powercap:
            return makePowercapSource();
        case SourceKind::Interrupts:
            return makeInterruptsSource();
    }
    return nullptr;
}

void reportOnce(bool& reported, const char* why, const std::string& path) {
    if (!reported) {
        reported = true;
        VR_LOG(2, "WARNING: linux-collector: %s %s; skipped\n", why, path.c_str());
    }
}

}  // namespace vantrell::linuxcollector
