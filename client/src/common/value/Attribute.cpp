#include "vantrell/value/Attribute.h"

#include <memory>

#include "value/UniqueIdRegistry.h"
#include "vantrell/plugin/Logging.h"
#include "vantrell/value/Description.h"
#include "vantrell/value/Quantity.h"

namespace pwr {
namespace {

std::string fieldNameOf(const std::string& name, const Quantity* quantity) {
    if (quantity == nullptr) {
        return name;
    }
    std::string title;
    quantity->toTitleString(title);
    return title;
}

Description describe(const std::string& name, const Quantity* quantity) {
    Description description(name, "");
    description.setFieldName(fieldNameOf(name, quantity));
    return description;
}

struct Predefined {
    const char* name;
    bool inFrequency;
    AttributeType type;
};

// In the order of their ids.
const Predefined kPredefined[] = {
    {"Frequency", true, AttributeType::FREQUENCY}, {"IRQ", false, AttributeType::IRQ},
    {"Process", false, AttributeType::PROCESS},    {"Thread", false, AttributeType::THREAD},
    {"Source", false, AttributeType::SOURCE},      {"Target", false, AttributeType::TARGET},
};

}  // namespace

Attribute::Attribute(const std::string& name, const Quantity* quantity, AttributeType type)
    : DataHandle(describe(name, quantity), DataHandleType::ATTRIBUTE),
      quantity(quantity),
      attributeType(type) {}

const Attribute* Attribute::create(const std::string& name, const Quantity* quantity, AttributeType type) {
    return UniqueIdRegistry::add(std::unique_ptr<Attribute>(new Attribute(name, quantity, type)));
}

const Attribute* Attribute::get(AttributeType type) {
    UniqueIdRegistry* registry = UniqueIdRegistry::require();
    if (registry == nullptr) {
        return nullptr;
    }
    if (!registry->areAttributesReady()) {
        for (const Predefined& entry : kPredefined) {
            const Quantity* quantity = entry.inFrequency ? Quantity::frequency() : nullptr;
            registry->addAttribute(
                entry.type, std::unique_ptr<Attribute>(new Attribute(entry.name, quantity, entry.type)));
        }
        registry->setAttributesReady();
    }
    const Attribute* attribute = registry->findAttribute(type);
    if (attribute == nullptr) {
        VR_LOG(2, "WARNING: No attribute of type %d found\n", static_cast<int>(type));
    }
    return attribute;
}

}  // namespace pwr
