#include "value/UniqueIdRegistry.h"

#include "vantrell/plugin/Logging.h"
#include "vantrell/value/DataHandle.h"
#include "vantrell/value/UniqueId.h"
#include "vantrell/writer/WriterMessage.h"
#include "vantrell/writer/WriterStream.h"

namespace pwr {
namespace {

// The published registry, and those that a repeated initialize() replaced: their objects may still
// be referred to, so they live on until destroy().
std::unique_ptr<UniqueIdRegistry>& published() {
    static std::unique_ptr<UniqueIdRegistry> registry;
    return registry;
}

std::vector<std::unique_ptr<UniqueIdRegistry>>& retired() {
    static std::vector<std::unique_ptr<UniqueIdRegistry>> registries;
    return registries;
}

// Objects made while there was no registry: kept so that the pointers handed out stay valid.
std::vector<std::unique_ptr<UniqueId>>& unregistered() {
    static std::vector<std::unique_ptr<UniqueId>> objects;
    return objects;
}

}  // namespace

UniqueIdRegistry::UniqueIdRegistry() = default;

UniqueIdRegistry::~UniqueIdRegistry() {
    // Objects go first and in creation order, before the maps that point at them.
    for (std::unique_ptr<UniqueId>& object : objects) {
        object.reset();
    }
}

UniqueIdRegistry* UniqueIdRegistry::instance() {
    return published().get();
}

UniqueIdRegistry* UniqueIdRegistry::require() {
    UniqueIdRegistry* registry = instance();
    if (registry == nullptr) {
        VR_LOG(0,
               "Vantrell internal state wasn't initialized correctly, this can cause issues with result "
               "correctness!");
        VR_LOG(2, "WARNING: ID Manager wasn't initialized!");
    }
    return registry;
}

void UniqueIdRegistry::create() {
    if (published() != nullptr) {
        retired().push_back(std::move(published()));
    }
    published() = std::make_unique<UniqueIdRegistry>();
}

void UniqueIdRegistry::destroy() {
    for (std::unique_ptr<UniqueIdRegistry>& registry : retired()) {
        registry.reset();
    }
    retired().clear();
    published().reset();
}

void UniqueIdRegistry::addObject_i(std::unique_ptr<UniqueId> object) {
    UniqueIdRegistry* registry = require();
    if (registry == nullptr) {
        unregistered().push_back(std::move(object));
        return;
    }
    registry->insert_i(std::move(object));
}

void UniqueIdRegistry::insert_i(std::unique_ptr<UniqueId> object) {
    // A copy shares its source's id; the first object of an id keeps the entry.
    UniqueId* raw = object.get();
    objectsById.emplace(raw->getId(), raw);
    objects.push_back(std::move(object));
    announce_i(raw);
}

void UniqueIdRegistry::notifyChanged(const UniqueId* object) {
    if (object != nullptr) {
        announce_i(object);
    }
}

void UniqueIdRegistry::announce_i(const UniqueId* object) const {
    if (stream == nullptr) {
        return;
    }
    // The writers learn what an id stands for from this message; its result is theirs to report.
    IdMessage message;
    message.addUniqueId(object);
    stream->pushMessage(message);
}

Attribute* UniqueIdRegistry::addAttribute(AttributeType type, std::unique_ptr<Attribute> attribute) {
    Attribute* raw = attribute.get();
    insert_i(std::move(attribute));
    attributesByType.emplace(type, raw);
    return raw;
}

const Attribute* UniqueIdRegistry::findAttribute(AttributeType type) const {
    auto found = attributesByType.find(type);
    return found == attributesByType.end() ? nullptr : found->second;
}

int UniqueIdRegistry::lookup(unsigned long long id, const DataHandle*& out) const {
    auto found = objectsById.find(id);
    if (found == objectsById.end()) {
        VR_LOG(2, "WARNING: Handle id %llu not found in UniqueId map\n", id);
        return 1;
    }
    out = dynamic_cast<const DataHandle*>(found->second);
    if (out == nullptr) {
        VR_LOG(2, "WARNING: UniqueId isn't a DataHandle type\n");
        return 1;
    }
    return 0;
}

}  // namespace pwr
