#include "vantrell/metric/SampledValueAccumulator.h"

#include <algorithm>

#include "AccumulatorTables.h"
#include "vantrell/metric/Metric.h"
#include "vantrell/metric/SampleCountSummarizer.h"
#include "vantrell/plugin/Logging.h"
#include "vantrell/record/SystemMetadata.h"
#include "vantrell/value/DataHandle.h"
#include "vantrell/value/EntityHandle.h"
#include "vantrell/value/Quantity.h"
#include "vantrell/writer/TextNotes.h"

using pwr::Data;
using pwr::DataElement;
using pwr::DataType;

namespace {

bool isNumeric(DataType type) {
    return type == DataType::INT || type == DataType::UINT || type == DataType::REAL;
}

// The weight rounded half up, as whole ticks. A weight that no 64-bit count can hold (a machine record
// without clock frequency gives an infinite one) counts as 0 rather than as an undefined conversion.
uint64_t roundedTicks(double weight) {
    const double rounded = weight + 0.5;
    if (!(rounded >= 0.0 && rounded < 18446744073709551616.0)) {
        return 0;
    }
    return static_cast<uint64_t>(rounded);
}

}  // namespace

SampledValueAccumulator::SampledValueAccumulator(const SummaryList& summaries) : summaryList(summaries) {
    summarizer = pwr::metric_detail::summarizerFor(summaryList, SAMPLE_COUNT, true, true, true);
}

SampledValueAccumulator::~SampledValueAccumulator() = default;

const std::vector<std::string>& SampledValueAccumulator::getSummaryStrings() {
    static const std::vector<std::string> strings = {
        "SAMPLE-COUNT", "MIN-MAX-AVG",           "NUMBER-OF-OCCURENCES", "RELATIVE-FREQUENCY-PERCENTAGE",
        "MIN-MAX",      "APPROXIMATED-RESIDENCY"};
    return strings;
}

int SampledValueAccumulator::initialize(const pwr::Metric& metric, const pwr::SystemMetadata& metadata) {
    clockFrequency = static_cast<double>(metadata.vraClockFreqMHz);
    if (metric.getQuantity() != nullptr) {
        units = " (" + metric.getQuantity()->toUnitsString() + ")";
    }
    return summarizer != nullptr ? summarizer->initialize(metric, metadata) : 0;
}

int SampledValueAccumulator::processMessage(const pwr::Metric& metric) {
    const int head = pwr::metric_detail::processMessageHead(metric, summaryList.empty(), summarizer.get());
    if (head >= 0) {
        return head;
    }
    for (const DataElement* element : metric.getData().elements) {
        takeIn_i(*element);
    }
    return 0;
}

SampledValueAccumulator::KeyStats& SampledValueAccumulator::firstSight_i(uint64_t key,
                                                                         const DataElement& element) {
    const pwr::EntityHandle* entity = element.getEntity();
    const pwr::DataDescriptor* descriptor = element.getDescriptor();
    const uint64_t descriptorId = descriptor != nullptr ? descriptor->getId() : 0;
    keyToPair[key] = pwr::EntityDescCombo{entity, descriptor};
    entities[entity->getId()] = entity;
    if (descriptor != nullptr && descriptorId != 0) {
        descriptors[descriptorId] = descriptor;
    }
    KeyStats& stats = keyStats[key];
    stats.values = &distribution[descriptorId][entity->getId()];
    stats.seen = &seenValues[descriptorId];
    const Data& value = *element.getValue();
    if (isNumeric(value.getType())) {
        stats.minimum = Data(value.getType());
        stats.minimum.initMin();
        stats.maximum = Data(value.getType());
        stats.maximum.initMax();
        stats.sum = Data(value.getType());
        stats.sum.initZero();
    }
    return stats;
}

void SampledValueAccumulator::takeIn_i(const DataElement& element) {
    const Data& value = *element.getValue();
    dataType = value.getType();
    const uint64_t key = pwr::metric_detail::pairKey(element.getEntity(), element.getDescriptor());
    auto found = keyStats.find(key);
    KeyStats& stats = found != keyStats.end() ? found->second : firstSight_i(key, element);
    ++stats.count;

    const double weight = static_cast<double>(element.getDuration()) / clockFrequency;
    if (weight == 0.0) {
        VR_LOG(2, "WARNING: SampledValueAccumulator has zero weight!\n");
    }
    if (isNumeric(dataType)) {
        if (stats.minimum > value) {
            pwr::metric_detail::copyData(stats.minimum, value);
        }
        if (stats.maximum < value) {
            pwr::metric_detail::copyData(stats.maximum, value);
        }
        stats.sum.addValue(value);
        stats.weightedSum += pwr::metric_detail::toDouble(value) * weight;
    }

    ValueMap& values = *stats.values;
    auto slot = values.lower_bound(value);
    const bool known = slot != values.end() && !(value < slot->first);
    // Seen values go by equality, the key's map by order. They differ only for ranges, which order by
    // the first bound: an equivalent range is new to the seen values unless it is equal too.
    if (!known || !(slot->first == value)) {
        std::vector<Data>& seen = *stats.seen;
        if (std::find(seen.begin(), seen.end(), value) == seen.end()) {
            seen.push_back(value);
        }
    }
    if (!known) {
        slot = values.emplace_hint(slot, value, ValueCounts{});
    }
    ++slot->second.occurrences;
    // The weight rounded half up: the residency tables and the time-weighted average divide by these.
    const uint64_t ticks = roundedTicks(weight);
    slot->second.ticks += ticks;
    stats.totalTicks += ticks;
}

int SampledValueAccumulator::finalize(const pwr::Metric& metric) {
    const std::vector<std::string>& strings = getSummaryStrings();
    for (Summary summary : summaryList) {
        if (summary == SAMPLE_COUNT) {
            if (summarizer != nullptr) {
                summarizer->finalize(metric);
            }
            continue;
        }
        const pwr::TableInfo info =
            pwr::metric_detail::fetchTableInfo(getOutputConfig(), metric, strings[summary]);
        switch (summary) {
            case MIN_MAX_AVG:
            case MIN_MAX:
                if (!isNumeric(dataType)) {
                    VR_LOG(2, "WARNING: Unable to provide min/max/avg summary for non-numeric data.\n");
                    break;
                }
                buildMinMax_i(metric, info, summary == MIN_MAX_AVG);
                break;
            default:
                buildDistribution_i(metric, info, summary);
                break;
        }
    }
    return 0;
}
