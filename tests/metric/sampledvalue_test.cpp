// The road of a SampledValue metric from setData to the summary tables a writer prints, with and
// without output configuration, plain and transposed, and the sample-count table's edges.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/MetricFixture.h"
#include "value/RegistryEnvironment.h"
#include "vantrell/metric/SampleCountSummarizer.h"
#include "vantrell/metric/SampledValueAccumulator.h"
#include "vantrell/value/Quantity.h"

namespace {

using pwr::Metric;
using Strings = std::vector<std::string>;

class SampledValueRoad : public vrtest::MetricFixture {
  protected:
    // Frequencies of two CPUs over three points; a 1 MHz clock makes each duration its weight:
    // cpu0 holds 800 for 300 ticks and 1200 for 100, cpu1 1200 for 100 and 1600 for 200.
    void feedFrequencies(Metric& metric) {
        ASSERT_EQ(0, feed(metric, 1100, cpu0, 800ULL));
        ASSERT_EQ(0, feed(metric, 1100, cpu1, 1200ULL));
        ASSERT_EQ(0, feed(metric, 1300, cpu0, 800ULL));
        ASSERT_EQ(0, feed(metric, 1300, cpu1, 1600ULL));
        ASSERT_EQ(0, feed(metric, 1400, cpu0, 1200ULL));
        ASSERT_EQ(0, metric.finalize());
    }
};

TEST_F(SampledValueRoad, WithoutConfigurationAllSixTablesInTheirOwnOrder) {
    Metric metric("Freq", Metric::SampledValue, "freq", "cpu", machine, pwr::Quantity::frequency());
    feedFrequencies(metric);
    EXPECT_EQ(
        Strings({
            "Freq Summary - Sampled: Total Samples Received | ,Total # of samples,Min sampling interval "
            "(msec),Max sampling interval (msec),Avg sampling interval (msec)",
            "cpu0,3,0.10,0.20,0.15",
            "cpu1,2,0.20,0.20,0.20",
            "Freq Summary - Sampled: Min/Max/Avg | ,Min (MHz),Max (MHz),Avg (MHz),Time-weighted Avg (MHz)",
            "cpu0,800,1200,933.33,900.00",
            "cpu1,1200,1600,1400.00,1466.67",
            "Freq Summary - Sampled: Counts | Frequency (MHz),cpu0,cpu1",
            "800,2,0",
            "1200,1,1",
            "1600,0,1",
            "Freq Summary - Sampled: Sample Distribution | Frequency (MHz),cpu0 (%),cpu1 (%)",
            "800,66.67,0.00",
            "1200,33.33,50.00",
            "1600,0.00,50.00",
            "Freq Summary - Sampled: Min/Max | ,Min (MHz),Max (MHz)",
            "cpu0,800,1200",
            "cpu1,1200,1600",
            "Freq Summary - Sampled: Residency (Percentage) | Frequency (MHz),cpu0 (%),cpu1 (%)",
            "800,75.00,0.00",
            "1200,25.00,33.33",
            "1600,0.00,66.67",
        }),
        printed());
    EXPECT_EQ(3, writer.count("metric"));
    EXPECT_EQ(1, writer.count("containerInfo"));
}

TEST_F(SampledValueRoad, ConfigurationOrdersTitlesHidesAndTransposes) {
    ASSERT_EQ(0, configure({
                     "ALL_cpu_freq_MIN-MAX_TITLE=Core clocks",
                     "ALL_cpu_freq_MIN-MAX_PRE-TABLE-TEXT=before",
                     "ALL_cpu_freq_MIN-MAX_POST-TABLE-TEXT=after",
                     "ALL_cpu_freq_TOTAL-DELTA_TITLE=of another metric type",
                     "ALL_cpu_freq_NUMBER-OF-OCCURENCES_TRANSPOSE=YES",
                     "ALL_cpu_freq_APPROXIMATED-RESIDENCY_TRANSPOSE=YES",
                     "ALL_cpu_freq_MIN-MAX-AVG_TABLE=NO",
                     "ALL_cpu_freq_RELATIVE-FREQUENCY-PERCENTAGE_TABLE=yes",
                     "ALL_cpu_freq_SAMPLE-COUNT_TABLE=NO",
                 }));
    Metric metric("Freq", Metric::SampledValue, "freq", "cpu", machine, pwr::Quantity::frequency());
    pwr::FieldDescription core("Core", "");
    metric.setEntityGroupInfo(core);
    feedFrequencies(metric);
    EXPECT_EQ(Strings({
                  "Core clocks Summary - Sampled: Min/Max | Core,Min (MHz),Max (MHz)",
                  "cpu0,800,1200",
                  "cpu1,1200,1600",
                  "Freq Summary - Sampled: Counts | Core,800,1200,1600",
                  "cpu0,2,1,0",
                  "cpu1,0,1,1",
                  "Freq Summary - Sampled: Residency (Percentage) | Core,800 (%),1200 (%),1600 (%)",
                  "cpu0,75.00,25.00,0.00",
                  "cpu1,0.00,33.33,66.67",
              }),
              printed());
    EXPECT_EQ(
        Strings({"Core clocks Summary - Sampled: Min/Max: before|after", "Freq Summary - Sampled: Counts: |",
                 "Freq Summary - Sampled: Residency (Percentage): |"}),
        notesWriter.notes);
}

TEST_F(SampledValueRoad, TransposedResidencyCanLeaveTheEntityOut) {
    ASSERT_EQ(0, configure({"ALL_cpu_freq_APPROXIMATED-RESIDENCY_TRANSPOSE=YES",
                            "ALL_cpu_freq_APPROXIMATED-RESIDENCY_TITLE=Held",
                            "ALL_cpu_freq_SAMPLE-COUNT_TABLE=NO", "ALL_cpu_freq_MIN-MAX-AVG_TABLE=NO",
                            "ALL_cpu_freq_MIN-MAX_TABLE=NO", "ALL_cpu_freq_NUMBER-OF-OCCURENCES_TABLE=NO",
                            "ALL_cpu_freq_RELATIVE-FREQUENCY-PERCENTAGE_TABLE=NO"}));
    Metric metric("Freq", Metric::SampledValue, "freq", "cpu", machine, pwr::Quantity::frequency());
    metric.setSuppressEntityInfoInSummary(true);
    feedFrequencies(metric);
    EXPECT_EQ(Strings({"Held Summary - Sampled: Residency (Percentage) | 800 (%),1200 (%),1600 (%)",
                       "75.00,25.00,0.00", "0.00,33.33,66.67"}),
              printed());
}

TEST_F(SampledValueRoad, EverythingSwitchedOffStillFeedsTheWriters) {
    std::vector<std::string> lines;
    for (const std::string& table : SampledValueAccumulator::getSummaryStrings()) {
        lines.push_back("ALL_cpu_freq_" + table + "_TABLE=NO");
    }
    ASSERT_EQ(0, configure(lines));
    capture.environment().setVerbosity(3);
    Metric metric("Freq", Metric::SampledValue, "freq", "cpu", machine, nullptr);
    feedFrequencies(metric);
    EXPECT_TRUE(printed().empty());
    EXPECT_EQ(3, writer.count("metric"));
    EXPECT_NE(std::string::npos, capture.text().find("DEBUG: Freq: No summary or -r int output enabled.\n"));
}

TEST_F(SampledValueRoad, TextValuesGetDistributionsButNoMinMax) {
    Metric metric("Mode", Metric::SampledValue, "mode", "gpu", machine, nullptr);
    ASSERT_EQ(0, feed(metric, 1100, cpu0, std::string("on")));
    ASSERT_EQ(0, feed(metric, 1200, cpu0, std::string("off")));
    ASSERT_EQ(0, feed(metric, 1400, cpu0, std::string("on"), Metric::RESET_DURATION));
    capture.clear();
    ASSERT_EQ(0, metric.finalize());
    const std::string warning = "WARNING: Unable to provide min/max/avg summary for non-numeric data.\n";
    const std::string log = capture.text();
    EXPECT_NE(std::string::npos, log.find("WARNING: SampledValueAccumulator has zero weight!\n"));
    EXPECT_NE(std::string::npos, log.find(warning));
    EXPECT_NE(log.find(warning), log.rfind(warning));  // once for each min/max table
    // The reset sample counts as an occurrence but holds no time.
    EXPECT_EQ(
        Strings({"Mode Summary - Sampled: Total Samples Received | ,Total # of samples,Min sampling interval "
                 "(msec),Max sampling interval (msec),Avg sampling interval (msec)",
                 "cpu0,3,0.10,0.20,0.15", "Mode Summary - Sampled: Counts | ,cpu0", "off,1", "on,2",
                 "Mode Summary - Sampled: Sample Distribution | ,cpu0 (%)", "off,33.33", "on,66.67",
                 "Mode Summary - Sampled: Residency (Percentage) | ,cpu0 (%)", "off,50.00", "on,50.00"}),
        printed());
}

// Seen values go by equality, a key's counts by order: ranges with one first bound share their counts but
// are listed each.
TEST_F(SampledValueRoad, RangesWithOneFirstBoundAreListedEach) {
    Metric metric("Span", Metric::SampledValue, "span", "gpu", machine, nullptr);
    ASSERT_EQ(0, feed(metric, 1100, cpu0, pwr::Data::IntRange{1, 5}));
    ASSERT_EQ(0, feed(metric, 1200, cpu0, pwr::Data::IntRange{1, 7}));
    ASSERT_EQ(0, metric.finalize());
    const Strings lines = printed();
    const auto counts = std::find(lines.begin(), lines.end(), "Span Summary - Sampled: Counts | ,cpu0");
    ASSERT_NE(counts, lines.end());
    EXPECT_EQ(Strings(counts + 1, counts + 3), (Strings{"1 -- 5,2", "1 -- 7,2"}));
}

TEST_F(SampledValueRoad, FiniteSetListsValuesThatNeverOccurred) {
    ASSERT_EQ(0, configure({"ALL_cpu_state_NUMBER-OF-OCCURENCES_TABLE=YES",
                            "ALL_cpu_state_RELATIVE-FREQUENCY-PERCENTAGE_TRANSPOSE=YES",
                            "ALL_cpu_state_SAMPLE-COUNT_TABLE=NO",
                            "ALL_cpu_state_APPROXIMATED-RESIDENCY_TABLE=NO"}));
    const pwr::DataDescriptor* c7 = descriptor("C7");
    Metric metric("State", Metric::SampledValue, "state", "cpu", machine, nullptr);
    ASSERT_EQ(0, metric.setFiniteSetValues({c7, c6, c1}));
    ASSERT_EQ(0, feed(metric, 1100, cpu0, *c1));
    ASSERT_EQ(0, feed(metric, 1200, cpu0, *c6));
    ASSERT_EQ(0, feed(metric, 1300, cpu0, *c6));
    ASSERT_EQ(0, metric.finalize());
    EXPECT_EQ(Strings({"State Summary - Sampled: Counts | ,cpu0", "C7,0", "C6,2", "C1,1",
                       "State Summary - Sampled: Sample Distribution | ,C7 (%),C6 (%),C1 (%)",
                       "cpu0,0.00,66.67,33.33"}),
              printed());
}

TEST_F(SampledValueRoad, DescriptorsSplitDistributionsAndAddAColumn) {
    ASSERT_EQ(0, configure({"ALL_pkg_temp_SAMPLE-COUNT_TABLE=NO", "ALL_pkg_temp_MIN-MAX-AVG_TABLE=NO",
                            "ALL_pkg_temp_NUMBER-OF-OCCURENCES_TABLE=NO",
                            "ALL_pkg_temp_APPROXIMATED-RESIDENCY_TABLE=NO"}));
    const pwr::DataDescriptor* die = descriptor("Die");
    const pwr::DataDescriptor* board = descriptor("Board");
    Metric metric("Temp", Metric::SampledValue, "temp", "pkg", machine, pwr::Quantity::temperature());
    pwr::FieldDescription sensor("Sensor", "");
    pwr::FieldDescription celsius("Reading", "");
    metric.setDescriptorGroupInfo(sensor);
    metric.setValueGroupInfo(celsius);
    ASSERT_EQ(0, feed(metric, 1100, cpu0, 40.5, 0, die));
    ASSERT_EQ(0, feed(metric, 1100, cpu0, 30.0, 0, board));
    ASSERT_EQ(0, feed(metric, 1200, cpu0, 41.25, 0, die));
    ASSERT_EQ(0, metric.finalize());
    std::string units;
    ASSERT_TRUE(pwr::TableMessage::quantityToUnits(pwr::Quantity::temperature(), units, " (", ")"));
    const Strings tables = printed();
    // Rows by key: the die registered first, so its key is the smaller one.
    // The tables left on follow in their own order: the distribution, then the min/max table.
    EXPECT_EQ(
        Strings({"Temp Summary - Sampled: Sample Distribution for Die" + units + " | Reading,cpu0 (%)",
                 "40.50,50.00", "41.25,50.00",
                 "Temp Summary - Sampled: Sample Distribution for Board" + units + " | Reading,cpu0 (%)",
                 "30.00,100.00", "Temp Summary - Sampled: Min/Max | ,Sensor,Min" + units + ",Max" + units,
                 "cpu0,Die,40.50,41.25", "cpu0,Board,30.00,30.00"}),
        tables);
}

TEST_F(SampledValueRoad, SampleCountEdges) {
    ASSERT_EQ(0, configure({"ALL_cpu_n_SAMPLE-COUNT_TITLE=Reports", "ALL_cpu_n_MIN-MAX-AVG_TABLE=NO",
                            "ALL_cpu_n_MIN-MAX_TABLE=NO", "ALL_cpu_n_NUMBER-OF-OCCURENCES_TABLE=NO",
                            "ALL_cpu_n_RELATIVE-FREQUENCY-PERCENTAGE_TABLE=NO",
                            "ALL_cpu_n_APPROXIMATED-RESIDENCY_TABLE=NO"}));
    pwr::EntityHandle* twin = pwr::EntityHandle::create("cpu0", nullptr);
    pwr::EntityHandle* silent = pwr::EntityHandle::create("cpu9", nullptr);
    Metric metric("N", Metric::SampledValue, "n", "cpu", machine, nullptr);
    metric.setEntityDescriptorCombinations({{silent, c1}, {cpu0, nullptr}});
    ASSERT_EQ(0, feed(metric, 1500, cpu0, 1ULL));  // one point only: 500 ticks
    ASSERT_EQ(0, feed(metric, 1500, twin, 1ULL));  // the same name: no row of its own
    ASSERT_EQ(0, metric.finalize());
    EXPECT_EQ(Strings({"Reports Summary - Sampled: Total Samples Received | ,Total # of samples,Min sampling "
                       "interval (msec),Max sampling interval (msec),Avg sampling interval (msec)",
                       "cpu0,1,0.50,0.50,0.50", "cpu9,0,0.00,0.00,0.00"}),
              printed());
}

// The flags that other metric types use: per (entity, descriptor), no intervals, not sampled.
TEST_F(SampledValueRoad, SampleCountPerPairWithoutIntervals) {
    SampleCountSummarizer summarizer(false, false, false);
    // The metric's own tables off: only the added summariser speaks.
    ASSERT_EQ(0, configure({"ALL_os_ev_SAMPLE-COUNT_TABLE=NO", "ALL_os_ev_AVERAGE-RATE-TOTAL_TABLE=NO",
                            "ALL_os_ev_TOTAL-DELTA_TABLE=NO"}));
    Metric metric("Ev", Metric::SampledDelta, "ev", "os", machine, nullptr);
    ASSERT_EQ(0, metric.addAccumulator(&summarizer));
    metric.setEntityDescriptorCombinations({{cpu1, c1}, {cpu0, c6}});
    ASSERT_EQ(0, feed(metric, 1100, cpu0, 1ULL, 0, c6));
    ASSERT_EQ(0, feed(metric, 1100, cpu0, 1ULL, 0, c1));
    ASSERT_EQ(0, feed(metric, 1200, cpu0, 1ULL, 0, c1));
    ASSERT_EQ(0, metric.finalize());
    EXPECT_EQ(Strings({"Ev Summary: Total Samples Received | ,,Total # of samples", "cpu0,C1,2", "cpu0,C6,1",
                       "cpu1,C1,0"}),
              printed());
}

}  // namespace
