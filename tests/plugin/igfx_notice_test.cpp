// The integrated-graphics notice is given once per process; this suite needs a process of its own.

#include <gtest/gtest.h>

#include <deque>
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
    std::deque<std::string>& queued = capture.environment().getQueuedMessages();
    pwr::SystemMetadata withGraphics;
    withGraphics.iGfxId = 0x46a6;
    const pwr::SystemMetadata withoutGraphics;
    pwr::IGFXPresentPluginRequirement plain;
    EXPECT_TRUE(plain.isPluginRequirementSatisfied(withGraphics, {}));
    EXPECT_EQ(capture.text(), "") << "graphics present: no notice";

    // The notice comes from the test itself, so a negative requirement gives it too.
    EXPECT_TRUE(pwr::IGFXPresentPluginRequirement(true).isPluginRequirementSatisfied(withoutGraphics, {}));
    EXPECT_EQ(capture.debug().text(), std::string(kNotice) + "\n");
    EXPECT_EQ(capture.errors().text(), "");
    EXPECT_EQ(queued, std::deque<std::string>{kNotice});

    // Another requirement, and a capability holding one, stay silent.
    capture.clear();
    queued.clear();
    EXPECT_FALSE(plain.isPluginRequirementSatisfied(withoutGraphics, {}));
    pwr::PluginCapability capability("gfx", "Graphics");
    capability.addPluginRequirement(new pwr::IGFXPresentPluginRequirement());
    EXPECT_EQ(capability.isCapabilitySuitableFor(withoutGraphics, {}), pwr::REQUIREMENTS_NOT_MET);
    EXPECT_EQ(capture.text(), "");
    EXPECT_TRUE(queued.empty());
}

}  // namespace
