#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <utility>

#include "support/LogCapture.h"
#include "value/RegistryEnvironment.h"
#include "vantrell/value/Attribute.h"
#include "vantrell/value/DataHandle.h"
#include "vantrell/value/Description.h"
#include "vantrell/value/Formatter.h"
#include "vantrell/value/Quantity.h"

namespace {

using pwr::Attribute;
using pwr::Data;
using pwr::DataDescriptor;
using pwr::DataHandle;
using pwr::Description;
using pwr::Event;
using pwr::EventDescription;
using vrtest::ScopedLogCapture;

const char kMismatchLine[] = "WARNING: Attribute map and list size mismatch.\n";
const char kNotAHandleValueLine[] = "WARNING: Attempt to retrieve handle value from a non-unsigned type\n";

const Attribute* irq() {
    return Attribute::get(pwr::AttributeType::IRQ);
}
const Attribute* source() {
    return Attribute::get(pwr::AttributeType::SOURCE);
}

const pwr::Field* field(const std::string& name) {
    return pwr::Field::create(Description(name, ""));
}

pwr::DataDescriptorBuilder builder(const std::string& name, const std::string& shortName,
                                   std::initializer_list<std::pair<const Attribute*, Data>> values) {
    pwr::DataDescriptorBuilder made(name, shortName);
    for (const auto& value : values) {
        made.addAttributeValue(value.first, value.second);
    }
    return made;
}

TEST(Description, ShortNameDefaultsOnlyInThePlainForm) {
    EXPECT_EQ(Description("C0", "").getShortName(), "C0");
    EXPECT_EQ(Description("C0", "zero").getShortName(), "zero");
    pwr::StateDescription state("C0", "");
    EXPECT_EQ(state.getShortName(), "");
    EXPECT_EQ(state.getFieldName(), "C0");
}

TEST(Description, StateValueCanNameTheField) {
    pwr::StateDescription state("C6", "c6");
    state.addAttributeValue(irq(), Data(5LL), true);
    EXPECT_EQ(state.getFieldName(), "5");
    // The map keeps its first value, but the field name follows each request, formatted.
    Data hex(255LL);
    hex.setCustomFormatter(pwr::IntFormatter(0, true));
    EXPECT_EQ(state.addAttributeValue(irq(), hex, true), 0);
    EXPECT_EQ(state.getFieldName(), "0xff");
    EXPECT_EQ(*state.getAttributeValue(irq()), Data(5LL));
    state.addAttributeValue(source(), Data("ignored"));
    EXPECT_EQ(state.getFieldName(), "0xff");
    EXPECT_EQ(std::distance(state.begin(), state.end()), 0);
}

TEST(DataHandle, HandlesCopyTheirDescriptionsTexts) {
    Description description("Package C-state", "PC");
    description.setFieldName("PC state");
    description.setDescription("long text");
    description.setHeader("Package");
    const pwr::Field* made = pwr::Field::create(description);
    description.setHeader("changed later");
    EXPECT_EQ(made->getQualifiedName() + "|" + made->getShortName() + "|" + made->getFieldName() + "|" +
                  made->getDescription() + "|" + made->getHeader(),
              "Package C-state|PC|PC state|long text|Package");
}

TEST(Field, TakesExpectedAttributesOnlyFromAFieldDescription) {
    pwr::FieldDescription withAttributes("Residency", "");
    withAttributes.addAttribute(irq());
    withAttributes.addAttribute(irq());
    withAttributes.addAttribute(nullptr);
    const pwr::Field* made = pwr::Field::create(withAttributes);
    ASSERT_EQ(made->getAttributeCount(), 3u);
    EXPECT_TRUE(made->begin()[0] == irq() && made->begin()[1] == irq() && made->begin()[2] == nullptr);
    EXPECT_EQ(field("Residency")->getAttributeCount(), 0u);
}

TEST(State, TakesTheMapOnlyAndChangesThroughItsConstPointer) {
    pwr::StateDescription description("C1", "");
    description.addAttributeValue(irq(), Data(1LL));
    const pwr::State* state = pwr::State::create(description);
    const pwr::State* twin = pwr::State::create(description);
    EXPECT_NE(state, twin);

    ScopedLogCapture capture(2);
    EXPECT_EQ(state->getAttributeCount(), 1u);
    EXPECT_EQ(capture.debug().text(), kMismatchLine);
    EXPECT_EQ(state->addAttributeValue(irq(), Data(2LL)), 0);
    EXPECT_EQ(state->addAttributeValue(source(), Data(3LL)), 0);
    EXPECT_EQ(*state->getAttributeValue(irq()), Data(2LL));
    EXPECT_EQ(*state->getAttributeValue(source()), Data(3LL));
    EXPECT_EQ(*twin->getAttributeValue(irq()), Data(1LL));
    EXPECT_EQ(std::distance(state->begin(), state->end()), 0);
}

TEST(Interning, KeysJoinNamesAttributeIdsAndFormattedValues) {
    Data hex(255ULL);
    hex.setCustomFormatter(pwr::UIntFormatter(0, true));
    EXPECT_EQ(builder("Bandwidth", "BW", {}).getKey(), "Bandwidth-BW");
    EXPECT_EQ(builder("Bandwidth", "BW", {{irq(), Data(12LL)}, {source(), hex}}).getKey(),
              "Bandwidth-BW-" + std::to_string(irq()->getId()) + "-12-" + std::to_string(source()->getId()) +
                  "-0xff");
    // An event description fills only its map, so its key holds the names alone.
    EventDescription event("Interrupt", "");
    event.addAttributeValue(irq(), Data(12LL));
    EXPECT_EQ(event.getKey(), "Interrupt-");
}

TEST(Interning, DescriptorsAreOnePerKeyAndEqualPairs) {
    ScopedLogCapture capture(2);
    const auto forward = builder("Traffic", "", {{irq(), Data(1LL)}, {source(), Data(2LL)}});
    const DataDescriptor* first = DataDescriptor::create(forward);
    EXPECT_EQ(DataDescriptor::create(forward), first);
    // No number was spent on the repeated request.
    const DataDescriptor* other = DataDescriptor::create(builder("Traffic", "", {{irq(), Data(11LL)}}));
    EXPECT_EQ(other->getId(), first->getId() + 1);
    EXPECT_EQ(*other->getAttributeValue(irq()), Data(11LL));
    EXPECT_EQ(std::distance(other->begin(), other->end()), 1);
    EXPECT_EQ(capture.text(), "");

    // equal() weighs the name and the pairs; the key adds their order and the short name.
    const auto backward = builder("Traffic", "", {{source(), Data(2LL)}, {irq(), Data(1LL)}});
    const auto shortNamed = builder("Traffic", "t", {{irq(), Data(1LL)}, {source(), Data(2LL)}});
    const auto renamed = builder("traffic", "", {{irq(), Data(1LL)}, {source(), Data(2LL)}});
    EXPECT_TRUE(first->equal(forward) && first->equal(backward) && first->equal(shortNamed));
    EXPECT_FALSE(first->equal(renamed) || first->equal(builder("Traffic", "", {})));
    for (const auto* differing : {&backward, &shortNamed, &renamed}) {
        EXPECT_NE(DataDescriptor::create(*differing), first);
    }

    // A null attribute never matches: each request makes another descriptor.
    const auto withNull = builder("With null", "", {{nullptr, Data(1LL)}});
    const DataDescriptor* nullFirst = DataDescriptor::create(withNull);
    EXPECT_EQ(capture.text(), "");
    EXPECT_NE(DataDescriptor::create(withNull), nullFirst);
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
    EXPECT_EQ(Event::create(describe(2)), first);
    EXPECT_EQ(capture.debug().text(), std::string(kMismatchLine) + kMismatchLine);
    EXPECT_EQ(*first->getAttributeValue(irq()), Data(1LL));

    // Another attribute count, or another name, is another event.
    EventDescription two = describe(1);
    two.addAttributeValue(source(), Data(1LL));
    EXPECT_NE(Event::create(two), first);
    EXPECT_NE(Event::create(EventDescription("Wake", "w")), first);
    EXPECT_NE(Event::create(EventDescription("Sleep", "w")), first);
}

TEST(HandleValue, HoldsTheIdAndReadsBackTheRegisteredHandle) {
    const pwr::Field* core = field("Core");
    Data value(*core);
    // A copy of the handle has its id, so it leads back to the registered object.
    pwr::Field copy(*core);
    EXPECT_EQ(Data(copy), value);
    const pwr::Field* other = field("Other");
    EXPECT_EQ(value.setValue(*other), 0);
    const DataHandle* out = nullptr;
    EXPECT_EQ(value.toHandle(out), 0);
    EXPECT_EQ(out, other);

    // Only a HANDLE value takes a handle; a refused one is set but invalid.
    ScopedLogCapture capture(2);
    Data none;
    EXPECT_EQ(none.setValue(*core), 1);
    EXPECT_EQ(none.getType(), pwr::DataType::NONE);
    EXPECT_TRUE(none.isSet() && !none.isValid());
    EXPECT_EQ(capture.debug().text(),
              "WARNING: Invalid attempt to initialize data of the wrong type (0 != 7)\n");
}

TEST(FormatHandle, PrintsTheQualifiedNameOrTheNumberAndNameOfAPair) {
    struct Case {
        const DataHandle* handle;
        int width;
        const char* text;
    };
    const Case cases[] = {{field("Core_3"), 0, "Core_3"},
                          {field("C0"), 6, "    C0"},
                          {field("longer than width"), 3, "longer than width"},
                          {pwr::State::create(pwr::StateDescription("C6", "")), 0, "C6"},
                          {Attribute::get(pwr::AttributeType::FREQUENCY), 0, "Frequency"},
                          {pwr::NameValuePair::create(3, "C3", "C-state"), 0, "3 - C-state"},
                          {pwr::NameValuePair::create(4000000000u, "big", "Id"), 14, "4000000000 - Id"},
                          {pwr::NameValuePair::create(1, "one", ""), 6, "  1 - "}};
    for (const Case& c : cases) {
        std::string out = "old";
        EXPECT_EQ(pwr::HandleFormatter(c.width).format(out, Data(*c.handle)), 0);
        EXPECT_EQ(out, c.text);
    }
    // The type's own formatter is a HandleFormatter of width 0. Pairs are never shared.
    std::string out;
    EXPECT_EQ(Data(*cases[5].handle).toFormattedString(out), 0);
    EXPECT_EQ(out, "3 - C-state");
    EXPECT_EQ(pwr::NameValuePair::create(3, "C3", "C-state")->getId(), cases[7].handle->getId() + 1);
}

TEST(FormatHandle, FailuresLeaveTheOutputAsItWasAndReportOnlyWrongTypes) {
    ScopedLogCapture capture(2);
    const DataHandle* sentinel = field("sentinel");
    Data invalidated(*sentinel);
    invalidated.invalidate();
    const DataHandle* handle = sentinel;
    std::string out = "kept";
    EXPECT_EQ(pwr::HandleFormatter(4).format(out, Data(pwr::DataType::HANDLE)), 1);
    EXPECT_EQ(invalidated.toHandle(handle), 1);
    EXPECT_EQ(capture.text(), "");
    EXPECT_EQ(pwr::Formatter::formatHandle(pwr::HandleFormatter(), out, Data(2.5)), 1);
    EXPECT_EQ(Data(5LL).toHandle(handle), 1);
    EXPECT_EQ(out + " " + handle->getName(), "kept sentinel");
    EXPECT_EQ(capture.debug().text(), std::string(kNotAHandleValueLine) + kNotAHandleValueLine);
}

// A handle that never went through a create: it has an id, but the registry doesn't know it.
class LooseHandle : public DataHandle {
  public:
    LooseHandle() : DataHandle(Description("loose", ""), pwr::DataHandleType::FIELD) {}
};

TEST(UniqueId, EachObjectTakesTheNextNumberAndCopiesShareIt) {
    const pwr::Field* first = field("a");
    const pwr::Quantity* second = pwr::Quantity::create(pwr::QuantityType(20), "Widgets", "w", nullptr, 1.0);
    pwr::Quantity copy(*second);
    pwr::Quantity assigned(*pwr::Quantity::power());
    assigned = copy;
    pwr::Quantity moved(std::move(copy));
    EXPECT_TRUE(assigned.getId() == second->getId() && moved.getId() == second->getId());
    // The second object took the next number, and none of the copies consumed one.
    EXPECT_EQ(field("b")->getId(), first->getId() + 2);
}

TEST(UniqueId, GetReportsUnknownIdsAndObjectsThatAreNoHandles) {
    ScopedLogCapture capture(2);
    const DataHandle* previous = field("previous");
    const DataHandle* found = previous;
    LooseHandle loose;
    EXPECT_EQ(DataHandle::get(loose.getId(), found), 1);
    EXPECT_EQ(found, previous);
    EXPECT_EQ(DataHandle::get(pwr::Quantity::power()->getId(), found), 1);
    EXPECT_EQ(found, nullptr);
    EXPECT_EQ(capture.debug().text(),
              "WARNING: Handle id " + std::to_string(loose.getId()) +
                  " not found in UniqueId map\nWARNING: UniqueId isn't a DataHandle type\n");

    // Below warning verbosity the gate keeps both lines back.
    ScopedLogCapture quiet(1);
    EXPECT_EQ(DataHandle::get(loose.getId(), found), 1);
    EXPECT_EQ(quiet.text(), "");
}

}  // namespace
