#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <utility>

#include "support/LogCapture.h"
#include "vantrell/config/TextHelpers.h"

namespace {

TEST(IsNumber, DecimalHexadecimalAndFullStops) {
    const std::pair<const char*, bool> cases[] = {
        {"", false},    {"-", false},    {"0", true},      {"-42", true},  {"0x", false},   {"0X", false},
        {"0xfF", true}, {"0x1g", false}, {"-0x10", false}, {"1.2", true},  {"1.2.3", true}, {".", true},
        {"-.", true},   {"12a", false},  {" 1", false},    {"--1", false}, {"+1", false},   {"x10", false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.first);
        EXPECT_EQ(pwr::isNumber(c.first), c.second);
    }
    EXPECT_FALSE(pwr::isNumber(std::string("1\0002", 3)));
}

TEST(ExtractNumber, LeadingZeroOrXMeansHexadecimal) {
    const unsigned long kMax = 0xFFFFFFFF;  // 32 bits whatever the width of unsigned long
    const std::pair<const char*, unsigned long> cases[] = {{"123", 123},
                                                           {"0123", 0x123},
                                                           {"0X1f", 31},
                                                           {"x10", 0},
                                                           {"", 0},
                                                           {" 7", 7},
                                                           // Saturation and wrap-around happen in 32 bits.
                                                           {"0xFFFFFFFF", kMax},
                                                           {"4294967296", kMax},
                                                           {"99999999999999999999", kMax},
                                                           {"-5", 0xFFFFFFFB},
                                                           {"-4294967296", kMax}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.first);
        EXPECT_EQ(pwr::extract_number_i(c.first), c.second);
    }
}

TEST(UniqueNames, CountPerNameFromZero) {
    // Names that no other test uses: the table lives for the whole process.
    EXPECT_EQ(pwr::getUniqueIDFor("unique-names-test-a"), 0);
    EXPECT_EQ(pwr::getUniqueIDFor("unique-names-test-a"), 1);
    EXPECT_EQ(pwr::getUniqueIDFor("unique-names-test-b"), 0);
    EXPECT_EQ(pwr::getUniqueName("unique-names-test-a"), "unique-names-test-a-2") << "one counter for both";
}

TEST(ExtractDirAndFile, CutsAtTheLastSlash) {
    const char* const cases[][3] = {{"file.txt", "./", "file.txt"}, {"a/b/c.txt", "a/b/", "c.txt"},
                                    {"/c.txt", "/", "c.txt"},       {"a/b/", "a/b/", ""},
                                    {"a\\b", "./", "a\\b"},         {"", "./", ""}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c[0]);
        std::string dir = "stale";
        std::string file = "stale";
        pwr::extract_dir_and_file_from_path(c[0], dir, file);
        EXPECT_EQ(dir, c[1]);
        EXPECT_EQ(file, c[2]);
    }
}

TEST(CheckEnv, OnlyASingleYesLetterCounts) {
    const char* name = "VR_CHECK_ENV_TEST_VARIABLE";
    ::unsetenv(name);
    EXPECT_FALSE(pwr::check_env(name));
    const std::pair<const char*, bool> cases[] = {{"y", true},  {"Y", true}, {"yes", false},
                                                  {"n", false}, {"", false}, {" y", false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.first);
        ::setenv(name, c.first, 1);
        EXPECT_EQ(pwr::check_env(name), c.second);
    }
    ::unsetenv(name);

    vrtest::ScopedLogCapture capture(2);
    EXPECT_FALSE(pwr::check_env(nullptr));
    EXPECT_EQ(capture.debug().text(), "WARNING: NULL name passed to check_env!\n");
}

}  // namespace
