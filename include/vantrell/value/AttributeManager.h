#pragma once

// The attribute machinery shared by descriptions and handles. An attribute (Attribute.h) qualifies a
// value: a state may carry a frequency, an event an IRQ number.
//
// - ExpectedAttributeManager: which attributes the values of a field will carry.
// - AttributeValueManager: attribute values of a state, event, descriptor or entity, held twice, in a
//   map by attribute and in a list in order of insertion. The two are meant to match; where they
//   don't (the same attribute added twice, or a state or event, which take only the map), counting
//   says so.
// - DynamicAttributeValueManager: values that a caller hangs on one measurement, keyed by the
//   attribute's id.
//
// Attribute pointers are not owned (they belong to the UniqueId registry); Data values are held by
// value, each owning its own custom formatter. All three have value copy and assignment. One thread
// at a time.

#include <cstddef>
#include <map>
#include <utility>
#include <vector>

#include "vantrell/Export.h"
#include "vantrell/value/Data.h"

namespace pwr {

class Attribute;

class VR_EXPORT ExpectedAttributeManager {
  public:
    using List = std::vector<const Attribute*>;

    ExpectedAttributeManager() = default;
    ExpectedAttributeManager(const ExpectedAttributeManager& other) = default;
    ExpectedAttributeManager& operator=(const ExpectedAttributeManager& other) = default;
    virtual ~ExpectedAttributeManager();

    List::const_iterator begin() const { return attributes.begin(); }
    List::const_iterator end() const { return attributes.end(); }
    size_t getAttributeCount() const { return attributes.size(); }

  protected:
    // Appends without any check; returns 0.
    int addExpectedAttribute_i(const Attribute* attribute);

  private:
    List attributes;
};

class VR_EXPORT AttributeValueManager {
  public:
    using Map = std::map<const Attribute*, Data>;
    using List = std::vector<std::pair<const Attribute*, Data>>;

    AttributeValueManager() = default;
    AttributeValueManager(const AttributeValueManager& other) = default;
    // Copy and swap: element-wise Data assignment would share custom formatters between the two.
    AttributeValueManager& operator=(const AttributeValueManager& other);
    virtual ~AttributeValueManager();

    // Inserts into the map, keeping an earlier entry of the same attribute, and always appends to
    // the list; returns 0. Adding one attribute twice therefore leaves map and list unequal.
    int addAttributeValue(const Attribute* attribute, const Data& value);

    // The value held for `attribute`, or null when none is. A null attribute logs "WARNING: Please
    // provide a valid non-null attribute to set.\n" first. The pointer stays valid until the value
    // is replaced or the manager goes.
    const Data* getAttributeValue(const Attribute* attribute) const;

    // The number of attributes in the map. When the list has another size, logs "WARNING: Attribute
    // map and list size mismatch.\n" first (every state or event with values does so).
    size_t getAttributeCount() const;

    // The list, in order of insertion.
    List::const_iterator begin() const { return list.begin(); }
    List::const_iterator end() const { return list.end(); }

  protected:
    // Inserts into the map only, keeping an earlier entry. True when the entry is new.
    bool insertIntoMap_i(const Attribute* attribute, const Data& value);
    // Replaces the value in the map by a copy of `value`, or inserts one; the list stays as it is.
    void replaceInMap_i(const Attribute* attribute, const Data& value);
    // Takes over the map of `source`, leaving the list empty.
    void adoptMap_i(const AttributeValueManager& source);
    // True when every pair of this list has an equal value in the map of `other`. A null attribute
    // in the list logs the non-null line and gives false.
    bool listMatchesMapOf_i(const AttributeValueManager& other) const;

  private:
    Map map;
    List list;
};

class VR_EXPORT DynamicAttributeValueManager {
  public:
    using Map = std::map<unsigned long long, Data>;

    DynamicAttributeValueManager() = default;
    DynamicAttributeValueManager(const DynamicAttributeValueManager& other) = default;
    DynamicAttributeValueManager& operator=(const DynamicAttributeValueManager& other);
    virtual ~DynamicAttributeValueManager();

    // The entries by attribute id, in ascending id.
    Map::const_iterator begin() const { return values.begin(); }
    Map::const_iterator end() const { return values.end(); }
    size_t getAttributeCount() const { return values.size(); }

    // As AttributeValueManager::getAttributeValue, looked up by the attribute's id.
    const Data* getAttributeValue(const Attribute* attribute) const;

    // Replaces the value held for the attribute, or inserts it; returns 0. The held value is a copy
    // with its own custom formatter (a clone), so `value` may die first. A null attribute logs "WARNING:
    // Please provide a valid non-null attribute to set.\n" and returns 1.
    int setAttributeValue(const Attribute* attribute, const Data& value);

  private:
    Map values;
};

}  // namespace pwr
