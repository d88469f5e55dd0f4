#pragma once

// The operating-system side of the platform seam: one implementation per system (posix/ here),
// chosen by the build. Platform.cpp holds what is the same everywhere (search path, last error,
// hooks) and calls these. Nothing here logs; failures come back as results.
//
// The clock reads are also called directly by the library's clocks, to spare the exported wrappers.

#include <cstdint>
#include <string>

namespace pwr {
namespace platform {
namespace os {

uint64_t readTimeStampCounter();
uint64_t readPerformanceCounter();
uint64_t performanceFrequency();
uint64_t readPreciseFileTime();

// The native path separator, and the stored one that the library's texts use.
constexpr char kStoredSeparator = '\\';
char nativeSeparator();

// Full native path of the running executable. False with errno-style `error` on failure.
bool readModulePath(std::string& nativePath, int& error);

// True when a file of that native path exists.
bool fileExists(const std::string& nativePath);

// Native path of `name` inside `directory`.
std::string joinPath(const std::string& directory, const std::string& name);

// Loader calls. On failure they return null/false and set `error` to the loader's text.
void* openLibraryFile(const std::string& nativePath, std::string& error);
void* findLibrarySymbol(void* library, const char* symbol, std::string& error);
bool closeLibraryHandle(void* library, std::string& error);

// The system's text of an error number.
std::string errorText(int code);

}  // namespace os
}  // namespace platform
}  // namespace pwr
