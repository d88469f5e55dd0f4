// The prom writer as the host drives it: summary tables, from real metrics and made by hand, pushed
// through a WriterStream; the file it leaves must obey the OpenMetrics text rules that Prometheus'
// textfile collector applies, and name what it holds after Prometheus conventions.

#include <cstdio>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <vantrell/VantrellCore.h>

#include "support/PluginLoader.h"
#include "support/TableBuilder.h"
#include "support/TestWriter.h"

namespace {

// The rules of the text format that a scraper enforces; returns the first fault, empty when none.
std::string formatFault(const std::string& text) {
    static const std::regex metadata(R"(# (TYPE|UNIT|HELP) ([a-zA-Z_:][a-zA-Z0-9_:]*) (.*))");
    static const std::regex sample(R"(([a-zA-Z_:][a-zA-Z0-9_:]*)(\{(.*)\})? (\S+))");
    static const std::regex label(R"(([a-zA-Z_][a-zA-Z0-9_]*)="((?:[^"\\\n]|\\[\\"n])*)\"(,|$))");
    const std::string eof = "# EOF\n";
    if (text.size() < eof.size() || text.compare(text.size() - eof.size(), eof.size(), eof) != 0) {
        return "doesn't end with # EOF";
    }
    std::istringstream lines(text.substr(0, text.size() - eof.size()));
    std::string family;
    std::set<std::string> finished;
    std::set<std::string> series;
    std::map<std::string, int> metadataSeen;
    std::smatch match;
    for (std::string line; std::getline(lines, line);) {
        if (std::regex_match(line, match, metadata)) {
            const std::string name = match[2];
            if (name != family) {
                if (finished.count(name) != 0) {
                    return "family interleaved: " + line;
                }
                finished.insert(family);
                family = name;
            }
            if (++metadataSeen[match[1].str() + name] > 1) {
                return "metadata repeated: " + line;
            }
            const std::string unit = match[3];
            if (match[1] == "UNIT" && name.size() <= unit.size() + 1 &&
                name.compare(name.size() - unit.size() - 1, std::string::npos, "_" + unit) != 0) {
                return "unit isn't the name's suffix: " + line;
            }
            if (match[1] == "TYPE" && unit != "gauge" && unit != "counter" && unit != "unknown") {
                return "unexpected type: " + line;
            }
            continue;
        }
        if (!std::regex_match(line, match, sample)) {
            return "not a sample: " + line;
        }
        if (match[1] != family || metadataSeen["TYPE" + family] == 0) {
            return "sample without its TYPE ahead: " + line;
        }
        std::string labels = match[3];
        std::set<std::string> names;
        for (std::smatch pair; !labels.empty(); labels = pair.suffix()) {
            if (!std::regex_search(labels, pair, label, std::regex_constants::match_continuous)) {
                return "bad label set: " + line;
            }
            if (!names.insert(pair[1]).second || pair[1].str().rfind("__", 0) == 0) {
                return "bad label name: " + line;
            }
        }
        const std::string value = match[4];
        char* end = nullptr;
        std::strtod(value.c_str(), &end);
        if (value != "NaN" && value != "+Inf" && value != "-Inf" && *end != '\0') {
            return "bad value: " + line;
        }
        if (!series.insert(match[1].str() + "{" + match[3].str() + "}").second) {
            return "series repeated: " + line;
        }
    }
    return "";
}

TEST(OpenMetricsChecker, FindsEachKindOfFault) {
    const struct {
        const char* text;
        const char* fault;
    } cases[] = {
        {"# TYPE a gauge\na 1\n# EOF\n", ""},
        {"# TYPE a gauge\na 1\n", "doesn't end with # EOF"},
        {"a 1\n# EOF\n", "sample without its TYPE ahead: a 1"},
        {"# TYPE 1a gauge\n1a 1\n# EOF\n", "not a sample: # TYPE 1a gauge"},
        {"# TYPE a gauge\na{x=\"1\"} 1\na{x=\"1\"} 2\n# EOF\n", "series repeated: a{x=\"1\"} 2"},
        {"# TYPE a gauge\na{x=\"\\t\"} 1\n# EOF\n", "bad label set: a{x=\"\\t\"} 1"},
        {"# TYPE a gauge\na{x=\"1\",x=\"2\"} 1\n# EOF\n", "bad label name: a{x=\"1\",x=\"2\"} 1"},
        {"# TYPE a gauge\n# TYPE b gauge\n# TYPE a gauge\n# EOF\n", "family interleaved: # TYPE a gauge"},
        {"# TYPE a_watts gauge\n# UNIT a_watts joules\n# EOF\n",
         "unit isn't the name's suffix: # UNIT a_watts joules"},
        {"# TYPE a gauge\na one\n# EOF\n", "bad value: a one"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(formatFault(c.text), c.fault);
    }
}

class PromWriterTest : public ::testing::Test {
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
        machine.startTSC = 1000;  // 1 MHz: 1000 ticks are a millisecond
        machine.vraClockFreqMHz = 1.0f;
        ASSERT_NE(writer, nullptr);
        writer->setCommandlineParams("output=" + prefix + "\nresults=prom\ninterval=1000\n");
    }
    void TearDown() override {
        pwr::WriterInterfaceConfigFileParser::instance()->destroy();
        std::remove(configPath.c_str());
        std::remove((prefix + ".prom").c_str());
    }

    void configure(const std::vector<std::string>& lines) {
        std::ofstream file(configPath);
        for (const std::string& line : lines) {
            file << line << "\n";
        }
        file.close();
        ASSERT_EQ(pwr::WriterInterfaceConfigFileParser::instance()->parse({configPath}, machine), 0);
    }

    // Runs `push` on a stream that holds only the writer, ends the stream as the host does, and
    // returns the file, which must obey the format.
    template <class F>
    std::string run(F&& push) {
        EXPECT_EQ(writer->openOutput(), 0);
        {
            vrtest::ScopedWriterStream scope({writer});
            push(scope.stream());
        }
        std::ifstream file(prefix + ".prom");
        std::stringstream text;
        text << file.rdbuf();
        EXPECT_FALSE(std::ifstream(prefix + ".prom.tmp").good()) << "the temporary file stays behind";
        EXPECT_EQ(formatFault(text.str()), "") << text.str();
        return text.str();
    }

    static bool hasLine(const std::string& text, const std::string& line) {
        return ("\n" + text).find("\n" + line + "\n") != std::string::npos;
    }

    pwr::SystemMetadata machine;
    std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    std::string prefix = ::testing::TempDir() + "prom_writer_" + name;
    std::string configPath = prefix + ".cfg";
    vrtest::LoadedPlugin module{"prom-writer"};
    WriterPlugin* writer = module.as<WriterPlugin>();
};

// The tables of the built-in accumulators, as a metric plug-in makes them: residency, min/max/avg,
// and average rate with totals (numbers as text, and a "Total" row).
TEST_F(PromWriterTest, SummaryTablesOfMetricsBecomeConventionalNames) {
    configure({"ALL_cstate_cpu-cstate_RESIDENCY-PERCENTAGE_TITLE=C-State Residency",
               "ALL_cstate_cpu-cstate_RESIDENCY-MILLISECOND_TITLE=C-State Residency",
               "ALL_cstate_cpu-cstate_RESIDENCY-MILLISECOND_TRANSPOSE=YES",
               "ALL_frequency_cpu-frequency_MIN-MAX-AVG_TITLE=CPU frequency",
               "ALL_power_energy_AVERAGE-RATE-TOTAL_TITLE=Package power"});
    machine.startTimeval = 1700000000500000000ULL;
    machine.stopTimeval = machine.startTimeval + 3000000000ULL;
    const std::string text = run([&](WriterStream& stream) {
        pwr::SystemMessage system(machine);
        stream.pushMessage(system);
        pwr::Metric cstate("C-state", pwr::Metric::SampledResidency, "cpu-cstate", "cstate", machine,
                           pwr::Quantity::time());
        pwr::Metric frequency("Frequency", pwr::Metric::SampledValue, "cpu-frequency", "frequency", machine,
                              pwr::Quantity::frequency());
        pwr::Metric energy("Energy", pwr::Metric::SampledDelta, "energy", "power", machine,
                           pwr::Quantity::energy());
        const pwr::DataDescriptor* c1 = pwr::DataDescriptor::create(pwr::DataDescriptorBuilder("C1", ""));
        const pwr::DataDescriptor* c6 = pwr::DataDescriptor::create(pwr::DataDescriptorBuilder("C6", ""));
        const pwr::EntityHandle* package = pwr::EntityHandle::create("package-0", nullptr);
        auto feed = [](pwr::Metric& metric, unsigned long long at, const pwr::EntityHandle* entity,
                       auto value, const pwr::DataDescriptor* state = nullptr) {
            pwr::DataElement element(entity, state);
            element.setValue(value);
            EXPECT_EQ(metric.setData(at, element, 0), 0);
        };
        for (int cpu : {0, 1}) {
            const pwr::EntityHandle* thread = pwr::EntityHandle::getCPUThreadHandle(cpu);
            feed(cstate, 2000, thread, cpu == 0 ? 250ULL : 900ULL, c1);
            feed(cstate, 2000, thread, cpu == 0 ? 500ULL : 0ULL, c6);
            feed(frequency, 2000, thread, cpu == 0 ? 2400.0 : 800.0);
            feed(frequency, 3000, thread, cpu == 0 ? 1200.0 : 800.0);
        }
        feed(energy, 2000, package, 5ULL);
        feed(energy, 3000, package, 3ULL);
        // A count whose rate is per second, as interrupts are.
        const pwr::Quantity* perSecond =
            pwr::Quantity::create(static_cast<pwr::QuantityType>(64), "Rate", "/s", nullptr, 1.0);
        pwr::Metric interrupts(
            "Interrupts", pwr::Metric::SampledDelta, "interrupt-counts", "interrupts", machine,
            pwr::Quantity::create(static_cast<pwr::QuantityType>(65), "Count", "count", perSecond, 1.0));
        feed(interrupts, 3000, pwr::EntityHandle::getCPUThreadHandle(1), 40ULL, c1);
        for (pwr::Metric* metric : {&cstate, &frequency, &energy, &interrupts}) {
            metric->finalize();
        }
    });
    for (const char* line : {
             "# TYPE vantrell_cstate_residency_ratio gauge",
             "# UNIT vantrell_cstate_residency_ratio ratio",
             "vantrell_cstate_residency_ratio{cpu=\"0\",state=\"C1\"} 0.25",
             "vantrell_cstate_residency_ratio{cpu=\"1\",state=\"C1\"} 0.9",
             "vantrell_cstate_residency_ratio{cpu=\"0\",state=\"C6\"} 0.5",
             "vantrell_cstate_residency_seconds{cpu=\"0\",state=\"C6\"} 0.0005",
             "# HELP vantrell_cstate_residency_seconds C-State Residency: Residency (msec)",
             "vantrell_cstate_samples{cpu=\"1\"} 1",  // titled by the metric: no TITLE for it
             "vantrell_cpu_frequency_min_hertz{cpu=\"0\"} 1200000000",
             "vantrell_cpu_frequency_max_hertz{cpu=\"0\"} 2400000000",
             "vantrell_cpu_frequency_avg_hertz{cpu=\"1\"} 800000000",
             // A distribution table, unmapped: named after its title, its CPU columns as labels.
             "vantrell_frequency_summary_sampled_sample_distribution_ratio{frequency=\"1200.00\",cpu=\"0\"} "
             "0.5",
             "# UNIT vantrell_package_power_watts watts",
             "vantrell_package_power_watts{entity=\"package-0\"} 4",
             "vantrell_package_power_joules{entity=\"package-0\"} 0.008",
             "vantrell_interrupts_per_second{cpu=\"1\",descriptor=\"C1\"} 20000",  // 40 in 2 ms
             "vantrell_interrupts{cpu=\"1\",descriptor=\"C1\"} 40",
             "vantrell_collection_start_time_seconds 1700000000.5",
             "vantrell_collection_duration_seconds 3",
         }) {
        EXPECT_TRUE(hasLine(text, line)) << line << "\n" << text;
    }
    EXPECT_EQ(text.find("=\"Total\""), std::string::npos)
        << "the sum row of the rate table is left to Prometheus";
}

// Hand-made tables: label escaping, a generic table, a row that sums the others, a row that was
// reset: the whole file, exactly.
TEST_F(PromWriterTest, LabelsAreEscapedAndUnmappedTablesStayGeneric) {
    configure({});
    const std::string text = run([&](WriterStream& stream) {
        const pwr::EntityHandle* odd = pwr::EntityHandle::create("pkg \"a\"\\b\n\xff", nullptr);
        const pwr::EntityHandle* total = pwr::EntityHandle::create("Total", nullptr);
        pwr::TableMessage temperatures("Sensors Summary - Sampled: Min/Max", nullptr);
        ASSERT_EQ(vrtest::buildTable(temperatures, {},
                                     {{"Sensor", pwr::DataType::HANDLE}, {"Max (oC)", pwr::DataType::REAL}}),
                  0);
        stream.pushMessage(temperatures);  // the head: no data yet
        for (const pwr::EntityHandle* entity : {odd, total}) {
            temperatures.setFieldValue(0u, *entity);
            temperatures.setFieldValue(1u, 41.5);
            stream.pushMessage(temperatures);
        }
        pwr::TableMessage buckets("Odd \"table\"", nullptr);
        ASSERT_EQ(vrtest::buildTable(buckets, {},
                                     {{"Bucket", pwr::DataType::UINT, true},
                                      {"cpu0 (%)", pwr::DataType::REAL},
                                      {"Note", pwr::DataType::STRING}}),
                  0);
        stream.pushMessage(buckets);
        buckets.setFieldValue(0u, 7u);
        buckets.setFieldValue(1u, 12.5);
        buckets.setFieldValue(2u, "warm");
        stream.pushMessage(buckets);
        stream.pushMessage(buckets);  // reset by the stream: nothing valid, no sample
    });
    EXPECT_EQ(text,
              "# TYPE vantrell_sensors_max_celsius gauge\n"
              "# UNIT vantrell_sensors_max_celsius celsius\n"
              "# HELP vantrell_sensors_max_celsius Sensors: Max (oC)\n"
              "vantrell_sensors_max_celsius{sensor=\"pkg \\\"a\\\"\\\\b\\n\xEF\xBF\xBD\"} 41.5\n"
              "# TYPE vantrell_odd_table gauge\n"
              "# HELP vantrell_odd_table Odd 'table'\n"
              "vantrell_odd_table{bucket=\"7\",note=\"warm\",column=\"cpu0 (%)\"} 12.5\n"
              "# EOF\n");
}

TEST_F(PromWriterTest, WritesAtomicallyAndOnlyOnce) {
    Plugin::Capabilities caps;
    writer->getAllCapabilities(caps);
    ASSERT_EQ(caps.size(), 1u);
    EXPECT_EQ(caps[0]->getName(), "prom");
    configure({});
    EXPECT_EQ(writer->openOutput(), 0);
    EXPECT_FALSE(std::ifstream(prefix + ".prom").good()) << "nothing in place before the end";
    EXPECT_EQ(writer->closeOutput(), 0);
    std::ifstream file(prefix + ".prom");
    std::stringstream text;
    text << file.rdbuf();
    EXPECT_EQ(text.str(), "# EOF\n");
    EXPECT_EQ(writer->closeOutput(), 0);

    writer->setCommandlineParams("output=" + ::testing::TempDir() + "no-such-dir/run\n");
    EXPECT_EQ(writer->openOutput(), 1);
}

}  // namespace
