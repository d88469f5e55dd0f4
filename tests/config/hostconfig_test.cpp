// The host's own collection configuration, parsed with collectors like the host's, and the questions a
// host asks of it: which platform this is, what it offers, what to read when.

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "support/TestCollector.h"
#include "vantrell/config/CONSTANTOperation.h"
#include "vantrell/config/ConfigCap.h"
#include "vantrell/config/InputMsg.h"
#include "vantrell/config/VRConfigFileParser.h"
#include "vantrell/record/SystemMetadata.h"

namespace {

using Strings = std::vector<std::string>;

class HostConfiguration : public ::testing::Test {
  protected:
    HostConfiguration() {
        msr.addRequirement(&never);  // no MSR access here
        files.publish(&procstat);
        files.publish(&sysfs);
        files.publish(&constant);
        registers.publish(&msr);
        const char* source = std::getenv("VR_SOURCE_DIR");
        path = std::string(source == nullptr ? "." : source) + "/data/collection/vantrell-linux.cfg";
    }
    ~HostConfiguration() override { parser().destroy(); }
    static pwr::VRConfigFileParser& parser() { return *pwr::VRConfigFileParser::instance(); }

    Strings messages(std::string const& platforms, std::string const& prefix, Strings const& triggers) {
        std::vector<pwr::InputMsg*> found;
        parser().getMessagesFor(found, platforms, prefix, triggers, pwr::COLLECTION_NORMAL);
        Strings names;
        for (pwr::InputMsg const* message : found) {
            names.push_back(message->getFullName() + "/" + std::to_string(message->getOperationCount()) +
                            "/" + message->getCPUString());
        }
        return names;
    }
    Strings capabilities(std::string const& platforms) {
        std::vector<pwr::ConfigCap const*> caps;
        parser().getCapabilitiesFor(caps, platforms);
        Strings names;
        for (pwr::ConfigCap const* cap : caps) {
            names.push_back(cap->getName());
        }
        return names;
    }

    vrtest::ScopedLogCapture capture{2};
    vrtest::FixedRequirement never{false};
    vrtest::TestOperation procstat{"PROCSTAT", {"FILE"}};
    vrtest::TestOperation sysfs{"SYSFS", {"PATH", "SCALE"}};
    pwr::CONSTANTOperation constant{""};
    vrtest::TestOperation msr{"MSR", {"ADDRESS"}};
    vrtest::TestCollector files{"files"};
    vrtest::TestCollector registers{"registers"};
    pwr::SystemMetadata machine;
    std::string path;
};

TEST_F(HostConfiguration, AnswersWhichPlatformWhatItOffersAndWhatToRead) {
    ASSERT_EQ(parser().parse({path}, {&files, &registers}, machine), 0) << capture.text();
    EXPECT_EQ(capture.text(), "");

    std::string name;
    for (auto const& [fms, platform] : std::vector<std::pair<std::string, std::string>>{
             {"6.85.7", "INTEL"}, {"6.143.8", "INTEL-SERVER"}, {"23.1", ""}}) {
        EXPECT_EQ(parser().getPlatformName(name, {"FMS", fms}), 0);
        EXPECT_EQ(name, platform) << fms;
    }
    EXPECT_EQ(capabilities("FMS=ALL"), (Strings{"cpu", "thermal"}));
    EXPECT_EQ(capabilities("FMS=INTEL-SERVER"), (Strings{"power", "cpu", "thermal"}));

    // Constants come at INIT with no trigger of their own; polls read load and every CPU's frequency.
    EXPECT_EQ(messages("FMS=ALL", "cpu", {"INIT", "BEGIN"}),
              (Strings{"ALL_cpu_load/1/ANY", "ALL_cpu_units/1/ANY"}));
    EXPECT_EQ(messages("FMS=ALL", "cpu", {"POLL"}), (Strings{"ALL_cpu_load/1/ANY", "ALL_cpu_freq/1/ALL"}));
    // The zones fold into their group; on Intel the package MSR isn't readable here, so the extended
    // thermal prefix gains a message without operations, which isn't offered.
    EXPECT_EQ(messages("FMS=ALL", "thermal", {"POLL"}), Strings{"ALL_thermal_zones/2/ANY"});
    EXPECT_EQ(messages("FMS=INTEL", "thermal", {"POLL"}), Strings{"ALL_thermal_zones/2/ANY"});
    // A server reads its own DRAM message, sourced from the package energy, and the inherited ones.
    EXPECT_EQ(messages("FMS=INTEL-SERVER", "power", {"POLL"}),
              (Strings{"INTEL-SERVER_power_dram/1/ANY", "INTEL_power_energy/1/ANY"}));
    EXPECT_TRUE(parser().isPlatformPrefixSupported("FMS=INTEL", "power"));
    EXPECT_FALSE(parser().isPlatformPrefixSupported("FMS=ALL", "power"));
}

}  // namespace
