// Writers learn what an id stands for from IdMessages: one with everything known when the stream is
// connected to the registry, then one per new object.

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
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
#include "vantrell/writer/WriterStream.h"

namespace {

using pwr::EntityHandle;
using pwr::UniqueId;
using vrtest::ScopedLogCapture;
using vrtest::ScopedWriterStream;
using vrtest::TestWriter;

constexpr auto kConnect = ScopedWriterStream::Registry::kConnect;

size_t occurrences(const std::vector<const UniqueId*>& ids, const UniqueId* id) {
    return static_cast<size_t>(std::count(ids.begin(), ids.end(), id));
}

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
        ASSERT_EQ(1u, late.idMessageSizes().size());
        const std::vector<const UniqueId*> known = late.announcedIds();
        EXPECT_EQ(known.size(), late.idMessageSizes()[0]);
        EXPECT_EQ(known.size(), std::set<const UniqueId*>(known.begin(), known.end()).size());
        // In creation order: the first built-in quantity leads, the last object made closes.
        EXPECT_EQ(pwr::Quantity::frequency(), known.front());
        EXPECT_EQ(custom, known.back());
        for (const UniqueId* id :
             {static_cast<const UniqueId*>(pwr::Quantity::time()),
              static_cast<const UniqueId*>(pwr::Quantity::current()), static_cast<const UniqueId*>(early)}) {
            EXPECT_EQ(1u, occurrences(known, id));
        }
        for (size_t i = 1; i < known.size(); ++i) {
            EXPECT_LT(known[i - 1]->getId(), known[i]->getId()) << i;
        }

        // From now on, one message per new object.
        EntityHandle* disk = EntityHandle::create("Disk", early);
        const pwr::Quantity* rate =
            pwr::Quantity::create(static_cast<pwr::QuantityType>(21), "Rate", "", nullptr, 1.0);
        EXPECT_EQ((std::vector<size_t>{known.size(), 1, 1}), late.idMessageSizes());
        ASSERT_EQ(known.size() + 2, late.announcedIds().size());
        EXPECT_EQ(disk, late.announcedIds()[known.size()]);
        EXPECT_EQ(rate, late.announcedIds()[known.size() + 1]);

        // A reserved quantity type makes nothing new, so nothing is announced.
        EXPECT_EQ(pwr::Quantity::create(static_cast<pwr::QuantityType>(7), "X", "Y", nullptr, 1.0),
                  pwr::Quantity::create(static_cast<pwr::QuantityType>(3), "X", "Y", nullptr, 1.0));
        EXPECT_EQ(3u, late.idMessageSizes().size());
        capture.clear();

        // A null stream is refused and the connected one stays.
        EXPECT_EQ(1, pwr::DataHandleProvider::addStream(nullptr));
        EntityHandle::create("Fan", nullptr);
        EXPECT_EQ(4u, late.idMessageSizes().size());
        EXPECT_EQ("Fan", namesOf(late.announcedIds()).back());
    }
    EXPECT_EQ(1, late.counts().closeOutput);

    // A writer connected later still hears of everything, "Fan" included, and the first one no more.
    const size_t heardByLate = late.announcedIds().size();
    TestWriter later("later");
    ScopedWriterStream scope({&later}, kConnect);
    ASSERT_EQ(1u, later.idMessageSizes().size());
    EXPECT_EQ(late.idMessageSizes()[0] + 3, later.idMessageSizes()[0]);
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
    const EntityHandle* oldSystem = EntityHandle::getSystemHandle();

    TestWriter writer;
    ScopedWriterStream scope({&writer}, kConnect);
    ASSERT_EQ(1u, writer.idMessageSizes().size());
    EXPECT_EQ(1u, occurrences(writer.announcedIds(), oldSystem));
    writer.clear();

    // The first tree stays: nothing new.
    ASSERT_EQ(0, pwr::DataHandleProvider::initTopology(machine));
    EXPECT_TRUE(writer.idMessageSizes().empty());

    ASSERT_EQ(0, pwr::DataHandleProvider::resetTopology(machine));
    EXPECT_EQ(std::vector<size_t>(9, 1), writer.idMessageSizes());
    EXPECT_EQ((std::vector<std::string>{"SYSTEM", "CPU", "Package_0", "Core_0", "Thread_0", "Thread_1",
                                        "Core_1", "Thread_2", "Thread_3"}),
              namesOf(writer.announcedIds()));
    EXPECT_NE(oldSystem, EntityHandle::getSystemHandle());
    EXPECT_EQ(EntityHandle::getSystemHandle(), writer.announcedIds().front());
    EXPECT_EQ(EntityHandle::getCPUThreadHandle(3), writer.announcedIds().back());
    EXPECT_EQ("", capture.text());
}

}  // namespace
