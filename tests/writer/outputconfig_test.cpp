// The output configuration language: line forms, the first-value-stays rule, orders, the closing check
// and the queries, read from files as a host reads them.

#include <gtest/gtest.h>

#include <cstdlib>
#include <deque>
#include <string>
#include <tuple>
#include <vector>

#include "support/ConfigFiles.h"
#include "support/LogCapture.h"
#include "vantrell/record/SystemMetadata.h"
#include "vantrell/writer/WriterInterfaceConfigFileParser.h"

namespace {

using pwr::TableInfo;
using pwr::WriterInterfaceConfigFileParser;
using Order = std::deque<std::string>;

class OutputConfig : public ::testing::Test {
  protected:
    ~OutputConfig() override { parser().destroy(); }
    static WriterInterfaceConfigFileParser& parser() { return *WriterInterfaceConfigFileParser::instance(); }

    int parse(std::vector<std::string> const& texts) {
        files = std::make_unique<vrtest::ConfigFiles>(texts);
        return parsePaths(files->paths());
    }
    int parsePaths(std::vector<std::string> const& paths) {
        capture.clear();
        ::testing::internal::CaptureStderr();
        const int status = parser().parse(paths, machine);
        stderrText = ::testing::internal::GetCapturedStderr();
        return status;
    }
    TableInfo info(std::string const& metric, std::string const& feature, std::string const& table) {
        TableInfo found;
        EXPECT_TRUE(parser().getTableInfoFor(found, metric, feature, table)) << metric << " " << table;
        return found;
    }
    static std::string title(TableInfo const& table) {
        std::string text = "<none>";
        table.getTableTitle(text);
        return text;
    }

    vrtest::ScopedLogCapture capture{2};
    pwr::SystemMetadata machine;
    std::unique_ptr<vrtest::ConfigFiles> files;
    std::string stderrText;
};

std::string chain(std::vector<const char*> const& rules) {
    std::string text;
    for (const char* rule : rules) {
        text += std::string("WARNING: ERROR calling function \"") + rule + "\"\n";
    }
    return text;
}

TEST_F(OutputConfig, TheHostsFileGivesOrdersTitlesAndSwitchedOffTables) {
    const char* source = std::getenv("VR_SOURCE_DIR");
    ASSERT_NE(source, nullptr);
    ASSERT_EQ(parsePaths({std::string(source) + "/data/output/vantrell-output.cfg"}), 0) << capture.text();
    EXPECT_EQ(capture.text(), "");
    Order order;
    ASSERT_TRUE(parser().getFeatureOrder(order));
    EXPECT_EQ(order, (Order{"cstate", "cpu", "frequency", "thermal", "power", "interrupts", "trace"}));
    ASSERT_TRUE(parser().getMetricOrderForFeature(order, "trace"));
    EXPECT_EQ(order, (Order{"cstate-transitions", "frequency-transitions", "wakeups"}));
    ASSERT_TRUE(parser().getTableOrderForMetric(order, "cstate-residency", "cstate"));
    EXPECT_EQ(order,
              (Order{"RESIDENCY-PERCENTAGE", "RESIDENCY-MILLISECOND", "RESIDENCY-COMBINED", "SAMPLE-COUNT"}));
    ASSERT_TRUE(parser().getAllFeaturePrefixes(order));
    EXPECT_EQ(order, (Order{"cstate", "cpu", "frequency", "TEMP", "power", "interrupts", "trace", "trace",
                            "trace"}));
    EXPECT_EQ(title(info("cstate-residency", "cstate", "RESIDENCY-PERCENTAGE")), "C-State");
    EXPECT_TRUE(info("cstate-residency", "cstate", "RESIDENCY-PERCENTAGE").isTableTransposed());
    EXPECT_FALSE(info("cstate-residency", "cstate", "SAMPLE-COUNT").isTableDisplayed());
    EXPECT_TRUE(info("energy", "power", "AVERAGE-RATE-TOTAL").suppressTotal());
    std::string note;
    EXPECT_TRUE(info("cpu-frequency", "frequency", "MIN-MAX-AVG").getPreTableNote(note));
    EXPECT_EQ(note, "Current is the frequency of cpufreq, Nominal the cpu MHz of /proc/cpuinfo.");
    EXPECT_TRUE(info("ALL-THERMAL-DATA", "TEMP", "MIN-MAX-AVG").getPostTableNote(note));
    EXPECT_EQ(note, "Whole degrees Celsius, read from /sys/class/thermal and /sys/class/hwmon.");
}

TEST_F(OutputConfig, FirstValueStaysOtherPlatformsAreNeverFoundAndQueriesLeaveMissesAlone) {
    ASSERT_EQ(parse({"ALL_cpu_res_summary_TITLE=  First  \n"
                     "ALL_cpu_res_summary_TITLE=Second\n"
                     "ALL_cpu_res_detail_TABLE=NO # a comment\n"
                     "X_cpu_res_summary_TITLE=T\n"
                     "X-Y_cpu_res_summary_TITLE=T"}),  // no newline at the end
              0);
    EXPECT_EQ(capture.text(),
              "WARNING: Config table info (TITLE) entry already present for metric table summary for metric "
              "container ALL_cpu_res\n");
    EXPECT_EQ(title(info("res", "cpu", "summary")), "First");
    Order order{"kept"};
    EXPECT_TRUE(parser().getTableOrderForMetric(order, "res", "cpu"));
    EXPECT_EQ(order, (Order{"summary", "detail"}));
    TableInfo untouched;
    untouched.setKeyValuePair("TITLE", "kept");
    EXPECT_FALSE(parser().getTableInfoFor(untouched, "res", "cpu", "other"));
    EXPECT_FALSE(parser().getTableInfoFor(untouched, "res", "X_cpu", "summary"));
    EXPECT_EQ(title(untouched), "kept");
    order = {"kept"};
    EXPECT_FALSE(parser().getFeatureOrder(order));
    EXPECT_FALSE(parser().getMetricOrderForFeature(order, "cpu"));
    EXPECT_EQ(order, Order{"kept"});
    ASSERT_TRUE(parser().getAllFeaturePrefixes(order));
    EXPECT_EQ(order, (Order{"cpu", "cpu", "cpu"}));  // ALL_cpu_res, X_cpu_res, X-Y_cpu_res
    parser().destroy();
    EXPECT_FALSE(parser().getAllFeaturePrefixes(order));
}

TEST_F(OutputConfig, ABadLineFailsTheFileWithTheChainOfRuleNames) {
    const std::string stopped = "WARNING: ERROR calling function \"platformRule\"\n";
    // Line, the rule chain below platformRule.
    const std::tuple<std::string, std::vector<const char*>> cases[] = {
        {"ALL_cpu_res_summary_COLOR=red", {"tagSub", "tag", "metricRule", "platformSub"}},
        {"ALL_cpu__summary_TITLE=t", {"tag", "metricRule", "platformSub"}},
        {"-X_cpu_res_summary_TITLE=t", {"platformHead"}},
        {"ALL_OUTPUT-ORDER_TAG_FEATURE_ORDER=a,,b", {"featureOrderValue", "featureOrderRule", "platformSub"}},
        {"ALL_OUTPUT-ORDER_TAG_FEATURES_ORDER=a", {"featureOrderRule", "platformSub"}},
        {"ALL_cpu_TAG_TABLE_ORDER=a, ,b",
         {"metricOrderValue", "metricOrderRule", "tag", "metricRule", "platformSub"}},
        {"ALL_cpu_TAG_TABLES_ORDER=a", {"metricOrderRule", "tag", "metricRule", "platformSub"}},
    };
    for (const auto& [line, rules] : cases) {
        SCOPED_TRACE(line);
        EXPECT_EQ(parse({"ALL_cpu_res_ok_TITLE=t\n" + line + "\nALL_cpu_res_late_TITLE=t\n"}), -1);
        EXPECT_EQ(capture.debug().text(), chain(rules) + stopped + "1ERROR: ERROR parsing line " + line +
                                              "\n0FATAL: ERROR parsing config file " + files->paths()[0] +
                                              "!\n");
        EXPECT_EQ(stderrText, "ERROR parsing config file " + files->paths()[0] + "\n");
        TableInfo late;
        EXPECT_FALSE(parser().getTableInfoFor(late, "res", "cpu", "late"));  // the rest isn't read
    }
}

TEST_F(OutputConfig, UnreadableFilesAndLinesThatDontSplitFailTheParse) {
    EXPECT_EQ(parsePaths({"/nonexistent/output.cfg"}), -1);
    EXPECT_EQ(stderrText, "Error opening config file /nonexistent/output.cfg\n");
    EXPECT_EQ(capture.debug().text(), "0FATAL: ERROR parsing config file /nonexistent/output.cfg!\n");

    const std::string junk[] = {"A_B_C_D_E", "ALL_cpu=x", std::string("AL\0L_x", 6),
                                std::string(1 << 20, 'x')};
    for (const std::string& line : junk) {
        SCOPED_TRACE(line.substr(0, 20));
        EXPECT_EQ(parse({line}), -1);
        EXPECT_EQ(capture.debug().text().substr(0, 44), "1ERROR: EXCEPTION CAUGHT:ERROR parsing line ");
        EXPECT_EQ(stderrText, "ERROR parsing config file " + files->paths()[0] + "\n");
    }
    // Comments, blanks and an empty file are no fault; a long value is kept whole.
    const std::string longTitle(1 << 20, 't');
    EXPECT_EQ(parse({"", "# only a comment\n\n   \t\n", "ALL_f_m_t_TITLE=" + longTitle}), 0);
    EXPECT_EQ(title(info("m", "f", "t")), longTitle);
}

TEST_F(OutputConfig, TheClosingCheckWarnsOfOrdersThatDontMatchAndNeverFails) {
    const std::string missingMetricOrder =
        "\nWARNING: Output Config: Ordering requested for the following features, but corresponding metric "
        "container ordering entries (ALL_<FEATURE-SWITCH-TAG>_TAG_TABLE_ORDER) missing:\n";
    const std::string missingFeature =
        "\nWARNING: Output Config: Metric container table entries present for the following feature, but "
        "feature ordering not explicitly requested. Missing feature switch tags in "
        "'ALL_OUTPUT-ORDER_TAG_FEATURE_ORDER=<FEATURE-SWITCH-TAG>,...'. (This may be acceptable for metrics "
        "that don't need to be in specific order):\n";
    const std::tuple<std::string, std::string> cases[] = {
        {"ALL_OUTPUT-ORDER_TAG_FEATURE_ORDER=gpu,cpu,net\nALL_cpu_TAG_TABLE_ORDER=a\nALL_disk_TAG_TABLE_"
         "ORDER=b\n"
         "ALL_cpu_a_t_TITLE=x\n",
         missingMetricOrder + "gpu, net, \n\n" + missingFeature + "disk, \n\n"},
        // No table line, or no feature order: no check at all.
        {"ALL_OUTPUT-ORDER_TAG_FEATURE_ORDER=gpu\n", ""},
        {"ALL_disk_TAG_TABLE_ORDER=b\nALL_disk_b_t_TITLE=x\n", ""},
    };
    for (const auto& [text, warnings] : cases) {
        SCOPED_TRACE(text);
        EXPECT_EQ(parse({text}), 0);
        EXPECT_EQ(capture.text(), warnings);
    }
}

TEST(TableInfo, TypedQuestionsCompareExactlyAndTablesShowByDefault) {
    vrtest::ScopedLogCapture capture(2);
    // TABLE value (or none), displayed; TRANSPOSE value, transposed.
    const std::tuple<const char*, bool> cases[] = {
        {nullptr, true}, {"YES", true}, {"NO", false}, {"yes", false}};
    for (const auto& [value, expected] : cases) {
        TableInfo table;
        EXPECT_TRUE(table.isEmpty());
        if (value != nullptr) {
            table.setKeyValuePair("TABLE", value);
            table.setKeyValuePair("TRANSPOSE", value);
            table.setKeyValuePair("SUPPRESS-TOTAL", value);
        }
        EXPECT_EQ(table.isTableDisplayed(), expected) << (value ? value : "unset");
        EXPECT_EQ(table.isTableTransposed(), value != nullptr && expected);
        EXPECT_EQ(table.suppressTotal(), value != nullptr && expected);
    }
    TableInfo table;
    EXPECT_TRUE(table.setKeyValuePair("STATES", "C0,C1"));
    EXPECT_FALSE(table.setKeyValuePair("STATES", "other"));
    EXPECT_TRUE(table.isKeySet("STATES"));
    std::string note = "untouched";
    EXPECT_FALSE(table.getPreTableNote(note));
    EXPECT_EQ(note, "untouched");
    EXPECT_EQ(capture.text(), "WARNING: Config table info (STATES) entry already present for metric table\n");
}

}  // namespace
