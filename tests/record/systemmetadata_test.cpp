#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "value/RegistryEnvironment.h"
#include "vantrell/record/Serializer.h"
#include "vantrell/record/SystemMetadata.h"
#include "vantrell/value/EntityHandle.h"

namespace {

using pwr::Metadata;
using pwr::Serializer;
using pwr::SystemMetadata;

constexpr char kArea[] = "SystemMeta::deserialize";

pwr::TopologyChange change(uint64_t ts, uint32_t action, uint16_t cpu) {
    pwr::vr_driver_topology_change raw{ts, action, cpu, static_cast<uint16_t>(cpu / 2), 0};
    return pwr::TopologyChange(raw, 0);
}

pwr::VRClockSync sync(const std::string& name, uint64_t value) {
    return pwr::VRClockSync{"uuid-" + name, name, 10.0f, value, "uuid-tsc", "TSC", 2400.0f, value * 3};
}

// A machine with every field set to something other than its default.
SystemMetadata sampleMachine() {
    SystemMetadata m;
    m.pluginUuids = {{1, "uuid-a"}, {5, "uuid-b"}};
    m.fms = pwr::FMS(6, 0x8e, 0xc);
    m.appVersion = 0x07E40300;
    m.driverVersion = 0x00030201;
    m.scuVersion = 7;
    m.platformName = "PCH=DGWLP,PCI=ZLKB";
    m.hostName = "bench-host";
    m.osName = "Linux";
    m.osType = "x86_64";
    m.osVersion = "6.1";
    m.buildTopology("0 0 0 0 1 0 0 0 2 0 1 0 3 0 1 0", 0);
    m.busFreqMHz = 100.0f;
    m.vraClockFreqMHz = 2400.0f;
    m.lfmFreqMHz = 800.0f;
    m.hfmFreqMHz = 4000.0f;
    m.cpuFreqMHz = 2000.0f;
    m.startTSC = 1000;
    m.stopTSC = 9000;
    m.startTimeval = 1700000000000000000ull;
    m.stopTimeval = 1700000001500000000ull;
    m.pollingIntervalMsecs = 100;
    m.maxDetail = 1;
    m.commandLine = {"vantrell", "-t", "5"};
    m.samplesProduced = 1000;
    m.samplesDropped = 3;
    m.lowOverheadMode = true;
    m.platformSpecifiers = {{"PCH", "40324"}, {"PCI", "1"}};
    m.topologyChanges = {change(1500, 1, 3), change(1600, 3, 3)};
    m.hyperVEnable = 1;
    m.vsmEnable = 2;
    m.cpuNativeModelIds = {0x20000001, 0x40000001};
    m.platformId = 6;
    m.edramCap = 1;
    m.iGfxId = 39713;
    m.driverBuildDate = "2020-01-02";
    m.programStartTimeval = 1699999999000000000ull;
    m.programStopTimeval = 1700000002000000000ull;
    m.exeBuildDate = "2020-01-03";
    m.continuousQuantumMsecs = 5000;
    m.clockSyncs = {sync("QPC", 100), sync("NANO", 200)};
    m.hvciEnable = 1;
    m.versionString = "2020.3 beta";
    m.buildRef = "abc123";
    m.packageType = "full";
    return m;
}

std::vector<char> bytesOf(const Metadata& record) {
    Serializer out;
    record.serialize(out);
    return out.get_buffer();
}

std::unique_ptr<SystemMetadata> readBack(const std::vector<char>& bytes, size_t length) {
    Serializer in(std::vector<char>(bytes.begin(), bytes.begin() + static_cast<long>(length)));
    std::unique_ptr<Metadata> record(Metadata::deserialize(in, 0));
    if (record && record->getType() != pwr::SYSTEM_METADATA) {
        ADD_FAILURE() << "wrong record type " << record->getType();
        return nullptr;
    }
    return std::unique_ptr<SystemMetadata>(static_cast<SystemMetadata*>(record.release()));
}

std::unique_ptr<SystemMetadata> readBack(const std::vector<char>& bytes) {
    return readBack(bytes, bytes.size());
}

// The WARNING lines of a log text.
std::string warnings(const std::string& text) {
    std::istringstream lines(text);
    std::string line;
    std::string out;
    while (std::getline(lines, line)) {
        if (line.find("WARNING: ") != std::string::npos) {
            out += line + "\n";
        }
    }
    return out;
}

// The stored form written field by field in the documented order, independently of the writer under
// test, with the byte range of each appended field.
struct StoredRecord {
    struct Field {
        size_t start = 0;
        size_t end = 0;
        bool list = false;
        std::string warning;                         // logged when the field is missing
        std::function<void(SystemMetadata&)> reset;  // puts the field back to its default
    };
    using M = SystemMetadata;

    explicit StoredRecord(const M& m, bool shortQuantum = false) {
        writeMandatory(m);
        mandatoryEnd = out.size();
        writeAppended(m, shortQuantum);
        bytes = out.get_buffer();
    }

    void put(uint8_t v) { out.write_uint8(v); }
    void put(bool v) { out.write_bool(v); }
    void put(uint32_t v) { out.write_uint32(v); }
    void put(uint64_t v) { out.write_uint64(v); }
    void put(float v) { out.write_float(v); }
    void put(const std::string& v) { out.write_string(v); }
    void put(const pwr::TopologyChange& v) { v.serialize(out); }
    void put(const pwr::VRClockSync& s) {
        put(s.clockUUID), put(s.clockName), put(s.clockFreqMHz), put(s.clockValue);
        put(s.defaultClockUUID), put(s.defaultClockName), put(s.defaultClockFreqMHz),
            put(s.defaultClockValue);
    }
    template <class List>
    void putList(const List& list) {
        out.write_count(list.size());
        for (const auto& element : list) {
            put(element);
        }
    }

    void writeMandatory(const M& m) {
        put(uint32_t{2});
        out.write_count(m.pluginUuids.size());
        for (const auto& plugin : m.pluginUuids) {
            out.write_int32(plugin.first), put(plugin.second);
        }
        put(m.fms.family), put(m.fms.model), put(m.fms.stepping);
        put(m.appVersion), put(m.driverVersion), put(m.scuVersion);
        put(m.platformName), put(m.hostName), put(m.osName), put(m.osType), put(m.osVersion);
        m.cpuTopology.serializeTree(out);
        put(m.busFreqMHz), put(m.vraClockFreqMHz), put(m.lfmFreqMHz), put(m.hfmFreqMHz), put(m.cpuFreqMHz);
        put(m.startTSC), put(m.stopTSC), put(m.startTimeval), put(m.stopTimeval);
        out.write_uint16(m.pollingIntervalMsecs), put(m.maxDetail);
        putList(m.commandLine);
    }

    template <class T>
    void field(const std::string& what, const M& m, T M::*member) {
        mark(
            what, false, [&] { put(m.*member); }, [member](M& x) { x.*member = T{}; });
    }
    template <class T>
    void listField(const std::string& what, const M& m, T M::*member) {
        mark(
            what, true, [&] { putList(m.*member); }, [member](M& x) { x.*member = T{}; });
    }
    void mark(const std::string& what, bool list, const std::function<void()>& write,
              std::function<void(M&)> reset) {
        size_t start = out.size();
        write();
        fields.push_back({start, out.size(), list, "WARNING: couldn't extract " + what + " -- older file?!\n",
                          std::move(reset)});
    }

    void writeAppended(const M& m, bool shortQuantum) {
        field("# produced samples", m, &M::samplesProduced);
        field("# dropped samples", m, &M::samplesDropped);
        field("low overhead mode information", m, &M::lowOverheadMode);
        mark(
            "platform specifiers", true, [&] { out.write_string_pairs(m.platformSpecifiers); },
            [](M& x) { x.platformSpecifiers.clear(); });
        listField("topology changes", m, &M::topologyChanges);
        field("HyperV enable information", m, &M::hyperVEnable);
        field("VSM enable information", m, &M::vsmEnable);
        listField("cpu native model IDs", m, &M::cpuNativeModelIds);
        field("Platform Id information", m, &M::platformId);
        field("Edram Cap information", m, &M::edramCap);
        field("iGfx Id information", m, &M::iGfxId);
        field("driver build date information", m, &M::driverBuildDate);
        field("program start/stop timeval", m, &M::programStartTimeval);
        field("program start/stop timeval", m, &M::programStopTimeval);
        field(".exe build date information", m, &M::exeBuildDate);
        if (shortQuantum) {  // 16-bit seconds, as files before 2020.3.0 hold it
            mark(
                "continuous collection quantum information", false,
                [&] { out.write_uint16(static_cast<uint16_t>(m.continuousQuantumMsecs / 1000)); },
                [](M& x) { x.continuousQuantumMsecs = 0; });
        } else {
            field("continuous collection quantum information", m, &M::continuousQuantumMsecs);
        }
        listField("topology changes", m, &M::clockSyncs);  // shares the warning of field 28
        field("Hypervisor Enforced Code Integrity enable information", m, &M::hvciEnable);
        field("non-numeric version number", m, &M::versionString);
        field("build ref information", m, &M::buildRef);
        field("package type information", m, &M::packageType);
    }

    Serializer out;
    std::vector<char> bytes;
    size_t mandatoryEnd = 0;
    std::vector<Field> fields;
};

TEST(SystemMetadata, WritesTheDocumentedLayoutAndReadsItBack) {
    vrtest::ScopedLogCapture capture(4);
    SystemMetadata m = sampleMachine();
    StoredRecord stored(m);
    ASSERT_EQ(stored.fields.size(), 21u) << "fields 24 to 44";
    EXPECT_EQ(bytesOf(m), stored.bytes);

    capture.clear();
    auto back = readBack(stored.bytes);
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(warnings(capture.text()), "");
    EXPECT_EQ(bytesOf(*back), stored.bytes);
    EXPECT_EQ(back->getPluginID(), -1);
    EXPECT_EQ(back->getCPUTopology().getNumThreads(), 4u);
    EXPECT_EQ(back->getCPUTopology().getNumCores(), 2u);
    EXPECT_EQ(back->clockSyncs[1].clockName, "NANO");
    EXPECT_EQ(back->topologyChanges[1].getActionName(), "ONLINE");
    EXPECT_EQ(back->continuousQuantumMsecs, 5000u);

    SystemMetadata copy = *back;
    EXPECT_EQ(bytesOf(copy), stored.bytes) << "a copy holds its own topology";
}

TEST(SystemMetadata, EveryTruncatedPrefixReadsWhatItShould) {
    SystemMetadata full = sampleMachine();
    StoredRecord stored(full);
    for (size_t length = 0; length < stored.bytes.size(); ++length) {
        SCOPED_TRACE(length);
        vrtest::ScopedLogCapture capture(2);
        auto back = readBack(stored.bytes, length);
        if (length < stored.mandatoryEnd) {
            EXPECT_EQ(back, nullptr);
            EXPECT_EQ(capture.text(), "") << "the mandatory part fails without a message";
            continue;
        }
        size_t i = 0;
        while (stored.fields[i].end <= length) {
            ++i;
        }
        const StoredRecord::Field& cut = stored.fields[i];
        if (cut.list && length >= cut.start + 2) {
            EXPECT_EQ(back, nullptr) << "a list cut inside its elements fails the record";
            continue;
        }
        ASSERT_NE(back, nullptr);
        EXPECT_EQ(capture.text(), cut.warning);
        SystemMetadata expected = full;
        for (size_t j = i; j < stored.fields.size(); ++j) {
            stored.fields[j].reset(expected);
        }
        EXPECT_EQ(bytesOf(*back), bytesOf(expected));
    }
}

TEST(SystemMetadata, ListsCutInsideTheirElementsSayWhy) {
    SystemMetadata full = sampleMachine();
    StoredRecord stored(full);
    const StoredRecord::Field& changes = stored.fields[4];
    const StoredRecord::Field& syncs = stored.fields[16];
    struct Case {
        size_t length;
        const char* log;
    } cases[] = {
        {changes.start + 2,
         "WARNING: couldn't extract timestamp for topology change!\n"
         "WARNING: error extracting topology changes!\n"},
        {changes.end - 1,
         "WARNING: couldn't extract module id for topology change!\n"
         "WARNING: error extracting topology changes!\n"},
        {syncs.start + 2, "WARNING: Couldn't extract clock sync data\n"},
        {syncs.end - 1, "WARNING: Couldn't extract clock sync data\n"},
        {syncs.start, "WARNING: couldn't extract topology changes -- older file?!\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.length);
        vrtest::ScopedLogCapture capture(2);
        auto back = readBack(stored.bytes, c.length);
        EXPECT_EQ(back == nullptr, c.length != syncs.start);
        EXPECT_EQ(capture.text(), c.log);
    }
}

TEST(SystemMetadata, QuantumWidthFollowsTheAppVersion) {
    SystemMetadata old = sampleMachine();
    old.appVersion = 0x07E40200;
    StoredRecord shortForm(old, true);
    StoredRecord longForm(sampleMachine(), false);
    EXPECT_EQ(shortForm.fields[15].end - shortForm.fields[15].start, 2u);
    EXPECT_EQ(longForm.fields[15].end - longForm.fields[15].start, 4u);

    for (const StoredRecord* stored : {&shortForm, &longForm}) {
        vrtest::ScopedLogCapture capture(2);
        auto back = readBack(stored->bytes);
        ASSERT_NE(back, nullptr);
        EXPECT_EQ(capture.text(), "");
        EXPECT_EQ(back->continuousQuantumMsecs, 5000u);
        EXPECT_EQ(back->packageType, "full") << "the fields behind the quantum line up";
    }
}

TEST(SystemMetadata, EmptyMandatoryTextsFailTheRead) {
    std::vector<std::function<void(SystemMetadata&)>> spoilers = {
        [](SystemMetadata& m) { m.hostName.clear(); },
        [](SystemMetadata& m) { m.platformName.clear(); },
        [](SystemMetadata& m) { m.osVersion.clear(); },
        [](SystemMetadata& m) { m.pluginUuids[3] = ""; },
        [](SystemMetadata& m) { m.commandLine.push_back(""); },
    };
    for (size_t i = 0; i < spoilers.size(); ++i) {
        SCOPED_TRACE(i);
        SystemMetadata m = sampleMachine();
        spoilers[i](m);
        vrtest::ScopedLogCapture capture(2);
        EXPECT_EQ(readBack(bytesOf(m)), nullptr);
        EXPECT_EQ(capture.text(), "");
    }
}

TEST(SystemMetadata, EmptyAppendedTextEndsTheRead) {
    SystemMetadata m = sampleMachine();
    m.driverBuildDate.clear();
    vrtest::ScopedLogCapture capture(2);
    auto back = readBack(bytesOf(m));
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(capture.text(), "WARNING: couldn't extract driver build date information -- older file?!\n");
    EXPECT_EQ(back->iGfxId, 39713u);
    EXPECT_EQ(back->programStartTimeval, 0u);
    EXPECT_EQ(back->programStopTimeval, 0u);
    EXPECT_EQ(back->continuousQuantumMsecs, 0u);
    EXPECT_TRUE(back->clockSyncs.empty());

    SystemMetadata emptyKey = sampleMachine();
    emptyKey.platformSpecifiers.emplace_back("", "1");
    EXPECT_EQ(readBack(bytesOf(emptyKey)), nullptr) << "strings inside a list are required";
}

TEST(SystemMetadata, AreaWarningsGoOutWhenTheAreaIsOpen) {
    StoredRecord stored(sampleMachine());
    size_t atDriverDate = stored.fields[11].start;
    size_t atProduced = stored.fields[0].start;
    size_t atVersionString = stored.fields[18].start;
    size_t atBuildRef = stored.fields[19].start;
    struct Case {
        size_t length;
        bool areaOpen;
        std::string log;
    } cases[] = {
        {atDriverDate, true, stored.fields[11].warning},
        {atDriverDate, false, ""},
        {atVersionString, true, stored.fields[18].warning},
        {atProduced, true, ""},
        {atBuildRef, true, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.length);
        vrtest::ScopedLogCapture capture(1);
        if (c.areaOpen) {
            capture.environment().addPrefixForDebugLogging(kArea);
        }
        EXPECT_NE(readBack(stored.bytes, c.length), nullptr);
        EXPECT_EQ(capture.text(), c.log);
    }
}

TEST(SystemMetadata, ReadingSetsTheProcessClockAndLogsWhatItRead) {
    StoredRecord stored(sampleMachine());
    vrtest::ScopedLogCapture capture(4);
    ASSERT_NE(readBack(stored.bytes), nullptr);
    EXPECT_FLOAT_EQ(capture.environment().getDefaultClockMHz(), 2400.0f);
    EXPECT_FLOAT_EQ(capture.environment().getDefaultClockToTSCRatio(), 1.2f);
    EXPECT_FLOAT_EQ(capture.environment().getSecFromTimestamp(4800000000ull), 2.0f);
    std::string log = capture.debug().text();
    for (const char* line : {
             "INFO: OK, read app version = 132383488 (2020.3.0)\n",
             "INFO: OK, read driver version = 197121 (3.2.1)\n",
             "INFO: OK: read bus freq = 100.00\n",
             "INFO: OK: read vra clock freq = 2400.00\n",
             "INFO: OK: read lfm freq = 800.00\n",
             "INFO: OK: read hfm freq = 4000.00\n",
             "INFO: OK: read CPU freq = 2000.00\n",
             "INFO: OK: read start, stop TSC = 1000, 9000\n",
             "INFO: OK: read start, stop Timeval = 1700000000000000000, 1700000001500000000\n",
             "INFO: OK: read polling interval msecs = 100\n",
             "INFO: OK: read max detail = 1\n",
             "4INFO: OK: read command line: vantrell -t 5\n",
         }) {
        EXPECT_NE(log.find(line), std::string::npos) << line;
    }

    // The clock is taken as soon as the frequencies are read, before the record fails.
    SystemMetadata slower = sampleMachine();
    slower.vraClockFreqMHz = 1000.0f;
    std::vector<char> bytes = bytesOf(slower);
    vrtest::ScopedLogCapture second(1);
    EXPECT_EQ(readBack(bytes, StoredRecord(slower).mandatoryEnd - 20), nullptr);
    EXPECT_FLOAT_EQ(second.environment().getDefaultClockMHz(), 1000.0f);
    EXPECT_FLOAT_EQ(second.environment().getDefaultClockToTSCRatio(), 0.5f);
}

TEST(SystemMetadata, FirstOfARepeatedPluginSidStays) {
    SystemMetadata m = sampleMachine();
    StoredRecord stored(m);
    // Overwrite the second entry's sid (5) with 1: bytes 4 (tag) + 2 (count) + 4 + 8 ("uuid-a").
    std::vector<char> bytes = stored.bytes;
    bytes[4 + 2 + 4 + 8] = 1;
    auto back = readBack(bytes);
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(back->pluginUuids, (std::map<int, std::string>{{1, "uuid-a"}}));
}

TEST(SystemMetadata, HugeCountsFailWithoutReadingPastTheEnd) {
    Serializer out;
    out.write_uint32(2);
    out.write_count(0xffff);
    out.write_int32(1);
    out.write_string("only one");
    EXPECT_EQ(readBack(out.get_buffer()), nullptr);

    StoredRecord stored(sampleMachine());
    std::vector<char> bytes(stored.bytes.begin(), stored.bytes.begin() + stored.fields[7].start);
    bytes.push_back(static_cast<char>(0xff));
    bytes.push_back(static_cast<char>(0xff));
    bytes.push_back(1);
    EXPECT_EQ(readBack(bytes), nullptr) << "65535 model ids announced, one byte there";
}

TEST(SystemMetadata, TimeHelpers) {
    EXPECT_EQ(SystemMetadata::formatTimevalAsString(0), "N/A");
    EXPECT_EQ(SystemMetadata::formatTimevalAsString(999999999), "1970-01-01 00:00:00 GMT");
    EXPECT_EQ(SystemMetadata::formatTimevalAsString(1000000000), "1970-01-01 00:00:01 GMT");
    EXPECT_EQ(SystemMetadata::formatTimevalAsString(951782400000000000ull), "2000-02-29 00:00:00 GMT");
    EXPECT_EQ(SystemMetadata::formatTimevalAsString(4102444799000000000ull), "2099-12-31 23:59:59 GMT");
    EXPECT_EQ(SystemMetadata::formatTimevalAsString(UINT64_MAX), "2554-07-21 23:34:33 GMT");

    SystemMetadata m = sampleMachine();
    EXPECT_EQ(m.getCollectionStartTime(), "2023-11-14 22:13:20 GMT");
    EXPECT_EQ(m.getProgramStartTime(), "2023-11-14 22:13:19 GMT");
    EXPECT_DOUBLE_EQ(m.getCollectionDurationSec(), 1.5);
    m.stopTimeval = m.startTimeval - 1000000000;
    EXPECT_DOUBLE_EQ(m.getCollectionDurationSec(), static_cast<double>(UINT64_MAX - 999999999) / 1e9)
        << "the difference is taken unsigned";
    EXPECT_EQ(SystemMetadata().getProgramStartTime(), "N/A");
}

TEST(SystemMetadata, ASuccessfulReadRebuildsTheCpuEntities) {
    vrtest::ScopedLogCapture capture(1);
    SystemMetadata two = sampleMachine();
    two.cpuTopology = pwr::TopTree();
    two.buildTopology("0 0 0 0 1 0 0 0", 0);
    SystemMetadata eight = sampleMachine();
    eight.cpuTopology = pwr::TopTree();
    eight.buildTopology("0 0 0 0 1 0 0 0 2 0 1 0 3 0 1 0 4 1 0 0 5 1 0 0 6 1 1 0 7 1 1 0", 0);

    ASSERT_NE(readBack(bytesOf(two)), nullptr);
    EXPECT_EQ(pwr::EntityHandle::getCPUThreadCount(), 2);
    EXPECT_EQ(pwr::EntityHandle::getCPUThreadHandle(2), nullptr);

    // Cut inside the clock syncs: the topology was read, but the record fails and changes nothing.
    StoredRecord stored(eight);
    EXPECT_EQ(readBack(stored.bytes, stored.fields[16].end - 1), nullptr);
    EXPECT_EQ(pwr::EntityHandle::getCPUThreadCount(), 2);

    // An older file that ends early is a successful read.
    ASSERT_NE(readBack(stored.bytes, stored.mandatoryEnd), nullptr);
    EXPECT_EQ(pwr::EntityHandle::getCPUThreadCount(), 8);
    ASSERT_NE(pwr::EntityHandle::getCPUThreadHandle(7), nullptr);
    EXPECT_EQ(pwr::EntityHandle::getCPUThreadHandle(7)->getName(), "Thread_7");
}

TEST(SystemMetadata, DumpForm) {
    SystemMetadata m;
    m.pluginUuids = {{2, "u2"}};
    m.fms = pwr::FMS(6, 0x8e, 0xc);
    m.appVersion = 0x07E40300;
    m.driverVersion = 0x00030201;
    m.scuVersion = 7;
    m.platformName = "PCH=X";
    m.hostName = "h";
    m.osName = "o";
    m.osType = "t";
    m.osVersion = "v";
    m.busFreqMHz = 100.0f;
    m.vraClockFreqMHz = 2400.5f;
    m.startTSC = 1;
    m.stopTSC = 2;
    m.startTimeval = 3;
    m.stopTimeval = 4;
    m.pollingIntervalMsecs = 100;
    m.commandLine = {"a", "b"};
    m.samplesProduced = 10;
    m.samplesDropped = 1;
    m.platformSpecifiers = {{"PCH", "40324"}};
    m.topologyChanges = {change(5, 1, 2)};
    m.clockSyncs = {sync("QPC", 7)};
    m.exeBuildDate = "d1";
    m.driverBuildDate = "d2";
    m.packageType = "p";
    std::ostringstream text;
    text << m;
    EXPECT_EQ(text.str(),
              "FMS: 0x68ec\n"
              "App version: 2020.3.0\n"
              "App build date: d1\n"
              "Driver version: 3.2.1\n"
              "Driver build date: d2\n"
              "SCU version: 7\n"
              "Platform name: PCH=X\n"
              "Host name: h\n"
              "OS name: o\n"
              "OS type: t\n"
              "OS version: v\n"
              "Bus freq (MHz): 100\n"
              "VRA clock freq (MHz): 2400.5\n"
              "LFM freq (MHz): 0\n"
              "HFM freq (MHz): 0\n"
              "Base operating freq (MHz): 0\n"
              "Start TSC: 1\n"
              "Stop TSC: 2\n"
              "Start Timeval: 3\n"
              "Stop Timeval: 4\n"
              "Polling interval (msecs): 100\n"
              "Collection command line: a b\n"
              "Collected samples : 10, dropped samples: 1\n"
              "\tsid[2] => uuid[u2]\n"
              "Platform specifiers: \n"
              "\tPCH => 40324\n"
              "Topology changes: \n"
              "Top Change:\n\ttsc = 5\n\ttype = OFFLINE\n\tlogicalProcID = 2\n\tcoreID = 1\n"
              "\tmoduleID = -1\n\tpkgID = 0\n"
              "Synchronized clocks: \n"
              "\tClock[0]:\n"
              "\t\tClock UUID: uuid-QPC\n"
              "\t\tClock Name: QPC\n"
              "\t\tClock Freq (MHz): 10\n"
              "\t\tClock Value: 7\n"
              "\t\tDefault Clock UUID: uuid-tsc\n"
              "\t\tDefault Clock Name: TSC\n"
              "\t\tDefault Clock Freq (MHz): 2400\n"
              "\t\tDefault Clock Value: 21\n"
              "Package Type: p\n");
}

}  // namespace
