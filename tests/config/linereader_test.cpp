#include <gtest/gtest.h>

#include <cstdio>
#include <deque>
#include <fstream>
#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "vantrell/config/LineReader.h"

namespace {

using pwr::LineReader;
using Lines = std::vector<std::string>;

// An anonymous stream holding `content`, closed when the holder dies.
struct Stream {
    FILE* fp;
    explicit Stream(const std::string& content) : fp(std::tmpfile()) {
        std::fwrite(content.data(), 1, content.size(), fp);
        std::rewind(fp);
    }
    ~Stream() { std::fclose(fp); }
};

TEST(LineReader, GetlineReadsLinesOfAnyLengthAcrossChunks) {
    for (size_t length : {0u, 1u, 1022u, 1023u, 1024u, 1025u, 2047u, 300000u}) {
        SCOPED_TRACE(length);
        std::string body(length, 'a');
        Stream in(body + "\n" + body + "z");
        std::string line = "stale";
        EXPECT_EQ(LineReader::getline(in.fp, line, false), static_cast<int>(length + 1));
        EXPECT_EQ(line, body + "\n");
        EXPECT_EQ(LineReader::getline(in.fp, line, false), static_cast<int>(length + 1));
        EXPECT_EQ(line, body + "z");
        EXPECT_EQ(LineReader::getline(in.fp, line, false), 0);
        EXPECT_EQ(line, "");
    }
    Stream in(std::string("  a\0b \t\r\n\t\n", 11));
    std::string line;
    EXPECT_EQ(LineReader::getline(in.fp, line, true), 3);
    EXPECT_EQ(line, std::string("a\0b", 3)) << "trimmed, and a NUL byte neither cuts nor ends the line";
    EXPECT_EQ(LineReader::getline(in.fp, line, true), 2);
    EXPECT_EQ(line, "\t\n") << "a line of blanks is left as it is by the in-place trim";
}

TEST(LineReader, GetlineFailures) {
    vrtest::ScopedLogCapture capture(2);
    std::string line = "kept";
    EXPECT_EQ(LineReader::getline(nullptr, line, false), -1);
    EXPECT_EQ(capture.debug().text(), "WARNING: NULL fp in pwr::LineReader::getline:200!\n");
    EXPECT_EQ(line, "kept");

    // A stream open for writing only fails to read without being at its end.
    std::string path = ::testing::TempDir() + "linereader_writeonly";
    FILE* fp = std::fopen(path.c_str(), "w");
    ASSERT_NE(fp, nullptr);
    EXPECT_EQ(LineReader::getline(fp, line, false), -1);
    Lines lines;
    LineReader::get_all_lines(fp, lines);  // ends rather than spins
    EXPECT_TRUE(lines.empty());
    std::fclose(fp);
}

TEST(LineReader, NamedFileDropsEmptyLinesAndTrimsNothing) {
    std::string longLine(100000, 'x');
    std::string path = ::testing::TempDir() + "linereader_named";
    std::ofstream(path, std::ios::binary) << "first\n\n  second \r\n\n" + longLine + "\nlast";
    Lines lines = {"earlier"};
    LineReader::get_all_lines(path.c_str(), lines, true);
    EXPECT_EQ(lines, (Lines{"earlier", "first", "  second \r", longLine, "last"}));
    std::deque<std::string> deque;
    LineReader::get_all_lines(path.c_str(), deque, true);
    EXPECT_EQ(Lines(deque.begin(), deque.end()), Lines(lines.begin() + 1, lines.end()));

    vrtest::ScopedLogCapture capture(1);
    std::string missing = ::testing::TempDir() + "linereader_does_not_exist";
    LineReader::get_all_lines(missing.c_str(), lines, false);
    LineReader::get_all_lines(static_cast<const char*>(nullptr), lines, true);
    EXPECT_EQ(capture.text(), "") << "silent without complain, and for a null path";
    LineReader::get_all_lines(missing.c_str(), deque, true);
    EXPECT_EQ(capture.debug().text(), "1ERROR: could NOT open file " + missing + "!\n");
    EXPECT_EQ(lines.size(), 5u);
}

TEST(LineReader, StreamKeepsEveryLineInItsPlace) {
    // The blank line stays, untrimmed since it is all blank; the closing newline adds an empty line.
    const std::pair<const char*, Lines> cases[] = {
        {"a \n\nb\t\n", {"a", "\n", "b", ""}}, {"a\nb", {"a", "b"}}, {"", {""}}};
    for (const auto& [content, expected] : cases) {
        SCOPED_TRACE(content);
        Stream in(content);
        std::deque<std::string> lines = {"earlier"};
        LineReader::get_all_lines(in.fp, lines);
        EXPECT_EQ(Lines(lines.begin() + 1, lines.end()), expected);
    }
    Lines lines;
    LineReader::get_all_lines(static_cast<FILE*>(nullptr), lines);
    EXPECT_TRUE(lines.empty());
}

TEST(LineReader, TrimFormsDifferOnlyOnAllBlankTextAndStripRemovesEachOccurrence) {
    const char* const cases[][3] = {
        {"  a b  ", "a b", "a b"}, {"\r\t\nx\n\t\r", "x", "x"}, {"", "", ""},
        {"   ", "", "   "},        {" \r\n\t", "", " \r\n\t"},  {"\va\f", "\va\f", "\va\f"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c[0]);
        const std::string in = c[0];
        EXPECT_EQ(LineReader::trim(in), c[1]);
        std::string s = in;
        LineReader::trim(s);
        EXPECT_EQ(s, c[2]);
    }
    std::string s = "\"a\"b\"\"c\"";
    LineReader::strip(s, '"');
    EXPECT_EQ(s, "abc");
}

}  // namespace
