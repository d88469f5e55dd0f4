#include "vantrell/value/EntityHandle.h"

#include <algorithm>
#include <memory>

#include "value/DataHandleProviderRecord.h"
#include "value/UniqueIdRegistry.h"
#include "vantrell/plugin/Logging.h"
#include "vantrell/value/Description.h"

namespace pwr {
namespace {

// The provider, or null after the warning of a lookup made too early.
const DataHandleProviderRecord* providerForHandle() {
    const DataHandleProviderRecord* provider = publishedProvider();
    if (provider == nullptr) {
        VR_LOG(2, "WARNING: Cannot retrieve a CPU Entity handle until it has been initialized\n");
    }
    return provider;
}

const EntityHandle* lookupCpu(top_node_type level, int cpu) {
    const DataHandleProviderRecord* provider = providerForHandle();
    if (provider == nullptr) {
        return nullptr;
    }
    const auto& entities = provider->cpuEntities[level];
    auto entry = entities.find(cpu);
    return entry == entities.end() ? nullptr : entry->second;
}

int countCpus(top_node_type level) {
    const DataHandleProviderRecord* provider = publishedProvider();
    if (provider == nullptr) {
        VR_LOG(2, "WARNING: Cannot retrieve a CPU Entity count until it has been initialized\n");
        return -1;
    }
    return provider->counts[level];
}

}  // namespace

EntityHandle::EntityHandle(const Description& description)
    : DataHandle(description, DataHandleType::ENTITY) {}

EntityHandle* EntityHandle::create(const Description& description, const EntityHandle* parent) {
    EntityHandle* entity =
        UniqueIdRegistry::add(std::unique_ptr<EntityHandle>(new EntityHandle(description)));
    if (parent != nullptr) {
        // Every entity is made here on the heap, never as a const object, so the cast is sound. A new
        // entity has no descendants, so the parent never refuses it.
        const_cast<EntityHandle*>(parent)->addChild(entity);
    }
    return entity;
}

EntityHandle* EntityHandle::create(const std::string& name, const EntityHandle* parent) {
    return create(Description(name, ""), parent);
}

EntityHandle* EntityHandle::create(const std::string& name, const std::string& shortName,
                                   const EntityHandle* parent) {
    return create(Description(name, shortName), parent);
}

const EntityHandle* EntityHandle::getSystemHandle() {
    const DataHandleProviderRecord* provider = publishedProvider();
    return provider == nullptr ? nullptr : provider->systemEntity;
}

const EntityHandle* EntityHandle::getCPUPackageHandle(int cpu) {
    return lookupCpu(TOP_NODE_PACKAGE, cpu);
}
const EntityHandle* EntityHandle::getCPUModuleHandle(int cpu) {
    return lookupCpu(TOP_NODE_MODULE, cpu);
}
const EntityHandle* EntityHandle::getCPUCoreHandle(int cpu) {
    return lookupCpu(TOP_NODE_CORE, cpu);
}
const EntityHandle* EntityHandle::getCPUThreadHandle(int cpu) {
    return lookupCpu(TOP_NODE_THREAD, cpu);
}

int EntityHandle::getCPUPackageCount() {
    return countCpus(TOP_NODE_PACKAGE);
}
int EntityHandle::getCPUModuleCount() {
    return countCpus(TOP_NODE_MODULE);
}
int EntityHandle::getCPUCoreCount() {
    return countCpus(TOP_NODE_CORE);
}
int EntityHandle::getCPUThreadCount() {
    return countCpus(TOP_NODE_THREAD);
}

const EntityHandle* EntityHandle::getCPUEntityHandle(const TNode* node) {
    const DataHandleProviderRecord* provider = publishedProvider();
    if (provider == nullptr) {
        return nullptr;
    }
    auto entry = provider->nodeEntities.find(node == nullptr ? -1 : node->getUniqueID());
    return entry == provider->nodeEntities.end() ? nullptr : entry->second;
}

std::string EntityHandle::getQualifiedName() const {
    std::string qualified = getName();
    for (const EntityHandle* up = parent; up != nullptr && !up->isSystemRoot && !up->getName().empty();
         up = up->parent) {
        qualified = up->getName() + "/" + qualified;
    }
    return qualified;
}

int EntityHandle::addChild(EntityHandle* child) {
    for (const EntityHandle* up = this; up != nullptr; up = up->parent) {
        if (up == child) {
            VR_LOG(2, "WARNING: Could not add relationship because cycle detected\n");
            return 1;
        }
    }
    children.reserve(children.size() + 1);
    if (child->parent != nullptr) {
        // One parent at a time, so the entities stay a tree.
        auto& siblings = const_cast<EntityHandle*>(child->parent)->children;
        siblings.erase(std::remove(siblings.begin(), siblings.end(), child), siblings.end());
    }
    children.push_back(child);
    child->parent = this;
    return 0;
}

}  // namespace pwr
