#pragma once

// Small text helpers shared by the configuration languages and the records: telling and reading
// numbers, making names unique, cutting a path, and reading yes-or-no environment variables.
//
// getUniqueIDFor and getUniqueName share one process-wide table with no lock: call them from one thread
// at a time. The rest keeps no state.

#include <string>

#include "vantrell/Export.h"

namespace pwr {

// True for an optionally negative decimal text, or a hexadecimal one written "0x"/"0X" with at least one
// character behind the prefix. A full stop is accepted anywhere and any number of times, since versions
// and family-model texts pass through here: "1.2.3" and "." are numbers. Empty, "-", "0x" and "-0x10"
// are not (the hexadecimal test looks at the very first character).
VR_EXPORT bool isNumber(std::string const& text);

// Reads `text` as an unsigned 32-bit number. The base is 16 when the first character is "0", "x" or "X",
// else 10: so "0x10" is 16, but any text with a leading zero is hexadecimal too ("010" is 16, "0123" is
// 291) and "x10" is 0. Conversion follows strtoul: it stops at the first character outside the base
// ("1.5" is 1), a negative text wraps around within 32 bits ("-1" is 0xFFFFFFFF), and a value beyond 32
// bits saturates at 0xFFFFFFFF.
VR_EXPORT unsigned long extract_number_i(std::string const& text);

// The number of earlier calls for `name`: 0 at the first call, 1 at the second. The table lives until
// the process ends and is never emptied.
VR_EXPORT int getUniqueIDFor(std::string const& name);

// `name`, "-" and getUniqueIDFor(name): "cpu-0", then "cpu-1".
VR_EXPORT std::string getUniqueName(std::string const& name);

// Cuts `path` at its last "/": `dir` is everything up to and including it, `file` the rest. With no
// separator `dir` is "./" and `file` the whole path; with the separator last, `file` is empty.
// An empty path is outside the contract; it gives "./" and an empty `file`.
VR_EXPORT void extract_dir_and_file_from_path(std::string const& path, std::string& dir, std::string& file);

// True exactly when the environment variable `name` exists and is the single character "y" or "Y".
// A null `name` logs "WARNING: NULL name passed to check_env!\n" and gives false.
VR_EXPORT bool check_env(char const* name);

}  // namespace pwr
