#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "plugin/RequirementFakes.h"
#include "support/LogCapture.h"
#include "vantrell/plugin/Plugin.h"
#include "vantrell/plugin/PluginCapability.h"
#include "vantrell/plugin/SystemRequirements.h"
#include "vantrell/record/SystemMetadata.h"

namespace {

using pwr::FMS;
using pwr::MetricPluginCapability;
using pwr::PluginCapability;
using pwr::SystemMetadata;
using vrtest::FakeRequirement;
using vrtest::RequirementCounts;
using vrtest::ScopedLogCapture;
using Names = std::vector<std::string>;

// Opens the protected attribute operations to the tests.
class OpenCapability : public MetricPluginCapability {
  public:
    using MetricPluginCapability::MetricPluginCapability;
    using PluginCapability::getAttributes_i;
    using PluginCapability::isAttributeSet_i;
    using PluginCapability::setAttribute_i;
};

class TestPlugin : public Plugin {
  public:
    TestPlugin() : Plugin("test-plugin-uuid") {}
    using Plugin::addCapability;
    Names paramsSeenOnNotify;

  protected:
    void notifyCommandlineParamsSet_i() override { paramsSeenOnNotify.push_back(getCommandlineParams()); }
};

Names namesOf(const Plugin::Capabilities& capabilities) {
    Names names;
    for (const PluginCapability* capability : capabilities) {
        names.push_back(capability->getName());
    }
    return names;
}

TEST(PluginCapability, AttributeBitsFlagsAndVersion) {
    OpenCapability capability("freq", "Frequency", "FREQ", 3);
    EXPECT_EQ(capability.getAttributes_i(), 0x4u) << "a metric capability supports continuous collection";
    EXPECT_FALSE(capability.setAttribute_i(7)) << "the bits below 8 belong to the named flags";
    EXPECT_FALSE(capability.setAttribute_i(64));
    EXPECT_FALSE(capability.isAttributeSet_i(64));
    EXPECT_TRUE(capability.setAttribute_i(8));
    EXPECT_TRUE(capability.setAttribute_i(63));
    capability.setDependent();
    capability.disableDynamicCheck();
    capability.setHidden();
    capability.setOrResetContinuousCollectionSupport(false);
    EXPECT_TRUE(capability.isNoCollect() && !capability.shouldCheckBeforeDisplaying());
    EXPECT_EQ(capability.getAttributes_i(), (uint64_t{1} << 63) | 0x702u);
    EXPECT_EQ(pwr::ResultFilePluginCapability("vrr", 1, 2, 3).getVersion(), 0x010203u);
}

TEST(MetricPluginCapability, RangeFromConstructorsAndEndsMatchedByWildcard) {
    MetricPluginCapability exact("freq", "Frequency", "FREQ", 3, FMS(6, 0x8e, 0), "cpu");
    EXPECT_EQ(exact.getFMSRange().second.getValue(), 0x068e00u);
    EXPECT_TRUE(exact.equals("cpu"));
    // Family and model 0 stand for every processor.
    MetricPluginCapability any("freq", "Frequency", "FREQ", 3, FMS(0, 0, 5));
    EXPECT_EQ(any.getFMSRange().second.getValue(), 0xffffffu);
    EXPECT_TRUE(any.doesRangeInclude(FMS(0xff, 0xfe, 1)));
    EXPECT_EQ(MetricPluginCapability("f", "F", "F", 3, FMS(0, 1, 0)).getFMSRange().second.getValue(), 0x100u);

    MetricPluginCapability capability("freq", "Frequency", "FREQ", 3, std::string());
    EXPECT_TRUE(capability.getGroupNames().empty());
    capability.setFMSRange(FMS(6, 0x4e, 0), FMS(6, 0x5e, 0));
    const std::pair<FMS, bool> cases[] = {
        {FMS(6, 0x5e, 3), true},  // above the last as a number, equal to it by the wildcard
        {FMS(6, 0x4e, 9), true},  // equal to the first by the wildcard
        {FMS(6, 0x55, 1), true}, {FMS(6, 0x5f, 0), false}, {FMS(6, 0x4d, 0xff), false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.first.getValue());
        EXPECT_EQ(capability.doesRangeInclude(c.first), c.second);
    }
    capability.setFMSRange(FMS(6, 0x4e, 1), FMS(6, 0x5e, 2));
    EXPECT_FALSE(capability.doesRangeInclude(FMS(6, 0x5e, 3)));
}

TEST(MetricPluginCapability, DeprecatedReadTriggersWarnOnEveryCall) {
    ScopedLogCapture capture(2);
    MetricPluginCapability capability("freq", "Frequency", "FREQ", 3);
    EXPECT_EQ(&capability.addReadTrigger(pwr::vr_when_type(1)).addReadTrigger(pwr::vr_when_type(4)),
              &capability);
    EXPECT_EQ(capability.getReadTriggers(), 5u);
    EXPECT_EQ(capture.debug().text(),
              "WARNING: DEPRECATED API!\nWARNING: DEPRECATED API!\nWARNING: DEPRECATED API!\n");
}

TEST(CapabilitySuitability, RequirementsInOrderUntilTheFirstFailure) {
    ScopedLogCapture capture(3);
    SystemMetadata system;
    RequirementCounts counts, last;
    PluginCapability capability("idle", "Idle states");
    EXPECT_EQ(capability.isCapabilitySuitableFor(system, {}), pwr::REQUIREMENTS_NONE_TESTED);
    capability.addPluginRequirement(new FakeRequirement(true, &counts));
    capability.addPluginRequirement(new FakeRequirement(false, &counts, true));
    capability.addPluginRequirement(nullptr);
    EXPECT_EQ(capability.isCapabilitySuitableFor(system, {}), pwr::REQUIREMENTS_ALL_PASSED);
    capability.addPluginRequirement(new FakeRequirement(false, &counts));
    capability.addPluginRequirement(new FakeRequirement(true, &last));
    EXPECT_EQ(capability.isCapabilitySuitableFor(system, {}), pwr::REQUIREMENTS_NOT_MET);
    EXPECT_EQ(last.evaluations, 0);
    const std::string passed = "DEBUG: set PASSED for  idle, Idle states\n";
    const std::string bothMet =
        "DEBUG: Requirement met: 1\n" + passed + "DEBUG: Negative Requirement met: 1\n" + passed;
    EXPECT_EQ(capture.debug().text(), "DEBUG: Idle states has result = 1\n" + bothMet +
                                          "DEBUG: Idle states has result = 2\n" + bothMet +
                                          "DEBUG: Requirement met: 0\nDEBUG: Idle states has result = 0\n");

    // Continuous collection needs the continuous bit, before any requirement is asked.
    capture.clear();
    system.continuousQuantumMsecs = 1000;
    EXPECT_EQ(capability.isCapabilitySuitableFor(system, {}), pwr::REQUIREMENTS_NOT_MET);
    EXPECT_EQ(counts.evaluations, 5);
    EXPECT_EQ(capture.text(), "");
    EXPECT_EQ(PluginCapability("loop", "", true).isCapabilitySuitableFor(system, {}),
              pwr::REQUIREMENTS_NONE_TESTED);
}

TEST(CapabilitySuitability, CopiesShareRequirementsWhichAreDeletedOnce) {
    RequirementCounts counts;
    {
        auto original = std::make_unique<PluginCapability>("cap", "desc");
        auto* requirement = new FakeRequirement(false, &counts);
        original->addPluginRequirement(requirement);
        original->addPluginRequirement(requirement);  // added twice, owned once
        PluginCapability copy(*original);
        PluginCapability assigned("other", "other");
        assigned = copy;
        original.reset();
        EXPECT_EQ(assigned.isCapabilitySuitableFor(SystemMetadata(), {}), pwr::REQUIREMENTS_NOT_MET);
        PluginCapability moved(std::move(copy));
        EXPECT_EQ(moved.isCapabilitySuitableFor(SystemMetadata(), {}), pwr::REQUIREMENTS_NOT_MET);
        EXPECT_EQ(counts.evaluations, 2);
        EXPECT_EQ(counts.deletions, 0);
    }
    EXPECT_EQ(counts.deletions, 1);
}

TEST(Plugin, OwnsAndMatchesItsCapabilities) {
    RequirementCounts counts;
    {
        TestPlugin plugin;
        plugin.setCommandlineParams("--rate 10");
        EXPECT_EQ(plugin.paramsSeenOnNotify, Names{"--rate 10"}) << "told after the text is stored";
        for (const char* name : {"cstate", "pstate", "temp"}) {
            auto* capability = new PluginCapability(name, std::string(name) + "-desc");
            if (name[0] != 't') {
                capability->addGroupName("power");
            }
            plugin.addCapability(capability);
            plugin.addCapability(nullptr);  // ignored: the destructor would stop at it
            EXPECT_EQ(capability->getOwner(), &plugin);
        }
        Plugin::Capabilities out;
        plugin.getAllCapabilities(out);
        out[1]->addPluginRequirement(new pwr::OSNamePluginRequirement("Windows", false));
        out[2]->addPluginRequirement(new FakeRequirement(true, &counts));
        SystemMetadata system;
        system.osName = "Linux";

        ScopedLogCapture capture(4);
        out.clear();
        plugin.getAllCapabilities(out, std::string("power"));
        EXPECT_EQ(namesOf(out), (Names{"cstate", "pstate"})) << "by name nothing is tested";
        plugin.getAllCapabilities(out, std::string("nothing"));
        EXPECT_EQ(capture.text(), "");

        out.clear();
        plugin.getCapabilitiesFor(out, "power", system);
        EXPECT_EQ(namesOf(out), Names{"cstate"});
        EXPECT_FALSE(*out[0] == "power") << "unlike equals, == compares the name alone";
        EXPECT_EQ(capture.debug().text(),
                  "DEBUG: cstate-desc has result = 1\n"
                  "INFO: test-plugin-uuid is reporting a suitable capability for power!\n"
                  "DEBUG: Requirement met: 0\nDEBUG: pstate-desc has result = 0\n");
        plugin.getCapabilitiesFor(out, "temp", system, {{"x", "y"}});
        EXPECT_EQ(namesOf(out), (Names{"cstate", "temp"})) << "`out` is not cleared";
        system.osName = "Windows";
        out.clear();
        plugin.getAllCapabilities(out, system);
        EXPECT_EQ(namesOf(out), (Names{"cstate", "pstate", "temp"}));
    }
    EXPECT_EQ(counts.deletions, 1);
}

}  // namespace
