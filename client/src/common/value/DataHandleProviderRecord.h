#pragma once

// The provider record behind DataHandleProvider and the EntityHandle lookups: private to the library.

#include <array>
#include <cstdint>
#include <map>

#include "vantrell/plugin/PluginEnvironment.h"
#include "vantrell/record/TopTree.h"

namespace pwr {

class EntityHandle;

struct DataHandleProviderRecord {
    // By top_node_type: logical CPU id to the entity of that level that holds the CPU.
    std::array<std::map<int, const EntityHandle*>, kTopNodeTypeCount> cpuEntities;
    // A TNode's unique id to its entity; -1 is the "CPU" entity.
    std::map<int, const EntityHandle*> nodeEntities;
    // By top_node_type: the logical CPUs that reach the level.
    std::array<int32_t, kTopNodeTypeCount> counts{};
    const EntityHandle* systemEntity = nullptr;
    const EntityHandle* cpuEntity = nullptr;
};

// The record published in g_pluginEnvironment, or null.
inline const DataHandleProviderRecord* publishedProvider() {
    return static_cast<const DataHandleProviderRecord*>(g_pluginEnvironment->getDataHandleProvider());
}

}  // namespace pwr
