// The host's own collection configuration for Linux, parsed with collectors that declare the Linux
// collector's operation types, some of them unavailable: the questions a host asks of it, which
// features are offered and what to read when.

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "support/TestCollector.h"
#include "vantrell/config/ConfigCap.h"
#include "vantrell/config/InputMsg.h"
#include "vantrell/config/VRConfigFileParser.h"
#include "vantrell/record/SystemMetadata.h"

namespace {

using Strings = std::vector<std::string>;

class HostConfiguration : public ::testing::Test {
  protected:
    HostConfiguration() {
        for (char const* type :
             {"CPUIDLE", "PROCSTAT", "CPUFREQ", "CPUINFO", "THERMAL", "HWMON", "POWERCAP", "INTERRUPTS"}) {
            operations.emplace(type, vrtest::TestOperation(type, {"SOURCE"}));
        }
        // A machine without cpufreq, RAPL or thermal zones, but with a hwmon sensor.
        for (char const* absent : {"CPUFREQ", "POWERCAP", "THERMAL"}) {
            operations.at(absent).addRequirement(&never);
        }
        for (auto const& entry : operations) {
            collector.publish(&entry.second);
        }
        const char* source = std::getenv("VR_SOURCE_DIR");
        path = std::string(source == nullptr ? "." : source) + "/data/collection/vantrell-linux.cfg";
    }
    ~HostConfiguration() override { parser().destroy(); }
    static pwr::VRConfigFileParser& parser() { return *pwr::VRConfigFileParser::instance(); }

    // "<full name>/<operation types>" of each message, in the order given.
    Strings messages(std::string const& prefix, Strings const& triggers) {
        std::vector<pwr::InputMsg*> found;
        parser().getMessagesFor(found, "FMS=ALL", prefix, triggers, pwr::COLLECTION_NORMAL);
        Strings names;
        for (pwr::InputMsg const* message : found) {
            std::string text = message->getFullName() + "/";
            for (pwr::Operation const* operation : message->getOperations()) {
                text += operation->getOperation() + "=" +
                        static_cast<vrtest::TestOperation const*>(operation)->getValues().at(0).second + " ";
            }
            names.push_back(text);
        }
        return names;
    }

    vrtest::ScopedLogCapture capture{2};
    vrtest::FixedRequirement never{false};
    std::map<std::string, vrtest::TestOperation> operations;
    vrtest::TestCollector collector{"linux"};
    pwr::SystemMetadata machine;
    std::string path;
};

TEST_F(HostConfiguration, OffersTheDefaultFeaturesTheMachineCanCollect) {
    ASSERT_EQ(parser().parse({path}, {&collector}, machine), 0) << capture.text();
    EXPECT_EQ(capture.text(), "");

    std::string platform = "unset";
    EXPECT_EQ(parser().getPlatformName(platform, {"FMS", "6.85.7"}), 0);
    EXPECT_EQ(platform, "");  // no model lines: every machine falls back on ALL

    std::vector<pwr::ConfigCap const*> caps;
    ASSERT_EQ(parser().getCapabilitiesFor(caps, "FMS=ALL"), 0);
    Strings names;
    for (pwr::ConfigCap const* cap : caps) {
        names.push_back(cap->getName());
        EXPECT_EQ(cap->getConfigfilePrefix(), cap->getName());
        EXPECT_TRUE(cap->getGroups().count("default")) << cap->getName();
        EXPECT_FALSE(cap->getDescription().empty()) << cap->getName();
    }
    EXPECT_EQ(names, (Strings{"cpu", "cstate", "frequency", "interrupts", "power", "thermal"}));

    const std::map<std::string, bool> offered{{"cstate", true},  {"cpu", true},    {"frequency", true},
                                              {"thermal", true}, {"power", false}, {"interrupts", true}};
    for (auto const& [feature, expected] : offered) {
        EXPECT_EQ(parser().isPlatformPrefixSupported("FMS=ALL", feature), expected) << feature;
    }
}

TEST_F(HostConfiguration, ReadsEachSourceOnTheTriggersOfItsFeature) {
    ASSERT_EQ(parser().parse({path}, {&collector}, machine), 0) << capture.text();
    const Strings everyRead{"BEGIN", "POLL", "END"};
    struct Case {
        std::string prefix;
        Strings triggers;
        Strings expected;
    };
    const std::vector<Case> cases{
        {"cstate", everyRead, Strings(3, "ALL_cstate_residency/CPUIDLE=/sys/devices/system/cpu ")},
        {"cpu", everyRead, Strings(3, "ALL_cpu_times/PROCSTAT=/proc/stat ")},
        // cpufreq is absent: the message keeps only its /proc/cpuinfo fallback, and reads only at polls.
        {"frequency", everyRead, {"ALL_frequency_current/CPUINFO=/proc/cpuinfo "}},
        {"thermal", everyRead, {"ALL_thermal_zones/HWMON=/sys/class/hwmon "}},
        {"power", everyRead, {}},
        {"interrupts", {"END"}, {"ALL_interrupts_counts/INTERRUPTS=/proc/interrupts "}},
    };
    for (Case const& c : cases) {
        EXPECT_EQ(messages(c.prefix, c.triggers), c.expected) << c.prefix;
    }
}

}  // namespace
