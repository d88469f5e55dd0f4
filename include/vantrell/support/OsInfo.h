#pragma once

// What the operating system tells about itself, in the words and formats the collection record uses:
// the system's name, version and type, a file's version, error texts, the display adapters, and the
// conversions between 8-bit and 16-bit text that the Windows boundary needs.
//
// Wide text is 16-bit units (std::u16string, char16_t), whatever the platform's wchar_t is, because
// these units are what event payloads and provider names hold.
//
// Threads: the free functions may be called from any thread (logging goes through the process-wide
// loggers). A DisplayVector is used by one thread at a time.

#include <cstdint>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "vantrell/Export.h"
#include "vantrell/platform/WinTypes.h"

// A driver's or file's version; the library fills the three members in this order.
struct vr_driver_version_info {
    uint16_t major;
    uint16_t minor;
    uint16_t build;
};

namespace pwr {

// malloc; a failed allocation throws std::bad_alloc. The caller frees with free().
VR_EXPORT void* safeMalloc(unsigned int size);

// Each byte becomes one 16-bit unit as the standard widening of a (signed) char makes it: "\xe9"
// gives u"\xffe9". Nothing is decoded.
VR_EXPORT std::u16string stringToWstring(std::string const& text);

// UTF-16 (or UCS-2) to UTF-8. A lone surrogate throws std::range_error, as the standard converter does.
VR_EXPORT std::string wStringToString(std::u16string const& text);

// The system's text for a status, line end included (platform/OsServices.h tells which words).
VR_EXPORT std::string formatErrorMessage(unsigned long code);

// The version of `file`: major and minor from the high and low words of dwFileVersionMS, build from the
// high word of dwFileVersionLS. False (and `out` unchanged) when the file has no version or can't be
// read, or `file` is null.
VR_EXPORT bool getFileVersion(char16_t const* file, vr_driver_version_info& out);

// `version` is "major.minor build N", with ".UBR" behind when the registry value "UBR" under
// "SOFTWARE\Microsoft\Windows NT\CurrentVersion" can be read; logs at level 3 whether it was found.
// `name` is the Windows release of the version numbers and product type, `type` the product type:
// "NT_WORKTATION" (so spelled), "NT_SERVER" or "NT_DOMAIN_CONTROLLER".
VR_EXPORT void GetOsInfo(_OSVERSIONINFOEXA info, std::string& name, std::string& version, std::string& type);

// The display adapters, each with its first monitor (a zeroed record when it has none), read at
// construction. Copyable.
class VR_EXPORT DisplayVector : public std::vector<std::pair<_DISPLAY_DEVICEA, _DISPLAY_DEVICEA>> {
  public:
    DisplayVector();
    virtual ~DisplayVector();

    // For each pair, the adapter's and the monitor's ID, Key, Name and String, a line each.
    void print(std::ostream& out) const;
    void print() const;

  private:
    void EnumDisplays();
};

}  // namespace pwr
