#pragma once

// Small helpers for paths, strings, files and the timing of a scope, and the pw_ wrappers of the C
// runtime. The pw_ family is the seam between the library and the platform's C runtime: a port replaces
// these and leaves callers alone.
//
// Paths. The library's texts separate path parts with a backslash (getPathSeparator). The helpers that
// touch the file system (mkpath, isDir, openFileHandle, doGlob, pw_open, pw_fileExists, pw_freopen)
// accept either separator and hand the native form to the system.
//
// None of these keeps state of its own; each may be called from any thread (logging goes through the
// process-wide loggers, which are not locked). Nothing throws.

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <deque>
#include <string>
#include <vector>

#include "vantrell/Export.h"

namespace pwr {

class VR_EXPORT PathOps {
  public:
    // The stored separator: a single backslash.
    static std::string getPathSeparator();
    // A copy in which each "/" is a backslash.
    static std::string normalizePathSeparator(std::string const& path);
    // The part after the last separator of the normalised path; empty when there is no separator or
    // the separator ends the path.
    static std::string getFilenameFromPath(std::string const& path);

    static const std::string m_pathSeparator;

  private:
    PathOps();
};

class VR_EXPORT StringOps {
  public:
    // Replaces every occurrence of each of `chars` in `text` by `with`, in place; returns `text`.
    static std::string& replaceChars(std::string& text, std::vector<char> const& chars, char const& with);
    // From the first occurrence of `needle` to the end of `text`; all of `text` when there is none.
    static std::string getSubString(std::string const& text, std::string const& needle);
    // True when any of `needles` occurs in `text`; false for no needles.
    static bool containsAny(std::string const& text, std::vector<std::string> const& needles);

  private:
    StringOps();
};

// Times its own scope with the finest wall clock there is. On destruction, with a name, logs at level 4
// "INFO: Total time elapsed during %s = %.2f usecs or %.2f secs\n"; with a result pointer, stores the
// microseconds there. Copyable: a copy keeps the start time and reports on its own destruction too.
class VR_EXPORT Timer {
  public:
    explicit Timer(std::string const& name);
    explicit Timer(double* result);
    ~Timer();

  private:
    std::string name;
    double elapsedMicroseconds;  // the negated start time until the destructor adds the end time
    double* result;
};

// Each "/" becomes a backslash.
VR_EXPORT std::string getDosPath(std::string const& path);

// Makes the directories leading to the last component of `path` (taken for a file name and not made;
// a directory path therefore ends with a separator). A drive prefix ("C:") and the root are not made;
// a directory that already exists is no error. Returns 0, or -1 after logging
// "WARNING: CreateDirectoryA returned error: %d, Last Error: %d\n" (the system call's result and errno).
VR_EXPORT int mkpath(std::string const& path);

// True when `path` names a directory. If the entry can't be examined, logs
// "WARNING: stat error in isDir for file %s: %s\n" with the system's text and returns false.
VR_EXPORT bool isDir(std::string const& path);

// A new NUL-terminated copy of the first `length` bytes of `text`, NULs included; null for a null `text`
// or a failed allocation. The caller frees it with free().
VR_EXPORT char* vr_strndup(char const* text, size_t length);

// The processor's CPUID for `leaf`, sub-leaf 0.
VR_EXPORT void getCpuid(unsigned leaf, unsigned* a, unsigned* b, unsigned* c, unsigned* d);

// (bus << 8 | device) << 8 | 0x100000f0: the register address of a PCI location.
VR_EXPORT unsigned getPCIAddress(unsigned long bus, unsigned long device);

// A copy in upper case, by the C library's toupper.
VR_EXPORT std::string getUpperCaseString(std::string const& text);
// Upper case, each blank becoming "-": "cpu core freq" gives "CPU-CORE-FREQ".
VR_EXPORT std::string getMetricTag(std::string name);

// Opens `path` in `mode` ("r...", "w..." or "a..."; any other mode gives false at once and opens
// nothing). Writing and appending first make the directories leading to the file, logging
// "WARNING: Error creating file: %s!\n" and returning false when that fails. A failed open logs
// "WARNING: Failed to open file: %s, errnum: %d, error: %s\n" and returns false with *file null.
// On success *file is the caller's to close.
VR_EXPORT bool openFileHandle(FILE** file, char const* path, char const* mode);

// Removes every double quote from `pattern` and logs at level 4 "Glob: original path = ..., trimmed
// path = ...". An empty result gives false. A pattern with any of "*[]^" logs "Glob is executing
// command: ls 2>/dev/null <pattern>" and appends the file names it matches (none is no error); any other
// text is appended as it stands. Returns true in both cases.
VR_EXPORT bool doGlob(std::string const& pattern, std::deque<std::string>& paths);

// Opens a descriptor with `flags`, read and write permission for the user when it creates the file.
// Returns 0 with `fd` set, or 1 after logging "WARNING: Failed to open file: %s, errnum: %d, error: %s\n".
VR_EXPORT int pw_open(int& fd, char const* path, int flags);

// The system's text of `error` in `buffer`, cut to `size` - 1 bytes. Without room for any text, logs
// "WARNING: strerror_s failed to get description of previous error\n" and leaves an empty text where
// there is a buffer.
VR_EXPORT void pw_strerror(int error, char* buffer, size_t size);

// True when the file can be opened for reading.
VR_EXPORT bool pw_fileExists(char const* path);

// The value of the environment variable `name`: *length is its size with the NUL (0 when unset), and
// `buffer` holds it when it fits, else an empty text.
VR_EXPORT void pw_getenv(size_t* length, char* buffer, size_t size, char const* name);

// Reopens `stream` on `path`; *file is the result. Returns 0 or the error number.
VR_EXPORT int pw_freopen(FILE** file, char const* path, char const* mode, FILE* stream);

// dup2 of the streams' descriptors: the descriptor of `to`, or -1.
VR_EXPORT int pw_dup2(FILE* from, FILE* to);

}  // namespace pwr

// The format-and-count routine as logging uses it: formats into `buffer` (at most `size` bytes with the
// NUL) and returns the length of the whole text, so that a null buffer with size 0 measures.
VR_EXPORT int pw_vsnprintf(char* buffer, size_t size, char const* format, va_list args);
VR_EXPORT int pw_snprintf(char* buffer, size_t size, char const* format, ...) VR_PRINTF_FORMAT(3, 4);

// Copies at most `size` - 1 characters of `source` and always writes a NUL at `size` - 1 (and behind the
// copy). A null `destination` or a size of 0 does nothing; a null `source` gives an empty text.
// Returns `destination`.
VR_EXPORT char* pw_strncpy(char* destination, char const* source, size_t size);
