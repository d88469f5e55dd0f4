// Runs in a process of its own: the registry starts out missing here.

#include <gtest/gtest.h>

#include <string>

#include "support/LogCapture.h"
#include "vantrell/value/Attribute.h"
#include "vantrell/value/Data.h"
#include "vantrell/value/DataHandle.h"
#include "vantrell/value/Description.h"
#include "vantrell/value/Quantity.h"
#include "vantrell/value/UniqueId.h"

namespace {

using pwr::Quantity;
using pwr::UniqueId;
using vrtest::ScopedLogCapture;

const char kUserLine[] =
    "Vantrell internal state wasn't initialized correctly, this can cause issues with result correctness!";
const char kWarningLine[] = "WARNING: ID Manager wasn't initialized!";
const std::string kReport = std::string(kUserLine) + kWarningLine;

// Each use of the registry before initialize() (or after destroy()) is reported, and objects made
// meanwhile are still usable.
void expectUseWithoutRegistryIsReported() {
    {
        ScopedLogCapture capture(2);
        const Quantity* custom = Quantity::create(pwr::QuantityType(9), "Loose", "l", nullptr, 1.0);
        const pwr::Event* event = pwr::Event::create(pwr::EventDescription("e", ""));
        ASSERT_TRUE(custom != nullptr && event != nullptr);
        const pwr::DataHandle* out = nullptr;
        EXPECT_EQ(pwr::DataHandle::get(custom->getId(), out), 1);
        EXPECT_EQ(out, nullptr);
        EXPECT_EQ(pwr::Attribute::get(pwr::AttributeType::IRQ), nullptr);
        EXPECT_EQ(capture.debug().text(), kReport + kReport + kReport + kReport);
        std::string title;
        custom->toTitleString(title);
        EXPECT_EQ(title + " " + event->getName(), "Loose (l) e");
    }
    // The first line is meant for the user and gets out whatever the verbosity.
    ScopedLogCapture silent(0);
    pwr::Field::create(pwr::Description("f", ""));
    EXPECT_EQ(silent.text(), kUserLine);
}

TEST(RegistryLifecycle, UseBeforeInitializeIsReported) {
    EXPECT_EQ(Quantity::power(), nullptr);
    expectUseWithoutRegistryIsReported();
}

TEST(RegistryLifecycle, DestroyFreesHandlesAndIdsGoOnCountingAfterIt) {
    UniqueId::initialize();
    const pwr::Field* field = pwr::Field::create(pwr::Description("gone soon", ""));
    pwr::Data value(*field);
    const unsigned long long fieldId = field->getId();
    const Quantity* oldPower = Quantity::power();
    unsigned long long lastId = pwr::Attribute::get(pwr::AttributeType::TARGET)->getId();
    UniqueId::destroy();

    // The built-in pointers keep their old values; nothing else answers until the next initialize().
    EXPECT_EQ(Quantity::power(), oldPower);
    expectUseWithoutRegistryIsReported();

    ScopedLogCapture capture(2);
    UniqueId::initialize();
    EXPECT_GT(Quantity::frequency()->getId(), lastId);
    const pwr::DataHandle* out = nullptr;
    EXPECT_EQ(value.toHandle(out), 1);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(capture.debug().text(),
              "WARNING: Handle id " + std::to_string(fieldId) + " not found in UniqueId map\n");

    // The predefined attributes are made anew for the new registry.
    const pwr::Attribute* target = pwr::Attribute::get(pwr::AttributeType::TARGET);
    ASSERT_NE(target, nullptr);
    EXPECT_GT(target->getId(), Quantity::frequency()->getId());
    UniqueId::destroy();
}

}  // namespace
