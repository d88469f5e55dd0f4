#include <gtest/gtest.h>

#include <string>

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
using vrtest::ScopedLogCapture;

const char kNullLine[] = "WARNING: Please provide a valid non-null attribute to set.\n";

const Attribute* irq() {
    return Attribute::get(AttributeType::IRQ);
}
const Attribute* source() {
    return Attribute::get(AttributeType::SOURCE);
}

TEST(Attribute, PredefinedAttributesAreMadeOnceInTableOrder) {
    const std::pair<AttributeType, const char*> rows[] = {
        {AttributeType::FREQUENCY, "Frequency"}, {AttributeType::IRQ, "IRQ"},
        {AttributeType::PROCESS, "Process"},     {AttributeType::THREAD, "Thread"},
        {AttributeType::SOURCE, "Source"},       {AttributeType::TARGET, "Target"},
    };
    ScopedLogCapture capture(2);
    unsigned long long expectedId = Attribute::get(AttributeType::FREQUENCY)->getId();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.second);
        const Attribute* attribute = Attribute::get(row.first);
        ASSERT_NE(attribute, nullptr);
        EXPECT_EQ(attribute->getId(), expectedId++);
        EXPECT_EQ(attribute->getName(), row.second);
        EXPECT_EQ(attribute->getAttributeType(), row.first);
    }
    const Attribute* frequency = Attribute::get(AttributeType::FREQUENCY);
    EXPECT_EQ(frequency->getQuantity(), pwr::Quantity::frequency());
    EXPECT_EQ(frequency->getFieldName(), "Frequency (MHz)");
    EXPECT_EQ(irq()->getQuantity(), nullptr);
    EXPECT_EQ(irq()->getFieldName(), "IRQ");
    EXPECT_EQ(capture.text(), "");
}

TEST(Attribute, CreateMakesNewAttributesThatGetNeverReturns) {
    const Attribute* predefined = Attribute::get(AttributeType::FREQUENCY);
    const Attribute* mine =
        Attribute::create("Core clock", pwr::Quantity::frequency(), AttributeType::FREQUENCY);
    EXPECT_NE(mine, predefined);
    EXPECT_NE(Attribute::create("Core clock", pwr::Quantity::frequency(), AttributeType::FREQUENCY), mine);
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
    values.addAttributeValue(source(), Data(std::string("disk")));
    EXPECT_EQ(values.getAttributeCount(), 2u);
    EXPECT_EQ(values.getAttributeValue(Attribute::get(AttributeType::TARGET)), nullptr);
    EXPECT_EQ(capture.text(), "");

    EXPECT_EQ(values.addAttributeValue(irq(), Data(9LL)), 0);
    EXPECT_EQ(values.getAttributeCount(), 2u);
    EXPECT_EQ(capture.debug().text(), "WARNING: Attribute map and list size mismatch.\n");
    ASSERT_EQ(std::distance(values.begin(), values.end()), 3);
    EXPECT_EQ(values.begin()[2].second, Data(9LL));
    EXPECT_EQ(*values.getAttributeValue(irq()), Data(7LL));

    capture.clear();
    EXPECT_EQ(values.getAttributeValue(nullptr), nullptr);
    EXPECT_EQ(capture.debug().text(), kNullLine);
}

TEST(DynamicAttributeValueManager, SetsReplacesByIdAndRefusesNull) {
    pwr::DynamicAttributeValueManager values;
    ScopedLogCapture capture(2);
    EXPECT_EQ(values.getAttributeValue(irq()), nullptr);
    EXPECT_EQ(values.setAttributeValue(irq(), Data(3ULL)), 0);
    EXPECT_EQ(values.setAttributeValue(irq(), Data(std::string("replaced"))), 0);
    EXPECT_EQ(values.getAttributeCount(), 1u);
    EXPECT_EQ(values.begin()->first, irq()->getId());
    // Looked up by id: a copy of the attribute finds the same entry.
    Attribute copy(*irq());
    ASSERT_NE(values.getAttributeValue(&copy), nullptr);
    EXPECT_EQ(*values.getAttributeValue(&copy), Data(std::string("replaced")));
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

}  // namespace
