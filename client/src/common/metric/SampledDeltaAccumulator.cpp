#include "vantrell/metric/SampledDeltaAccumulator.h"

#include <algorithm>

#include "AccumulatorTables.h"
#include "vantrell/metric/Metric.h"
#include "vantrell/metric/SampleCountSummarizer.h"
#include "vantrell/plugin/Logging.h"
#include "vantrell/record/SystemMetadata.h"
#include "vantrell/value/DataHandle.h"
#include "vantrell/value/Description.h"
#include "vantrell/value/EntityHandle.h"
#include "vantrell/value/Quantity.h"
#include "vantrell/writer/TextNotes.h"
#include "vantrell/writer/WriterStream.h"

using pwr::Data;
using pwr::DataElement;
using pwr::DataType;
using pwr::TableMessage;
using pwr::metric_detail::addColumn;
using pwr::metric_detail::groupField;
using pwr::metric_detail::realText;
using pwr::metric_detail::setCell;

namespace {

// A tick count as a whole number of ticks; a sum beyond what 64 bits hold counts as 0 rather than as
// an undefined conversion.
double truncatedTicks(double ticks) {
    if (!(ticks >= 0.0 && ticks < 18446744073709551616.0)) {
        return 0.0;
    }
    return static_cast<double>(static_cast<uint64_t>(ticks));
}

// Adds `value` to the running `sum`, which starts as a copy of the first value.
void addToSum(Data& sum, bool& started, const Data& value) {
    if (!started) {
        pwr::metric_detail::copyData(sum, value);
        started = true;
    } else {
        sum.addValue(value);
    }
}

}  // namespace

SampledDeltaAccumulator::SampledDeltaAccumulator(const SummaryList& summaries) : summaryList(summaries) {
    summarizer = pwr::metric_detail::summarizerFor(summaryList, SAMPLE_COUNT, false, true, true);
}

SampledDeltaAccumulator::~SampledDeltaAccumulator() = default;

const std::vector<std::string>& SampledDeltaAccumulator::getSummaryStrings() {
    static const std::vector<std::string> strings = {"SAMPLE-COUNT", "AVERAGE-RATE-TOTAL", "TOTAL-DELTA"};
    return strings;
}

int SampledDeltaAccumulator::initialize(const pwr::Metric& metric, const pwr::SystemMetadata& metadata) {
    clockFrequency = static_cast<double>(metadata.vraClockFreqMHz);
    totalUnits.clear();
    const bool rateWanted =
        std::find(summaryList.begin(), summaryList.end(), AVERAGE_RATE_TOTAL) != summaryList.end();
    bool ratesOn = false;
    const pwr::Quantity* quantity = metric.getQuantity();
    if (quantity == nullptr) {
        if (rateWanted) {
            VR_LOG(2,
                   "WARNING: Quantity and rate conversion are not specified. Disabling rate calculations.\n");
        }
    } else {
        totalUnits = " (" + quantity->toUnitsString() + ")";
        rateMultiplier = 1.0;
        const pwr::Quantity* rate = nullptr;
        double factor = 1.0;
        quantity->getRateConversion(rate, factor);
        if (rate == nullptr) {
            if (rateWanted) {
                VR_LOG(2, "WARNING: Rate conversion is not specified. Disabling rate calculations.\n");
            }
        } else {
            ratesOn = true;
            rateMultiplier = factor;
            rateUnits = " (" + rate->toUnitsString() + ")";
        }
    }
    if (!ratesOn && rateWanted) {
        // A metric that can't give a rate still gets its total.
        summaryList.remove(AVERAGE_RATE_TOTAL);
        if (std::find(summaryList.begin(), summaryList.end(), TOTAL_DELTA) == summaryList.end()) {
            summaryList.emplace_back(TOTAL_DELTA);
        }
    } else {
        // The rate table holds the totals already.
        summaryList.remove(TOTAL_DELTA);
    }
    return summarizer != nullptr ? summarizer->initialize(metric, metadata) : 0;
}

int SampledDeltaAccumulator::processMessage(const pwr::Metric& metric) {
    const int head = pwr::metric_detail::processMessageHead(metric, summaryList.empty(), summarizer.get());
    if (head >= 0) {
        return head;
    }
    for (const DataElement* element : metric.getData().elements) {
        const uint64_t key = pwr::metric_detail::pairKey(element->getEntity(), element->getDescriptor());
        auto found = keyStats.find(key);
        KeyStats& stats = found != keyStats.end() ? found->second : firstSight_i(key, *element);
        stats.total.addValue(*element->getValue());
        ++stats.count;
        stats.duration += static_cast<double>(element->getDuration());
    }
    return 0;
}

SampledDeltaAccumulator::KeyStats& SampledDeltaAccumulator::firstSight_i(uint64_t key,
                                                                         const DataElement& element) {
    const pwr::EntityHandle* entity = element.getEntity();
    const pwr::DataDescriptor* descriptor = element.getDescriptor();
    keyToPair[key] = pwr::EntityDescCombo{entity, descriptor};
    entities[entity->getId()] = entity;
    if (descriptor != nullptr) {
        hasDescriptors = true;
        descriptors[descriptor->getId()] = descriptor;
    }
    KeyStats& stats = keyStats[key];
    stats.total = Data(element.getValue()->getType());
    stats.total.initZero();
    return stats;
}

Data SampledDeltaAccumulator::rate_i(const KeyStats& stats) const {
    Data real = Data::convertToReal(&stats.total);
    const double seconds = truncatedTicks(stats.duration) / (clockFrequency * 1000000.0);
    real.multiplyValue(rateMultiplier / seconds);
    return real;
}

int SampledDeltaAccumulator::finalize(const pwr::Metric& metric) {
    const std::vector<std::string>& strings = getSummaryStrings();
    for (Summary summary : summaryList) {
        if (summary == SAMPLE_COUNT) {
            if (summarizer != nullptr) {
                summarizer->finalize(metric);
            }
        } else if (summary == AVERAGE_RATE_TOTAL) {
            const pwr::TableInfo info =
                pwr::metric_detail::fetchTableInfo(getOutputConfig(), metric, strings[summary]);
            if (info.isTableTransposed()) {
                buildRateTransposed_i(metric, info);
            } else {
                buildRatePlain_i(metric, info);
            }
        } else {
            buildTotal_i(metric,
                         pwr::metric_detail::fetchTableInfo(getOutputConfig(), metric, strings[summary]));
        }
    }
    return 0;
}

void SampledDeltaAccumulator::addHandleColumns_i(const pwr::Metric& metric, TableMessage& table) const {
    addColumn(table, groupField(metric.getEntityGroupInfo()), DataType::HANDLE);
    if (hasDescriptors) {
        addColumn(table, groupField(metric.getDescriptorGroupInfo()), DataType::HANDLE);
    }
}

unsigned SampledDeltaAccumulator::setHandles_i(TableMessage& table, const pwr::EntityDescCombo& pair) const {
    if (pair.entity != nullptr) {
        setCell(table, 0, *pair.entity);
    }
    if (!hasDescriptors) {
        return 1;
    }
    if (pair.descriptor != nullptr) {
        setCell(table, 1, *pair.descriptor);
    }
    return 2;
}

unsigned SampledDeltaAccumulator::setTotalHandles_i(TableMessage& table) const {
    setCell(table, 0, *pwr::EntityHandle::create("Total", nullptr));
    if (!hasDescriptors) {
        return 1;
    }
    setCell(table, 1, *pwr::DataDescriptor::create(pwr::DataDescriptorBuilder("", "")));
    return 2;
}

void SampledDeltaAccumulator::buildRatePlain_i(const pwr::Metric& metric, const pwr::TableInfo& info) {
    const std::string title =
        pwr::metric_detail::tableTitle(info, metric, " Summary: Average Rate and Total");
    std::unique_ptr<TableMessage> table =
        pwr::metric_detail::makeTable(title, metric, pwr::metric_detail::makeNotes(info, notes));
    addHandleColumns_i(metric, *table);
    addColumn(*table, "Average Rate" + rateUnits, DataType::STRING);
    addColumn(*table, "Total" + totalUnits, DataType::STRING);
    table->createTable();
    getWriterStream()->pushMessage(*table);

    for (const pwr::EntityDescCombo& combo : metric.getEntityDescriptorCombinations()) {
        keyToPair.emplace(pwr::metric_detail::pairKey(combo.entity, combo.descriptor), combo);
    }
    Data rateSum;
    Data totalSum;
    bool started = false;
    bool totalStarted = false;
    for (const auto& entry : keyToPair) {
        const auto found = keyStats.find(entry.first);
        if (found == keyStats.end()) {
            continue;
        }
        const unsigned field = setHandles_i(*table, entry.second);
        const Data rate = rate_i(found->second);
        const Data total = Data::convertToReal(&found->second.total);
        setCell(*table, field, realText(rate));
        setCell(*table, field + 1, realText(total));
        addToSum(rateSum, started, rate);
        addToSum(totalSum, totalStarted, total);
        getWriterStream()->pushMessage(*table);
    }
    if (!info.suppressTotal()) {
        const unsigned field = setTotalHandles_i(*table);
        setCell(*table, field, realText(rateSum));
        setCell(*table, field + 1, realText(totalSum));
        getWriterStream()->pushMessage(*table);
    }
}

void SampledDeltaAccumulator::buildRateTransposed_i(const pwr::Metric& metric, const pwr::TableInfo& info) {
    const std::string title =
        pwr::metric_detail::tableTitle(info, metric, " Summary: Average Rate and Total");
    std::unique_ptr<TableMessage> table =
        pwr::metric_detail::makeTable(title, metric, pwr::metric_detail::makeNotes(info, notes));
    addColumn(*table, groupField(metric.getDescriptorGroupInfo()), DataType::HANDLE, true);
    const unsigned rateField = addColumn(*table, "Average Rate" + rateUnits, DataType::STRING);
    const unsigned totalField = addColumn(*table, "Total" + totalUnits, DataType::STRING);
    for (const auto& entity : entities) {
        table->addEntity(entity.second);
    }
    table->createTable();
    getWriterStream()->pushMessage(*table);

    for (const auto& descriptor : descriptors) {
        if (descriptor.second == nullptr) {
            VR_LOG(2, "WARNING: MetricType::SampledDelta: Descriptor is not valid\n");
            continue;
        }
        setCell(*table, 0, *descriptor.second);
        for (const auto& entity : entities) {
            // A pair that never reported has nothing to show: its cells stay empty.
            const auto found = keyStats.find(pwr::metric_detail::pairKey(entity.second, descriptor.second));
            if (found == keyStats.end()) {
                continue;
            }
            table->setFieldValue(entity.second, rateField, realText(rate_i(found->second)));
            table->setFieldValue(entity.second, totalField,
                                 realText(Data::convertToReal(&found->second.total)));
        }
        getWriterStream()->pushMessage(*table);
    }
}

void SampledDeltaAccumulator::buildTotal_i(const pwr::Metric& metric, const pwr::TableInfo& info) {
    const std::string title = pwr::metric_detail::tableTitle(info, metric, " Summary: Total");
    std::unique_ptr<TableMessage> table =
        pwr::metric_detail::makeTable(title, metric, pwr::metric_detail::makeNotes(info, notes));
    addHandleColumns_i(metric, *table);
    addColumn(*table, "Total" + totalUnits, DataType::STRING);
    table->createTable();
    getWriterStream()->pushMessage(*table);

    for (const pwr::EntityDescCombo& combo : metric.getEntityDescriptorCombinations()) {
        keyToPair.emplace(pwr::metric_detail::pairKey(combo.entity, combo.descriptor), combo);
    }
    double sum = 0.0;
    for (const auto& entry : keyToPair) {
        const auto found = keyStats.find(entry.first);
        if (found == keyStats.end()) {
            continue;
        }
        const unsigned field = setHandles_i(*table, entry.second);
        const std::string text = realText(Data::convertToReal(&found->second.total));
        setCell(*table, field, text);
        double real = 0.0;
        if (Data::convertToReal(&found->second.total).toReal(real) != 0) {
            VR_LOG(2, "WARNING: couldn't convert %s to real!\n", text.c_str());
        } else {
            sum += real;
        }
        getWriterStream()->pushMessage(*table);
    }
    const unsigned field = setTotalHandles_i(*table);
    setCell(*table, field, realText(Data(sum)));
    getWriterStream()->pushMessage(*table);
}
