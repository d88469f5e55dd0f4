// TopTree::deserializeTree over arbitrary bytes: no crash, no over-read, a tree that holds together
// whatever was read, and a stored form that is a fixed point: what is written reads back whole and
// writes the same bytes again.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "vantrell/record/Serializer.h"
#include "vantrell/record/TopTree.h"

#include "FuzzSupport.h"

namespace {

using vrfuzz::check;

std::vector<char> store(const pwr::TopTree& tree) {
    pwr::Serializer s;
    tree.serializeTree(s);
    return s.get_buffer();
}

// Every node that a query hands out belongs to a tree whose links agree, and has its name.
void checkLinks(const pwr::TopTree& tree) {
    for (unsigned type = 0; type < pwr::kTopNodeTypeCount; ++type) {
        std::vector<const pwr::TNode*> nodes;
        tree.getAllNodesOfType(nodes, static_cast<pwr::top_node_type>(type));
        check(nodes.size() == tree.getNumNodesOfType(static_cast<pwr::top_node_type>(type)),
              "count and list");
        for (const pwr::TNode* node : nodes) {
            // The package map holds the roots, whatever type a stored root had; below them, each node
            // sits in the map of its type.
            check(type == pwr::TOP_NODE_PACKAGE ? node->getParent() == nullptr : node->getType() == type,
                  "a root in the package map, every other node in the map of its type");
            for (const pwr::TNode* child : *node) {
                check(child->getParent() == node, "child and parent agree");
            }
            check(!node->getFullyQualifiedName().empty(), "qualified name");
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    vrfuzz::installEnvironment();
    pwr::Serializer input(
        std::vector<char>(reinterpret_cast<const char*>(data), reinterpret_cast<const char*>(data) + size));
    pwr::TopTree tree;
    int status = tree.deserializeTree(input);
    check(status == 0 || status == -1, "status is 0 or -1");
    checkLinks(tree);
    tree.dumpPackages();

    const std::vector<char> stored = store(tree);
    pwr::TopTree copy(tree);
    check(store(copy) == stored, "a copy stores the same bytes");

    pwr::Serializer again(stored);
    pwr::TopTree reread;
    check(reread.deserializeTree(again) == 0, "a stored tree reads back whole");
    checkLinks(reread);
    check(store(reread) == stored, "a stored tree writes the same bytes again");
    return 0;
}
