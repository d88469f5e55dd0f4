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
using pwr::EntityHandleTestPeer;
using vrtest::ScopedLogCapture;

const char kCycleLine[] = "WARNING: Could not add relationship because cycle detected\n";

// One package, cores 0 and 1, logical CPUs 0 to 3.
const char kOnePackage[] = "0 0 0 -1 1 0 0 -1 2 0 1 -1 3 0 1 -1";

pwr::SystemMetadata metadataOf(const char* topology, unsigned long long coresPerModule = 0) {
    pwr::SystemMetadata metadata;
    metadata.buildTopology(topology, coresPerModule);
    return metadata;
}

std::string qualified(const EntityHandle* entity) {
    return entity == nullptr ? "(null)" : entity->getQualifiedName();
}

std::vector<std::string> childNames(const EntityHandle* entity) {
    std::vector<std::string> names;
    for (const EntityHandle* child : entity->getChildren()) {
        names.push_back(child->getName());
    }
    return names;
}

std::vector<int> counts() {
    return {EntityHandle::getCPUPackageCount(), EntityHandle::getCPUModuleCount(),
            EntityHandle::getCPUCoreCount(), EntityHandle::getCPUThreadCount()};
}

TEST(EntityHandle, CreateLinksChildrenAndQualifiesNames) {
    ScopedLogCapture capture(2);
    EntityHandle* disk = EntityHandle::create("Disk", nullptr);
    EntityHandle* part = EntityHandle::create("Part", "p", disk);
    pwr::Description description("Sector", "s");
    description.setHeader("Sectors");
    const EntityHandle* sector = EntityHandle::create(description, part);

    EXPECT_EQ(disk->getParent(), nullptr);
    EXPECT_EQ(part->getParent(), disk);
    EXPECT_EQ(childNames(disk), std::vector<std::string>{"Part"});
    EXPECT_EQ(part->getShortName(), "p");
    EXPECT_EQ(disk->getShortName(), "Disk");
    EXPECT_EQ(sector->getHeader(), "Sectors");
    EXPECT_EQ(sector->getHandleType(), pwr::DataHandleType::ENTITY);
    EXPECT_EQ(sector->getQualifiedName(), "Disk/Part/Sector");

    // Same name, another entity; a parent with an empty name ends the qualified name.
    const EntityHandle* twin = EntityHandle::create("Disk", nullptr);
    EXPECT_NE(twin->getId(), disk->getId());
    const EntityHandle* anonymous = EntityHandle::create("", nullptr);
    EXPECT_EQ(EntityHandle::create("Fan", anonymous)->getQualifiedName(), "Fan");

    // The registry hands the entity back by id, through the DataHandle slot.
    const pwr::DataHandle* found = nullptr;
    ASSERT_EQ(pwr::DataHandle::get(sector->getId(), found), 0);
    EXPECT_EQ(found->getQualifiedName(), "Disk/Part/Sector");
    EXPECT_EQ(capture.text(), "");
}

TEST(EntityHandle, CyclesAreRefusedAndAChildHasOneParent) {
    ScopedLogCapture capture(2);
    EntityHandle* a = EntityHandle::create("A", nullptr);
    EntityHandle* b = EntityHandle::create("B", a);
    EntityHandle* c = EntityHandle::create("C", b);

    EXPECT_EQ(EntityHandleTestPeer::addChild(c, a), 1);
    EXPECT_EQ(EntityHandleTestPeer::addChild(b, b), 1);
    EXPECT_EQ(capture.text(), std::string(kCycleLine) + kCycleLine);
    EXPECT_EQ(a->getParent(), nullptr);
    EXPECT_TRUE(c->getChildren().empty());
    EXPECT_EQ(childNames(a), std::vector<std::string>{"B"});
    EXPECT_EQ(qualified(c), "A/B/C");

    capture.clear();
    EntityHandle* d = EntityHandle::create("D", nullptr);
    EXPECT_EQ(EntityHandleTestPeer::addChild(d, c), 0);
    EXPECT_EQ(c->getParent(), d);
    EXPECT_TRUE(b->getChildren().empty());
    EXPECT_EQ(qualified(c), "D/C");
    EXPECT_EQ(EntityHandleTestPeer::addChild(d, c), 0);  // again: still one entry
    EXPECT_EQ(childNames(d), std::vector<std::string>{"C"});
    EXPECT_EQ(capture.text(), "");
}

TEST(DataHandleProvider, OnePackageTwoCoresFourThreads) {
    ScopedLogCapture capture(4);
    pwr::SystemMetadata metadata = metadataOf(kOnePackage);
    capture.clear();
    ASSERT_EQ(DataHandleProvider::resetTopology(metadata), 0);

    const EntityHandle* system = EntityHandle::getSystemHandle();
    ASSERT_NE(system, nullptr);
    EXPECT_EQ(system->getQualifiedName(), "SYSTEM");
    EXPECT_EQ(system->getParent(), nullptr);
    EXPECT_EQ(childNames(system), std::vector<std::string>{"CPU"});
    const EntityHandle* cpu = EntityHandle::getCPUEntityHandle(nullptr);
    EXPECT_EQ(cpu, system->getChildren()[0]);
    EXPECT_EQ(cpu->getQualifiedName(), "CPU");
    EXPECT_EQ(childNames(cpu), std::vector<std::string>{"Package_0"});
    EXPECT_EQ(childNames(cpu->getChildren()[0]), (std::vector<std::string>{"Core_0", "Core_1"}));

    EXPECT_EQ(counts(), (std::vector<int>{4, 0, 4, 4}));
    EXPECT_EQ(qualified(EntityHandle::getCPUThreadHandle(3)), "CPU/Package_0/Core_1/Thread_3");
    EXPECT_EQ(qualified(EntityHandle::getCPUCoreHandle(3)), "CPU/Package_0/Core_1");
    EXPECT_EQ(qualified(EntityHandle::getCPUPackageHandle(3)), "CPU/Package_0");
    EXPECT_EQ(EntityHandle::getCPUModuleHandle(3), nullptr);
    EXPECT_EQ(EntityHandle::getCPUThreadHandle(4), nullptr);

    // Each node has its entity, hung under its parent's; the log names both in order of building.
    std::string expected;
    std::vector<const pwr::TNode*> nodes;
    metadata.getCPUTopology().getAllPackages(nodes);
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
    EXPECT_EQ(qualified(EntityHandle::getCPUPackageHandle(0)), "CPU/Package_1");
    EXPECT_EQ(qualified(EntityHandle::getCPUPackageHandle(1)), "CPU/Package_1");
    EXPECT_EQ(qualified(EntityHandle::getCPUPackageHandle(3)), "CPU/Package_0");
    EXPECT_EQ(qualified(EntityHandle::getCPUModuleHandle(2)), "CPU/Package_0/Module_0");
    EXPECT_EQ(qualified(EntityHandle::getCPUCoreHandle(1)), "CPU/Package_1/Module_0/Core_1");
    EXPECT_EQ(counts(), (std::vector<int>{4, 4, 4, 4}));

    // Two packages, eight cores, sixteen logical CPUs: every level counts the sixteen.
    std::string text;
    for (int cpu = 0; cpu < 16; ++cpu) {
        text += std::to_string(cpu) + " " + std::to_string(cpu / 8) + " " + std::to_string(cpu / 2) + " -1 ";
    }
    pwr::SystemMetadata big = metadataOf(text.c_str());
    DataHandleProvider::resetTopology(big);
    EXPECT_EQ(counts(), (std::vector<int>{16, 0, 16, 16}));
    EXPECT_EQ(big.getCPUTopology().getNumPackages(), 2u);
    EXPECT_EQ(qualified(EntityHandle::getCPUCoreHandle(15)), "CPU/Package_1/Core_7");
    EXPECT_EQ(capture.text(), "");
}

TEST(DataHandleProvider, InitKeepsTheTreeAndResetMakesNewEntities) {
    ScopedLogCapture capture(1);
    pwr::SystemMetadata first = metadataOf(kOnePackage);
    pwr::SystemMetadata second = metadataOf("0 0 0 -1 1 1 0 -1");
    DataHandleProvider::resetTopology(first);
    const EntityHandle* oldSystem = EntityHandle::getSystemHandle();
    const EntityHandle* oldCore = EntityHandle::getCPUCoreHandle(2);

    EXPECT_EQ(DataHandleProvider::initTopology(second), 0);
    EXPECT_EQ(EntityHandle::getSystemHandle(), oldSystem);
    EXPECT_EQ(counts(), (std::vector<int>{4, 0, 4, 4}));

    EXPECT_EQ(DataHandleProvider::resetTopology(first), 0);
    const EntityHandle* newSystem = EntityHandle::getSystemHandle();
    const EntityHandle* newCore = EntityHandle::getCPUCoreHandle(2);
    EXPECT_NE(newSystem, oldSystem);
    EXPECT_GT(newSystem->getId(), oldSystem->getId());
    EXPECT_GT(newCore->getId(), oldCore->getId());
    EXPECT_EQ(newCore->getQualifiedName(), oldCore->getQualifiedName());
    // The old entities stay registered and intact.
    const pwr::DataHandle* found = nullptr;
    ASSERT_EQ(pwr::DataHandle::get(oldCore->getId(), found), 0);
    EXPECT_EQ(found, oldCore);
    EXPECT_EQ(oldCore->getQualifiedName(), "CPU/Package_0/Core_1");

    DataHandleProvider::resetTopology(second);
    EXPECT_EQ(counts(), (std::vector<int>{2, 0, 2, 2}));
    EXPECT_EQ(qualified(EntityHandle::getCPUPackageHandle(1)), "CPU/Package_1");
}

TEST(DataHandleProvider, BrokenTopologyKeepsWhatWasMapped) {
    ScopedLogCapture capture(2);
    pwr::SystemMetadata metadata = metadataOf("0 0 0 -1 1 0 0 -1");
    // A node added by hand has no unique id, so its logical CPU can't be found among the entities.
    metadata.getCPUTopology().addNode(7, 9, -1, 0);
    pwr::TopTree other;
    other.buildTopology("0 0 0 -1", 0);
    capture.clear();

    EXPECT_EQ(DataHandleProvider::resetTopology(metadata), 0);
    EXPECT_EQ(capture.text(), "WARNING: Topology is broken");
    EXPECT_EQ(counts(), (std::vector<int>{2, 0, 2, 2}));
    EXPECT_EQ(qualified(EntityHandle::getCPUThreadHandle(1)), "CPU/Package_0/Core_0/Thread_1");
    EXPECT_EQ(EntityHandle::getCPUThreadHandle(7), nullptr);
}

TEST(DataHandleProvider, UnknownNodesAndNullStream) {
    ScopedLogCapture capture(2);
    DataHandleProvider::resetTopology(metadataOf(kOnePackage));
    pwr::TopTree bigger;
    bigger.buildTopology("0 0 0 -1 1 0 1 -1 2 0 2 -1 3 0 3 -1 4 0 4 -1 5 0 5 -1", 0);
    std::vector<const pwr::TNode*> threads;
    bigger.getAllThreads(threads);
    EXPECT_EQ(EntityHandle::getCPUEntityHandle(threads.back()), nullptr);  // unique id 12: unknown
    EXPECT_EQ(DataHandleProvider::addStream(nullptr), 1);
    EXPECT_EQ(capture.text(), "");
}

}  // namespace
