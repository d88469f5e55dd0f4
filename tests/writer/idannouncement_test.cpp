// Writers learn what an id stands for from IdMessages: one with everything known when the stream is
// connected to the registry, then one per new object.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "support/TestWriter.h"
#include "value/RegistryEnvironment.h"
#include "vantrell/record/SystemMetadata.h"
#include "vantrell/value/DataHandle.h"
#include "vantrell/value/DataHandleProvider.h"
#include "vantrell/value/EntityHandle.h"
#include "vantrell/value/Quantity.h"

namespace {

using pwr::EntityHandle;
using pwr::UniqueId;
using vrtest::ScopedLogCapture;
using vrtest::ScopedWriterStream;
using vrtest::TestWriter;

constexpr auto kConnect = ScopedWriterStream::Registry::kConnect;

std::vector<std::string> namesOf(const std::vector<const UniqueId*>& ids) {
    std::vector<std::string> names;
    for (const UniqueId* id : ids) {
        const auto* handle = dynamic_cast<const pwr::DataHandle*>(id);
        names.push_back(handle == nullptr ? "<not a handle>" : handle->getName());
    }
    return names;
}

TEST(IdAnnouncement, LateWriterHearsOfEveryIdOnceThenOfEachNewOne) {
    ScopedLogCapture capture(2);
    EntityHandle* early = EntityHandle::create("Early", nullptr);
    const pwr::Quantity* custom =
        pwr::Quantity::create(static_cast<pwr::QuantityType>(20), "Flow", "l/s", nullptr, 1.0);
    TestWriter late("late");
    {
        ScopedWriterStream scope({&late}, kConnect);
        // One message with every id once, in creation order: the first built-in quantity leads, the
        // last object made closes.
        const std::vector<const UniqueId*> known = late.announcedIds();
        ASSERT_EQ(std::vector<size_t>{known.size()}, late.idMessageSizes());
        EXPECT_EQ(pwr::Quantity::frequency(), known.front());
        EXPECT_EQ(custom, known.back());
        EXPECT_EQ(1, std::count(known.begin(), known.end(), early));
        for (size_t i = 1; i < known.size(); ++i) {
            EXPECT_LT(known[i - 1]->getId(), known[i]->getId()) << i;
        }

        // From now on, one message per new object. A reserved quantity type makes nothing new, so
        // nothing is announced; a null stream is refused and the connected one stays.
        EntityHandle* disk = EntityHandle::create("Disk", early);
        const pwr::Quantity* rate =
            pwr::Quantity::create(static_cast<pwr::QuantityType>(21), "Rate", "", nullptr, 1.0);
        EXPECT_EQ(pwr::Quantity::create(static_cast<pwr::QuantityType>(7), "X", "Y", nullptr, 1.0),
                  pwr::Quantity::create(static_cast<pwr::QuantityType>(3), "X", "Y", nullptr, 1.0));
        capture.clear();
        EXPECT_EQ(1, pwr::DataHandleProvider::addStream(nullptr));
        const EntityHandle* fan = EntityHandle::create("Fan", nullptr);
        EXPECT_EQ((std::vector<size_t>{known.size(), 1, 1, 1}), late.idMessageSizes());
        EXPECT_EQ((std::vector<const UniqueId*>(late.announcedIds().begin() + known.size(),
                                                late.announcedIds().end())),
                  (std::vector<const UniqueId*>{disk, rate, fan}));
    }

    // A writer connected later still hears of everything, "Fan" included, and the first one no more.
    const size_t heardByLate = late.announcedIds().size();
    TestWriter later("later");
    ScopedWriterStream scope({&later}, kConnect);
    EXPECT_EQ(std::vector<size_t>{heardByLate}, later.idMessageSizes());
    EXPECT_EQ("Fan", namesOf(later.announcedIds()).back());
    EntityHandle::create("Pump", nullptr);
    EXPECT_EQ(2u, later.idMessageSizes().size());
    EXPECT_EQ(heardByLate, late.announcedIds().size());
    EXPECT_EQ("", capture.text());
}

TEST(IdAnnouncement, RebuiltTopologyAnnouncesEachNewEntityAlone) {
    ScopedLogCapture capture(2);
    pwr::SystemMetadata machine;
    machine.buildTopology("0 0 0 -1  1 0 0 -1  2 0 1 -1  3 0 1 -1", 0);
    ASSERT_EQ(0, pwr::DataHandleProvider::initTopology(machine));
    TestWriter writer;
    ScopedWriterStream scope({&writer}, kConnect);
    writer.clear();
    // The first tree stays: nothing new. A rebuilt one is new, entity by entity.
    ASSERT_EQ(0, pwr::DataHandleProvider::initTopology(machine));
    EXPECT_TRUE(writer.idMessageSizes().empty());
    ASSERT_EQ(0, pwr::DataHandleProvider::resetTopology(machine));
    EXPECT_EQ(std::vector<size_t>(9, 1), writer.idMessageSizes());
    EXPECT_EQ((std::vector<std::string>{"SYSTEM", "CPU", "Package_0", "Core_0", "Thread_0", "Thread_1",
                                        "Core_1", "Thread_2", "Thread_3"}),
              namesOf(writer.announcedIds()));
    EXPECT_EQ(EntityHandle::getSystemHandle(), writer.announcedIds().front());
    EXPECT_EQ(EntityHandle::getCPUThreadHandle(3), writer.announcedIds().back());
    EXPECT_EQ("", capture.text());
}

}  // namespace
