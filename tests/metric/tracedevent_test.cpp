// The road of a TracedEvent metric from setData to the tables a writer prints: counts by event name,
// the ten most frequent values with their tie order, and the per-pair sample count.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/MetricFixture.h"
#include "value/RegistryEnvironment.h"
#include "vantrell/metric/TracedEventAccumulator.h"

namespace {

using pwr::Metric;
using Strings = std::vector<std::string>;

class TracedEventRoad : public vrtest::MetricFixture {};

// Twelve values once each on cpu0, and 5 twice more; two values on cpu1. Numbers have no name: all
// events share the empty one.
TEST_F(TracedEventRoad, TopTenTiesGoToTheValuesThatOrderLast) {
    Metric metric("Ev", Metric::TracedEvent, "ev", "os", machine, nullptr);
    unsigned long long timestamp = 1000;
    for (unsigned long long value = 1; value <= 12; ++value) {
        ASSERT_EQ(0, feed(metric, ++timestamp, cpu0, value));
    }
    for (unsigned long long value : {5ULL, 5ULL}) {
        ASSERT_EQ(0, feed(metric, ++timestamp, cpu0, value));
    }
    for (unsigned long long value : {7ULL, 2ULL, 7ULL}) {
        ASSERT_EQ(0, feed(metric, ++timestamp, cpu1, value));
    }
    ASSERT_EQ(0, metric.finalize());
    EXPECT_EQ(Strings({"Ev Summary: Total Samples Received | ,Total # of samples", "cpu0,14", "cpu1,3",
                       "Ev Summary: Type Count | ,cpu0,cpu1", ",14,3",
                       "Ev Summary: Top 10 Most-Frequent for cpu0 | ,Count", "5,3", "12,1", "11,1", "10,1",
                       "9,1", "8,1", "7,1", "6,1", "4,1", "3,1",
                       "Ev Summary: Top 10 Most-Frequent for cpu1 | ,Count", "7,2", "2,1"}),
              printed());
}

TEST_F(TracedEventRoad, HandleValuesAreCountedByNamePerDescriptor) {
    ASSERT_EQ(
        0, configure({"ALL_os_irq_TOP-TEN-EVENT_TITLE=Irq", "ALL_os_irq_TOP-TEN-EVENT_PRE-TABLE-TEXT=top"}));
    const pwr::DataDescriptor* hard = descriptor("Hard");
    const pwr::DataDescriptor* soft = descriptor("Soft");
    const pwr::DataDescriptor* timer = descriptor("timer");
    const pwr::DataDescriptor* net = descriptor("net");
    Metric metric("Ev", Metric::TracedEvent, "irq", "os", machine, nullptr);
    pwr::FieldDescription source("Source", "");
    metric.setValueGroupInfo(source);
    metric.setEntityDescriptorCombinations({{cpu1, soft}});
    ASSERT_EQ(0, feed(metric, 1100, cpu0, *timer, 0, hard));
    ASSERT_EQ(0, feed(metric, 1100, cpu0, *net, 0, soft));
    ASSERT_EQ(0, feed(metric, 1150, cpu1, *net, 0, hard));
    ASSERT_EQ(0, feed(metric, 1200, cpu0, *net, 0, hard));
    ASSERT_EQ(0, feed(metric, 1300, cpu0, *timer, 0, hard));
    ASSERT_EQ(0, metric.finalize());
    // The configured table leads; declared but silent pairs show in the counts only.
    EXPECT_EQ(
        Strings({"Irq Summary: Top 10 Most-Frequent for cpu0 and Hard | Source,Count", "timer,2", "net,1",
                 "Irq Summary: Top 10 Most-Frequent for cpu0 and Soft | Source,Count", "net,1",
                 "Irq Summary: Top 10 Most-Frequent for cpu1 and Hard | Source,Count", "net,1",
                 "Ev Summary: Total Samples Received | ,,Total # of samples", "cpu0,Hard,3", "cpu0,Soft,1",
                 "cpu1,Hard,1", "cpu1,Soft,0", "Ev Summary: Type Count for Hard | Source,cpu0,cpu1",
                 "net,1,1", "timer,2,0", "Ev Summary: Type Count for Soft | Source,cpu0,cpu1", "net,1,0"}),
        printed());
    EXPECT_EQ("Irq Summary: Top 10 Most-Frequent for cpu0 and Hard: top|", notesWriter.notes.front());
}

}  // namespace
