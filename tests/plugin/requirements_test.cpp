#include <gtest/gtest.h>

#include <cctype>
#include <memory>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "plugin/RequirementFakes.h"
#include "support/LogCapture.h"
#include "vantrell/plugin/DriverRequirement.h"
#include "vantrell/plugin/PluginRequirement.h"
#include "vantrell/plugin/SystemRequirements.h"
#include "vantrell/record/FMS.h"
#include "vantrell/record/SystemMetadata.h"

namespace {

using pwr::FMS;
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
    std::ostringstream out;
    out << FMS(6, 0x8e, 9) << ' ' << 255;
    EXPECT_EQ(out.str(), "0x68e9 255") << "the stream's base is put back";
}

// A requirement built plain and negative, to be tested against one system.
struct KindCase {
    std::shared_ptr<pwr::PluginRequirement> plain, negative;
    const SystemMetadata* system;
    bool expected;
};

template <class R, class... Args>
KindCase kind(const SystemMetadata& system, bool expected, Args... args) {
    return {std::make_shared<R>(args..., false), std::make_shared<R>(args..., true), &system, expected};
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
    using std::string;
    const KindCase cases[] = {kind<pwr::FMSPluginRequirement>(on, true, FMS(6, 0x8e, 0)),
                              kind<pwr::FMSPluginRequirement>(on, false, FMS(6, 0x8e, 10)),
                              kind<pwr::SCUPluginRequirement>(on, true, 0x20001u),
                              kind<pwr::SCUPluginRequirement>(on, false, 0x20002u),
                              kind<pwr::OSNamePluginRequirement>(on, true, string("Windows 11")),
                              kind<pwr::OSNamePluginRequirement>(on, false, string("windows 11")),
                              kind<pwr::OSNamePluginRequirement>(on, false, string("Windows")),
                              kind<pwr::PCHPluginRequirement>(on, true, string("ZLKLP")),
                              kind<pwr::PCHPluginRequirement>(on, false, string("YEWH")),
                              kind<pwr::PCHPluginRequirement>(off, true, string()),
                              kind<pwr::HyperVEnablePluginRequirement>(on, true),
                              kind<pwr::HyperVEnablePluginRequirement>(off, false),
                              kind<pwr::VSMDisablePluginRequirement>(on, false),
                              kind<pwr::VSMDisablePluginRequirement>(off, true),
                              kind<pwr::IGFXPresentPluginRequirement>(on, true)};
    ScopedLogCapture capture(4);
    for (size_t i = 0; i < sizeof(cases) / sizeof(cases[0]); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(cases[i].plain->isPluginRequirementSatisfied(*cases[i].system, {{"x", "y"}}),
                  cases[i].expected);
        EXPECT_EQ(cases[i].negative->isPluginRequirementSatisfied(*cases[i].system, {}), !cases[i].expected);
    }
    // Outside a list a requirement reports nothing; present graphics give no notice.
    EXPECT_EQ(capture.text(), "");
    EXPECT_TRUE(capture.environment().getQueuedMessages().empty());
}

// Members are written T or F by their answer, lower case when negative.
TEST(RequirementGroup, ConjunctionStopsAtFirstFalseAndDisjunctionAtFirstTrue) {
    const std::tuple<bool, std::string, bool, int> cases[] = {
        {true, "", true, 0},   {false, "", true, 0},    {true, "TFT", false, 2},
        {true, "Tf", true, 2}, {false, "FTT", true, 2}, {false, "Ft", false, 2}};
    for (const auto& [conjunction, members, result, asked] : cases) {
        SCOPED_TRACE(members + (conjunction ? " and" : " or"));
        std::vector<RequirementCounts> counts(members.size());
        {
            PluginRequirementGroup group(conjunction);
            for (size_t i = 0; i < members.size(); ++i) {
                bool negative = std::islower(members[i]);
                group.addPluginRequirement(
                    new FakeRequirement(std::toupper(members[i]) == 'T', &counts[i], negative));
            }
            EXPECT_EQ(group.isPluginRequirementSatisfied(SystemMetadata(), {}), result);
        }
        int evaluations = 0;
        for (const RequirementCounts& member : counts) {
            evaluations += member.evaluations;
            EXPECT_EQ(member.deletions, 1);
        }
        EXPECT_EQ(evaluations, asked);
    }
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
    EXPECT_FALSE(pwr::DriverRequirement(1, nullptr).isPluginRequirementSatisfied(SystemMetadata(), {}));
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
    vrtest::FakeDriver driver(found);
    pwr::DriverRequirement requirement(driverVersion(0x1234, 0xffff, 7), &driver);
    const std::string info =
        "INFO: DriverRequirement requirement has driver version = " + std::to_string(found) + "\n";
    const std::string warning =
        "WARNING: Driver version 255.4.6 found, minimum driver required is 4660.65535.7\n";
    const std::tuple<uint16_t, const char*, std::string> cases[] = {
        {4, "", info + warning}, {2, "", warning}, {0, "DRIVERREQ", info + warning}, {1, "DRIVER", ""}};
    for (const auto& [verbosity, area, expected] : cases) {
        SCOPED_TRACE(verbosity);
        ScopedLogCapture capture(verbosity);
        capture.environment().addPrefixForDebugLogging(area);
        EXPECT_FALSE(requirement.isPluginRequirementSatisfied(SystemMetadata(), {}));
        EXPECT_EQ(capture.debug().text(), expected);
        EXPECT_EQ(capture.errors().text(), "");
    }
}

}  // namespace
