#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "support/RecordBytes.h"
#include "value/RegistryEnvironment.h"
#include "vantrell/record/Serializer.h"
#include "vantrell/record/SystemMetadata.h"
#include "vantrell/value/EntityHandle.h"

namespace {

using vrtest::bytesOf;

using pwr::Metadata;
using pwr::Serializer;
using pwr::SystemMetadata;
using M = SystemMetadata;

pwr::TopologyChange change(uint64_t ts, uint32_t action, uint16_t cpu) {
    return pwr::TopologyChange(
        pwr::vr_driver_topology_change{ts, action, cpu, static_cast<uint16_t>(cpu / 2), 0}, 0);
}

// Built when used, not at start-up: building logs.
pwr::TopTree topology(const char* text) {
    pwr::TopTree tree;
    tree.buildTopology(text, 0);
    return tree;
}

// Writes the stored form field by field, independently of the writer under test.
struct Writer {
    Serializer out;
    void put(uint8_t v) { out.write_uint8(v); }
    void put(bool v) { out.write_bool(v); }
    void put(uint16_t v) { out.write_uint16(v); }
    void put(uint32_t v) { out.write_uint32(v); }
    void put(uint64_t v) { out.write_uint64(v); }
    void put(float v) { out.write_float(v); }
    void put(const std::string& v) { out.write_string(v); }
    void put(const pwr::FMS& v) { put(v.family), put(v.model), put(v.stepping); }
    void put(const pwr::TopTree& v) { v.serializeTree(out); }
    void put(const pwr::TopologyChange& v) { v.serialize(out); }
    void put(const std::pair<const int, std::string>& v) { out.write_int32(v.first), put(v.second); }
    void put(const std::pair<std::string, std::string>& v) { put(v.first), put(v.second); }
    void put(const pwr::VRClockSync& c) {
        put(c.clockUUID), put(c.clockName), put(c.clockFreqMHz), put(c.clockValue);
        put(c.defaultClockUUID), put(c.defaultClockName), put(c.defaultClockFreqMHz),
            put(c.defaultClockValue);
    }
    template <class List>
    void putList(const List& list) {
        out.write_count(list.size());
        for (const auto& element : list) {
            put(element);
        }
    }
};

// One stored field, with a sample value other than its default.
struct Field {
    std::string warning;  // logged when an appended field is missing; empty for the mandatory part
    bool list;
    std::function<void(M&)> setSample, reset;
    std::function<void(Writer&, const M&)> write;
    bool area;  // its warning also goes out while the debug area is open
};
template <class T>
struct Id {
    using type = T;
};

template <class T, class Write>
Field makeField(T M::*member, T sample, const char* what, bool list, bool area, Write write) {
    return {what == nullptr ? "" : std::string("WARNING: couldn't extract ") + what + " -- older file?!\n",
            list,
            [=](M& m) { m.*member = sample; },
            [=](M& m) { m.*member = T{}; },
            [=](Writer& w, const M& m) { write(w, m.*member); },
            area};
}
template <class T>
Field field(T M::*member, typename Id<T>::type sample, const char* what = nullptr, bool area = false) {
    return makeField(member, sample, what, false, area, [](Writer& w, const T& v) { w.put(v); });
}
template <class T>
Field listField(T M::*member, typename Id<T>::type sample, const char* what = nullptr) {
    return makeField(member, sample, what, true, false, [](Writer& w, const T& v) { w.putList(v); });
}
Field topologyField(const char* text) {
    Field f = field(&M::cpuTopology, pwr::TopTree());
    f.setSample = [=](M& m) { m.cpuTopology = topology(text); };
    return f;
}
Field quantumField() {
    Field f = field(&M::continuousQuantumMsecs, 5000, "continuous collection quantum information");
    f.write = [](Writer& w, const M& m) {  // 16-bit seconds in files before 2020.3.0
        m.appVersion < 0x07E40300 ? w.put(static_cast<uint16_t>(m.continuousQuantumMsecs / 1000))
                                  : w.put(m.continuousQuantumMsecs);
    };
    return f;
}

// Indices into kFields: 0 to kMandatory - 1 are the mandatory part; the others name fields tests cut at.
const size_t kMandatory = 23, kChanges = 27, kModelIds = 30, kDriverDate = 34, kQuantum = 38, kSyncs = 39;
const std::vector<Field> kFields = {
    listField(&M::pluginUuids, {{1, "uuid-a"}, {5, "uuid-b"}}), field(&M::fms, pwr::FMS(6, 0x8e, 0xc)),
    field(&M::appVersion, 0x07E40300), field(&M::driverVersion, 0x00030201), field(&M::scuVersion, 7),
    field(&M::platformName, "PCH=DGWLP,PCI=ZLKB"), field(&M::hostName, "bench-host"),
    field(&M::osName, "Linux"), field(&M::osType, "x86_64"), field(&M::osVersion, "6.1"),
    topologyField("0 0 0 0 1 0 0 0 2 0 1 0 3 0 1 0"), field(&M::busFreqMHz, 100.0f),
    field(&M::vraClockFreqMHz, 2400.0f), field(&M::lfmFreqMHz, 800.0f), field(&M::hfmFreqMHz, 4000.0f),
    field(&M::cpuFreqMHz, 2000.0f), field(&M::startTSC, 1000), field(&M::stopTSC, 9000),
    field(&M::startTimeval, 1700000000000000000ull), field(&M::stopTimeval, 1700000001500000000ull),
    field(&M::pollingIntervalMsecs, 100), field(&M::maxDetail, 1),
    listField(&M::commandLine, {"vantrell", "-t", "5"}),
    // Appended fields 24 to 44.
    field(&M::samplesProduced, 1000, "# produced samples"), field(&M::samplesDropped, 3, "# dropped samples"),
    field(&M::lowOverheadMode, true, "low overhead mode information"),
    listField(&M::platformSpecifiers, {{"PCH", "40324"}}, "platform specifiers"),
    listField(&M::topologyChanges, {change(1500, 1, 3)}, "topology changes"),
    field(&M::hyperVEnable, 1, "HyperV enable information"),
    field(&M::vsmEnable, 2, "VSM enable information"),
    listField(&M::cpuNativeModelIds, {0x20000001, 0x40000001}, "cpu native model IDs"),
    field(&M::platformId, 6, "Platform Id information"), field(&M::edramCap, 1, "Edram Cap information"),
    field(&M::iGfxId, 39713, "iGfx Id information"),
    field(&M::driverBuildDate, "2020-01-02", "driver build date information", true),
    field(&M::programStartTimeval, 1699999999000000000ull, "program start/stop timeval", true),
    field(&M::programStopTimeval, 1700000002000000000ull, "program start/stop timeval", true),
    field(&M::exeBuildDate, "2020-01-03", ".exe build date information"), quantumField(),
    listField(&M::clockSyncs, {{"uuid-QPC", "QPC", 10.0f, 7, "uuid-tsc", "TSC", 2400.0f, 21}},
              "topology changes"),  // the clock syncs share the warning of the topology changes
    field(&M::hvciEnable, 1, "Hypervisor Enforced Code Integrity enable information", true),
    field(&M::versionString, "2020.3 beta", "non-numeric version number", true),
    field(&M::buildRef, "abc123", "build ref information"),
    field(&M::packageType, "full", "package type information")};

SystemMetadata sampleMachine() {
    SystemMetadata m;
    for (const Field& f : kFields) {
        f.setSample(m);
    }
    return m;
}

// The stored bytes and where each field starts and ends.
struct Stored {
    std::vector<char> bytes;
    std::vector<std::pair<size_t, size_t>> spans;
    size_t mandatoryEnd() const { return spans[kMandatory].first; }
};

Stored store(const SystemMetadata& m) {
    Writer w;
    w.put(uint32_t{pwr::SYSTEM_METADATA});
    Stored stored;
    for (const Field& f : kFields) {
        size_t start = w.out.size();
        f.write(w, m);
        stored.spans.emplace_back(start, w.out.size());
    }
    stored.bytes = w.out.get_buffer();
    return stored;
}

std::unique_ptr<SystemMetadata> readBack(const std::vector<char>& bytes, size_t length = SIZE_MAX) {
    std::unique_ptr<Metadata> record = vrtest::readRecord(bytes, length);
    EXPECT_TRUE(record == nullptr || record->getType() == pwr::SYSTEM_METADATA);
    return std::unique_ptr<SystemMetadata>(static_cast<SystemMetadata*>(record.release()));
}

TEST(SystemMetadata, WritesTheStoredLayoutAndReadsItBack) {
    vrtest::ScopedLogCapture capture(2);
    SystemMetadata m = sampleMachine();
    Stored stored = store(m);
    ASSERT_EQ(kFields.size(), 44u);
    EXPECT_EQ(bytesOf(m), stored.bytes);
    auto back = readBack(stored.bytes);
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(capture.text(), "");
    EXPECT_EQ(bytesOf(*back), stored.bytes);

    // Files before 2020.3.0 hold the quantum as 16-bit seconds; the fields behind it must still line up.
    m.appVersion = 0x07E402FF;
    stored = store(m);
    EXPECT_EQ(stored.spans[kQuantum].second - stored.spans[kQuantum].first, 2u);
    back = readBack(stored.bytes);
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(capture.text(), "");
    EXPECT_EQ(back->continuousQuantumMsecs, 5000u);
    EXPECT_EQ(back->packageType, "full");
}

// A record cut anywhere in the mandatory part fails silently; one cut in the appended part reads the
// fields before the cut and warns of the first one missing, unless the cut falls inside a list's elements.
TEST(SystemMetadata, EveryTruncatedPrefixReadsWhatItShould) {
    const SystemMetadata full = sampleMachine();
    const Stored stored = store(full);
    for (size_t length = 0; length < stored.bytes.size(); ++length) {
        SCOPED_TRACE(length);
        vrtest::ScopedLogCapture capture(2);
        auto back = readBack(stored.bytes, length);
        if (length < stored.mandatoryEnd()) {
            EXPECT_EQ(back, nullptr);
            EXPECT_EQ(capture.text(), "");
            continue;
        }
        size_t cut = kMandatory;
        while (stored.spans[cut].second <= length) {
            ++cut;
        }
        if (kFields[cut].list && length >= stored.spans[cut].first + 2) {
            EXPECT_EQ(back, nullptr) << "a list cut inside its elements fails the record";
            std::string log = cut == kSyncs ? "WARNING: Couldn't extract clock sync data\n" : "";
            if (cut == kChanges) {  // the change says which of its fields it missed, by the offset into it
                const char* words[] = {"timestamp", "type", "cpu id", "core id", "pkg id", "module id"};
                log = std::string("WARNING: couldn't extract ") +
                      words["0000000011112233445555"[length - stored.spans[cut].first - 2] - '0'] +
                      " for topology change!\nWARNING: error extracting topology changes!\n";
            }
            EXPECT_EQ(capture.text(), log);
            continue;
        }
        ASSERT_NE(back, nullptr);
        EXPECT_EQ(capture.text(), kFields[cut].warning);
        SystemMetadata expected = full;
        for (size_t j = cut; j < kFields.size(); ++j) {
            kFields[j].reset(expected);
        }
        EXPECT_EQ(bytesOf(*back), bytesOf(expected));
        // At verbosity 1 only the warnings of the area's fields go out, and only while the area is open.
        for (bool open : {false, true}) {
            vrtest::ScopedLogCapture quiet(1);
            if (open) {
                quiet.environment().addPrefixForDebugLogging("SystemMeta::deserialize");
            }
            readBack(stored.bytes, length);
            EXPECT_EQ(quiet.text(), open && kFields[cut].area ? kFields[cut].warning : "") << open;
        }
    }
}

TEST(SystemMetadata, EmptyTextsFailTheMandatoryPartAndEndTheAppendedOne) {
    for (void (*spoil)(M&) : {
             +[](M& m) { m.hostName.clear(); }, +[](M& m) { m.platformName.clear(); },
             +[](M& m) { m.osVersion.clear(); }, +[](M& m) { m.pluginUuids[3] = ""; },
             +[](M& m) { m.commandLine.push_back(""); },
             +[](M& m) { m.platformSpecifiers.emplace_back("", "1"); },  // strings inside a list are required
         }) {
        SystemMetadata m = sampleMachine();
        spoil(m);
        vrtest::ScopedLogCapture capture(2);
        EXPECT_EQ(readBack(bytesOf(m)), nullptr);
        EXPECT_EQ(capture.text(), "");
    }

    SystemMetadata m = sampleMachine();
    m.driverBuildDate.clear();
    vrtest::ScopedLogCapture capture(2);
    auto back = readBack(bytesOf(m));
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(capture.text(), "WARNING: couldn't extract driver build date information -- older file?!\n");
    for (size_t j = kDriverDate; j < kFields.size(); ++j) {
        kFields[j].reset(m);
    }
    EXPECT_EQ(bytesOf(*back), bytesOf(m));
}

TEST(SystemMetadata, ReadingSetsTheProcessClockAndLogsWhatItRead) {
    const std::vector<char> bytes = store(sampleMachine()).bytes;
    vrtest::ScopedLogCapture capture(4);
    ASSERT_NE(readBack(bytes), nullptr);
    EXPECT_FLOAT_EQ(capture.environment().getDefaultClockMHz(), 2400.0f);
    EXPECT_FLOAT_EQ(capture.environment().getDefaultClockToTSCRatio(), 1.2f);
    EXPECT_FLOAT_EQ(capture.environment().getSecFromTimestamp(4800000000ull), 2.0f);
    const std::string read =
        "INFO: OK, read app version = 132383488 (2020.3.0)\nINFO: OK, read driver version = 197121 (3.2.1)\n"
        "INFO: OK: read bus freq = 100.00\nINFO: OK: read vra clock freq = 2400.00\n"
        "INFO: OK: read lfm freq = 800.00\nINFO: OK: read hfm freq = 4000.00\nINFO: OK: read CPU freq = "
        "2000.00\n"
        "INFO: OK: read start, stop TSC = 1000, 9000\n"
        "INFO: OK: read start, stop Timeval = 1700000000000000000, 1700000001500000000\n"
        "INFO: OK: read polling interval msecs = 100\nINFO: OK: read max detail = 1\n"
        "4INFO: OK: read command line: vantrell -t 5\n";
    EXPECT_EQ(capture.text().substr(0, read.size()), read) << "before the entities are rebuilt";

    // The clock is taken as soon as the frequencies are read, also when the record fails behind them.
    SystemMetadata slower = sampleMachine();
    slower.vraClockFreqMHz = 1000.0f;
    vrtest::ScopedLogCapture second(1);
    EXPECT_EQ(readBack(bytesOf(slower), store(slower).mandatoryEnd() - 20), nullptr);
    EXPECT_FLOAT_EQ(second.environment().getDefaultClockMHz(), 1000.0f);
    EXPECT_FLOAT_EQ(second.environment().getDefaultClockToTSCRatio(), 0.5f);
}

TEST(SystemMetadata, CorruptCountsAndRepeatedSids) {
    Stored stored = store(sampleMachine());
    std::vector<char> bytes = stored.bytes;
    bytes[4 + 2 + 4 + 8] = 1;  // the second sid (5) becomes 1: tag, count, first sid, "uuid-a"
    auto back = readBack(bytes);
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(back->pluginUuids, (std::map<int, std::string>{{1, "uuid-a"}})) << "the first of a sid stays";

    Serializer out;
    out.write_uint32(pwr::SYSTEM_METADATA);
    out.write_count(0xffff);
    out.write_int32(1);
    out.write_string("only one");
    EXPECT_EQ(readBack(out.get_buffer()), nullptr);
    bytes.assign(stored.bytes.begin(), stored.bytes.begin() + stored.spans[kModelIds].first);
    bytes.insert(bytes.end(), {'\xff', '\xff', 1});
    EXPECT_EQ(readBack(bytes), nullptr) << "65535 model ids announced, one byte there";
}

TEST(SystemMetadata, TimeHelpers) {
    const std::pair<uint64_t, const char*> cases[] = {{0, "N/A"},
                                                      {999999999, "1970-01-01 00:00:00 GMT"},
                                                      {1000000000, "1970-01-01 00:00:01 GMT"},
                                                      {951782400000000000ull, "2000-02-29 00:00:00 GMT"},
                                                      {4102444799000000000ull, "2099-12-31 23:59:59 GMT"},
                                                      {UINT64_MAX, "2554-07-21 23:34:33 GMT"}};
    for (const auto& [timeval, text] : cases) {
        EXPECT_EQ(SystemMetadata::formatTimevalAsString(timeval), text);
    }
    SystemMetadata m = sampleMachine();
    EXPECT_EQ(m.getCollectionStartTime(), "2023-11-14 22:13:20 GMT");
    EXPECT_EQ(m.getProgramStartTime(), "2023-11-14 22:13:19 GMT");
    EXPECT_DOUBLE_EQ(m.getCollectionDurationSec(), 1.5);
    m.stopTimeval = m.startTimeval - 1000000000;
    EXPECT_DOUBLE_EQ(m.getCollectionDurationSec(), static_cast<double>(UINT64_MAX - 999999999) / 1e9)
        << "the difference is taken unsigned";
}

TEST(SystemMetadata, ASuccessfulReadRebuildsTheCpuEntities) {
    vrtest::ScopedLogCapture capture(1);
    SystemMetadata two = sampleMachine();
    two.cpuTopology = topology("0 0 0 0 1 0 0 0");
    SystemMetadata eight = sampleMachine();
    eight.cpuTopology = topology("0 0 0 0 1 0 0 0 2 0 1 0 3 0 1 0 4 1 0 0 5 1 0 0 6 1 1 0 7 1 1 0");

    ASSERT_NE(readBack(bytesOf(two)), nullptr);
    EXPECT_EQ(pwr::EntityHandle::getCPUThreadCount(), 2);
    EXPECT_EQ(pwr::EntityHandle::getCPUThreadHandle(2), nullptr);
    // Cut inside the clock syncs: the topology was read, but the record fails and changes nothing.
    Stored stored = store(eight);
    EXPECT_EQ(readBack(stored.bytes, stored.spans[kSyncs].second - 1), nullptr);
    EXPECT_EQ(pwr::EntityHandle::getCPUThreadCount(), 2);
    // An older file that ends early is a successful read.
    ASSERT_NE(readBack(stored.bytes, stored.mandatoryEnd()), nullptr);
    EXPECT_EQ(pwr::EntityHandle::getCPUThreadCount(), 8);
    ASSERT_NE(pwr::EntityHandle::getCPUThreadHandle(7), nullptr);
    EXPECT_EQ(pwr::EntityHandle::getCPUThreadHandle(7)->getName(), "Thread_7");
}

TEST(SystemMetadata, DumpForm) {
    SystemMetadata m = sampleMachine();
    m.vraClockFreqMHz = 2400.5f;
    std::ostringstream text;
    text << m;
    EXPECT_EQ(
        text.str(),
        "FMS: 0x68ec\nApp version: 2020.3.0\nApp build date: 2020-01-03\nDriver version: 3.2.1\n"
        "Driver build date: 2020-01-02\nSCU version: 7\nPlatform name: PCH=DGWLP,PCI=ZLKB\n"
        "Host name: bench-host\nOS name: Linux\nOS type: x86_64\nOS version: 6.1\nBus freq (MHz): 100\n"
        "VRA clock freq (MHz): 2400.5\nLFM freq (MHz): 800\nHFM freq (MHz): 4000\n"
        "Base operating freq (MHz): 2000\nStart TSC: 1000\nStop TSC: 9000\n"
        "Start Timeval: 1700000000000000000\nStop Timeval: 1700000001500000000\n"
        "Polling interval (msecs): 100\nCollection command line: vantrell -t 5\n"
        "Collected samples : 1000, dropped samples: 3\n\tsid[1] => uuid[uuid-a]\n\tsid[5] => uuid[uuid-b]\n"
        "Platform specifiers: \n\tPCH => 40324\n"
        "Topology changes: \nTop Change:\n\ttsc = 1500\n\ttype = OFFLINE\n\tlogicalProcID = 3\n\tcoreID = 1\n"
        "\tmoduleID = -1\n\tpkgID = 0\n"
        "Synchronized clocks: \n\tClock[0]:\n\t\tClock UUID: uuid-QPC\n\t\tClock Name: QPC\n"
        "\t\tClock Freq (MHz): 10\n\t\tClock Value: 7\n\t\tDefault Clock UUID: uuid-tsc\n"
        "\t\tDefault Clock Name: TSC\n\t\tDefault Clock Freq (MHz): 2400\n\t\tDefault Clock Value: 21\n"
        "Package Type: full\n");
}

}  // namespace
