#pragma once

// The tool's command-line vocabulary, shared by the host and the plug-ins so that they show one help
// text: four tables built by the library's static initialisers, and their text and JSON forms. Nothing
// here parses a command line.
//
// Option is one option as the help shows it: a copyable value. UsageText holds the tables as static
// members; only updatePchDeviceInfo and updateTcssIpInfo change them after start-up. No locks: the host
// reads and updates them on one thread.

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "vantrell/Export.h"

namespace pwr {
namespace usage {

using json = nlohmann::json;

// The depth of an option in the help text. Any int is a valid value; the help uses 1 to 3.
enum TabLevel : int { LEVEL_1 = 1, LEVEL_2 = 2, LEVEL_3 = 3 };

class VR_EXPORT Option {
  public:
    // Selects one of the ten attributes for getAttribute.
    enum Attribute {
        NAME,
        DESCRIPTION,
        ABBREVIATION,
        NORMAL_NAME,
        ARG,
        ARG_DEFAULT,
        ARG_UNITS,
        ARG_TYPE,
        NOTES,
        ALIAS
    };

    // Short forms: the other attributes empty.
    Option(std::string const& name, std::string const& description, TabLevel const& level);
    Option(std::string const& name, std::string const& description, TabLevel const& level,
           std::string const& abbreviation);
    Option(std::string const& name, std::string const& description, std::string const& abbreviation,
           std::string const& arg, std::string const& argType, std::string const& argUnits,
           std::string const& argDefault, std::vector<std::string> const& validArgs, std::string const& notes,
           TabLevel const& level);

    // The long name, or the abbreviation when there is none.
    std::string getName();
    // getName without leading and trailing dashes, inner dashes as blanks: "--no-post-processing" gives
    // "no post processing"; "" for no name.
    std::string getNormalizedName();
    // The attribute's text; "" when it is empty.
    std::string getAttribute(Attribute const& attribute);
    void appendValidArgs(std::vector<std::string> const& args);
    std::vector<std::string> const& getValidArgs() const { return validArgs; }
    TabLevel getTabLevel() const { return tabLevel; }
    int getColumnWidth() const { return columnWidth; }
    int getTextWidth() const { return textWidth; }

    // Sets out[getName()][key] for each of the ten attribute keys in key order, empty ones included,
    // and out[getName()]["valid args"] to an array when there are valid args. A non-object `out` makes
    // nlohmann json throw its type_error, which passes through.
    void formatJson(json& out);

  protected:
    void init(std::string const& name, std::string const& description, std::string const& abbreviation,
              std::string const& arg, std::string const& argType, std::string const& argUnits,
              std::string const& argDefault, std::vector<std::string> const& validArgs,
              std::string const& notes, TabLevel const& level);

    // The help lines of the sub-options of this option (see UsageText::s_IndividualFeatureOptions), one
    // block per sub-option ending in a line end; "" when it has none.
    std::string formatSubOption();
    // One tab per level.
    std::string getTabString();
    // `text` without any of `chars`.
    std::string stripChars(std::string const& text, std::vector<char> const& chars);
    // getName without any dash.
    std::string getAlias();
    // The indentation of this option's text: tabs, then fill and width of the name column.
    void formatWhitespace(std::stringstream& out) const;
    // For a name that begins with '-': ", " when there is a long name, else four blanks; otherwise "".
    std::string getNameColumnFormat();
    // The width of the console window in columns (80 when there is no console). Not called here.
    static int getWindowsConsoleWidth();

  private:
    std::string& attribute_i(Attribute attribute);

    std::map<std::string, std::string> attributes;
    std::vector<std::string> validArgs;
    TabLevel tabLevel = LEVEL_1;
    int columnWidth = 25;
    int textWidth = 55;
    std::map<TabLevel, int> columnWidths{{LEVEL_1, 25}, {LEVEL_2, 20}, {LEVEL_3, 25}};
    std::string nameKey{"name"};
    std::string descriptionKey{"description"};
    std::string abbreviationKey{"abbreviation"};
    std::string normalNameKey{"normal name"};
    std::string argKey{"arg"};
    std::string argDefaultKey{"arg_default"};
    std::string argUnitsKey{"arg_units"};
    std::string argTypeKey{"arg_type"};
    std::string notesKey{"notes"};
    std::string aliasKey{"alias"};
};

using OptionTable = std::map<std::string, std::vector<Option>>;
using NameTable = std::map<std::string, std::vector<std::string>>;

class VR_EXPORT UsageText {
  public:
    explicit UsageText(std::string const& name) : name(name) {}

    // Calls Option::formatJson on out[group] for each option of each group of s_usageConstants, in key
    // order. nlohmann json's type_error for a non-object passes through.
    static void formatJson(json& out);
    // For an option with sub-options, each sub-option's members go to out[option.getName()]["options"].
    static void appendArgsJson(json& out, Option& option);
    // Appends the devices of `name` in s_ltrDevices to the valid args of "pch-ip-lat-limit"'s first
    // sub-option; "Unsupported" and unknown names change nothing.
    static void updatePchDeviceInfo(std::string const& name);
    // The same with s_TCSSIps and "tcss-pm-dbg".
    static void updateTcssIpInfo(std::string const& name);
    static OptionTable& getIndividualFeatureOptions() { return s_IndividualFeatureOptions; }

    // Group name to options: "General Options", "Post-processing Options", "Collection Options".
    static const OptionTable s_usageConstants;
    // Feature name to sub-options; features without sub-options have no entry.
    static OptionTable s_IndividualFeatureOptions;
    // Platform controller name to the device names that "pch-ip-lat-limit" can take.
    static const NameTable s_ltrDevices;
    // Platform name to the IP names that "tcss-pm-dbg" can take.
    static const NameTable s_TCSSIps;

  private:
    std::string name;
};

}  // namespace usage
}  // namespace pwr
