#pragma once

// The host's help: the console text assembled from the library's option tables (pwr::usage) and the
// host's own options, and the JSON form of the same options.

#include <ostream>
#include <vector>

#include "vantrell/usage/UsageText.h"

namespace vantrell {

// The options that this host adds to the library's tables, shown under "Host Options".
std::vector<pwr::usage::Option> hostOnlyOptions();

// One block per group of the tables, in the tables' order, then the host's own options: each option
// as "-x, --name <arg>" in the name column and its description wrapped in the text column.
void printConsoleHelp(std::ostream& out);

// The tables' JSON form with the host's options under "Host Options", indented by two.
void printJsonHelp(std::ostream& out);

}  // namespace vantrell
