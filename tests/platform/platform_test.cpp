#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

#include "vantrell/platform/Platform.h"

namespace {

namespace fs = std::filesystem;
namespace platform = pwr::platform;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

TEST(Platform, PathFormsAndPerThreadLastError) {
    EXPECT_EQ(platform::toStoredPath("/opt/vantrell/bin"), "\\opt\\vantrell\\bin");
    EXPECT_EQ(platform::toNativePath("\\opt\\vantrell\\bin\\"), "/opt/vantrell/bin/");
    platform::setLastError(ENOENT);
    std::string otherThread;
    std::thread([&otherThread] { otherThread = platform::getLastErrorText(); }).join();
    EXPECT_EQ(otherThread, "Success");
    EXPECT_EQ(platform::getLastErrorText(), "No such file or directory");
}

TEST(Platform, ModulePathHookFailureLeavesThePathAlone) {
    platform::ModulePathHook previous = platform::setModulePathHook([](std::string&) {
        platform::setLastError(EIO);
        return false;
    });
    std::string path = "unchanged";
    EXPECT_FALSE(platform::getModuleFileName(path));
    EXPECT_EQ(path, "unchanged");
    EXPECT_EQ(platform::getLastErrorText(), "Input/output error");
    platform::setModulePathHook(previous);
    ASSERT_TRUE(platform::getModuleFileName(path));
    EXPECT_EQ(path, platform::toStoredPath(fs::read_symlink("/proc/self/exe").string()));
}

TEST(Platform, OpensLibrariesAndFailsInTheLoadersWords) {
    void* libm = platform::openLibrary("libm.so.6");
    ASSERT_NE(libm, nullptr) << platform::getLastErrorText();
    auto cosine = reinterpret_cast<double (*)(double)>(platform::findSymbol(libm, "cos"));
    ASSERT_NE(cosine, nullptr);
    EXPECT_EQ(cosine(0.0), 1.0);
    EXPECT_EQ(platform::findSymbol(libm, "vr_no_such_symbol"), nullptr);
    EXPECT_THAT(platform::getLastErrorText(), HasSubstr("vr_no_such_symbol"));
    EXPECT_TRUE(platform::closeLibrary(libm));

    EXPECT_EQ(platform::openLibrary("libvr-missing-library.so"), nullptr);
    EXPECT_THAT(
        platform::getLastErrorText(),
        HasSubstr("libvr-missing-library.so: cannot open shared object file: No such file or directory"));
    const std::function<bool()> refusals[] = {[] { return platform::openLibrary("") == nullptr; },
                                              [] { return platform::findSymbol(nullptr, "cos") == nullptr; },
                                              [] { return !platform::closeLibrary(nullptr); }};
    for (const auto& refused : refusals) {
        platform::setLastError(0);
        EXPECT_TRUE(refused());
        EXPECT_EQ(platform::getLastErrorText(), "Invalid argument");
    }
}

// Two plug-in directories in a fresh temporary place: "good" holds a link to the real libm under the
// name "libvrpick.so", "bad" a text file of that name.
TEST(Platform, BareNamesAreFoundInTheSearchPathInOrder) {
    fs::path root = fs::path(::testing::TempDir()) / ("vr_platform_test_" + std::to_string(getpid()));
    fs::create_directories(root / "good");
    fs::create_directories(root / "bad");
    Dl_info info{};
    ASSERT_NE(dladdr(reinterpret_cast<void*>(&::cos), &info), 0);
    fs::create_symlink(fs::canonical(info.dli_fname), root / "good" / "libvrpick.so");
    std::ofstream(root / "bad" / "libvrpick.so") << "not a library\n";
    auto stored = [&root](const char* leaf) { return platform::toStoredPath((root / leaf).string()); };
    auto wide = [](const std::string& text) { return std::u16string(text.begin(), text.end()); };

    platform::resetLibrarySearchPath();
    EXPECT_EQ(platform::openLibrary("libvrpick.so"), nullptr);  // nowhere yet
    ASSERT_TRUE(platform::addLibraryDirectory(wide(stored("good"))));
    ASSERT_TRUE(platform::addLibraryDirectory(wide(stored("good") + "\\")));
    ASSERT_TRUE(platform::addLibraryDirectory(wide(stored("good"))));
    EXPECT_THAT(platform::getAddedLibraryDirectories(),
                ElementsAre((root / "good").string(), (root / "good/").string()));
    void* found = platform::openLibrary("libvrpick.so");
    ASSERT_NE(found, nullptr) << platform::getLastErrorText();
    EXPECT_NE(platform::findSymbol(found, "cos"), nullptr);
    EXPECT_TRUE(platform::closeLibrary(found));

    // The library directory comes first: a broken file there is the failure, in the loader's words.
    platform::setLibraryDirectory(stored("bad"));
    EXPECT_EQ(platform::openLibrary("libvrpick.so"), nullptr);
    EXPECT_THAT(platform::getLastErrorText(), HasSubstr((root / "bad" / "libvrpick.so").string()));
    // A name with a separator is opened as it stands.
    void* direct = platform::openLibrary(stored("good") + "\\libvrpick.so");
    ASSERT_NE(direct, nullptr) << platform::getLastErrorText();
    EXPECT_TRUE(platform::closeLibrary(direct));

    for (const std::u16string& refused : {std::u16string(), std::u16string(u"\\opt\\\u0100")}) {
        platform::setLastError(0);
        EXPECT_FALSE(platform::addLibraryDirectory(refused)) << "empty, or not one byte per unit";
        EXPECT_EQ(platform::getLastErrorText(), "Invalid argument");
    }
    EXPECT_EQ(platform::getAddedLibraryDirectories().size(), 2u);
    platform::resetLibrarySearchPath();
    EXPECT_TRUE(platform::getAddedLibraryDirectories().empty());
    EXPECT_EQ(platform::getLibraryDirectory(), "");
    fs::remove_all(root);
}

}  // namespace
