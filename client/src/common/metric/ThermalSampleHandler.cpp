#include "vantrell/metric/ThermalSampleHandler.h"

#include <algorithm>
#include <cctype>
#include <string>

#include "vantrell/metric/DataElement.h"
#include "vantrell/metric/Metric.h"
#include "vantrell/plugin/Logging.h"
#include "vantrell/record/SystemMetadata.h"
#include "vantrell/value/EntityHandle.h"
#include "vantrell/value/Quantity.h"

namespace pwr {

ThermalSampleHandler* ThermalSampleHandler::instance = nullptr;

namespace {

std::string upperCase(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return text;
}

}  // namespace

ThermalSampleHandler::ThermalSampleHandler(const SystemMetadata& metadata)
    : metric(std::make_unique<Metric>("Temperature Metrics", Metric::SampledValue, "ALL-THERMAL-DATA",
                                      upperCase("temp"), metadata, Quantity::temperature())),
      lowOverhead(metadata.lowOverheadMode) {
    metric->setLegacyMetricType(static_cast<RealTableClass>(5));
}

ThermalSampleHandler::~ThermalSampleHandler() = default;

ThermalSampleHandler* ThermalSampleHandler::getInstance(const SystemMetadata& metadata,
                                                        const MetricPlugin* plugin) {
    if (instance == nullptr) {
        instance = new ThermalSampleHandler(metadata);
    }
    instance->registeredPlugins.insert(plugin);
    return instance;
}

int ThermalSampleHandler::release(const MetricPlugin* plugin) {
    if (instance == nullptr) {
        VR_LOG(2, "WARNING: Attempt to unregister a plugin from a non-existant ThermalSampleHandler\n");
        return 1;
    }
    return instance->unregisterMetric(plugin);
}

void ThermalSampleHandler::freeInstance() {
    delete instance;
    // Cleared so that a later getInstance or release meets no freed instance.
    instance = nullptr;
}

int ThermalSampleHandler::unregisterMetric(const MetricPlugin* plugin) {
    const auto found = registeredPlugins.find(plugin);
    if (found == registeredPlugins.end()) {
        VR_LOG(
            2,
            "WARNING: ThermalSampleHandler: Attempt to unregister a plugin that has not been registered or "
            "it may have already been unregistered.\n");
        return 1;
    }
    registeredPlugins.erase(found);
    if (!registeredPlugins.empty() || metric->isEmpty()) {
        return 0;
    }
    return metric->finalize() != 0 ? 1 : 0;
}

int ThermalSampleHandler::addEntity(const EntityHandle* entity) {
    if (entity == nullptr) {
        VR_LOG(2, "WARNING: ThermalSampleHandler: please provide a valid entity.\n");
        return 1;
    }
    if (entities.count(entity->getId()) != 0) {
        VR_LOG(2, "WARNING: ThermalSampleHandler: Entity %s already added\n",
               entity->getQualifiedName().c_str());
        return 1;
    }
    entities.emplace(entity->getId(), std::make_unique<DataElement>(entity, nullptr));
    return 0;
}

DataElement* ThermalSampleHandler::elementFor_i(const EntityHandle* entity) {
    if (entity == nullptr) {
        VR_LOG(2, "WARNING: ThermalSampleHandler: Please provide a valid entity when setting temperature.\n");
        return nullptr;
    }
    const auto found = entities.find(entity->getId());
    if (found == entities.end()) {
        VR_LOG(2,
               "WARNING: ThermalSampleHandler: cannot set temperature for an entity that has not been added "
               "yet.\n");
        return nullptr;
    }
    return found->second.get();
}

int ThermalSampleHandler::setTemperature(const EntityHandle* entity, unsigned long long timestamp,
                                         unsigned short temperature, bool reset) {
    DataElement* element = elementFor_i(entity);
    if (element == nullptr) {
        return 1;
    }
    element->setValue(static_cast<unsigned long long>(temperature));
    const unsigned long long duration = reset ? Metric::RESET_DURATION : 0;
    if (lowOverhead) {
        ++readingsInCycle;
        return metric->setData(timestamp, *element, duration);
    }
    const unsigned long long id = entity->getId();
    const bool seenInCycle = std::find(cycleIds.begin(), cycleIds.end(), id) != cycleIds.end();
    if (readingsInCycle == 0 || seenInCycle) {
        // A complete cycle leaves the count a multiple of the entities.
        if (readingsInCycle != 0 && readingsInCycle % entities.size() != 0) {
            VR_LOG(2, "WARNING: Temperature values were not set for all the entities at %llu.\n",
                   cycleTimestamp);
            readingsInCycle = 0;
        }
        cycleTimestamp = timestamp;
        cycleIds.clear();
    }
    cycleIds.push_back(id);
    ++readingsInCycle;
    return metric->setData(cycleTimestamp, *element, duration);
}

int ThermalSampleHandler::resetTemperatures(std::vector<const EntityHandle*>& resetEntities,
                                            unsigned long long timestamp, unsigned short temperature) {
    cycleTimestamp = timestamp;
    if (!lowOverhead) {
        readingsInCycle = 0;
        cycleIds.clear();
    }
    for (const EntityHandle* entity : resetEntities) {
        DataElement* element = elementFor_i(entity);
        if (element == nullptr) {
            return 1;
        }
        element->setValue(static_cast<unsigned long long>(temperature));
        if (metric->setData(timestamp, *element, Metric::RESET_DURATION) != 0) {
            return 1;
        }
    }
    return 0;
}

}  // namespace pwr
