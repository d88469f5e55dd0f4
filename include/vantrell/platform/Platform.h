#pragma once

// The platform seam: the few operating-system services that the library's logic needs, behind plain
// functions in pwr::platform. The logic never calls the operating system itself.
//
// Paths. The library's stored texts separate path parts with a backslash ("\opt\vantrell\bin\"), the
// form its result files and messages have always used. The seam maps between that stored form and the
// native form of the file system; toNativePath and toStoredPath are the two directions. A native name
// that itself contains a backslash does not survive the round trip.
//
// Library search. The seam keeps one process-wide search path for libraries: one library directory
// (replaced by each setLibraryDirectory) and a list of added directories (addLibraryDirectory).
// openLibrary looks for a bare name there first, then in the system's own search path.
//
// Errors. A seam call that fails records the reason as the calling thread's last error, which
// getLastErrorText turns into text.
//
// Threads: every function may be called from any thread; the search path is guarded by a lock, the
// last error is kept per thread.

#include <cstdint>
#include <string>
#include <vector>

#include "vantrell/Export.h"

namespace pwr {
namespace platform {

// ---- Clocks -----------------------------------------------------------------------------------------

// The processor's time stamp counter. Its frequency is not measured here.
VR_EXPORT uint64_t readTimeStampCounter();

// A monotonic counter that no clock adjustment moves, and its frequency in Hz (constant).
VR_EXPORT uint64_t readPerformanceCounter();
VR_EXPORT uint64_t getPerformanceFrequency();

// Wall-clock time as 100-nanosecond units since 1 January 1601 (UTC).
VR_EXPORT uint64_t readPreciseFileTime();

// ---- Paths and the running executable ---------------------------------------------------------------

// Native to stored form and back (see above). Nothing else in the text changes.
VR_EXPORT std::string toStoredPath(const std::string& nativePath);
VR_EXPORT std::string toNativePath(const std::string& storedPath);

// Sets `storedPath` to the full path of the running executable, in stored form, and returns true.
// On failure returns false, leaves `storedPath` unchanged and records the last error. No log.
VR_EXPORT bool getModuleFileName(std::string& storedPath);

// Replaces the operating system's answer to getModuleFileName, for tests and for hosts that know
// better. The hook fills a native path and returns true, or records a last error (setLastError) and
// returns false. A null hook puts the operating system back. Returns the previous hook.
using ModulePathHook = bool (*)(std::string& nativePath);
VR_EXPORT ModulePathHook setModulePathHook(ModulePathHook hook);

// ---- Library search and loading ---------------------------------------------------------------------

// Sets the one library directory of the search path, given in stored form; an empty text clears it.
// Returns true.
VR_EXPORT bool setLibraryDirectory(const std::string& storedDirectory);

// Adds a directory, given in stored form as 16-bit units that each hold one byte of the path, to the
// search path after those already there; a directory already there is not added twice. Returns true,
// or false for an empty text or a unit above 0xff, with the last error set to EINVAL.
VR_EXPORT bool addLibraryDirectory(const std::u16string& storedDirectory);

// The search path as it stands, in native form: the library directory ("" when unset) and the added
// directories in order of addition.
VR_EXPORT std::string getLibraryDirectory();
VR_EXPORT std::vector<std::string> getAddedLibraryDirectories();

// Forgets the library directory and all added directories.
VR_EXPORT void resetLibrarySearchPath();

// Opens a library. A name with a path separator is opened as it stands. A bare name is looked for in
// the library directory, then in each added directory; the first file of that name found there is
// opened, and its failure is the failure. A name found in none of them goes to the system's own search.
// The library's constructors run. Returns the handle, or null with the loader's reason as last error.
// The caller closes the handle with closeLibrary.
VR_EXPORT void* openLibrary(const std::string& name);

// The address of `symbol` in an open library, or null with the last error set (also for a null
// `library` or `symbol`).
VR_EXPORT void* findSymbol(void* library, const char* symbol);

// Closes a handle of openLibrary. Returns true, or false with the last error set (null handle, or the
// loader refused).
VR_EXPORT bool closeLibrary(void* library);

// ---- Errors -----------------------------------------------------------------------------------------

// Records an operating-system error number (errno values) as the calling thread's last error.
VR_EXPORT void setLastError(int code);

// The text of the calling thread's last error: the loader's own words for a failed load or look-up,
// else the system's text of the error number ("Success" for 0, as the system words it).
VR_EXPORT std::string getLastErrorText();

}  // namespace platform
}  // namespace pwr
