#pragma once

// The machine's CPUs as a forest: packages at the roots, optionally a module or a die level, cores and
// logical CPUs (threads). A TopTree is built from the collector's topology text (buildTopology) or node
// by node (addNode), stored with the machine record (serializeTree / deserializeTree) and turned into
// the tree of entities by DataHandleProvider.
//
// Besides the forest, a TopTree keeps one map per node type (0 to 6) from a packed 64-bit key to the
// node. Keys give each level 16 bits (package, then module or die, then core, then thread), so ids at
// or above 65536 collide with others; a colliding node stays in the forest but not in the map.
//
// TopologyChange is the record of one CPU going off or on line during a collection; the library stores
// and prints such records but never changes a TopTree because of them. vr_driver_topology_change is
// the form in which the driver delivers one.
//
// Ownership: a TopTree owns its packages, a TNode owns its children; the const TNode pointers handed
// out stay valid until the tree is changed, rebuilt or destroyed. TopTree and TopologyChange are
// copyable (a TopTree copy is deep) and movable. TNode is neither. No locks: a tree is built before a
// collection and read afterwards, one thread at a time.

#include <array>
#include <cstdint>
#include <iosfwd>
#include <map>
#include <string>
#include <vector>

#include "vantrell/Export.h"

namespace pwr {

class Serializer;

// The level of a node. The text of each is what getName() and the dumps print.
enum top_node_type : uint32_t {
    TOP_NODE_NONE = 0,     // "NONE"
    TOP_NODE_PACKAGE = 1,  // "Package"
    TOP_NODE_MODULE = 2,   // "Module"
    TOP_NODE_CORE = 3,     // "Core"
    TOP_NODE_THREAD = 4,   // "Thread"
    TOP_NODE_SOC = 5,      // "SOC"
    TOP_NODE_DIE = 6,      // "Die"
    TOP_NODE_NULL = 7,     // "NULL"
};

// Number of node types that have a map in a TopTree (0 to 6).
constexpr unsigned int kTopNodeTypeCount = 7;

// The text of `type`, "Unknown" for a number outside the table. Never null.
VR_EXPORT const char* getTopNodeTypeName(top_node_type type);

// What happened to a CPU. Any other number has the text "NOP".
enum cpu_action : uint32_t {
    CPU_ACTION_NOP = 0,             // "NOP"
    CPU_ACTION_OFFLINE = 1,         // "OFFLINE"
    CPU_ACTION_ONLINE_PREPARE = 2,  // "ONLINE PREPARE"
    CPU_ACTION_ONLINE = 3,          // "ONLINE"
};

// The driver's record of a topology change, byte for byte as the driver lays it out.
struct vr_driver_topology_change {
    uint64_t timestamp;           // offset 0
    uint32_t action;              // offset 8, a cpu_action value
    uint16_t logicalProcessorId;  // offset 12
    uint16_t coreId;              // offset 14
    uint16_t packageId;           // offset 16
};

class VR_EXPORT TNode {
  public:
    using const_iterator = std::vector<TNode*>::const_iterator;

    // A node without parent, children or unique id (-1).
    TNode(int id, top_node_type type);
    TNode(const TNode&) = delete;
    TNode& operator=(const TNode&) = delete;
    // Destroys the children, depth first.
    ~TNode();

    // The id within its level: package number, core number, logical CPU number.
    int getID() const { return id; }
    // The number given by setUniqueID; -1 until numbered.
    int getUniqueID() const { return uniqueId; }
    top_node_type getType() const { return type; }
    // Null for a root.
    const TNode* getParent() const { return parent; }
    // The children, sorted by id (equal ids in order of insertion).
    const_iterator begin() const { return children.begin(); }
    const_iterator end() const { return children.end(); }
    size_t getNumChildren() const { return children.size(); }

    // Gives this node `next`, raises it, and goes on depth first through the children.
    void setUniqueID(int& next);
    // The type's text, "_", the id: "Core_3".
    std::string getName() const;
    // The parent's fully qualified name, "/", getName(); a root gives getName():
    // "Package_0/Core_1/Thread_3".
    std::string getFullyQualifiedName() const;

  private:
    friend class TopTree;

    // Takes ownership of `child`, sets its parent and keeps the children sorted by id.
    void addChild_i(TNode* child);
    // The child of this id and type, or null.
    TNode* findChild_i(int childId) const;

    int id;
    int uniqueId = -1;
    top_node_type type;
    std::vector<TNode*> children;  // owned
    TNode* parent = nullptr;
};

class VR_EXPORT TopTree {
  public:
    TopTree() = default;
    // Deep copies: the copy has its own nodes, with the ids, unique ids and map keys of the source.
    TopTree(const TopTree& other);
    TopTree& operator=(const TopTree& other);
    // The moved-from tree is empty.
    TopTree(TopTree&& other) noexcept;
    TopTree& operator=(TopTree&& other) noexcept;
    ~TopTree();

    // Adds the CPUs of `text` to the tree: blank-separated groups of four numbers (logical CPU id,
    // package id, core id, die id), each read as strtoul does at base 0 and kept as a signed 32-bit
    // number ("0xffffffff" is -1). With `coresPerModule` not 0 the module id is core id divided by it,
    // else there are no modules. Nodes already present are reused. Then numbers every node from 0
    // (packages in key order, depth first), logs "INFO: Dumping trees\n" and dumps the tree.
    // Trailing tokens that don't make a full group are ignored, with a warning. The first time in the
    // process that a group has both a module and a die, logs under the area "TopTree::buildTopology"
    // "WARNING: Unknown topology has both a module AND a die ID -- choosing to report module ID only\n"
    // and drops the die; later such groups drop it silently. No failure result; an empty text gives an
    // empty tree.
    void buildTopology(const std::string& text, unsigned long long coresPerModule);

    // Adds one logical CPU, node by node. False, changing nothing, when `threadId`, `coreId` or
    // `packageId` is negative. A `moduleId` of -1 logs "DEBUG: addNode_i::ID is negative -- going to
    // next level!\n" and puts the core straight under the package. Existing nodes are reused. Nodes
    // made here are not numbered (unique id -1) and their keys differ from those of buildTopology: a
    // tree is built one way or the other. Returns true otherwise.
    bool addNode(int threadId, int coreId, int moduleId, int packageId);

    // Append the nodes of one type to `out`, in key order. Map entries made without a node (levels
    // that the topology lacks) are skipped; a type without a map (7 and above) appends nothing.
    void getAllNodesOfType(std::vector<const TNode*>& out, top_node_type type) const;
    void getAllPackages(std::vector<const TNode*>& out) const;
    void getAllModules(std::vector<const TNode*>& out) const;
    void getAllDies(std::vector<const TNode*>& out) const;
    void getAllCores(std::vector<const TNode*>& out) const;
    void getAllThreads(std::vector<const TNode*>& out) const;

    // The number of nodes that getAllNodesOfType would append.
    unsigned int getNumNodesOfType(top_node_type type) const;
    unsigned int getNumPackages() const;
    unsigned int getNumModules() const;
    unsigned int getNumDies() const;
    unsigned int getNumCores() const;
    unsigned int getNumThreads() const;

    // Logs every node at level 3, packages in key order, depth first: "%d [%d] (%s)\n" with id, unique
    // id and type text, behind one blank per level of depth.
    void dumpPackages() const;

    // Writes the tree format: a 16-bit package count, then per package in key order a node record (id
    // i32, type u32, the records of its children, the end mark i32 -1). A node with a negative id can't
    // be stored (the reader would take -1 for the end mark): it is left out with its subtree and
    // "WARNING: Topology node %s has a negative id and is not stored\n" is logged.
    void serializeTree(Serializer& serializer) const;

    // Reads a tree in the format of serializeTree into this one, then numbers the nodes as
    // buildTopology does. Each root read is entered as a package under its id, whatever its type,
    // replacing a package of that id; other packages stay. A short count or a count of 0 ends at once
    // and leaves the tree as it was, unnumbered (-1 and 0). Returns 0 when the whole tree was read;
    // -1 when the buffer runs short, keeping and numbering what was read, or when the record is one no
    // writer makes: a type above 6, a package below a root, an end mark where the count promised a
    // package, or nesting deeper than any topology has. The read stops there and keeps what came before.
    // Logs nothing: the record that holds the tree knows the context.
    int deserializeTree(Serializer& serializer);

  private:
    using NodeMap = std::map<long long, TNode*>;

    // Destroys every node and empties the maps.
    void clear_i();
    // Numbers every node from 0, packages in key order.
    void number_i();
    // The core and thread part of buildTopology for one group of four ids.
    void buildGroup_i(int threadId, int packageId, int coreId, int dieId, unsigned long long coresPerModule);
    // Makes a node under `parent`, which owns it from then on.
    static TNode* makeChild_i(TNode* parent, int nodeId, top_node_type nodeType);
    // Copies `source` and its subtree, noting each copy against its source in `copies`.
    static TNode* cloneNode_i(const TNode& source, std::map<const TNode*, TNode*>& copies);
    // Finds or makes the node of one level under `parent` (null: a package) for addNode.
    TNode* addNode_i(TNode* parent, int nodeId, top_node_type nodeType);
    // Reads one node record below the node of `runningKey`; see TopTreeFormat.cpp.
    int readNode_i(Serializer& serializer, long long runningKey, unsigned depth, TNode*& out);
    // Takes `package` as the root of its id, destroying a root read before under that id.
    void enterPackage_i(TNode* package);
    // Removes the map entries of the descendants of `node`, keyed below `runningKey` as readNode_i keys
    // them, where they still point at those descendants.
    void forgetReadSubtree_i(const TNode& node, long long runningKey);
    // deserializeTree without the clean-up on a failed allocation.
    int readTree_i(Serializer& serializer);

    // One map per type 0 to 6. The package map holds the roots and owns them.
    std::array<NodeMap, kTopNodeTypeCount> nodes;
};

class VR_EXPORT TopologyChange {
  public:
    // Timestamp 0, action 0, ids 0, module id -1, name "NOP".
    TopologyChange();
    // Takes the fields of `change`; the module id is the core id divided by `coresPerModule` if that
    // isn't 0, else -1. The name follows the action.
    TopologyChange(const vr_driver_topology_change& change, unsigned long long coresPerModule);

    void resetTimestamp(unsigned long long timestamp) { this->timestamp = timestamp; }
    unsigned long long getTimestamp() const { return timestamp; }
    cpu_action getActionType() const { return action; }
    // "NOP", "OFFLINE", "ONLINE PREPARE" or "ONLINE"; "NOP" for any other action number.
    const std::string& getActionName() const { return actionName; }
    unsigned short getLogicalProcessorID() const { return logicalProcessorId; }
    unsigned short getCoreID() const { return coreId; }
    int getModuleID() const { return moduleId; }
    unsigned short getPackageID() const { return packageId; }

    // Writes the 22-byte record: timestamp u64, action u32, logical CPU, core and package u16 each,
    // module id i32. The name isn't stored.
    void serialize(Serializer& serializer) const;
    // Reads the record of serialize() and sets the name from the action. Returns 0. At a shortage logs
    // the field's warning ("WARNING: couldn't extract timestamp for topology change!\n", ... "type",
    // "cpu id", "core id", "pkg id", "module id") and then "WARNING: error extracting topology
    // changes!\n", and returns -1 with the fields before it read and the rest unchanged.
    int deserialize(Serializer& serializer);

  private:
    uint64_t timestamp = 0;
    cpu_action action = CPU_ACTION_NOP;
    uint16_t logicalProcessorId = 0;
    uint16_t coreId = 0;
    uint16_t packageId = 0;
    int32_t moduleId = -1;
    std::string actionName;
};

// "Top Change:", then "\ttsc = ", "\ttype = " (the name), "\tlogicalProcID = ", "\tcoreID = ",
// "\tmoduleID = ", "\tpkgID = " with their values, each line ended.
VR_EXPORT std::ostream& operator<<(std::ostream& out, const TopologyChange& change);

}  // namespace pwr
