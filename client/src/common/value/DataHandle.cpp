#include "vantrell/value/DataHandle.h"

#include <memory>

#include "value/UniqueIdRegistry.h"
#include "vantrell/value/Description.h"

namespace pwr {

DataHandle::DataHandle(const Description& description, DataHandleType type)
    : name(description.getName()),
      fieldName(description.getFieldName()),
      shortName(description.getShortName()),
      description(description.getDescription()),
      header(description.getHeader()),
      handleType(type) {}

DataHandle::~DataHandle() = default;

std::string DataHandle::getQualifiedName() const {
    return name;
}

int DataHandle::get(unsigned long long id, const DataHandle*& out) {
    UniqueIdRegistry* registry = UniqueIdRegistry::require();
    if (registry == nullptr) {
        return 1;
    }
    return registry->lookup(id, out);
}

Field::Field(const Description& description) : DataHandle(description, DataHandleType::FIELD) {
    if (description.getType() == DescriptionType::FIELD) {
        ExpectedAttributeManager::operator=(static_cast<const FieldDescription&>(description));
    }
}

const Field* Field::create(const Description& description) {
    return UniqueIdRegistry::add(std::unique_ptr<Field>(new Field(description)));
}

State::State(const StateDescription& description) : DataHandle(description, DataHandleType::STATE) {
    adoptMap_i(description);
}

const State* State::create(const StateDescription& description) {
    return UniqueIdRegistry::add(std::unique_ptr<State>(new State(description)));
}

int State::addAttributeValue(const Attribute* attribute, const Data& value) const {
    // Every State is made by create() on the heap, never as a const object, so the cast is sound.
    const_cast<State*>(this)->replaceInMap_i(attribute, value);
    return 0;
}

NameValuePair::NameValuePair(unsigned value, const std::string& valueDesc, const std::string& infoName)
    : DataHandle(Description(infoName, ""), DataHandleType::NAME_VALUE_PAIR),
      value(value),
      valueDesc(valueDesc),
      infoName(infoName) {}

const NameValuePair* NameValuePair::create(unsigned value, const std::string& valueDesc,
                                           const std::string& infoName) {
    return UniqueIdRegistry::add(
        std::unique_ptr<NameValuePair>(new NameValuePair(value, valueDesc, infoName)));
}

}  // namespace pwr
