// Operating-system facts in the record's words: versions, names, error texts, displays, and the
// 8-bit/16-bit text conversions.

#include "vantrell/support/OsInfo.h"

#include <cstdlib>
#include <iostream>
#include <new>
#include <stdexcept>

#include "vantrell/platform/OsServices.h"
#include "vantrell/plugin/Logging.h"
#include "vantrell/support/Registry.h"

namespace pwr {

namespace {

std::string windowsName(const _OSVERSIONINFOEXA& info) {
    bool workstation = info.wProductType == 1;
    if (info.dwMajorVersion == 10) {
        return workstation ? "Windows 10" : "Windows Server 2016 Technical Preview";
    }
    if (info.dwMajorVersion != 6) {
        return "Windows Unsupported";
    }
    switch (info.dwMinorVersion) {
        case 0:
            return workstation ? "Windows Vista" : "Windows Server 2008";
        case 1:
            return workstation ? "Windows 7" : "Windows Server 2008 R2";
        case 2:
            return workstation ? "Windows 8" : "Windows Server 2012";
        case 3:
            return workstation ? "Windows 8.1" : "Windows Server 2012 R2";
        default:
            return "Windows Unsupported";
    }
}

std::string productType(uint8_t type) {
    if (type == 1) {
        return "NT_WORKTATION";
    }
    return type == 3 ? "NT_SERVER" : "NT_DOMAIN_CONTROLLER";
}

void appendUtf8(std::string& out, uint32_t code) {
    if (code < 0x80) {
        out.push_back(static_cast<char>(code));
    } else if (code < 0x800) {
        out.push_back(static_cast<char>(0xc0 | (code >> 6)));
        out.push_back(static_cast<char>(0x80 | (code & 0x3f)));
    } else if (code < 0x10000) {
        out.push_back(static_cast<char>(0xe0 | (code >> 12)));
        out.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3f)));
        out.push_back(static_cast<char>(0x80 | (code & 0x3f)));
    } else {
        out.push_back(static_cast<char>(0xf0 | (code >> 18)));
        out.push_back(static_cast<char>(0x80 | ((code >> 12) & 0x3f)));
        out.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3f)));
        out.push_back(static_cast<char>(0x80 | (code & 0x3f)));
    }
}

void printDevice(std::ostream& out, const _DISPLAY_DEVICEA& device) {
    out << "    Device ID: " << device.DeviceID << "\n"
        << "    Device Key: " << device.DeviceKey << "\n"
        << "    Device Name: " << device.DeviceName << "\n"
        << "    Device String: " << device.DeviceString << "\n";
}

}  // namespace

void* safeMalloc(unsigned int size) {
    void* block = std::malloc(size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

std::u16string stringToWstring(std::string const& text) {
    std::u16string wide;
    wide.reserve(text.size());
    for (char c : text) {
        wide.push_back(static_cast<char16_t>(static_cast<int16_t>(static_cast<signed char>(c))));
    }
    return wide;
}

std::string wStringToString(std::u16string const& text) {
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        uint32_t unit = text[i];
        if (unit >= 0xd800 && unit <= 0xdbff && i + 1 < text.size() && text[i + 1] >= 0xdc00 &&
            text[i + 1] <= 0xdfff) {
            unit = 0x10000 + ((unit - 0xd800) << 10) + (text[i + 1] - 0xdc00u);
            ++i;
        } else if (unit >= 0xd800 && unit <= 0xdfff) {
            throw std::range_error("wstring_convert::to_bytes");
        }
        appendUtf8(out, unit);
    }
    return out;
}

std::string formatErrorMessage(unsigned long code) {
    return platform::errorMessageText(code);
}

bool getFileVersion(char16_t const* file, vr_driver_version_info& out) {
    if (file == nullptr) {
        return false;
    }
    std::u16string path(file);
    unsigned long size = platform::getFileVersionInfoSize(path);
    if (size == 0) {
        return false;
    }
    VS_FIXEDFILEINFO info{};
    if (!platform::getFileVersionInfo(path, info)) {
        return false;
    }
    out.major = static_cast<uint16_t>(info.dwFileVersionMS >> 16);
    out.minor = static_cast<uint16_t>(info.dwFileVersionMS & 0xffff);
    out.build = static_cast<uint16_t>(info.dwFileVersionLS >> 16);
    return true;
}

void GetOsInfo(_OSVERSIONINFOEXA info, std::string& name, std::string& version, std::string& type) {
    version = std::to_string(info.dwMajorVersion) + "." + std::to_string(info.dwMinorVersion) + " build " +
              std::to_string(info.dwBuildNumber);
    unsigned long long revision = 0;
    if (Registry::RegReadDword("SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion", "UBR", revision)) {
        VR_LOG(3,
               "DEBUG: Found registry key for the updated build revision and including in the osVersion.\n");
        version += "." + std::to_string(revision);
    } else {
        VR_LOG(3, "DEBUG: Did not find the registry key for the updated build revision.\n");
    }
    name = windowsName(info);
    type = productType(info.wProductType);
}

DisplayVector::DisplayVector() {
    EnumDisplays();
}

DisplayVector::~DisplayVector() = default;

void DisplayVector::EnumDisplays() {
    _DISPLAY_DEVICEA adapter{};
    adapter.cb = sizeof(adapter);
    for (uint32_t index = 0; platform::enumDisplayDevices(nullptr, index, adapter); ++index) {
        _DISPLAY_DEVICEA monitor{};
        monitor.cb = sizeof(monitor);
        if (!platform::enumDisplayDevices(adapter.DeviceName, 0, monitor)) {
            monitor = _DISPLAY_DEVICEA{};
        }
        emplace_back(adapter, monitor);
    }
}

void DisplayVector::print(std::ostream& out) const {
    for (const auto& pair : *this) {
        out << "Display Adapter properties:\n";
        printDevice(out, pair.first);
        out << "Active Display properties:\n";
        printDevice(out, pair.second);
    }
}

void DisplayVector::print() const {
    print(std::cout);
}

}  // namespace pwr
