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

std::string writeFile(const std::string& name, const std::string& content) {
    std::string path = ::testing::TempDir() + "linereader_" + name;
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
    return path;
}

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
    std::string path = writeFile("writeonly", "");
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
    std::string path = writeFile("named", "first\n\n  second \r\n\n" + longLine + "\nlast");
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
    EXPECT_EQ(deque.size(), 4u);
}

TEST(LineReader, StreamKeepsEveryLineInItsPlace) {
    struct Case {
        const char* content;
        Lines lines;
    };
    const Case cases[] = {
        // The blank line stays, untrimmed since it is all blank; the closing newline adds an empty line.
        {"a \n\nb\t\n", {"a", "\n", "b", ""}},
        {"a\nb", {"a", "b"}},
        {"", {""}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.content);
        Stream in(c.content);
        Lines lines;
        LineReader::get_all_lines(in.fp, lines);
        EXPECT_EQ(lines, c.lines);
        Stream again(c.content);
        std::deque<std::string> deque = {"earlier"};
        LineReader::get_all_lines(again.fp, deque);
        EXPECT_EQ(Lines(deque.begin() + 1, deque.end()), c.lines);
    }
    Lines lines;
    LineReader::get_all_lines(static_cast<FILE*>(nullptr), lines);
    EXPECT_TRUE(lines.empty());
}

TEST(LineReader, TrimFormsDifferOnlyOnAllBlankTextAndStripRemovesEachOccurrence) {
    struct Case {
        std::string in, copied, inPlace;
    };
    const Case cases[] = {
        {"  a b  ", "a b", "a b"}, {"\r\t\nx\n\t\r", "x", "x"}, {"", "", ""},
        {"   ", "", "   "},        {" \r\n\t", "", " \r\n\t"},  {"\va\f", "\va\f", "\va\f"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.in);
        EXPECT_EQ(LineReader::trim(static_cast<const std::string&>(c.in)), c.copied);
        std::string s = c.in;
        LineReader::trim(s);
        EXPECT_EQ(s, c.inPlace);
    }
    std::string s = "\"a\"b\"\"c\"";
    LineReader::strip(s, '"');
    EXPECT_EQ(s, "abc");
    LineReader::strip(s, 'z');
    EXPECT_EQ(s, "abc");
}

}  // namespace
