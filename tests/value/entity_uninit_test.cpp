// The provider and the registry from the start of a process: lookups before the provider exists, the
// first initTopology, and addStream with and without a registry. One sequence, since each step
// depends on the process state the step before left.

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "support/LogCapture.h"
#include "vantrell/record/SystemMetadata.h"
#include "vantrell/value/DataHandleProvider.h"
#include "vantrell/value/EntityHandle.h"
#include "vantrell/value/UniqueId.h"
#include "vantrell/writer/WriterStream.h"

namespace {

using pwr::DataHandleProvider;
using pwr::EntityHandle;

const char kHandleLine[] = "WARNING: Cannot retrieve a CPU Entity handle until it has been initialized\n";
const char kCountLine[] = "WARNING: Cannot retrieve a CPU Entity count until it has been initialized\n";

TEST(DataHandleProviderLifecycle, FromNothingToTheFirstTree) {
    vrtest::ScopedLogCapture capture(2);

    // Before any provider.
    EXPECT_TRUE(
        EntityHandle::getCPUPackageHandle(0) == nullptr && EntityHandle::getCPUModuleHandle(0) == nullptr &&
        EntityHandle::getCPUCoreHandle(0) == nullptr && EntityHandle::getCPUThreadHandle(0) == nullptr);
    EXPECT_EQ(EntityHandle::getCPUPackageCount() + EntityHandle::getCPUModuleCount() +
                  EntityHandle::getCPUCoreCount() + EntityHandle::getCPUThreadCount(),
              -4);
    EXPECT_EQ(EntityHandle::getSystemHandle(), nullptr);
    EXPECT_EQ(EntityHandle::getCPUEntityHandle(nullptr), nullptr);
    const std::string handles = std::string(kHandleLine) + kHandleLine + kHandleLine + kHandleLine;
    EXPECT_EQ(capture.debug().text(), handles + kCountLine + kCountLine + kCountLine + kCountLine);

    // A stream without writers: what it is told goes nowhere. It keeps the set's address.
    const std::set<WriterPlugin*> noWriters;
    WriterStream* stream = WriterStream::create(noWriters);
    capture.clear();
    EXPECT_EQ(DataHandleProvider::addStream(stream), 1);
    EXPECT_NE(capture.text().find("WARNING: ID Manager wasn't initialized!"), std::string::npos);

    pwr::UniqueId::initialize();
    pwr::SystemMetadata first;
    first.buildTopology("0 0 0 -1 1 0 0 -1 2 0 1 -1 3 0 1 -1", 0);
    pwr::SystemMetadata second;
    second.buildTopology("0 0 0 -1", 0);
    capture.clear();

    EXPECT_EQ(DataHandleProvider::initTopology(first), 0);
    const EntityHandle* system = EntityHandle::getSystemHandle();
    ASSERT_NE(system, nullptr);
    EXPECT_EQ(DataHandleProvider::initTopology(second), 0);
    EXPECT_EQ(EntityHandle::getSystemHandle(), system);
    EXPECT_EQ(EntityHandle::getCPUThreadCount(), 4);
    EXPECT_EQ(EntityHandle::getCPUCoreHandle(3)->getQualifiedName(), "CPU/Package_0/Core_1");

    // The provider is one per process: an environment installed later reaches it after initTopology.
    {
        vrtest::ScopedLogCapture inner(2);
        EXPECT_EQ(EntityHandle::getSystemHandle(), nullptr);
        EXPECT_EQ(DataHandleProvider::initTopology(second), 0);
        EXPECT_EQ(EntityHandle::getSystemHandle(), system);
    }

    EXPECT_EQ(DataHandleProvider::addStream(nullptr), 1);
    EXPECT_EQ(DataHandleProvider::addStream(stream), 0);
    EXPECT_EQ(capture.text(), "");
    pwr::UniqueId::destroy();
    WriterStream::destroy(stream);
}

}  // namespace
