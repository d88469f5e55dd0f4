#include "vantrell/record/TopTree.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <memory>
#include <utility>

#include "record/TopTreeKeys.h"
#include "vantrell/config/Tokenizer.h"
#include "vantrell/plugin/Logging.h"

namespace pwr {
namespace {

const char kBuildArea[] = "TopTree::buildTopology";
const char kTopologyDelims[] = " \t\r\n";

// Once per process, whatever the tree: the collector sends the same kind of text every time.
bool reportedModuleAndDie = false;

// The module of a core: its id divided by the cores per module, -1 without modules. Signed division, so
// that a bad negative core id never turns into a huge module id.
int moduleIdOf(int coreId, unsigned long long coresPerModule) {
    if (coresPerModule == 0) {
        return -1;
    }
    if (coresPerModule > static_cast<unsigned long long>(LLONG_MAX)) {
        return 0;
    }
    return static_cast<int>(static_cast<long long>(coreId) / static_cast<long long>(coresPerModule));
}

// A token as strtoul reads it at base 0, kept as a signed 32-bit number, so "0xffffffff" is -1.
int readTopologyId(const std::string& token) {
    const char* begin = token.c_str();
    char* end = nullptr;
    unsigned long value = std::strtoul(begin, &end, 0);
    if (end == begin || *end != '\0') {
        VR_LOG(2, "WARNING: Topology text has a token that isn't a number: \"%s\"\n", begin);
    }
    return static_cast<int>(static_cast<uint32_t>(value));
}

std::vector<std::string> splitTopologyText(const std::string& text) {
    // The Tokenizer refuses a text without any token, so such a text is settled here.
    if (text.find_first_not_of(kTopologyDelims) == std::string::npos) {
        return {};
    }
    return Tokenizer(text, kTopologyDelims).get_all_tokens();
}

void dumpNode(const TNode& node, int depth) {
    VR_LOG(3, "%*s%d [%d] (%s)\n", depth, "", node.getID(), node.getUniqueID(),
           getTopNodeTypeName(node.getType()));
    for (const TNode* child : node) {
        dumpNode(*child, depth + 1);
    }
}

}  // namespace

const char* getTopNodeTypeName(top_node_type type) {
    static const char* const kNames[] = {"NONE", "Package", "Module", "Core", "Thread", "SOC", "Die", "NULL"};
    return type < sizeof(kNames) / sizeof(kNames[0]) ? kNames[type] : "Unknown";
}

// ---- TNode -------------------------------------------------------------------------------------------

TNode::TNode(int id, top_node_type type) : id(id), type(type) {}

TNode::~TNode() {
    for (TNode* child : children) {
        delete child;
    }
}

void TNode::setUniqueID(int& next) {
    uniqueId = next++;
    for (TNode* child : children) {
        child->setUniqueID(next);
    }
}

std::string TNode::getName() const {
    return std::string(getTopNodeTypeName(type)) + "_" + std::to_string(id);
}

std::string TNode::getFullyQualifiedName() const {
    return parent == nullptr ? getName() : parent->getFullyQualifiedName() + "/" + getName();
}

void TNode::addChild_i(TNode* child) {
    auto place = std::upper_bound(children.begin(), children.end(), child->id,
                                  [](int childId, const TNode* other) { return childId < other->id; });
    children.insert(place, child);
    child->parent = this;
}

TNode* TNode::findChild_i(int childId) const {
    for (TNode* child : children) {
        if (child->id == childId) {
            return child;
        }
    }
    return nullptr;
}

// ---- TopTree: life -----------------------------------------------------------------------------------

TopTree::TopTree(const TopTree& other) : TopTree() {
    // Delegating first makes this a complete object, so a failed allocation below frees what was copied.
    std::map<const TNode*, TNode*> copies;
    for (const auto& [key, root] : other.nodes[TOP_NODE_PACKAGE]) {
        nodes[TOP_NODE_PACKAGE][key] = root == nullptr ? nullptr : cloneNode_i(*root, copies);
    }
    for (unsigned type = 0; type < kTopNodeTypeCount; ++type) {
        if (type == TOP_NODE_PACKAGE) {
            continue;
        }
        for (const auto& [key, node] : other.nodes[type]) {
            auto copy = copies.find(node);
            nodes[type][key] = copy == copies.end() ? nullptr : copy->second;
        }
    }
}

TopTree& TopTree::operator=(const TopTree& other) {
    if (this != &other) {
        TopTree copy(other);
        nodes.swap(copy.nodes);
    }
    return *this;
}

TopTree::TopTree(TopTree&& other) noexcept {
    nodes.swap(other.nodes);
}

TopTree& TopTree::operator=(TopTree&& other) noexcept {
    if (this != &other) {
        clear_i();
        nodes.swap(other.nodes);
    }
    return *this;
}

TopTree::~TopTree() {
    clear_i();
}

void TopTree::clear_i() {
    // The package map owns the roots; every other entry points into their trees.
    for (auto& [key, root] : nodes[TOP_NODE_PACKAGE]) {
        delete root;
    }
    for (NodeMap& map : nodes) {
        map.clear();
    }
}

TNode* TopTree::cloneNode_i(const TNode& source, std::map<const TNode*, TNode*>& copies) {
    auto copy = std::make_unique<TNode>(source.id, source.type);
    copy->uniqueId = source.uniqueId;
    copy->children.reserve(source.children.size());
    for (const TNode* child : source.children) {
        TNode* childCopy = cloneNode_i(*child, copies);
        copy->children.push_back(childCopy);
        childCopy->parent = copy.get();
    }
    copies[&source] = copy.get();
    return copy.release();
}

void TopTree::number_i() {
    int next = 0;
    for (auto& [key, root] : nodes[TOP_NODE_PACKAGE]) {
        if (root != nullptr) {
            root->setUniqueID(next);
        }
    }
}

// ---- TopTree: building -------------------------------------------------------------------------------

void TopTree::buildTopology(const std::string& text, unsigned long long coresPerModule) {
    std::vector<std::string> tokens = splitTopologyText(text);
    if (tokens.size() % 4 != 0) {
        VR_LOG(2, "WARNING: Topology text has %zu tokens, not a multiple of four -- ignoring the last %zu\n",
               tokens.size(), tokens.size() % 4);
    }
    for (size_t i = 0; i + 4 <= tokens.size(); i += 4) {
        buildGroup_i(readTopologyId(tokens[i]), readTopologyId(tokens[i + 1]), readTopologyId(tokens[i + 2]),
                     readTopologyId(tokens[i + 3]), coresPerModule);
    }
    number_i();
    VR_LOG(4, "INFO: Dumping trees\n");
    dumpPackages();
}

void TopTree::buildGroup_i(int threadId, int packageId, int coreId, int dieId,
                           unsigned long long coresPerModule) {
    int moduleId = moduleIdOf(coreId, coresPerModule);
    if (moduleId >= 0 && dieId >= 0) {
        if (!reportedModuleAndDie) {
            reportedModuleAndDie = true;
            VR_LOG_AREA(
                2, kBuildArea,
                "WARNING: Unknown topology has both a module AND a die ID -- choosing to report module "
                "ID only\n");
        }
        dieId = -1;
    }
    const long long packageKey = packageId;
    const long long moduleKey = topology_key::pack(packageKey, moduleId);
    const long long dieKey = topology_key::pack(packageKey, dieId);
    const long long parentKey = dieId >= 0 ? dieKey : moduleId >= 0 ? moduleKey : packageKey;
    const long long coreKey = topology_key::pack(parentKey, coreId);

    // Every level gets its entry, also one that this topology lacks (its key is formed from -1); the
    // queries skip such empty entries. References into a map survive later insertions.
    TNode*& package = nodes[TOP_NODE_PACKAGE][packageKey];
    TNode*& module = nodes[TOP_NODE_MODULE][moduleKey];
    TNode*& die = nodes[TOP_NODE_DIE][dieKey];
    TNode*& core = nodes[TOP_NODE_CORE][coreKey];
    TNode*& thread = nodes[TOP_NODE_THREAD][topology_key::pack(coreKey, threadId)];

    if (package == nullptr) {
        package = new TNode(packageId, TOP_NODE_PACKAGE);
    }
    if (moduleId >= 0 && module == nullptr) {
        module = makeChild_i(package, moduleId, TOP_NODE_MODULE);
    }
    if (dieId >= 0 && die == nullptr) {
        die = makeChild_i(package, dieId, TOP_NODE_DIE);
    }
    if (core == nullptr) {
        TNode* coreParent = moduleId >= 0 ? module : dieId >= 0 ? die : package;
        core = makeChild_i(coreParent, coreId, TOP_NODE_CORE);
    }
    if (thread == nullptr) {
        thread = makeChild_i(core, threadId, TOP_NODE_THREAD);
    }
}

TNode* TopTree::makeChild_i(TNode* parent, int nodeId, top_node_type nodeType) {
    auto node = std::make_unique<TNode>(nodeId, nodeType);
    parent->addChild_i(node.get());
    return node.release();
}

bool TopTree::addNode(int threadId, int coreId, int moduleId, int packageId) {
    if (threadId < 0 || coreId < 0 || packageId < 0) {
        return false;
    }
    const std::pair<int, top_node_type> levels[] = {{packageId, TOP_NODE_PACKAGE},
                                                    {moduleId, TOP_NODE_MODULE},
                                                    {coreId, TOP_NODE_CORE},
                                                    {threadId, TOP_NODE_THREAD}};
    TNode* parent = nullptr;
    for (const auto& [nodeId, nodeType] : levels) {
        if (nodeId == -1) {
            VR_LOG(3, "DEBUG: addNode_i::ID is negative -- going to next level!\n");
            continue;
        }
        parent = addNode_i(parent, nodeId, nodeType);
    }
    return true;
}

TNode* TopTree::addNode_i(TNode* parent, int nodeId, top_node_type nodeType) {
    if (parent == nullptr) {
        TNode*& root = nodes[TOP_NODE_PACKAGE][nodeId];
        if (root == nullptr) {
            root = new TNode(nodeId, nodeType);
        }
        return root;
    }
    // By id alone: a node of another level with this id is taken as the parent of the next level.
    TNode* node = parent->findChild_i(nodeId);
    if (node == nullptr) {
        node = makeChild_i(parent, nodeId, nodeType);
        nodes[nodeType][topology_key::pack(parent->getID(), nodeId)] = node;
    }
    return node;
}

// ---- TopTree: queries --------------------------------------------------------------------------------

void TopTree::getAllNodesOfType(std::vector<const TNode*>& out, top_node_type type) const {
    if (type >= kTopNodeTypeCount) {
        return;
    }
    for (const auto& [key, node] : nodes[type]) {
        if (node != nullptr) {
            out.push_back(node);
        }
    }
}

void TopTree::getAllPackages(std::vector<const TNode*>& out) const {
    getAllNodesOfType(out, TOP_NODE_PACKAGE);
}
void TopTree::getAllModules(std::vector<const TNode*>& out) const {
    getAllNodesOfType(out, TOP_NODE_MODULE);
}
void TopTree::getAllDies(std::vector<const TNode*>& out) const {
    getAllNodesOfType(out, TOP_NODE_DIE);
}
void TopTree::getAllCores(std::vector<const TNode*>& out) const {
    getAllNodesOfType(out, TOP_NODE_CORE);
}
void TopTree::getAllThreads(std::vector<const TNode*>& out) const {
    getAllNodesOfType(out, TOP_NODE_THREAD);
}

unsigned int TopTree::getNumNodesOfType(top_node_type type) const {
    if (type >= kTopNodeTypeCount) {
        return 0;
    }
    return static_cast<unsigned int>(std::count_if(
        nodes[type].begin(), nodes[type].end(), [](const auto& entry) { return entry.second != nullptr; }));
}

unsigned int TopTree::getNumPackages() const {
    return getNumNodesOfType(TOP_NODE_PACKAGE);
}
unsigned int TopTree::getNumModules() const {
    return getNumNodesOfType(TOP_NODE_MODULE);
}
unsigned int TopTree::getNumDies() const {
    return getNumNodesOfType(TOP_NODE_DIE);
}
unsigned int TopTree::getNumCores() const {
    return getNumNodesOfType(TOP_NODE_CORE);
}
unsigned int TopTree::getNumThreads() const {
    return getNumNodesOfType(TOP_NODE_THREAD);
}

void TopTree::dumpPackages() const {
    for (const auto& [key, root] : nodes[TOP_NODE_PACKAGE]) {
        if (root != nullptr) {
            dumpNode(*root, 0);
        }
    }
}

}  // namespace pwr
