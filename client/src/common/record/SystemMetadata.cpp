#include "vantrell/record/SystemMetadata.h"

#include <cstdio>
#include <ostream>
#include <sstream>

#include "vantrell/record/Serializer.h"

namespace pwr {
namespace {

void writeClockSync(Serializer& out, const VRClockSync& sync) {
    out.write_string(sync.clockUUID);
    out.write_string(sync.clockName);
    out.write_float(sync.clockFreqMHz);
    out.write_uint64(sync.clockValue);
    out.write_string(sync.defaultClockUUID);
    out.write_string(sync.defaultClockName);
    out.write_float(sync.defaultClockFreqMHz);
    out.write_uint64(sync.defaultClockValue);
}

void writeMandatory(Serializer& out, const SystemMetadata& m) {
    out.write_count(m.pluginUuids.size());
    for (const auto& plugin : m.pluginUuids) {
        out.write_int32(plugin.first);
        out.write_string(plugin.second);
    }
    out.write_uint8(m.fms.family);
    out.write_uint8(m.fms.model);
    out.write_uint8(m.fms.stepping);
    out.write_uint32(m.appVersion);
    out.write_uint32(m.driverVersion);
    out.write_uint32(m.scuVersion);
    for (const std::string* text : {&m.platformName, &m.hostName, &m.osName, &m.osType, &m.osVersion}) {
        out.write_string(*text);
    }
    m.cpuTopology.serializeTree(out);
    for (float mhz : {m.busFreqMHz, m.vraClockFreqMHz, m.lfmFreqMHz, m.hfmFreqMHz, m.cpuFreqMHz}) {
        out.write_float(mhz);
    }
    for (uint64_t value : {m.startTSC, m.stopTSC, m.startTimeval, m.stopTimeval}) {
        out.write_uint64(value);
    }
    out.write_uint16(m.pollingIntervalMsecs);
    out.write_uint8(m.maxDetail);
    out.write_strings(m.commandLine);
}

void writeAppended(Serializer& out, const SystemMetadata& m) {
    out.write_uint64(m.samplesProduced);
    out.write_uint64(m.samplesDropped);
    out.write_bool(m.lowOverheadMode);
    out.write_string_pairs(m.platformSpecifiers);
    out.write_count(m.topologyChanges.size());
    for (const TopologyChange& change : m.topologyChanges) {
        change.serialize(out);
    }
    out.write_uint8(m.hyperVEnable);
    out.write_uint8(m.vsmEnable);
    out.write_count(m.cpuNativeModelIds.size());
    for (uint32_t id : m.cpuNativeModelIds) {
        out.write_uint32(id);
    }
    out.write_uint32(m.platformId);
    out.write_uint8(m.edramCap);
    out.write_uint32(m.iGfxId);
    out.write_string(m.driverBuildDate);
    out.write_uint64(m.programStartTimeval);
    out.write_uint64(m.programStopTimeval);
    out.write_string(m.exeBuildDate);
    // Always milliseconds in 32 bits; only files of versions before 2020.3.0 hold 16-bit seconds.
    out.write_uint32(m.continuousQuantumMsecs);
    out.write_count(m.clockSyncs.size());
    for (const VRClockSync& sync : m.clockSyncs) {
        writeClockSync(out, sync);
    }
    out.write_uint8(m.hvciEnable);
    out.write_string(m.versionString);
    out.write_string(m.buildRef);
    out.write_string(m.packageType);
}

// Days since 1970-01-01 to a proleptic Gregorian date (H. Hinnant's civil_from_days): pure arithmetic,
// so that the conversion needs neither the C runtime's static buffer nor a platform call.
void civilFromDays(int64_t days, int64_t& year, unsigned& month, unsigned& day) {
    days += 719468;
    const int64_t era = (days >= 0 ? days : days - 146096) / 146097;
    const unsigned dayOfEra = static_cast<unsigned>(days - era * 146097);
    const unsigned yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const unsigned dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const unsigned shiftedMonth = (5 * dayOfYear + 2) / 153;
    day = dayOfYear - (153 * shiftedMonth + 2) / 5 + 1;
    month = shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9;
    year = static_cast<int64_t>(yearOfEra) + era * 400 + (month <= 2 ? 1 : 0);
}

std::string dottedVersion(uint32_t version) {
    std::ostringstream text;
    text << (version >> 16) << "." << ((version >> 8) & 0xffu) << "." << (version & 0xffu);
    return text.str();
}

void dumpClockSyncs(std::ostream& out, const std::deque<VRClockSync>& syncs) {
    out << "Synchronized clocks: \n";
    size_t index = 0;
    for (const VRClockSync& sync : syncs) {
        out << "\tClock[" << index++ << "]:\n";
        out << "\t\tClock UUID: " << sync.clockUUID << "\n";
        out << "\t\tClock Name: " << sync.clockName << "\n";
        out << "\t\tClock Freq (MHz): " << sync.clockFreqMHz << "\n";
        out << "\t\tClock Value: " << sync.clockValue << "\n";
        out << "\t\tDefault Clock UUID: " << sync.defaultClockUUID << "\n";
        out << "\t\tDefault Clock Name: " << sync.defaultClockName << "\n";
        out << "\t\tDefault Clock Freq (MHz): " << sync.defaultClockFreqMHz << "\n";
        out << "\t\tDefault Clock Value: " << sync.defaultClockValue << "\n";
    }
}

}  // namespace

SystemMetadata::SystemMetadata() : Metadata(SYSTEM_METADATA) {}

SystemMetadata::~SystemMetadata() = default;

void SystemMetadata::serialize_i(Serializer& out) const {
    writeMandatory(out, *this);
    writeAppended(out, *this);
}

void SystemMetadata::buildTopology(const std::string& text, unsigned long long coresPerModule) {
    cpuTopology.buildTopology(text, coresPerModule);
}

std::string SystemMetadata::formatTimevalAsString(uint64_t timeval) {
    if (timeval == 0) {
        return "N/A";
    }
    const uint64_t seconds = timeval / 1000000000ull;
    const int64_t days = static_cast<int64_t>(seconds / 86400);
    const unsigned secondOfDay = static_cast<unsigned>(seconds % 86400);
    int64_t year = 0;
    unsigned month = 0;
    unsigned day = 0;
    civilFromDays(days, year, month, day);
    std::ostringstream text;
    text.fill('0');
    text << year << "-";
    text.width(2);
    text << month << "-";
    text.width(2);
    text << day << " ";
    text.width(2);
    text << secondOfDay / 3600 << ":";
    text.width(2);
    text << secondOfDay / 60 % 60 << ":";
    text.width(2);
    text << secondOfDay % 60 << " GMT";
    return text.str();
}

std::string SystemMetadata::getCollectionStartTime() const {
    return formatTimevalAsString(startTimeval);
}

std::string SystemMetadata::getProgramStartTime() const {
    return formatTimevalAsString(programStartTimeval);
}

double SystemMetadata::getCollectionDurationSec() const {
    return static_cast<double>(stopTimeval - startTimeval) / 1e9;
}

std::ostream& operator<<(std::ostream& out, const SystemMetadata& m) {
    out << "FMS: " << m.fms << "\n";
    out << "App version: " << dottedVersion(m.appVersion) << "\n";
    out << "App build date: " << m.exeBuildDate << "\n";
    out << "Driver version: " << dottedVersion(m.driverVersion) << "\n";
    out << "Driver build date: " << m.driverBuildDate << "\n";
    out << "SCU version: " << m.scuVersion << "\n";
    out << "Platform name: " << m.platformName << "\n";
    out << "Host name: " << m.hostName << "\n";
    out << "OS name: " << m.osName << "\n";
    out << "OS type: " << m.osType << "\n";
    out << "OS version: " << m.osVersion << "\n";
    out << "Bus freq (MHz): " << m.busFreqMHz << "\n";
    out << "VRA clock freq (MHz): " << m.vraClockFreqMHz << "\n";
    out << "LFM freq (MHz): " << m.lfmFreqMHz << "\n";
    out << "HFM freq (MHz): " << m.hfmFreqMHz << "\n";
    out << "Base operating freq (MHz): " << m.cpuFreqMHz << "\n";
    out << "Start TSC: " << m.startTSC << "\n";
    out << "Stop TSC: " << m.stopTSC << "\n";
    out << "Start Timeval: " << m.startTimeval << "\n";
    out << "Stop Timeval: " << m.stopTimeval << "\n";
    out << "Polling interval (msecs): " << m.pollingIntervalMsecs << "\n";
    out << "Collection command line: ";
    const char* separator = "";
    for (const std::string& word : m.commandLine) {
        out << separator << word;
        separator = " ";
    }
    out << "\n";
    out << "Collected samples : " << m.samplesProduced << ", dropped samples: " << m.samplesDropped << "\n";
    for (const auto& plugin : m.pluginUuids) {
        out << "\tsid[" << plugin.first << "] => uuid[" << plugin.second << "]\n";
    }
    out << "Platform specifiers: \n";
    for (const auto& specifier : m.platformSpecifiers) {
        out << "\t" << specifier.first << " => " << specifier.second << "\n";
    }
    out << "Topology changes: \n";
    for (const TopologyChange& change : m.topologyChanges) {
        out << change;
    }
    dumpClockSyncs(out, m.clockSyncs);
    return out << "Package Type: " << m.packageType << "\n";
}

}  // namespace pwr
