#include "vantrell/metric/SampleCountSummarizer.h"

#include <limits>
#include <string>

#include "AccumulatorTables.h"
#include "vantrell/metric/Metric.h"
#include "vantrell/plugin/Logging.h"
#include "vantrell/record/SystemMetadata.h"
#include "vantrell/value/DataHandle.h"
#include "vantrell/value/EntityHandle.h"
#include "vantrell/writer/WriterStream.h"

using pwr::DataElement;
using pwr::EntityDescCombo;
using pwr::metric_detail::displayName;

namespace {

constexpr uint64_t kAllOnes = std::numeric_limits<uint64_t>::max();

std::string descriptorText(const pwr::DataDescriptor* descriptor) {
    return descriptor != nullptr ? descriptor->getName() : std::string("<N/A>");
}

}  // namespace

SampleCountSummarizer::SampleCountSummarizer(bool isSampled, bool withIntervals, bool byEntity)
    : sampled(isSampled), showIntervals(withIntervals), perEntity(byEntity) {}

SampleCountSummarizer::~SampleCountSummarizer() = default;

int SampleCountSummarizer::initialize(const pwr::Metric&, const pwr::SystemMetadata& metadata) {
    clockFrequency = static_cast<double>(metadata.vraClockFreqMHz);
    return 0;
}

uint64_t SampleCountSummarizer::key_i(const DataElement& element) const {
    const pwr::DataDescriptor* descriptor = element.getDescriptor();
    const uint64_t entityId = element.getEntity()->getId();
    if (perEntity || descriptor == nullptr || descriptor->getId() == 0) {
        return entityId;
    }
    return (entityId << 32) + descriptor->getId();
}

bool SampleCountSummarizer::nameRecorded_i(const pwr::EntityHandle* entity) const {
    const std::string name = displayName(entity);
    for (const auto& entry : keyToPair) {
        if (displayName(entry.second.entity) == name) {
            return true;
        }
    }
    return false;
}

void SampleCountSummarizer::recordNewKey_i(uint64_t key, const DataElement& element, KeyRecord& record) {
    // Per entity, one row per display name: the first entity of a name stands for all of them.
    if (!perEntity || !nameRecorded_i(element.getEntity())) {
        keyToPair[key] = EntityDescCombo{element.getEntity(), element.getDescriptor()};
    }
    if (element.getDescriptor() != nullptr) {
        hasDescriptors = true;
    }
    record.count = 0;
    record.totalInterval = 0;
    record.minInterval = kAllOnes;
    record.maxInterval = 0;
    record.firstDuration = static_cast<double>(element.getDuration());
    if (pwr::logging::isOpen(4)) {
        pwr::logging::emit(4, "INFO: set key = %llu for %s, %s\n", static_cast<unsigned long long>(key),
                           displayName(element.getEntity()).c_str(),
                           descriptorText(element.getDescriptor()).c_str());
    }
}

int SampleCountSummarizer::processMessage(const pwr::Metric& metric) {
    const uint64_t timestamp = metric.getData().timestamp;
    VR_LOG(4, "INFO: %s has timestamp = %llu\n", "SampleCountSummarizer::processMessage",
           static_cast<unsigned long long>(timestamp));
    for (const DataElement* element : metric.getData().elements) {
        const uint64_t key = key_i(*element);
        auto found = records.find(key);
        if (found == records.end()) {
            found = records.emplace(key, KeyRecord{}).first;
            recordNewKey_i(key, *element, found->second);
        } else if (timestamp != found->second.previousTimestamp) {
            KeyRecord& record = found->second;
            const uint64_t interval = timestamp - record.previousTimestamp;
            record.minInterval = std::min(record.minInterval, interval);
            record.maxInterval = std::max(record.maxInterval, interval);
            record.totalInterval += interval;
            if (pwr::logging::isOpen(4)) {
                pwr::logging::emit(4, "INFO: %s, %s has prev = %llu, min = %llu, max = %llu\n",
                                   displayName(element->getEntity()).c_str(),
                                   descriptorText(element->getDescriptor()).c_str(),
                                   static_cast<unsigned long long>(record.previousTimestamp),
                                   static_cast<unsigned long long>(record.minInterval),
                                   static_cast<unsigned long long>(record.maxInterval));
            }
        }
        // Several elements of one point share its time and count once.
        if (timestamp != found->second.previousTimestamp) {
            ++found->second.count;
        }
        found->second.previousTimestamp = timestamp;
    }
    return 0;
}

// Declared pairs that never reported still get a row, with a count of 0.
void SampleCountSummarizer::addExpectedRows_i(const pwr::Metric& metric) {
    for (const EntityDescCombo& combo : metric.getEntityDescriptorCombinations()) {
        const uint64_t key = pwr::metric_detail::pairKey(combo.entity, combo.descriptor);
        if (perEntity && nameRecorded_i(combo.entity)) {
            continue;
        }
        keyToPair.emplace(key, combo);
    }
}

int SampleCountSummarizer::finalize(const pwr::Metric& metric) {
    const pwr::TableInfo info = pwr::metric_detail::fetchTableInfo(getOutputConfig(), metric, "SAMPLE-COUNT");
    std::string title;
    if (!info.getTableTitle(title)) {
        title = metric.getName();
    }
    title += std::string(" Summary") + (sampled ? " - Sampled" : "") + ": Total Samples Received";
    pwr::TableMessage table(title, nullptr);
    table.setMetricContainerId(metric.getId());

    using pwr::metric_detail::addColumn;
    using pwr::metric_detail::groupField;
    addColumn(table, groupField(metric.getEntityGroupInfo()), pwr::DataType::HANDLE);
    const bool withDescriptor = hasDescriptors && !perEntity;
    if (withDescriptor) {
        addColumn(table, groupField(metric.getDescriptorGroupInfo()), pwr::DataType::HANDLE);
    }
    addColumn(table, "Total # of samples", pwr::DataType::UINT);
    if (showIntervals) {
        addColumn(table, "Min sampling interval (msec)", pwr::DataType::REAL);
        addColumn(table, "Max sampling interval (msec)", pwr::DataType::REAL);
        addColumn(table, "Avg sampling interval (msec)", pwr::DataType::REAL);
    }
    table.createTable();
    getWriterStream()->pushMessage(table);

    addExpectedRows_i(metric);
    for (const auto& entry : keyToPair) {
        pushRow_i(table, entry.first, entry.second, withDescriptor);
    }
    return 0;
}

void SampleCountSummarizer::pushRow_i(pwr::TableMessage& table, uint64_t key, const EntityDescCombo& pair,
                                      bool withDescriptor) {
    using pwr::metric_detail::setCell;
    unsigned field = 0;
    if (pair.entity != nullptr) {
        setCell(table, field, *pair.entity);
    }
    ++field;
    if (withDescriptor) {
        if (pair.descriptor != nullptr) {
            setCell(table, field, *pair.descriptor);
        }
        ++field;
    }
    // A key that never reported reads as zeros, its minimum included.
    const auto found = records.find(key);
    const KeyRecord record = found != records.end() ? found->second : KeyRecord{};
    setCell(table, field++, static_cast<unsigned long long>(record.count));
    if (pwr::logging::isOpen(4)) {
        pwr::logging::emit(4, "INFO: Key = %llu, Entity = %s, Min = %llu, Max = %llu\n",
                           static_cast<unsigned long long>(key), displayName(pair.entity).c_str(),
                           static_cast<unsigned long long>(record.minInterval),
                           static_cast<unsigned long long>(record.maxInterval));
    }
    if (showIntervals) {
        const double scale = clockFrequency * 1000.0;
        const double fallback = record.firstDuration / scale;
        const double minimum =
            record.minInterval != kAllOnes ? static_cast<double>(record.minInterval) / scale : fallback;
        const double maximum =
            record.maxInterval != 0 ? static_cast<double>(record.maxInterval) / scale : fallback;
        const double average = record.totalInterval != 0 ? static_cast<double>(record.totalInterval) /
                                                               (static_cast<double>(record.count - 1) * scale)
                                                         : fallback;
        setCell(table, field++, minimum);
        setCell(table, field++, maximum);
        setCell(table, field++, average);
    }
    getWriterStream()->pushMessage(table);
}
