// The tree format of a TopTree, stored inside the machine record:
//
//   u16 package count
//   per package, in key order, a node record:
//     i32 id, u32 type, the node records of its children in their order, i32 -1 (the end mark)
//
// A package with one core with one thread is thus 8 + 8 + 8 bytes and three end marks.

#include <cstdint>
#include <memory>

#include "record/TopTreeKeys.h"
#include "vantrell/plugin/Logging.h"
#include "vantrell/record/Serializer.h"
#include "vantrell/record/TopTree.h"

namespace pwr {
namespace {

constexpr int32_t kEndOfChildren = -1;
constexpr size_t kMaxStoredPackages = 0xffff;

// No topology has more levels than package, module, die, core and thread; the limit keeps a corrupt
// record from nesting deep enough to exhaust the stack of the readers and of every later walk.
constexpr unsigned kMaxDepth = 16;

// What reading one node record found.
enum ReadResult : int {
    kReadNode = 0,     // a node, in `out`
    kReadEnd = 1,      // the end mark of the level
    kReadShort = 2,    // the buffer ran out; `out` holds what was read, if anything
    kReadCorrupt = 3,  // a record no writer makes; `out` holds what was read before it
};

void reportUnstorable(const TNode& node) {
    VR_LOG(2, "WARNING: Topology node %s has a negative id and is not stored\n",
           node.getFullyQualifiedName().c_str());
}

void writeNode(Serializer& serializer, const TNode& node) {
    serializer.write_int32(node.getID());
    serializer.write_uint32(node.getType());
    for (const TNode* child : node) {
        if (child->getID() < 0) {
            reportUnstorable(*child);
            continue;
        }
        writeNode(serializer, *child);
    }
    serializer.write_int32(kEndOfChildren);
}

// The key under which the children of a node with `id` are entered: 16 bits of the id, sign-extended.
long long childKeyBase(long long parentKey, int id) {
    return topology_key::pack(parentKey, static_cast<int16_t>(static_cast<uint16_t>(id & 0xffff)));
}

}  // namespace

void TopTree::serializeTree(Serializer& serializer) const {
    std::vector<const TNode*> packages;
    for (const auto& [key, root] : nodes[TOP_NODE_PACKAGE]) {
        if (root == nullptr) {
            continue;
        }
        if (root->getID() < 0) {
            reportUnstorable(*root);
        } else if (packages.size() == kMaxStoredPackages) {
            VR_LOG(2, "WARNING: Topology has more than %zu packages; %s is not stored\n", kMaxStoredPackages,
                   root->getName().c_str());
        } else {
            packages.push_back(root);
        }
    }
    serializer.write_count(packages.size());
    for (const TNode* package : packages) {
        writeNode(serializer, *package);
    }
}

int TopTree::deserializeTree(Serializer& serializer) {
    try {
        return readTree_i(serializer);
    } catch (...) {
        // Nodes being read were freed on the way out, but the maps may still name them.
        clear_i();
        throw;
    }
}

int TopTree::readTree_i(Serializer& serializer) {
    uint16_t count = 0;
    if (serializer.read_count(count) == 0) {
        return -1;
    }
    if (count == 0) {
        return 0;
    }
    int result = kReadNode;
    for (uint16_t i = 0; i < count && result == kReadNode; ++i) {
        TNode* package = nullptr;
        result = readNode_i(serializer, 0, 0, package);
        if (package != nullptr) {
            enterPackage_i(package);
        } else if (result == kReadEnd) {
            // The count promised a package here.
            result = kReadCorrupt;
        }
    }
    number_i();
    return result == kReadNode ? 0 : -1;
}

int TopTree::readNode_i(Serializer& serializer, long long parentKey, unsigned depth, TNode*& out) {
    out = nullptr;
    int32_t id = 0;
    if (serializer.read_int32(id) == 0) {
        return kReadShort;
    }
    if (id == kEndOfChildren) {
        return kReadEnd;
    }
    uint32_t type = 0;
    if (serializer.read_uint32(type) == 0) {
        return kReadShort;
    }
    // A root is entered as a package whatever its type. A package below the root would be owned twice,
    // by its parent and by the package map, so it ends the read, as do types without a map.
    if (type >= kTopNodeTypeCount || (depth != 0 && type == TOP_NODE_PACKAGE) || depth >= kMaxDepth) {
        return kReadCorrupt;
    }
    auto node = std::make_unique<TNode>(id, static_cast<top_node_type>(type));
    const long long runningKey = childKeyBase(parentKey, id);
    int result = kReadNode;
    while (result == kReadNode) {
        TNode* child = nullptr;
        result = readNode_i(serializer, runningKey, depth + 1, child);
        if (child != nullptr) {
            std::unique_ptr<TNode> owned(child);
            node->addChild_i(child);
            (void)owned.release();
            nodes[child->getType()][topology_key::pack(runningKey, child->getID())] = child;
        }
    }
    out = node.release();
    return result == kReadEnd ? kReadNode : result;
}

void TopTree::enterPackage_i(TNode* package) {
    std::unique_ptr<TNode> owned(package);
    TNode*& slot = nodes[TOP_NODE_PACKAGE][package->getID()];
    if (slot != nullptr) {
        // The children of the new package already took over the entries they share with the old one;
        // the old package's other entries must go before its nodes do.
        forgetReadSubtree_i(*slot, childKeyBase(0, slot->getID()));
        delete slot;
    }
    slot = owned.release();
}

void TopTree::forgetReadSubtree_i(const TNode& node, long long runningKey) {
    for (const TNode* child : node) {
        NodeMap& map = nodes[child->getType()];
        auto entry = map.find(topology_key::pack(runningKey, child->getID()));
        if (entry != map.end() && entry->second == child) {
            map.erase(entry);
        }
        forgetReadSubtree_i(*child, childKeyBase(runningKey, child->getID()));
    }
}

}  // namespace pwr
