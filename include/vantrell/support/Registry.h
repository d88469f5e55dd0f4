#pragma once

// Reading numbers from the system registry under the machine hive (on Linux, the seam's table:
// platform/OsServices.h). No state; any thread.

#include <string>

#include "vantrell/Export.h"

namespace pwr {

class VR_EXPORT Registry {
  public:
    // Opens `key` for reading, reads `value` as a 4-byte number into `out` and returns true. Any
    // failure returns false and leaves `out` alone. The key is closed whenever it was opened. No log.
    static bool RegReadDword(std::string key, std::string value, unsigned long long& out);

    // From the first occurrence of `prefix` in `key` to its end; all of `key` when `prefix` isn't there.
    static std::string NormalizeRegKey(std::string const& key, std::string const& prefix);

    // False for 0; for any other status, formats its text (for a debugger's eyes) and returns true.
    static bool RegError(long code);
};

}  // namespace pwr
