// How a metric's data leave it: the flush of a data point to the writers and the accumulators, and the
// end of the metric's life.

#include <algorithm>
#include <string>
#include <vector>

#include "vantrell/metric/Metric.h"
#include "vantrell/plugin/Logging.h"
#include "vantrell/value/DataHandle.h"
#include "vantrell/value/EntityHandle.h"
#include "vantrell/writer/WriterStream.h"

namespace pwr {

namespace {

// What the residency check gathers per entity of one point. The entity's name is read only when a
// message needs it.
struct EntitySampleInfo {
    unsigned long long entityId = 0;
    unsigned long long ticks = 0;
    unsigned long long validDuration = 0;
    const EntityHandle* entity = nullptr;
};

// The records of the point being checked, kept between points so that the check allocates nothing once
// it has seen the largest point. One per thread, as metrics are fed by one thread at a time.
thread_local std::vector<EntitySampleInfo> entitySampleInfo;

// The record of `entityId`, or end(). The states of one entity usually arrive together, so the last
// record is tried first.
std::vector<EntitySampleInfo>::iterator findRecord(unsigned long long entityId) {
    if (!entitySampleInfo.empty() && entitySampleInfo.back().entityId == entityId) {
        return entitySampleInfo.end() - 1;
    }
    return std::find_if(entitySampleInfo.begin(), entitySampleInfo.end(),
                        [entityId](const EntitySampleInfo& info) { return info.entityId == entityId; });
}

}  // namespace

// The states of one entity must agree on the duration of the point; disagreeing data can't be
// summed, so the whole point is dropped. Ticks above the duration are only a diagnostic.
bool Metric::residencyPointConsistent_i() {
    entitySampleInfo.clear();
    for (const DataElement* element : buffer->point.elements) {
        const unsigned long long entityId = element->entity->getId();
        auto found = findRecord(entityId);
        if (found != entitySampleInfo.end() && found->validDuration != element->duration) {
            if (pwr::logging::isOpen(2)) {
                const std::string entity = element->entity->getQualifiedName();
                const std::string state =
                    element->descriptor != nullptr ? element->descriptor->getName() : "";
                pwr::logging::emit(
                    2,
                    "WARNING: %s: valid duration since the last sampling point for %s = %llu, but "
                    "that provided for %s in state %s= %llu. All data provided for the previous "
                    "sampling point will be discarded.\n",
                    name.c_str(), entity.c_str(), found->validDuration, entity.c_str(), state.c_str(),
                    element->duration);
            }
            return false;
        }
        if (found == entitySampleInfo.end()) {
            entitySampleInfo.push_back(EntitySampleInfo{entityId, 0, element->duration, nullptr});
            found = entitySampleInfo.end() - 1;
        }
        unsigned long long ticks = 0;
        element->value->toUInt(ticks);
        found->ticks += ticks;
        found->entity = element->entity;
        entitySamplingPoints[entityId] = samplingPointTimestamp;
    }
    if (!pwr::logging::isOpen(3)) {
        return true;
    }
    // In entity id order.
    std::sort(entitySampleInfo.begin(), entitySampleInfo.end(),
              [](const EntitySampleInfo& a, const EntitySampleInfo& b) { return a.entityId < b.entityId; });
    for (const EntitySampleInfo& entry : entitySampleInfo) {
        if (entry.ticks > entry.validDuration) {
            pwr::logging::emit(3,
                               "DEBUG: %s: For %s, sum of residencies in various states exceeds the sample "
                               "duration. \n",
                               name.c_str(), entry.entity->getQualifiedName().c_str());
        }
    }
    return true;
}

int Metric::pushToStream() {
    if (metricType == SampledResidency && !residencyPointConsistent_i()) {
        return flushBuffer_i(0);
    }
    const bool traced = metricType == TracedValueTransition || metricType == TracedEvent;
    buffer->point.timestamp = traced ? currentTimestamp : samplingPointTimestamp;
    VR_LOG(3, "DEBUG: %s: Pushing buffered data to writer stream\n", name.c_str());
    writerStream->pushMessage(this);

    if (accumulatorsPendingInit) {
        for (Accumulator* accumulator : accumulators) {
            if (accumulator->initialize(*this, *systemMetadata) != 0) {
                VR_LOG(2, "WARNING: Metric container %s couldn't initialize an accumulator!\n", name.c_str());
                return flushBuffer_i(1);
            }
        }
        accumulatorsPendingInit = false;
    }
    for (Accumulator* accumulator : accumulators) {
        if (accumulator->processMessage(*this) != 0) {
            // The elements stay buffered: the next flush presents them again with the newer ones.
            VR_LOG(2, "WARNING: Metric container %s reports an accumulator processMessage error!\n",
                   name.c_str());
            return 0;
        }
    }
    return flushBuffer_i(0);
}

// Empties the point; the spent copies are kept for reuse.
int Metric::flushBuffer_i(int result) {
    std::vector<DataElement*>& elements = buffer->point.elements;
    buffer->spare.insert(buffer->spare.end(), elements.begin(), elements.end());
    elements.clear();
    return result;
}

int Metric::finalize() {
    if (empty) {
        VR_LOG(2, "WARNING: No data was provided for metric %s\n", name.c_str());
        return 1;
    }
    if (metricType != TracedValueTransition && metricType != TracedEvent) {
        VR_LOG(3, "DEBUG: Pushing data to writer stream\n");
        pushToStream();
    }
    MetricContainerInfoMessage info;
    info.setMetricContainerId(id);
    info.setTextInfo(textInfo.get());
    info.setContainerHeader(name);
    info.setMetricContainerTag(metricContainerTag);
    writerStream->pushMessage(info);

    int result = 0;
    for (Accumulator* accumulator : accumulators) {
        if (accumulator->finalize(*this) != 0) {
            VR_LOG(2, "WARNING: Metric container %s couldn't finalize an accumulator!\n", name.c_str());
            result = 1;
        }
    }
    return result;
}

}  // namespace pwr
