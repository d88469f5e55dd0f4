#pragma once

// pwr::ThermalSampleHandler: gathers the temperature readings of several metric plug-ins into one
// SampledValue metric, "Temperature Metrics" (container tag "ALL-THERMAL-DATA", feature switch
// "TEMP"), so that all temperatures of a collection land in one set of tables. A process-wide
// singleton with a count of users: each plug-in takes the instance with getInstance, feeds it, and
// gives it back with release; the last release finalises the metric.
//
// Outside low overhead mode the readings of one cycle (one per added entity) share the timestamp of
// the cycle's first reading, so that they form one sampling point.
//
// The instance owns its metric and one reusable DataElement per entity. Not copyable. No locks: the
// framework calls plug-ins one at a time.

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "vantrell/Export.h"

class MetricPlugin;

namespace pwr {

class DataElement;
class EntityHandle;
class Metric;
class SystemMetadata;

class VR_EXPORT ThermalSampleHandler {
  public:
    ThermalSampleHandler(const ThermalSampleHandler&) = delete;
    ThermalSampleHandler& operator=(const ThermalSampleHandler&) = delete;

    // Creates the instance at the first call (its metric from `metadata`), registers `plugin` once more
    // (one plug-in may hold several registrations) and returns the instance, which the class owns.
    static ThermalSampleHandler* getInstance(const SystemMetadata& metadata, const MetricPlugin* plugin);
    // Gives back one registration of `plugin`. The last one finalises the metric if it holds data.
    // Returns 0; 1 with "WARNING: Attempt to unregister a plugin from a non-existant
    // ThermalSampleHandler\n" when there is no instance, with "WARNING: ThermalSampleHandler: Attempt to
    // unregister a plugin that has not been registered or it may have already been unregistered.\n"
    // for a plug-in that holds no registration, and when the metric's finalize failed.
    static int release(const MetricPlugin* plugin);
    // Deletes the instance, its metric (unfinalised data are lost) and its elements. A later
    // getInstance starts a new instance.
    static void freeInstance();

    // Adds an entity whose temperature will be set. 0; 1 with "WARNING: ThermalSampleHandler: please
    // provide a valid entity.\n" for null and "WARNING: ThermalSampleHandler: Entity %s already
    // added\n" for a known one.
    int addEntity(const EntityHandle* entity);
    // Hands one reading to the metric (as an unsigned value, duration 0 or Metric::RESET_DURATION when
    // `reset`) and returns what Metric::setData returns. Outside low overhead mode the reading takes the
    // timestamp of the cycle under way; a reading of an entity already read in this cycle starts a new
    // cycle, and an incomplete old one logs "WARNING: Temperature values were not set for all the
    // entities at %llu.\n". 1 with a WARNING for a null or not added entity.
    int setTemperature(const EntityHandle* entity, unsigned long long timestamp, unsigned short temperature,
                       bool reset);
    // Starts a cycle at `timestamp` and writes `temperature` for every entity of `entities` with
    // Metric::RESET_DURATION. 0; 1 at the first null or not added entity, or the first refused reading,
    // leaving the entities after it untouched.
    int resetTemperatures(std::vector<const EntityHandle*>& entities, unsigned long long timestamp,
                          unsigned short temperature);

  private:
    explicit ThermalSampleHandler(const SystemMetadata& metadata);
    ~ThermalSampleHandler();

    int unregisterMetric(const MetricPlugin* plugin);
    // The element of `entity`, or null after logging the warning for a null or not added entity.
    DataElement* elementFor_i(const EntityHandle* entity);

    std::multiset<const MetricPlugin*> registeredPlugins;
    std::unique_ptr<Metric> metric;
    unsigned long long readingsInCycle = 0;
    unsigned long long cycleTimestamp = 0;
    bool lowOverhead;
    std::map<unsigned long long, std::unique_ptr<DataElement>> entities;
    std::vector<unsigned long long> cycleIds;

    static ThermalSampleHandler* instance;
};

}  // namespace pwr
