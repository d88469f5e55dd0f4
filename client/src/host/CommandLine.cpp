// Parsing of the host's command line with CLI11, over the library's option tables.

#include "CommandLine.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <vector>

#include <CLI/CLI.hpp>

#include "HelpText.h"
#include "vantrell/usage/UsageText.h"

#ifndef VR_HOST_VERSION
#define VR_HOST_VERSION "0.0.0"
#endif

namespace vantrell {
namespace {

using pwr::usage::Option;

const char kNoConnectedStandby[] = "Connected Standby does not exist on Linux";
const char kNoUsageProgram[] = "this build takes part in no usage insights programme";

// Table options that this host refuses, with the reason it gives.
const std::vector<std::pair<const char*, const char*>> kRefused = {
    {"--enable-cstrace", kNoConnectedStandby},         {"--disable-cstrace", kNoConnectedStandby},
    {"--auto-connected-standby", kNoConnectedStandby}, {"--revoke-usage-consent", kNoUsageProgram},
    {"--update-usage-consent", kNoUsageProgram},       {"--skip-usage-collection", kNoUsageProgram}};

// Longest collection, delay or wait this host takes: beyond it the clocks' arithmetic would overflow.
constexpr double kMaxSeconds = 1e9;

// The first option of the tables with this name, in the tables' group order.
Option tableOption(std::string const& name) {
    for (auto const& group : pwr::usage::UsageText::s_usageConstants) {
        for (Option option : group.second) {
            if (option.getName() == name) {
                return option;
            }
        }
    }
    return Option(name, "", pwr::usage::LEVEL_1);
}

// CLI11's spelling of an option's names: "-n,--interval".
std::string cliNames(Option option) {
    std::string abbreviation = option.getAttribute(Option::ABBREVIATION);
    std::string name = option.getAttribute(Option::NAME);
    return abbreviation.empty() ? name : name.empty() ? abbreviation : abbreviation + "," + name;
}

// A whole decimal number in [low, high]; false for signs, blanks, other characters and overflow.
bool toWholeNumber(std::string const& text, unsigned long long low, unsigned long long high,
                   unsigned long long& value) {
    if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos) {
        return false;
    }
    errno = 0;
    value = std::strtoull(text.c_str(), nullptr, 10);
    return errno == 0 && value >= low && value <= high;
}

CLI::Validator wholeNumber(std::string const& what, unsigned long long low, unsigned long long high) {
    return CLI::Validator(
        [what, low, high](std::string& text) {
            unsigned long long value = 0;
            if (toWholeNumber(text, low, high, value)) {
                return std::string();
            }
            return "\"" + text + "\" is not " + what + " from " + std::to_string(low) + " to " +
                   std::to_string(high);
        },
        "");
}

// A decimal number of seconds ("1", "0.5"), above 0 or, with `zeroAllowed`, 0 or more.
CLI::Validator seconds(bool zeroAllowed) {
    return CLI::Validator(
        [zeroAllowed](std::string& text) {
            const bool digits = !text.empty() && text.find_first_not_of("0123456789.") == std::string::npos &&
                                text.find('.') == text.rfind('.') && text != ".";
            const double value = digits ? std::strtod(text.c_str(), nullptr) : -1;
            if (digits && value <= kMaxSeconds && (value > 0 || (zeroAllowed && value == 0))) {
                return std::string();
            }
            return "\"" + text + "\" is not a number of seconds " + (zeroAllowed ? "from 0" : "above 0") +
                   " to 1000000000";
        },
        "");
}

// Splits each value at commas; empty pieces are dropped.
std::vector<std::string> splitCommas(std::vector<std::string> const& values) {
    std::vector<std::string> pieces;
    for (std::string const& value : values) {
        size_t begin = 0;
        while (begin <= value.size()) {
            size_t end = value.find(',', begin);
            end = end == std::string::npos ? value.size() : end;
            if (end > begin) {
                pieces.push_back(value.substr(begin, end - begin));
            }
            begin = end + 1;
        }
    }
    return pieces;
}

// The value part of the command line: everything after the executable named by -p/--program belongs
// to that program, so CLI11 sees only what comes before it.
int hostArgumentCount(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "-p" || arg == "--program") {
            return i + 2 < argc ? i + 2 : argc;
        }
        if (arg.rfind("--program=", 0) == 0 || (arg.rfind("-p", 0) == 0 && arg.size() > 2)) {
            return i + 1;
        }
    }
    return argc;
}

struct Parsed {
    std::string helpFormat;
    bool version = false;
    std::vector<std::string> debugAreas;
    std::vector<std::string> features;
    std::vector<std::string> results;
    std::string program;
    std::vector<std::pair<CLI::Option*, const char*>> refused;
    CLI::Option* help = nullptr;
    CLI::Option* programOption = nullptr;
    CLI::Option* programDelay = nullptr;
    CLI::Option* input = nullptr;
    CLI::Option* noPostProcessing = nullptr;
};

// Adds a table option with a value; `target` receives it.
template <class T>
CLI::Option* addValue(CLI::App& app, std::string const& name, T& target) {
    Option option = tableOption(name);
    return app.add_option(cliNames(option), target, option.getAttribute(Option::DESCRIPTION));
}

CLI::Option* addFlag(CLI::App& app, std::string const& name, bool& target) {
    Option option = tableOption(name);
    return app.add_flag(cliNames(option), target, option.getAttribute(Option::DESCRIPTION));
}

void addOptions(CLI::App& app, HostOptions& options, Parsed& parsed) {
    parsed.help = addValue(app, "--help", parsed.helpFormat)->expected(0, 1);
    addFlag(app, "--version", parsed.version);
    addValue(app, "--interval", options.intervalMs)
        ->check(wholeNumber("a whole number of milliseconds", 1, UINT_MAX));
    addValue(app, "--feature", parsed.features)->allow_extra_args(false);
    addFlag(app, "--max-detail", options.maxDetail);
    addFlag(app, "--polling", options.polling);
    addValue(app, "--time", options.timeSec)->check(seconds(false));
    addValue(app, "--startdelay", options.startDelaySec)->check(seconds(true));
    parsed.programDelay = addValue(app, "--program-delay", options.programDelaySec)->check(seconds(true));
    parsed.programOption = addValue(app, "--program", parsed.program);
    addValue(app, "--output", options.output)
        ->check(CLI::Validator(
            [](std::string& text) {
                return text.empty() ? std::string("an empty file name prefix") : std::string();
            },
            ""));
    addValue(app, "--result", parsed.results)->allow_extra_args(false);
    addValue(app, "--log", options.logFile);
    parsed.input = addValue(app, "--input", options.input);
    parsed.noPostProcessing = addFlag(app, "--no-post-processing", options.noPostProcessing);
    addFlag(app, "--print-fms", options.printFms);
    std::vector<Option> own = hostOnlyOptions();
    app.add_option(own[0].getName(), options.verbosity, own[0].getAttribute(Option::DESCRIPTION))
        ->check(wholeNumber("a verbosity level", 0, UINT16_MAX));
    app.add_option(own[1].getName(), parsed.debugAreas, own[1].getAttribute(Option::DESCRIPTION))
        ->allow_extra_args(false);
    for (auto const& [name, reason] : kRefused) {
        Option option = tableOption(name);
        const std::string description = option.getAttribute(Option::DESCRIPTION);
        CLI::Option* added = option.getAttribute(Option::ARG).empty()
                                 ? app.add_flag(cliNames(option), description)
                                 : app.add_option(cliNames(option), description);
        parsed.refused.emplace_back(added, reason);
    }
}

// After a successful parse: refusals and the checks that join options. 0 or the usage status.
CommandLineResult finish(Parsed& parsed, HostOptions& options, int argc, char** argv, std::ostream& err) {
    for (auto const& [option, reason] : parsed.refused) {
        if (option->count() > 0) {
            err << "vantrell: " << option->get_name() << ": " << reason << "\n";
            return CommandLineResult::ExitUsage;
        }
    }
    if (parsed.programDelay->count() > 0 && parsed.programOption->count() == 0) {
        err << "vantrell: --program-delay: waits for a program, and no -p/--program was given\n";
        return CommandLineResult::ExitUsage;
    }
    if (options.noPostProcessing && (options.output.empty() || !options.input.empty())) {
        err << "vantrell: --no-post-processing: keeps only the result file of a collection, which needs "
               "-o/--output and no -i/--input\n";
        return CommandLineResult::ExitUsage;
    }
    options.debugAreas.insert(parsed.debugAreas.begin(), parsed.debugAreas.end());
    options.features = splitCommas(parsed.features);
    options.results = splitCommas(parsed.results);
    const int hostArgs = hostArgumentCount(argc, argv);
    if (parsed.programOption->count() > 0) {
        options.program.push_back(parsed.program);
        options.program.insert(options.program.end(), argv + hostArgs, argv + argc);
    }
    options.commandLine.assign(argv, argv + argc);
    return CommandLineResult::Run;
}

}  // namespace

CommandLineResult parseCommandLine(int argc, char** argv, HostOptions& options, std::ostream& out,
                                   std::ostream& err) {
    unsigned long long intervalDefault = 0;
    toWholeNumber(tableOption("--interval").getAttribute(Option::ARG_DEFAULT), 1, UINT_MAX, intervalDefault);
    options.intervalMs = static_cast<unsigned>(intervalDefault);
    CLI::App app("vantrell", "vantrell");
    app.set_help_flag();
    Parsed parsed;
    addOptions(app, options, parsed);
    try {
        app.parse(hostArgumentCount(argc, argv), argv);
    } catch (CLI::ParseError const& error) {
        err << "vantrell: " << error.what() << "\n";
        return CommandLineResult::ExitUsage;
    }
    if (parsed.help->count() > 0) {
        if (parsed.helpFormat.empty()) {
            options.help = true;
            return CommandLineResult::Help;
        }
        if (parsed.helpFormat == "json") {
            printJsonHelp(out);
            return CommandLineResult::ExitOk;
        }
        err << "vantrell: --help: \"" << parsed.helpFormat << "\" is not a help format (only json)\n";
        return CommandLineResult::ExitUsage;
    }
    if (parsed.version) {
        out << "vantrell " << VR_HOST_VERSION << "\n";
        return CommandLineResult::ExitOk;
    }
    return finish(parsed, options, argc, argv, err);
}

}  // namespace vantrell
