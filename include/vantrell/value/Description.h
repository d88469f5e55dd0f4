#pragma once

// The descriptions from which handles are made (DataHandle.h). A description is the caller's plain
// value, usually on the stack: it names the thing (`name`, its identity), says what a writer prints
// for it (`fieldName`, defaulted to the name; `header` above it) and may carry a short name and a
// long description. The kinds add the attributes of what they describe:
//
// - FieldDescription: the attributes that the field's values will carry (Field::create).
// - StateDescription: attribute values of a state (State::create), optionally naming the field.
// - EventDescription: attribute values of an event (Event::create). These enter the map only, so
//   events are told apart by their names and attribute count, not by the values.
// - DataDescriptorBuilder: attribute values of a data descriptor (DataDescriptor::create), which
//   enter map and list, so that the values and their order are part of the descriptor's identity.
//
// Attribute pointers are not owned. Value copy and assignment. One thread at a time.

#include <cstdint>
#include <string>

#include "vantrell/Export.h"
#include "vantrell/value/AttributeManager.h"

namespace pwr {

class Attribute;
class Data;

enum class DescriptionType : uint32_t {
    DESCRIPTION = 0,
    STATE = 1,
    EVENT = 2,
    FIELD = 3,
    DATA_DESCRIPTOR_BUILDER = 5,
};

class VR_EXPORT Description {
  public:
    // Name and field name are `name`; the short name is `shortName`, or `name` when that is empty.
    Description(const std::string& name, const std::string& shortName);
    Description(const Description& other) = default;
    Description& operator=(const Description& other) = default;
    virtual ~Description();

    void setFieldName(const std::string& text) { fieldName = text; }
    void setDescription(const std::string& text) { description = text; }
    void setHeader(const std::string& text) { header = text; }

    const std::string& getName() const { return name; }
    const std::string& getFieldName() const { return fieldName; }
    const std::string& getShortName() const { return shortName; }
    const std::string& getDescription() const { return description; }
    const std::string& getHeader() const { return header; }
    DescriptionType getType() const { return type; }

  protected:
    // For the kinds: the short name stays as given, also when empty.
    Description(DescriptionType type, const std::string& name, const std::string& shortName);

    // name, "-", shortName, then "-", attribute id, "-", formatted value for each pair of `values`
    // in list order. The key of the interning buckets of events and data descriptors.
    std::string makeKey_i(const AttributeValueManager& values) const;

  private:
    std::string name;
    std::string fieldName;
    std::string shortName;
    std::string description;
    std::string header;
    DescriptionType type;
};

class VR_EXPORT FieldDescription : public Description, public ExpectedAttributeManager {
  public:
    FieldDescription(const std::string& name, const std::string& shortName);

    // Appends to the expected attributes without any check; returns 0.
    int addAttribute(const Attribute* attribute) { return addExpectedAttribute_i(attribute); }
};

class VR_EXPORT StateDescription : public Description, public AttributeValueManager {
  public:
    StateDescription(const std::string& name, const std::string& shortName);

    // Inserts into the map, keeping an earlier entry of the same attribute; the list stays empty.
    // With `useAsFieldName` the formatted `value` (custom formatter, else its type's default)
    // becomes the field name, also when the entry was there already. Returns 0.
    int addAttributeValue(const Attribute* attribute, const Data& value, bool useAsFieldName = false);
};

class VR_EXPORT EventDescription : public Description, public AttributeValueManager {
  public:
    EventDescription(const std::string& name, const std::string& shortName);

    // Inserts into the map, keeping an earlier entry; the list stays empty. Returns 0.
    int addAttributeValue(const Attribute* attribute, const Data& value);

    // The interning key; with the list empty, name and short name only: "name-short".
    std::string getKey() const { return makeKey_i(*this); }
};

// Fills map and list through the inherited AttributeValueManager::addAttributeValue.
class VR_EXPORT DataDescriptorBuilder : public Description, public AttributeValueManager {
  public:
    DataDescriptorBuilder(const std::string& name, const std::string& shortName);

    // The interning key: "name-short-<attribute id>-<value text>..." in list order.
    std::string getKey() const { return makeKey_i(*this); }
};

}  // namespace pwr
