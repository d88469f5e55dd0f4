#pragma once

// The lexical layer that both configuration languages share: one fact on a line of the form
// T0_T1_T2_T3_T4=T5, "#" comments, trimming, and the file-level handling of a failed line. Each
// language brings only its rules. Private to the library.

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace pwr {
namespace config_lines {

using Tokens = std::vector<std::string>;

// Splits `line` into T0..T5 by the seven-state walk: a test for "=", four cuts at "_", one at "=", and
// the rest. 0 with six tokens; -1 when the line has no "=" or a cut finds no delimiter, leaving
// `tokens` as far as it got.
int tokenize(std::string const& line, Tokens& tokens);

// For each line of `fp`: cuts the comment, trims, skips an empty line, splits it and hands the tokens
// and the line to `onLine`. Throws the std::string "ERROR parsing line " + line for a line that doesn't
// split. Returns 0 at the end, or -1 at the first line whose `onLine` gives non-zero, or when the
// stream can't be read. The caller logs what a rule failure means.
int forEachLine(FILE* fp, std::function<int(Tokens const&, std::string const&)> const& onLine);

// Opens `file` and hands it to `parseStream`. "Error opening config file %s\n" on standard error when it
// can't be opened; a thrown string is logged at error level (stream form) as "EXCEPTION CAUGHT:" and its
// text; on any failure "ERROR parsing config file %s\n" goes to standard error. 0 or -1.
int parseFile(std::string const& file, std::function<int(FILE*)> const& parseStream);

}  // namespace config_lines
}  // namespace pwr
