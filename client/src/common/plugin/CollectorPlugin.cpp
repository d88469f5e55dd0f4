#include "vantrell/plugin/CollectorPlugin.h"

#include <utility>

CollectionData::CollectionData(uint64_t startTimestampValue, uint64_t stopTimestampValue,
                               uint64_t startTimevalValue, uint64_t stopTimevalValue,
                               uint64_t samplesProducedValue, uint64_t samplesDroppedValue,
                               std::string clockUUIDValue, std::string resultFileValue)
    : startTimestamp(startTimestampValue),
      stopTimestamp(stopTimestampValue),
      startTimeval(startTimevalValue),
      stopTimeval(stopTimevalValue),
      samplesProduced(samplesProducedValue),
      samplesDropped(samplesDroppedValue),
      clockUUID(std::move(clockUUIDValue)),
      resultFile(std::move(resultFileValue)) {}

void CollectionData::reset() {
    *this = CollectionData();
}

CollectorPlugin::CollectorPlugin(std::string uuid) : Plugin(std::move(uuid)) {}

CollectorPlugin::~CollectorPlugin() = default;

int CollectorPlugin::continuousCollectionTick() {
    return 1;
}

bool CollectorPlugin::doesSupportLowOverhead() const {
    return false;
}

bool CollectorPlugin::canCollectMessage(pwr::InputMsg const*) {
    return true;
}

int CollectorPlugin::doImmediateRead(pwr::Operation*, pwr::EntityHandle const*) {
    return -1;
}

int CollectorPlugin::doImmediateRead(pwr::Operation*, std::string const&) {
    return -1;
}

int CollectorPlugin::doImmediateWrite(pwr::InputMsg const*) {
    return -1;
}

int CollectorPlugin::doImmediateWrite(pwr::Operation*, std::string const&) {
    return -1;
}

bool CollectorPlugin::getContinuousResult(pwr::VRBuffer&, CollectionData&) {
    return false;
}
