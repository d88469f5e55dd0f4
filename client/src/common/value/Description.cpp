#include "vantrell/value/Description.h"

#include "vantrell/value/Attribute.h"
#include "vantrell/value/Data.h"

namespace pwr {

Description::Description(const std::string& name, const std::string& shortName)
    : Description(DescriptionType::DESCRIPTION, name, shortName.empty() ? name : shortName) {}

Description::Description(DescriptionType type, const std::string& name, const std::string& shortName)
    : name(name), fieldName(name), shortName(shortName), type(type) {}

Description::~Description() = default;

std::string Description::makeKey_i(const AttributeValueManager& values) const {
    // One allocation for the usual key: names plus a short id and value per attribute.
    std::string key;
    key.reserve(name.size() + shortName.size() + 1 + 32 * static_cast<size_t>(values.end() - values.begin()));
    key += name;
    key += "-";
    key += shortName;
    for (const auto& entry : values) {
        std::string text;
        entry.second.toFormattedString(text);
        key += "-";
        // A null attribute can't be part of a known meaning (equal() refuses it); 0 keeps the key whole.
        key += std::to_string(entry.first != nullptr ? entry.first->getId() : 0ULL);
        key += "-";
        key += text;
    }
    return key;
}

FieldDescription::FieldDescription(const std::string& name, const std::string& shortName)
    : Description(DescriptionType::FIELD, name, shortName) {}

StateDescription::StateDescription(const std::string& name, const std::string& shortName)
    : Description(DescriptionType::STATE, name, shortName) {}

int StateDescription::addAttributeValue(const Attribute* attribute, const Data& value, bool useAsFieldName) {
    insertIntoMap_i(attribute, value);
    if (useAsFieldName) {
        std::string text;
        value.toFormattedString(text);
        setFieldName(text);
    }
    return 0;
}

EventDescription::EventDescription(const std::string& name, const std::string& shortName)
    : Description(DescriptionType::EVENT, name, shortName) {}

int EventDescription::addAttributeValue(const Attribute* attribute, const Data& value) {
    insertIntoMap_i(attribute, value);
    return 0;
}

DataDescriptorBuilder::DataDescriptorBuilder(const std::string& name, const std::string& shortName)
    : Description(DescriptionType::DATA_DESCRIPTOR_BUILDER, name, shortName) {}

}  // namespace pwr
