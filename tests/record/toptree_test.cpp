#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "support/LogCapture.h"
#include "vantrell/record/Serializer.h"
#include "vantrell/record/TopTree.h"

namespace {

using pwr::Serializer;
using pwr::TNode;
using pwr::TopTree;
using vrtest::ScopedLogCapture;

std::vector<const TNode*> nodesOf(const TopTree& tree, pwr::top_node_type type) {
    std::vector<const TNode*> nodes;
    tree.getAllNodesOfType(nodes, type);
    return nodes;
}

// "Package_0/Core_1/Thread_3 #4" for each node of a type, in key order.
std::string describe(const TopTree& tree, pwr::top_node_type type) {
    std::string out;
    for (const TNode* node : nodesOf(tree, type)) {
        out += (out.empty() ? "" : ", ") + node->getFullyQualifiedName() + " #" +
               std::to_string(node->getUniqueID());
    }
    return out;
}

// The counts of packages, modules, dies, cores and threads, then the threads.
std::string summary(const TopTree& tree) {
    std::ostringstream out;
    out << tree.getNumPackages() << "/" << tree.getNumModules() << "/" << tree.getNumDies() << "/"
        << tree.getNumCores() << "/" << tree.getNumThreads() << ": " << describe(tree, pwr::TOP_NODE_THREAD);
    return out.str();
}

std::vector<char> bytesOf(const TopTree& tree) {
    Serializer s;
    tree.serializeTree(s);
    return s.get_buffer();
}

// Two packages; package 0 has cores 0 and 1 (logical CPUs 0 to 3), package 1 has core 0 (CPUs 4, 5).
const char kTwoPackages[] = "0 0 0 -1 1 0 0 -1 2 0 1 -1 3 0 1 -1 4 1 0 -1 5 1 0 -1";

TEST(TopTreeBuild, FromGroupsOfThreadPackageCoreAndDie) {
    // What, text, cores per module, the tree's summary, the log.
    const std::tuple<const char*, const char*, unsigned long long, const char*, const char*> cases[] = {
        {"dies", "0 0 0 0 1 0 0 0", 0,
         "1/0/1/1/2: Package_0/Die_0/Core_0/Thread_0 #3, Package_0/Die_0/Core_0/Thread_1 #4", ""},
        {"modules", "0 0 0 -1 1 0 0 -1 2 0 2 -1 3 0 3 -1", 2,
         "1/2/0/3/4: Package_0/Module_0/Core_0/Thread_0 #3, Package_0/Module_0/Core_0/Thread_1 #4, "
         "Package_0/Module_1/Core_2/Thread_2 #7, Package_0/Module_1/Core_3/Thread_3 #9",
         ""},
        {"strtoul at base 0: hex, octal, all ones is -1 (no die); any white space separates",
         "0x10\t0 010 0xffffffff\n0x11 0 010 0xFFFFFFFF", 0,
         "1/0/0/1/2: Package_0/Core_8/Thread_16 #2, Package_0/Core_8/Thread_17 #3", ""},
        {"bad text keeps what is whole; nothing of \"x1\" reads as 0", "0 0 x1 -1 5 0", 0,
         "1/0/0/1/1: Package_0/Core_0/Thread_0 #2",
         "WARNING: Topology text has 6 tokens, not a multiple of four -- ignoring the last 2\n"
         "WARNING: Topology text has a token that isn't a number: \"x1\"\n"},
        {"empty", "", 0, "0/0/0/0/0: ", ""},
        {"blank", "  \t\n ", 0, "0/0/0/0/0: ", ""},
    };
    for (const auto& [what, text, coresPerModule, expected, log] : cases) {
        SCOPED_TRACE(what);
        ScopedLogCapture capture(2);
        TopTree tree;
        tree.buildTopology(text, coresPerModule);
        EXPECT_EQ(summary(tree), expected);
        EXPECT_EQ(capture.text(), log);
    }

    // Building again adds to the tree and numbers it anew in key order; nothing is duplicated.
    ScopedLogCapture capture(4);
    TopTree tree;
    tree.buildTopology("4 1 0 -1", 0);
    tree.buildTopology("0 0 0 0 4 1 0 -1", 0);
    EXPECT_EQ(summary(tree), "2/0/1/2/2: Package_0/Die_0/Core_0/Thread_0 #3, Package_1/Core_0/Thread_4 #6");
    EXPECT_EQ(capture.text(),
              "INFO: Dumping trees\n1 [0] (Package)\n 0 [1] (Core)\n  4 [2] (Thread)\n"
              "INFO: Dumping trees\n0 [0] (Package)\n 0 [1] (Die)\n  0 [2] (Core)\n   0 [3] (Thread)\n"
              "1 [4] (Package)\n 0 [5] (Core)\n  4 [6] (Thread)\n");
    capture.clear();
    TopTree empty;
    empty.buildTopology("", 0);
    EXPECT_EQ(capture.text(), "INFO: Dumping trees\n") << "an empty tree is dumped too";
    EXPECT_EQ(bytesOf(empty), (std::vector<char>{0, 0}));
}

TEST(TopTreeQueries, KeyOrderChildOrderAndAppending) {
    ScopedLogCapture capture(1);
    TopTree tree;
    tree.buildTopology("9 1 7 -1 3 0 5 -1 1 0 2 -1 0 0 2 -1", 0);  // cores arrive out of order
    TopTree other;
    other.buildTopology("0 3 0 -1", 0);
    std::vector<const TNode*> out;
    other.getAllPackages(out);
    tree.getAllPackages(out);
    std::string names;
    for (const TNode* node : out) {
        names += node->getName() + " ";
    }
    for (const TNode* child : *out.at(1)) {
        names += child->getName() + " ";
    }
    EXPECT_EQ(names, "Package_3 Package_0 Package_1 Core_2 Core_5 ")
        << "appended behind what was there, in key order; children sorted by id";
    for (auto type : {pwr::TOP_NODE_NULL, pwr::TOP_NODE_SOC, static_cast<pwr::top_node_type>(1000)}) {
        EXPECT_EQ(tree.getNumNodesOfType(type), 0u);
        EXPECT_TRUE(nodesOf(tree, type).empty());
    }
    EXPECT_STREQ(pwr::getTopNodeTypeName(pwr::TOP_NODE_SOC), "SOC");
    EXPECT_STREQ(pwr::getTopNodeTypeName(static_cast<pwr::top_node_type>(8)), "Unknown");
}

TEST(TopTreeAddNode, BuildsNodeByNodeWithoutNumbers) {
    ScopedLogCapture capture(3);
    TopTree tree;
    EXPECT_TRUE(tree.addNode(1, 2, -1, 3));
    EXPECT_EQ(capture.text(), "DEBUG: addNode_i::ID is negative -- going to next level!\n");
    // Existing nodes are reused; a module level goes between package and core.
    EXPECT_TRUE(tree.addNode(0, 2, -1, 3));
    EXPECT_TRUE(tree.addNode(4, 6, 1, 3));
    // A child is found by id alone: core 1 is taken to be module 1, and the thread goes under it.
    EXPECT_TRUE(tree.addNode(5, 1, -1, 3));
    EXPECT_EQ(summary(tree),
              "1/1/0/2/4: Package_3/Module_1/Thread_5 #-1, Package_3/Core_2/Thread_0 #-1, "
              "Package_3/Core_2/Thread_1 #-1, Package_3/Module_1/Core_6/Thread_4 #-1");

    capture.clear();
    EXPECT_FALSE(tree.addNode(-1, 0, 0, 0));
    EXPECT_FALSE(tree.addNode(0, -2, 0, 0));
    EXPECT_FALSE(tree.addNode(0, 0, 0, -1));
    EXPECT_EQ(tree.getNumPackages(), 1u);
    EXPECT_EQ(capture.text(), "");
}

TEST(TopTreeValue, CopiesAreDeepAndMovesEmptyTheSource) {
    ScopedLogCapture capture(1);
    auto original = std::make_unique<TopTree>();
    original->buildTopology(kTwoPackages, 2);
    const std::vector<char> bytes = bytesOf(*original);
    const std::string whole = summary(*original);

    TopTree copy(*original);
    TopTree assigned;
    assigned.buildTopology("7 7 7 -1", 0);
    assigned = *original;
    original.reset();
    EXPECT_EQ(summary(copy), whole);
    EXPECT_EQ(summary(assigned), whole);

    TopTree moved(std::move(copy));
    EXPECT_EQ(summary(moved), whole);
    EXPECT_EQ(copy.getNumThreads(), 0u);  // NOLINT(bugprone-use-after-move): a moved-from tree is empty
    assigned = std::move(moved);
    EXPECT_EQ(bytesOf(assigned), bytes);
    EXPECT_EQ(moved.getNumPackages(), 0u);  // NOLINT(bugprone-use-after-move)
}

// Hand-made records: a count, then (id, type) pairs and end marks.
constexpr int32_t kEnd = -1;
std::vector<char> record(uint16_t count, const std::vector<std::pair<int32_t, uint32_t>>& nodes) {
    Serializer s;
    s.write_count(count);
    for (const auto& [id, type] : nodes) {
        s.write_int32(id);
        if (id != kEnd) {
            s.write_uint32(type);
        }
    }
    return s.get_buffer();
}

TEST(TopTreeFormat, RoundTripKeepsNumbersAndForm) {
    ScopedLogCapture capture(1);
    TopTree one;
    one.buildTopology("3 0 1 -1", 0);
    EXPECT_EQ(bytesOf(one), record(1, {{0, 1}, {1, 3}, {3, 4}, {kEnd, 0}, {kEnd, 0}, {kEnd, 0}}));
    for (unsigned long long coresPerModule : {0ull, 2ull}) {
        SCOPED_TRACE(coresPerModule);
        TopTree tree;
        tree.buildTopology(kTwoPackages, coresPerModule);
        Serializer s(bytesOf(tree));
        TopTree read;
        EXPECT_EQ(read.deserializeTree(s), 0);
        EXPECT_EQ(summary(read), summary(tree));
        EXPECT_EQ(bytesOf(read), bytesOf(tree));
    }
}

TEST(TopTreeFormat, EveryTruncatedPrefixFailsAndKeepsAPrefixOfTheTree) {
    ScopedLogCapture capture(1);
    TopTree tree;
    tree.buildTopology(kTwoPackages, 2);
    const std::vector<char> bytes = bytesOf(tree);
    unsigned int lastCount = 0;
    for (size_t length = 0; length < bytes.size(); ++length) {
        SCOPED_TRACE(length);
        Serializer s(std::vector<char>(bytes.begin(), bytes.begin() + length));
        TopTree read;
        EXPECT_EQ(read.deserializeTree(s), -1);
        unsigned int count =
            read.getNumPackages() + read.getNumModules() + read.getNumCores() + read.getNumThreads();
        EXPECT_GE(count, lastCount);
        lastCount = count;
        // What was kept is numbered and can be written and read again whole.
        Serializer again(bytesOf(read));
        TopTree reread;
        EXPECT_EQ(reread.deserializeTree(again), 0);
        EXPECT_EQ(summary(reread), summary(read));
    }
    EXPECT_EQ(lastCount, 2u + 2u + 3u + 6u) << "only the last end mark is missing at the longest cut";
    EXPECT_EQ(capture.text(), "");
}

TEST(TopTreeFormat, RecordsThatDisagreeWithTheirCountOrNoWriterMakes) {
    ScopedLogCapture capture(1);
    const std::vector<std::pair<int32_t, uint32_t>> twoPackages = {{0, 1}, {kEnd, 0}, {1, 1}, {kEnd, 0}};
    std::vector<std::pair<int32_t, uint32_t>> deep = {{0, 1}};
    for (int i = 0; i < 40; ++i) {
        deep.push_back({i, 3});
    }
    // Package 0 with cores 1 and 2, then package 0 again with core 2 and its thread 7.
    const std::vector<std::pair<int32_t, uint32_t>> twice = {{0, 1},    {1, 3},    {kEnd, 0}, {2, 3},
                                                             {kEnd, 0}, {kEnd, 0}, {0, 1},    {2, 3},
                                                             {7, 4},    {kEnd, 0}, {kEnd, 0}, {kEnd, 0}};
    // What, the record, the status, the summary of what was kept.
    const std::tuple<const char*, std::vector<char>, int, const char*> cases[] = {
        {"count 0", record(0, twoPackages), 0, "0/0/0/0/0: "},
        {"count 1", record(1, twoPackages), 0, "1/0/0/0/0: "},
        {"count 2", record(2, twoPackages), 0, "2/0/0/0/0: "},
        {"count 3", record(3, twoPackages), -1, "2/0/0/0/0: "},
        {"count 65535", record(0xffff, twoPackages), -1, "2/0/0/0/0: "},
        {"half a count", {1}, -1, "0/0/0/0/0: "},
        {"type above Die", record(1, {{0, 1}, {0, 7}, {kEnd, 0}, {kEnd, 0}}), -1, "1/0/0/0/0: "},
        {"huge type", record(1, {{0, 1}, {2, 3}, {kEnd, 0}, {5, 0xffffffffu}}), -1, "1/0/0/1/0: "},
        {"a core as a root is a package",
         record(2, {{0, 1}, {kEnd, 0}, {1, 3}, {7, 4}, {kEnd, 0}, {kEnd, 0}}), 0,
         "2/0/0/0/1: Core_1/Thread_7 #2"},
        {"package below a core", record(1, {{0, 1}, {0, 3}, {1, 1}, {kEnd, 0}, {kEnd, 0}, {kEnd, 0}}), -1,
         "1/0/0/1/0: "},
        {"end mark where the count promised a package", record(2, {{0, 1}, {kEnd, 0}, {kEnd, 0}}), -1,
         "1/0/0/0/0: "},
        {"nesting deeper than any topology", record(1, deep), -1, "1/0/0/15/0: "},
        {"a package read twice replaces the first", record(2, twice), 0,
         "1/0/0/1/1: Package_0/Core_2/Thread_7 #2"},
    };
    for (const auto& [what, bytes, status, expected] : cases) {
        SCOPED_TRACE(what);
        Serializer s(bytes);
        TopTree read;
        EXPECT_EQ(read.deserializeTree(s), status);
        EXPECT_EQ(summary(read), expected);
        bytesOf(read);  // what was kept is a sound tree
    }
}

TEST(TopTreeFormat, ReadingAddsToTheTreeAndAnEmptyOrShortCountLeavesItAsItWas) {
    ScopedLogCapture capture(1);
    TopTree tree;
    tree.addNode(0, 0, -1, 9);
    const std::pair<std::vector<char>, int> cases[] = {{{1}, -1}, {record(0, {}), 0}};
    for (const auto& [bytes, status] : cases) {
        Serializer s(bytes);
        EXPECT_EQ(tree.deserializeTree(s), status);
        EXPECT_EQ(summary(tree), "1/0/0/1/1: Package_9/Core_0/Thread_0 #-1");
    }
    Serializer s(record(1, {{2, 1}, {kEnd, 0}}));
    EXPECT_EQ(tree.deserializeTree(s), 0);
    EXPECT_EQ(describe(tree, pwr::TOP_NODE_PACKAGE), "Package_2 #0, Package_9 #1");
}

TEST(TopTreeFormat, NodesWithNegativeIdsAreLeftOutWithAWarning) {
    ScopedLogCapture capture(2);
    TopTree tree;
    tree.buildTopology("0 0 0xfffffffe -1 1 0 3 -1 2 0xffffffff 0 -1", 0);
    capture.clear();
    Serializer s(bytesOf(tree));
    EXPECT_EQ(capture.text(),
              "WARNING: Topology node Package_-1 has a negative id and is not stored\n"
              "WARNING: Topology node Package_0/Core_-2 has a negative id and is not stored\n");
    TopTree read;
    EXPECT_EQ(read.deserializeTree(s), 0);
    EXPECT_EQ(summary(read), "1/0/0/1/1: Package_0/Core_3/Thread_1 #2");
}

TEST(TopologyChange, FieldsNamesAndModule) {
    pwr::TopologyChange none;
    EXPECT_EQ(none.getActionType(), pwr::CPU_ACTION_NOP);
    EXPECT_EQ(none.getActionName(), "NOP");
    EXPECT_EQ(none.getModuleID(), -1);

    pwr::vr_driver_topology_change raw{0x1122334455667788ull, 2, 9, 7, 1};
    EXPECT_EQ(pwr::TopologyChange(raw, 2).getModuleID(), 3) << "core 7 with two cores per module";
    EXPECT_EQ(pwr::TopologyChange(raw, 0).getModuleID(), -1);
    const std::pair<uint32_t, const char*> names[] = {
        {0, "NOP"}, {1, "OFFLINE"}, {2, "ONLINE PREPARE"}, {3, "ONLINE"}, {9, "NOP"}};
    for (const auto& [action, name] : names) {
        raw.action = action;
        EXPECT_EQ(pwr::TopologyChange(raw, 0).getActionName(), name);
        EXPECT_EQ(pwr::TopologyChange(raw, 0).getActionType(), action);
    }
}

TEST(TopologyChange, RecordIs22BytesAndReadsBack) {
    ScopedLogCapture capture(1);
    pwr::vr_driver_topology_change raw{0x0102030405060708ull, 1, 0x0a0b, 0x0c0d, 0x0e0f};
    Serializer s;
    pwr::TopologyChange(raw, 0).serialize(s);
    const std::vector<char> expected = {8, 7,    6,    5,    4,    3,    2,    1,  1,  0,  0,
                                        0, 0x0b, 0x0a, 0x0d, 0x0c, 0x0f, 0x0e, -1, -1, -1, -1};
    EXPECT_EQ(s.get_buffer(), expected);

    Serializer in(expected);
    pwr::TopologyChange read;
    EXPECT_EQ(read.deserialize(in), 0);
    std::ostringstream text;
    text << read;
    EXPECT_EQ(text.str(),
              "Top Change:\n\ttsc = 72623859790382856\n\ttype = OFFLINE\n\tlogicalProcID = 2571\n"
              "\tcoreID = 3085\n\tmoduleID = -1\n\tpkgID = 3599\n");
    EXPECT_EQ(capture.text(), "");
}

}  // namespace
