#include <gtest/gtest.h>

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <deque>
#include <regex>
#include <string>

#include "support/LogCapture.h"
#include "vantrell/support/PwUtils.h"

namespace {

using pwr::PathOps;
using pwr::StringOps;

// A fresh directory whose name has a blank and non-ASCII bytes, removed with all it holds.
class TempDir : public ::testing::Test {
  protected:
    void SetUp() override {
        char pattern[] = "/tmp/vr pw \xc3\xa9t\xc3\xa9-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        root = pattern;
    }
    void TearDown() override { std::system(("rm -rf '" + root + "'").c_str()); }
    static bool exists(const std::string& path) {
        struct stat info {};
        return stat(path.c_str(), &info) == 0;
    }
    std::string root;
};

TEST(PathOps, SeparatorsAndFileNames) {
    EXPECT_EQ(PathOps::getPathSeparator(), "\\");
    EXPECT_EQ(PathOps::normalizePathSeparator("a/b\\c/"), "a\\b\\c\\");
    EXPECT_EQ(pwr::getDosPath("/x/y"), "\\x\\y");
    const std::pair<const char*, const char*> names[] = {
        {"a/b", "b"}, {"a/", ""}, {"a", ""}, {"c:\\dir\\f g.txt", "f g.txt"}, {"", ""}};
    for (const auto& [path, name] : names) {
        EXPECT_EQ(PathOps::getFilenameFromPath(path), name) << path;
    }
}

TEST(StringOps, ReplaceFindAndContain) {
    std::string text = "a-b_c d";
    EXPECT_EQ(&StringOps::replaceChars(text, {'-', '_'}, '.'), &text);
    EXPECT_EQ(text, "a.b.c d");
    EXPECT_EQ(StringOps::getSubString("abc", "z"), "abc");
    EXPECT_EQ(StringOps::getSubString("abc", "b"), "bc");
    EXPECT_TRUE(StringOps::containsAny("power", {"x", "we"}));
    EXPECT_FALSE(StringOps::containsAny("power", {"x", "y"}));
    EXPECT_FALSE(StringOps::containsAny("power", {}));
    EXPECT_EQ(pwr::getMetricTag("cpu core freq"), "CPU-CORE-FREQ");
    EXPECT_EQ(pwr::getUpperCaseString("aZ9\xe9"), "AZ9\xe9") << "bytes above ASCII stay";
}

TEST(CStrings, StrndupAndStrncpyNeverOverrun) {
    char* copy = pwr::vr_strndup("ab\0cd", 5);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(std::string(copy, 6), std::string("ab\0cd\0", 6)) << "copies past a NUL and ends with one";
    std::free(copy);
    EXPECT_EQ(pwr::vr_strndup(nullptr, 3), nullptr);

    char buffer[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(pw_strncpy(buffer, "abcdef", sizeof(buffer)), buffer);
    EXPECT_STREQ(buffer, "abc");
    pw_strncpy(buffer, nullptr, sizeof(buffer));
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(pw_strncpy(buffer, "abc", 0), buffer);
    EXPECT_EQ(pw_snprintf(nullptr, 0, "%d-%s", 42, "x"), 4) << "measures";
}

TEST(CStrings, ErrorTextAndEnvironment) {
    vrtest::ScopedLogCapture log(2);
    char text[64];
    pwr::pw_strerror(ENOENT, text, sizeof(text));
    EXPECT_STREQ(text, "No such file or directory");
    pwr::pw_strerror(ENOENT, text, 3);
    EXPECT_STREQ(text, "No");
    pwr::pw_strerror(ENOENT, nullptr, 0);
    EXPECT_EQ(log.text(), "WARNING: strerror_s failed to get description of previous error\n");

    setenv("VR_PW_TEST", "value", 1);
    size_t length = 0;
    pwr::pw_getenv(&length, text, sizeof(text), "VR_PW_TEST");
    EXPECT_EQ(length, 6u);
    EXPECT_STREQ(text, "value");
    pwr::pw_getenv(&length, text, 3, "VR_PW_TEST");
    EXPECT_EQ(length, 6u) << "tells the size needed";
    EXPECT_STREQ(text, "") << "and gives no cut-off value";
    pwr::pw_getenv(&length, text, sizeof(text), "VR_PW_TEST_UNSET");
    EXPECT_EQ(length, 0u);
}

TEST_F(TempDir, MkpathMakesTheDirectoriesButNotTheFile) {
    vrtest::ScopedLogCapture log(2);
    EXPECT_EQ(pwr::mkpath(root + "/logs/out/file.txt"), 0);
    EXPECT_TRUE(pwr::isDir(root + "/logs/out"));
    EXPECT_FALSE(exists(root + "/logs/out/file.txt"));
    EXPECT_EQ(pwr::mkpath(root + "\\logs\\out\\deeper\\"), 0) << "existing directories are no error";
    EXPECT_TRUE(pwr::isDir(root + "/logs/out/deeper"));
    EXPECT_EQ(pwr::mkpath("file.txt"), 0);
    EXPECT_EQ(log.text(), "");

    // The drive isn't made: with no "C:" here its first directory can't be made either.
    char* previous = getcwd(nullptr, 0);
    ASSERT_EQ(chdir(root.c_str()), 0);
    EXPECT_EQ(pwr::mkpath("C:/drive/x.txt"), -1);
    EXPECT_EQ(chdir(previous), 0);
    std::free(previous);
    EXPECT_FALSE(exists(root + "/C:"));
    EXPECT_EQ(log.text(),
              "WARNING: CreateDirectoryA returned error: -1, Last Error: " + std::to_string(ENOENT) + "\n");
    log.clear();

    FILE* blocker = std::fopen((root + "/plain").c_str(), "w");
    std::fclose(blocker);
    EXPECT_EQ(pwr::mkpath(root + "/plain/sub/f"), -1) << "a file stands where a directory must go";
    EXPECT_EQ(log.text(),
              "WARNING: CreateDirectoryA returned error: -1, Last Error: " + std::to_string(ENOTDIR) + "\n");
}

TEST_F(TempDir, OpenFileHandleCreatesFoldersOnlyForWriting) {
    vrtest::ScopedLogCapture log(2);
    const std::string path = root + "/new dir/\xe2\x82\xac.txt";
    FILE* file = nullptr;
    EXPECT_FALSE(pwr::openFileHandle(&file, path.c_str(), "x"));
    EXPECT_FALSE(pwr::isDir(root + "/new dir"));
    log.clear();

    EXPECT_FALSE(pwr::openFileHandle(&file, path.c_str(), "r")) << "reading makes no folders";
    EXPECT_EQ(file, nullptr);
    EXPECT_EQ(log.text(),
              "WARNING: Failed to open file: " + path + ", errnum: 2, error: No such file or directory\n");
    log.clear();

    ASSERT_TRUE(pwr::openFileHandle(&file, path.c_str(), "w"));
    std::fputs("x", file);
    std::fclose(file);
    ASSERT_TRUE(pwr::openFileHandle(&file, path.c_str(), "a"));
    std::fclose(file);
    EXPECT_TRUE(pwr::pw_fileExists(path.c_str()));
    EXPECT_FALSE(pwr::pw_fileExists((root + "/none").c_str()));
    EXPECT_FALSE(pwr::isDir(path)) << "a file";
    EXPECT_EQ(log.text(), "");
    EXPECT_FALSE(pwr::isDir(root + "/none"));
    EXPECT_EQ(log.text(),
              "WARNING: stat error in isDir for file " + root + "/none: No such file or directory\n");
}

TEST_F(TempDir, PwOpenGivesADescriptorOrOne) {
    vrtest::ScopedLogCapture log(2);
    int fd = -1;
    EXPECT_EQ(pwr::pw_open(fd, (root + "/d f").c_str(), O_CREAT | O_WRONLY), 0);
    ASSERT_GE(fd, 0);
    close(fd);
    struct stat info {};
    ASSERT_EQ(stat((root + "/d f").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, static_cast<unsigned>(S_IRUSR | S_IWUSR));
    EXPECT_EQ(pwr::pw_open(fd, (root + "/no/such").c_str(), O_RDONLY), 1);
    EXPECT_EQ(log.text(), "WARNING: Failed to open file: " + root +
                              "/no/such, errnum: 2, error: No such file or directory\n");
}

TEST_F(TempDir, GlobStripsQuotesAndExpandsPatterns) {
    vrtest::ScopedLogCapture log(4);
    for (const char* name : {"/a 1.log", "/a 2.log", "/b.txt"}) {
        std::fclose(std::fopen((root + name).c_str(), "w"));
    }
    std::deque<std::string> paths;
    EXPECT_TRUE(pwr::doGlob("\"" + root + "/b.txt\"", paths));
    EXPECT_EQ(paths, std::deque<std::string>{root + "/b.txt"});
    EXPECT_EQ(log.text(), "Glob: original path = \"" + root + "/b.txt\", trimmed path = " + root + "/b.txt");

    log.clear();
    paths.clear();
    EXPECT_TRUE(pwr::doGlob(root + "/a*.log", paths));
    EXPECT_EQ(paths, (std::deque<std::string>{root + "/a 1.log", root + "/a 2.log"}));
    EXPECT_EQ(log.debug().messages().back(), "Glob is executing command: ls 2>/dev/null " + root + "/a*.log");

    paths.clear();
    EXPECT_TRUE(pwr::doGlob(root + "/[z]*", paths)) << "no match is no error";
    EXPECT_TRUE(paths.empty());
    EXPECT_FALSE(pwr::doGlob("\"\"", paths));
    EXPECT_TRUE(paths.empty());
}

TEST(Timer, ReportsToTheLogAndToTheCaller) {
    vrtest::ScopedLogCapture log(4);
    double elapsed = -1;
    {
        pwr::Timer named("the scope");
        pwr::Timer measured(&elapsed);
        usleep(2000);
    }
    EXPECT_GE(elapsed, 1500.0);
    EXPECT_LT(elapsed, 2e6);
    EXPECT_EQ(log.text().rfind("INFO: Total time elapsed during the scope = ", 0), 0u) << log.text();
    EXPECT_TRUE(std::regex_search(log.text(), std::regex(R"( usecs or [0-9]+\.[0-9]{2} secs\n$)")))
        << log.text();
}

}  // namespace
