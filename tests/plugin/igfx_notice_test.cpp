// The integrated-graphics notice is given once per process; this suite needs a process of its own.

#include <gtest/gtest.h>

#include <string>

#include "support/LogCapture.h"
#include "vantrell/plugin/PluginCapability.h"
#include "vantrell/plugin/SystemRequirements.h"
#include "vantrell/record/SystemMetadata.h"

namespace {

const char kNotice[] =
    "An integrated graphics device is not detected. Integrated graphics related metrics are disabled.";

TEST(IGFXPresentPluginRequirement, NoticeComesOncePerProcessEvenWhenNegative) {
    vrtest::ScopedLogCapture capture(0);
    pwr::SystemMetadata withGraphics;
    withGraphics.iGfxId = 0x46a6;
    pwr::SystemMetadata withoutGraphics;

    pwr::IGFXPresentPluginRequirement negative(true);
    pwr::IGFXPresentPluginRequirement plain;

    // Graphics present: no notice.
    EXPECT_TRUE(plain.isPluginRequirementSatisfied(withGraphics, {}));
    EXPECT_EQ(capture.text(), "");

    // The notice comes from the test itself, so a negative requirement gives it too.
    EXPECT_TRUE(negative.isPluginRequirementSatisfied(withoutGraphics, {}));
    EXPECT_EQ(capture.debug().text(), std::string(kNotice) + "\n");
    EXPECT_EQ(capture.errors().text(), "");
    ASSERT_EQ(capture.environment().getQueuedMessages().size(), 1u);
    EXPECT_EQ(capture.environment().getQueuedMessages().front(), kNotice);

    // Another requirement, and capabilities holding more, stay silent.
    capture.clear();
    capture.environment().getQueuedMessages().clear();
    EXPECT_FALSE(plain.isPluginRequirementSatisfied(withoutGraphics, {}));
    pwr::PluginCapability first("gfx-a", "A");
    first.addPluginRequirement(new pwr::IGFXPresentPluginRequirement());
    pwr::PluginCapability second("gfx-b", "B");
    second.addPluginRequirement(new pwr::IGFXPresentPluginRequirement());
    EXPECT_EQ(first.isCapabilitySuitableFor(withoutGraphics, {}), pwr::REQUIREMENTS_NOT_MET);
    EXPECT_EQ(second.isCapabilitySuitableFor(withoutGraphics, {}), pwr::REQUIREMENTS_NOT_MET);
    EXPECT_EQ(capture.text(), "");
    EXPECT_TRUE(capture.environment().getQueuedMessages().empty());
}

}  // namespace
