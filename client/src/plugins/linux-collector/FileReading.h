#pragma once

// File access for the Linux sources: files opened once and re-read from the start at every sample,
// numbers parsed in place, directories listed in numeric order. Nothing here logs: callers that know
// which source failed do.

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vantrell::linuxcollector {

// An open file descriptor, closed with the object. Movable, not copyable.
class FileHandle {
  public:
    FileHandle() = default;
    explicit FileHandle(int fd) : fd(fd) {}
    FileHandle(FileHandle&& other) noexcept : fd(other.fd) { other.fd = -1; }
    FileHandle& operator=(FileHandle&& other) noexcept;
    FileHandle(const FileHandle&) = delete;
    FileHandle& operator=(const FileHandle&) = delete;
    ~FileHandle();

    // Opens `path` read-only; false with errno set when it can't.
    bool open(const std::string& path);
    bool isOpen() const { return fd >= 0; }
    int get() const { return fd; }

  private:
    int fd = -1;
};

// Reads the whole file from its start into `buffer`, which keeps its capacity between calls and grows
// as needed. The text is `buffer[0, size)`. False with errno set on a read error.
bool readWhole(const FileHandle& file, std::vector<char>& buffer, size_t& size);

// Parses a decimal number that fills `text` but for blanks around it. False for anything else
// (empty, sign where none belongs, trailing garbage, overflow).
bool parseUnsigned(std::string_view text, uint64_t& value);
bool parseSigned(std::string_view text, int64_t& value);
// "2596.098" (MHz) as 2596098 (kHz): digits behind the fourth after the point are dropped.
bool parseMegaToKilo(std::string_view text, uint64_t& value);

// A file that holds one number, re-read in place at each sample; its reads allocate nothing.
class NumberFile {
  public:
    NumberFile(std::string path, FileHandle file) : path(std::move(path)), file(std::move(file)) {}
    enum class Status { Ok, ReadError, NotANumber };
    Status readUnsigned(uint64_t& value) const;
    Status readSigned(int64_t& value) const;
    const std::string& getPath() const { return path; }

  private:
    // The trimmed text of the file, in `scratch`; false (errno set) on a read error, and a text that
    // fills the whole scratch is no number of ours.
    bool readText(char* scratch, size_t capacity, std::string_view& text) const;

    std::string path;
    FileHandle file;
};

// Reads a short file (a name, a label) whole; its trimmed text, or false.
bool readSmallText(const std::string& path, std::string& text);

// The entries of `dir` named `prefix` followed by a decimal number (and, with `allowTail`, anything
// after that number), ordered by that number. Empty when the directory can't be read.
struct NumberedEntry {
    uint64_t number;
    std::string name;
};
std::vector<NumberedEntry> listNumbered(const std::string& dir, std::string_view prefix,
                                        bool allowTail = false);

// The entries of `dir` whose names start with `prefix`, in name order.
std::vector<std::string> listPrefixed(const std::string& dir, std::string_view prefix);

// `text` without blanks, tabs and line ends at both ends.
std::string_view trimmed(std::string_view text);

}  // namespace vantrell::linuxcollector
