#include "vantrell/metric/TracedTransitionAccumulator.h"

#include <algorithm>

#include "AccumulatorTables.h"
#include "vantrell/metric/Metric.h"
#include "vantrell/plugin/Logging.h"
#include "vantrell/record/SystemMetadata.h"
#include "vantrell/value/DataHandle.h"
#include "vantrell/value/EntityHandle.h"
#include "vantrell/value/Quantity.h"
#include "vantrell/writer/TextNotes.h"
#include "vantrell/writer/WriterStream.h"

using pwr::Data;
using pwr::DataElement;
using pwr::DataType;
using pwr::TableMessage;
using pwr::metric_detail::addColumn;
using pwr::metric_detail::setCell;

namespace {

uint64_t keyOf(uint64_t entityId, uint64_t descriptorId) {
    return descriptorId != 0 ? (entityId << 32) + descriptorId : entityId;
}

}  // namespace

TracedTransitionAccumulator::TracedTransitionAccumulator(const SummaryList& summaries)
    : summaryList(summaries) {}

TracedTransitionAccumulator::~TracedTransitionAccumulator() = default;

const std::vector<std::string>& TracedTransitionAccumulator::getSummaryStrings() {
    static const std::vector<std::string> strings = {"RESIDENCY-PERCENTAGE", "RESIDENCY-MILLISECOND",
                                                     "TRANSITION-COUNTS", "RESIDENCY-COMBINED"};
    return strings;
}

int TracedTransitionAccumulator::initialize(const pwr::Metric& metric, const pwr::SystemMetadata& metadata) {
    clockFrequency = static_cast<double>(metadata.vraClockFreqMHz);
    if (metric.getQuantity() != nullptr) {
        units = " (" + metric.getQuantity()->toUnitsString() + ")";
    }
    return 0;
}

int TracedTransitionAccumulator::processMessage(const pwr::Metric& metric) {
    const int head = pwr::metric_detail::processMessageHead(metric, summaryList.empty(), nullptr);
    if (head >= 0) {
        return head;
    }
    for (const DataElement* element : metric.getData().elements) {
        const Data& value = *element->getValue();
        dataType = value.getType();
        const uint64_t key = pwr::metric_detail::pairKey(element->getEntity(), element->getDescriptor());
        auto found = keyStats.find(key);
        KeyStats& stats = found != keyStats.end() ? found->second : firstSight_i(key, *element);
        auto slot = stats.values.lower_bound(value);
        if (slot == stats.values.end() || value < slot->first) {
            slot = stats.values.emplace_hint(slot, value, ValueStats{});
            // New for this key; the descriptor may know it from another entity already.
            if (std::find(stats.seen->begin(), stats.seen->end(), value) == stats.seen->end()) {
                stats.seen->push_back(value);
            }
        }
        const uint64_t duration = element->getDuration();
        slot->second.ticks += duration;
        ++slot->second.entries;
        ++stats.count;
        stats.totalDuration += duration;
    }
    return 0;
}

TracedTransitionAccumulator::KeyStats& TracedTransitionAccumulator::firstSight_i(uint64_t key,
                                                                                 const DataElement& element) {
    const pwr::EntityHandle* entity = element.getEntity();
    const pwr::DataDescriptor* descriptor = element.getDescriptor();
    const uint64_t descriptorId = descriptor != nullptr ? descriptor->getId() : 0;
    entities[entity->getId()] = entity;
    if (descriptorId != 0) {
        descriptors[descriptorId] = descriptor;
    }
    KeyStats& stats = keyStats[key];
    stats.seen = &seenValues[descriptorId];
    return stats;
}

int TracedTransitionAccumulator::finalize(const pwr::Metric& metric) {
    const std::vector<std::string>& strings = getSummaryStrings();
    for (Summary summary : summaryList) {
        if (pwr::logging::isOpen(4)) {
            pwr::logging::emit(4, "INFO: Metric: %s, SSSSSummary table: %s\n",
                               metric.getMetricContainerTag().c_str(), strings[summary].c_str());
        }
        const pwr::TableInfo info =
            pwr::metric_detail::fetchTableInfo(getOutputConfig(), metric, strings[summary]);
        Layout layout{true, true, true};
        std::string suffix = " Summary: Residency";
        switch (summary) {
            case RESIDENCY_PERCENTAGE:
                layout.time = false;
                suffix += " (Percentage)";
                break;
            case RESIDENCY_MILLISECOND:
                layout.percentage = false;
                suffix += " (Time)";
                break;
            case RESIDENCY_COMBINED:
                suffix += " (Percentage and Time)";
                break;
            default:
                layout = Layout{false, false, false};
                suffix = " Summary: Entry Counts";
                break;
        }
        const pwr::TextNotes* tableNotes = pwr::metric_detail::makeNotes(info, notes);
        const bool transposed = layout.residency && info.isTableTransposed();
        for (const auto& perDescriptor : seenValues) {
            std::string title = pwr::metric_detail::tableTitle(info, metric, suffix);
            if (descriptors.size() > 1) {
                title += " for " + descriptorName_i(perDescriptor.first);
                if (metric.getValueGroupInfo() != nullptr) {
                    title += units;
                }
            }
            if (transposed) {
                buildTransposed_i(metric, title, tableNotes, perDescriptor.first, layout);
            } else {
                buildPlain_i(metric, title, tableNotes, perDescriptor.first, layout);
            }
        }
    }
    return 0;
}

std::string TracedTransitionAccumulator::descriptorName_i(uint64_t descriptorId) const {
    const auto found = descriptors.find(descriptorId);
    return found != descriptors.end() ? found->second->getName() : std::string();
}

// The finite set in its order, then the other values in first-seen order; without a finite set the
// values sorted ascending.
std::vector<Data> TracedTransitionAccumulator::rowValues_i(const pwr::Metric& metric,
                                                           uint64_t descriptorId) const {
    const auto found = seenValues.find(descriptorId);
    const std::vector<Data> none;
    const std::vector<Data>& seen = found != seenValues.end() ? found->second : none;
    return pwr::metric_detail::rowValues(seen, metric.getFiniteSetValues());
}

void TracedTransitionAccumulator::residencyOf_i(uint64_t entityId, uint64_t descriptorId, const Data& value,
                                                double& percentage, double& milliseconds) const {
    percentage = 0.0;
    milliseconds = 0.0;
    const auto found = keyStats.find(keyOf(entityId, descriptorId));
    if (found == keyStats.end() || found->second.count == 0) {
        return;
    }
    const auto slot = found->second.values.find(value);
    const uint64_t ticks = slot != found->second.values.end() ? slot->second.ticks : 0;
    percentage = static_cast<double>(ticks) / static_cast<double>(found->second.totalDuration) * 100.0;
    milliseconds = static_cast<double>(ticks) / (clockFrequency * 1000.0);
    if (pwr::logging::isOpen(4)) {
        pwr::logging::emit(4, "INFO: timestamp freq=%lf residency=%llu, total duration=%llu\n",
                           clockFrequency, static_cast<unsigned long long>(ticks),
                           static_cast<unsigned long long>(found->second.totalDuration));
    }
}

uint64_t TracedTransitionAccumulator::entriesOf_i(uint64_t entityId, uint64_t descriptorId,
                                                  const Data& value) const {
    const auto found = keyStats.find(keyOf(entityId, descriptorId));
    if (found == keyStats.end()) {
        return 0;
    }
    const auto slot = found->second.values.find(value);
    return slot != found->second.values.end() ? slot->second.entries : 0;
}

void TracedTransitionAccumulator::addValueColumn_i(const pwr::Metric& metric, TableMessage& table,
                                                   uint64_t descriptorId) const {
    if (metric.getValueGroupInfo() != nullptr) {
        addColumn(table, metric.getValueGroupInfo(), dataType, true);
    } else if (descriptors.empty()) {
        std::string name;
        if (metric.getQuantity() != nullptr) {
            metric.getQuantity()->toTitleString(name);
        }
        addColumn(table, name, dataType, true);
    } else {
        addColumn(table, descriptorName_i(descriptorId) + units, dataType, true);
    }
}

void TracedTransitionAccumulator::buildPlain_i(const pwr::Metric& metric, const std::string& title,
                                               const pwr::TextNotes* tableNotes, uint64_t descriptorId,
                                               Layout layout) {
    std::unique_ptr<TableMessage> table = pwr::metric_detail::makeTable(title, metric, tableNotes);
    addValueColumn_i(metric, *table, descriptorId);
    const unsigned percentField = layout.percentage ? addColumn(*table, "Residency (%)", DataType::REAL) : 0;
    const unsigned timeField = layout.time ? addColumn(*table, "Residency (msec)", DataType::REAL) : 0;
    const unsigned countField = layout.residency ? 0 : addColumn(*table, "Entry Count", DataType::UINT);
    for (const auto& entity : entities) {
        table->addEntity(entity.second);
    }
    table->createTable();
    getWriterStream()->pushMessage(*table);

    std::map<uint64_t, unsigned long long> sums;
    for (const Data& value : rowValues_i(metric, descriptorId)) {
        setCell(*table, 0, value);
        for (const auto& entity : entities) {
            if (!layout.residency) {
                const unsigned long long entries = entriesOf_i(entity.first, descriptorId, value);
                sums[entity.first] += entries;
                table->setFieldValue(entity.second, countField, entries);
                continue;
            }
            double percentage = 0.0;
            double milliseconds = 0.0;
            residencyOf_i(entity.first, descriptorId, value, percentage, milliseconds);
            if (layout.percentage) {
                table->setFieldValue(entity.second, percentField, percentage);
            }
            if (layout.time) {
                table->setFieldValue(entity.second, timeField, milliseconds);
            }
        }
        getWriterStream()->pushMessage(*table);
    }
    if (!layout.residency) {
        setCell(*table, 0, *pwr::EntityHandle::create("Total", nullptr));
        for (const auto& entity : entities) {
            table->setFieldValue(entity.second, countField, sums[entity.first]);
        }
        getWriterStream()->pushMessage(*table);
    }
}

void TracedTransitionAccumulator::buildTransposed_i(const pwr::Metric& metric, const std::string& title,
                                                    const pwr::TextNotes* tableNotes, uint64_t descriptorId,
                                                    Layout layout) {
    std::unique_ptr<TableMessage> table = pwr::metric_detail::makeTable(title, metric, tableNotes);
    addColumn(*table, pwr::metric_detail::groupField(metric.getEntityGroupInfo()), DataType::HANDLE);
    const std::vector<Data> values = rowValues_i(metric, descriptorId);
    std::vector<std::string> names;
    for (const Data& value : values) {
        names.emplace_back();
        value.toFormattedString(names.back());
    }
    if (layout.percentage) {
        for (const std::string& name : names) {
            addColumn(*table, name + " (%)", DataType::REAL);
        }
    }
    if (layout.time) {
        for (const std::string& name : names) {
            addColumn(*table, name + " (msec)", DataType::REAL);
        }
    }
    table->createTable();
    getWriterStream()->pushMessage(*table);

    const unsigned timeBase = 1 + (layout.percentage ? static_cast<unsigned>(values.size()) : 0);
    for (const auto& entity : entities) {
        setCell(*table, 0, *entity.second);
        for (unsigned i = 0; i < values.size(); ++i) {
            double percentage = 0.0;
            double milliseconds = 0.0;
            residencyOf_i(entity.first, descriptorId, values[i], percentage, milliseconds);
            if (layout.percentage) {
                setCell(*table, 1 + i, percentage);
            }
            if (layout.time) {
                setCell(*table, timeBase + i, milliseconds);
            }
        }
        getWriterStream()->pushMessage(*table);
    }
}
