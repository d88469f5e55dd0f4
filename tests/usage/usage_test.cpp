#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "vantrell/platform/Console.h"
#include "vantrell/usage/UsageText.h"

namespace {

using nlohmann::json;
using pwr::usage::Option;
using pwr::usage::UsageText;

// Reaches the protected formatting steps, as a host's own help printer would.
class Printer : public Option {
  public:
    using Option::formatSubOption;
    using Option::getAlias;
    using Option::getNameColumnFormat;
    using Option::getTabString;
    using Option::getWindowsConsoleWidth;
    using Option::Option;
};

// Puts the feature table back after a test that changes it.
class FeatureTable : public ::testing::Test {
  protected:
    void TearDown() override { UsageText::getIndividualFeatureOptions() = saved; }
    pwr::usage::OptionTable saved = UsageText::getIndividualFeatureOptions();
};

struct Row {
    const char* group;
    const char* name;
    const char* abbreviation;
    const char* arg;
    const char* type;
    const char* units;
    const char* defaultValue;
};

const Row kRows[] = {
    {"General Options", "--help", "-h", "", "", "", ""},
    {"General Options", "--version", "-v", "", "", "", ""},
    {"General Options", "--log", "-l", "<filename>", "filename", "", ""},
    {"General Options", "--enable-cstrace", "", "", "", "", ""},
    {"General Options", "--disable-cstrace", "", "", "", "", ""},
    {"General Options", "--print-fms", "", "", "", "", ""},
    {"General Options", "--revoke-usage-consent", "", "", "", "", ""},
    {"General Options", "--update-usage-consent", "", "", "", "", ""},
    {"General Options", "--skip-usage-collection", "", "", "", "", ""},
    {"Post-processing Options", "--input", "-i", "<filename>", "filename", "", ""},
    {"Post-processing Options", "--output", "-o", "<filename>", "filename", "", ""},
    {"Post-processing Options", "--result", "-r", "<format>", "file format", "", "sum"},
    {"Post-processing Options", "--no-post-processing", "", "", "", "", ""},
    {"Collection Options", "--feature", "-f", "<feature>", "", "", ""},
    {"Collection Options", "--max-detail", "-m", "", "", "", ""},
    {"Collection Options", "--interval", "-n", "<milliseconds>", "time", "milliseconds", "100"},
    {"Collection Options", "--output", "-o", "<filename>", "filename", "", "VantrellOutput"},
    {"Collection Options", "--program", "-p", "<executable>", "executable", "", ""},
    {"Collection Options", "--startdelay", "-s", "<seconds>", "time", "seconds", ""},
    {"Collection Options", "--time", "-t", "<seconds>", "time", "seconds", ""},
    {"Collection Options", "--auto-connected-standby", "-z", "", "", "", ""},
    {"Collection Options", "--program-delay", "", "<seconds>", "time", "seconds", ""},
    {"Collection Options", "--polling", "", "", "", "", ""},
};

TEST(UsageText, JsonHelpOfAllGroupsMatchesTheTables) {
    json out;
    UsageText::formatJson(out);
    const json parsed = json::parse(out.dump());
    size_t options = 0;
    for (const auto& group : parsed.items()) {
        options += group.value().size();
    }
    EXPECT_EQ(parsed.size(), 3u);
    EXPECT_EQ(options, std::size(kRows));
    const std::set<std::string> keys = {"name",        "description", "abbreviation", "normal name", "arg",
                                        "arg_default", "arg_units",   "arg_type",     "notes",       "alias"};
    for (const Row& row : kRows) {
        SCOPED_TRACE(std::string(row.group) + " " + row.name);
        ASSERT_TRUE(parsed[row.group].contains(row.name));
        const json& option = parsed[row.group][row.name];
        std::set<std::string> present;
        for (const auto& item : option.items()) {
            present.insert(item.key());
        }
        EXPECT_EQ(present, keys) << "every attribute, empty ones too, and no valid args";
        EXPECT_EQ((std::vector<json>{option["abbreviation"], option["arg"], option["arg_type"],
                                     option["arg_units"], option["arg_default"], option["notes"]}),
                  (std::vector<json>{row.abbreviation, row.arg, row.type, row.units, row.defaultValue, ""}));
        EXPECT_FALSE(option["description"].get<std::string>().empty());
    }
    EXPECT_EQ(parsed["Post-processing Options"]["--output"]["description"],
              "Specify output filename prefix [default \"VantrellOutput\"]");
    EXPECT_EQ(parsed["Collection Options"]["--output"]["description"],
              "Specify output file name prefix [default \"VantrellOutput\"]");
    EXPECT_EQ(parsed["Collection Options"]["--program-delay"]["description"],
              "Time to wait before starting a program specified by \"-p\" option");
    const json& noPost = parsed["Post-processing Options"]["--no-post-processing"];
    EXPECT_EQ(noPost["alias"], "nopostprocessing");
    EXPECT_EQ(noPost["normal name"], "no post processing");
    EXPECT_EQ(
        noPost["description"],
        "Do not automatically summarize data and do not generate any reports at the end of collection.  Use "
        "options --input and --result to generate reports from the intermediate files at a later time.");

    json wrong = "text";
    try {
        UsageText::formatJson(wrong);
        ADD_FAILURE() << "a string is no object";
    } catch (const json::type_error& error) {
        EXPECT_NE(std::string(error.what()).find("cannot use operator[] with a string argument with "),
                  std::string::npos);
    }
}

TEST(Option, NamesAliasesAndWidths) {
    Printer shortOnly("", "Show help", pwr::usage::LEVEL_1, "-h");
    EXPECT_EQ(shortOnly.getName() + "|" + shortOnly.getNormalizedName() + "|" +
                  shortOnly.getNameColumnFormat() + "|" + shortOnly.getAttribute(Option::ALIAS),
              "-h|h|    |h");
    Printer full("--no-post-processing-", "d", "", "", "", "", "", {}, "", pwr::usage::LEVEL_2);
    EXPECT_EQ(full.getNormalizedName() + "|" + full.getAlias() + "|" + full.getNameColumnFormat() + "|" +
                  full.getTabString() + "|" + full.getAttribute(Option::ARG),
              "no post processing|nopostprocessing|, |\t\t|");
    EXPECT_EQ(std::make_pair(full.getColumnWidth(), full.getTextWidth()), std::make_pair(20, 60));
    Printer odd("plain", "d", static_cast<pwr::usage::TabLevel>(7));
    EXPECT_EQ(std::make_pair(odd.getColumnWidth(), odd.getTextWidth()), std::make_pair(25, 55));
    EXPECT_EQ(odd.getNameColumnFormat(), "");
    EXPECT_EQ(Printer("", "d", pwr::usage::LEVEL_1).getNormalizedName(), "");
    EXPECT_EQ(Printer("---", "d", pwr::usage::LEVEL_1).getNormalizedName(), "");
}

TEST(Option, SubOptionHelpLines) {
    EXPECT_EQ(Printer("--max-detail", "d", pwr::usage::LEVEL_1).formatSubOption(), "") << "no sub-options";
    EXPECT_EQ(
        Printer("pch-ip-active", "d", pwr::usage::LEVEL_1).formatSubOption(),
        "\t\t\t--option pch-lvl    =<arg, arg, ...>; Specify additional groups of PCH IPs [default 1]\n"
        "\t\t\t  Valid args:       1, 2, 3a, 3b, 3c, 3d, 4, 5\n"
        "\t\t\t--option pch-int    =<interval>; Wait time (milliseconds) between collecting PCH activity "
        "counters. [default 5000]\n"
        "\t\t\t  Note:             interval values < default may reduce entry to low power states.\n");
    EXPECT_EQ(Printer("acpi-dstate", "d", pwr::usage::LEVEL_1).formatSubOption(),
              "\t\t\t--option no-device-filter; Display all devices (turn off filtering)\n")
        << "a name wider than its column isn't cut";
}

TEST_F(FeatureTable, SubOptionsInJsonAndUpdatedDeviceLists) {
    Printer feature("tcss-pm-dbg", "Type-C debug", pwr::usage::LEVEL_1);
    json out;
    UsageText::appendArgsJson(out, feature);
    const json parsed = json::parse(out.dump());
    const json& tcss = parsed.at("tcss-pm-dbg").at("options").at("tcss-ip");
    EXPECT_EQ(tcss["arg"], "<arg, arg, arg>");
    EXPECT_EQ(tcss["valid args"], (json{"PCIE0", "PCIE1", "LNK0"}));

    json none;
    Printer plain("--polling", "d", pwr::usage::LEVEL_1);
    UsageText::appendArgsJson(none, plain);
    EXPECT_TRUE(none.is_null());

    auto& features = UsageText::getIndividualFeatureOptions();
    UsageText::updateTcssIpInfo("Unsupported");
    UsageText::updateTcssIpInfo("Birch");
    EXPECT_EQ(features["tcss-pm-dbg"][0].getValidArgs().size(), 3u);
    UsageText::updateTcssIpInfo("Zelkova");
    EXPECT_EQ(features["tcss-pm-dbg"][0].getValidArgs(),
              (std::vector<std::string>{"PCIE0", "PCIE1", "LNK0", "PCIE0", "PCIE1", "PCIE2", "PCIE3", "LNK0",
                                        "LNK1", "LNK2", "XHCI", "XDCI"}));
    const auto& firstLtr = *UsageText::s_ltrDevices.begin();
    UsageText::updatePchDeviceInfo(firstLtr.first);
    const std::vector<std::string>& ltr = features["pch-ip-lat-limit"][0].getValidArgs();
    EXPECT_EQ(ltr.size(), 3 + firstLtr.second.size());
    EXPECT_EQ(ltr.back(), firstLtr.second.back());
}

TEST(Console, WidthOfATerminalOrTheDefault) {
    int master = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(master, 0);
    ASSERT_EQ(grantpt(master), 0);
    ASSERT_EQ(unlockpt(master), 0);
    int terminal = open(ptsname(master), O_RDWR | O_NOCTTY);
    ASSERT_GE(terminal, 0);
    struct winsize size {};
    size.ws_col = 123;
    size.ws_row = 40;
    ASSERT_EQ(ioctl(terminal, TIOCSWINSZ, &size), 0);

    std::fflush(stdout);
    int savedOut = dup(STDOUT_FILENO);
    dup2(terminal, STDOUT_FILENO);
    int columns = 0;
    bool found = pwr::platform::getConsoleWidth(columns);
    int viaOption = Printer::getWindowsConsoleWidth();
    dup2(savedOut, STDOUT_FILENO);
    close(savedOut);
    close(terminal);
    close(master);
    EXPECT_TRUE(found);
    EXPECT_EQ(columns, 123);
    EXPECT_EQ(viaOption, 123);
}

}  // namespace
