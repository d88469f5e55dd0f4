#include "AccumulatorFactory.h"

#include <list>

#include "vantrell/metric/SampledDeltaAccumulator.h"
#include "vantrell/metric/SampledResidencyAccumulator.h"
#include "vantrell/metric/SampledValueAccumulator.h"
#include "vantrell/metric/TracedEventAccumulator.h"
#include "vantrell/metric/TracedTransitionAccumulator.h"

namespace pwr {
namespace metric_detail {

namespace {

template <typename T>
std::list<Enum<typename T::Summary>> toSummaryList(const std::vector<int>& summaries) {
    std::list<Enum<typename T::Summary>> list;
    for (int value : summaries) {
        list.emplace_back(static_cast<typename T::Summary>(value));
    }
    return list;
}

template <typename T>
Accumulator* make(const std::vector<int>& summaries) {
    return new T(toSummaryList<T>(summaries));
}

}  // namespace

const std::vector<std::string>* summaryStringsFor(Metric::MetricType type) {
    switch (type) {
        case Metric::SampledDelta:
            return &SampledDeltaAccumulator::getSummaryStrings();
        case Metric::SampledResidency:
            return &SampledResidencyAccumulator::getSummaryStrings();
        case Metric::SampledValue:
            return &SampledValueAccumulator::getSummaryStrings();
        case Metric::TracedValueTransition:
            return &TracedTransitionAccumulator::getSummaryStrings();
        case Metric::TracedEvent:
            return &TracedEventAccumulator::getSummaryStrings();
    }
    return nullptr;
}

Accumulator* createBuiltInAccumulator(Metric::MetricType type, const std::vector<int>& summaries) {
    switch (type) {
        case Metric::SampledDelta:
            return make<SampledDeltaAccumulator>(summaries);
        case Metric::SampledResidency:
            return make<SampledResidencyAccumulator>(summaries);
        case Metric::SampledValue:
            return make<SampledValueAccumulator>(summaries);
        case Metric::TracedValueTransition:
            return make<TracedTransitionAccumulator>(summaries);
        case Metric::TracedEvent:
            return make<TracedEventAccumulator>(summaries);
    }
    return nullptr;
}

}  // namespace metric_detail
}  // namespace pwr
