#include "AccumulatorTables.h"

#include <algorithm>
#include <new>

#include "vantrell/metric/SampleCountSummarizer.h"
#include "vantrell/plugin/Logging.h"
#include "vantrell/value/DataHandle.h"
#include "vantrell/value/Description.h"
#include "vantrell/value/EntityHandle.h"
#include "vantrell/value/Formatter.h"

namespace pwr {
namespace metric_detail {

unsigned long long pairKey(const EntityHandle* entity, const DataDescriptor* descriptor) {
    const unsigned long long entityId = entity != nullptr ? entity->getId() : 0;
    if (descriptor == nullptr || descriptor->getId() == 0) {
        return entityId;
    }
    return (entityId << 32) + descriptor->getId();
}

std::string displayName(const EntityHandle* entity) {
    return entity != nullptr ? entity->getQualifiedName() : std::string();
}

TableInfo fetchTableInfo(const WriterInterfaceConfigFileParser* config, const Metric& metric,
                         const std::string& tableType) {
    TableInfo info;
    // Without an output configuration every table is as if it had no entry.
    if (config == nullptr || !config->getTableInfoFor(info, metric.getMetricContainerTag(),
                                                      metric.getFeatureSwitchTag(), tableType)) {
        VR_LOG(4, "INFO: Output config file entry not present for MetricContainer %s and table type %s.\n",
               metric.getMetricContainerTag().c_str(), tableType.c_str());
    }
    return info;
}

std::string tableTitle(const TableInfo& info, const Metric& metric, const std::string& suffix) {
    std::string title;
    if (!info.getTableTitle(title)) {
        title = metric.getName();
    }
    return title + suffix;
}

const TextNotes* makeNotes(const TableInfo& info, std::vector<std::unique_ptr<TextNotes>>& owner) {
    auto notes = std::make_unique<TextNotes>();
    std::string text;
    if (info.getPreTableNote(text)) {
        notes->addPreTableNote(text);
    }
    if (info.getPostTableNote(text)) {
        notes->addPostTableNote(text);
    }
    owner.push_back(std::move(notes));
    return owner.back().get();
}

std::unique_ptr<TableMessage> makeTable(const std::string& title, const Metric& metric,
                                        const TextNotes* notes) {
    auto table = std::make_unique<TableMessage>(title, nullptr);
    table->setMetricContainerId(metric.getId());
    table->setTextNotes(notes);
    return table;
}

const Field* groupField(const Field* field) {
    return field != nullptr ? field : Field::create(Description("", ""));
}

unsigned addColumn(TableMessage& table, const std::string& name, DataType type, bool shared) {
    const unsigned number = static_cast<unsigned>(table.getFieldCount() + table.getSharedFieldCount());
    if (type == DataType::REAL) {
        table.addField(name, type, RealFormatter(0, 2), shared);
    } else {
        table.addField(name, type, shared);
    }
    return number;
}

unsigned addColumn(TableMessage& table, const Field* field, DataType type, bool shared) {
    const unsigned number = static_cast<unsigned>(table.getFieldCount() + table.getSharedFieldCount());
    if (type == DataType::REAL) {
        table.addField(field, type, RealFormatter(0, 2), shared);
    } else {
        table.addField(field, type, shared);
    }
    return number;
}

int setCell(TableMessage& table, unsigned field, const Data& value) {
    Data* cell = table.getDataToSet_i(field);
    if (cell == nullptr) {
        return 1;
    }
    switch (value.getType()) {
        case DataType::INT: {
            long long number = 0;
            return value.toInt(number) != 0 ? 1 : cell->setValue(number);
        }
        case DataType::UINT: {
            unsigned long long number = 0;
            return value.toUInt(number) != 0 ? 1 : cell->setValue(number);
        }
        case DataType::REAL: {
            double number = 0.0;
            return value.toReal(number) != 0 ? 1 : cell->setValue(number);
        }
        case DataType::HANDLE: {
            const DataHandle* handle = nullptr;
            return value.toHandle(handle) != 0 || handle == nullptr ? 1 : cell->setValue(*handle);
        }
        case DataType::STRING: {
            std::string text;
            return value.toString(text) != 0 ? 1 : cell->setValue(text);
        }
        case DataType::INT_RANGE: {
            Data::IntRange range;
            return value.toIntRange(range) != 0 ? 1 : cell->setValue(range);
        }
        case DataType::UINT_RANGE: {
            Data::UIntRange range;
            return value.toUIntRange(range) != 0 ? 1 : cell->setValue(range);
        }
        case DataType::REAL_RANGE: {
            Data::RealRange range;
            return value.toRealRange(range) != 0 ? 1 : cell->setValue(range);
        }
        default:
            return 1;
    }
}

int setCell(TableMessage& table, unsigned field, const DataHandle& handle) {
    Data* cell = table.getDataToSet_i(field);
    return cell == nullptr ? 1 : cell->setValue(handle);
}

int setCell(TableMessage& table, unsigned field, unsigned long long value) {
    Data* cell = table.getDataToSet_i(field);
    return cell == nullptr ? 1 : cell->setValue(value);
}

int setCell(TableMessage& table, unsigned field, double value) {
    Data* cell = table.getDataToSet_i(field);
    return cell == nullptr ? 1 : cell->setValue(value);
}

double toDouble(const Data& value) {
    switch (value.getType()) {
        case DataType::INT: {
            long long number = 0;
            value.toInt(number);
            return static_cast<double>(number);
        }
        case DataType::UINT: {
            unsigned long long number = 0;
            value.toUInt(number);
            return static_cast<double>(number);
        }
        case DataType::REAL: {
            double number = 0.0;
            value.toReal(number);
            return number;
        }
        default:
            return 0.0;
    }
}

std::string realText(const Data& value) {
    std::string text;
    RealFormatter(0, 2).format(text, value);
    return text;
}

void copyData(Data& target, const Data& source) {
    if (&target == &source) {
        return;
    }
    if (target.getCustomFormatter() == nullptr && source.getCustomFormatter() == nullptr) {
        target = source;
        return;
    }
    // Assignment would share the formatter: rebuild the target as an owning copy instead.
    target.~Data();
    new (&target) Data(source);
}

int processMessageHead(const Metric& metric, bool noSummaries, SampleCountSummarizer* summarizer) {
    if (noSummaries) {
        VR_LOG(3, "DEBUG: %s: No summary or -r int output enabled.\n", metric.getName().c_str());
        return 0;
    }
    if (summarizer != nullptr && summarizer->processMessage(metric) != 0) {
        VR_LOG(2, "WARNING: Failed to process %s for sample count.\n", metric.getName().c_str());
        return 1;
    }
    return -1;
}

std::vector<Data> rowValues(const std::vector<Data>& seen, const std::vector<Data>& finiteSet) {
    if (finiteSet.empty()) {
        std::vector<Data> rows(seen);
        std::stable_sort(rows.begin(), rows.end());
        return rows;
    }
    std::vector<Data> rows(finiteSet);
    for (const Data& value : seen) {
        if (std::find(finiteSet.begin(), finiteSet.end(), value) == finiteSet.end()) {
            rows.push_back(value);
        }
    }
    return rows;
}

}  // namespace metric_detail
}  // namespace pwr
