#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "value/RegistryEnvironment.h"
#include "vantrell/record/SystemMetadata.h"
#include "vantrell/record/TopTree.h"
#include "vantrell/value/DataHandleProvider.h"
#include "vantrell/value/Description.h"
#include "vantrell/value/EntityHandle.h"

namespace pwr {
// The door to the private addChild: no public operation can make a cycle.
class EntityHandleTestPeer {
  public:
    static int addChild(EntityHandle* parent, EntityHandle* child) { return parent->addChild(child); }
};
}  // namespace pwr

namespace {

using pwr::DataHandleProvider;
using pwr::EntityHandle;
using Peer = pwr::EntityHandleTestPeer;
using vrtest::ScopedLogCapture;

const char kCycleLine[] = "WARNING: Could not add relationship because cycle detected\n";

pwr::SystemMetadata metadataOf(const char* topology, unsigned long long coresPerModule = 0) {
    pwr::SystemMetadata metadata;
    metadata.buildTopology(topology, coresPerModule);
    return metadata;
}

// One package, cores 0 and 1, logical CPUs 0 to 3.
const pwr::SystemMetadata& onePackage() {
    static const pwr::SystemMetadata metadata = metadataOf("0 0 0 -1 1 0 0 -1 2 0 1 -1 3 0 1 -1");
    return metadata;
}

std::string qualified(const EntityHandle* entity) {
    return entity == nullptr ? "-" : entity->getQualifiedName();
}

std::string childNames(const EntityHandle* entity) {
    std::string names;
    for (const EntityHandle* child : entity->getChildren()) {
        names += child->getName() + " ";
    }
    return names;
}

// What a logical CPU maps to at each level, package to thread, and the counts of the levels.
std::string levelsOf(int cpu) {
    return qualified(EntityHandle::getCPUPackageHandle(cpu)) + " " +
           qualified(EntityHandle::getCPUModuleHandle(cpu)) + " " +
           qualified(EntityHandle::getCPUCoreHandle(cpu)) + " " +
           qualified(EntityHandle::getCPUThreadHandle(cpu));
}

std::string counts() {
    return std::to_string(EntityHandle::getCPUPackageCount()) + " " +
           std::to_string(EntityHandle::getCPUModuleCount()) + " " +
           std::to_string(EntityHandle::getCPUCoreCount()) + " " +
           std::to_string(EntityHandle::getCPUThreadCount());
}

TEST(EntityHandle, CreateLinksChildrenAndQualifiesNames) {
    ScopedLogCapture capture(2);
    EntityHandle* disk = EntityHandle::create("Disk", nullptr);
    EntityHandle* part = EntityHandle::create("Part", "p", disk);
    pwr::Description description("Sector", "s");
    description.setHeader("Sectors");
    const EntityHandle* sector = EntityHandle::create(description, part);
    EXPECT_EQ(part->getParent(), disk);
    EXPECT_EQ(childNames(disk), "Part ");
    EXPECT_EQ(part->getShortName(), "p");
    EXPECT_EQ(sector->getHeader(), "Sectors");

    // The registry hands the entity back by id, through the DataHandle slot.
    const pwr::DataHandle* found = nullptr;
    ASSERT_EQ(pwr::DataHandle::get(sector->getId(), found), 0);
    EXPECT_EQ(found->getQualifiedName(), "Disk/Part/Sector");

    // Same name, another entity; a parent with an empty name ends the qualified name.
    EXPECT_NE(EntityHandle::create("Disk", nullptr), disk);
    EXPECT_EQ(EntityHandle::create("Fan", EntityHandle::create("", nullptr))->getQualifiedName(), "Fan");
    EXPECT_EQ(capture.text(), "");
}

TEST(EntityHandle, CyclesAreRefusedAndAChildHasOneParent) {
    ScopedLogCapture capture(2);
    EntityHandle* a = EntityHandle::create("A", nullptr);
    EntityHandle* b = EntityHandle::create("B", a);
    EntityHandle* c = EntityHandle::create("C", b);
    EXPECT_EQ(Peer::addChild(c, a), 1);
    EXPECT_EQ(Peer::addChild(b, b), 1);
    EXPECT_EQ(capture.text(), std::string(kCycleLine) + kCycleLine);
    EXPECT_EQ(a->getParent(), nullptr);
    EXPECT_EQ(childNames(c), "");

    capture.clear();
    EntityHandle* d = EntityHandle::create("D", nullptr);
    EXPECT_EQ(Peer::addChild(d, c), 0);
    EXPECT_EQ(Peer::addChild(d, c), 0);  // again: still one entry
    EXPECT_EQ(childNames(b), "");
    EXPECT_EQ(childNames(d), "C ");
    EXPECT_EQ(qualified(c), "D/C");
    EXPECT_EQ(capture.text(), "");
}

TEST(DataHandleProvider, OnePackageTwoCoresFourThreads) {
    ScopedLogCapture capture(4);
    onePackage();  // built, and its log dropped, ahead of the provider's
    capture.clear();
    ASSERT_EQ(DataHandleProvider::resetTopology(onePackage()), 0);
    const EntityHandle* system = EntityHandle::getSystemHandle();
    ASSERT_NE(system, nullptr);
    EXPECT_EQ(system->getQualifiedName(), "SYSTEM");
    EXPECT_EQ(childNames(system), "CPU ");
    EXPECT_EQ(EntityHandle::getCPUEntityHandle(nullptr), system->getChildren()[0]);
    EXPECT_EQ(counts(), "4 0 4 4");
    EXPECT_EQ(levelsOf(3), "CPU/Package_0 - CPU/Package_0/Core_1 CPU/Package_0/Core_1/Thread_3");
    EXPECT_EQ(levelsOf(4), "- - - -");

    // Each node has its entity, hung under its parent's; the log names both in order of building.
    std::string expected;
    std::vector<const pwr::TNode*> nodes;
    onePackage().getCPUTopology().getAllPackages(nodes);
    for (size_t i = 0; i < nodes.size(); ++i) {
        const pwr::TNode* node = nodes[i];
        const EntityHandle* entity = EntityHandle::getCPUEntityHandle(node);
        ASSERT_NE(entity, nullptr);
        EXPECT_EQ(entity->getName(), node->getName());
        EXPECT_EQ(entity->getParent(), EntityHandle::getCPUEntityHandle(node->getParent()));
        char line[128];
        std::snprintf(line, sizeof line, "INFO: NODE %p maps to ENTITY %p\n", static_cast<const void*>(node),
                      static_cast<const void*>(entity));
        expected += "INFO: node name = " + node->getName() + "\n" + line;
        nodes.insert(nodes.begin() + static_cast<long>(i) + 1, node->begin(), node->end());
    }
    EXPECT_EQ(nodes.size(), 7u);
    EXPECT_EQ(capture.text(), expected);
}

TEST(DataHandleProvider, LookupsAreKeyedByLogicalCpuAndCountCpus) {
    ScopedLogCapture capture(1);
    // Logical CPUs 0 and 1 sit in package 1, CPUs 2 and 3 in package 0; cores 0 and 1 share module 0.
    DataHandleProvider::resetTopology(metadataOf("0 1 0 -1 1 1 1 -1 2 0 0 -1 3 0 1 -1", 2));
    EXPECT_EQ(levelsOf(1),
              "CPU/Package_1 CPU/Package_1/Module_0 CPU/Package_1/Module_0/Core_1 "
              "CPU/Package_1/Module_0/Core_1/Thread_1");
    EXPECT_EQ(counts(), "4 4 4 4");

    // Two packages, eight cores, sixteen logical CPUs: every level counts the sixteen.
    std::string text;
    for (int cpu = 0; cpu < 16; ++cpu) {
        text += std::to_string(cpu) + " " + std::to_string(cpu / 8) + " " + std::to_string(cpu / 2) + " -1 ";
    }
    DataHandleProvider::resetTopology(metadataOf(text.c_str()));
    EXPECT_EQ(counts(), "16 0 16 16");
    EXPECT_EQ(qualified(EntityHandle::getCPUCoreHandle(15)), "CPU/Package_1/Core_7");
    EXPECT_EQ(capture.text(), "");
}

TEST(DataHandleProvider, InitKeepsTheTreeAndResetMakesNewEntities) {
    ScopedLogCapture capture(1);
    pwr::SystemMetadata second = metadataOf("0 0 0 -1 1 1 0 -1");
    DataHandleProvider::resetTopology(onePackage());
    const EntityHandle* oldSystem = EntityHandle::getSystemHandle();
    const EntityHandle* oldCore = EntityHandle::getCPUCoreHandle(2);
    EXPECT_EQ(DataHandleProvider::initTopology(second), 0);
    EXPECT_EQ(EntityHandle::getSystemHandle(), oldSystem);

    EXPECT_EQ(DataHandleProvider::resetTopology(onePackage()), 0);
    EXPECT_GT(EntityHandle::getSystemHandle()->getId(), oldSystem->getId());
    EXPECT_GT(EntityHandle::getCPUCoreHandle(2)->getId(), oldCore->getId());
    // The old entities stay registered and intact.
    const pwr::DataHandle* found = nullptr;
    ASSERT_EQ(pwr::DataHandle::get(oldCore->getId(), found), 0);
    EXPECT_EQ(found, oldCore);
    EXPECT_EQ(oldCore->getQualifiedName(), "CPU/Package_0/Core_1");

    DataHandleProvider::resetTopology(second);
    EXPECT_EQ(counts(), "2 0 2 2");
    EXPECT_EQ(qualified(EntityHandle::getCPUPackageHandle(1)), "CPU/Package_1");
}

TEST(DataHandleProvider, ATreeBuiltNodeByNodeCountsEveryLogicalCpu) {
    ScopedLogCapture capture(2);
    // Nodes added by hand carry no unique id (-1), which is also the key of "CPU".
    pwr::SystemMetadata metadata;
    for (int cpu = 0; cpu < 4; ++cpu) {
        ASSERT_TRUE(metadata.getCPUTopology().addNode(cpu, cpu / 2, -1, 0));
    }
    capture.clear();
    EXPECT_EQ(DataHandleProvider::resetTopology(metadata), 0);
    EXPECT_EQ(counts(), "4 0 4 4");
    EXPECT_EQ(capture.text(), "");

    pwr::TopTree unknown;
    unknown.buildTopology("0 0 0 -1 1 0 1 -1 2 0 2 -1 3 0 3 -1", 0);
    std::vector<const pwr::TNode*> threads;
    unknown.getAllThreads(threads);
    EXPECT_EQ(EntityHandle::getCPUEntityHandle(threads.back()), nullptr);  // its unique id is unknown
}

}  // namespace
