// The console and JSON help of the host, from the library's option tables.

#include "HelpText.h"

#include <sstream>
#include <string>

#include <nlohmann/json.hpp>

namespace vantrell {
namespace {

using pwr::usage::Option;

const char kHostGroup[] = "Host Options";

// Reaches the layout steps that the library keeps for hosts that print its options.
class HelpEntry : public Option {
  public:
    explicit HelpEntry(Option const& option) : Option(option) {}

    void print(std::ostream& out) {
        std::stringstream head;
        formatWhitespace(head);
        const std::string names = nameColumn_i();
        head << names;
        std::string indent = getTabString() + std::string(static_cast<size_t>(getColumnWidth()), ' ');
        std::string first = head.str();
        // A name that fills its column puts the description on a line of its own.
        if (static_cast<int>(names.size()) + 1 >= getColumnWidth()) {
            out << first.substr(0, first.find_last_not_of(' ') + 1) << "\n";
            first = indent;
        }
        printWrapped_i(out, first, indent);
        out << formatSubOption();
    }

  private:
    // "-l, --log <filename>"; four blanks stand for a missing abbreviation so that long names align.
    std::string nameColumn_i() {
        std::string abbreviation = getAttribute(ABBREVIATION);
        std::string name = getAttribute(NAME);
        std::string column;
        if (abbreviation.empty()) {
            column = "    " + name;
        } else {
            column = abbreviation + (name.empty() ? std::string() : getNameColumnFormat() + name);
        }
        std::string arg = getAttribute(ARG);
        return arg.empty() ? column : column + " " + arg;
    }

    // The description in words, no line longer than the text width unless one word is.
    void printWrapped_i(std::ostream& out, std::string const& first, std::string const& indent) {
        std::istringstream words(getAttribute(DESCRIPTION));
        std::string word;
        std::string line;
        std::string lead = first;
        while (words >> word) {
            if (!line.empty() && static_cast<int>(line.size() + 1 + word.size()) > getTextWidth()) {
                out << lead << line << "\n";
                lead = indent;
                line.clear();
            }
            line += (line.empty() ? "" : " ") + word;
        }
        out << lead << line << "\n";
    }
};

void printGroup(std::ostream& out, std::string const& title, std::vector<Option> const& options) {
    out << "\n" << title << ":\n";
    for (Option const& option : options) {
        HelpEntry(option).print(out);
    }
}

}  // namespace

std::vector<Option> hostOnlyOptions() {
    return {
        Option(
            "--verbosity",
            "Show log messages up to this level: 0 fatal, 1 errors, 2 warnings, 3 debug, 4 info [default 1]",
            "", "<level>", "level", "", "1", {}, "", pwr::usage::LEVEL_1),
        Option("--debug",
               "Show the debug messages of this area at any verbosity; may be given more than once", "",
               "<area>", "", "", "", {}, "", pwr::usage::LEVEL_1)};
}

void printConsoleHelp(std::ostream& out) {
    out << "Usage: vantrell [options]\n";
    for (auto const& group : pwr::usage::UsageText::s_usageConstants) {
        printGroup(out, group.first, group.second);
    }
    printGroup(out, kHostGroup, hostOnlyOptions());
}

void printJsonHelp(std::ostream& out) {
    pwr::usage::json help = pwr::usage::json::object();
    pwr::usage::UsageText::formatJson(help);
    for (Option& option : hostOnlyOptions()) {
        option.formatJson(help[kHostGroup]);
    }
    out << help.dump(2) << "\n";
}

}  // namespace vantrell
