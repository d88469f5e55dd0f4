#include <gtest/gtest.h>

#include <string>

#include "support/LogCapture.h"
#include "value/RegistryEnvironment.h"
#include "vantrell/value/DataHandle.h"
#include "vantrell/value/Description.h"
#include "vantrell/value/Quantity.h"

namespace {

using pwr::DataHandle;
using pwr::Quantity;
using vrtest::ScopedLogCapture;

// A handle that never went through a create: it has an id, but the registry doesn't know it.
class LooseHandle : public DataHandle {
  public:
    LooseHandle() : DataHandle(pwr::Description("loose", ""), pwr::DataHandleType::FIELD) {}
};

TEST(UniqueId, EachObjectTakesTheNextNumberAndCopiesShareIt) {
    const pwr::Field* first = pwr::Field::create(pwr::Description("a", ""));
    const Quantity* second = Quantity::create(pwr::QuantityType(20), "Widgets", "w", nullptr, 1.0);
    EXPECT_EQ(second->getId(), first->getId() + 1);

    Quantity copy(*second);
    Quantity assigned(*Quantity::power());
    assigned = copy;
    Quantity moved(std::move(copy));
    EXPECT_EQ(assigned.getId(), second->getId());
    EXPECT_EQ(assigned.toQuantityString(), "Widgets");
    EXPECT_EQ(moved.getId(), second->getId());

    // None of the copies consumed a number.
    const pwr::Field* third = pwr::Field::create(pwr::Description("b", ""));
    EXPECT_EQ(third->getId(), second->getId() + 1);
}

TEST(UniqueId, GetReportsUnknownIdsAndObjectsThatAreNoHandles) {
    ScopedLogCapture capture(2);
    const DataHandle* previous = pwr::Field::create(pwr::Description("previous", ""));
    const DataHandle* found = previous;
    LooseHandle loose;
    EXPECT_EQ(DataHandle::get(loose.getId(), found), 1);
    EXPECT_EQ(found, previous);
    EXPECT_EQ(capture.debug().text(),
              "WARNING: Handle id " + std::to_string(loose.getId()) + " not found in UniqueId map\n");

    capture.clear();
    EXPECT_EQ(DataHandle::get(Quantity::power()->getId(), found), 1);
    EXPECT_EQ(found, nullptr);
    EXPECT_EQ(capture.debug().text(), "WARNING: UniqueId isn't a DataHandle type\n");

    // Below warning verbosity the gate keeps both lines back.
    ScopedLogCapture quiet(1);
    EXPECT_EQ(DataHandle::get(loose.getId(), found), 1);
    EXPECT_EQ(quiet.text(), "");
}

}  // namespace
