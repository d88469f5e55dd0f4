// The table builders of SampledValueAccumulator: the min/max table, and the distribution and
// residency tables in their plain and transposed forms.

#include <algorithm>

#include "AccumulatorTables.h"
#include "vantrell/metric/Metric.h"
#include "vantrell/metric/SampledValueAccumulator.h"
#include "vantrell/value/DataHandle.h"
#include "vantrell/value/EntityHandle.h"
#include "vantrell/value/Quantity.h"
#include "vantrell/writer/WriterStream.h"

using pwr::Data;
using pwr::DataType;
using pwr::TableMessage;
using pwr::metric_detail::addColumn;
using pwr::metric_detail::groupField;
using pwr::metric_detail::setCell;

namespace {

const char* suffixOf(SampledValueAccumulator::Summary summary) {
    switch (summary) {
        case SampledValueAccumulator::NUMBER_OF_OCCURENCES:
            return " Summary - Sampled: Counts";
        case SampledValueAccumulator::RELATIVE_FREQUENCY_PERCENTAGE:
            return " Summary - Sampled: Sample Distribution";
        default:
            return " Summary - Sampled: Residency (Percentage)";
    }
}

}  // namespace

void SampledValueAccumulator::buildMinMax_i(const pwr::Metric& metric, const pwr::TableInfo& info,
                                            bool withAverages) {
    const std::string title = pwr::metric_detail::tableTitle(
        info, metric, withAverages ? " Summary - Sampled: Min/Max/Avg" : " Summary - Sampled: Min/Max");
    std::unique_ptr<TableMessage> table =
        pwr::metric_detail::makeTable(title, metric, pwr::metric_detail::makeNotes(info, notes));
    addColumn(*table, groupField(metric.getEntityGroupInfo()), DataType::HANDLE);
    const bool withDescriptor = !descriptors.empty();
    if (withDescriptor) {
        addColumn(*table, groupField(metric.getDescriptorGroupInfo()), DataType::HANDLE);
    }
    const unsigned minField = addColumn(*table, "Min" + units, dataType);
    addColumn(*table, "Max" + units, dataType);
    if (withAverages) {
        addColumn(*table, "Avg" + units, DataType::REAL);
        addColumn(*table, "Time-weighted Avg" + units, DataType::REAL);
    }
    table->createTable();
    getWriterStream()->pushMessage(*table);

    for (const auto& entry : keyToPair) {
        const KeyStats& stats = keyStats.at(entry.first);
        if (stats.count == 0) {
            continue;
        }
        if (entry.second.entity != nullptr) {
            setCell(*table, 0, *entry.second.entity);
        }
        if (withDescriptor && entry.second.descriptor != nullptr) {
            setCell(*table, 1, *entry.second.descriptor);
        }
        setCell(*table, minField, stats.minimum);
        setCell(*table, minField + 1, stats.maximum);
        if (withAverages) {
            setCell(*table, minField + 2,
                    pwr::metric_detail::toDouble(stats.sum) / static_cast<double>(stats.count));
            // Divided by the sum of the rounded weights, not of the weights.
            setCell(*table, minField + 3, stats.weightedSum / static_cast<double>(stats.totalTicks));
        }
        getWriterStream()->pushMessage(*table);
    }
}

void SampledValueAccumulator::buildDistribution_i(const pwr::Metric& metric, const pwr::TableInfo& info,
                                                  Summary summary) {
    const pwr::TextNotes* tableNotes = pwr::metric_detail::makeNotes(info, notes);
    for (const auto& entry : distribution) {
        std::string title = pwr::metric_detail::tableTitle(info, metric, suffixOf(summary));
        if (descriptors.size() > 1) {
            title += " for " + descriptorName_i(entry.first);
            if (metric.getValueGroupInfo() != nullptr) {
                title += units;
            }
        }
        if (info.isTableTransposed()) {
            buildTransposed_i(metric, title, tableNotes, entry.first, entry.second, summary);
        } else {
            buildPlain_i(metric, title, tableNotes, entry.first, entry.second, summary);
        }
    }
}

std::string SampledValueAccumulator::descriptorName_i(uint64_t descriptorId) const {
    const auto found = descriptors.find(descriptorId);
    return found != descriptors.end() ? found->second->getName() : std::string();
}

// The finite set in its order, then the other values in first-seen order; without a finite set the
// values sorted ascending.
std::vector<Data> SampledValueAccumulator::rowValues_i(const pwr::Metric& metric,
                                                       uint64_t descriptorId) const {
    const auto found = seenValues.find(descriptorId);
    const std::vector<Data> none;
    const std::vector<Data>& seen = found != seenValues.end() ? found->second : none;
    return pwr::metric_detail::rowValues(seen, metric.getFiniteSetValues());
}

double SampledValueAccumulator::cellValue_i(uint64_t descriptorId, uint64_t entityId, const ValueMap& values,
                                            const Data& value, Summary summary) const {
    const auto found = values.find(value);
    if (found == values.end()) {
        return 0.0;
    }
    const uint64_t key = descriptorId != 0 ? (entityId << 32) + descriptorId : entityId;
    const KeyStats& stats = keyStats.at(key);
    switch (summary) {
        case NUMBER_OF_OCCURENCES:
            return static_cast<double>(found->second.occurrences);
        case RELATIVE_FREQUENCY_PERCENTAGE:
            return static_cast<double>(found->second.occurrences) / static_cast<double>(stats.count) * 100.0;
        default:
            return static_cast<double>(found->second.ticks) / static_cast<double>(stats.totalTicks) * 100.0;
    }
}

void SampledValueAccumulator::buildPlain_i(const pwr::Metric& metric, const std::string& title,
                                           const pwr::TextNotes* tableNotes, uint64_t descriptorId,
                                           const EntityValues& columns, Summary summary) {
    std::unique_ptr<TableMessage> table = pwr::metric_detail::makeTable(title, metric, tableNotes);
    if (metric.getValueGroupInfo() != nullptr) {
        addColumn(*table, metric.getValueGroupInfo(), dataType, true);
    } else if (descriptors.empty()) {
        std::string name;
        if (metric.getQuantity() != nullptr) {
            metric.getQuantity()->toTitleString(name);
        }
        addColumn(*table, name, dataType, true);
    } else {
        addColumn(*table, descriptorName_i(descriptorId) + units, dataType, true);
    }
    const bool counts = summary == NUMBER_OF_OCCURENCES;
    for (const auto& column : columns) {
        const std::string name = pwr::metric_detail::displayName(entities.at(column.first));
        addColumn(*table, counts ? name : name + " (%)", counts ? DataType::UINT : DataType::REAL);
    }
    table->createTable();
    getWriterStream()->pushMessage(*table);

    for (const Data& value : rowValues_i(metric, descriptorId)) {
        setCell(*table, 0, value);
        unsigned field = 1;
        for (const auto& column : columns) {
            const double cell = cellValue_i(descriptorId, column.first, column.second, value, summary);
            if (counts) {
                setCell(*table, field++, static_cast<unsigned long long>(cell));
            } else {
                setCell(*table, field++, cell);
            }
        }
        getWriterStream()->pushMessage(*table);
    }
}

void SampledValueAccumulator::buildTransposed_i(const pwr::Metric& metric, const std::string& title,
                                                const pwr::TextNotes* tableNotes, uint64_t descriptorId,
                                                const EntityValues& rows, Summary summary) {
    std::unique_ptr<TableMessage> table = pwr::metric_detail::makeTable(title, metric, tableNotes);
    // Only the residency table may leave the entity out.
    const bool withEntity = summary != APPROXIMATED_RESIDENCY || !metric.getSuppressEntityInfoInSummary();
    if (withEntity) {
        addColumn(*table, groupField(metric.getEntityGroupInfo()), DataType::HANDLE);
    }
    const bool counts = summary == NUMBER_OF_OCCURENCES;
    const std::vector<Data> values = rowValues_i(metric, descriptorId);
    for (const Data& value : values) {
        std::string name;
        value.toFormattedString(name);
        addColumn(*table, counts ? name : name + " (%)", counts ? DataType::UINT : DataType::REAL);
    }
    table->createTable();
    getWriterStream()->pushMessage(*table);

    for (const auto& row : rows) {
        unsigned field = 0;
        if (withEntity) {
            setCell(*table, field++, *entities.at(row.first));
        }
        for (const Data& value : values) {
            const double cell = cellValue_i(descriptorId, row.first, row.second, value, summary);
            if (counts) {
                setCell(*table, field++, static_cast<unsigned long long>(cell));
            } else {
                setCell(*table, field++, cell);
            }
        }
        getWriterStream()->pushMessage(*table);
    }
}
