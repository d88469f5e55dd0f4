#pragma once

// The platform seam's operating-system facts: a registry that answers from a key-value table, the
// version of the running system, file versions, the display adapters and the texts of error statuses.
//
// The registry. Linux has none: the seam keeps one process-wide table of keys under the machine hive,
// each with named values (4-byte numbers or texts). Tests and the host fill it; fillRegistryFromHost
// puts in what uname and /etc/os-release tell. Keys and value names compare without regard to case,
// as the Windows registry's do.
//
// Threads: every function may be called from any thread; the table is guarded by a lock.

#include <cstdint>
#include <string>

#include "vantrell/Export.h"
#include "vantrell/platform/WinTypes.h"

namespace pwr {
namespace platform {

// ---- Registry ---------------------------------------------------------------------------------------

// RegOpenKeyExA under the machine hive: 0 with `handle` set, or 2 for a key that isn't there.
VR_EXPORT long regOpenKey(const std::string& key, uint32_t access, uint64_t& handle);
// RegQueryValueExA of a 4-byte number: 0 with `data` set, 2 for a missing value, 1630 for a value of
// another type, 6 for a handle that isn't open.
VR_EXPORT long regQueryDword(uint64_t handle, const std::string& value, uint32_t& data);
// RegCloseKey: 0, or 6 for a handle that isn't open.
VR_EXPORT long regCloseKey(uint64_t handle);

// Fill and empty the table. Setting a value makes its key.
VR_EXPORT void setRegistryDword(const std::string& key, const std::string& value, uint32_t data);
VR_EXPORT void setRegistryString(const std::string& key, const std::string& value, const std::string& data);
VR_EXPORT void removeRegistryValue(const std::string& key, const std::string& value);
VR_EXPORT void clearRegistry();

// Fills "SOFTWARE\Microsoft\Windows NT\CurrentVersion" from the host: CurrentMajorVersionNumber,
// CurrentMinorVersionNumber and, when the kernel release has a fourth number, UBR (numbers);
// CurrentBuildNumber, CurrentVersion (the kernel release), ProductName (PRETTY_NAME) and EditionID (ID)
// (texts). Returns false when uname fails.
VR_EXPORT bool fillRegistryFromHost();

// ---- Versions -------------------------------------------------------------------------------------------

// The running system as an _OSVERSIONINFOEXA: kernel release "6.18.44-..." gives major 6, minor 18,
// build 44; szCSDVersion holds PRETTY_NAME of /etc/os-release (cut to the field's 127 characters);
// wProductType is 1 (workstation). False when uname fails.
VR_EXPORT bool getHostVersionInfo(_OSVERSIONINFOEXA& info);

// The version resource of a file, Linux style: the numbers behind ".so." in the name of the file the
// path resolves to ("libfoo.so.1.2.3" is 1.2.3.0). Size 0 (and false) when the file is missing or
// carries no version; the last error says which.
VR_EXPORT unsigned long getFileVersionInfoSize(const std::u16string& file);
VR_EXPORT bool getFileVersionInfo(const std::u16string& file, VS_FIXEDFILEINFO& info);

// ---- Displays -------------------------------------------------------------------------------------------

// EnumDisplayDevicesA over /sys/class/drm. With a null `device`, the `index`-th adapter ("card0":
// DeviceString its driver, DeviceID "PCI\VEN_xxxx&DEV_xxxx", DeviceKey its sysfs directory); with an
// adapter's DeviceName, its `index`-th connector (DeviceString its status). False past the last.
// Texts longer than a field are cut to it.
VR_EXPORT bool enumDisplayDevices(const char* device, uint32_t index, _DISPLAY_DEVICEA& out);

// ---- Error texts ----------------------------------------------------------------------------------------

// The text of a status of the seam's services, the way FormatMessageA gives it: a sentence with a line
// end. Windows statuses that the seam answers with (2, 5, 8, 13, 38, 50, 87, 112, 122, 126, 127, 183, 234,
// 534, 1392, 1630, 4201 and 0) have their own words; any other code gets the system's text of that
// error number.
VR_EXPORT std::string errorMessageText(unsigned long code);

}  // namespace platform
}  // namespace pwr
