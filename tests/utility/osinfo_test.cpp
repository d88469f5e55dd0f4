// Operating-system facts: names and versions, the registry table, file versions, texts.

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/utsname.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "support/LogCapture.h"
#include "vantrell/platform/OsServices.h"
#include "vantrell/support/OsInfo.h"
#include "vantrell/support/Registry.h"

namespace {

namespace platform = pwr::platform;
const char* const kCurrentVersion = "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";

_OSVERSIONINFOEXA version(uint32_t major, uint32_t minor, uint8_t product) {
    _OSVERSIONINFOEXA info{};
    info.dwMajorVersion = major;
    info.dwMinorVersion = minor;
    info.dwBuildNumber = 19041;
    info.wProductType = product;
    return info;
}

TEST(OsInfo, NamesAndTypesFollowTheVersionTable) {
    struct Case {
        uint32_t major, minor;
        uint8_t product;
        const char* name;
        const char* type;
    } cases[] = {{10, 0, 1, "Windows 10", "NT_WORKTATION"},
                 {10, 5, 3, "Windows Server 2016 Technical Preview", "NT_SERVER"},
                 {6, 0, 1, "Windows Vista", "NT_WORKTATION"},
                 {6, 0, 2, "Windows Server 2008", "NT_DOMAIN_CONTROLLER"},
                 {6, 1, 1, "Windows 7", "NT_WORKTATION"},
                 {6, 1, 3, "Windows Server 2008 R2", "NT_SERVER"},
                 {6, 2, 1, "Windows 8", "NT_WORKTATION"},
                 {6, 2, 3, "Windows Server 2012", "NT_SERVER"},
                 {6, 3, 1, "Windows 8.1", "NT_WORKTATION"},
                 {6, 3, 3, "Windows Server 2012 R2", "NT_SERVER"},
                 {6, 4, 1, "Windows Unsupported", "NT_WORKTATION"},
                 {5, 1, 3, "Windows Unsupported", "NT_SERVER"},
                 {11, 0, 0, "Windows Unsupported", "NT_DOMAIN_CONTROLLER"}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::string name, text, type;
        pwr::GetOsInfo(version(c.major, c.minor, c.product), name, text, type);
        EXPECT_EQ(name, c.name);
        EXPECT_EQ(type, c.type);
    }
}

TEST(OsInfo, VersionTakesTheBuildRevisionFromTheRegistry) {
    platform::clearRegistry();
    vrtest::ScopedLogCapture capture(3);
    std::string name, text, type;
    pwr::GetOsInfo(version(10, 0, 1), name, text, type);
    EXPECT_EQ(text, "10.0 build 19041");
    EXPECT_EQ(capture.text(), "DEBUG: Did not find the registry key for the updated build revision.\n");

    capture.clear();
    platform::setRegistryDword(kCurrentVersion, "UBR", 1000);
    pwr::GetOsInfo(version(10, 0, 1), name, text, type);
    EXPECT_EQ(text, "10.0 build 19041.1000");
    EXPECT_EQ(capture.text(),
              "DEBUG: Found registry key for the updated build revision and including in the osVersion.\n");
    platform::clearRegistry();
}

TEST(Registry, ReadsNumbersOnlyAndClosesWhatItOpened) {
    platform::clearRegistry();
    platform::setRegistryDword("SOFTWARE\\Vantrell", "Level", 7);
    platform::setRegistryString("SOFTWARE\\Vantrell", "Name", "seven");
    unsigned long long out = 99;
    EXPECT_TRUE(pwr::Registry::RegReadDword("software\\VANTRELL", "level", out));  // no case in names
    EXPECT_EQ(out, 7u);
    out = 99;
    EXPECT_FALSE(pwr::Registry::RegReadDword("SOFTWARE\\Vantrell", "Name", out));
    EXPECT_FALSE(pwr::Registry::RegReadDword("SOFTWARE\\Vantrell", "Missing", out));
    EXPECT_FALSE(pwr::Registry::RegReadDword("SOFTWARE\\Other", "Level", out));
    EXPECT_EQ(out, 99u);
    uint64_t handle = 0;
    ASSERT_EQ(platform::regOpenKey("SOFTWARE\\Vantrell", 1, handle), 0);
    EXPECT_EQ(platform::regCloseKey(handle), 0);
    EXPECT_EQ(platform::regCloseKey(handle), 6);  // closed once only
    platform::clearRegistry();

    EXPECT_EQ(pwr::Registry::NormalizeRegKey("HKLM\\SOFTWARE\\Vantrell", "SOFTWARE"), "SOFTWARE\\Vantrell");
    EXPECT_EQ(pwr::Registry::NormalizeRegKey("HKLM\\SOFTWARE", "SYSTEM"), "HKLM\\SOFTWARE");
    EXPECT_FALSE(pwr::Registry::RegError(0));
    EXPECT_TRUE(pwr::Registry::RegError(2));
}

TEST(Registry, HostFactsComeFromUname) {
    platform::clearRegistry();
    ASSERT_TRUE(platform::fillRegistryFromHost());
    utsname host{};
    ASSERT_EQ(uname(&host), 0);
    unsigned long long major = 0;
    ASSERT_TRUE(pwr::Registry::RegReadDword(kCurrentVersion, "CurrentMajorVersionNumber", major));
    EXPECT_EQ(std::to_string(major),
              std::string(host.release).substr(0, std::string(host.release).find('.')));
    _OSVERSIONINFOEXA info{};
    ASSERT_TRUE(platform::getHostVersionInfo(info));
    EXPECT_EQ(info.dwMajorVersion, major);
    EXPECT_EQ(info.wProductType, 1);
    platform::clearRegistry();
}

TEST(OsInfo, TextConversions) {
    EXPECT_EQ(pwr::stringToWstring("a\xe9"), (std::u16string{u'a', 0xffe9}));
    EXPECT_EQ(pwr::stringToWstring(""), u"");
    EXPECT_EQ(pwr::wStringToString(u"h\u00e9\u20ac\U0001F600"), "h\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80");
    EXPECT_THROW(pwr::wStringToString(std::u16string{u'a', 0xd800}), std::range_error);
    EXPECT_THROW(pwr::wStringToString(std::u16string{0xdc00, u'a'}), std::range_error);

    EXPECT_EQ(pwr::formatErrorMessage(183), "Cannot create a file when that file already exists.\n");
    EXPECT_EQ(pwr::formatErrorMessage(0), "The operation completed successfully.\n");
    void* block = pwr::safeMalloc(16);
    EXPECT_NE(block, nullptr);
    free(block);
}

TEST(OsInfo, FileVersionFromTheSharedObjectName) {
    std::filesystem::path dir =
        std::filesystem::temp_directory_path() / ("vr_osinfo_" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    std::ofstream(dir / "libdemo.so.3.14.159") << "x";
    std::filesystem::create_symlink(dir / "libdemo.so.3.14.159", dir / "libdemo.so");
    std::ofstream(dir / "plain.txt") << "x";

    vr_driver_version_info out{1, 1, 1};
    EXPECT_TRUE(pwr::getFileVersion(pwr::stringToWstring((dir / "libdemo.so").string()).c_str(), out));
    EXPECT_EQ(out.major, 3);
    EXPECT_EQ(out.minor, 14);
    EXPECT_EQ(out.build, 159);
    vr_driver_version_info untouched{1, 2, 3};
    for (const std::string& path : {(dir / "plain.txt").string(), (dir / "missing.so.1").string()}) {
        SCOPED_TRACE(path);
        EXPECT_FALSE(pwr::getFileVersion(pwr::stringToWstring(path).c_str(), untouched));
        EXPECT_EQ(untouched.major, 1);
    }
    EXPECT_FALSE(pwr::getFileVersion(nullptr, untouched));
    std::filesystem::remove_all(dir);
}

TEST(OsInfo, DisplayVectorPrintsTenLinesPerPair) {
    pwr::DisplayVector displays;
    std::ostringstream out;
    displays.print(out);
    std::string text = out.str();
    EXPECT_EQ(static_cast<size_t>(std::count(text.begin(), text.end(), '\n')), 10 * displays.size());
    for (const auto& pair : displays) {
        EXPECT_NE(text.find(std::string("    Device Name: ") + pair.first.DeviceName + "\n"),
                  std::string::npos);
    }
}

}  // namespace
