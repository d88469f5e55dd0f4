// The tool's option tables, built by static initialisers, and their JSON form.

#include <nlohmann/json.hpp>

#include "vantrell/usage/UsageText.h"

namespace pwr {
namespace usage {
namespace {

const char kIntervalNote[] = "interval values < default may reduce entry to low power states.";

// An option without argument in the given group's style.
Option flag(const char* name, const char* abbreviation, const char* description) {
    return Option(name, description, abbreviation, "", "", "", "", {}, "", LEVEL_1);
}

Option withArg(const char* name, const char* abbreviation, const char* description, const char* arg,
               const char* type, const char* units = "", const char* defaultValue = "") {
    return Option(name, description, abbreviation, arg, type, units, defaultValue, {}, "", LEVEL_1);
}

OptionTable makeUsageConstants() {
    OptionTable table;
    table["General Options"] = {
        flag("--help", "-h", "Display text describing options and usage"),
        flag("--version", "-v", "Display tool version info"),
        withArg("--log", "-l", "Save console output to the specified file", "<filename>", "filename"),
        flag("--enable-cstrace", "", "Enable Connected Standby Trace"),
        flag("--disable-cstrace", "", "Disable Connected Standby Trace"),
        flag("--print-fms", "", "Display CPU ID as Family.Model.Stepping"),
        flag("--revoke-usage-consent", "", "Choose to opt-out of Dorvex(R) Usage Insights Program analytics"),
        flag("--update-usage-consent", "",
             "Choose to opt-in or opt-out of Dorvex(R) Usage Insights Program analytics"),
        flag("--skip-usage-collection", "",
             "Do not send data to the Dorvex(R) Usage Insights Program regardless of opt-in status")};
    table["Post-processing Options"] = {
        withArg("--input", "-i", "Generate result files using prior collection specified by filename",
                "<filename>", "filename"),
        withArg("--output", "-o", "Specify output filename prefix [default \"VantrellOutput\"]", "<filename>",
                "filename"),
        withArg("--result", "-r", "Specify output file format from list below", "<format>", "file format", "",
                "sum"),
        flag("--no-post-processing", "",
             "Do not automatically summarize data and do not generate any reports at the end of collection.  "
             "Use options --input and --result to generate reports from the intermediate files at a later "
             "time.")};
    table["Collection Options"] = {
        withArg("--feature", "-f",
                "Specify data to collect using Individual Feature or Feature Group name listed below",
                "<feature>", ""),
        flag("--max-detail", "-m", "Collect over-time data for every feature specified"),
        withArg("--interval", "-n", "Change minimum time between collection points [default 100 ms]",
                "<milliseconds>", "time", "milliseconds", "100"),
        withArg("--output", "-o", "Specify output file name prefix [default \"VantrellOutput\"]",
                "<filename>", "filename", "", "VantrellOutput"),
        withArg("--program", "-p",
                "Specify executable to be started prior to collection, all characters following executable "
                "name are given it as arguments",
                "<executable>", "executable"),
        withArg("--startdelay", "-s", "Time to wait before starting collection", "<seconds>", "time",
                "seconds"),
        withArg("--time", "-t", "Collection duration (if omitted will collect until Ctrl-C entered)",
                "<seconds>", "time", "seconds"),
        flag("--auto-connected-standby", "-z",
             "Automatically enter Connected Standby for the duration of the collection"),
        withArg("--program-delay", "", "Time to wait before starting a program specified by \"-p\" option",
                "<seconds>", "time", "seconds"),
        flag("--polling", "", "Collect data at timed intervals rather than context switch points")};
    return table;
}

OptionTable makeIndividualFeatureOptions() {
    OptionTable table;
    table["pcie-lpm"] = {
        Option("gbe-int", "Wait time (milliseconds) between collecting GbE counters. [default 1000]", "",
               "<interval>", "time", "milliseconds", "1000", {}, kIntervalNote, LEVEL_2)};
    table["pch-ip-active"] = {
        Option("pch-lvl", "Specify additional groups of PCH IPs [default 1]", "", "<arg, arg, ...>", "level",
               "", "", {"1", "2", "3a", "3b", "3c", "3d", "4", "5"}, "", LEVEL_2),
        Option("pch-int", "Wait time (milliseconds) between collecting PCH activity counters. [default 5000]",
               "", "<interval>", "time", "milliseconds", "5000", {}, kIntervalNote, LEVEL_2)};
    table["pch-ip-lat-limit"] = {Option("lat-limit-ip",
                                        "Specify three PCH IPs to monitor [default SPA, SPB, SPC]", "",
                                        "<arg, arg, arg>", "IP", "", "", {"SPA", "SPB", "SPC"}, "", LEVEL_2)};
    table["acpi-dstate"] = {Option("no-device-filter", "Display all devices (turn off filtering)", LEVEL_2)};
    table["tcss-pm-dbg"] = {Option("tcss-ip", "Specify three IPs to monitor [default PCIE0, PCIE1, LNK0]", "",
                                   "<arg, arg, arg>", "IP", "", "", {"PCIE0", "PCIE1", "LNK0"}, "", LEVEL_2)};
    return table;
}

const std::vector<std::string> kLarchTcssIps = {"PCIE0", "PCIE1", "PCIE2", "PCIE3", "LNK0",
                                                "LNK1",  "LNK2",  "XHCI",  "XDCI"};

// Appends the names of `key` in `names` to the valid args of the first sub-option of `feature`.
void appendFromTable(NameTable const& names, std::string const& key, const char* feature) {
    if (key == "Unsupported") {
        return;
    }
    auto found = names.find(key);
    auto options = UsageText::s_IndividualFeatureOptions.find(feature);
    if (found == names.end() || options == UsageText::s_IndividualFeatureOptions.end() ||
        options->second.empty()) {
        return;
    }
    options->second.front().appendValidArgs(found->second);
}

}  // namespace

const OptionTable UsageText::s_usageConstants = makeUsageConstants();
OptionTable UsageText::s_IndividualFeatureOptions = makeIndividualFeatureOptions();

// Latency-tolerance reporting devices beyond the three defaults, per platform controller.
const NameTable UsageText::s_ltrDevices = {
    {"DGWLP", {"SPD", "SPE", "XHCI", "SATA", "GBE"}},
    {"DGWH", {"SPD", "XHCI", "SATA", "GBE"}},
    {"YEWLP", {"SPD", "SPE", "ISH", "XHCI", "SATA", "GBE"}},
    {"ZLKLP", {"SPD", "SPE", "ISH", "XHCI", "SATA", "GBE", "UFS"}},
};

const NameTable UsageText::s_TCSSIps = {
    {"DEFAULT", {"PCIE0", "PCIE1", "LNK0"}},
    {"Larch", kLarchTcssIps},
    {"Zelkova", kLarchTcssIps},
};

void UsageText::formatJson(json& out) {
    for (const auto& group : s_usageConstants) {
        for (Option option : group.second) {
            option.formatJson(out[group.first]);
        }
    }
}

void UsageText::appendArgsJson(json& out, Option& option) {
    auto entry = s_IndividualFeatureOptions.find(option.getName());
    if (entry == s_IndividualFeatureOptions.end()) {
        return;
    }
    for (Option& sub : entry->second) {
        sub.formatJson(out[option.getName()]["options"]);
    }
}

void UsageText::updatePchDeviceInfo(std::string const& name) {
    appendFromTable(s_ltrDevices, name, "pch-ip-lat-limit");
}

void UsageText::updateTcssIpInfo(std::string const& name) {
    appendFromTable(s_TCSSIps, name, "tcss-pm-dbg");
}

}  // namespace usage
}  // namespace pwr
