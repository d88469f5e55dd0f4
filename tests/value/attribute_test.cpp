#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "support/LogCapture.h"
#include "value/RegistryEnvironment.h"
#include "vantrell/value/Attribute.h"
#include "vantrell/value/AttributeManager.h"
#include "vantrell/value/Formatter.h"
#include "vantrell/value/Quantity.h"

namespace {

using pwr::Attribute;
using pwr::AttributeType;
using pwr::Data;
using pwr::Quantity;
using pwr::QuantityType;
using vrtest::ScopedLogCapture;

const char kNullLine[] = "WARNING: Please provide a valid non-null attribute to set.\n";

const Attribute* irq() {
    return Attribute::get(AttributeType::IRQ);
}
const Attribute* source() {
    return Attribute::get(AttributeType::SOURCE);
}

std::string titleOf(const Quantity* quantity) {
    std::string text = "untouched";
    quantity->toTitleString(text);
    return text;
}

// The rate conversion as "status rate factor"; the outputs start with values it must replace.
std::string rateOf(const Quantity* quantity) {
    const Quantity* rate = Quantity::power();
    double factor = 42.0;
    const int status = quantity->getRateConversion(rate, factor);
    return std::to_string(status) + " " + (rate == nullptr ? "-" : titleOf(rate)) + " " +
           std::to_string(factor);
}

TEST(Attribute, PredefinedAttributesAreMadeOnceInTableOrder) {
    ScopedLogCapture capture(2);
    const std::pair<AttributeType, const char*> rows[] = {
        {AttributeType::FREQUENCY, "Frequency"}, {AttributeType::IRQ, "IRQ"},
        {AttributeType::PROCESS, "Process"},     {AttributeType::THREAD, "Thread"},
        {AttributeType::SOURCE, "Source"},       {AttributeType::TARGET, "Target"},
    };
    unsigned long long expectedId = Attribute::get(AttributeType::FREQUENCY)->getId();
    for (const auto& row : rows) {
        const Attribute* attribute = Attribute::get(row.first);
        ASSERT_NE(attribute, nullptr) << row.second;
        EXPECT_EQ(attribute->getId(), expectedId++);
        EXPECT_EQ(attribute->getName(), row.second);
    }
    const Attribute* frequency = Attribute::get(AttributeType::FREQUENCY);
    EXPECT_EQ(frequency->getQuantity(), Quantity::frequency());
    EXPECT_EQ(frequency->getFieldName() + "|" + irq()->getFieldName(), "Frequency (MHz)|IRQ");
    EXPECT_EQ(capture.text(), "");
}

TEST(Attribute, CreateMakesNewAttributesThatGetNeverReturns) {
    const Attribute* predefined = Attribute::get(AttributeType::FREQUENCY);
    const Attribute* mine = Attribute::create("Core clock", Quantity::frequency(), AttributeType::FREQUENCY);
    EXPECT_NE(mine, predefined);
    EXPECT_NE(Attribute::create("Core clock", Quantity::frequency(), AttributeType::FREQUENCY), mine);
    EXPECT_EQ(Attribute::get(AttributeType::FREQUENCY), predefined);
    EXPECT_EQ(mine->getFieldName(), "Frequency (MHz)");

    ScopedLogCapture capture(2);
    Attribute::create("Five", nullptr, AttributeType(5));
    EXPECT_EQ(Attribute::get(AttributeType(5)), nullptr);
    EXPECT_EQ(Attribute::get(AttributeType(200)), nullptr);
    EXPECT_EQ(capture.debug().text(),
              "WARNING: No attribute of type 5 found\nWARNING: No attribute of type 200 found\n");
}

TEST(AttributeValueManager, KeepsTheFirstValueInTheMapAndEveryValueInTheList) {
    pwr::AttributeValueManager values;
    ScopedLogCapture capture(2);
    values.addAttributeValue(irq(), Data(7LL));
    values.addAttributeValue(source(), Data("disk"));
    EXPECT_EQ(values.getAttributeCount(), 2u);
    EXPECT_EQ(values.getAttributeValue(Attribute::get(AttributeType::TARGET)), nullptr);
    EXPECT_EQ(capture.text(), "");

    EXPECT_EQ(values.addAttributeValue(irq(), Data(9LL)), 0);
    EXPECT_EQ(values.getAttributeCount(), 2u);
    ASSERT_EQ(std::distance(values.begin(), values.end()), 3);
    EXPECT_EQ(values.begin()[2].second, Data(9LL));
    EXPECT_EQ(*values.getAttributeValue(irq()), Data(7LL));
    EXPECT_EQ(values.getAttributeValue(nullptr), nullptr);
    EXPECT_EQ(capture.debug().text(),
              "WARNING: Attribute map and list size mismatch.\n" + std::string(kNullLine));
}

TEST(DynamicAttributeValueManager, SetsReplacesByIdAndRefusesNull) {
    pwr::DynamicAttributeValueManager values;
    ScopedLogCapture capture(2);
    EXPECT_EQ(values.getAttributeValue(irq()), nullptr);
    EXPECT_EQ(values.setAttributeValue(irq(), Data(3ULL)), 0);
    EXPECT_EQ(values.setAttributeValue(irq(), Data("replaced")), 0);
    EXPECT_EQ(values.getAttributeCount(), 1u);
    // Looked up by id: a copy of the attribute finds the same entry.
    Attribute copy(*irq());
    ASSERT_NE(values.getAttributeValue(&copy), nullptr);
    EXPECT_EQ(*values.getAttributeValue(&copy), Data("replaced"));
    EXPECT_EQ(capture.text(), "");

    EXPECT_EQ(values.setAttributeValue(nullptr, Data(1LL)), 1);
    EXPECT_EQ(values.getAttributeValue(nullptr), nullptr);
    EXPECT_EQ(values.getAttributeCount(), 1u);
    EXPECT_EQ(capture.debug().text(), std::string(kNullLine) + kNullLine);
}

// Values with a custom formatter outlive the caller's value and survive assignment of the managers
// (the sanitizer build catches a shared formatter freed twice).
TEST(AttributeValueManager, HeldValuesOwnTheirCustomFormatters) {
    Data styled(255LL);
    styled.setCustomFormatter(pwr::IntFormatter(0, true));
    pwr::DynamicAttributeValueManager dynamic;
    pwr::AttributeValueManager values;
    {
        Data shortLived(styled);
        dynamic.setAttributeValue(irq(), shortLived);
        dynamic.setAttributeValue(irq(), shortLived);
        values.addAttributeValue(irq(), shortLived);
    }
    pwr::AttributeValueManager assigned;
    assigned.addAttributeValue(source(), styled);
    assigned = values;
    pwr::DynamicAttributeValueManager dynamicAssigned;
    dynamicAssigned.setAttributeValue(source(), styled);
    dynamicAssigned = dynamic;

    for (const Data* held : {dynamic.getAttributeValue(irq()), dynamicAssigned.getAttributeValue(irq()),
                             assigned.getAttributeValue(irq())}) {
        std::string text;
        ASSERT_NE(held, nullptr);
        EXPECT_EQ(held->toFormattedString(text), 0);
        EXPECT_EQ(text, "0xff");
    }
    EXPECT_EQ(assigned.getAttributeValue(source()), nullptr);
    EXPECT_EQ(dynamicAssigned.getAttributeValue(source()), nullptr);
    EXPECT_NE(assigned.getAttributeValue(irq())->getCustomFormatter(),
              values.getAttributeValue(irq())->getCustomFormatter());
}

TEST(Quantity, BuiltInsCarryTheirTypesTitlesUnitsAndRates) {
    const std::tuple<const Quantity*, int, const char*, const char*> rows[] = {
        {Quantity::frequency(), 2, "Frequency (MHz)", "1 - 1.000000"},
        {Quantity::time(), 1, "Time (ticks)", "0 Frequency (MHz) 0.000001"},
        {Quantity::bandwidth(), 4, "Bandwidth (MB/s)", "1 - 1.000000"},
        {Quantity::data(), 3, "Data (bytes)", "0 Bandwidth (MB/s) 0.000001"},
        {Quantity::power(), 5, "Power (mW)", "1 - 1.000000"},
        {Quantity::energy(), 6, "Energy (mJ)", "0 Power (mW) 1.000000"},
        {Quantity::throughput(), 13, "Throughput (Ops/sec)", "1 - 1.000000"},
        {Quantity::operations(), 12, "Operations (OpsCount)", "0 Throughput (Ops/sec) 1.000000"},
        {Quantity::temperature(), 7, "Temperature (oC)", "1 - 1.000000"},
        {Quantity::voltage(), 10, "Voltage (mV)", "1 - 1.000000"},
        {Quantity::current(), 11, "Current (mA)", "1 - 1.000000"},
    };
    for (const auto& [quantity, type, title, rate] : rows) {
        ASSERT_NE(quantity, nullptr) << title;
        EXPECT_EQ(static_cast<int>(quantity->toQuantity()), type);
        EXPECT_EQ(titleOf(quantity), title);
        EXPECT_EQ(rateOf(quantity), rate);
    }
}

TEST(Quantity, ReservedTypesGiveTheErrorQuantity) {
    ScopedLogCapture capture(2);
    const Quantity* error = Quantity::create(QuantityType(7), "Mine", "m", Quantity::power(), 2.0);
    EXPECT_EQ(capture.debug().text(), "WARNING: Can't create a custom quantity of specified type\n");
    EXPECT_EQ(titleOf(error), "ERROR (ERROR)");
    EXPECT_EQ(error->toQuantity(), QuantityType::DUMMY);
    for (uint32_t type = 0; type < 8; ++type) {
        EXPECT_EQ(Quantity::create(QuantityType(type), "x", "y", nullptr, 1.0), error) << type;
    }
}

TEST(Quantity, CustomTypesMakeANewQuantityOnEveryCall) {
    ScopedLogCapture capture(2);
    const Quantity* first = Quantity::create(QuantityType(8), "Widgets", "w", nullptr, 3.0);
    const Quantity* again = Quantity::create(QuantityType(8), "Widgets", "w", nullptr, 3.0);
    EXPECT_EQ(again->getId(), first->getId() + 1);
    EXPECT_NE(Quantity::create(QuantityType::VOLTAGE, "Voltage", "mV", nullptr, 1.0), Quantity::voltage());
    EXPECT_EQ(rateOf(first), "1 - 1.000000");  // no rate link: the asked-for factor doesn't count

    const Quantity* perSecond = Quantity::create(QuantityType(14), "Widget rate", "w/s", nullptr, 1.0);
    const Quantity* counted = Quantity::create(QuantityType(15), "Widget count", "", perSecond, 0.5);
    EXPECT_EQ(rateOf(counted), "0 Widget rate (w/s) 0.500000");
    EXPECT_EQ(titleOf(counted), "Widget count");  // without units the title stands alone
    EXPECT_EQ(capture.text(), "");
}

}  // namespace
