// The road of a TracedValueTransition metric from setData to the tables a writer prints: residency by
// percentage and time, entry counts with their "Total" row, transposed tables, a finite set, one table
// per descriptor, and an empty summary list.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/MetricFixture.h"
#include "value/RegistryEnvironment.h"
#include "vantrell/metric/TracedTransitionAccumulator.h"

namespace {

using pwr::Metric;
using Strings = std::vector<std::string>;

class TracedTransitionRoad : public vrtest::MetricFixture {
  protected:
    // cpu0 is in C1 for 100 ticks, C6 for 300, C1 for 100; cpu1 in C6 for 200.
    void feedTransitions(Metric& metric) {
        ASSERT_EQ(0, feed(metric, 1100, cpu0, *c1));
        ASSERT_EQ(0, feed(metric, 1200, cpu1, *c6));
        ASSERT_EQ(0, feed(metric, 1400, cpu0, *c6));
        ASSERT_EQ(0,
                  feed(metric, 1500, cpu0, *c1, Metric::RESET_DURATION));  // a reset keeps the elapsed time
        ASSERT_EQ(0, metric.finalize());
    }
};

TEST_F(TracedTransitionRoad, WithoutConfigurationAllTablesPlain) {
    Metric metric("Trans", Metric::TracedValueTransition, "trans", "cpu", machine, nullptr);
    feedTransitions(metric);
    EXPECT_EQ(
        Strings({
            "Trans Summary: Residency (Percentage) | ,cpu0,cpu1",
            "C1,40.00,0.00",
            "C6,60.00,100.00",
            "Trans Summary: Residency (Time) | ,cpu0,cpu1",
            "C1,0.20,0.00",
            "C6,0.30,0.20",
            "Trans Summary: Entry Counts | ,cpu0,cpu1",
            "C1,2,0",
            "C6,1,1",
            "Total,3,1",
            "Trans Summary: Residency (Percentage and Time) | ,Residency (%),Residency (msec),Residency "
            "(%),Residency (msec)",
            "C1,40.00,0.20,0.00,0.00",
            "C6,60.00,0.30,100.00,0.20",
        }),
        printed());
    EXPECT_EQ(4, writer.count("metric"));  // every transition is pushed at once
}

TEST_F(TracedTransitionRoad, TransposedResidencyAndAFiniteSet) {
    ASSERT_EQ(0, configure({"ALL_cpu_trans_RESIDENCY-COMBINED_TRANSPOSE=YES",
                            "ALL_cpu_trans_RESIDENCY-COMBINED_TITLE=Idle",
                            "ALL_cpu_trans_TRANSITION-COUNTS_TRANSPOSE=YES",
                            "ALL_cpu_trans_RESIDENCY-PERCENTAGE_TABLE=NO",
                            "ALL_cpu_trans_RESIDENCY-MILLISECOND_TABLE=NO"}));
    capture.environment().setVerbosity(4);
    Metric metric("Trans", Metric::TracedValueTransition, "trans", "cpu", machine, nullptr);
    ASSERT_EQ(0, metric.setFiniteSetValues({descriptor("C7"), c1}));
    feedTransitions(metric);
    // The count table is never transposed.
    EXPECT_EQ(
        Strings({
            "Idle Summary: Residency (Percentage and Time) | ,C7 (%),C1 (%),C6 (%),C7 (msec),C1 (msec),C6 "
            "(msec)",
            "cpu0,0.00,40.00,60.00,0.00,0.20,0.30",
            "cpu1,0.00,0.00,100.00,0.00,0.00,0.20",
            "Trans Summary: Entry Counts | ,cpu0,cpu1",
            "C7,0,0",
            "C1,2,0",
            "C6,1,1",
            "Total,3,1",
        }),
        printed());
    EXPECT_NE(std::string::npos, log().find("INFO: Metric: trans, SSSSSummary table: RESIDENCY-COMBINED\n"));
    EXPECT_NE(std::string::npos,
              log().find("INFO: timestamp freq=1.000000 residency=300, total duration=500\n"));
}

TEST_F(TracedTransitionRoad, OneTablePerDescriptor) {
    ASSERT_EQ(0, configure({"ALL_cpu_trans_RESIDENCY-PERCENTAGE_TABLE=NO",
                            "ALL_cpu_trans_RESIDENCY-MILLISECOND_TABLE=NO",
                            "ALL_cpu_trans_RESIDENCY-COMBINED_TABLE=NO"}));
    const pwr::DataDescriptor* core = descriptor("Core");
    const pwr::DataDescriptor* package = descriptor("Package");
    Metric metric("Trans", Metric::TracedValueTransition, "trans", "cpu", machine, nullptr);
    pwr::FieldDescription state("State", "");
    metric.setValueGroupInfo(state);
    ASSERT_EQ(0, feed(metric, 1100, cpu0, *c1, 0, core));
    ASSERT_EQ(0, feed(metric, 1100, cpu0, *c6, 0, package));
    ASSERT_EQ(0, feed(metric, 1200, cpu1, *c1, 0, core));
    ASSERT_EQ(0, feed(metric, 1300, cpu0, *c6, 0, core));
    ASSERT_EQ(0, metric.finalize());
    EXPECT_EQ(
        Strings({"Trans Summary: Entry Counts for Core | State,cpu0,cpu1", "C1,1,1", "C6,1,0", "Total,2,1",
                 "Trans Summary: Entry Counts for Package | State,cpu0,cpu1", "C6,1,0", "Total,1,0"}),
        printed());
}

TEST_F(TracedTransitionRoad, EmptySummaryListMakesNoTables) {
    std::vector<std::string> lines;
    for (const std::string& table : TracedTransitionAccumulator::getSummaryStrings()) {
        lines.push_back("ALL_cpu_trans_" + table + "_TABLE=NO");
    }
    ASSERT_EQ(0, configure(lines));
    capture.environment().setVerbosity(3);
    Metric metric("Trans", Metric::TracedValueTransition, "trans", "cpu", machine, nullptr);
    feedTransitions(metric);
    EXPECT_TRUE(printed().empty());
    EXPECT_EQ(4, writer.count("metric"));
    EXPECT_NE(std::string::npos, log().find("DEBUG: Trans: No summary or -r int output enabled.\n"));
}

}  // namespace
