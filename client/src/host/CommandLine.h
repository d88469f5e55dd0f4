#pragma once

// The host's command line: the options of the library's tables (names, abbreviations, descriptions
// and defaults from pwr::usage) plus the host's own --verbosity and --debug, parsed with CLI11.

#include <cstdint>
#include <ostream>
#include <set>
#include <string>
#include <vector>

namespace vantrell {

struct HostOptions {
    uint16_t verbosity = 1;
    std::set<std::string> debugAreas;
    unsigned intervalMs = 0;            // the tables' default unless given
    std::vector<std::string> features;  // -f, split at commas; empty: the default group
    bool maxDetail = false;
    bool polling = false;
    double timeSec = 0;  // 0: until Ctrl-C
    double startDelaySec = 0;
    double programDelaySec = 0;
    std::vector<std::string> program;  // -p executable and its arguments
    std::string output;                // -o prefix; empty: standard output
    std::vector<std::string> results;  // -r, split at commas; empty: "sum"
    std::string input;                 // -i: replay this result file instead of collecting
    bool noPostProcessing = false;
    std::string logFile;
    bool printFms = false;
    bool help = false;  // -h in console form: the host adds this machine's features and formats
    std::vector<std::string> commandLine;
};

// What main does after parsing.
enum class CommandLineResult { Run, Help, ExitOk, ExitUsage };

// Fills `options` from argv. JSON help and the version go to `out` (ExitOk); console help is left to
// the caller (Help), which knows the machine's features. A bad value, an unknown option or an option
// this host can't serve gives one line "vantrell: ..." on `err` and ExitUsage.
CommandLineResult parseCommandLine(int argc, char** argv, HostOptions& options, std::ostream& out,
                                   std::ostream& err);

}  // namespace vantrell
