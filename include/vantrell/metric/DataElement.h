#pragma once

// pwr::DataElement: one measurement that a metric plug-in hands to Metric::setData: the entity it was
// measured on, an optional descriptor (which state, event or sub-value), the value, optional additional
// attributes and, once setData has settled it, the duration the value stands for.
//
// An element owns its value; the handles and the additional info are borrowed. Copies deep-copy the
// value, so a metric keeps its own copy and a caller may reuse one element for every sample.
// pwr::EntityDescCombo is the plain (entity, descriptor) pair that a metric expects to see.
// One thread at a time.

#include <cstdint>

#include "vantrell/Export.h"
#include "vantrell/value/Data.h"

namespace pwr {

class DataDescriptor;
class DynamicAttributeValueManager;
class EntityHandle;
class Metric;

struct VR_EXPORT EntityDescCombo {
    const EntityHandle* entity = nullptr;
    const DataDescriptor* descriptor = nullptr;
};

class VR_EXPORT DataElement {
  public:
    // Stores both handles (the descriptor also as Tracelane descriptor); no value, no additional info,
    // duration 0.
    DataElement(const EntityHandle* entity, const DataDescriptor* descriptor);
    // Deep-copies the value.
    DataElement(const DataElement& other);
    // Deep-copies the value, reusing this element's value storage where it can.
    DataElement& operator=(const DataElement& other);
    ~DataElement();

    // The first call makes the value with the type of `value` (an unsigned 64-bit number gives UINT);
    // later calls overwrite it, with the refusals of Data::setValue for another type. Returns what
    // Data::setValue returns.
    template <typename T>
    int setValue(const T& value) {
        if (this->value == nullptr) {
            this->value = new Data(value);
            return 0;
        }
        return this->value->setValue(value);
    }

    // Each refuses null with result 1 and "WARNING: Please provide a valid entity.\n",
    // "WARNING: Please provide a valid descriptor.\n" or
    // "WARNING: Please provide a valid DynamicAttributeValueManager.\n"; 0 otherwise.
    // setDescriptor sets the Tracelane descriptor too.
    int setEntity(const EntityHandle* entity);
    int setDescriptor(const DataDescriptor* descriptor);
    int setAdditionalInfo(const DynamicAttributeValueManager* info);

    const EntityHandle* getEntity() const { return entity; }
    const DataDescriptor* getDescriptor() const { return descriptor; }
    const DynamicAttributeValueManager* getAdditionalInfo() const { return additionalInfo; }
    unsigned long long getDuration() const { return duration; }

    // The value, owned by the element. Without one: "WARNING: Value is not set in the DataElement object.
    // Returning an invalid Data object.\n" and null.
    const Data* getValue() const;
    // The descriptor an export to the Tracelane format uses. When unset: "WARNING: Tracelane descriptor
    // is not set. Was this DataElement objectever added to Metric before calling
    // getTracelaneDescriptor?\n" and null.
    const DataDescriptor* getTracelaneDescriptor() const;

  private:
    // setData writes the settled duration and the Tracelane descriptor, and reads the value without
    // the warning of getValue.
    friend class Metric;

    const EntityHandle* entity;
    const DataDescriptor* descriptor;
    Data* value = nullptr;
    const DynamicAttributeValueManager* additionalInfo = nullptr;
    unsigned long long duration = 0;
    const DataDescriptor* tracelaneDescriptor;
};

}  // namespace pwr
