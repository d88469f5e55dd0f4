// The Linux metric plug-in as the host drives it: the module loaded from the plug-in directory,
// messages built in the collectors' format for a machine of two logical CPUs, whose collection starts at
// tick 1000 of a 1 MHz clock (a microsecond is a tick), and the tables a writer prints at the end,
// with the host's own output configuration.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "LinuxPluginProtocol.h"
#include "support/LogCapture.h"
#include "support/PluginLoader.h"
#include "support/TestWriter.h"
#include "value/RegistryEnvironment.h"

namespace {

using vantrell::plugins::kIdleExit;
using vantrell::plugins::kSystemCpu;

constexpr uint8_t kBegin = 0;
constexpr uint8_t kPoll = 1;
constexpr uint8_t kTracepoint = 3;
constexpr uint8_t kEnd = 4;

struct Message {
    uint64_t timestamp;
    uint8_t trigger;
    std::vector<std::tuple<uint16_t, std::string, uint64_t>> entries;
};

// Notes every data point a writer is handed while the collection runs.
class PointWriter : public WriterPlugin {
  public:
    PointWriter() : WriterPlugin("PointWriter") {}
    int openOutput() override { return 0; }
    int closeOutput() override { return 0; }
    std::vector<std::string> points;

  private:
    int writeMessage(const pwr::Metric& metric) override {
        std::string point = metric.getName() + " " + std::to_string(metric.getData().timestamp) + ":";
        for (const pwr::DataElement* element : metric.getData().elements) {
            std::string value;
            element->getValue()->toFormattedString(value);
            point += " " + element->getEntity()->getName() + "/" +
                     (element->getDescriptor() != nullptr ? element->getDescriptor()->getName() : "-") + "=" +
                     value + "@" + std::to_string(element->getDuration());
        }
        points.push_back(point);
        return 0;
    }
};

class LinuxMetrics : public ::testing::Test {
  protected:
    // CTest runs the suite in build/tests, beside the plug-in directory; the directory stays
    // replaceable through VR_PLUGIN_DIR.
    static void SetUpTestSuite() { setenv("VR_PLUGIN_DIR", "../bin/plugins", 0); }

    LinuxMetrics() {
        machine.startTSC = 1000;
        machine.stopTSC = 3000;
        machine.vraClockFreqMHz = 1.0f;
        machine.buildTopology("0 0 0 -1 1 0 1 -1", 0);
        pwr::DataHandleProvider::resetTopology(machine);
        const char* source = std::getenv("VR_SOURCE_DIR");
        EXPECT_NE(source, nullptr);
        EXPECT_EQ(pwr::WriterInterfaceConfigFileParser::instance()->parse(
                      {std::string(source != nullptr ? source : ".") + "/data/output/vantrell-output.cfg"},
                      machine),
                  0);
        if (plugin() != nullptr) {
            plugin()->setSID(1);
        }
        capture.clear();
    }
    ~LinuxMetrics() override {
        pwr::ThermalSampleHandler::freeInstance();
        pwr::WriterInterfaceConfigFileParser::instance()->destroy();
    }

    MetricPlugin* plugin() const { return loaded.as<MetricPlugin>(); }

    int start(const std::string& feature) {
        std::vector<pwr::InputMsg*> messages;
        std::vector<pwr::Metadata*> records;
        return plugin()->initializeCollection(messages, records, feature, {{"platform", "ALL"}}, machine);
    }

    // The raw bytes of `messages` from the source of capability `metricId`.
    static std::vector<char> encode(int metricId, const std::vector<Message>& messages) {
        std::vector<char> bytes;
        for (const Message& message : messages) {
            vantrell::plugins::SampleWriter writer(
                bytes, message.timestamp, vantrell::plugins::makeSource(1, metricId, 1), message.trigger);
            for (const auto& [cpu, key, value] : message.entries) {
                writer.add(cpu, key, value);
            }
            writer.finish();
        }
        return bytes;
    }

    // Hands each message of `bytes` to the plug-in as the host does, resets recorded first; the codes,
    // joined.
    std::string feed(const std::vector<char>& bytes) {
        std::string codes;
        vantrell::plugins::forEachMessage(
            bytes.data(), bytes.size(), [&](const vr_driver_msg* message, size_t) {
                capture.environment().checkAndRecordReset(message->source, message->timestamp);
                codes += std::to_string(MetricPluginHost::processMessage(*plugin(), machine, message));
            });
        return codes;
    }

    // Starts `feature`, feeds the messages, finalises; the printed tables.
    std::vector<std::string> run(const std::string& feature, int metricId,
                                 const std::vector<Message>& messages) {
        EXPECT_EQ(start(feature), 0);
        EXPECT_EQ(feed(encode(metricId, messages)), std::string(messages.size(), '0'));
        EXPECT_EQ(plugin()->finalizeCollection(feature, {}, machine), 0);
        return printed();
    }

    // For a table's head "title | column titles", for each row its cells.
    std::vector<std::string> printed() const {
        std::vector<std::string> lines;
        for (const vrtest::TestWriter::PrintedTable& table : writer.tables()) {
            const bool head = table.cellLine.find_first_not_of("Invalid,") == std::string::npos;
            lines.push_back(head ? table.title + " | " + table.titleLine : table.cellLine);
        }
        return lines;
    }

    // What was logged, less what the test writer causes by reading a table's head, which has no cells yet.
    std::string log() const {
        std::string kept;
        const std::string text = capture.text();
        for (size_t begin = 0, end = 0; begin < text.size(); begin = end) {
            end = std::min(text.find('\n', begin), text.size() - 1) + 1;
            if (text.compare(begin, 29, "WARNING: No data in table yet") != 0) {
                kept += text.substr(begin, end - begin);
            }
        }
        return kept;
    }

    vrtest::ScopedLogCapture capture{2};
    pwr::SystemMetadata machine;
    vrtest::TestWriter writer{"TableWriter", ","};
    PointWriter points;
    vrtest::ScopedWriterStream scope{{&writer, &points}};
    vrtest::LoadedPlugin loaded{"linux-metrics"};
};

using Lines = std::vector<std::string>;

// Writers print an entity by its qualified name.
const std::string kCpu0 = "CPU/Package_0/Core_0/Thread_0";
const std::string kCpu1 = "CPU/Package_0/Core_1/Thread_1";

TEST_F(LinuxMetrics, OffersSevenFeaturesByIdInTwoGroups) {
    ASSERT_NE(plugin(), nullptr);
    std::vector<pwr::PluginCapability*> found;
    plugin()->getAllCapabilities(found, "default");
    std::string names;
    for (pwr::PluginCapability* capability : found) {
        const auto* metric = dynamic_cast<pwr::MetricPluginCapability*>(capability);
        ASSERT_NE(metric, nullptr);
        names += capability->getName() + "=" + std::to_string(metric->getMetricID()) + " ";
    }
    EXPECT_EQ(names, "cstate=1 cpu=2 frequency=3 thermal=4 power=5 interrupts=6 ");
    found.clear();
    plugin()->getAllCapabilities(found, "trace");
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(dynamic_cast<pwr::MetricPluginCapability*>(found[0])->getMetricID(), 7);
    EXPECT_EQ(start("gpu"), -1);
    EXPECT_EQ(capture.text(), "WARNING: linux-metrics: no feature named gpu\n");
}

// Idle states become ticks, C0 is the rest of the interval, and a state that claims more than is left
// is capped: the states of a CPU add up to the elapsed time. Writers see each point as it is flushed.
TEST_F(LinuxMetrics, CStateResidencyAddsUpToTheElapsedTime) {
    ASSERT_NE(plugin(), nullptr);
    const Lines tables = run(
        "cstate", 1,
        {{1000, kBegin, {{0, "POLL", 5}, {0, "C1", 0}, {0, "C6", 0}, {1, "C1", 0}, {1, "C6", 0}}},
         {2000, kPoll, {{0, "POLL", 5}, {0, "C1", 200}, {0, "C6", 500}, {1, "C1", 0}, {1, "C6", 900}}},
         {3000, kEnd, {{0, "POLL", 5}, {0, "C1", 400}, {0, "C6", 1000}, {1, "C1", 100}, {1, "C6", 2000}}}});
    EXPECT_EQ(tables, (Lines{"C-State Summary: Residency (Percentage) | CPU,C0 (%),POLL (%),C1 (%),C6 (%)",
                             kCpu0 + ",30.00,0.00,20.00,50.00", kCpu1 + ",5.00,0.00,5.00,90.00"}));
    EXPECT_EQ(points.points,
              (Lines{"C-State Residency 2000: Thread_0/C0=300@1000 Thread_0/POLL=0@1000 Thread_0/C1=200@1000 "
                     "Thread_0/C6=500@1000 Thread_1/C0=100@1000 Thread_1/C1=0@1000 Thread_1/C6=900@1000",
                     "C-State Residency 3000: Thread_0/C0=300@1000 Thread_0/POLL=0@1000 Thread_0/C1=200@1000 "
                     "Thread_0/C6=500@1000 Thread_1/C0=0@1000 Thread_1/C1=100@1000 Thread_1/C6=900@1000"}));
    EXPECT_EQ(log(), "");
}

// After a reset of the source (here a return to the running state between two polls) the counters may
// have restarted: the message is a new baseline, not an increase.
TEST_F(LinuxMetrics, AResetMakesTheMessageANewBaseline) {
    ASSERT_NE(plugin(), nullptr);
    capture.environment().addSystemStateEvent(2500, 1);
    machine.stopTSC = 4000;
    const Lines tables = run("cstate", 1,
                             {{1000, kBegin, {{0, "C1", 0}}},
                              {2000, kPoll, {{0, "C1", 400}}},
                              {3000, kPoll, {{0, "C1", 5}}},
                              {4000, kEnd, {{0, "C1", 305}}}});
    EXPECT_EQ(tables, (Lines{"C-State Summary: Residency (Percentage) | CPU,C0 (%),C1 (%)",
                             kCpu0 + ",65.00,35.00", kCpu1 + ",0.00,0.00"}));
}

// /proc/stat ticks: the busy share of each interval (outside idle and iowait) is the share of its clock
// ticks; keys the plug-in doesn't use are passed over, and the whole-machine line counts for SYSTEM.
TEST_F(LinuxMetrics, CpuUtilisationIsTheBusyShareOfEachInterval) {
    ASSERT_NE(plugin(), nullptr);
    const Lines tables = run("cpu", 2,
                             {{1000,
                               kBegin,
                               {{0, "user", 100},
                                {0, "system", 50},
                                {0, "idle", 1000},
                                {1, "idle", 0},
                                {1, "user", 0},
                                {kSystemCpu, "user", 0},
                                {kSystemCpu, "idle", 0}}},
                              {2000,
                               kPoll,
                               {{0, "user", 130},
                                {0, "system", 60},
                                {0, "idle", 1060},
                                {0, "guest", 99},
                                {1, "idle", 100},
                                {kSystemCpu, "user", 50},
                                {kSystemCpu, "idle", 150}}},
                              {3000,
                               kEnd,
                               {{0, "user", 130},
                                {0, "system", 60},
                                {0, "idle", 1160},
                                {1, "idle", 150},
                                {1, "user", 50},
                                {kSystemCpu, "user", 100},
                                {kSystemCpu, "idle", 300}}}});
    EXPECT_EQ(tables, (Lines{"CPU Utilization Summary: Residency (Percentage) | CPU,Busy (%),Idle (%)",
                             "SYSTEM,25.00,75.00", kCpu0 + ",20.00,80.00", kCpu1 + ",25.00,75.00"}));
    EXPECT_EQ(log(), "");
}

// kHz to MHz; "nominal" stands in a row of its own. The time-weighted average weighs each reading by
// the time since the previous one of its CPU and kind.
TEST_F(LinuxMetrics, FrequenciesByCpuWithNominalMarked) {
    ASSERT_NE(plugin(), nullptr);
    const Lines tables =
        run("frequency", 3,
            {{2000, kPoll, {{0, "cur", 2400000}, {0, "nominal", 2000000}, {1, "cur", 1200000}}},
             {4000, kPoll, {{0, "cur", 3000000}, {1, "cur", 1800400}, {1, "nominal", 1999500}}}});
    EXPECT_EQ(
        tables,
        (Lines{"CPU Frequency Summary - Sampled: Min/Max/Avg | CPU,Reading,Min (MHz),Max (MHz),Avg "
               "(MHz),Time-weighted Avg (MHz)",
               kCpu0 + ",Current,2400,3000,2700.00,2800.00", kCpu0 + ",Nominal,2000,2000,2000.00,2000.00",
               kCpu1 + ",Current,1200,1800,1500.00,1600.00", kCpu1 + ",Nominal,2000,2000,2000.00,2000.00"}));
}

// Millidegrees become whole degrees (rounded, below zero 0) of the shared temperature metric.
TEST_F(LinuxMetrics, TemperaturesGoThroughTheSharedThermalMetric) {
    ASSERT_NE(plugin(), nullptr);
    const Lines tables = run(
        "thermal", 4,
        {{2000, kPoll, {{kSystemCpu, "pkg", 45400}, {kSystemCpu, "acpitz", static_cast<uint64_t>(-5000)}}},
         {3000, kPoll, {{kSystemCpu, "pkg", 50500}, {kSystemCpu, "acpitz", 28000}}}});
    EXPECT_EQ(tables,
              (Lines{"Temperature Summary - Sampled: Min/Max/Avg | ,Min (oC),Max (oC),Avg (oC),Time-weighted "
                     "Avg (oC)",
                     "pkg,45,51,48.00,48.00", "acpitz,0,28,14.00,14.00"}));
}

// Energy in mJ, power in mW. A counter that goes back wrapped at its announced range; without one the
// interval is skipped and the next one starts from the new value. The domains overlap: no total row.
TEST_F(LinuxMetrics, EnergyCountersWrapAtTheirRange) {
    ASSERT_NE(plugin(), nullptr);
    const Lines tables =
        run("power", 5,
            {{1000,
              kBegin,
              {{kSystemCpu, "max:package-0", 1000000},
               {kSystemCpu, "package-0", 999000},
               {kSystemCpu, "dram", 500},
               {kSystemCpu, "psys", 100}}},
             {2000,
              kPoll,
              {{kSystemCpu, "package-0", 1000}, {kSystemCpu, "dram", 1500}, {kSystemCpu, "psys", 50}}},
             {3000,
              kEnd,
              {{kSystemCpu, "package-0", 4000}, {kSystemCpu, "dram", 2000}, {kSystemCpu, "psys", 80}}}});
    EXPECT_EQ(tables, (Lines{"Power Summary: Average Rate and Total | Domain,Average Rate (mW),Total (mJ)",
                             "package-0,2500.00,5.00", "dram,750.00,1.50", "psys,30.00,0.03"}));
}

// Interrupt counts per CPU and line; the kernel's 32-bit counters wrap.
TEST_F(LinuxMetrics, InterruptsPerLineAndCpu) {
    ASSERT_NE(plugin(), nullptr);
    const Lines tables =
        run("interrupts", 6,
            {{1000, kBegin, {{0, "0", 10}, {0, "LOC", 100}, {1, "0", 0}, {1, "LOC", 4294967290ULL}}},
             {2000, kPoll, {{0, "0", 20}, {0, "LOC", 300}, {1, "0", 5}, {1, "LOC", 10}}}});
    EXPECT_EQ(tables, (Lines{"Interrupts Summary: Average Rate and Total | Interrupt,Average Rate (/s),Total "
                             "(count),Average Rate (/s),Total (count)",
                             "0,10000.00,10.00,5000.00,5.00", "LOC,200000.00,200.00,16000.00,16.00"}));
}

// Each event closes the value a CPU held since its previous event; the value held before the first event
// is unknown, and the last is closed at the collection's stop. Wake-ups count per process and CPU.
TEST_F(LinuxMetrics, TraceEventsGiveTransitionsAndWakeupsPerProcess) {
    ASSERT_NE(plugin(), nullptr);
    const Lines tables = run("trace", 7,
                             {{1100, kTracepoint, {{0, "cstate", 2}}},
                              {1200, kTracepoint, {{1, "freq", 1200000}}},
                              {1300, kTracepoint, {{0, "wakeup:kworker/0:1", 42}}},
                              {1400, kTracepoint, {{0, "wakeup:bash", 77}}},
                              {1450, kTracepoint, {{1, "wakeup:bash", 77}}},
                              {1500, kTracepoint, {{0, "cstate", kIdleExit}}},
                              {1600, kTracepoint, {{0, "cstate", 1}}},
                              {1700, kTracepoint, {{1, "freq", 2400000}}},
                              {1800, kTracepoint, {{0, "wakeup:kworker/0:1", 42}}},
                              {2100, kTracepoint, {{0, "cstate", kIdleExit}}}});
    EXPECT_EQ(tables,
              (Lines{"Traced C-State Summary: Residency (Percentage) | CPU,C0 (%),State 2 (%),State 1 (%)",
                     kCpu0 + ",52.63,21.05,26.32", "Traced C-State Summary: Entry Counts | C-State,Thread_0",
                     "C0,2", "State 2,1", "State 1,1", "Total,4",
                     "Traced Frequency Summary: Residency (Percentage) | CPU,1200 (%),2400 (%)",
                     kCpu1 + ",27.78,72.22",
                     "Traced Frequency Summary: Entry Counts | Frequency (MHz),Thread_1", "1200,1", "2400,1",
                     ",2",  // the "Total" handle can't stand in a column of numbers
                     "Wake-ups by Process Summary: Type Count | Process,Thread_0,Thread_1", "bash,1,1",
                     "kworker/0:1,2,0"}));
}

// Damaged input is dropped whole with a warning and never ends the collection: a message cut inside its
// entries, a body too short for its own head, a CPU the topology lacks, a feature that isn't running.
TEST_F(LinuxMetrics, DamagedMessagesAreDroppedWithAWarning) {
    ASSERT_NE(plugin(), nullptr);
    ASSERT_EQ(start("cstate"), 0);
    std::vector<char> cut = encode(1, {{1500, kPoll, {{0, "C1", 1}, {0, "C6", 2}}}});
    cut.resize(cut.size() - 3);
    const uint32_t shorter = static_cast<uint32_t>(cut.size() - vantrell::plugins::kHeadSize - 4);
    std::memcpy(cut.data() + vantrell::plugins::kHeadSize, &shorter, sizeof(shorter));
    std::vector<char> headless = encode(1, {{1600, kPoll, {}}});
    std::memset(headless.data() + vantrell::plugins::kHeadSize, 0, 4);
    EXPECT_EQ(MetricPluginHost::processMessage(*plugin(), machine,
                                               reinterpret_cast<const vr_driver_msg*>(cut.data())),
              pwr::PROCESS_MESSAGE_FAILED);
    EXPECT_EQ(MetricPluginHost::processMessage(*plugin(), machine,
                                               reinterpret_cast<const vr_driver_msg*>(headless.data())),
              pwr::PROCESS_MESSAGE_FAILED);
    EXPECT_EQ(feed(encode(1, {{1000, kBegin, {{0, "C1", 0}, {9, "C1", 0}}},
                              {2000, kPoll, {{0, "C1", 400}, {9, "C1", 7}}},
                              {2500, kPoll, {{9, "C1", 8}}}})),
              "004");
    EXPECT_EQ(feed(encode(5, {{2600, kPoll, {{kSystemCpu, "dram", 1}}}})), "4");
    EXPECT_EQ(MetricPluginHost::processMessage(*plugin(), machine, nullptr), pwr::PROCESS_MESSAGE_FAILED);
    EXPECT_EQ(plugin()->finalizeCollection("cstate", {}, machine), 0);
    EXPECT_EQ(printed(), (Lines{"C-State Summary: Residency (Percentage) | CPU,C0 (%),C1 (%)",
                                kCpu0 + ",60.00,40.00", kCpu1 + ",0.00,0.00"}));
    EXPECT_EQ(log(),
              "WARNING: linux-metrics: cstate message at 1500 is damaged after 1 entries; dropped\n"
              "WARNING: linux-metrics: cstate message at 1600 is damaged after 0 entries; dropped\n"
              "WARNING: linux-metrics: cstate: logical CPU 9 isn't in the topology; its entries are skipped\n"
              "WARNING: linux-metrics: no running feature for metric id 5; message dropped\n");
    EXPECT_EQ(plugin()->finalizeCollection("power", {}, machine), 0);  // never started: nothing to say
}

}  // namespace
