#pragma once

// pwr::DataHandle: the named, registered thing that a HANDLE value refers to, and its kinds made from
// descriptions (Description.h):
//
// - Field: a column of a table, with the attributes its values carry. Always new.
// - State: a state with attribute values (a C-state and its frequency). Always new.
// - Event: interned: two descriptions with equal names, short names and attribute counts give one
//   Event, whatever the attribute values.
// - DataDescriptor: interned: equal names and equal attribute values in equal order give one
//   descriptor; the values and their order are part of its identity.
// - NameValuePair: a number with its text (an enumeration member). Always new.
// Attribute (Attribute.h), EntityHandle, Process and Thread are further kinds.
//
// Handles belong to the UniqueId registry from their create to UniqueId::destroy(); create returns
// const pointers, which callers keep and never free. A handle's strings never change once built.
// Value copy and assignment copy the id. No locks: see UniqueId.h.

#include <cstdint>
#include <string>

#include "vantrell/Export.h"
#include "vantrell/value/AttributeManager.h"
#include "vantrell/value/UniqueId.h"

namespace pwr {

class Description;
class FieldDescription;
class StateDescription;
class EventDescription;
class DataDescriptorBuilder;

enum class DataHandleType : uint32_t {
    ATTRIBUTE = 0,
    FIELD = 1,
    STATE = 2,
    PROCESS = 3,
    THREAD = 4,
    NAME_VALUE_PAIR = 5,
    EVENT = 6,
    ENTITY = 7,
    DATA_DESCRIPTOR = 9,
};

class VR_EXPORT DataHandle : public UniqueId {
  public:
    DataHandle(const DataHandle& other) = default;
    DataHandle& operator=(const DataHandle& other) = default;
    ~DataHandle() override;

    UniqueIdType getIdType() const override { return UniqueIdType::DATA_HANDLE; }
    // The name; entities qualify it with the names of their parents.
    virtual std::string getQualifiedName() const;

    const std::string& getName() const { return name; }
    const std::string& getFieldName() const { return fieldName; }
    const std::string& getShortName() const { return shortName; }
    const std::string& getDescription() const { return description; }
    const std::string& getHeader() const { return header; }
    DataHandleType getHandleType() const { return handleType; }

    // Finds the handle with `id` in the registry: 0 with the handle in `out`. An unknown id logs
    // "WARNING: Handle id %llu not found in UniqueId map\n" and returns 1 with `out` untouched; an id
    // of a quantity logs "WARNING: UniqueId isn't a DataHandle type\n" and returns 1 with `out` null.
    // The registry owns the handle.
    static int get(unsigned long long id, const DataHandle*& out);

  protected:
    // Takes a new id and copies the five strings of `description`.
    DataHandle(const Description& description, DataHandleType type);

  private:
    std::string name;
    std::string fieldName;
    std::string shortName;
    std::string description;
    std::string header;
    DataHandleType handleType;
};

class VR_EXPORT Field : public DataHandle, public ExpectedAttributeManager {
  public:
    // A new registered field. A FieldDescription gives its expected attributes; any other
    // description leaves them empty.
    static const Field* create(const Description& description);

  private:
    explicit Field(const Description& description);
};

class VR_EXPORT State : public DataHandle, public AttributeValueManager {
  public:
    // A new registered state, without any test for a like one. It takes the description's attribute
    // map; its list starts empty.
    static const State* create(const StateDescription& description);

    // Replaces the value of `attribute` in the map, or inserts it; the list is left alone. Returns
    // 0. States are changed after creation, so this works through the const pointer that create
    // hands out.
    int addAttributeValue(const Attribute* attribute, const Data& value) const;

  private:
    explicit State(const StateDescription& description);
};

class VR_EXPORT Event : public DataHandle, public AttributeValueManager {
  public:
    // The first registered event of the description's key that is equal() to it, or else a new one,
    // which takes the description's attribute map and starts with an empty list.
    static const Event* create(const EventDescription& description);

    // Same name and attribute count, and every pair of this event's list has an equal value in the
    // description's map (the list of an event is empty, so the values don't count). A null
    // attribute in the list logs "WARNING: Please provide a valid non-null attribute to set.\n".
    bool equal(const EventDescription& description) const;

  private:
    explicit Event(const EventDescription& description);
};

class VR_EXPORT DataDescriptor : public DataHandle, public AttributeValueManager {
  public:
    // The first registered descriptor of the builder's key that is equal() to it, or else a new one,
    // which takes over the builder's map and list. No new id and no new object for a known meaning.
    static const DataDescriptor* create(const DataDescriptorBuilder& builder);

    // As Event::equal; here the list is filled, so the attribute values must match.
    bool equal(const DataDescriptorBuilder& builder) const;

  private:
    explicit DataDescriptor(const DataDescriptorBuilder& builder);
};

class VR_EXPORT NameValuePair : public DataHandle {
  public:
    // A new registered pair on every call; its name is `infoName`.
    static const NameValuePair* create(unsigned value, const std::string& valueDesc,
                                       const std::string& infoName);

    unsigned getValue() const { return value; }
    const std::string& getValueDesc() const { return valueDesc; }
    const std::string& getInfoName() const { return infoName; }

  private:
    NameValuePair(unsigned value, const std::string& valueDesc, const std::string& infoName);

    uint32_t value;
    std::string valueDesc;
    std::string infoName;
};

}  // namespace pwr
