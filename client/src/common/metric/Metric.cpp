// Metric construction, the choice of summary tables, and the describing setters.

#include "vantrell/metric/Metric.h"

#include <algorithm>
#include <deque>

#include "AccumulatorFactory.h"
#include "vantrell/plugin/Logging.h"
#include "vantrell/plugin/PluginEnvironment.h"
#include "vantrell/value/DataHandle.h"
#include "vantrell/value/Description.h"
#include "vantrell/value/EntityHandle.h"
#include "vantrell/value/Quantity.h"
#include "vantrell/writer/TextNotes.h"
#include "vantrell/writer/WriterInterfaceConfigFileParser.h"
#include "vantrell/writer/WriterStream.h"

namespace pwr {

namespace {

// Thrown as plain char*, which handlers for const char* catch as well.
char streamMissingText[] = "Writer stream is not initialized";
char parserMissingText[] = "Output config parser is not initialized";
char residencyQuantityText[] =
    "Quantity for MetricType::SampledResidency metric must be pwr::Quantity::time()";

// Metrics draw their ids from the writer message counter: making a message takes the next number.
unsigned drawMessageId() {
    const IdMessage ticket;
    return ticket.getMessageId();
}

}  // namespace

// The definition, so that the constant can be bound to references.
const unsigned long long Metric::RESET_DURATION;

Metric::Buffer::~Buffer() {
    for (DataElement* element : point.elements) {
        delete element;
    }
    for (DataElement* element : spare) {
        delete element;
    }
}

Metric::Metric(const std::string& metricName, MetricType type, const std::string& containerTag,
               const std::string& featureTag, const SystemMetadata& metadata, const Quantity* metricQuantity)
    : name(metricName),
      quantity(metricQuantity),
      finiteSetCopies(std::make_shared<std::vector<std::unique_ptr<Data>>>()),
      systemMetadata(&metadata),
      id(0),
      metricType(type),
      buffer(std::make_shared<Buffer>()),
      metricContainerTag(containerTag),
      featureSwitchTag(featureTag) {
    init_i();
}

Metric::Metric(const Metric& other) = default;

// The shared pointers free the built-in accumulator, the buffer, the finite-set copies and the notes
// with the last metric that holds them; added accumulators stay their adder's.
Metric::~Metric() = default;

void Metric::init_i() {
    id = drawMessageId();
    void* stream = g_pluginEnvironment != nullptr ? g_pluginEnvironment->getWriterStream() : nullptr;
    if (stream == nullptr) {
        throw static_cast<char*>(streamMissingText);
    }
    writerStream = static_cast<WriterStream*>(stream);
    outputConfig = WriterInterfaceConfigFileParser::instance();
    if (outputConfig == nullptr) {
        throw static_cast<char*>(parserMissingText);
    }
    std::vector<int> enabled;
    chooseSummaries_i(enabled);
    if (metricType > TracedEvent) {
        return;
    }
    Accumulator* accumulator = metric_detail::createBuiltInAccumulator(metricType, enabled);
    if (accumulator != nullptr) {
        builtInAccumulator.reset(accumulator);
        accumulators.push_back(accumulator);
    }
}

void Metric::chooseSummaries_i(std::vector<int>& enabled) {
    std::deque<std::string> order;
    if (!outputConfig->getTableOrderForMetric(order, metricContainerTag, featureSwitchTag)) {
        VR_LOG(2,
               "WARNING: Output config table entries not present for the feature-switch-tag and "
               "metric-container-tag combo: '%s_%s'. Add table entries specific to Metric container type.\n",
               featureSwitchTag.c_str(), metricContainerTag.c_str());
    }
    const std::vector<std::string>* strings = metric_detail::summaryStringsFor(metricType);
    if (strings == nullptr) {
        VR_LOG(2, "WARNING: %s: Unrecognized metric type\n", name.c_str());
        return;
    }
    if (metricType == SampledResidency && quantity != Quantity::time()) {
        throw static_cast<char*>(residencyQuantityText);
    }
    // Configured tables lead in configured order (a table named twice is listed twice); the rest of
    // the type follow in their own order.
    for (const std::string& tableType : order) {
        auto found = std::find(strings->begin(), strings->end(), tableType);
        if (found != strings->end()) {
            enabled.push_back(static_cast<int>(found - strings->begin()));
        }
    }
    for (int value = 0; value < static_cast<int>(strings->size()); ++value) {
        if (std::find(enabled.begin(), enabled.end(), value) == enabled.end()) {
            enabled.push_back(value);
        }
    }
    // A table without configuration entry stays enabled; only an entry that hides it removes it.
    enabled.erase(std::remove_if(enabled.begin(), enabled.end(),
                                 [&](int value) {
                                     TableInfo info;
                                     return outputConfig->getTableInfoFor(info, metricContainerTag,
                                                                          featureSwitchTag,
                                                                          (*strings)[value]) &&
                                            !info.isTableDisplayed();
                                 }),
                  enabled.end());
}

int Metric::setFiniteSetValues(const std::vector<const DataDescriptor*>& values) {
    if (std::find(values.begin(), values.end(), nullptr) != values.end()) {
        VR_LOG(2, "WARNING: %s: Please provide a valid pointer to DataDescriptor object.\n", name.c_str());
        return 1;
    }
    if (values.empty()) {
        return 0;
    }
    if (metricType != SampledValue && metricType != TracedValueTransition) {
        VR_LOG(
            2,
            "WARNING: %s: Finite set of possible values can be provided only for MetricType::SampledValue or "
            "MetricType::TracedValueTransition metric types.\n",
            name.c_str());
        return 1;
    }
    if (!finiteSetValues.empty() && finiteSetValues.front().getType() != DataType::HANDLE) {
        VR_LOG(2,
               "WARNING: The data type of the finite set of possible valuesdoes not match what was provided "
               "previously\n");
        return 1;
    }
    for (const DataDescriptor* value : values) {
        finiteSetValues.emplace_back(*value);
        finiteSetCopies->push_back(std::make_unique<Data>(*value));
    }
    return 0;
}

int Metric::setValueGroupInfo(const FieldDescription& description) {
    valueGroupInfo = Field::create(description);
    return 0;
}

int Metric::setEntityGroupInfo(const FieldDescription& description) {
    entityGroupInfo = Field::create(description);
    return 0;
}

int Metric::setDescriptorGroupInfo(const FieldDescription& description) {
    descriptorGroupInfo = Field::create(description);
    return 0;
}

int Metric::setEntityDescriptorCombinations(const std::vector<EntityDescCombo>& combos) {
    for (const EntityDescCombo& combo : combos) {
        if (combo.entity == nullptr) {
            VR_LOG(2, "WARNING: %s: Entity is required when setting entity-descriptor combinations.\n",
                   name.c_str());
            return 1;
        }
        if (listedEntities.insert(combo.entity).second) {
            entityList.push_back(combo.entity);
        }
        if (std::find(descriptorList.begin(), descriptorList.end(), combo.descriptor) ==
            descriptorList.end()) {
            descriptorList.push_back(combo.descriptor);
        }
    }
    combinations = combos;
    return 0;
}

int Metric::setLegacyMetricType(RealTableClass value) {
    if (static_cast<unsigned>(value) >= 18) {
        return 1;
    }
    legacyMetricType = value;
    return 0;
}

int Metric::setTimelineTableToDisplay(TimelineTableType type) {
    if (metricType != SampledResidency) {
        VR_LOG(2,
               "WARNING: Warning: Timeline output table selection is only valid for "
               "MetricType::SampledResidency "
               "type metrics.\nThis request will be ignored.");
        return 0;
    }
    MetricContainerInfoMessage message;
    message.setMetricContainerId(id);
    message.setTimelineTableToDisplay(type);
    writerStream->pushMessage(message);
    return 0;
}

int Metric::addStaticTableRowInfo(TableMessage* table) {
    // A null table has no container id to take; the message still goes out without one.
    if (table != nullptr) {
        table->setMetricContainerId(id);
    }
    MetricContainerInfoMessage message;
    message.addStaticTableRowInfo(table);
    writerStream->pushMessage(message);
    return 0;
}

int Metric::setPreMetricTextInfo(const std::string& text) {
    if (!textInfo) {
        textInfo = std::make_shared<TextNotes>();
    }
    return textInfo->addPreTableNote(text);
}

int Metric::setPostMetricTextInfo(const std::string& text) {
    if (!textInfo) {
        textInfo = std::make_shared<TextNotes>();
    }
    return textInfo->addPostTableNote(text);
}

int Metric::addAccumulator(Accumulator* accumulator) {
    if (accumulator == nullptr) {
        VR_LOG(2, "WARNING: trying to add a NULL accumulator to Metric container %s?!\n", name.c_str());
        return 1;
    }
    if (!empty) {
        VR_LOG(2, "WARNING: trying to add an accumulator to Metric container %s after setting data?!\n",
               name.c_str());
        return 1;
    }
    accumulators.push_back(accumulator);
    return 0;
}

}  // namespace pwr
