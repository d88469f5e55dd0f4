#pragma once

// The host's command line: the options of the library's tables (names, abbreviations, descriptions
// and defaults from pwr::usage) plus the host's own --verbosity and --debug, parsed with CLI11.

#include <cstdint>
#include <ostream>
#include <set>
#include <string>

namespace vantrell {

struct HostOptions {
    uint16_t verbosity = 1;
    unsigned intervalMs = 0;  // the tables' default unless given
    std::set<std::string> debugAreas;
};

// What main does after parsing.
enum class CommandLineResult { Run, ExitOk, ExitUsage };

// Fills `options` from argv. Help and version go to `out` (ExitOk). A bad value, an unknown option or
// an option this host can't serve gives one line "vantrell: ..." on `err` and ExitUsage.
CommandLineResult parseCommandLine(int argc, char** argv, HostOptions& options, std::ostream& out,
                                   std::ostream& err);

}  // namespace vantrell
