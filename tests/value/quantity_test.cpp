#include <gtest/gtest.h>

#include <string>

#include "support/LogCapture.h"
#include "value/RegistryEnvironment.h"
#include "vantrell/value/Quantity.h"

namespace {

using pwr::Quantity;
using pwr::QuantityType;
using vrtest::ScopedLogCapture;

const char kReservedLine[] = "WARNING: Can't create a custom quantity of specified type\n";

std::string titleOf(const Quantity* quantity) {
    std::string text = "untouched";
    quantity->toTitleString(text);
    return text;
}

TEST(Quantity, BuiltInsCarryTheirTypesTitlesUnitsAndRates) {
    struct Row {
        const Quantity* quantity;
        uint32_t type;
        const char* title;
        const Quantity* rate;  // null: no rate link
        double factor;
    };
    const Row rows[] = {
        {Quantity::frequency(), 2, "Frequency (MHz)", nullptr, 1.0},
        {Quantity::time(), 1, "Time (ticks)", Quantity::frequency(), 0.000001},
        {Quantity::bandwidth(), 4, "Bandwidth (MB/s)", nullptr, 1.0},
        {Quantity::data(), 3, "Data (bytes)", Quantity::bandwidth(), 0.000001},
        {Quantity::power(), 5, "Power (mW)", nullptr, 1.0},
        {Quantity::energy(), 6, "Energy (mJ)", Quantity::power(), 1.0},
        {Quantity::throughput(), 13, "Throughput (Ops/sec)", nullptr, 1.0},
        {Quantity::operations(), 12, "Operations (OpsCount)", Quantity::throughput(), 1.0},
        {Quantity::temperature(), 7, "Temperature (oC)", nullptr, 1.0},
        {Quantity::voltage(), 10, "Voltage (mV)", nullptr, 1.0},
        {Quantity::current(), 11, "Current (mA)", nullptr, 1.0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.title);
        ASSERT_NE(row.quantity, nullptr);
        EXPECT_EQ(static_cast<uint32_t>(row.quantity->toQuantity()), row.type);
        EXPECT_EQ(titleOf(row.quantity), row.title);

        const Quantity* rate = Quantity::power();
        double factor = 42.0;
        EXPECT_EQ(row.quantity->getRateConversion(rate, factor), row.rate == nullptr ? 1 : 0);
        EXPECT_EQ(rate, row.rate);
        EXPECT_DOUBLE_EQ(factor, row.factor);
    }
}

TEST(Quantity, ReservedTypesGiveTheErrorQuantity) {
    ScopedLogCapture capture(2);
    const Quantity* first = Quantity::create(QuantityType(7), "Mine", "m", Quantity::power(), 2.0);
    const Quantity* second = Quantity::create(QuantityType::DUMMY, "Other", "o", nullptr, 1.0);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first, second);
    EXPECT_EQ(titleOf(first), "ERROR (ERROR)");
    EXPECT_EQ(first->toQuantity(), QuantityType::DUMMY);
    EXPECT_EQ(capture.debug().text(), std::string(kReservedLine) + kReservedLine);

    for (uint32_t type = 1; type < 8; ++type) {
        SCOPED_TRACE(type);
        EXPECT_EQ(Quantity::create(QuantityType(type), "x", "y", nullptr, 1.0), first);
    }
}

TEST(Quantity, CustomTypesMakeANewQuantityOnEveryCall) {
    ScopedLogCapture capture(2);
    const Quantity* first = Quantity::create(QuantityType(8), "Widgets", "w", nullptr, 3.0);
    const Quantity* again = Quantity::create(QuantityType(8), "Widgets", "w", nullptr, 3.0);
    const Quantity* likeVoltage = Quantity::create(QuantityType::VOLTAGE, "Voltage", "mV", nullptr, 1.0);
    EXPECT_NE(first, again);
    EXPECT_EQ(again->getId(), first->getId() + 1);
    EXPECT_NE(likeVoltage, Quantity::voltage());
    EXPECT_EQ(likeVoltage->toQuantity(), QuantityType::VOLTAGE);
    EXPECT_EQ(capture.text(), "");

    // No rate link: status 1, factor reset to 1.0 whatever was asked for.
    const Quantity* rate = Quantity::time();
    double factor = 0.0;
    EXPECT_EQ(first->getRateConversion(rate, factor), 1);
    EXPECT_EQ(rate, nullptr);
    EXPECT_DOUBLE_EQ(factor, 1.0);

    const Quantity* perSecond = Quantity::create(QuantityType(14), "Widget rate", "w/s", nullptr, 1.0);
    const Quantity* counted = Quantity::create(QuantityType(15), "Widget count", "", perSecond, 0.5);
    EXPECT_EQ(counted->getRateConversion(rate, factor), 0);
    EXPECT_EQ(rate, perSecond);
    EXPECT_DOUBLE_EQ(factor, 0.5);
    // Without units the title stands alone.
    EXPECT_EQ(titleOf(counted), "Widget count");
}

}  // namespace
