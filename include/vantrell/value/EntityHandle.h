#pragma once

// pwr::EntityHandle: a thing that a value was measured on (the system, a CPU package, a core, a logical
// CPU, or a device that a plug-in makes up). Entities form a tree with "SYSTEM" at the top; the
// DataHandleProvider (DataHandleProvider.h) builds its CPU part, "SYSTEM" / "CPU" / "Package_0" /
// "Core_3" / "Thread_5", from the machine's topology and answers the lookups by logical CPU below.
//
// Entities belong to the UniqueId registry from their create to UniqueId::destroy(), like every
// handle; create hands out a non-const pointer, which callers keep and never free. An entity keeps
// plain pointers to its parent and children, all owned by the registry. Copying an entity copies its
// id and links, so copies aren't used. No locks: entities are made on one thread at a time.

#include <string>
#include <vector>

#include "vantrell/Export.h"
#include "vantrell/value/AttributeManager.h"
#include "vantrell/value/DataHandle.h"

namespace pwr {

class Description;
class TNode;

class VR_EXPORT EntityHandle : public DataHandle, public AttributeValueManager {
  public:
    // A new registered entity with the strings of `description` (or of a Description of `name`, with
    // `shortName` or else `name` as the short name). Nothing stops two entities of one name. With a
    // parent it becomes that parent's last child. Never null.
    static EntityHandle* create(const Description& description, const EntityHandle* parent);
    static EntityHandle* create(const std::string& name, const EntityHandle* parent);
    static EntityHandle* create(const std::string& name, const std::string& shortName,
                                const EntityHandle* parent);

    // The "SYSTEM" entity of the provider; null before DataHandleProvider::initTopology, with no log.
    static const EntityHandle* getSystemHandle();

    // The entity of the package, module, core or thread that holds logical CPU `cpu`: the key is the
    // logical CPU's id at every level, so getCPUPackageHandle(5) is the package of logical CPU 5, not
    // package 5. Null for an unknown CPU. Before the provider exists each logs "WARNING: Cannot
    // retrieve a CPU Entity handle until it has been initialized\n" and returns null.
    static const EntityHandle* getCPUPackageHandle(int cpu);
    static const EntityHandle* getCPUModuleHandle(int cpu);
    static const EntityHandle* getCPUCoreHandle(int cpu);
    static const EntityHandle* getCPUThreadHandle(int cpu);

    // The number of logical CPUs that reach each level, not the number of nodes: one package with
    // four logical CPUs gives a package count of 4, and a machine without modules a module count of 0.
    // Before the provider exists each logs "WARNING: Cannot retrieve a CPU Entity count until it has
    // been initialized\n" and returns -1. Ask the TopTree for the number of packages.
    static int getCPUPackageCount();
    static int getCPUModuleCount();
    static int getCPUCoreCount();
    static int getCPUThreadCount();

    // The entity made for `node` by the provider, found by the node's unique id; a null node gives the
    // "CPU" entity. Null for a node the provider doesn't know, and before the provider exists.
    static const EntityHandle* getCPUEntityHandle(const TNode* node);

    // Null for a root.
    const EntityHandle* getParent() const { return parent; }
    // The children in order of addition; the registry owns them.
    const std::vector<EntityHandle*>& getChildren() const { return children; }

    // The own name, prefixed by "/" and the names of the ancestors up to, not including, the first
    // one that is the system entity or has an empty name: "CPU/Package_0/Core_3". "SYSTEM" gives
    // "SYSTEM".
    std::string getQualifiedName() const override;

  private:
    friend class DataHandleProvider;
    // Tests reach addChild through this peer: no public operation can make a cycle.
    friend class EntityHandleTestPeer;

    explicit EntityHandle(const Description& description);

    // Makes `child` a child of this entity and returns 0, taking it from a former parent. If `child` is
    // this entity or one of its ancestors, logs "WARNING: Could not add relationship because cycle
    // detected\n" and returns 1, changing nothing.
    int addChild(EntityHandle* child);

    const EntityHandle* parent = nullptr;
    std::vector<EntityHandle*> children;
    // Set on the entities that the provider makes as "SYSTEM": qualified names stop below them.
    bool isSystemRoot = false;
};

}  // namespace pwr
