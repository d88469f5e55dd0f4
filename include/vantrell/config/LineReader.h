#pragma once

// Reading text files into lines, and trimming them: the bottom layer of both configuration languages
// and of every other reader of text in the library. Lines are byte strings; nothing is converted.
//
// Static operations only; no instance exists. Nothing here keeps state or takes a lock: the operations
// may run on any thread, each on its own stream.

#include <cstdio>
#include <deque>
#include <string>
#include <vector>

#include "vantrell/Export.h"

namespace pwr {

class VR_EXPORT LineReader {
  public:
    // Reads one line of any length from `fp` into `line` (emptied first), with its newline, or without
    // it and trimmed when `trim` is true (see trim(std::string&): a line of blanks stays as it is).
    // Returns the length of `line`: 0 at the end of the stream with nothing read. Returns -1 when the
    // read fails before the end of the stream, and for a null `fp`, which logs
    // "WARNING: NULL fp in pwr::LineReader::getline:200!\n".
    static int getline(FILE* fp, std::string& line, bool trim);

    // Appends the lines of the file at `path`, each without its newline. Empty lines are dropped and
    // nothing is trimmed, so callers get only lines with content. A null `path` does nothing. A file that
    // can't be opened leaves `lines` as it was; with `complain` it logs at error level
    // "could NOT open file <path>!", otherwise it is silent.
    static void get_all_lines(char const* path, std::vector<std::string>& lines, bool complain);
    static void get_all_lines(char const* path, std::deque<std::string>& lines, bool complain);

    // Appends every line of the rest of `fp`, each trimmed in place, empty lines kept in their place
    // (a line of blanks stays untrimmed, see trim(std::string&)). A stream that ends in a newline, or an
    // empty stream, yields one further empty line at the end. A null `fp` does nothing; a read error
    // ends the reading.
    static void get_all_lines(FILE* fp, std::vector<std::string>& lines);
    static void get_all_lines(FILE* fp, std::deque<std::string>& lines);

    // Removes blanks, carriage returns, tabs and newlines from both ends of `s`, in place. A text made
    // only of those characters is left as it was (unlike the copying form).
    static void trim(std::string& s);
    // A copy of `s` without blanks, carriage returns, tabs and newlines at either end; a text made only
    // of those characters gives an empty string.
    static std::string trim(std::string const& s);
    // Removes every occurrence of `c` from `s`; the text around each closes up.
    static void strip(std::string& s, char c);

  private:
    LineReader() = delete;
    ~LineReader() = delete;
};

}  // namespace pwr
