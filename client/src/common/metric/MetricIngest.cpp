// Metric::setData: validation, the time rules per (entity, descriptor) pair, the settled duration, and
// the buffer of the current sampling point.

#include <string>

#include "vantrell/metric/Metric.h"
#include "vantrell/plugin/Logging.h"
#include "vantrell/record/SystemMetadata.h"
#include "vantrell/value/DataHandle.h"
#include "vantrell/value/Description.h"
#include "vantrell/value/EntityHandle.h"

namespace pwr {

namespace {

bool isTraced(Metric::MetricType type) {
    return type == Metric::TracedValueTransition || type == Metric::TracedEvent;
}

// Names appear only in messages: they are made only behind an open gate.
std::string entityName(const DataElement& element) {
    return element.getEntity()->getQualifiedName();
}

std::string descriptorName(const DataElement& element) {
    return element.getDescriptor() != nullptr ? element.getDescriptor()->getName() : std::string(" ");
}

}  // namespace

int Metric::setData(unsigned long long timestamp, DataElement& element, unsigned long long duration) {
    if (refuse_i(element, timestamp) != 0) {
        return 1;
    }
    if (listedEntities.insert(element.entity).second) {
        entityList.push_back(element.entity);
    }
    unsigned long long previous = 0;
    unsigned long long* lastTimestamp = nullptr;
    if (checkTimes_i(timestamp, element, duration, previous, lastTimestamp) != 0) {
        return 1;
    }
    const unsigned long long pairElapsed = timestamp - previous;
    if (pwr::logging::isOpen(4)) {
        pwr::logging::emit(
            4,
            "INFO: setData: Received valid data with timestamp=%llu, Entity=%s, Descriptor=%s, "
            "duration=%llu, previous timestamp=%llu \n",
            timestamp, entityName(element).c_str(), descriptorName(element).c_str(), duration, previous);
    }
    currentTimestamp = timestamp;

    if (isTraced(metricType)) {
        element.duration = settleTracedDuration_i(element, duration, pairElapsed);
        setTracelaneDescriptor_i(element);
        bufferCopy_i(element);
        pushToStream();
    } else {
        if (!empty && samplingPointTimestamp != timestamp) {
            VR_LOG(
                3,
                "DEBUG: %s: New timestamp provided for sampled metric. Pushing buffered data to the writer "
                "stream.\n",
                name.c_str());
            pushToStream();
        }
        VR_LOG(3, "DEBUG: %s: Saving data to the buffered data vector.\n", name.c_str());
        element.duration = settleSampledDuration_i(timestamp, element, duration, pairElapsed);
        if (metricType == SampledResidency) {
            checkResidencyTicks_i(timestamp, element);
        }
        setTracelaneDescriptor_i(element);
        bufferCopy_i(element);
    }

    *lastTimestamp = timestamp;
    samplingPointTimestamp = timestamp;
    empty = false;
    return 0;
}

int Metric::refuse_i(const DataElement& element, unsigned long long timestamp) {
    if (timestamp == 0) {
        VR_LOG(2, "WARNING: %s: Please provide a valid non-zero timestamp.\n", name.c_str());
        return 1;
    }
    if (element.getEntity() == nullptr) {
        VR_LOG(2, "WARNING: %s: Please provide an entity in the DataElement object.\n", name.c_str());
        return 1;
    }
    if (element.getValue() == nullptr) {
        VR_LOG(2, "WARNING: %s: Please set the value aka measurement in the DataElement object.\n",
               name.c_str());
        return 1;
    }
    if (metricType == SampledResidency && element.getDescriptor() == nullptr) {
        VR_LOG(2,
               "WARNING: %s: Descriptor is required for MetricType::SampledResidency type. Please provide "
               "one.\n",
               name.c_str());
        return 1;
    }
    if (metricType == SampledResidency && element.value->getType() != DataType::UINT) {
        VR_LOG(2,
               "WARNING: %s: MetricType::SampledResidency type requires values to be given in clock ticks as "
               "pw_u64_t data type.\n",
               name.c_str());
        return 1;
    }
    return 0;
}

// The pair's previous time (the collection's start for a new pair), the monotonic test and the test of
// a claimed duration against the time since the pair's last element.
// `lastTimestamp` is left pointing at the pair's entry (references into the map stay valid).
int Metric::checkTimes_i(unsigned long long timestamp, const DataElement& element,
                         unsigned long long duration, unsigned long long& previous,
                         unsigned long long*& lastTimestamp) {
    const unsigned long long entityId = element.entity->getId();
    const unsigned long long descriptorId = element.descriptor != nullptr ? element.descriptor->getId() : 0;
    lastTimestamp = &lastTimestamps[PairKey{entityId, descriptorId}];
    previous = *lastTimestamp;
    const bool newPair = previous == 0;
    if (newPair) {
        // A state that shows up late puts its entity's sampling point back to the start as well.
        previous = systemMetadata->startTSC;
        entitySamplingPoints[entityId] = systemMetadata->startTSC;
    }
    if (empty) {
        samplingPointTimestamp = timestamp;
    }
    if (newPair ? timestamp < previous : timestamp <= previous) {
        if (pwr::logging::isOpen(2)) {
            pwr::logging::emit(2,
                               "WARNING: %s: Timestamps must be monotonically increasing. Previous=%llu, "
                               "current=%llu for %s/%s. Data discarded.\n",
                               name.c_str(), previous, timestamp, entityName(element).c_str(),
                               descriptorName(element).c_str());
        }
        return 1;
    }
    const unsigned long long effective = duration == RESET_DURATION ? 0 : duration;
    const unsigned long long pairElapsed = timestamp - previous;
    if (effective != 0 && effective > pairElapsed) {
        if (pwr::logging::isOpen(2)) {
            pwr::logging::emit(2,
                               "WARNING: %s: Duration cannot be more than the elapsed time since last "
                               "sampling/transition point. duration=%llu, elapsed time=%llu for %s+%s. Data "
                               "discarded.\n",
                               name.c_str(), effective, pairElapsed, entityName(element).c_str(),
                               descriptorName(element).c_str());
        }
        return 1;
    }
    return 0;
}

unsigned long long Metric::settleSampledDuration_i(unsigned long long timestamp, DataElement& element,
                                                   unsigned long long duration,
                                                   unsigned long long pairElapsed) {
    const unsigned long long effective = duration == RESET_DURATION ? 0 : duration;
    // Read after the flush: for residency this is the time since the point just flushed. Only
    // residency uses it.
    const unsigned long long entityElapsed =
        metricType == SampledResidency ? timestamp - entitySamplingPoints[element.entity->getId()] : 0;
    unsigned long long settled = effective;
    if (effective == 0 && duration == RESET_DURATION) {
        settled = 0;
        VR_LOG(4, "INFO: setting duration to zero due to reset!\n");
    } else if (effective == 0) {
        settled = metricType == SampledResidency ? entityElapsed : pairElapsed;
    } else if (metricType == SampledResidency && effective > entityElapsed) {
        if (pwr::logging::isOpen(2)) {
            const std::string entity = entityName(element);
            pwr::logging::emit(
                2,
                "WARNING: %s: Duration provided for MetricType::SampledResidency is greater than the "
                "time elapsed since last sampling point for entity=%s. Resetting duration to be the "
                "time since the last sampling point for %s.\n",
                name.c_str(), entity.c_str(), entity.c_str());
        }
        settled = entityElapsed;
    } else if (effective > pairElapsed) {
        if (pwr::logging::isOpen(2)) {
            pwr::logging::emit(
                2,
                "WARNING: %s: Duration is greater than the time elapsed since last sampling point "
                "for %s %s. Resetting duration to be the time since the last sampling point.\n",
                name.c_str(), entityName(element).c_str(), descriptorName(element).c_str());
        }
        settled = pairElapsed;
    }
    if (pwr::logging::isOpen(3)) {
        pwr::logging::emit(
            3,
            "DEBUG: %s: Valid duration since last sampling point for entity=%sdescriptor=%s is set "
            "as %llu \n",
            name.c_str(), entityName(element).c_str(), descriptorName(element).c_str(), settled);
    }
    return settled;
}

unsigned long long Metric::settleTracedDuration_i(const DataElement& element, unsigned long long duration,
                                                  unsigned long long pairElapsed) {
    // A reset doesn't zero a traced duration.
    const unsigned long long effective = duration == RESET_DURATION ? 0 : duration;
    unsigned long long settled = effective == 0 ? pairElapsed : effective;
    if (effective > pairElapsed) {
        if (pwr::logging::isOpen(2)) {
            pwr::logging::emit(
                2,
                "WARNING: %s: Duration is greater than the time elapsed since last transition point "
                "for %s %s. Resetting duration to be the time since the last transition point.\n",
                name.c_str(), entityName(element).c_str(), descriptorName(element).c_str());
        }
        settled = pairElapsed;
    }
    if (pwr::logging::isOpen(4)) {
        pwr::logging::emit(
            4,
            "INFO: %s: Valid duration since the last transition point for entity=%s descriptor=%s "
            "is set as %llu \n",
            name.c_str(), entityName(element).c_str(), descriptorName(element).c_str(), settled);
    }
    return settled;
}

// Ticks above the duration only warn: what happens to such a point is settled at the flush.
void Metric::checkResidencyTicks_i(unsigned long long timestamp, const DataElement& element) {
    unsigned long long ticks = 0;
    element.value->toUInt(ticks);
    if (ticks > element.duration && pwr::logging::isOpen(2)) {
        pwr::logging::emit(
            2,
            "WARNING: %s: Clock ticks spent by %s in state %s=%llu is greater than the duration=%llu "
            "since the last sampling point. Note this sample at timestamp=%llu will be discarded.\n",
            name.c_str(), entityName(element).c_str(), descriptorName(element).c_str(), ticks,
            element.duration, timestamp);
    }
}

void Metric::setTracelaneDescriptor_i(DataElement& element) {
    if (element.descriptor != nullptr) {
        element.tracelaneDescriptor = element.descriptor;
        return;
    }
    VR_LOG(3, "DEBUG: %s: No descriptor provided. Creating one with the metric name for Tracelane.\n",
           name.c_str());
    if (nameDescriptor == nullptr) {
        nameDescriptor = DataDescriptor::create(DataDescriptorBuilder(name, ""));
    }
    element.tracelaneDescriptor = nameDescriptor;
}

// The metric keeps its own deep copy; spent copies of earlier points are reused, so that a numeric
// value costs no allocation.
void Metric::bufferCopy_i(const DataElement& element) {
    std::vector<DataElement*>& spare = buffer->spare;
    if (spare.empty()) {
        buffer->point.elements.push_back(new DataElement(element));
        return;
    }
    DataElement* copy = spare.back();
    spare.pop_back();
    *copy = element;
    buffer->point.elements.push_back(copy);
}

}  // namespace pwr
