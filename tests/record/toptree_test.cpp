#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>
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
std::vector<std::string> describe(const TopTree& tree, pwr::top_node_type type) {
    std::vector<std::string> out;
    for (const TNode* node : nodesOf(tree, type)) {
        out.push_back(node->getFullyQualifiedName() + " #" + std::to_string(node->getUniqueID()));
    }
    return out;
}

std::vector<char> bytesOf(const TopTree& tree) {
    Serializer s;
    tree.serializeTree(s);
    return s.get_buffer();
}

// Two packages; package 0 has cores 0 and 1 (logical CPUs 0 to 3), package 1 has core 0 (CPUs 4, 5).
const char kTwoPackages[] = "0 0 0 -1 1 0 0 -1 2 0 1 -1 3 0 1 -1 4 1 0 -1 5 1 0 -1";

TEST(TopTreeBuild, DieLevelFromTextWithNumberingAndDump) {
    ScopedLogCapture capture(4);
    TopTree tree;
    tree.buildTopology("0 0 0 0 1 0 0 0", 0);

    EXPECT_EQ(tree.getNumPackages(), 1u);
    EXPECT_EQ(tree.getNumModules(), 0u);
    EXPECT_EQ(tree.getNumDies(), 1u);
    EXPECT_EQ(tree.getNumCores(), 1u);
    EXPECT_EQ(tree.getNumThreads(), 2u);
    EXPECT_EQ(describe(tree, pwr::TOP_NODE_THREAD),
              (std::vector<std::string>{"Package_0/Die_0/Core_0/Thread_0 #3",
                                        "Package_0/Die_0/Core_0/Thread_1 #4"}));
    EXPECT_EQ(capture.debug().text(),
              "INFO: Dumping trees\n"
              "0 [0] (Package)\n"
              " 0 [1] (Die)\n"
              "  0 [2] (Core)\n"
              "   0 [3] (Thread)\n"
              "   1 [4] (Thread)\n");
    EXPECT_EQ(capture.errors().text(), "");
}

TEST(TopTreeBuild, ModulesTakeThePlaceOfDies) {
    ScopedLogCapture capture(1);
    TopTree tree;
    tree.buildTopology("0 0 0 0 1 0 0 0 2 0 2 0 3 0 3 0", 2);

    EXPECT_EQ(tree.getNumDies(), 0u);
    EXPECT_EQ(tree.getNumModules(), 2u);
    EXPECT_EQ(describe(tree, pwr::TOP_NODE_CORE),
              (std::vector<std::string>{"Package_0/Module_0/Core_0 #2", "Package_0/Module_1/Core_2 #6",
                                        "Package_0/Module_1/Core_3 #8"}));
}

TEST(TopTreeBuild, NumbersAreReadAsStrtoulAtBaseZero) {
    ScopedLogCapture capture(1);
    TopTree tree;
    // Hexadecimal, octal (010 is 8) and all-ones (-1, so no die); tabs and line ends separate as well.
    tree.buildTopology("0x10\t0 010 0xffffffff\n0x11 0 010 0xFFFFFFFF", 0);
    EXPECT_EQ(tree.getNumDies(), 0u);
    EXPECT_EQ(describe(tree, pwr::TOP_NODE_THREAD),
              (std::vector<std::string>{"Package_0/Core_8/Thread_16 #2", "Package_0/Core_8/Thread_17 #3"}));
}

TEST(TopTreeBuild, BadTextWarnsAndKeepsWhatIsWhole) {
    ScopedLogCapture capture(2);
    TopTree tree;
    tree.buildTopology("0 0 x1 -1 5 0", 0);
    EXPECT_EQ(capture.debug().text(),
              "WARNING: Topology text has 6 tokens, not a multiple of four -- ignoring the last 2\n"
              "WARNING: Topology text has a token that isn't a number: \"x1\"\n");
    // strtoul reads nothing of "x1": core 0.
    EXPECT_EQ(describe(tree, pwr::TOP_NODE_THREAD),
              (std::vector<std::string>{"Package_0/Core_0/Thread_0 #2"}));
}

TEST(TopTreeBuild, EmptyTextGivesAnEmptyTreeStillDumped) {
    for (const char* text : {"", "  \t\n "}) {
        SCOPED_TRACE(text);
        ScopedLogCapture capture(4);
        TopTree tree;
        tree.buildTopology(text, 0);
        EXPECT_EQ(tree.getNumPackages(), 0u);
        EXPECT_EQ(tree.getNumThreads(), 0u);
        EXPECT_EQ(capture.text(), "INFO: Dumping trees\n");
        EXPECT_EQ(bytesOf(tree), (std::vector<char>{0, 0}));
    }
}

TEST(TopTreeBuild, BuildingAgainAddsToTheTreeAndRenumbers) {
    ScopedLogCapture capture(1);
    TopTree tree;
    tree.buildTopology("4 1 0 -1", 0);
    tree.buildTopology("0 0 0 -1 4 1 0 -1", 0);
    // Package 0 comes first in key order, so numbering gives it the low ids; nothing is duplicated.
    EXPECT_EQ(describe(tree, pwr::TOP_NODE_THREAD),
              (std::vector<std::string>{"Package_0/Core_0/Thread_0 #2", "Package_1/Core_0/Thread_4 #5"}));
}

TEST(TopTreeQueries, KeyOrderChildOrderAndAppending) {
    ScopedLogCapture capture(1);
    TopTree tree;
    // Cores arrive out of order; children are kept sorted by id.
    tree.buildTopology("9 1 7 -1 3 0 5 -1 1 0 2 -1 0 0 2 -1", 0);

    std::vector<const TNode*> out;
    TopTree other;
    other.buildTopology("0 3 0 -1", 0);
    other.getAllPackages(out);
    tree.getAllPackages(out);
    ASSERT_EQ(out.size(), 3u);
    EXPECT_EQ(out[0]->getName(), "Package_3");  // what was there stays first
    EXPECT_EQ(out[1]->getName(), "Package_0");
    EXPECT_EQ(out[2]->getName(), "Package_1");
    EXPECT_EQ(out[1]->getParent(), nullptr);

    std::vector<std::string> childNames;
    for (const TNode* child : *out[1]) {
        childNames.push_back(child->getName());
        EXPECT_EQ(child->getParent(), out[1]);
    }
    EXPECT_EQ(childNames, (std::vector<std::string>{"Core_2", "Core_5"}));
    EXPECT_EQ(out[1]->getNumChildren(), 2u);

    EXPECT_EQ(tree.getNumNodesOfType(pwr::TOP_NODE_NULL), 0u);
    EXPECT_EQ(tree.getNumNodesOfType(static_cast<pwr::top_node_type>(1000)), 0u);
    EXPECT_TRUE(nodesOf(tree, pwr::TOP_NODE_NULL).empty());
    EXPECT_EQ(tree.getNumNodesOfType(pwr::TOP_NODE_SOC), 0u);
    EXPECT_STREQ(pwr::getTopNodeTypeName(pwr::TOP_NODE_SOC), "SOC");
    EXPECT_STREQ(pwr::getTopNodeTypeName(pwr::TOP_NODE_NULL), "NULL");
    EXPECT_STREQ(pwr::getTopNodeTypeName(static_cast<pwr::top_node_type>(8)), "Unknown");
}

TEST(TopTreeAddNode, BuildsNodeByNodeWithoutNumbers) {
    ScopedLogCapture capture(3);
    TopTree tree;
    EXPECT_TRUE(tree.addNode(1, 2, -1, 3));
    EXPECT_EQ(capture.debug().text(), "DEBUG: addNode_i::ID is negative -- going to next level!\n");
    EXPECT_EQ(tree.getNumModules(), 0u);
    EXPECT_EQ(describe(tree, pwr::TOP_NODE_THREAD),
              (std::vector<std::string>{"Package_3/Core_2/Thread_1 #-1"}));

    // Existing nodes are reused; a module level goes between package and core.
    EXPECT_TRUE(tree.addNode(0, 2, -1, 3));
    EXPECT_TRUE(tree.addNode(4, 6, 1, 3));
    EXPECT_EQ(tree.getNumPackages(), 1u);
    EXPECT_EQ(tree.getNumCores(), 2u);
    EXPECT_EQ(describe(tree, pwr::TOP_NODE_THREAD),
              (std::vector<std::string>{"Package_3/Core_2/Thread_0 #-1", "Package_3/Core_2/Thread_1 #-1",
                                        "Package_3/Module_1/Core_6/Thread_4 #-1"}));

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
    const std::vector<std::string> threads = describe(*original, pwr::TOP_NODE_THREAD);

    TopTree copy(*original);
    TopTree assigned;
    assigned.buildTopology("7 7 7 -1", 0);
    assigned = *original;
    original.reset();
    EXPECT_EQ(bytesOf(copy), bytes);
    EXPECT_EQ(describe(copy, pwr::TOP_NODE_THREAD), threads);
    EXPECT_EQ(describe(assigned, pwr::TOP_NODE_THREAD), threads);
    EXPECT_EQ(copy.getNumModules(), 2u);

    TopTree moved(std::move(copy));
    EXPECT_EQ(bytesOf(moved), bytes);
    EXPECT_EQ(copy.getNumThreads(), 0u);  // NOLINT(bugprone-use-after-move): a moved-from tree is empty
    assigned = std::move(moved);
    EXPECT_EQ(bytesOf(assigned), bytes);
    EXPECT_EQ(moved.getNumPackages(), 0u);  // NOLINT(bugprone-use-after-move)
}

TEST(TopTreeFormat, OneThreadIsThreeRecordsAndThreeEndMarks) {
    ScopedLogCapture capture(1);
    TopTree tree;
    tree.buildTopology("3 0 1 -1", 0);
    const std::vector<char> expected = {1,  0,                                            // one package
                                        0,  0,  0,  0,  1,  0,  0,  0,                    // Package_0
                                        1,  0,  0,  0,  3,  0,  0,  0,                    // Core_1
                                        3,  0,  0,  0,  4,  0,  0,  0,                    // Thread_3
                                        -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};  // three ends
    EXPECT_EQ(bytesOf(tree), expected);
}

TEST(TopTreeFormat, RoundTripKeepsNumbersAndForm) {
    ScopedLogCapture capture(1);
    for (unsigned long long coresPerModule : {0ull, 2ull}) {
        SCOPED_TRACE(coresPerModule);
        TopTree tree;
        tree.buildTopology(kTwoPackages, coresPerModule);
        Serializer s(bytesOf(tree));
        TopTree read;
        read.buildTopology("9 9 9 9", 0);  // replaced by what is read
        EXPECT_EQ(read.deserializeTree(s), 0);
        for (auto type : {pwr::TOP_NODE_PACKAGE, pwr::TOP_NODE_MODULE, pwr::TOP_NODE_DIE, pwr::TOP_NODE_CORE,
                          pwr::TOP_NODE_THREAD}) {
            EXPECT_EQ(describe(read, type), describe(tree, type));
        }
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
        EXPECT_EQ(describe(reread, pwr::TOP_NODE_THREAD), describe(read, pwr::TOP_NODE_THREAD));
    }
    // Only the last end mark is missing at the longest cut: every node was read.
    EXPECT_EQ(lastCount, 2u + 2u + 3u + 6u);
    EXPECT_EQ(capture.text(), "");
}

// Hand-made records: a count, then (id, type) pairs and end marks.
std::vector<char> record(uint16_t count, const std::vector<std::pair<int32_t, uint32_t>>& nodes) {
    Serializer s;
    s.write_count(count);
    for (const auto& [id, type] : nodes) {
        s.write_int32(id);
        if (id != -1) {
            s.write_uint32(type);
        }
    }
    return s.get_buffer();
}

constexpr int32_t kEnd = -1;

TEST(TopTreeFormat, CountsThatDisagreeWithTheRecords) {
    ScopedLogCapture capture(1);
    const std::vector<std::pair<int32_t, uint32_t>> twoPackages = {{0, 1}, {kEnd, 0}, {1, 1}, {kEnd, 0}};
    struct Case {
        uint16_t count;
        int status;
        unsigned int packages;
    } cases[] = {{0, 0, 0}, {1, 0, 1}, {2, 0, 2}, {3, -1, 2}, {0xffff, -1, 2}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.count);
        Serializer s(record(c.count, twoPackages));
        TopTree read;
        EXPECT_EQ(read.deserializeTree(s), c.status);
        EXPECT_EQ(read.getNumPackages(), c.packages);
    }
    Serializer shortCount(std::vector<char>{1});
    TopTree read;
    EXPECT_EQ(read.deserializeTree(shortCount), -1);
    EXPECT_EQ(read.getNumPackages(), 0u);
}

TEST(TopTreeFormat, CorruptRecordsStopTheRead) {
    ScopedLogCapture capture(1);
    struct Case {
        const char* what;
        std::vector<char> bytes;
        unsigned int nodesKept;
    };
    std::vector<std::pair<int32_t, uint32_t>> deep = {{0, 1}};
    for (int i = 0; i < 40; ++i) {
        deep.push_back({i, 3});
    }
    const Case cases[] = {
        {"type above Die", record(1, {{0, 1}, {0, 7}, {kEnd, 0}, {kEnd, 0}}), 1},
        {"huge type", record(1, {{0, 1}, {2, 3}, {kEnd, 0}, {5, 0xffffffffu}}), 2},
        {"a core as a root", record(2, {{0, 1}, {kEnd, 0}, {1, 3}, {kEnd, 0}}), 1},
        {"package below a core", record(1, {{0, 1}, {0, 3}, {1, 1}, {kEnd, 0}, {kEnd, 0}, {kEnd, 0}}), 2},
        {"end mark where the count promised a package", record(2, {{0, 1}, {kEnd, 0}, {kEnd, 0}}), 1},
        {"nesting deeper than any topology", record(1, deep), 16},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Serializer s(c.bytes);
        TopTree read;
        EXPECT_EQ(read.deserializeTree(s), -1);
        EXPECT_EQ(read.getNumPackages() + read.getNumCores(), c.nodesKept);
        bytesOf(read);  // what was kept is a sound tree
    }
}

TEST(TopTreeFormat, APackageReadTwiceReplacesTheFirst) {
    ScopedLogCapture capture(1);
    // Package 0 with cores 1 and 2, then package 0 again with core 2 only.
    Serializer s(record(2, {{0, 1},
                            {1, 3},
                            {kEnd, 0},
                            {2, 3},
                            {kEnd, 0},
                            {kEnd, 0},
                            {0, 1},
                            {2, 3},
                            {7, 4},
                            {kEnd, 0},
                            {kEnd, 0},
                            {kEnd, 0}}));
    TopTree read;
    EXPECT_EQ(read.deserializeTree(s), 0);
    EXPECT_EQ(describe(read, pwr::TOP_NODE_CORE), (std::vector<std::string>{"Package_0/Core_2 #1"}));
    EXPECT_EQ(describe(read, pwr::TOP_NODE_THREAD),
              (std::vector<std::string>{"Package_0/Core_2/Thread_7 #2"}));
}

TEST(TopTreeFormat, NodesWithNegativeIdsAreLeftOutWithAWarning) {
    ScopedLogCapture capture(2);
    TopTree tree;
    tree.buildTopology("0 0 0xfffffffe -1 1 0 3 -1 2 0xffffffff 0 -1", 0);
    capture.clear();
    Serializer s(bytesOf(tree));
    EXPECT_EQ(capture.debug().text(),
              "WARNING: Topology node Package_-1 has a negative id and is not stored\n"
              "WARNING: Topology node Package_0/Core_-2 has a negative id and is not stored\n");
    TopTree read;
    EXPECT_EQ(read.deserializeTree(s), 0);
    EXPECT_EQ(describe(read, pwr::TOP_NODE_THREAD),
              (std::vector<std::string>{"Package_0/Core_3/Thread_1 #2"}));
}

// ---- TopologyChange -------------------------------------------------------------------------------------

TEST(TopologyChange, FieldsNamesAndModule) {
    pwr::TopologyChange none;
    EXPECT_EQ(none.getTimestamp(), 0u);
    EXPECT_EQ(none.getActionType(), pwr::CPU_ACTION_NOP);
    EXPECT_EQ(none.getActionName(), "NOP");
    EXPECT_EQ(none.getModuleID(), -1);
    EXPECT_EQ(none.getCoreID(), 0);

    pwr::vr_driver_topology_change raw{0x1122334455667788ull, 2, 9, 7, 1};
    pwr::TopologyChange change(raw, 2);
    EXPECT_EQ(change.getTimestamp(), 0x1122334455667788ull);
    EXPECT_EQ(change.getActionName(), "ONLINE PREPARE");
    EXPECT_EQ(change.getLogicalProcessorID(), 9);
    EXPECT_EQ(change.getCoreID(), 7);
    EXPECT_EQ(change.getPackageID(), 1);
    EXPECT_EQ(change.getModuleID(), 3);
    EXPECT_EQ(pwr::TopologyChange(raw, 0).getModuleID(), -1);
    change.resetTimestamp(5);
    EXPECT_EQ(change.getTimestamp(), 5u);

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

TEST(TopologyChange, EachShortFieldHasItsWarning) {
    pwr::TopologyChange full(pwr::vr_driver_topology_change{1, 3, 2, 3, 4}, 1);
    Serializer s;
    full.serialize(s);
    const std::vector<char> bytes = s.get_buffer();
    // The field that runs short at each cut: its first byte and its word.
    const std::pair<size_t, const char*> fields[] = {{0, "timestamp"}, {8, "type"},    {12, "cpu id"},
                                                     {14, "core id"},  {16, "pkg id"}, {18, "module id"}};
    for (size_t length = 0; length < bytes.size(); ++length) {
        SCOPED_TRACE(length);
        const char* word = nullptr;
        for (const auto& [start, name] : fields) {
            if (length >= start) {
                word = name;
            }
        }
        ScopedLogCapture capture(2);
        Serializer in(std::vector<char>(bytes.begin(), bytes.begin() + length));
        pwr::TopologyChange read;
        EXPECT_EQ(read.deserialize(in), -1);
        EXPECT_EQ(capture.debug().text(),
                  std::string("WARNING: couldn't extract ") + word +
                      " for topology change!\nWARNING: error extracting topology changes!\n");
        EXPECT_EQ(read.getActionName(), length >= 12 ? "ONLINE" : "NOP");
    }
}

}  // namespace
