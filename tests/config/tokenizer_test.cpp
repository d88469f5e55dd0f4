#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "support/LogCapture.h"
#include "vantrell/config/Tokenizer.h"

namespace {

using pwr::Tokenizer;
using Tokens = std::vector<std::string>;

Tokens drain(Tokenizer& t) {
    Tokens out;
    while (const char* token = t.get_next_token()) {
        out.push_back(token);
    }
    return out;
}

TEST(Tokenizer, RunsOfDelimitersCountAsOne) {
    const std::tuple<const char*, const char*, Tokens> cases[] = {
        {",a,,b,", ",", {"a", "b"}},
        {"SKX_MSR_C6=0x3FD", "_=", {"SKX", "MSR", "C6", "0x3FD"}},
        {"a\377b\376", "\377\376", {"a", "b"}},
        {"no delimiters", "", {"no delimiters"}},
        {"a b", nullptr, {}},
        {"", ",", {}}};
    for (const auto& [text, delims, tokens] : cases) {
        SCOPED_TRACE(text);
        Tokenizer t(text, delims);
        EXPECT_EQ(t.get_all_tokens(), tokens);
        EXPECT_EQ(drain(t), tokens) << "the cursor starts again at the first token";
        EXPECT_EQ(t.get_next_token(), nullptr) << "and stays at the end";
        EXPECT_EQ(t.str_get_next_token(), "");
    }
    EXPECT_THROW(Tokenizer(",,,", ","), std::out_of_range) << "no first token";
}

TEST(Tokenizer, DelimiterSetsInTurnShareOneCursor) {
    Tokenizer t("a b=c d", " ");
    EXPECT_STREQ(t.get_next_token("="), "a b");
    EXPECT_STREQ(t.get_next_token(), "=c") << "the cursor stands on the \"=\", which isn't a blank";
    EXPECT_EQ(t.get_next_token(nullptr), nullptr);
    EXPECT_STREQ(t.get_next_token(" "), "d");
    EXPECT_EQ(t.get_next_token(), nullptr);

    Tokenizer strings("one two three", " ");
    const char* first = strings.get_next_token();
    EXPECT_EQ(strings.str_get_next_token(), "two");
    EXPECT_STREQ(first, "one") << "the string form spares the last token";
    EXPECT_STREQ(strings.get_next_token(), "three");
}

TEST(Tokenizer, AllTokensUnderAnotherSetLeaveTheCursorAlone) {
    static const char kBlank[] = " ";
    Tokenizer t("a,b c,d", kBlank);
    EXPECT_STREQ(t.get_next_token(), "a,b");
    EXPECT_EQ(t.get_all_tokens(", "), (Tokens{"a", "b", "c", "d"}));
    EXPECT_TRUE(t.get_all_tokens(nullptr).empty());
    EXPECT_EQ(t.get_all_tokens(kBlank), (Tokens{"a,b", "c,d"}));
    EXPECT_THROW(t.get_all_tokens("abcd ,"), std::out_of_range);
    EXPECT_STREQ(t.get_next_token(), "c,d");
}

TEST(Tokenizer, CopiesCarryTheCursorAndOwnTheirToken) {
    Tokenizer original("x y z", " ");
    const char* x = original.get_next_token();
    Tokenizer copy = original;
    EXPECT_STREQ(copy.get_next_token(), "y");
    EXPECT_STREQ(x, "x");
    EXPECT_STREQ(original.get_next_token(), "y");
    Tokenizer assigned("other", " ");
    assigned = copy;
    EXPECT_STREQ(assigned.get_next_token(), "z");
}

TEST(GetNextToken, SplitsAtEachDelimiterAndKeepsEmptyTokens) {
    const std::pair<const char*, Tokens> cases[] = {
        {"a,b,", {"a", "b"}}, {"a,,b", {"a", "", "b"}}, {",a", {"", "a"}}, {"abc", {"abc"}}, {",", {""}}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.first);
        std::string rest = c.first;
        std::string token;
        Tokens tokens;
        while (pwr::getNextToken(token, rest, ',', false) == 0) {
            tokens.push_back(token);
        }
        EXPECT_EQ(tokens, c.second);
        EXPECT_EQ(token, c.second.back()) << "a call on an empty rest changes nothing";
    }
    std::string token;
    std::string rest = "x-y-z";
    ASSERT_EQ(pwr::getNextToken(token, rest, '-', true), 0);
    EXPECT_EQ(token + "|" + rest, "x-y|z") << "reverse cuts at the last delimiter";
}

TEST(GetRequiredToken, NeedsExactlyTheExpectedNumberOfTokens) {
    vrtest::ScopedLogCapture capture(2);
    EXPECT_EQ(pwr::get_required_token("a b c", 2, 3, nullptr), "b");
    EXPECT_EQ(pwr::get_required_token("a  b   c", 3, 3, nullptr), "c");
    EXPECT_EQ(pwr::get_required_token("k=v", 1, 2, "="), "k");
    EXPECT_EQ(capture.text(), "");

    const std::tuple<const char*, int, int, const char*> cases[] = {
        {"a b c", 2, 2, "WARNING: invalid # toks = 3 (expected 2)\n"},
        {"", 1, 1, "WARNING: invalid # toks = 0 (expected 1)\n"},
        {"a b c", 4, 3, "WARNING: tok_num = 4, max_num_toks = 3\n"},
        {"a b c", 0, 3, "WARNING: tok_num = 0, max_num_toks = 3\n"},
        {"a", 1, -1, "WARNING: tok_num = 1, max_num_toks = -1\n"}};
    for (const auto& [text, tokNum, maxToks, warning] : cases) {
        SCOPED_TRACE(warning);
        capture.clear();
        EXPECT_EQ(pwr::get_required_token(text, tokNum, maxToks, nullptr), "");
        EXPECT_EQ(capture.debug().text(), warning);
    }
    EXPECT_THROW(pwr::get_required_token("   ", 1, 1, nullptr), std::out_of_range);
}

}  // namespace
