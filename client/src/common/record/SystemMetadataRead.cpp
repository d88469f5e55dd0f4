// Reading a stored SystemMetadata: the mandatory part, then the appended part that stops at the first
// field an older file doesn't have.

#include <iterator>
#include <ostream>

#include "vantrell/plugin/Logging.h"
#include "vantrell/record/Serializer.h"
#include "vantrell/record/SystemMetadata.h"
#include "vantrell/value/DataHandleProvider.h"

namespace pwr {
namespace {

constexpr char kDeserializeArea[] = "SystemMeta::deserialize";
// Files of versions before 2020.3.0 store the continuous quantum as 16-bit seconds.
constexpr uint32_t kQuantumInMsecsVersion = 0x07E40300;

unsigned versionMajor(uint32_t version) {
    return version >> 16;
}
unsigned versionMinor(uint32_t version) {
    return (version >> 8) & 0xffu;
}
unsigned versionPatch(uint32_t version) {
    return version & 0xffu;
}

// ---- Mandatory part: any shortage or empty string fails the record, without a message ----------------

bool readPluginUuids(Serializer& in, std::map<int, std::string>& out) {
    uint16_t count = 0;
    if (in.read_count(count) == 0) {
        return false;
    }
    for (uint16_t i = 0; i < count; ++i) {
        int32_t sid = 0;
        std::string uuid;
        if (in.read_int32(sid) == 0 || in.read_string(uuid) == 0) {
            return false;
        }
        out.emplace(sid, std::move(uuid));  // the first of a repeated sid stays
    }
    return true;
}

bool readIdentity(Serializer& in, SystemMetadata& m) {
    if (!readPluginUuids(in, m.pluginUuids) || in.read_uint8(m.fms.family) == 0 ||
        in.read_uint8(m.fms.model) == 0 || in.read_uint8(m.fms.stepping) == 0) {
        return false;
    }
    if (in.read_uint32(m.appVersion) == 0) {
        return false;
    }
    VR_LOG(4, "INFO: OK, read app version = %u (%u.%u.%u)\n", m.appVersion, versionMajor(m.appVersion),
           versionMinor(m.appVersion), versionPatch(m.appVersion));
    if (in.read_uint32(m.driverVersion) == 0) {
        return false;
    }
    VR_LOG(4, "INFO: OK, read driver version = %u (%u.%u.%u)\n", m.driverVersion,
           versionMajor(m.driverVersion), versionMinor(m.driverVersion), versionPatch(m.driverVersion));
    if (in.read_uint32(m.scuVersion) == 0) {
        return false;
    }
    for (std::string* text : {&m.platformName, &m.hostName, &m.osName, &m.osType, &m.osVersion}) {
        if (in.read_string(*text) == 0) {
            return false;
        }
    }
    return true;
}

bool readFrequency(Serializer& in, float& mhz, const char* format) {
    if (in.read_float(mhz) == 0) {
        return false;
    }
    VR_LOG(4, format, static_cast<double>(mhz));
    return true;
}

bool readFrequencies(Serializer& in, SystemMetadata& m) {
    if (!readFrequency(in, m.busFreqMHz, "INFO: OK: read bus freq = %.2f\n") ||
        !readFrequency(in, m.vraClockFreqMHz, "INFO: OK: read vra clock freq = %.2f\n") ||
        !readFrequency(in, m.lfmFreqMHz, "INFO: OK: read lfm freq = %.2f\n") ||
        !readFrequency(in, m.hfmFreqMHz, "INFO: OK: read hfm freq = %.2f\n") ||
        !readFrequency(in, m.cpuFreqMHz, "INFO: OK: read CPU freq = %.2f\n")) {
        return false;
    }
    // From here on this record's clock converts timestamps for the whole process.
    if (g_pluginEnvironment != nullptr) {
        g_pluginEnvironment->setDefaultClockToTSCRatio(m.vraClockFreqMHz, m.cpuFreqMHz);
    }
    return true;
}

bool readTimesAndCommandLine(Serializer& in, SystemMetadata& m) {
    if (in.read_uint64(m.startTSC) == 0 || in.read_uint64(m.stopTSC) == 0) {
        return false;
    }
    VR_LOG(4, "INFO: OK: read start, stop TSC = %llu, %llu\n", static_cast<unsigned long long>(m.startTSC),
           static_cast<unsigned long long>(m.stopTSC));
    if (in.read_uint64(m.startTimeval) == 0 || in.read_uint64(m.stopTimeval) == 0) {
        return false;
    }
    VR_LOG(4, "INFO: OK: read start, stop Timeval = %llu, %llu\n",
           static_cast<unsigned long long>(m.startTimeval), static_cast<unsigned long long>(m.stopTimeval));
    if (in.read_uint16(m.pollingIntervalMsecs) == 0) {
        return false;
    }
    VR_LOG(4, "INFO: OK: read polling interval msecs = %d\n", m.pollingIntervalMsecs);
    if (in.read_uint8(m.maxDetail) == 0) {
        return false;
    }
    VR_LOG(4, "INFO: OK: read max detail = %u\n", m.maxDetail);
    if (!in.read_strings(m.commandLine)) {
        return false;
    }
    std::ostream& line = VR_LOG_STREAM(4) << "OK: read command line: ";
    const char* separator = "";
    for (const std::string& word : m.commandLine) {
        line << separator << word;
        separator = " ";
    }
    line << std::endl;
    return true;
}

// ---- Appended part: a missing field ends the read with its warning and success ------------------------

enum class Outcome { kRead, kMissing, kFailed };

Outcome present(unsigned long long bytesRead) {
    return bytesRead != 0 ? Outcome::kRead : Outcome::kMissing;
}

Outcome readPlatformSpecifiers(Serializer& in, SystemMetadata& m) {
    uint16_t count = 0;
    if (in.read_count(count) == 0) {
        return Outcome::kMissing;
    }
    for (uint16_t i = 0; i < count; ++i) {
        std::string key;
        std::string value;
        if (in.read_string(key) == 0 || in.read_string(value) == 0) {
            return Outcome::kFailed;
        }
        m.platformSpecifiers.emplace_back(std::move(key), std::move(value));
    }
    return Outcome::kRead;
}

Outcome readTopologyChanges(Serializer& in, SystemMetadata& m) {
    uint16_t count = 0;
    if (in.read_count(count) == 0) {
        return Outcome::kMissing;
    }
    for (uint16_t i = 0; i < count; ++i) {
        TopologyChange change;
        // The change logs what it missed, and that the list couldn't be read.
        if (change.deserialize(in) != 0) {
            return Outcome::kFailed;
        }
        m.topologyChanges.push_back(change);
    }
    return Outcome::kRead;
}

Outcome readCpuNativeModelIds(Serializer& in, SystemMetadata& m) {
    uint16_t count = 0;
    if (in.read_count(count) == 0) {
        return Outcome::kMissing;
    }
    for (uint16_t i = 0; i < count; ++i) {
        uint32_t id = 0;
        if (in.read_uint32(id) == 0) {
            return Outcome::kFailed;
        }
        m.cpuNativeModelIds.push_back(id);
    }
    return Outcome::kRead;
}

Outcome readContinuousQuantum(Serializer& in, SystemMetadata& m) {
    if (m.appVersion < kQuantumInMsecsVersion) {
        uint16_t seconds = 0;
        if (in.read_uint16(seconds) == 0) {
            return Outcome::kMissing;
        }
        m.continuousQuantumMsecs = seconds * 1000u;
        return Outcome::kRead;
    }
    return present(in.read_uint32(m.continuousQuantumMsecs));
}

bool readClockSync(Serializer& in, VRClockSync& sync) {
    return in.read_string(sync.clockUUID) != 0 && in.read_string(sync.clockName) != 0 &&
           in.read_float(sync.clockFreqMHz) != 0 && in.read_uint64(sync.clockValue) != 0 &&
           in.read_string(sync.defaultClockUUID) != 0 && in.read_string(sync.defaultClockName) != 0 &&
           in.read_float(sync.defaultClockFreqMHz) != 0 && in.read_uint64(sync.defaultClockValue) != 0;
}

Outcome readClockSyncs(Serializer& in, SystemMetadata& m) {
    uint16_t count = 0;
    if (in.read_count(count) == 0) {
        return Outcome::kMissing;
    }
    for (uint16_t i = 0; i < count; ++i) {
        VRClockSync sync;
        if (!readClockSync(in, sync)) {
            VR_LOG(2, "WARNING: Couldn't extract clock sync data\n");
            return Outcome::kFailed;
        }
        m.clockSyncs.push_back(std::move(sync));
    }
    return Outcome::kRead;
}

struct AppendedField {
    Outcome (*read)(Serializer&, SystemMetadata&);
    const char* warning;  // logged at level 2 when the field is missing
    bool area;            // the warning also goes out when the debug area is open
};

// Fields 24 to 44 in stored order.
const AppendedField kAppendedFields[] = {
    {[](Serializer& in, SystemMetadata& m) { return present(in.read_uint64(m.samplesProduced)); },
     "WARNING: couldn't extract # produced samples -- older file?!\n", false},
    {[](Serializer& in, SystemMetadata& m) { return present(in.read_uint64(m.samplesDropped)); },
     "WARNING: couldn't extract # dropped samples -- older file?!\n", false},
    {[](Serializer& in, SystemMetadata& m) { return present(in.read_bool(m.lowOverheadMode)); },
     "WARNING: couldn't extract low overhead mode information -- older file?!\n", false},
    {readPlatformSpecifiers, "WARNING: couldn't extract platform specifiers -- older file?!\n", false},
    {readTopologyChanges, "WARNING: couldn't extract topology changes -- older file?!\n", false},
    {[](Serializer& in, SystemMetadata& m) { return present(in.read_uint8(m.hyperVEnable)); },
     "WARNING: couldn't extract HyperV enable information -- older file?!\n", false},
    {[](Serializer& in, SystemMetadata& m) { return present(in.read_uint8(m.vsmEnable)); },
     "WARNING: couldn't extract VSM enable information -- older file?!\n", false},
    {readCpuNativeModelIds, "WARNING: couldn't extract cpu native model IDs -- older file?!\n", false},
    {[](Serializer& in, SystemMetadata& m) { return present(in.read_uint32(m.platformId)); },
     "WARNING: couldn't extract Platform Id information -- older file?!\n", false},
    {[](Serializer& in, SystemMetadata& m) { return present(in.read_uint8(m.edramCap)); },
     "WARNING: couldn't extract Edram Cap information -- older file?!\n", false},
    {[](Serializer& in, SystemMetadata& m) { return present(in.read_uint32(m.iGfxId)); },
     "WARNING: couldn't extract iGfx Id information -- older file?!\n", false},
    {[](Serializer& in, SystemMetadata& m) { return present(in.read_string(m.driverBuildDate)); },
     "WARNING: couldn't extract driver build date information -- older file?!\n", true},
    {[](Serializer& in, SystemMetadata& m) { return present(in.read_uint64(m.programStartTimeval)); },
     "WARNING: couldn't extract program start/stop timeval -- older file?!\n", true},
    {[](Serializer& in, SystemMetadata& m) { return present(in.read_uint64(m.programStopTimeval)); },
     "WARNING: couldn't extract program start/stop timeval -- older file?!\n", true},
    {[](Serializer& in, SystemMetadata& m) { return present(in.read_string(m.exeBuildDate)); },
     "WARNING: couldn't extract .exe build date information -- older file?!\n", false},
    {readContinuousQuantum,
     "WARNING: couldn't extract continuous collection quantum information -- older file?!\n", false},
    // The clock syncs share the topology changes' warning; files and tools expect that text.
    {readClockSyncs, "WARNING: couldn't extract topology changes -- older file?!\n", false},
    {[](Serializer& in, SystemMetadata& m) { return present(in.read_uint8(m.hvciEnable)); },
     "WARNING: couldn't extract Hypervisor Enforced Code Integrity enable information -- older file?!\n",
     true},
    {[](Serializer& in, SystemMetadata& m) { return present(in.read_string(m.versionString)); },
     "WARNING: couldn't extract non-numeric version number -- older file?!\n", true},
    {[](Serializer& in, SystemMetadata& m) { return present(in.read_string(m.buildRef)); },
     "WARNING: couldn't extract build ref information -- older file?!\n", false},
    {[](Serializer& in, SystemMetadata& m) { return present(in.read_string(m.packageType)); },
     "WARNING: couldn't extract package type information -- older file?!\n", false},
};

int readAppended(Serializer& in, SystemMetadata& m) {
    for (const AppendedField& field : kAppendedFields) {
        switch (field.read(in, m)) {
            case Outcome::kRead:
                break;
            case Outcome::kFailed:
                return -1;
            case Outcome::kMissing:
                if (field.area) {
                    VR_LOG_AREA(2, kDeserializeArea, "%s", field.warning);
                } else {
                    VR_LOG(2, "%s", field.warning);
                }
                return 0;
        }
    }
    return 0;
}

}  // namespace

int SystemMetadata::deserialize_i(Serializer& in, unsigned int) {
    if (!readIdentity(in, *this)) {
        return -1;
    }
    // The tree has no status of its own here: a cut tree leaves the fields behind it short, and they
    // fail the record.
    (void)cpuTopology.deserializeTree(in);
    if (!readFrequencies(in, *this) || !readTimesAndCommandLine(in, *this)) {
        return -1;
    }
    if (readAppended(in, *this) != 0) {
        return -1;
    }
    DataHandleProvider::resetTopology(*this);
    return 0;
}

}  // namespace pwr
