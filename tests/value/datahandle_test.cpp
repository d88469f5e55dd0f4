#include <gtest/gtest.h>

#include <string>

#include "support/LogCapture.h"
#include "value/RegistryEnvironment.h"
#include "vantrell/value/Attribute.h"
#include "vantrell/value/DataHandle.h"
#include "vantrell/value/Description.h"
#include "vantrell/value/Formatter.h"

namespace {

using pwr::Attribute;
using pwr::AttributeType;
using pwr::Data;
using pwr::DataDescriptor;
using pwr::DataDescriptorBuilder;
using pwr::Event;
using pwr::EventDescription;
using vrtest::ScopedLogCapture;

const char kMismatchLine[] = "WARNING: Attribute map and list size mismatch.\n";

const Attribute* irq() {
    return Attribute::get(AttributeType::IRQ);
}
const Attribute* source() {
    return Attribute::get(AttributeType::SOURCE);
}

TEST(Description, ShortNameDefaultsOnlyInThePlainForm) {
    pwr::Description plain("C0", "");
    EXPECT_EQ(plain.getShortName(), "C0");
    EXPECT_EQ(plain.getFieldName(), "C0");
    EXPECT_EQ(plain.getType(), pwr::DescriptionType::DESCRIPTION);
    EXPECT_EQ(pwr::Description("C0", "zero").getShortName(), "zero");

    pwr::StateDescription state("C0", "");
    EXPECT_EQ(state.getShortName(), "");
    EXPECT_EQ(state.getFieldName(), "C0");
    EXPECT_EQ(state.getType(), pwr::DescriptionType::STATE);
    EXPECT_EQ(pwr::FieldDescription("f", "").getType(), pwr::DescriptionType::FIELD);
}

TEST(Description, StateValueCanNameTheField) {
    pwr::StateDescription state("C6", "c6");
    state.addAttributeValue(irq(), Data(5LL), true);
    EXPECT_EQ(state.getFieldName(), "5");

    // The map keeps its first value, but the field name follows each request.
    Data hex(255LL);
    hex.setCustomFormatter(pwr::IntFormatter(0, true));
    EXPECT_EQ(state.addAttributeValue(irq(), hex, true), 0);
    EXPECT_EQ(state.getFieldName(), "0xff");
    EXPECT_EQ(*state.getAttributeValue(irq()), Data(5LL));

    state.addAttributeValue(source(), Data(std::string("ignored")));
    EXPECT_EQ(state.getFieldName(), "0xff");
    EXPECT_EQ(std::distance(state.begin(), state.end()), 0);
}

TEST(DataHandle, HandlesCopyTheirDescriptionsTexts) {
    pwr::Description description("Package C-state", "PC");
    description.setFieldName("PC state");
    description.setDescription("long text");
    description.setHeader("Package");
    const pwr::Field* field = pwr::Field::create(description);
    description.setHeader("changed later");

    EXPECT_EQ(field->getQualifiedName(), "Package C-state");
    EXPECT_EQ(field->getShortName(), "PC");
    EXPECT_EQ(field->getFieldName(), "PC state");
    EXPECT_EQ(field->getDescription(), "long text");
    EXPECT_EQ(field->getHeader(), "Package");
    EXPECT_EQ(field->getHandleType(), pwr::DataHandleType::FIELD);
}

TEST(Field, TakesExpectedAttributesOnlyFromAFieldDescription) {
    pwr::FieldDescription withAttributes("Residency", "");
    withAttributes.addAttribute(irq());
    withAttributes.addAttribute(irq());
    withAttributes.addAttribute(nullptr);
    const pwr::Field* field = pwr::Field::create(withAttributes);
    ASSERT_EQ(field->getAttributeCount(), 3u);
    EXPECT_EQ(*field->begin(), irq());
    EXPECT_EQ(field->begin()[2], nullptr);

    const pwr::Field* plain = pwr::Field::create(pwr::Description("Residency", ""));
    EXPECT_EQ(plain->getAttributeCount(), 0u);
    EXPECT_NE(plain, field);
}

TEST(State, TakesTheMapOnlyAndChangesThroughItsConstPointer) {
    pwr::StateDescription description("C1", "");
    description.addAttributeValue(irq(), Data(1LL));
    const pwr::State* state = pwr::State::create(description);
    const pwr::State* twin = pwr::State::create(description);
    EXPECT_NE(state, twin);
    EXPECT_EQ(state->getHandleType(), pwr::DataHandleType::STATE);

    ScopedLogCapture capture(2);
    EXPECT_EQ(state->getAttributeCount(), 1u);
    EXPECT_EQ(capture.debug().text(), kMismatchLine);
    EXPECT_EQ(std::distance(state->begin(), state->end()), 0);

    EXPECT_EQ(state->addAttributeValue(irq(), Data(2LL)), 0);
    EXPECT_EQ(state->addAttributeValue(source(), Data(3LL)), 0);
    EXPECT_EQ(*state->getAttributeValue(irq()), Data(2LL));
    EXPECT_EQ(*state->getAttributeValue(source()), Data(3LL));
    EXPECT_EQ(*twin->getAttributeValue(irq()), Data(1LL));
    EXPECT_EQ(std::distance(state->begin(), state->end()), 0);
}

TEST(Interning, KeysJoinNamesAttributeIdsAndFormattedValues) {
    DataDescriptorBuilder builder("Bandwidth", "BW");
    EXPECT_EQ(builder.getKey(), "Bandwidth-BW");
    builder.addAttributeValue(irq(), Data(12LL));
    Data hex(255ULL);
    hex.setCustomFormatter(pwr::UIntFormatter(0, true));
    builder.addAttributeValue(source(), hex);
    EXPECT_EQ(builder.getKey(), "Bandwidth-BW-" + std::to_string(irq()->getId()) + "-12-" +
                                    std::to_string(source()->getId()) + "-0xff");

    // An event description fills only its map, so its key holds the names alone.
    EventDescription event("Interrupt", "");
    event.addAttributeValue(irq(), Data(12LL));
    EXPECT_EQ(event.getKey(), "Interrupt-");
}

TEST(Interning, EqualBuildersYieldOneDataDescriptor) {
    auto build = [](long long value) {
        DataDescriptorBuilder builder("Interrupts", "irq");
        builder.addAttributeValue(irq(), Data(value));
        return builder;
    };
    ScopedLogCapture capture(2);
    const DataDescriptor* first = DataDescriptor::create(build(10));
    const DataDescriptor* again = DataDescriptor::create(build(10));
    EXPECT_EQ(first, again);
    EXPECT_EQ(first->getHandleType(), pwr::DataHandleType::DATA_DESCRIPTOR);

    // No number was spent on the second request.
    const DataDescriptor* other = DataDescriptor::create(build(11));
    EXPECT_NE(other, first);
    EXPECT_EQ(other->getId(), first->getId() + 1);
    EXPECT_EQ(*other->getAttributeValue(irq()), Data(11LL));
    EXPECT_EQ(std::distance(other->begin(), other->end()), 1);
    EXPECT_EQ(capture.text(), "");
}

TEST(Interning, AttributeOrderAndNamesArePartOfADescriptorsIdentity) {
    DataDescriptorBuilder forward("Traffic", "");
    forward.addAttributeValue(irq(), Data(1LL));
    forward.addAttributeValue(source(), Data(2LL));
    DataDescriptorBuilder backward("Traffic", "");
    backward.addAttributeValue(source(), Data(2LL));
    backward.addAttributeValue(irq(), Data(1LL));
    const DataDescriptor* first = DataDescriptor::create(forward);
    EXPECT_NE(DataDescriptor::create(backward), first);
    EXPECT_EQ(DataDescriptor::create(forward), first);

    EXPECT_TRUE(first->equal(forward));
    EXPECT_TRUE(first->equal(backward));  // same pairs: only the key tells them apart
    EXPECT_FALSE(first->equal(DataDescriptorBuilder("Traffic", "")));
    DataDescriptorBuilder renamed("traffic", "");
    renamed.addAttributeValue(irq(), Data(1LL));
    renamed.addAttributeValue(source(), Data(2LL));
    EXPECT_FALSE(first->equal(renamed));
    EXPECT_NE(DataDescriptor::create(renamed), first);

    // A short name only changes the key.
    DataDescriptorBuilder shortNamed("Traffic", "t");
    shortNamed.addAttributeValue(irq(), Data(1LL));
    shortNamed.addAttributeValue(source(), Data(2LL));
    EXPECT_TRUE(first->equal(shortNamed));
    EXPECT_NE(DataDescriptor::create(shortNamed), first);
}

TEST(Interning, ANullAttributeNeverMatches) {
    ScopedLogCapture capture(2);
    DataDescriptorBuilder builder("With null", "");
    builder.addAttributeValue(nullptr, Data(1LL));
    const DataDescriptor* first = DataDescriptor::create(builder);
    EXPECT_EQ(capture.text(), "");
    EXPECT_NE(DataDescriptor::create(builder), first);
    EXPECT_EQ(capture.debug().text(), "WARNING: Please provide a valid non-null attribute to set.\n");
}

TEST(Interning, EventsDifferingOnlyInValuesAreOneEvent) {
    auto describe = [](long long value) {
        EventDescription description("Wake", "w");
        description.addAttributeValue(irq(), Data(value));
        return description;
    };
    ScopedLogCapture capture(2);
    const Event* first = Event::create(describe(1));
    // Creating counted nothing yet; the lookup counts the event and the description once each.
    EXPECT_EQ(capture.text(), "");
    const Event* again = Event::create(describe(2));
    EXPECT_EQ(first, again);
    EXPECT_EQ(capture.debug().text(), std::string(kMismatchLine) + kMismatchLine);
    EXPECT_EQ(first->getHandleType(), pwr::DataHandleType::EVENT);
    EXPECT_EQ(*first->getAttributeValue(irq()), Data(1LL));

    // Another attribute count, or another name, is another event.
    EventDescription two = describe(1);
    two.addAttributeValue(source(), Data(1LL));
    EXPECT_NE(Event::create(two), first);
    EXPECT_NE(Event::create(EventDescription("Wake", "w")), first);
    EXPECT_NE(Event::create(EventDescription("Sleep", "w")), first);
}

TEST(NameValuePair, EveryCreateIsANewHandle) {
    const pwr::NameValuePair* first = pwr::NameValuePair::create(3, "C3", "C-state");
    const pwr::NameValuePair* second = pwr::NameValuePair::create(3, "C3", "C-state");
    EXPECT_NE(first, second);
    EXPECT_EQ(second->getId(), first->getId() + 1);
    EXPECT_EQ(first->getValue(), 3u);
    EXPECT_EQ(first->getValueDesc(), "C3");
    EXPECT_EQ(first->getInfoName(), "C-state");
    EXPECT_EQ(first->getName(), "C-state");
    EXPECT_EQ(first->getHandleType(), pwr::DataHandleType::NAME_VALUE_PAIR);
}

}  // namespace
