#include "vantrell/metric/DataElement.h"

#include "vantrell/plugin/Logging.h"

namespace pwr {

namespace {

// A value copy that reuses `target` when neither side has a custom formatter: assignment shares a
// custom formatter instead of cloning it, so those take a fresh copy.
void copyValue(Data*& target, const Data* source) {
    if (source == nullptr) {
        delete target;
        target = nullptr;
        return;
    }
    if (target != nullptr && target->getCustomFormatter() == nullptr &&
        source->getCustomFormatter() == nullptr) {
        *target = *source;
        return;
    }
    delete target;
    target = new Data(*source);
}

}  // namespace

DataElement::DataElement(const EntityHandle* entityHandle, const DataDescriptor* descriptorHandle)
    : entity(entityHandle), descriptor(descriptorHandle), tracelaneDescriptor(descriptorHandle) {}

DataElement::DataElement(const DataElement& other)
    : entity(other.entity),
      descriptor(other.descriptor),
      value(other.value != nullptr ? new Data(*other.value) : nullptr),
      additionalInfo(other.additionalInfo),
      duration(other.duration),
      tracelaneDescriptor(other.tracelaneDescriptor) {}

DataElement& DataElement::operator=(const DataElement& other) {
    if (this != &other) {
        entity = other.entity;
        descriptor = other.descriptor;
        copyValue(value, other.value);
        additionalInfo = other.additionalInfo;
        duration = other.duration;
        tracelaneDescriptor = other.tracelaneDescriptor;
    }
    return *this;
}

DataElement::~DataElement() {
    delete value;
}

int DataElement::setEntity(const EntityHandle* handle) {
    if (handle == nullptr) {
        VR_LOG(2, "WARNING: Please provide a valid entity.\n");
        return 1;
    }
    entity = handle;
    return 0;
}

int DataElement::setDescriptor(const DataDescriptor* handle) {
    if (handle == nullptr) {
        VR_LOG(2, "WARNING: Please provide a valid descriptor.\n");
        return 1;
    }
    descriptor = handle;
    tracelaneDescriptor = handle;
    return 0;
}

int DataElement::setAdditionalInfo(const DynamicAttributeValueManager* info) {
    if (info == nullptr) {
        VR_LOG(2, "WARNING: Please provide a valid DynamicAttributeValueManager.\n");
        return 1;
    }
    additionalInfo = info;
    return 0;
}

const Data* DataElement::getValue() const {
    if (value == nullptr) {
        VR_LOG(2, "WARNING: Value is not set in the DataElement object. Returning an invalid Data object.\n");
    }
    return value;
}

const DataDescriptor* DataElement::getTracelaneDescriptor() const {
    if (tracelaneDescriptor == nullptr) {
        VR_LOG(2,
               "WARNING: Tracelane descriptor is not set. Was this DataElement objectever added to Metric "
               "before "
               "calling getTracelaneDescriptor?\n");
    }
    return tracelaneDescriptor;
}

}  // namespace pwr
