#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>

#include "plugin/RequirementFakes.h"
#include "support/LogCapture.h"
#include "vantrell/plugin/DriverRequirement.h"
#include "vantrell/plugin/PluginRequirement.h"
#include "vantrell/plugin/SystemRequirements.h"
#include "vantrell/record/FMS.h"
#include "vantrell/record/SystemMetadata.h"

namespace {

using pwr::FMS;
using pwr::PluginRequirement;
using pwr::PluginRequirementGroup;
using pwr::SystemMetadata;
using vrtest::FakeRequirement;
using vrtest::RequirementCounts;
using vrtest::ScopedLogCapture;

TEST(FMS, SteppingZeroIsAWildcardAndStreamFormIsHex) {
    EXPECT_TRUE(FMS(6, 0x8e, 0) == FMS(6, 0x8e, 9));
    EXPECT_TRUE(FMS(6, 0x8e, 9) == FMS(6, 0x8e, 0));
    EXPECT_FALSE(FMS(6, 0x8e, 10) == FMS(6, 0x8e, 9));
    EXPECT_FALSE(FMS(6, 0x8e, 0) == FMS(6, 0x8f, 0));
    EXPECT_EQ(FMS(6, 0x8e, 9).getValue(), 0x068e09u);

    std::ostringstream out;
    out << FMS(6, 0x8e, 9) << ' ' << 255;
    // The stream's base is put back: the number behind stays decimal.
    EXPECT_EQ(out.str(), "0x68e9 255");
}

// A requirement built plain and negative, to be tested against one system.
struct KindCase {
    std::shared_ptr<PluginRequirement> plain;
    std::shared_ptr<PluginRequirement> negative;
    const SystemMetadata* system;
    const char* name;
    bool expected;
};

template <class R, class... Args>
KindCase kind(const SystemMetadata& system, const char* name, bool expected, Args... args) {
    return {std::make_shared<R>(args..., false), std::make_shared<R>(args..., true), &system, name, expected};
}

TEST(SystemRequirements, EachKindTestsItsFieldAndNegativeInverts) {
    SystemMetadata on;
    on.fms = FMS(6, 0x8e, 9);
    on.scuVersion = 0x20001;
    on.osName = "Windows 11";
    on.platformName = "PCH=ZLKLP,PCI=0x8086";
    on.hyperVEnable = 2;
    on.vsmEnable = 1;
    on.iGfxId = 0x9a49;
    const SystemMetadata off;
    const KindCase cases[] = {
        kind<pwr::FMSPluginRequirement>(on, "FMS", true, FMS(6, 0x8e, 0)),
        kind<pwr::FMSPluginRequirement>(on, "FMS", false, FMS(6, 0x8e, 10)),
        kind<pwr::SCUPluginRequirement>(on, "SCU", true, 0x20001u),
        kind<pwr::SCUPluginRequirement>(on, "SCU", false, 0x20002u),
        kind<pwr::OSNamePluginRequirement>(on, "OS", true, std::string("Windows 11")),
        kind<pwr::OSNamePluginRequirement>(on, "OS", false, std::string("windows 11")),
        kind<pwr::OSNamePluginRequirement>(on, "OS", false, std::string("Windows")),
        kind<pwr::PCHPluginRequirement>(on, "PCH", true, std::string("ZLKLP")),
        kind<pwr::PCHPluginRequirement>(on, "PCH", false, std::string("YEWH")),
        kind<pwr::PCHPluginRequirement>(off, "PCH", true, std::string()),
        kind<pwr::HyperVEnablePluginRequirement>(on, "HV", true),
        kind<pwr::HyperVEnablePluginRequirement>(off, "HV", false),
        kind<pwr::VSMDisablePluginRequirement>(on, "VSM", false),
        kind<pwr::VSMDisablePluginRequirement>(off, "VSM", true),
        kind<pwr::IGFXPresentPluginRequirement>(on, "IGFX", true),
    };
    ScopedLogCapture capture(4);
    for (size_t i = 0; i < sizeof(cases) / sizeof(cases[0]); ++i) {
        const KindCase& c = cases[i];
        SCOPED_TRACE(i);
        EXPECT_EQ(c.plain->getName(), c.name);
        EXPECT_FALSE(c.plain->isNegative());
        EXPECT_EQ(c.plain->isPluginRequirementSatisfied(*c.system, {{"ignored", "x"}}), c.expected);
        EXPECT_EQ(c.negative->isPluginRequirementSatisfied(*c.system, {}), !c.expected);
    }
    // Outside a list a requirement reports nothing; present graphics give no notice.
    EXPECT_EQ(capture.text(), "");
    EXPECT_TRUE(capture.environment().getQueuedMessages().empty());
}

TEST(RequirementGroup, ConjunctionStopsAtFirstFalseAndDisjunctionAtFirstTrue) {
    ScopedLogCapture capture(4);
    // Empty groups are satisfied whatever their conjunction.
    EXPECT_TRUE(PluginRequirementGroup(true).isPluginRequirementSatisfied(SystemMetadata(), {}));
    EXPECT_TRUE(PluginRequirementGroup(false).isPluginRequirementSatisfied(SystemMetadata(), {}));
    EXPECT_EQ(PluginRequirementGroup().getName(), "SYSTEM");
    RequirementCounts first, second, third;
    {
        PluginRequirementGroup all(true);
        all.addPluginRequirement(new FakeRequirement(true, &first));
        all.addPluginRequirement(new FakeRequirement(false, &second));
        all.addPluginRequirement(new FakeRequirement(true, &third));
        EXPECT_FALSE(all.isPluginRequirementSatisfied(SystemMetadata(), {}));
        EXPECT_EQ(second.evaluations, 1);
        EXPECT_EQ(third.evaluations, 0);
        EXPECT_EQ(capture.debug().text(), "DEBUG: Requirement met: 1\nDEBUG: Requirement met: 0\n");
    }
    EXPECT_EQ(first.deletions + second.deletions + third.deletions, 3);

    RequirementCounts a, b, c;
    PluginRequirementGroup any(false);
    any.addPluginRequirement(new FakeRequirement(false, &a));
    any.addPluginRequirement(new FakeRequirement(true, &b));
    any.addPluginRequirement(new FakeRequirement(true, &c));
    EXPECT_TRUE(any.isPluginRequirementSatisfied(SystemMetadata(), {}));
    EXPECT_EQ(c.evaluations, 0);

    PluginRequirementGroup none(false);
    none.addPluginRequirement(new FakeRequirement(false, &a));
    EXPECT_FALSE(none.isPluginRequirementSatisfied(SystemMetadata(), {}));
}

TEST(RequirementGroup, NegativeMemberCountsByItsInvertedValue) {
    ScopedLogCapture capture(4);
    SystemMetadata system;
    system.osName = "Linux";
    PluginRequirementGroup all(true);
    all.addPluginRequirement(new pwr::OSNamePluginRequirement("Windows", true));
    all.addPluginRequirement(new pwr::OSNamePluginRequirement("Linux", false));
    EXPECT_TRUE(all.isPluginRequirementSatisfied(system, {}));
    EXPECT_EQ(capture.debug().text(), "DEBUG: Negative Requirement met: 1\nDEBUG: Requirement met: 1\n");

    capture.clear();
    capture.environment().setVerbosity(2);
    EXPECT_TRUE(all.isPluginRequirementSatisfied(system, {}));
    EXPECT_EQ(capture.text(), "");
}

TEST(RequirementGroup, RefusesNullAndCycles) {
    RequirementCounts counts;
    auto* inner = new PluginRequirementGroup();
    PluginRequirementGroup outer;
    EXPECT_FALSE(outer.addPluginRequirement(nullptr));
    EXPECT_FALSE(outer.addPluginRequirement(&outer));
    EXPECT_TRUE(outer.addPluginRequirement(inner));
    EXPECT_FALSE(inner->addPluginRequirement(&outer));
    EXPECT_TRUE(inner->addPluginRequirement(new FakeRequirement(false, &counts)));
    EXPECT_FALSE(outer.isPluginRequirementSatisfied(SystemMetadata(), {}));
    EXPECT_EQ(outer.getRequirements().size(), 1u);
}

TEST(RequirementGroup, CopiesShareMembersWhichAreDeletedOnce) {
    RequirementCounts shared, later, twice;
    {
        auto original = std::make_unique<PluginRequirementGroup>();
        original->addPluginRequirement(new FakeRequirement(true, &shared));
        PluginRequirementGroup copy(*original);
        copy.addPluginRequirement(new FakeRequirement(false, &later));
        auto* repeated = new FakeRequirement(true, &twice);
        original->addPluginRequirement(repeated);
        original->addPluginRequirement(repeated);
        EXPECT_TRUE(original->isPluginRequirementSatisfied(SystemMetadata(), {}));
        EXPECT_EQ(twice.evaluations, 2);
        original.reset();
        // The copy still uses the shared member after the original died.
        EXPECT_FALSE(copy.isPluginRequirementSatisfied(SystemMetadata(), {}));
        EXPECT_EQ(shared.evaluations, 2);
        EXPECT_EQ(shared.deletions, 0);
    }
    EXPECT_EQ(shared.deletions + later.deletions + twice.deletions, 3);
}

uint64_t driverVersion(uint64_t major, uint64_t minor, uint64_t third) {
    return (major << 32) | (minor << 16) | third;
}

TEST(DriverRequirement, ComparesWholeVersionAgainstMinimum) {
    ScopedLogCapture capture(1);
    pwr::DriverRequirement withoutDriver(1, nullptr);
    EXPECT_FALSE(withoutDriver.isPluginRequirementSatisfied(SystemMetadata(), {}));
    EXPECT_EQ(withoutDriver.getName(), "DriverRequirement");

    const uint64_t minimum = driverVersion(3, 2, 1);
    const std::pair<uint64_t, bool> cases[] = {{minimum, true},
                                               {minimum - 1, false},
                                               {driverVersion(4, 0, 0), true},
                                               {driverVersion(2, 0xffff, 9), false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.first);
        vrtest::FakeDriver driver(c.first);
        EXPECT_EQ(pwr::DriverRequirement(minimum, &driver).isPluginRequirementSatisfied(SystemMetadata(), {}),
                  c.second);
    }
    EXPECT_EQ(capture.text(), "");
}

TEST(DriverRequirement, LogsVersionAndShortfallByVerbosityOrArea) {
    // The warning shows the low eight bits of each found field and the whole fields of the minimum.
    const uint64_t found = driverVersion(0x1ff, 0x304, 0x506);
    const uint64_t minimum = driverVersion(0x1234, 0xffff, 7);
    const std::string info =
        "INFO: DriverRequirement requirement has driver version = " + std::to_string(found) + "\n";
    const std::string warning =
        "WARNING: Driver version 255.4.6 found, minimum driver required is 4660.65535.7\n";
    vrtest::FakeDriver driver(found);
    pwr::DriverRequirement requirement(minimum, &driver);
    struct Case {
        uint16_t verbosity;
        bool area;
        std::string expected;
    };
    const Case cases[] = {{4, false, info + warning}, {2, false, warning}, {0, true, info + warning}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.verbosity);
        ScopedLogCapture capture(c.verbosity);
        if (c.area) {
            capture.environment().addPrefixForDebugLogging("DRIVERREQ");
        }
        EXPECT_FALSE(requirement.isPluginRequirementSatisfied(SystemMetadata(), {}));
        EXPECT_EQ(capture.debug().text(), c.expected);
        EXPECT_EQ(capture.errors().text(), "");
    }
    ScopedLogCapture capture(4);
    vrtest::FakeDriver newer(minimum);
    EXPECT_TRUE(pwr::DriverRequirement(minimum, &newer).isPluginRequirementSatisfied(SystemMetadata(), {}));
    EXPECT_EQ(capture.debug().text(),
              "INFO: DriverRequirement requirement has driver version = " + std::to_string(minimum) + "\n");
}

}  // namespace
