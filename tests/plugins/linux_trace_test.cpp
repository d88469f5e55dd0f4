// The kernel trace collector, loaded as the host loads it: its configuration file, the requirement that
// hides the feature where kernel tracing is refused, and a live collection of real kernel events.

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <iostream>
#include <map>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <vantrell/VantrellCore.h>

#include <fstream>
#include <iterator>

#include "LinuxPluginProtocol.h"
#include "support/ConfigFiles.h"
#include "support/LogCapture.h"
#include "support/PluginLoader.h"
#include "support/TestCollector.h"
// The collector's reader of growing trace files, built into this test to reach its edges.
#include "../linux-trace/TraceTail.cpp"

namespace {

namespace pp = pwr::platform;
using namespace vantrell::plugins;

const std::string kPlatform = "OS=LINUX";

std::string dataFile(const std::string& name) {
    const char* root = std::getenv("VR_SOURCE_DIR");
    return std::string(root != nullptr ? root : "..") + "/data/collection/" + name;
}

// The system's facility, except that it refuses the kernel providers as a locked-down machine does.
class RefusingFacility : public pp::TraceFacility {
  public:
    pp::TraceFacility& sys = pp::systemTraceFacility();
    unsigned long startTrace(uint64_t* h, const char* n, EVENT_TRACE_PROPERTIES* p) override {
        return sys.startTrace(h, n, p);
    }
    unsigned long controlTrace(uint64_t h, const char* n, EVENT_TRACE_PROPERTIES* p, uint32_t c) override {
        return sys.controlTrace(h, n, p, c);
    }
    unsigned long enableTraceEx2(uint64_t h, const _GUID* g, uint32_t c, uint8_t l, uint64_t any,
                                 uint64_t all, uint32_t t, void* p) override {
        if (c == EVENT_CONTROL_CODE_ENABLE_PROVIDER &&
            (*g == pp::kKernelPowerProvider || *g == pp::kKernelSchedulerProvider)) {
            pp::setLastError(EACCES);
            return 5;
        }
        return sys.enableTraceEx2(h, g, c, l, any, all, t, p);
    }
    uint64_t openTrace(_EVENT_TRACE_LOGFILEA* f) override { return sys.openTrace(f); }
    unsigned long processTrace(uint64_t* h, unsigned long n, void* s, void* e) override {
        return sys.processTrace(h, n, s, e);
    }
    unsigned long closeTrace(uint64_t h) override { return sys.closeTrace(h); }
    unsigned long enumerateProviders(PROVIDER_ENUMERATION_INFO* b, unsigned long* s) override {
        return sys.enumerateProviders(b, s);
    }
    unsigned long eventRegister(const _GUID* g, uint64_t* h) override { return sys.eventRegister(g, h); }
    unsigned long eventUnregister(uint64_t h) override { return sys.eventUnregister(h); }
    unsigned long eventWrite(uint64_t h, const _EVENT_DESCRIPTOR* d, uint32_t n,
                             _EVENT_DATA_DESCRIPTOR* p) override {
        return sys.eventWrite(h, d, n, p);
    }
    void* loadLibrary(const std::string& path, unsigned long& error) override {
        return sys.loadLibrary(path, error);
    }
    void* getProcAddress(void* l, const char* n) override { return sys.getProcAddress(l, n); }
    void freeLibrary(void* l) override { sys.freeLibrary(l); }
};

// The module directory beside this test's own (build/tests and build/bin/plugins), where the
// environment does not name it.
bool pluginDirectoryKnown() {
    if (std::getenv("VR_PLUGIN_DIR") == nullptr) {
        std::string exe(4096, '\0');
        const ssize_t n = readlink("/proc/self/exe", exe.data(), exe.size());
        exe.resize(n > 0 ? static_cast<size_t>(n) : 0);
        setenv("VR_PLUGIN_DIR", (exe.substr(0, exe.rfind('/')) + "/../bin/plugins").c_str(), 0);
    }
    return true;
}

class LinuxTrace : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_NE(nullptr, collector()) << "the module did not load"; }
    void TearDown() override { pwr::VRConfigFileParser::instance()->destroy(); }

    // Parses `files` plus a platform LINUX (a child of ALL) to ask about, with the trace collector.
    int parse(std::vector<std::string> files, const std::vector<std::string>& extra = {}) {
        std::vector<std::string> texts = {"LINUX_MODEL_OS_CONSTANT_VALUE=Linux\n"};
        texts.insert(texts.end(), extra.begin(), extra.end());
        scratch = std::make_unique<vrtest::ConfigFiles>(texts);
        files.insert(files.end(), scratch->paths().begin(), scratch->paths().end());
        return pwr::VRConfigFileParser::instance()->parse(files, {collector()}, system);
    }
    bool traceOffered() const {
        return pwr::VRConfigFileParser::instance()->isPlatformPrefixSupported(kPlatform, "trace");
    }
    std::vector<pwr::InputMsg*> traceMessages() const {
        std::vector<pwr::InputMsg*> messages;
        pwr::VRConfigFileParser::instance()->getMessagesFor(messages, kPlatform, "trace", {"TRACEPOINT"},
                                                            pwr::COLLECTION_NORMAL);
        return messages;
    }
    CollectorPlugin* collector() const { return module.as<CollectorPlugin>(); }
    // Whether this machine lets the library trace the kernel, as the requirement sees it.
    bool kernelTracingAllowed() {
        EXPECT_EQ(0, parse({dataFile("vantrell-trace.cfg")}));
        return traceOffered();
    }

    vrtest::ScopedLogCapture logs{2};
    bool located = pluginDirectoryKnown();
    vrtest::LoadedPlugin module{"linux-trace"};
    pwr::SystemMetadata system;
    std::unique_ptr<vrtest::ConfigFiles> scratch;
};

TEST_F(LinuxTrace, ConfigurationDeclaresTheTraceFeatureAndItsMessage) {
    ASSERT_EQ(0, parse({dataFile("vantrell-trace.cfg")}));
    std::vector<pwr::ConfigCap const*> caps;
    ASSERT_EQ(0, pwr::VRConfigFileParser::instance()->getCapabilitiesFor(caps, kPlatform));
    ASSERT_EQ(1u, caps.size());
    EXPECT_EQ("trace", caps[0]->getName());
    EXPECT_EQ("trace", caps[0]->getConfigfilePrefix());
    EXPECT_EQ(1u, caps[0]->getGroups().count("trace"));
    if (!traceOffered()) {
        GTEST_SKIP() << "the machine refuses kernel tracing, so the message has no operation to look at";
    }
    std::vector<pwr::InputMsg*> messages = traceMessages();
    ASSERT_EQ(1u, messages.size());
    EXPECT_EQ("events", messages[0]->getName());
    EXPECT_EQ("ALL", messages[0]->getCPUString());
    EXPECT_EQ(3u, messages[0]->getTracepointNames().size());
    ASSERT_EQ(1u, messages[0]->getOperationCount());
    EXPECT_EQ("KTRACE", messages[0]->getOperations().front()->getOperation());
    EXPECT_TRUE(collector()->canCollectMessage(messages[0]));
    pwr::InputMsg foreign("other");
    EXPECT_FALSE(collector()->canCollectMessage(&foreign));
}

TEST_F(LinuxTrace, RefusedKernelTracingHidesTheFeatureWithoutFailingTheParse) {
    RefusingFacility refusing;
    pp::TraceFacility* previous = pp::setTraceFacility(&refusing);
    const int status = parse({dataFile("vantrell-trace.cfg")});
    pp::setTraceFacility(previous);
    EXPECT_EQ(0, status);
    EXPECT_FALSE(traceOffered());
    EXPECT_TRUE(traceMessages().empty());
    // Starting anyway with nothing to record is harmless.
    EXPECT_EQ(0, collector()->startCollection({}, system));
    EXPECT_EQ(0, collector()->stopCollection());
}

TEST_F(LinuxTrace, UnknownTracepointInTheConfigurationFailsTheLine) {
    if (!kernelTracingAllowed()) {
        GTEST_SKIP() << "the machine refuses kernel tracing; an unavailable type's lines are not checked";
    }
    for (const char* value : {"power:cpu_idle,sched:sched_wakeup", "bogus"}) {
        SCOPED_TRACE(value);
        EXPECT_EQ(
            -1, parse({dataFile("vantrell-trace.cfg")}, {std::string("ALL_trace_x_KTRACE_EVENTS=") + value}));
        EXPECT_NE(std::string::npos, logs.errors().text().find("ERROR: unknown kernel tracepoint"));
    }
    EXPECT_EQ(-1, parse({dataFile("vantrell-trace.cfg")}, {"ALL_trace_x_KTRACE_OTHER=1"}));
}

// Stands in for the Linux collector: an operation of each type the Linux file names, with its categories.
class StandInOperation : public pwr::Operation {
  public:
    StandInOperation(const std::string& type, const std::set<std::string>& categories) : Operation(type) {
        for (const std::string& category : categories) {
            addCategory(category);
        }
    }
    int set(std::string const&, std::string const&) override { return 0; }
    pwr::OperationMetadata* getOperationMetadata() const override { return nullptr; }
    pwr::Operation* clone() const override { return new StandInOperation(*this); }
};

TEST_F(LinuxTrace, TraceFileParsesTogetherWithTheLinuxFile) {
    // The types and categories of "<platform>_<prefix>_<message>_<type>_<category>=..." lines.
    std::map<std::string, std::set<std::string>> types;
    std::vector<std::string> lines;
    pwr::LineReader::get_all_lines(dataFile("vantrell-linux.cfg").c_str(), lines, true);
    for (std::string line : lines) {
        line = line.substr(0, line.find('#'));
        std::vector<std::string> tokens =
            pwr::Tokenizer(line.substr(0, line.find('=')), "_").get_all_tokens();
        const std::set<std::string> notTypes = {"MSG", "CONSTANT"};
        if (tokens.size() >= 5 && tokens[1] != "MODEL" && notTypes.count(tokens[3]) == 0) {
            types[tokens[3]].insert(
                line.substr(line.find(tokens[3]) + tokens[3].size() + 1,
                            line.find('=') - line.find(tokens[3]) - tokens[3].size() - 1));
        }
    }
    ASSERT_FALSE(types.empty());
    std::vector<std::unique_ptr<StandInOperation>> operations;
    vrtest::TestCollector linux("linux");
    pwr::CONSTANTOperation constant("constant");
    linux.publish(&constant);
    for (const auto& [type, categories] : types) {
        operations.push_back(std::make_unique<StandInOperation>(type, categories));
        linux.publish(operations.back().get());
    }
    ASSERT_EQ(0, pwr::VRConfigFileParser::instance()->parse(
                     {dataFile("vantrell-linux.cfg"), dataFile("vantrell-trace.cfg")}, {&linux, collector()},
                     system))
        << logs.errors().text();
    std::vector<pwr::ConfigCap const*> caps;
    ASSERT_EQ(0, pwr::VRConfigFileParser::instance()->getCapabilitiesFor(caps, "FMS=ALL"));
    std::set<std::string> traceGroup;
    std::set<std::string> names;
    for (pwr::ConfigCap const* cap : caps) {
        names.insert(cap->getName());
        if (cap->getGroups().count("trace") != 0) {
            traceGroup.insert(cap->getName());
        }
    }
    EXPECT_EQ(std::set<std::string>{"trace"}, traceGroup);
    EXPECT_LT(1u, names.size());  // the Linux file's features are there as well
}

// A trace file of the library's own making: 3 blocks of 4 user events whose values are 0 to 11.
std::vector<char> makeTraceFile(const std::string& path) {
    static const _GUID guid = {0x5e1f0c2a, 0x1b2c, 0x4d3e, {1, 2, 3, 4, 5, 6, 7, 8}};
    EtwSession session(path, "", "vrtrace tail test", "tail test");
    session.addProvider(guid, 0);
    EXPECT_TRUE(session.begin());
    EtwProvider provider(&guid);
    const _EVENT_DESCRIPTOR descriptor{9, 0, 0, 4, 0, 0, 0};
    for (uint64_t value = 0; value < 12; ++value) {
        EXPECT_TRUE(provider.WriteIntEvent(&descriptor, value));
        if (value % 4 == 3) {
            EXPECT_TRUE(session.flush());
        }
    }
    EXPECT_TRUE(session.end());
    std::ifstream in(path, std::ios::binary);
    return std::vector<char>(std::istreambuf_iterator<char>(in), {});
}

void writeFile(const std::string& path, const char* data, size_t size, bool append) {
    std::ofstream out(path, std::ios::binary | (append ? std::ios::app : std::ios::trunc));
    out.write(data, static_cast<std::streamsize>(size));
}

TEST(TraceTailReader, ReadsAGrowingFileWholeBlocksOnlyAndStopsAtDamage) {
    vrtest::ScopedLogCapture logs{1};
    vrtest::ConfigFiles scratch({""});
    const std::string path = scratch.directory() + "/t.etl";
    const std::vector<char> file = makeTraceFile(path);
    ASSERT_GT(file.size(), 64u);
    std::vector<uint64_t> values;
    auto collect = [&values](const TraceTail::Event& e) {
        uint64_t v = 0;
        ASSERT_EQ(8, e.size);
        std::memcpy(&v, e.data, 8);
        EXPECT_EQ(9, e.id);
        values.push_back(v);
    };
    // Every prefix, then the rest as a writer would add it: all 12 events once each, in order.
    std::set<size_t> cuts = {file.size()};
    for (size_t cut = 0; cut < file.size(); cut += 11) {
        cuts.insert(cut);
    }
    for (size_t block = 64; block < file.size(); block += 16 + 4 * 68) {  // each block's edges
        cuts.insert({block - 1, block, block + 1, block + 15, block + 16, block + 17});
    }
    for (size_t cut : cuts) {
        SCOPED_TRACE(cut);
        values.clear();
        writeFile(path, file.data(), cut, false);
        TraceTail tail;
        std::string error;
        ASSERT_TRUE(tail.open(path, error)) << error;
        ASSERT_EQ(TraceTail::Status::Ok, tail.readNew(collect));
        EXPECT_EQ(0u, values.size() % 4);  // whole blocks only
        writeFile(path, file.data() + cut, file.size() - cut, true);
        ASSERT_EQ(TraceTail::Status::Ok, tail.readNew(collect));
        ASSERT_EQ(12u, values.size());
        for (uint64_t i = 0; i < 12; ++i) {
            EXPECT_EQ(i, values[i]);
        }
        EXPECT_EQ(3u, tail.blocksRead());
    }
    // A damaged byte of the second block: the first block's events, then a fault that stays.
    const size_t blockTwo = 64 + 16 + 4 * 68;
    struct Damage {
        size_t offset;
        uint8_t value;
        TraceTail::Status status;
        size_t eventsBefore;
    } damages[] = {{0, 'X', TraceTail::Status::Corrupt, 0},                // file magic
                   {8, 2, TraceTail::Status::Corrupt, 0},                  // version under a stale CRC
                   {blockTwo, 0, TraceTail::Status::Corrupt, 4},           // block magic
                   {blockTwo + 30, 0xff, TraceTail::Status::Corrupt, 4}};  // payload under its CRC
    for (const Damage& d : damages) {
        SCOPED_TRACE(d.offset);
        std::vector<char> bad = file;
        bad[d.offset] = static_cast<char>(d.value);
        writeFile(path, bad.data(), bad.size(), false);
        values.clear();
        TraceTail tail;
        std::string error;
        ASSERT_TRUE(tail.open(path, error));
        EXPECT_EQ(d.status, tail.readNew(collect));
        EXPECT_EQ(d.eventsBefore, values.size());
        EXPECT_EQ(d.status, tail.readNew(collect));
    }
    // A later version with a good header CRC is refused as unsupported.
    std::vector<char> later = file;
    later[8] = 2;
    const uint32_t crc = crc32(reinterpret_cast<const uint8_t*>(later.data()), 60);
    std::memcpy(later.data() + 60, &crc, 4);
    writeFile(path, later.data(), later.size(), false);
    TraceTail tail;
    std::string error;
    ASSERT_TRUE(tail.open(path, error));
    EXPECT_EQ(TraceTail::Status::Unsupported, tail.readNew(collect));
}

// Two threads that hand a token back and forth with sleeps between, so that CPUs go idle and the
// named threads are switched in again and again.
class PingPong {
  public:
    PingPong() {
        for (int i = 0; i < 2; ++i) {
            threads.emplace_back([this, i] {
                pthread_setname_np(pthread_self(), i == 0 ? "vrtrace-ping" : "vrtrace-pong");
                tids[i] = static_cast<int>(syscall(SYS_gettid));
                std::unique_lock<std::mutex> guard(lock);
                while (!done) {
                    wake.wait(guard, [&] { return done || turn == i; });
                    guard.unlock();
                    std::this_thread::sleep_for(std::chrono::microseconds(300));
                    guard.lock();
                    turn = 1 - i;
                    wake.notify_all();
                }
            });
        }
    }
    ~PingPong() {
        {
            std::lock_guard<std::mutex> guard(lock);
            done = true;
        }
        wake.notify_all();
        for (auto& t : threads) {
            t.join();
        }
    }
    std::atomic<int> tids[2]{0, 0};

  private:
    std::mutex lock;
    std::condition_variable wake;
    int turn = 0;
    bool done = false;
    std::vector<std::thread> threads;
};

struct Received {
    uint64_t tsc;
    uint64_t arrivalTsc;
    uint16_t cpu;
    std::string key;
    uint64_t value;
};

TEST_F(LinuxTrace, LiveCollectionHandsOverDecodableKernelEventsInTimeOrder) {
    if (!kernelTracingAllowed()) {
        GTEST_SKIP() << "the machine refuses kernel tracing (no tracefs or perf events)";
    }
    std::vector<pwr::InputMsg*> messages = traceMessages();
    ASSERT_EQ(1u, messages.size());
    messages[0]->setPluginID(3);
    messages[0]->setMetricID(7);
    messages[0]->setMsgID(11);

    const auto wallStart = std::chrono::steady_clock::now();
    const uint64_t tscStart = pp::readTimeStampCounter();
    ASSERT_EQ(0, collector()->startCollection(messages, system));
    std::vector<Received> received;
    pwr::VRBuffer buffer;
    CollectionData data;
    std::chrono::nanoseconds handling{0};
    // Hands over what is ready; the time of the collector's calls counts as handling.
    auto take = [&](auto&& call) {
        buffer.bytes.clear();
        const auto t0 = std::chrono::steady_clock::now();
        EXPECT_EQ(0, call());
        const bool any = collector()->getContinuousResult(buffer, data);
        handling += std::chrono::steady_clock::now() - t0;
        const uint64_t now = pp::readTimeStampCounter();
        size_t before = received.size();
        if (!any) {
            return;
        }
        ASSERT_TRUE(
            forEachMessage(buffer.bytes.data(), buffer.bytes.size(), [&](const vr_driver_msg* m, size_t) {
                EXPECT_EQ(pwr::TRACEPOINT, messageTrigger(m));
                EXPECT_EQ(3, m->source.byte0);
                EXPECT_EQ(7, m->source.byte1);
                EXPECT_EQ(11, m->source.byte2);
                int entries = 0;
                EXPECT_TRUE(forEachEntry(m, [&](uint16_t cpu, std::string_view key, uint64_t value) {
                    received.push_back({m->timestamp, now, cpu, std::string(key), value});
                    ++entries;
                }));
                EXPECT_EQ(1, entries);
            }));
        EXPECT_LT(before, received.size());
    };
    std::chrono::nanoseconds stopTime{0};
    {
        PingPong activity;
        for (int i = 0; i < 5; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            take([&] { return collector()->pollOnce(); });
        }
        const auto before = handling;
        take([&] { return collector()->stopCollection(); });
        stopTime = handling - before;
        const int pingTid = activity.tids[0];
        // The ping thread was switched in under its own name and pid.
        EXPECT_TRUE(std::any_of(received.begin(), received.end(), [&](const Received& r) {
            return r.key == "wakeup:vrtrace-ping" && static_cast<int>(r.value) == pingTid;
        }));
    }
    const uint64_t tscEnd = pp::readTimeStampCounter();
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - wallStart).count();
    const double tscPerNs = static_cast<double>(tscEnd - tscStart) / (seconds * 1e9);

    ASSERT_FALSE(received.empty());
    EXPECT_EQ(received.size(), data.getSamplesProduced());
    const long cpus = sysconf(_SC_NPROCESSORS_CONF);
    std::map<uint16_t, uint64_t> lastByCpu;
    size_t crossCpuInversions = 0;
    uint64_t previous = 0;
    std::vector<double> latencyMs;
    for (const Received& r : received) {
        EXPECT_LT(r.cpu, cpus);
        EXPECT_GE(r.tsc, lastByCpu[r.cpu]) << "cpu " << r.cpu << " went back in time";
        lastByCpu[r.cpu] = r.tsc;
        crossCpuInversions += r.tsc < previous ? 1 : 0;
        previous = std::max(previous, r.tsc);
        // Allow the conversion's error: well under a millisecond's worth of ticks.
        EXPECT_GT(r.tsc + 3000000, tscStart);
        EXPECT_LT(r.tsc, tscEnd + 3000000);
        if (r.key == "cstate") {
            EXPECT_TRUE(r.value == kIdleExit || r.value < 32) << r.value;
        } else if (r.key == "freq") {
            EXPECT_GT(r.value, 0u);
        } else {
            EXPECT_EQ(0u, r.key.rfind("wakeup:", 0)) << r.key;
        }
        latencyMs.push_back(static_cast<double>(r.arrivalTsc - r.tsc) / tscPerNs / 1e6);
    }
    std::sort(latencyMs.begin(), latencyMs.end());
    // The stop's fixed cost is reported apart from the work per event.
    const double nsPerEvent =
        static_cast<double>((handling - stopTime).count()) / static_cast<double>(received.size());
    std::cout << "[ measure  ] " << received.size() << " events in " << seconds << " s; handling "
              << nsPerEvent << " ns/event (" << 1e9 / nsPerEvent << " events/s); stop "
              << std::chrono::duration<double, std::milli>(stopTime).count() << " ms; latency median "
              << latencyMs[latencyMs.size() / 2] << " ms, max " << latencyMs.back()
              << " ms; cross-CPU inversions " << crossCpuInversions << "; dropped "
              << data.getSamplesDropped() << std::endl;
}

}  // namespace
