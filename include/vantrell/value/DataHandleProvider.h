#pragma once

// pwr::DataHandleProvider: builds the CPU part of the entity tree (EntityHandle.h) from the topology of
// a SystemMetadata, keeps the lookups from logical CPU ids to entities, and connects the UniqueId
// registry to the writer stream.
//
// There is one provider record per process. The library owns it; it is published in
// g_pluginEnvironment (getDataHandleProvider), through which the EntityHandle lookups reach it. The
// entities it makes belong to the UniqueId registry and outlive it. After UniqueId::destroy() and a
// new initialize() its entities are gone: call resetTopology before using the lookups again.
// All static; no locks: called by the host's main thread.

#include "vantrell/Export.h"

class WriterStream;

namespace pwr {

class SystemMetadata;
class TopTree;

class VR_EXPORT DataHandleProvider {
  public:
    DataHandleProvider() = delete;

    // Builds the provider from metadata.getCPUTopology() unless one exists, in which case the tree is
    // left as it is (and published in the present environment, if that doesn't hold it). Returns 0.
    // Building logs "INFO: node name = %s\n" and "INFO: NODE %p maps to ENTITY %p\n" per node, and
    // "WARNING: Error processing topology\n" or "WARNING: Topology is broken" where the topology
    // doesn't hang together (a tree built with TopTree::addNode has no unique ids and is such a one).
    static int initTopology(const SystemMetadata& metadata);

    // Frees the provider record and builds a new one from metadata.getCPUTopology(): "SYSTEM", "CPU"
    // and every node get new entities with new ids; the old entities stay registered. Returns 0. What
    // reading a stored SystemMetadata ends with.
    static int resetTopology(const SystemMetadata& metadata);

    // Returns 1 for a null stream, changing nothing. Otherwise announces all objects of the registry to
    // `stream`, makes it the registry's stream, which hears of every later object, and returns 0.
    // Returns 1 as well when there is no registry (UniqueId::initialize() not called), after the
    // registry's own report. The stream stays the caller's.
    static int addStream(WriterStream* stream);

  private:
    // Builds and publishes a new provider record from `topology`. Returns 0.
    static int buildTopology_i(const TopTree& topology);
};

}  // namespace pwr
