#include "vantrell/metric/TracedEventAccumulator.h"

#include <algorithm>

#include "AccumulatorTables.h"
#include "vantrell/metric/Metric.h"
#include "vantrell/metric/SampleCountSummarizer.h"
#include "vantrell/plugin/Logging.h"
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

constexpr size_t kTopCount = 10;

uint64_t keyOf(uint64_t entityId, uint64_t descriptorId) {
    return descriptorId != 0 ? (entityId << 32) + descriptorId : entityId;
}

// The display name of a handle value; every other value has the empty name.
std::string eventName(const Data& value) {
    const pwr::DataHandle* handle = nullptr;
    if (value.getType() == DataType::HANDLE && value.toHandle(handle) == 0 && handle != nullptr) {
        return handle->getQualifiedName();
    }
    return std::string();
}

}  // namespace

TracedEventAccumulator::TracedEventAccumulator(const SummaryList& summaries) : summaryList(summaries) {
    summarizer = pwr::metric_detail::summarizerFor(summaryList, SAMPLE_COUNT, false, false, false);
}

TracedEventAccumulator::~TracedEventAccumulator() = default;

const std::vector<std::string>& TracedEventAccumulator::getSummaryStrings() {
    static const std::vector<std::string> strings = {"SAMPLE-COUNT", "EVENT-NAME-COUNTS", "TOP-TEN-EVENT"};
    return strings;
}

int TracedEventAccumulator::initialize(const pwr::Metric& metric, const pwr::SystemMetadata& metadata) {
    if (metric.getQuantity() != nullptr) {
        units = " (" + metric.getQuantity()->toUnitsString() + ")";
    }
    return summarizer != nullptr ? summarizer->initialize(metric, metadata) : 0;
}

int TracedEventAccumulator::processMessage(const pwr::Metric& metric) {
    const int head = pwr::metric_detail::processMessageHead(metric, summaryList.empty(), summarizer.get());
    if (head >= 0) {
        return head;
    }
    for (const DataElement* element : metric.getData().elements) {
        const Data& value = *element->getValue();
        dataType = value.getType();
        const uint64_t key = pwr::metric_detail::pairKey(element->getEntity(), element->getDescriptor());
        auto found = keyStats.find(key);
        KeyStats& stats = found != keyStats.end() ? found->second : firstSight_i(key, *element);
        auto slot = stats.values.find(value);
        ValueSlot& counts = slot != stats.values.end() ? slot->second : newValue_i(stats, key, *element);
        ++*counts.nameCount;
        ++counts.count;
        ++stats.count;
    }
    return 0;
}

TracedEventAccumulator::KeyStats& TracedEventAccumulator::firstSight_i(uint64_t key,
                                                                       const DataElement& element) {
    const pwr::EntityHandle* entity = element.getEntity();
    const pwr::DataDescriptor* descriptor = element.getDescriptor();
    keyToPair[key] = pwr::EntityDescCombo{entity, descriptor};
    entities[entity->getId()] = entity;
    if (descriptor != nullptr) {
        descriptors[descriptor->getId()] = descriptor;
    }
    return keyStats[key];
}

// A value's name is fixed, so its name count and the name's place in the descriptor's set are found
// once, when the key first meets the value.
TracedEventAccumulator::ValueSlot& TracedEventAccumulator::newValue_i(KeyStats& stats, uint64_t key,
                                                                      const DataElement& element) {
    const Data& value = *element.getValue();
    const std::string name = eventName(value);
    const uint64_t descriptorId = element.getDescriptor() != nullptr ? element.getDescriptor()->getId() : 0;
    names[descriptorId].insert(name);
    ValueSlot& slot = stats.values[value];
    slot.nameCount = &nameCounts[name][key];
    return slot;
}

int TracedEventAccumulator::finalize(const pwr::Metric& metric) {
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
        if (summary == EVENT_NAME_COUNTS) {
            buildNameTables_i(metric, info);
            continue;
        }
        for (const auto& entry : keyToPair) {
            buildTopTen_i(metric, info, entry.first);
        }
    }
    return 0;
}

void TracedEventAccumulator::buildNameTables_i(const pwr::Metric& metric, const pwr::TableInfo& info) {
    for (const pwr::EntityDescCombo& combo : metric.getEntityDescriptorCombinations()) {
        if (combo.entity != nullptr) {
            entities[combo.entity->getId()] = combo.entity;
        }
        if (combo.descriptor != nullptr) {
            descriptors[combo.descriptor->getId()] = combo.descriptor;
        }
    }
    const pwr::TextNotes* tableNotes = pwr::metric_detail::makeNotes(info, notes);
    if (descriptors.empty()) {
        buildNameTable_i(metric, info, tableNotes, nullptr);
        return;
    }
    for (const auto& descriptor : descriptors) {
        buildNameTable_i(metric, info, tableNotes, descriptor.second);
    }
}

void TracedEventAccumulator::buildNameTable_i(const pwr::Metric& metric, const pwr::TableInfo& info,
                                              const pwr::TextNotes* tableNotes,
                                              const pwr::DataDescriptor* descriptor) {
    std::string title = pwr::metric_detail::tableTitle(info, metric, " Summary: Type Count");
    if (descriptors.size() > 1) {
        title += " for " + descriptor->getName();
    }
    std::unique_ptr<TableMessage> table = pwr::metric_detail::makeTable(title, metric, tableNotes);
    const pwr::Field* valueField = metric.getValueGroupInfo();
    addColumn(*table, valueField != nullptr ? valueField->getName() : std::string(), DataType::STRING, true);
    const unsigned countField = addColumn(*table, "Count", DataType::UINT);
    for (const auto& entity : entities) {
        table->addEntity(entity.second);
    }
    table->createTable();
    getWriterStream()->pushMessage(*table);

    const uint64_t descriptorId = descriptor != nullptr ? descriptor->getId() : 0;
    const auto found = names.find(descriptorId);
    if (found == names.end()) {
        return;
    }
    for (const std::string& name : found->second) {
        setCell(*table, 0, Data(name));
        const std::map<uint64_t, uint64_t>& perKey = nameCounts[name];
        for (const auto& entity : entities) {
            const auto count = perKey.find(keyOf(entity.first, descriptorId));
            table->setFieldValue(entity.second, countField,
                                 static_cast<unsigned long long>(count != perKey.end() ? count->second : 0));
        }
        getWriterStream()->pushMessage(*table);
    }
}

void TracedEventAccumulator::buildTopTen_i(const pwr::Metric& metric, const pwr::TableInfo& info,
                                           uint64_t key) {
    const pwr::EntityDescCombo& pair = keyToPair.at(key);
    std::string title = pwr::metric_detail::tableTitle(
        info, metric, " Summary: Top " + std::to_string(kTopCount) + " Most-Frequent");
    if (pair.entity != nullptr) {
        title += " for " + pwr::metric_detail::displayName(pair.entity);
    }
    if (pair.descriptor != nullptr) {
        title += " and " + pair.descriptor->getName();
    }
    std::unique_ptr<TableMessage> table =
        pwr::metric_detail::makeTable(title, metric, pwr::metric_detail::makeNotes(info, notes));
    addColumn(*table, pwr::metric_detail::groupField(metric.getValueGroupInfo()), dataType);
    addColumn(*table, "Count", DataType::UINT);
    table->createTable();
    getWriterStream()->pushMessage(*table);

    // Ascending values into a multimap by count: equal counts keep that order, so reading from the end
    // puts the value that orders last first among them.
    std::multimap<uint64_t, const Data*> byCount;
    const auto found = keyStats.find(key);
    if (found != keyStats.end()) {
        for (const auto& value : found->second.values) {
            byCount.emplace(value.second.count, &value.first);
        }
    }
    size_t rows = 0;
    for (auto entry = byCount.rbegin(); entry != byCount.rend() && rows < kTopCount; ++entry, ++rows) {
        setCell(*table, 0, *entry->second);
        setCell(*table, 1, static_cast<unsigned long long>(entry->first));
        getWriterStream()->pushMessage(*table);
    }
}
