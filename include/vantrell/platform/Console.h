#pragma once

// The platform seam's console: how wide the terminal that the process writes to is.
// Any thread; no state.

#include "vantrell/Export.h"

namespace pwr {
namespace platform {

// The width in columns of the console window of the standard output (the standard error or input
// when the output isn't a terminal). Returns true with `columns` set, or false, leaving `columns`
// unchanged, when none of them is a terminal that tells its size.
VR_EXPORT bool getConsoleWidth(int& columns);

}  // namespace platform
}  // namespace pwr
