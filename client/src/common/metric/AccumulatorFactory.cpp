#include "AccumulatorFactory.h"

#include <list>

#include "vantrell/metric/SampledValueAccumulator.h"

namespace pwr {
namespace metric_detail {

namespace {

// Types whose accumulator classes aren't built yet keep their table-type strings here, so that their
// metrics still choose and check their tables.
const std::vector<std::string> kSampledDeltaSummaries = {"SAMPLE-COUNT", "AVERAGE-RATE-TOTAL", "TOTAL-DELTA"};
const std::vector<std::string> kSampledResidencySummaries = {"SAMPLE-COUNT", "RESIDENCY-PERCENTAGE",
                                                             "RESIDENCY-MILLISECOND", "RESIDENCY-COMBINED"};
const std::vector<std::string> kTracedTransitionSummaries = {"RESIDENCY-PERCENTAGE", "RESIDENCY-MILLISECOND",
                                                             "TRANSITION-COUNTS", "RESIDENCY-COMBINED"};
const std::vector<std::string> kTracedEventSummaries = {"SAMPLE-COUNT", "EVENT-NAME-COUNTS", "TOP-TEN-EVENT"};

template <typename T>
std::list<Enum<typename T::Summary>> toSummaryList(const std::vector<int>& summaries) {
    std::list<Enum<typename T::Summary>> list;
    for (int value : summaries) {
        list.emplace_back(static_cast<typename T::Summary>(value));
    }
    return list;
}

}  // namespace

const std::vector<std::string>* summaryStringsFor(Metric::MetricType type) {
    switch (type) {
        case Metric::SampledDelta:
            return &kSampledDeltaSummaries;
        case Metric::SampledResidency:
            return &kSampledResidencySummaries;
        case Metric::SampledValue:
            return &SampledValueAccumulator::getSummaryStrings();
        case Metric::TracedValueTransition:
            return &kTracedTransitionSummaries;
        case Metric::TracedEvent:
            return &kTracedEventSummaries;
    }
    return nullptr;
}

Accumulator* createBuiltInAccumulator(Metric::MetricType type, const std::vector<int>& summaries) {
    switch (type) {
        case Metric::SampledValue:
            return new SampledValueAccumulator(toSummaryList<SampledValueAccumulator>(summaries));
        default:
            return nullptr;
    }
}

}  // namespace metric_detail
}  // namespace pwr
