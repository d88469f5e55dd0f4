// Operating-system facts on Linux: the registry table, uname and /etc/os-release, versions from
// shared-object names, display adapters from /sys/class/drm, and status texts.

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <vector>

#include "platform/PlatformOs.h"
#include "vantrell/platform/OsServices.h"
#include "vantrell/platform/Platform.h"

namespace pwr {
namespace platform {

namespace {

constexpr long kInvalidHandle = 6;
const char* const kCurrentVersionKey = "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";

struct RegistryValue {
    bool isNumber = false;
    uint32_t number = 0;
    std::string text;
};

struct RegistryTable {
    std::mutex lock;
    std::map<std::string, std::map<std::string, RegistryValue>> keys;
    std::map<uint64_t, std::string> open;
    uint64_t nextHandle = 1;
};

RegistryTable& registry() {
    static RegistryTable* table = new RegistryTable;
    return *table;
}

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

// "6.18.44-fc" gives {6, 18, 44}.
std::vector<uint32_t> releaseNumbers(const std::string& release) {
    std::vector<uint32_t> numbers;
    const char* cursor = release.c_str();
    while (std::isdigit(static_cast<unsigned char>(*cursor))) {
        char* end = nullptr;
        numbers.push_back(static_cast<uint32_t>(std::strtoul(cursor, &end, 10)));
        cursor = (*end == '.') ? end + 1 : end;
        if (*end != '.') {
            break;
        }
    }
    return numbers;
}

std::string osReleaseField(const std::string& name) {
    std::ifstream in("/etc/os-release");
    std::string line;
    while (std::getline(in, line)) {
        if (line.compare(0, name.size() + 1, name + "=") == 0) {
            std::string value = line.substr(name.size() + 1);
            if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'')) {
                value = value.substr(1, value.size() - 2);
            }
            return value;
        }
    }
    return "";
}

template <size_t N>
void copyField(char (&field)[N], const std::string& text) {
    size_t length = std::min(text.size(), N - 1);
    std::memcpy(field, text.data(), length);
    field[length] = 0;
}

std::string narrowPath(const std::u16string& file) {
    std::string out;
    for (char16_t unit : file) {
        out.push_back(static_cast<char>(unit & 0xff));
    }
    return out;
}

// The version numbers behind ".so." in the resolved file name; empty when there are none.
std::vector<uint32_t> fileVersionNumbers(const std::u16string& file) {
    std::string path = narrowPath(file);
    char* resolved = path.empty() ? nullptr : realpath(path.c_str(), nullptr);
    if (resolved == nullptr) {
        setLastError(path.empty() ? ENOENT : errno);
        return {};
    }
    std::string name = std::filesystem::path(resolved).filename().string();
    free(resolved);
    size_t at = name.find(".so.");
    std::vector<uint32_t> numbers =
        at == std::string::npos ? std::vector<uint32_t>{} : releaseNumbers(name.substr(at + 4));
    if (numbers.empty()) {
        setLastError(ENODATA);
    }
    return numbers;
}

std::string readLine(const std::filesystem::path& path) {
    std::ifstream in(path);
    std::string line;
    std::getline(in, line);
    return line;
}

std::vector<std::filesystem::path> drmEntries(const std::string& prefix, bool adapters) {
    std::vector<std::filesystem::path> entries;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/sys/class/drm", error)) {
        std::string name = entry.path().filename().string();
        if (name.compare(0, prefix.size(), prefix) != 0) {
            continue;
        }
        std::string rest = name.substr(prefix.size());
        bool isAdapter = !rest.empty() && std::all_of(rest.begin(), rest.end(), ::isdigit);
        if (isAdapter == adapters && (adapters || !rest.empty())) {
            entries.push_back(entry.path());
        }
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

std::string pciId(const std::filesystem::path& device) {
    std::string vendor = readLine(device / "vendor");
    std::string id = readLine(device / "device");
    auto hex = [](std::string text) {
        text = text.compare(0, 2, "0x") == 0 ? text.substr(2) : text;
        std::transform(text.begin(), text.end(), text.begin(),
                       [](unsigned char c) { return std::toupper(c); });
        return text;
    };
    return vendor.empty() ? "" : "PCI\\VEN_" + hex(vendor) + "&DEV_" + hex(id);
}

}  // namespace

long regOpenKey(const std::string& key, uint32_t, uint64_t& handle) {
    RegistryTable& t = registry();
    std::lock_guard<std::mutex> guard(t.lock);
    std::string name = lower(key);
    if (t.keys.count(name) == 0) {
        return static_cast<long>(ERROR_FILE_NOT_FOUND);
    }
    handle = t.nextHandle++;
    t.open[handle] = name;
    return 0;
}

long regQueryDword(uint64_t handle, const std::string& value, uint32_t& data) {
    RegistryTable& t = registry();
    std::lock_guard<std::mutex> guard(t.lock);
    auto key = t.open.find(handle);
    if (key == t.open.end()) {
        return kInvalidHandle;
    }
    const auto& values = t.keys[key->second];
    auto found = values.find(lower(value));
    if (found == values.end()) {
        return static_cast<long>(ERROR_FILE_NOT_FOUND);
    }
    if (!found->second.isNumber) {
        return static_cast<long>(ERROR_UNSUPPORTED_TYPE);
    }
    data = found->second.number;
    return 0;
}

long regCloseKey(uint64_t handle) {
    RegistryTable& t = registry();
    std::lock_guard<std::mutex> guard(t.lock);
    return t.open.erase(handle) == 1 ? 0 : kInvalidHandle;
}

void setRegistryDword(const std::string& key, const std::string& value, uint32_t data) {
    RegistryTable& t = registry();
    std::lock_guard<std::mutex> guard(t.lock);
    RegistryValue& entry = t.keys[lower(key)][lower(value)];
    entry.isNumber = true;
    entry.number = data;
    entry.text.clear();
}

void setRegistryString(const std::string& key, const std::string& value, const std::string& data) {
    RegistryTable& t = registry();
    std::lock_guard<std::mutex> guard(t.lock);
    RegistryValue& entry = t.keys[lower(key)][lower(value)];
    entry.isNumber = false;
    entry.number = 0;
    entry.text = data;
}

void removeRegistryValue(const std::string& key, const std::string& value) {
    RegistryTable& t = registry();
    std::lock_guard<std::mutex> guard(t.lock);
    auto found = t.keys.find(lower(key));
    if (found != t.keys.end()) {
        found->second.erase(lower(value));
    }
}

void clearRegistry() {
    RegistryTable& t = registry();
    std::lock_guard<std::mutex> guard(t.lock);
    t.keys.clear();
}

bool fillRegistryFromHost() {
    utsname host{};
    if (uname(&host) != 0) {
        setLastError(errno);
        return false;
    }
    std::vector<uint32_t> numbers = releaseNumbers(host.release);
    numbers.resize(std::max<size_t>(numbers.size(), 3), 0);
    setRegistryDword(kCurrentVersionKey, "CurrentMajorVersionNumber", numbers[0]);
    setRegistryDword(kCurrentVersionKey, "CurrentMinorVersionNumber", numbers[1]);
    setRegistryString(kCurrentVersionKey, "CurrentBuildNumber", std::to_string(numbers[2]));
    if (numbers.size() > 3) {
        setRegistryDword(kCurrentVersionKey, "UBR", numbers[3]);
    }
    setRegistryString(kCurrentVersionKey, "CurrentVersion", host.release);
    setRegistryString(kCurrentVersionKey, "ProductName", osReleaseField("PRETTY_NAME"));
    setRegistryString(kCurrentVersionKey, "EditionID", osReleaseField("ID"));
    return true;
}

bool getHostVersionInfo(_OSVERSIONINFOEXA& info) {
    utsname host{};
    if (uname(&host) != 0) {
        setLastError(errno);
        return false;
    }
    std::vector<uint32_t> numbers = releaseNumbers(host.release);
    numbers.resize(std::max<size_t>(numbers.size(), 3), 0);
    info = _OSVERSIONINFOEXA{};
    info.dwOSVersionInfoSize = sizeof(_OSVERSIONINFOEXA);
    info.dwMajorVersion = numbers[0];
    info.dwMinorVersion = numbers[1];
    info.dwBuildNumber = numbers[2];
    copyField(info.szCSDVersion, osReleaseField("PRETTY_NAME"));
    info.wProductType = 1;
    return true;
}

unsigned long getFileVersionInfoSize(const std::u16string& file) {
    return fileVersionNumbers(file).empty() ? 0 : sizeof(VS_FIXEDFILEINFO);
}

bool getFileVersionInfo(const std::u16string& file, VS_FIXEDFILEINFO& info) {
    std::vector<uint32_t> numbers = fileVersionNumbers(file);
    if (numbers.empty()) {
        return false;
    }
    numbers.resize(std::max<size_t>(numbers.size(), 4), 0);
    info = VS_FIXEDFILEINFO{};
    info.dwSignature = 0xfeef04bd;
    info.dwFileVersionMS = (numbers[0] & 0xffff) << 16 | (numbers[1] & 0xffff);
    info.dwFileVersionLS = (numbers[2] & 0xffff) << 16 | (numbers[3] & 0xffff);
    info.dwProductVersionMS = info.dwFileVersionMS;
    info.dwProductVersionLS = info.dwFileVersionLS;
    return true;
}

bool enumDisplayDevices(const char* device, uint32_t index, _DISPLAY_DEVICEA& out) {
    bool adapters = device == nullptr;
    std::vector<std::filesystem::path> entries =
        drmEntries(adapters ? "card" : std::string(device) + "-", adapters);
    if (index >= entries.size()) {
        return false;
    }
    const std::filesystem::path& entry = entries[index];
    out = _DISPLAY_DEVICEA{};
    out.cb = sizeof(_DISPLAY_DEVICEA);
    copyField(out.DeviceName, entry.filename().string());
    copyField(out.DeviceKey, entry.string());
    if (adapters) {
        std::error_code error;
        auto driver = std::filesystem::read_symlink(entry / "device" / "driver", error);
        copyField(out.DeviceString, error ? "" : driver.filename().string());
        copyField(out.DeviceID, pciId(entry / "device"));
        out.StateFlags = 1;
    } else {
        std::string status = readLine(entry / "status");
        copyField(out.DeviceString, status);
        copyField(out.DeviceID, entry.filename().string());
        out.StateFlags = status == "connected" ? 1 : 0;
    }
    return true;
}

std::string errorMessageText(unsigned long code) {
    static const std::map<unsigned long, const char*> texts = {
        {ERROR_SUCCESS, "The operation completed successfully."},
        {ERROR_FILE_NOT_FOUND, "The system cannot find the file specified."},
        {ERROR_ACCESS_DENIED, "Access is denied."},
        {ERROR_NOT_ENOUGH_MEMORY, "Not enough memory resources are available to process this command."},
        {ERROR_INVALID_DATA, "The data is invalid."},
        {ERROR_HANDLE_EOF, "Reached the end of the file."},
        {ERROR_NOT_SUPPORTED, "The request is not supported."},
        {ERROR_INVALID_PARAMETER, "The parameter is incorrect."},
        {ERROR_DISK_FULL, "There is not enough space on the disk."},
        {ERROR_INSUFFICIENT_BUFFER, "The data area passed to a system call is too small."},
        {ERROR_MOD_NOT_FOUND, "The specified module could not be found."},
        {ERROR_PROC_NOT_FOUND, "The specified procedure could not be found."},
        {ERROR_ALREADY_EXISTS, "Cannot create a file when that file already exists."},
        {ERROR_MORE_DATA, "More data is available."},
        {ERROR_ARITHMETIC_OVERFLOW, "Arithmetic result exceeded 32 bits."},
        {ERROR_FILE_CORRUPT, "The file or directory is corrupted and unreadable."},
        {ERROR_UNSUPPORTED_TYPE, "Data of this type is not supported."},
        {ERROR_WMI_INSTANCE_NOT_FOUND,
         "The instance name passed was not recognized as valid by a WMI data provider."},
    };
    auto found = texts.find(code);
    std::string text = found != texts.end() ? found->second : os::errorText(static_cast<int>(code));
    return text + "\n";
}

}  // namespace platform
}  // namespace pwr
