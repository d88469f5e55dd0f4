#include "vantrell/value/AttributeManager.h"

#include "vantrell/plugin/Logging.h"
#include "vantrell/value/Attribute.h"

namespace pwr {
namespace {

void logNullAttribute() {
    // The same wording serves gets and sets.
    VR_LOG(2, "WARNING: Please provide a valid non-null attribute to set.\n");
}

// Replaces by a fresh copy rather than by Data assignment, which would share (and later free twice)
// the custom formatter of `value`.
template <typename Map, typename Key>
void replaceOrInsert(Map& map, const Key& key, const Data& value) {
    auto found = map.find(key);
    if (found != map.end()) {
        map.erase(found);
    }
    map.emplace(key, value);
}

}  // namespace

ExpectedAttributeManager::~ExpectedAttributeManager() = default;

int ExpectedAttributeManager::addExpectedAttribute_i(const Attribute* attribute) {
    attributes.push_back(attribute);
    return 0;
}

AttributeValueManager::~AttributeValueManager() = default;

AttributeValueManager& AttributeValueManager::operator=(const AttributeValueManager& other) {
    AttributeValueManager copy(other);
    map.swap(copy.map);
    list.swap(copy.list);
    return *this;
}

int AttributeValueManager::addAttributeValue(const Attribute* attribute, const Data& value) {
    insertIntoMap_i(attribute, value);
    list.emplace_back(attribute, value);
    return 0;
}

const Data* AttributeValueManager::getAttributeValue(const Attribute* attribute) const {
    if (attribute == nullptr) {
        logNullAttribute();
        return nullptr;
    }
    auto found = map.find(attribute);
    return found == map.end() ? nullptr : &found->second;
}

size_t AttributeValueManager::getAttributeCount() const {
    if (map.size() != list.size()) {
        VR_LOG(2, "WARNING: Attribute map and list size mismatch.\n");
    }
    return map.size();
}

bool AttributeValueManager::insertIntoMap_i(const Attribute* attribute, const Data& value) {
    return map.emplace(attribute, value).second;
}

void AttributeValueManager::replaceInMap_i(const Attribute* attribute, const Data& value) {
    replaceOrInsert(map, attribute, value);
}

void AttributeValueManager::adoptMap_i(const AttributeValueManager& source) {
    Map copy(source.map);
    map.swap(copy);
    list.clear();
}

bool AttributeValueManager::listMatchesMapOf_i(const AttributeValueManager& other) const {
    for (const auto& entry : list) {
        if (entry.first == nullptr) {
            logNullAttribute();
            return false;
        }
        auto found = other.map.find(entry.first);
        if (found == other.map.end() || found->second != entry.second) {
            return false;
        }
    }
    return true;
}

DynamicAttributeValueManager::~DynamicAttributeValueManager() = default;

DynamicAttributeValueManager& DynamicAttributeValueManager::operator=(
    const DynamicAttributeValueManager& other) {
    Map copy(other.values);
    values.swap(copy);
    return *this;
}

const Data* DynamicAttributeValueManager::getAttributeValue(const Attribute* attribute) const {
    if (attribute == nullptr) {
        logNullAttribute();
        return nullptr;
    }
    auto found = values.find(attribute->getId());
    return found == values.end() ? nullptr : &found->second;
}

int DynamicAttributeValueManager::setAttributeValue(const Attribute* attribute, const Data& value) {
    if (attribute == nullptr) {
        logNullAttribute();
        return 1;
    }
    replaceOrInsert(values, attribute->getId(), value);
    return 0;
}

}  // namespace pwr
