// The trace writer as the host drives it: loaded from its module, given its parameters, fed the
// SystemMessage and the data points of real metrics through a WriterStream, closed by the stream's end.
// The file must parse and hold the tracks a trace viewer shows.

#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <vantrell/VantrellCore.h>
#include <nlohmann/json.hpp>

#include "support/PluginLoader.h"
#include "support/TestWriter.h"

namespace {

using nlohmann::json;

struct Slice {
    std::string name;
    double ts;
    double dur;
    bool operator==(const Slice& other) const {
        return name == other.name && ts == other.ts && dur == other.dur;
    }
};

class TraceWriterTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        pwr::UniqueId::initialize();
        topology().buildTopology("0 0 0 -1 1 0 1 -1", 0);  // logical CPUs 0 and 1
        pwr::DataHandleProvider::initTopology(topology());
    }
    static pwr::SystemMetadata& topology() {
        static pwr::SystemMetadata metadata;
        return metadata;
    }

    void SetUp() override {
        // The collection starts at tick 1000 of a 1 MHz clock: a tick is a microsecond.
        machine.startTSC = 1000;
        machine.vraClockFreqMHz = 1.0f;
        std::ofstream(configPath) << "\n";
        ASSERT_EQ(pwr::WriterInterfaceConfigFileParser::instance()->parse({configPath}, machine), 0);
        ASSERT_NE(writer, nullptr);
        writer->setCommandlineParams("output=" + prefix + "\nresults=trace\ninterval=1000\n");
    }
    void TearDown() override {
        pwr::WriterInterfaceConfigFileParser::instance()->destroy();
        std::remove(configPath.c_str());
        std::remove((prefix + ".trace.json").c_str());
    }

    static const pwr::EntityHandle* cpu(int n) { return pwr::EntityHandle::getCPUThreadHandle(n); }
    static const pwr::DataDescriptor* state(const std::string& name) {
        return pwr::DataDescriptor::create(pwr::DataDescriptorBuilder(name, ""));
    }
    template <typename T>
    static void feed(pwr::Metric& metric, unsigned long long at, const pwr::EntityHandle* entity,
                     const T& value, const pwr::DataDescriptor* descriptor = nullptr) {
        pwr::DataElement element(entity, descriptor);
        element.setValue(value);
        ASSERT_EQ(metric.setData(at, element, 0), 0);
    }

    // Runs `collect` on a stream that holds only the writer, as the host does, and reads the file back.
    template <class F>
    json collect(F&& collect) {
        EXPECT_EQ(writer->openOutput(), 0);
        {
            vrtest::ScopedWriterStream scope({writer});
            pwr::SystemMessage system(machine);
            scope.stream().pushMessage(system);
            collect();
        }
        std::ifstream file(prefix + ".trace.json");
        std::stringstream text;
        text << file.rdbuf();
        return json::parse(text.str());  // throws, failing the test, on invalid JSON
    }

    static std::map<std::string, int> threads(const json& trace) {
        std::map<std::string, int> named;
        for (const json& event : trace["traceEvents"]) {
            if (event["ph"] == "M" && event["name"] == "thread_name") {
                named[event["args"]["name"]] = event["tid"];
            }
        }
        return named;
    }
    static std::vector<Slice> slices(const json& trace, int tid) {
        std::vector<Slice> found;
        for (const json& event : trace["traceEvents"]) {
            if (event["ph"] == "X" && event["tid"] == tid) {
                found.push_back({event["name"], event["ts"], event["dur"]});
            }
        }
        return found;
    }
    static std::vector<std::pair<double, double>> counter(const json& trace, const std::string& name) {
        std::vector<std::pair<double, double>> found;
        for (const json& event : trace["traceEvents"]) {
            if (event["ph"] == "C" && event["name"] == name) {
                found.emplace_back(event["ts"], event["args"]["value"]);
            }
        }
        return found;
    }

    pwr::SystemMetadata machine;
    std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    std::string prefix = ::testing::TempDir() + "trace_writer_" + name;
    std::string configPath = ::testing::TempDir() + "trace_writer_" + name + ".cfg";
    vrtest::LoadedPlugin module{"trace-writer"};
    WriterPlugin* writer = module.as<WriterPlugin>();
};

TEST_F(TraceWriterTest, OffersOneCapabilityNamedTrace) {
    Plugin::Capabilities caps;
    writer->getAllCapabilities(caps);
    ASSERT_EQ(caps.size(), 1u);
    EXPECT_EQ(caps[0]->getName(), "trace");
}

TEST_F(TraceWriterTest, CollectionBecomesCpuTracksAndCounters) {
    const pwr::DataDescriptor* c1 = state("C1");
    const pwr::DataDescriptor* c6 = state("C6");
    const json trace = collect([&] {
        pwr::Metric cstate("C-state residency", pwr::Metric::SampledResidency, "cpu-cstate", "cstate",
                           machine, pwr::Quantity::time());
        pwr::Metric frequency("CPU frequency", pwr::Metric::SampledValue, "cpu-frequency", "frequency",
                              machine, pwr::Quantity::frequency());
        pwr::Metric energy("Energy", pwr::Metric::SampledDelta, "energy", "power", machine,
                           pwr::Quantity::energy());
        pwr::Metric thermal("Temperature", pwr::Metric::SampledValue, "temperature", "thermal", machine,
                            pwr::Quantity::temperature());
        pwr::Metric transitions("C-state transitions", pwr::Metric::TracedValueTransition, "cstate-trace",
                                "trace", machine, nullptr);
        const pwr::EntityHandle* package = pwr::EntityHandle::create("package-0", nullptr);
        const pwr::EntityHandle* sensor = pwr::EntityHandle::create("x86_pkg_temp", nullptr);
        for (unsigned long long at : {2000ULL, 3000ULL}) {
            const bool first = at == 2000;
            feed(cstate, at, cpu(0), first ? 250ULL : 100ULL, c1);
            feed(cstate, at, cpu(0), first ? 500ULL : 800ULL, c6);
            feed(cstate, at, cpu(1), first ? 900ULL : 50ULL, c1);
            feed(frequency, at - 500, cpu(0), first ? 2400.0 : 1200.0);
            feed(energy, at, package, first ? 5ULL : 2ULL);  // mJ per millisecond
            feed(thermal, at, sensor, first ? 45.0 : 47.5);
        }
        // Traced values as the trace feature gives them: the state or frequency just left, held so long.
        pwr::Metric frequencies("Frequency Transitions", pwr::Metric::TracedValueTransition,
                                "frequency-trace", "trace", machine, pwr::Quantity::frequency());
        feed(transitions, 2200, cpu(1), *c6);
        feed(transitions, 2700, cpu(1), *c1);
        feed(frequencies, 2500, cpu(1), 2400ULL);
        // A residency of another feature gets a track beside the CPU's, which the C-states own.
        pwr::Metric load("CPU Utilization", pwr::Metric::SampledResidency, "cpu-utilization", "cpu", machine,
                         pwr::Quantity::time());
        feed(load, 2000, cpu(0), 600ULL, state("busy"));
        for (pwr::Metric* metric :
             {&cstate, &frequency, &energy, &thermal, &transitions, &frequencies, &load}) {
            metric->finalize();
        }
    });
    EXPECT_EQ(trace["displayTimeUnit"], "ms");
    // Within each track, slices and counter values follow one another in time.
    std::map<std::string, double> last;
    for (const json& event : trace["traceEvents"]) {
        if (event["ph"] == "M") {
            continue;
        }
        EXPECT_TRUE(!event.contains("tid") || event["tid"].is_number_integer()) << event.dump();
        const std::string track = event["ph"] == "C" ? event["name"].get<std::string>() : event["tid"].dump();
        EXPECT_GE(event["ts"].get<double>(), last[track]) << event.dump();
        last[track] = event["ts"].get<double>();
    }
    const auto process = std::find_if(trace["traceEvents"].begin(), trace["traceEvents"].end(),
                                      [](const json& e) { return e["name"] == "process_name"; });
    ASSERT_NE(process, trace["traceEvents"].end());
    EXPECT_EQ((*process)["args"]["name"], "vantrell");

    const auto named = threads(trace);
    const std::vector<std::string> inOrder{"CPU 0", "CPU 0 CPU Utilization", "CPU 1",
                                           "CPU 1 C-state transitions", "CPU 1 Frequency Transitions"};
    ASSERT_EQ(named.size(), inOrder.size());
    std::map<int, std::string> trackOf;
    for (const auto& [track, tid] : named) {
        trackOf[tid] = track;
    }
    std::map<int, std::string> bySortIndex;
    for (const json& event : trace["traceEvents"]) {
        if (event["name"] == "thread_sort_index") {
            bySortIndex[event["args"]["sort_index"]] = trackOf[event["tid"]];
        }
    }
    std::vector<std::string> sorted;
    for (const auto& [index, track] : bySortIndex) {
        sorted.push_back(track);
    }
    EXPECT_EQ(sorted, inOrder) << "a CPU's tracks stand together, in CPU order";
    EXPECT_EQ(slices(trace, named.at("CPU 0 CPU Utilization")), (std::vector<Slice>{{"busy", 0, 1000}}));
    // One slice per sampling interval, named after the state that held most of it; a CPU that spent
    // most of an interval in no reported state shows "other".
    EXPECT_EQ(slices(trace, named.at("CPU 0")), (std::vector<Slice>{{"C6", 0, 1000}, {"C6", 1000, 1000}}));
    EXPECT_EQ(slices(trace, named.at("CPU 1")), (std::vector<Slice>{{"C1", 0, 1000}, {"other", 1000, 1000}}));
    EXPECT_EQ(slices(trace, named.at("CPU 1 C-state transitions")),
              (std::vector<Slice>{{"C6", 0, 1200}, {"C1", 1200, 500}}));
    EXPECT_EQ(slices(trace, named.at("CPU 1 Frequency Transitions")),
              (std::vector<Slice>{{"2400 MHz", 0, 1500}}));
    for (const json& event : trace["traceEvents"]) {
        if (event["ph"] == "X" && event["tid"] == named.at("CPU 0") && event["ts"] == 0) {
            EXPECT_EQ(event["args"], (json{{"C1", 25.0}, {"C6", 50.0}}));
        }
    }

    using Points = std::vector<std::pair<double, double>>;
    EXPECT_EQ(counter(trace, "CPU 0 CPU frequency (MHz)"), (Points{{500, 2400}, {1500, 1200}}));
    // Energy deltas become power over the interval they cover, placed at its start.
    EXPECT_EQ(counter(trace, "Energy package-0 (mW)"), (Points{{0, 5000}, {1000, 2000}}));
    EXPECT_EQ(counter(trace, "Temperature x86_pkg_temp (oC)"), (Points{{1000, 45}, {2000, 47.5}}));
}

TEST_F(TraceWriterTest, CollectionCutShortStillGivesWholeJson) {
    const json trace = collect([&] {
        pwr::Metric cstate("C-state residency", pwr::Metric::SampledResidency, "cpu-cstate", "cstate",
                           machine, pwr::Quantity::time());
        const pwr::DataDescriptor* c1 = state("C1");
        feed(cstate, 1500, cpu(0), 100ULL, c1);
        feed(cstate, 2000, cpu(0), 400ULL, c1);  // flushes the first point; the second never is
        pwr::Metric thermal("Temperature", pwr::Metric::SampledValue, "temperature", "thermal", machine,
                            nullptr);
        const pwr::EntityHandle* sensor = pwr::EntityHandle::create("sensor\xff", nullptr);
        feed(thermal, 1500, sensor, 40.0);
        feed(thermal, 2500, sensor, 41.0);  // flushes the first
    });
    EXPECT_EQ(counter(trace, "Temperature sensor\xEF\xBF\xBD"),
              (std::vector<std::pair<double, double>>{{500, 40}}))
        << "a name that isn't UTF-8 keeps the file valid";
    const auto named = threads(trace);
    ASSERT_EQ(named.count("CPU 0"), 1u);
    EXPECT_EQ(named.count("CPU 1"), 1u);  // every logical CPU has its track
    EXPECT_EQ(slices(trace, named.at("CPU 0")), (std::vector<Slice>{{"other", 0, 500}}));
}

TEST_F(TraceWriterTest, OutputThatCannotBeCreatedFailsToOpen) {
    writer->setCommandlineParams("output=" + ::testing::TempDir() + "no-such-dir/run\n");
    EXPECT_EQ(writer->openOutput(), 1);
    EXPECT_EQ(writer->closeOutput(), 1);
}

}  // namespace
