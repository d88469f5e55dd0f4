#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
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

// Opens the protected attribute operations to the tests.
class OpenCapability : public MetricPluginCapability {
  public:
    using MetricPluginCapability::MetricPluginCapability;
    using PluginCapability::getAttributes_i;
    using PluginCapability::isAttributeSet_i;
    using PluginCapability::setAttribute_i;
};

class CountedCapability : public PluginCapability {
  public:
    CountedCapability(const std::string& name, int* deletions)
        : PluginCapability(name, name), deletions(deletions) {}
    ~CountedCapability() override { ++*deletions; }

  private:
    int* deletions;
};

class TestPlugin : public Plugin {
  public:
    TestPlugin() : Plugin("test-plugin-uuid") {}
    using Plugin::addCapability;
    std::vector<std::string> paramsSeenOnNotify;

  protected:
    void notifyCommandlineParamsSet_i() override { paramsSeenOnNotify.push_back(getCommandlineParams()); }
};

std::vector<std::string> namesOf(const Plugin::Capabilities& capabilities) {
    std::vector<std::string> names;
    for (const PluginCapability* capability : capabilities) {
        names.push_back(capability->getName());
    }
    return names;
}

TEST(PluginCapability, AttributeBitsAndFlags) {
    ScopedLogCapture capture(1);
    OpenCapability capability("freq", "Frequency", "FREQ", 3);
    // A metric capability always supports continuous collection.
    EXPECT_EQ(capability.getAttributes_i(), 0x4u);
    EXPECT_FALSE(capability.setAttribute_i(7));
    EXPECT_FALSE(capability.setAttribute_i(64));
    EXPECT_EQ(capability.getAttributes_i(), 0x4u);
    EXPECT_TRUE(capability.setAttribute_i(8));
    EXPECT_TRUE(capability.isNoCollect());
    EXPECT_TRUE(capability.setAttribute_i(63));
    EXPECT_TRUE(capability.isAttributeSet_i(63));
    EXPECT_FALSE(capability.isAttributeSet_i(64));

    EXPECT_TRUE(capability.shouldCheckBeforeDisplaying());
    capability.setDependent();
    capability.disableDynamicCheck();
    capability.setHidden();
    capability.setOrResetContinuousCollectionSupport(false);
    EXPECT_TRUE(capability.isDependent());
    EXPECT_FALSE(capability.shouldCheckBeforeDisplaying());
    EXPECT_TRUE(capability.isHidden());
    EXPECT_EQ(capability.getAttributes_i(), (uint64_t{1} << 63) | 0x702u);
    EXPECT_FALSE(PluginCapability("p", "d").doesSupportContinuousCollection());
}

TEST(MetricPluginCapability, ConstructorsSetRangeAndGroup) {
    MetricPluginCapability plain("freq", "Frequency", "FREQ", 3, std::string());
    EXPECT_EQ(plain.getFMSRange().first.getValue(), 0u);
    EXPECT_EQ(plain.getFMSRange().second.getValue(), 0xffffffu);
    EXPECT_TRUE(plain.getGroupNames().empty());

    MetricPluginCapability exact("freq", "Frequency", "FREQ", 3, FMS(6, 0x8e, 0), "cpu");
    EXPECT_EQ(exact.getFMSRange().second.getValue(), 0x068e00u);
    EXPECT_TRUE(exact.equals("cpu"));

    // Family and model 0 stand for every processor.
    MetricPluginCapability any("freq", "Frequency", "FREQ", 3, FMS(0, 0, 5));
    EXPECT_EQ(any.getFMSRange().second.getValue(), 0xffffffu);
    EXPECT_TRUE(any.doesRangeInclude(FMS(0xff, 0xfe, 1)));
}

TEST(MetricPluginCapability, RangeIncludesEndsByWildcardAndInsideByNumber) {
    MetricPluginCapability capability("freq", "Frequency", "FREQ", 3);
    capability.setFMSRange(FMS(6, 0x4e, 0), FMS(6, 0x5e, 0));
    const std::pair<FMS, bool> cases[] = {
        {FMS(6, 0x5e, 3), true},      // above the last as a number, equal to it by the wildcard
        {FMS(6, 0x4e, 9), true},      // equal to the first by the wildcard
        {FMS(6, 0x55, 1), true},      // inside
        {FMS(6, 0x5f, 0), false},     // above
        {FMS(6, 0x4d, 0xff), false},  // below
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
    MetricPluginCapability& same = capability.addReadTrigger(static_cast<pwr::vr_when_type>(1))
                                       .addReadTrigger(static_cast<pwr::vr_when_type>(4));
    EXPECT_EQ(&same, &capability);
    EXPECT_EQ(capability.getReadTriggers(), 5u);
    EXPECT_EQ(capture.debug().text(),
              "WARNING: DEPRECATED API!\nWARNING: DEPRECATED API!\nWARNING: DEPRECATED API!\n");
}

TEST(OtherCapabilities, ResultFileVersionAndWriterTables) {
    pwr::ResultFilePluginCapability parts("vrr", 1, 2, 3);
    EXPECT_EQ(parts.getVersion(), 0x010203u);
    EXPECT_EQ(pwr::ResultFilePluginCapability("vrr", 7u).getVersion(), 7u);
    const std::set<pwr::TableClass> tables{static_cast<pwr::TableClass>(2), static_cast<pwr::TableClass>(9)};
    pwr::WriterPluginCapability writer(tables, "csv", "Comma separated", ".csv", true);
    EXPECT_EQ(writer.getSupportedTables(), tables);
    EXPECT_EQ(writer.getFileSuffix(), ".csv");
    EXPECT_TRUE(writer.doesSupportContinuousCollection());
}

TEST(CapabilitySuitability, NoRequirementsAllPassAndFirstFailureStops) {
    ScopedLogCapture capture(3);
    SystemMetadata system;
    EXPECT_EQ(PluginCapability("idle", "Idle states").isCapabilitySuitableFor(system, {}),
              pwr::REQUIREMENTS_NONE_TESTED);
    EXPECT_EQ(capture.debug().text(), "DEBUG: Idle states has result = 1\n");

    capture.clear();
    RequirementCounts counts;
    PluginCapability passing("idle", "Idle states");
    passing.addPluginRequirement(new FakeRequirement(true, &counts));
    passing.addPluginRequirement(new FakeRequirement(false, &counts, true));
    passing.addPluginRequirement(new FakeRequirement(true, &counts));
    EXPECT_EQ(passing.isCapabilitySuitableFor(system, {}), pwr::REQUIREMENTS_ALL_PASSED);
    const std::string passed = "DEBUG: set PASSED for  idle, Idle states\n";
    const std::string met = "DEBUG: Requirement met: 1\n" + passed;
    EXPECT_EQ(capture.debug().text(), met + "DEBUG: Negative Requirement met: 1\n" + passed + met +
                                          "DEBUG: Idle states has result = 2\n");

    capture.clear();
    RequirementCounts third;
    PluginCapability failing("idle", "Idle states");
    failing.addPluginRequirement(new FakeRequirement(true, &counts));
    failing.addPluginRequirement(new FakeRequirement(false, &counts));
    failing.addPluginRequirement(new FakeRequirement(true, &third));
    failing.addPluginRequirement(nullptr);
    EXPECT_EQ(failing.isCapabilitySuitableFor(system, {}), pwr::REQUIREMENTS_NOT_MET);
    EXPECT_EQ(third.evaluations, 0);
    EXPECT_EQ(capture.debug().text(), met + "DEBUG: Requirement met: 0\nDEBUG: Idle states has result = 0\n");
}

TEST(CapabilitySuitability, ContinuousCollectionNeedsTheContinuousBit) {
    ScopedLogCapture capture(4);
    SystemMetadata system;
    system.continuousQuantumMsecs = 1000;
    RequirementCounts counts;
    PluginCapability single("once", "Single shot");
    single.addPluginRequirement(new FakeRequirement(true, &counts));
    EXPECT_EQ(single.isCapabilitySuitableFor(system, {}), pwr::REQUIREMENTS_NOT_MET);
    EXPECT_EQ(PluginCapability("once", "").isCapabilitySuitableFor(system, {}), pwr::REQUIREMENTS_NOT_MET);
    EXPECT_EQ(counts.evaluations, 0);
    EXPECT_EQ(capture.text(), "");
    EXPECT_EQ(PluginCapability("loop", "", true).isCapabilitySuitableFor(system, {}),
              pwr::REQUIREMENTS_NONE_TESTED);
}

TEST(CapabilitySuitability, CopiesShareRequirementsWhichAreDeletedOnce) {
    RequirementCounts counts;
    {
        auto original = std::make_unique<PluginCapability>("cap", "desc");
        original->addPluginRequirement(new FakeRequirement(false, &counts));
        PluginCapability copy(*original);
        PluginCapability assigned("other", "other");
        assigned = copy;
        original.reset();
        EXPECT_EQ(counts.deletions, 0);
        EXPECT_EQ(assigned.isCapabilitySuitableFor(SystemMetadata(), {}), pwr::REQUIREMENTS_NOT_MET);
        PluginCapability moved(std::move(copy));
        EXPECT_EQ(moved.isCapabilitySuitableFor(SystemMetadata(), {}), pwr::REQUIREMENTS_NOT_MET);
        EXPECT_EQ(counts.evaluations, 2);
    }
    EXPECT_EQ(counts.deletions, 1);
}

TEST(Plugin, IdentityParamsDefaultsAndOwnership) {
    int deletions = 0;
    {
        TestPlugin plugin;
        EXPECT_EQ(plugin.getSID(), -1);
        plugin.setCommandlineParams("--rate 10");
        // The plug-in is told after the text is stored.
        EXPECT_EQ(plugin.paramsSeenOnNotify, std::vector<std::string>{"--rate 10"});
        EXPECT_EQ(plugin.reset(pwr::RESET_FROM_STATE_4, 1234, SystemMetadata()), pwr::RESET_CONSUMED);

        auto* first = new CountedCapability("a", &deletions);
        plugin.addCapability(first);
        plugin.addCapability(nullptr);
        plugin.addCapability(new CountedCapability("b", &deletions));
        EXPECT_EQ(first->getOwner(), &plugin);
        Plugin::Capabilities all;
        plugin.getAllCapabilities(all);
        EXPECT_EQ(namesOf(all), (std::vector<std::string>{"a", "b"}));
    }
    EXPECT_EQ(deletions, 2);
}

class MatchingTest : public ::testing::Test {
  protected:
    void SetUp() override {
        auto* cstate = new PluginCapability("cstate", "C-states");
        cstate->addGroupName("power");
        auto* pstate = new PluginCapability("pstate", "P-states");
        pstate->addGroupName("power");
        pstate->addPluginRequirement(new pwr::OSNamePluginRequirement("Windows", false));
        plugin.addCapability(cstate);
        plugin.addCapability(pstate);
        plugin.addCapability(new PluginCapability("temp", "Temperatures"));
        system.osName = "Linux";
    }

    TestPlugin plugin;
    SystemMetadata system;
};

TEST_F(MatchingTest, SuitableCapabilitiesByNameGroupOrAll) {
    ScopedLogCapture capture(4);
    Plugin::Capabilities out;
    plugin.getCapabilitiesFor(out, "power", system);
    EXPECT_EQ(namesOf(out), (std::vector<std::string>{"cstate"}));
    EXPECT_TRUE(*out[0] == "cstate");
    EXPECT_FALSE(*out[0] == "power");
    EXPECT_EQ(capture.debug().text(),
              "DEBUG: C-states has result = 1\n"
              "INFO: test-plugin-uuid is reporting a suitable capability for power!\n"
              "DEBUG: Requirement met: 0\nDEBUG: P-states has result = 0\n");

    // `out` is not cleared.
    plugin.getCapabilitiesFor(out, "temp", system, {{"x", "y"}});
    EXPECT_EQ(namesOf(out), (std::vector<std::string>{"cstate", "temp"}));

    out.clear();
    plugin.getAllCapabilities(out, system);
    EXPECT_EQ(namesOf(out), (std::vector<std::string>{"cstate", "temp"}));

    system.osName = "Windows";
    out.clear();
    plugin.getCapabilitiesFor(out, "", system);
    EXPECT_EQ(namesOf(out), (std::vector<std::string>{"cstate", "pstate", "temp"}));
}

TEST_F(MatchingTest, AllCapabilitiesByNameTestsNothing) {
    ScopedLogCapture capture(4);
    Plugin::Capabilities out;
    plugin.getAllCapabilities(out, std::string("power"));
    EXPECT_EQ(namesOf(out), (std::vector<std::string>{"cstate", "pstate"}));
    plugin.getAllCapabilities(out, std::string("nothing"));
    EXPECT_EQ(out.size(), 2u);
    EXPECT_EQ(capture.text(), "");
}

}  // namespace
