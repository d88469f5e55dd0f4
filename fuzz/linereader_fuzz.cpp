// Line reading and tokenising over arbitrary bytes: no crash, no over-read, and the results agree with
// simple reference splitters.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "vantrell/config/LineReader.h"
#include "vantrell/config/TextHelpers.h"
#include "vantrell/config/Tokenizer.h"

#include "FuzzSupport.h"

namespace {

using vrfuzz::check;

bool isIn(char c, const std::string& set) {
    return c != '\0' && set.find(c) != std::string::npos;
}

std::vector<std::string> referenceSplit(const std::string& text, const std::string& set) {
    std::vector<std::string> out;
    std::string current;
    for (char c : text) {
        if (isIn(c, set)) {
            if (!current.empty())
                out.push_back(current);
            current.clear();
        } else {
            current += c;
        }
    }
    if (!current.empty())
        out.push_back(current);
    return out;
}

void tokenizeLine(const std::string& line, const std::string& set) {
    std::vector<std::string> expected = referenceSplit(line, set);
    bool allDelimiters = !line.empty() && expected.empty();
    try {
        pwr::Tokenizer tokenizer(line, set.c_str());
        check(!allDelimiters, "a text of delimiters only must throw");
        check(tokenizer.get_all_tokens() == expected, "tokens differ from the reference");
        std::vector<std::string> drained;
        while (const char* token = tokenizer.get_next_token()) {
            drained.push_back(token);
        }
        // get_next_token hands out C strings, which end at a NUL inside a token.
        check(drained.size() == expected.size(), "get_next_token count differs");
        pwr::Tokenizer copy = tokenizer;
        check(copy.get_next_token() == nullptr, "a copy keeps the cursor at the end");
        (void)pwr::get_required_token(line, 1, static_cast<int>(expected.size()), set.c_str());
    } catch (const std::out_of_range&) {
        check(allDelimiters, "only a text of delimiters may throw");
    }
}

void splitLine(const std::string& line, char delim, bool reverse) {
    std::string rest = line;
    std::string token;
    std::string rebuilt;
    size_t pieces = 0;
    // Either way each call cuts `rest` into what stands before a delimiter and what stands behind it,
    // so the pieces in order, joined by the delimiter, give the text back.
    while (pwr::getNextToken(token, rest, delim, reverse) == 0) {
        rebuilt = pieces == 0 ? token : rebuilt + delim + token;
        ++pieces;
        check(pieces <= line.size() + 1, "getNextToken doesn't end");
        check(!reverse || pieces <= 2, "a reverse split has at most two pieces");
    }
    // A trailing delimiter yields no last empty piece.
    check(rebuilt == line || rebuilt + delim == line, "getNextToken lost bytes");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    vrfuzz::installEnvironment();
    if (size == 0) {
        return 0;
    }
    // The first byte chooses the delimiters; the rest is the text.
    const std::string delimiterChoices[] = {" ", ",", "_=", " \t,=", "x", "\n", "\xff", ""};
    const std::string& set = delimiterChoices[data[0] % 8];
    const char splitDelim = set.empty() ? ',' : set[0];
    std::string text(reinterpret_cast<const char*>(data + 1), size - 1);

    FILE* fp = fmemopen(text.empty() ? nullptr : &text[0], text.size(), "r");
    if (fp == nullptr) {
        fp = std::tmpfile();
    }
    std::vector<std::string> lines;
    std::string line;
    std::string joined;
    int length;
    while ((length = pwr::LineReader::getline(fp, line, false)) > 0) {
        check(static_cast<size_t>(length) == line.size(), "getline length differs");
        joined += line;
    }
    check(joined == text, "getline lost or changed bytes");
    std::rewind(fp);
    pwr::LineReader::get_all_lines(fp, lines);
    std::fclose(fp);

    for (std::string& each : lines) {
        std::string copied = pwr::LineReader::trim(static_cast<const std::string&>(each));
        check(copied.empty() || (!isIn(copied.front(), " \r\t\n") && !isIn(copied.back(), " \r\t\n")),
              "trim left a blank at an end");
        tokenizeLine(each, set);
        splitLine(each, splitDelim, data[0] & 0x80);
        (void)pwr::isNumber(copied);
        (void)pwr::extract_number_i(copied);
        pwr::LineReader::strip(each, splitDelim);
        check(each.find(splitDelim) == std::string::npos, "strip left the character");
    }
    return 0;
}
