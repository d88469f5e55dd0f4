// The Linux collector as the host drives it: loaded from its module, offered to the configuration
// parser with the real configuration file, then started, polled and stopped on a fake /proc and /sys
// tree below VR_LINUX_ROOT. Messages are decoded with the plug-ins' protocol.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "LinuxPluginProtocol.h"
#include "support/LogCapture.h"
#include "support/PluginLoader.h"
#include "vantrell/config/CONSTANTOperation.h"

namespace {

namespace fs = std::filesystem;
using Strings = std::vector<std::string>;
using vantrell::plugins::kSystemCpu;

const Strings kFeatures{"cpu", "cstate", "frequency", "interrupts", "power", "thermal"};

// The files of a machine that has every source. cpufreq only knows cpu1, so cpu0's frequency comes
// from /proc/cpuinfo; both thermal zones are "acpitz".
const std::map<std::string, std::string> kFullTree{
    {"sys/devices/system/cpu/cpu0/cpuidle/state0/name", "POLL\n"},
    {"sys/devices/system/cpu/cpu0/cpuidle/state0/time", "10\n"},
    {"sys/devices/system/cpu/cpu0/cpuidle/state1/name", "C1\n"},
    {"sys/devices/system/cpu/cpu0/cpuidle/state1/time", "2000\n"},
    {"sys/devices/system/cpu/cpu1/cpuidle/state0/name", "POLL\n"},
    {"sys/devices/system/cpu/cpu1/cpuidle/state0/time", "11\n"},
    {"sys/devices/system/cpu/cpu1/cpufreq/scaling_cur_freq", "2400000\n"},
    {"proc/stat",
     "cpu  3 0 3 8 0 0 0 0 0 0\ncpu0 1 0 2 5 0 0 0 0 0 0\ncpu1 2 0 1 3 1 0 4 9 0 0\nintr 12 3\n"},
    {"proc/cpuinfo", "processor\t: 0\ncpu MHz\t\t: 2596.098\n\nprocessor\t: 1\ncpu MHz\t\t: 1200.5\n\n"},
    {"sys/class/thermal/thermal_zone0/type", "acpitz\n"},
    {"sys/class/thermal/thermal_zone0/temp", "45000\n"},
    {"sys/class/thermal/thermal_zone1/type", "acpitz\n"},
    {"sys/class/thermal/thermal_zone1/temp", "-5000\n"},
    {"sys/class/hwmon/hwmon0/name", "coretemp\n"},
    {"sys/class/hwmon/hwmon0/temp1_input", "50000\n"},
    {"sys/class/hwmon/hwmon0/temp1_label", "Package id 0\n"},
    {"sys/class/hwmon/hwmon0/temp2_input", "48000\n"},
    {"sys/class/powercap/intel-rapl:0/name", "package-0\n"},
    {"sys/class/powercap/intel-rapl:0/energy_uj", "1000\n"},
    {"sys/class/powercap/intel-rapl:0/max_energy_range_uj", "262143328850\n"},
    {"sys/class/powercap/intel-rapl:0:0/name", "core\n"},
    {"sys/class/powercap/intel-rapl:0:0/energy_uj", "400\n"},
    {"sys/class/powercap/intel-rapl:0:0/max_energy_range_uj", "65532610987\n"},
    {"proc/interrupts",
     "           CPU0       CPU1       \n  0:         20          3   IO-APIC   2-edge      timer\n"
     "LOC:        100        200   Local timer interrupts\nERR:          7\n"},
};

// CTest runs this from build/tests; the modules are in build/bin/plugins. Used only where the
// environment doesn't name the directory.
const bool kPluginDirKnown = ::setenv("VR_PLUGIN_DIR", "../bin/plugins", 0) == 0;

class LinuxCollectorTest : public ::testing::Test {
  protected:
    LinuxCollectorTest() : root(fs::temp_directory_path() / ("vr-linux-" + std::to_string(::getpid()))) {
        fs::remove_all(root);
        for (const auto& [path, text] : kFullTree) {
            write(path, text);
        }
        ::setenv("VR_LINUX_ROOT", root.c_str(), 1);
        const char* source = std::getenv("VR_SOURCE_DIR");
        config = std::string(source == nullptr ? "." : source) + "/data/collection/vantrell-linux.cfg";
    }
    ~LinuxCollectorTest() override {
        parser().destroy();  // the messages hold clones of the module's operations
        ::unsetenv("VR_LINUX_ROOT");
        fs::remove_all(root);
    }
    static pwr::VRConfigFileParser& parser() { return *pwr::VRConfigFileParser::instance(); }

    void write(const std::string& path, const std::string& text) {
        fs::create_directories((root / path).parent_path());
        std::ofstream(root / path) << text;
    }
    std::string at(const std::string& path) const { return (root / path).string(); }

    // Parses the real configuration with the collector; the features offered.
    Strings offered() {
        EXPECT_EQ(parser().parse({config}, {collector}, machine), 0) << capture.text();
        Strings features;
        for (const std::string& feature : kFeatures) {
            if (parser().isPlatformPrefixSupported("FMS=ALL", feature)) {
                features.push_back(feature);
            }
        }
        return features;
    }

    // The messages of every offered feature, each listed once per trigger as the host gets them, with
    // metric id = place of the feature + 1 and message id = 10 + place.
    std::vector<pwr::InputMsg*> messages() {
        std::vector<pwr::InputMsg*> all;
        for (size_t i = 0; i < kFeatures.size(); ++i) {
            std::vector<pwr::InputMsg*> found;
            parser().getMessagesFor(found, "FMS=ALL", kFeatures[i], {"BEGIN", "POLL", "END"},
                                    pwr::COLLECTION_NORMAL);
            for (pwr::InputMsg* message : found) {
                EXPECT_TRUE(collector->canCollectMessage(message));
                message->setPluginID(3);
                message->setMetricID(static_cast<int>(i) + 1);
                message->setMsgID(static_cast<int>(i) + 10);
                all.push_back(message);
            }
        }
        return all;
    }

    // Each message handed over since the last call, as "<trigger> <feature>: <cpu>/<key>=<value> ...",
    // "*" standing for the whole machine; checks the head of each.
    Strings results() {
        pwr::VRBuffer buffer;
        CollectionData data;
        const bool any = collector->getContinuousResult(buffer, data);
        EXPECT_EQ(any, !buffer.bytes.empty());
        EXPECT_EQ(data.getClockUUID(), "5138ffc0-517d-11e5-b970-0800200c9a66");
        Strings texts;
        EXPECT_TRUE(vantrell::plugins::forEachMessage(
            buffer.bytes.data(), buffer.bytes.size(), [&](const vr_driver_msg* message, size_t) {
                EXPECT_EQ(message->source.byte0, 3);
                EXPECT_EQ(message->source.byte2, message->source.byte1 + 9);
                const uint64_t timestamp = message->timestamp;  // a packed field: copied, not bound
                EXPECT_GE(timestamp, lastTimestamp);
                lastTimestamp = timestamp;
                std::string text = std::to_string(vantrell::plugins::messageTrigger(message)) + " " +
                                   kFeatures.at(message->source.byte1 - 1) + ":";
                const bool temperatures = kFeatures.at(message->source.byte1 - 1) == "thermal";
                EXPECT_TRUE(vantrell::plugins::forEachEntry(message, [&](uint16_t cpu, std::string_view key,
                                                                         uint64_t value) {
                    text +=
                        " " + (cpu == kSystemCpu ? std::string("*") : std::to_string(cpu)) + "/" +
                        std::string(key) + "=" +
                        (temperatures ? std::to_string(static_cast<int64_t>(value)) : std::to_string(value));
                }));
                texts.push_back(text);
            }));
        return texts;
    }

    vrtest::ScopedLogCapture capture{2};
    fs::path root;
    std::string config;
    vrtest::LoadedPlugin plugin{"linux-collector"};
    CollectorPlugin* collector = plugin.as<CollectorPlugin>();
    pwr::SystemMetadata machine;
    uint64_t lastTimestamp = 0;
};

TEST_F(LinuxCollectorTest, OffersOnlyTheFeaturesWhoseSourcesThisMachineHas) {
    ASSERT_NE(collector, nullptr);
    struct Case {
        Strings removed;
        Strings expected;
    };
    const std::vector<Case> cases{
        {{}, kFeatures},
        {{"sys/devices/system/cpu/cpu0/cpuidle", "sys/devices/system/cpu/cpu1/cpuidle"},
         {"cpu", "frequency", "interrupts", "power", "thermal"}},
        {{"proc/stat"}, {"cstate", "frequency", "interrupts", "power", "thermal"}},
        // Either frequency source suffices; without both the feature goes.
        {{"sys/devices/system/cpu/cpu1/cpufreq"}, kFeatures},
        {{"proc/cpuinfo"}, kFeatures},
        {{"proc/cpuinfo", "sys/devices/system/cpu/cpu1/cpufreq"},
         {"cpu", "cstate", "interrupts", "power", "thermal"}},
        {{"sys/class/thermal"}, kFeatures},
        {{"sys/class/thermal", "sys/class/hwmon"}, {"cpu", "cstate", "frequency", "interrupts", "power"}},
        {{"sys/class/powercap/intel-rapl:0/energy_uj", "sys/class/powercap/intel-rapl:0:0/energy_uj"},
         {"cpu", "cstate", "frequency", "interrupts", "thermal"}},
        {{"proc/interrupts"}, {"cpu", "cstate", "frequency", "power", "thermal"}},
        {{"sys", "proc"}, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.removed));
        for (const std::string& path : c.removed) {
            fs::remove_all(root / path);
        }
        EXPECT_EQ(offered(), c.expected);
        for (const auto& [path, text] : kFullTree) {
            write(path, text);
        }
    }
}

TEST_F(LinuxCollectorTest, ReadsEachFeatureOnItsTriggersFromStartToStop) {
    ASSERT_NE(collector, nullptr);
    ASSERT_EQ(offered(), kFeatures);
    ASSERT_EQ(collector->startCollection(messages(), machine), 0) << capture.text();
    EXPECT_EQ(results(),
              (Strings{
                  "0 cpu: 0/user=1 0/nice=0 0/system=2 0/idle=5 0/iowait=0 0/irq=0 0/softirq=0 0/steal=0 "
                  "1/user=2 1/nice=0 1/system=1 1/idle=3 1/iowait=1 1/irq=0 1/softirq=4 1/steal=9",
                  "0 cstate: 0/POLL=10 0/C1=2000 1/POLL=11",
                  "0 interrupts: 0/0=20 1/0=3 0/LOC=100 1/LOC=200",
                  "0 power: */package-0=1000 */core=400 */max:package-0=262143328850 "
                  "*/max:core=65532610987",
              }));

    write("sys/devices/system/cpu/cpu0/cpuidle/state1/time", "2500\n");
    write("sys/class/thermal/thermal_zone1/temp", "-4000\n");
    ASSERT_EQ(collector->pollOnce(), 0);
    const Strings polled = results();
    ASSERT_EQ(polled.size(), 6u);
    EXPECT_EQ(polled[1], "1 cstate: 0/POLL=10 0/C1=2500 1/POLL=11");
    EXPECT_EQ(polled[2], "1 frequency: 1/cur=2400000 0/nominal=2596098");
    EXPECT_EQ(polled[4], "1 power: */package-0=1000 */core=400");
    EXPECT_EQ(polled[5],
              "1 thermal: */acpitz-0=45000 */acpitz-1=-4000 */coretemp/Package id 0=50000 "
              "*/coretemp/temp2=48000");

    write("sys/class/powercap/intel-rapl:0/energy_uj", "9000\n");
    ASSERT_EQ(collector->stopCollection(), 0);
    const Strings stopped = results();
    ASSERT_EQ(stopped.size(), 4u);
    EXPECT_EQ(stopped[3], "4 power: */package-0=9000 */core=400");
    EXPECT_EQ(collector->pollOnce(), 0);
    EXPECT_EQ(results(), Strings{});  // stopped: nothing more
    EXPECT_EQ(capture.text(), "");
}

TEST_F(LinuxCollectorTest, SkipsWhatItCannotReadAndSaysSoOnce) {
    ASSERT_NE(collector, nullptr);
    ASSERT_EQ(offered(), kFeatures);
    // Sources that vanish between the parse and the start are left out with a line each.
    fs::remove_all(root / "sys/class/thermal");
    fs::remove_all(root / "sys/class/hwmon");
    ASSERT_EQ(collector->startCollection(messages(), machine), 0);
    EXPECT_EQ(
        capture.text(),
        "WARNING: linux-collector: THERMAL of message ALL_thermal_zones has nothing to read: no thermal zone "
        "temperatures below " +
            at("sys/class/thermal") +
            "\n"
            "WARNING: linux-collector: HWMON of message ALL_thermal_zones has nothing to read: no hwmon "
            "temperature "
            "inputs below " +
            at("sys/class/hwmon") +
            "\n"
            "WARNING: linux-collector: message ALL_thermal_zones has no source to read; it stays empty\n");
    results();
    capture.clear();

    write("sys/devices/system/cpu/cpu0/cpuidle/state1/time", "12ab\n");
    write("proc/stat", "cpu0 1 0 x 5\ncpu1 2 0 1 3\n");
    write("proc/interrupts", "garbage\n");
    write("proc/cpuinfo", "");
    for (int poll = 0; poll < 2; ++poll) {
        ASSERT_EQ(collector->pollOnce(), 0);
        EXPECT_EQ(results(), (Strings{"1 cpu: 0/user=1 0/nice=0 1/user=2 1/nice=0 1/system=1 1/idle=3",
                                      "1 cstate: 0/POLL=10 1/POLL=11", "1 frequency: 1/cur=2400000",
                                      "1 power: */package-0=1000 */core=400"}));
    }
    EXPECT_EQ(capture.text(), "WARNING: linux-collector: garbled lines in " + at("proc/stat") +
                                  "; skipped\n" + "WARNING: linux-collector: no number in " +
                                  at("sys/devices/system/cpu/cpu0/cpuidle/state1/time") + "; skipped\n" +
                                  "WARNING: linux-collector: garbled lines in " + at("proc/cpuinfo") +
                                  "; skipped\n" + "WARNING: linux-collector: garbled lines in " +
                                  at("proc/interrupts") + "; skipped\n");
}

TEST_F(LinuxCollectorTest, ReadsAMessageAtOnceForTheHost) {
    ASSERT_NE(collector, nullptr);
    ASSERT_EQ(offered(), kFeatures);
    using Pairs = std::vector<std::pair<std::string, std::string>>;
    const std::map<std::string, Pairs> expected{
        {"cstate", {{"cpu0/POLL", "10"}, {"cpu0/C1", "2000"}, {"cpu1/POLL", "11"}}},
        {"thermal",
         {{"acpitz-0", "45000"},
          {"acpitz-1", "-5000"},
          {"coretemp/Package id 0", "50000"},
          {"coretemp/temp2", "48000"}}},
    };
    for (const auto& [feature, pairs] : expected) {
        std::vector<pwr::InputMsg*> found;
        parser().getMessagesFor(found, "FMS=ALL", feature, {"POLL"}, pwr::COLLECTION_NORMAL);
        ASSERT_EQ(found.size(), 1u) << feature;
        Pairs results;
        EXPECT_EQ(found[0]->execute(results), 0) << feature;
        EXPECT_EQ(results, pairs) << feature;
    }
    // Messages without operations, or with another collector's, aren't this collector's.
    pwr::InputMsg empty("empty");
    pwr::InputMsg foreign("foreign");
    foreign.addOperation(new pwr::CONSTANTOperation("constant"));
    EXPECT_FALSE(collector->canCollectMessage(&empty));
    EXPECT_FALSE(collector->canCollectMessage(&foreign));

    fs::remove_all(root / "sys");  // nothing left to read
    std::vector<pwr::InputMsg*> found;
    parser().getMessagesFor(found, "FMS=ALL", "cstate", {"POLL"}, pwr::COLLECTION_NORMAL);
    Pairs results;
    EXPECT_EQ(found.at(0)->execute(results), -1);
    EXPECT_TRUE(results.empty());
}

}  // namespace
