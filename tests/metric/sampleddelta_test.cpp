// The road of a SampledDelta metric from setData to the tables a writer prints: the choice between the
// average-rate table and the total table, the closing "Total" row, and the transposed rate table.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/MetricFixture.h"
#include "value/RegistryEnvironment.h"
#include "vantrell/metric/SampledDeltaAccumulator.h"
#include "vantrell/value/Quantity.h"

namespace {

using pwr::Metric;
using Strings = std::vector<std::string>;

const char kNoQuantity[] =
    "WARNING: Quantity and rate conversion are not specified. Disabling rate calculations.\n";
const char kNoRate[] = "WARNING: Rate conversion is not specified. Disabling rate calculations.\n";

size_t occurrences(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

class SampledDeltaRoad : public vrtest::MetricFixture {};

// cpu0 moves 4 MB in 2000 ticks (2 ms), cpu1 0.5 MB in 1000 ticks.
TEST_F(SampledDeltaRoad, RateOrTotalByQuantityAndConfiguration) {
    const Strings rateTable = {"Bytes Summary: Average Rate and Total | ,Average Rate (MB/s),Total (bytes)",
                               "cpu0,2000.00,4000000.00", "cpu1,500.00,500000.00",
                               "Total,2500.00,4500000.00"};
    const Strings totals = {"cpu0,4000000.00", "cpu1,500000.00", "Total,4500000.00"};
    struct Case {
        const char* name;
        const pwr::Quantity* quantity;
        Strings config;
        const char* warning;
        Strings tables;
    };
    const Case cases[] = {
        {"rate", pwr::Quantity::data(), {}, nullptr, rateTable},
        {"no quantity", nullptr, {}, kNoQuantity, Strings{"Bytes Summary: Total | ,Total"}},
        {"no rate, total switched off",
         pwr::Quantity::power(),
         {"ALL_mem_bw_TOTAL-DELTA_TABLE=NO"},
         kNoRate,
         Strings{"Bytes Summary: Total | ,Total (mW)"}},
        {"suppressed total row",
         pwr::Quantity::data(),
         {"ALL_mem_bw_AVERAGE-RATE-TOTAL_SUPPRESS-TOTAL=YES", "ALL_mem_bw_AVERAGE-RATE-TOTAL_TITLE=Traffic",
          "ALL_mem_bw_TOTAL-DELTA_SUPPRESS-TOTAL=YES"},
         nullptr,
         {"Traffic Summary: Average Rate and Total | ,Average Rate (MB/s),Total (bytes)",
          "cpu0,2000.00,4000000.00", "cpu1,500.00,500000.00"}},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        Strings config = test.config;
        config.push_back("ALL_mem_bw_SAMPLE-COUNT_TABLE=NO");
        ASSERT_EQ(0, configure(config));
        writer.clear();
        capture.clear();
        Metric metric("Bytes", Metric::SampledDelta, "bw", "mem", machine, test.quantity);
        ASSERT_EQ(0, feed(metric, 2000, cpu0, 1000000ULL));
        ASSERT_EQ(0, feed(metric, 2000, cpu1, 500000ULL));
        ASSERT_EQ(0, feed(metric, 3000, cpu0, 3000000ULL));
        ASSERT_EQ(0, metric.finalize());
        Strings expected = test.tables;
        if (expected.size() == 1) {  // the total table: its head, then the totals
            expected.insert(expected.end(), totals.begin(), totals.end());
        }
        EXPECT_EQ(expected, printed());
        EXPECT_EQ(test.warning != nullptr ? 1U : 0U, occurrences(log(), "Disabling rate calculations"));
        if (test.warning != nullptr) {
            EXPECT_EQ(1U, occurrences(log(), test.warning));
        }
    }
}

TEST_F(SampledDeltaRoad, TransposedRateTableHasARowPerDescriptor) {
    ASSERT_EQ(0, configure({"ALL_mem_bw_AVERAGE-RATE-TOTAL_TRANSPOSE=YES"}));
    const pwr::DataDescriptor* read = descriptor("Read");
    const pwr::DataDescriptor* write = descriptor("Write");
    Metric metric("Bytes", Metric::SampledDelta, "bw", "mem", machine, pwr::Quantity::data());
    ASSERT_EQ(0, feed(metric, 2000, cpu0, 1000000ULL, 0, read));
    ASSERT_EQ(0, feed(metric, 2000, cpu0, 2000000ULL, 0, write));
    ASSERT_EQ(0, feed(metric, 2000, cpu1, 500000ULL, 0, read));
    ASSERT_EQ(0, feed(metric, 3000, cpu0, 1000000ULL, 0, read));
    ASSERT_EQ(0, metric.finalize());
    // The configured table leads; the sample count is per entity; cpu1 never wrote: its cells stay empty.
    EXPECT_EQ(
        Strings({"Bytes Summary: Average Rate and Total | ,Average Rate (MB/s),Total (bytes),Average Rate "
                 "(MB/s),Total (bytes)",
                 "Read,1000.00,2000000.00,500.00,500000.00", "Write,2000.00,2000000.00,,",
                 "Bytes Summary: Total Samples Received | ,Total # of samples,Min sampling interval "
                 "(msec),Max sampling interval (msec),Avg sampling interval (msec)",
                 "cpu0,2,1.00,1.00,1.00", "cpu1,1,1.00,1.00,1.00"}),
        printed());
}

}  // namespace
