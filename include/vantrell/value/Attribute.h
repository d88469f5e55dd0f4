#pragma once

// pwr::Attribute: a handle that qualifies values of other handles (the frequency of a state, the IRQ
// number of an event), optionally measured in a quantity. A frequency attribute prints as the field
// "Frequency (MHz)".
//
// Six attributes are predefined and made at the first Attribute::get; create() makes custom ones.
// All belong to the UniqueId registry; callers hold const pointers. No locks: see UniqueId.h.

#include <cstdint>
#include <string>

#include "vantrell/Export.h"
#include "vantrell/value/DataHandle.h"

namespace pwr {

class Quantity;

// The predefined attributes; 5 is not one of them.
enum class AttributeType : uint8_t {
    FREQUENCY = 1,  // "Frequency", in Quantity::frequency()
    IRQ = 2,        // "IRQ"
    PROCESS = 3,    // "Process"
    THREAD = 4,     // "Thread"
    SOURCE = 6,     // "Source"
    TARGET = 7,     // "Target"
};

class VR_EXPORT Attribute : public DataHandle {
  public:
    // A new registered attribute on every call. It is not entered among the predefined ones, also
    // when `type` is one of theirs. `quantity` may be null.
    static const Attribute* create(const std::string& name, const Quantity* quantity, AttributeType type);

    // The predefined attribute of `type`, made with the other five at the first call. An unknown type
    // logs "WARNING: No attribute of type %d found\n" and returns null.
    static const Attribute* get(AttributeType type);

    const Quantity* getQuantity() const { return quantity; }
    AttributeType getAttributeType() const { return attributeType; }

  private:
    Attribute(const std::string& name, const Quantity* quantity, AttributeType type);

    const Quantity* quantity;
    AttributeType attributeType;
};

}  // namespace pwr
