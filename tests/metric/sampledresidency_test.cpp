// The road of a SampledResidency metric from setData to the residency tables a writer prints: the
// three tables plain and transposed, declared states without data, and the consistency cases (ticks
// above the duration, a state that appears late).

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/MetricFixture.h"
#include "value/RegistryEnvironment.h"
#include "vantrell/metric/SampledResidencyAccumulator.h"
#include "vantrell/value/Quantity.h"

namespace {

using pwr::Metric;
using Strings = std::vector<std::string>;

class SampledResidencyRoad : public vrtest::MetricFixture {
  protected:
    Metric make() {
        return Metric("CState", Metric::SampledResidency, "cstate", "cpu", machine, pwr::Quantity::time());
    }

    // Two points of 1000 ticks. cpu0: C1 300 + 500, C6 600 + 500; cpu1: C1 1000, then 1200, more than
    // the duration. C7 is declared for cpu1 and never reported.
    void feedStates(Metric& metric) {
        const pwr::DataDescriptor* c7 = descriptor("C7");
        ASSERT_EQ(0,
                  metric.setEntityDescriptorCombinations({{cpu0, c1}, {cpu0, c6}, {cpu1, c1}, {cpu1, c7}}));
        ASSERT_EQ(0, feed(metric, 2000, cpu0, 300ULL, 0, c1));
        ASSERT_EQ(0, feed(metric, 2000, cpu0, 600ULL, 0, c6));
        ASSERT_EQ(0, feed(metric, 2000, cpu1, 1000ULL, 0, c1));
        ASSERT_EQ(0, feed(metric, 3000, cpu0, 500ULL, 0, c1));
        ASSERT_EQ(0, feed(metric, 3000, cpu0, 500ULL, 0, c6));
        ASSERT_EQ(0, feed(metric, 3000, cpu1, 1200ULL, 0, c1));
        ASSERT_EQ(0, metric.finalize());
    }
};

TEST_F(SampledResidencyRoad, WithoutConfigurationAllTablesPlain) {
    Metric metric = make();
    feedStates(metric);
    // Ticks above the duration are only noted: cpu1 shows 110 %.
    EXPECT_NE(
        std::string::npos,
        log().find("WARNING: CState: Clock ticks spent by cpu1 in state C1=1200 is greater than the "
                   "duration=1000 since the last sampling point. Note this sample at timestamp=3000 will "
                   "be discarded.\n"));
    EXPECT_EQ(
        Strings({
            "CState Summary: Total Samples Received | ,Total # of samples,Min sampling interval (msec),Max "
            "sampling interval (msec),Avg sampling interval (msec)",
            "cpu0,2,1.00,1.00,1.00",
            "cpu1,2,1.00,1.00,1.00",
            "CState Summary: Residency (Percentage) | ,cpu0,cpu1",
            "C1,40.00,110.00",
            "C6,55.00,0.00",
            "C7,0.00,0.00",
            "CState Summary: Residency (Time) | ,cpu0,cpu1",
            "C1,0.80,2.20",
            "C6,1.10,0.00",
            "C7,0.00,0.00",
            "CState Summary: Residency (Percentage and Time) | ,Residency (%),Residency (msec),Residency "
            "(%),Residency (msec)",
            "C1,40.00,0.80,110.00,2.20",
            "C6,55.00,1.10,0.00,0.00",
            "C7,0.00,0.00,0.00,0.00",
        }),
        printed());
}

TEST_F(SampledResidencyRoad, ConfiguredOrderTitleAndTransposedTables) {
    ASSERT_EQ(
        0, configure({"ALL_cpu_cstate_RESIDENCY-COMBINED_TRANSPOSE=YES",
                      "ALL_cpu_cstate_RESIDENCY-COMBINED_TITLE=Idle", "ALL_cpu_cstate_SAMPLE-COUNT_TABLE=NO",
                      "ALL_cpu_cstate_RESIDENCY-PERCENTAGE_TABLE=NO",
                      "ALL_cpu_cstate_RESIDENCY-MILLISECOND_TRANSPOSE=YES"}));
    Metric metric = make();
    pwr::FieldDescription core("Core", "");
    metric.setEntityGroupInfo(core);
    feedStates(metric);
    EXPECT_EQ(Strings({
                  "Idle Summary: Residency (Percentage and Time) | Core,C1 (%),C6 (%),C7 (%),C1 (msec),C6 "
                  "(msec),C7 (msec)",
                  "cpu0,40.00,55.00,0.00,0.80,1.10,0.00",
                  "cpu1,110.00,0.00,0.00,2.20,0.00,0.00",
                  "CState Summary: Residency (Time) | Core,C1 (msec),C6 (msec),C7 (msec)",
                  "cpu0,0.80,1.10,0.00",
                  "cpu1,2.20,0.00,0.00",
              }),
              printed());
}

// A state that first shows up in a later point puts its entity's sampling point back to the start of
// the collection, so its duration disagrees with the entity's other states and the point is dropped.
TEST_F(SampledResidencyRoad, StateAppearingLateDropsItsPoint) {
    ASSERT_EQ(
        0, configure({"ALL_cpu_cstate_SAMPLE-COUNT_TABLE=NO", "ALL_cpu_cstate_RESIDENCY-MILLISECOND_TABLE=NO",
                      "ALL_cpu_cstate_RESIDENCY-COMBINED_TABLE=NO"}));
    Metric metric = make();
    ASSERT_EQ(0, feed(metric, 2000, cpu0, 1000ULL, 0, c1));
    ASSERT_EQ(0, feed(metric, 2000, cpu1, 400ULL, 0, c1));
    ASSERT_EQ(0, feed(metric, 3000, cpu0, 100ULL, 0, c1));
    ASSERT_EQ(0, feed(metric, 3000, cpu0, 200ULL, 0, c6));
    ASSERT_EQ(0, feed(metric, 3000, cpu1, 900ULL, 0, c1));
    ASSERT_EQ(0, metric.finalize());
    EXPECT_NE(
        std::string::npos,
        log().find("WARNING: CState: valid duration since the last sampling point for cpu0 = 1000, but that "
                   "provided for cpu0 in state C6= 2000. All data provided for the previous sampling point "
                   "will be discarded.\n"));
    // Only the first point counts; C6 never reached the accumulator.
    EXPECT_EQ(Strings({"CState Summary: Residency (Percentage) | ,cpu0,cpu1", "C1,100.00,40.00"}), printed());
    EXPECT_EQ(1, writer.count("metric"));  // the first point only
}

}  // namespace
