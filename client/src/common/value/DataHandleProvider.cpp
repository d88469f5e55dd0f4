#include "vantrell/value/DataHandleProvider.h"

#include <memory>
#include <vector>

#include "value/DataHandleProviderRecord.h"
#include "value/UniqueIdRegistry.h"
#include "vantrell/plugin/Logging.h"
#include "vantrell/record/SystemMetadata.h"
#include "vantrell/record/TopTree.h"
#include "vantrell/value/EntityHandle.h"
#include "vantrell/writer/WriterMessage.h"
#include "vantrell/writer/WriterStream.h"

namespace pwr {
namespace {

// The one provider record of the process, owned here from the start of its building; the environment
// only points at it.
std::unique_ptr<DataHandleProviderRecord>& ownedProvider() {
    static std::unique_ptr<DataHandleProviderRecord> provider;
    return provider;
}

void publish(DataHandleProviderRecord* provider) {
    g_pluginEnvironment->setDataHandleProvider(provider);
}

// Makes the entity of `node` under the entity of its parent, then those of its children.
void addNodeEntities(DataHandleProviderRecord& provider, const TNode& node) {
    const TNode* parentNode = node.getParent();
    auto parentEntry = provider.nodeEntities.find(parentNode == nullptr ? -1 : parentNode->getUniqueID());
    const EntityHandle* parent = nullptr;
    if (parentEntry == provider.nodeEntities.end()) {
        VR_LOG(2, "WARNING: Error processing topology\n");
    } else {
        parent = parentEntry->second;
    }
    std::string name = node.getName();
    VR_LOG(4, "INFO: node name = %s\n", name.c_str());
    EntityHandle* entity = EntityHandle::create(name, parent);
    // The first entity of a unique id keeps it, so an unnumbered node (-1) never hides "CPU".
    provider.nodeEntities.emplace(node.getUniqueID(), entity);
    VR_LOG(4, "INFO: NODE %p maps to ENTITY %p\n", static_cast<const void*>(&node),
           static_cast<void*>(entity));
    for (const TNode* child : node) {
        addNodeEntities(provider, *child);
    }
}

// Enters each logical CPU at its own level and at every level above it, under the CPU's id, and counts
// the CPUs that reach each level.
void mapLogicalCpus(DataHandleProviderRecord& provider, const TopTree& topology) {
    std::vector<const TNode*> threads;
    topology.getAllThreads(threads);
    provider.counts.fill(0);
    for (const TNode* thread : threads) {
        auto entry = provider.nodeEntities.find(thread->getUniqueID());
        // A tree built node by node numbers nothing (-1 everywhere); -1 then finds "CPU", as any key would.
        if (entry == provider.nodeEntities.end()) {
            VR_LOG(2, "WARNING: Topology is broken");
            return;
        }
        const int cpu = thread->getID();
        const EntityHandle* entity = entry->second;
        for (const TNode* level = thread; level != nullptr; level = level->getParent()) {
            if (level != thread) {
                entity = entity == nullptr ? nullptr : entity->getParent();
            }
            if (level->getType() < kTopNodeTypeCount) {
                provider.cpuEntities[level->getType()].emplace(cpu, entity);
                ++provider.counts[level->getType()];
            }
        }
    }
}

}  // namespace

int DataHandleProvider::initTopology(const SystemMetadata& metadata) {
    DataHandleProviderRecord* existing = ownedProvider().get();
    if (existing != nullptr) {
        publish(existing);
        return 0;
    }
    return buildTopology_i(metadata.getCPUTopology());
}

int DataHandleProvider::resetTopology(const SystemMetadata& metadata) {
    if (g_pluginEnvironment->getDataHandleProvider() == ownedProvider().get()) {
        publish(nullptr);
    }
    ownedProvider().reset();
    return buildTopology_i(metadata.getCPUTopology());
}

int DataHandleProvider::addStream(WriterStream* stream) {
    if (stream == nullptr) {
        return 1;
    }
    UniqueIdRegistry* registry = UniqueIdRegistry::require();
    if (registry == nullptr) {
        return 1;
    }
    // Everything made so far, in one message, even an empty one: a writer that comes late hears of
    // each id once, and of every later object from the registry itself.
    IdMessage known;
    for (const std::unique_ptr<UniqueId>& object : registry->getObjects()) {
        known.addUniqueId(object.get());
    }
    stream->pushMessage(known);
    registry->setStream(stream);
    return 0;
}

int DataHandleProvider::buildTopology_i(const TopTree& topology) {
    ownedProvider() = std::make_unique<DataHandleProviderRecord>();
    DataHandleProviderRecord& provider = *ownedProvider();
    EntityHandle* system = EntityHandle::create("SYSTEM", nullptr);
    system->isSystemRoot = true;
    provider.systemEntity = system;
    provider.cpuEntity = EntityHandle::create("CPU", provider.systemEntity);
    provider.nodeEntities.emplace(-1, provider.cpuEntity);
    publish(&provider);

    std::vector<const TNode*> packages;
    topology.getAllPackages(packages);
    for (const TNode* package : packages) {
        addNodeEntities(provider, *package);
    }
    mapLogicalCpus(provider, topology);
    return 0;
}

}  // namespace pwr
