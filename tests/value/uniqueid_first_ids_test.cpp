// Runs in a process of its own: nothing here may be preceded by another object with an id.

#include <gtest/gtest.h>

#include "support/LogCapture.h"
#include "vantrell/value/Quantity.h"
#include "vantrell/value/UniqueId.h"

namespace {

using pwr::Quantity;

TEST(UniqueIdFreshProcess, FirstIdsAreTheBuiltInQuantitiesFromZero) {
    EXPECT_EQ(Quantity::frequency(), nullptr);
    vrtest::ScopedLogCapture capture(4);
    pwr::UniqueId::initialize();
    EXPECT_EQ(capture.text(), "");

    const Quantity* inOrder[] = {Quantity::frequency(),  Quantity::time(),       Quantity::bandwidth(),
                                 Quantity::data(),       Quantity::power(),      Quantity::energy(),
                                 Quantity::throughput(), Quantity::operations(), Quantity::temperature(),
                                 Quantity::voltage(),    Quantity::current()};
    for (unsigned long long i = 0; i < sizeof(inOrder) / sizeof(inOrder[0]); ++i) {
        SCOPED_TRACE(i);
        ASSERT_NE(inOrder[i], nullptr);
        EXPECT_EQ(inOrder[i]->getId(), i);
    }
    capture.clear();
    EXPECT_EQ(Quantity::create(pwr::QuantityType::DUMMY, "", "", nullptr, 1.0)->getId(), 11u);
    EXPECT_EQ(Quantity::create(pwr::QuantityType(8), "first custom", "", nullptr, 1.0)->getId(), 12u);
    pwr::UniqueId::destroy();
}

}  // namespace
