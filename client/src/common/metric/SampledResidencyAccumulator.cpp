#include "vantrell/metric/SampledResidencyAccumulator.h"

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
#include "vantrell/writer/WriterStream.h"

using pwr::DataElement;
using pwr::DataType;
using pwr::TableMessage;
using pwr::metric_detail::addColumn;
using pwr::metric_detail::groupField;
using pwr::metric_detail::setCell;

SampledResidencyAccumulator::SampledResidencyAccumulator(const SummaryList& summaries)
    : summaryList(summaries) {
    summarizer = pwr::metric_detail::summarizerFor(summaryList, SAMPLE_COUNT, false, true, true);
}

SampledResidencyAccumulator::~SampledResidencyAccumulator() = default;

const std::vector<std::string>& SampledResidencyAccumulator::getSummaryStrings() {
    static const std::vector<std::string> strings = {"SAMPLE-COUNT", "RESIDENCY-PERCENTAGE",
                                                     "RESIDENCY-MILLISECOND", "RESIDENCY-COMBINED"};
    return strings;
}

int SampledResidencyAccumulator::initialize(const pwr::Metric& metric, const pwr::SystemMetadata& metadata) {
    clockFrequency = static_cast<double>(metadata.vraClockFreqMHz);
    if (metric.getQuantity() != nullptr) {
        units = " (" + metric.getQuantity()->toUnitsString() + ")";
    }
    // The plug-in's declared order is the order of the rows.
    stateOrder = metric.getDescriptorList();
    return summarizer != nullptr ? summarizer->initialize(metric, metadata) : 0;
}

int SampledResidencyAccumulator::processMessage(const pwr::Metric& metric) {
    const int head = pwr::metric_detail::processMessageHead(metric, summaryList.empty(), summarizer.get());
    if (head >= 0) {
        return head;
    }
    addedThisPoint.clear();
    for (const DataElement* element : metric.getData().elements) {
        const pwr::Data& value = *element->getValue();
        if (value.getType() != DataType::UINT) {
            VR_LOG(2,
                   "WARNING: %s: MetricType::SampledResidency metric type is requiredto have values of type "
                   "pw_u64_t\n",
                   metric.getName().c_str());
            return 1;
        }
        const pwr::EntityHandle* entity = element->getEntity();
        const pwr::DataDescriptor* state = element->getDescriptor();
        const uint64_t entityId = entity->getId();
        const uint64_t key = pwr::metric_detail::pairKey(entity, state);
        auto found = keyStats.find(key);
        if (found == keyStats.end()) {
            entities[entityId] = entity;
            // A state that wasn't declared joins the rows in order of first sight.
            if (state != nullptr &&
                std::find(stateOrder.begin(), stateOrder.end(), state) == stateOrder.end()) {
                stateOrder.push_back(state);
            }
            found = keyStats.emplace(key, KeyStats{}).first;
        }
        double& total = totalDuration[entityId];
        unsigned long long ticks = 0;
        value.toUInt(ticks);
        found->second.residency += static_cast<double>(ticks);
        ++found->second.count;
        // One duration per entity and point, however many states the point holds.
        if (std::find(addedThisPoint.begin(), addedThisPoint.end(), entityId) == addedThisPoint.end()) {
            addedThisPoint.push_back(entityId);
            total += static_cast<double>(element->getDuration());
        }
    }
    return 0;
}

int SampledResidencyAccumulator::finalize(const pwr::Metric& metric) {
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
        const bool percentage = summary == RESIDENCY_PERCENTAGE || summary == RESIDENCY_COMBINED;
        const bool time = summary == RESIDENCY_MILLISECOND || summary == RESIDENCY_COMBINED;
        std::string suffix = " Summary: Residency";
        if (percentage && time) {
            suffix += " (Percentage and Time)";
        } else if (percentage) {
            suffix += " (Percentage)";
        } else if (time) {
            suffix += " (Time)";
        } else {
            VR_LOG(2,
                   "WARNING: An empty residency summary table will be generated for Metric container %s.\n",
                   metric.getMetricContainerTag().c_str());
        }
        const std::string title = pwr::metric_detail::tableTitle(info, metric, suffix);
        if (info.isTableTransposed()) {
            buildTransposed_i(metric, info, title, percentage, time);
        } else {
            buildPlain_i(metric, info, title, percentage, time);
        }
    }
    return 0;
}

// Declared entities and states that never got data still get their zeros.
void SampledResidencyAccumulator::bringInDeclared_i(const pwr::Metric& metric) {
    for (const pwr::EntityDescCombo& combo : metric.getEntityDescriptorCombinations()) {
        if (combo.entity != nullptr) {
            entities[combo.entity->getId()] = combo.entity;
        }
        if (combo.descriptor != nullptr &&
            std::find(stateOrder.begin(), stateOrder.end(), combo.descriptor) == stateOrder.end()) {
            stateOrder.push_back(combo.descriptor);
        }
    }
}

void SampledResidencyAccumulator::cellValues_i(const pwr::EntityHandle* entity,
                                               const pwr::DataDescriptor* state, double& percentage,
                                               double& milliseconds) const {
    percentage = 0.0;
    milliseconds = 0.0;
    const auto found = keyStats.find(pwr::metric_detail::pairKey(entity, state));
    if (found == keyStats.end() || found->second.count == 0) {
        return;
    }
    const auto total = totalDuration.find(entity->getId());
    const double duration = total != totalDuration.end() ? total->second : 0.0;
    percentage = found->second.residency / duration * 100.0;
    milliseconds = found->second.residency / (clockFrequency * 1000.0);
    if (pwr::logging::isOpen(4)) {
        pwr::logging::emit(4, "INFO: timestamp freq=%lf residency=%llu, total duration=%llu\n",
                           clockFrequency, static_cast<unsigned long long>(found->second.residency),
                           static_cast<unsigned long long>(duration));
    }
}

void SampledResidencyAccumulator::buildPlain_i(const pwr::Metric& metric, const pwr::TableInfo& info,
                                               const std::string& title, bool percentage, bool time) {
    bringInDeclared_i(metric);
    std::unique_ptr<TableMessage> table =
        pwr::metric_detail::makeTable(title, metric, pwr::metric_detail::makeNotes(info, notes));
    addColumn(*table, groupField(metric.getDescriptorGroupInfo()), DataType::HANDLE, true);
    const unsigned percentField = percentage ? addColumn(*table, "Residency (%)", DataType::REAL) : 0;
    const unsigned timeField = time ? addColumn(*table, "Residency (msec)", DataType::REAL) : 0;
    for (const auto& entity : entities) {
        table->addEntity(entity.second);
    }
    table->createTable();
    getWriterStream()->pushMessage(*table);

    for (const pwr::DataDescriptor* state : stateOrder) {
        if (state == nullptr) {
            VR_LOG(2, "WARNING: MetricType::SampledResidency: Descriptor is not valid\n");
            continue;
        }
        setCell(*table, 0, *state);
        for (const auto& entity : entities) {
            double share = 0.0;
            double milliseconds = 0.0;
            cellValues_i(entity.second, state, share, milliseconds);
            if (percentage) {
                table->setFieldValue(entity.second, percentField, share);
            }
            if (time) {
                table->setFieldValue(entity.second, timeField, milliseconds);
            }
        }
        getWriterStream()->pushMessage(*table);
    }
}

void SampledResidencyAccumulator::buildTransposed_i(const pwr::Metric& metric, const pwr::TableInfo& info,
                                                    const std::string& title, bool percentage, bool time) {
    bringInDeclared_i(metric);
    std::unique_ptr<TableMessage> table =
        pwr::metric_detail::makeTable(title, metric, pwr::metric_detail::makeNotes(info, notes));
    addColumn(*table, groupField(metric.getEntityGroupInfo()), DataType::HANDLE);
    std::vector<const pwr::DataDescriptor*> states;
    for (const pwr::DataDescriptor* state : stateOrder) {
        if (state != nullptr) {
            states.push_back(state);
        }
    }
    if (percentage) {
        for (const pwr::DataDescriptor* state : states) {
            addColumn(*table, state->getName() + " (%)", DataType::REAL);
        }
    }
    if (time) {
        for (const pwr::DataDescriptor* state : states) {
            addColumn(*table, state->getName() + " (msec)", DataType::REAL);
        }
    }
    table->createTable();
    getWriterStream()->pushMessage(*table);

    const unsigned timeBase = 1 + (percentage ? static_cast<unsigned>(states.size()) : 0);
    for (const auto& entity : entities) {
        setCell(*table, 0, *entity.second);
        for (unsigned i = 0; i < states.size(); ++i) {
            double share = 0.0;
            double milliseconds = 0.0;
            cellValues_i(entity.second, states[i], share, milliseconds);
            if (percentage) {
                setCell(*table, 1 + i, share);
            }
            if (time) {
                setCell(*table, timeBase + i, milliseconds);
            }
        }
        getWriterStream()->pushMessage(*table);
    }
}
