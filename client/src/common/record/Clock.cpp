#include "vantrell/record/Clock.h"

#include <cmath>

#include "platform/PlatformOs.h"
#include "vantrell/plugin/Logging.h"
#include "vantrell/plugin/PluginEnvironment.h"

namespace pwr {

namespace {

// 100-nanosecond units between 1601-01-01 and 1970-01-01.
constexpr uint64_t kFileTimeOfUnixEpoch = 116444736000000000ULL;

// 2^64 as a double: the first value that no longer fits.
constexpr double kTwoTo64 = 18446744073709551616.0;

uint64_t truncateToUnsigned(double value) {
    if (std::isnan(value) || value <= 0.0) {
        return 0;
    }
    if (value >= kTwoTo64) {
        return UINT64_MAX;
    }
    return static_cast<uint64_t>(value);
}

const VRClockSource* defaultClock() {
    return g_pluginEnvironment == nullptr ? nullptr : g_pluginEnvironment->getDefaultClock();
}

}  // namespace

VRClockSource::VRClockSource(std::string uuid, std::string name, std::string description)
    : uuid(std::move(uuid)), name(std::move(name)), description(std::move(description)) {}

VRClockSource::~VRClockSource() = default;

VRTSCClock::VRTSCClock()
    : VRClockSource("5138ffc0-517d-11e5-b970-0800200c9a66", "TSC", "A TSC based clock source") {}

uint64_t VRTSCClock::getTimestamp() const {
    return platform::os::readTimeStampCounter();
}

VRQPCClock::VRQPCClock()
    : VRClockSource("d3ad8390-29cc-11e6-bdf4-0800200c9a66", "QPC", "A QPC based clock source") {}

float VRQPCClock::getFrequencyMHz() const {
    return static_cast<float>(static_cast<double>(platform::os::performanceFrequency()) / 1000000.0);
}

uint64_t VRQPCClock::getTimestamp() const {
    return platform::os::readPerformanceCounter();
}

VRNanoClock::VRNanoClock()
    : VRClockSource("8ad42930-517d-11e5-b970-0800200c9a66", "NANO",
                    "A clock_gettime based clock source returning time in nanoseconds since the Epoch") {}

uint64_t VRNanoClock::getTimestamp() const {
    return (platform::os::readPreciseFileTime() - kFileTimeOfUnixEpoch) * 100;
}

void getVRSystemClockSources(const SystemMetadata&, std::vector<VRClockSource*>& out) {
    out.push_back(new VRQPCClock());
    out.push_back(new VRNanoClock());
    out.push_back(new VRTSCClock());
}

void freeVRSystemClockSources(std::vector<VRClockSource*>& clocks) {
    for (VRClockSource* clock : clocks) {
        delete clock;
    }
}

uint64_t getVRATimestamp() {
    const VRClockSource* clock = defaultClock();
    return clock == nullptr ? 0 : clock->getTimestamp();
}

const std::string& getVRAClockUUID() {
    static const std::string kNone;
    const VRClockSource* clock = defaultClock();
    return clock == nullptr ? kNone : clock->getUUID();
}

bool wasClockSynchronized(const std::string& uuid, const std::deque<VRClockSync>& syncs, VRClockSync& out) {
    for (const VRClockSync& sync : syncs) {
        out = sync;
        VR_LOG(3, "DEBUG: Looking at sync clock %s\n", out.clockUUID.c_str());
        if (out.clockUUID == uuid) {
            VR_LOG(3, "DEBUG: Found clock UUID %s with freq %.2f and val %llu (Default = %s, %.2f, %llu)\n",
                   out.clockUUID.c_str(), static_cast<double>(out.clockFreqMHz),
                   static_cast<unsigned long long>(out.clockValue), out.defaultClockUUID.c_str(),
                   static_cast<double>(out.defaultClockFreqMHz),
                   static_cast<unsigned long long>(out.defaultClockValue));
            return true;
        }
    }
    return false;
}

uint64_t convertTimestamp(const VRClockSync& sync, unsigned long long timestamp) {
    uint64_t difference = static_cast<uint64_t>(timestamp) - sync.clockValue;
    double ratio = static_cast<double>(sync.defaultClockFreqMHz) / static_cast<double>(sync.clockFreqMHz);
    uint64_t converted = truncateToUnsigned(static_cast<double>(difference) * ratio) + sync.defaultClockValue;
    VR_LOG(4, "INFO: input TSC = %llu, output TSC = %llu\n", timestamp,
           static_cast<unsigned long long>(converted));
    return converted;
}

}  // namespace pwr
