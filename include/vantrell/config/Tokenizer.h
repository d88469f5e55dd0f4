#pragma once

// Cutting text into tokens: the Tokenizer, over a set of delimiter characters, and the two free
// splitters that the configuration grammars use. Text is a byte string; nothing is converted.
//
// Two rules of emptiness differ on purpose:
//   Tokenizer     any delimiter of the set ends a token and a run of them counts as one separator, so
//                 empty tokens never occur ("," on ",a,,b," gives "a" and "b");
//   getNextToken  one delimiter character, and two in a row give an empty token, which the caller
//                 refuses if it must ("a,,b" gives "a", "", "b").
//
// A Tokenizer owns a copy of its text and the copy of the token handed out last; it borrows its
// delimiter set, which the caller keeps alive for the Tokenizer's whole life. Copying one copies the
// cursor and the tokens. One thread per Tokenizer.

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "vantrell/Export.h"

namespace pwr {

class VR_EXPORT Tokenizer {
  public:
    // Finds every token of `text` under `delims` (a NUL-terminated set of characters) and puts the cursor
    // at the start. A null `delims` or an empty `text` gives no tokens.
    // Precondition: a non-empty text holds at least one non-delimiter. A text made only of delimiters has
    // no first token and throws std::out_of_range; callers tokenise only text they know to hold a token.
    Tokenizer(std::string const& text, char const* delims);
    Tokenizer(Tokenizer const& other);
    Tokenizer& operator=(Tokenizer const& other);
    Tokenizer(Tokenizer&& other) noexcept = default;
    Tokenizer& operator=(Tokenizer&& other) noexcept = default;
    ~Tokenizer() = default;

    // The next token under the constructor's delimiters, or null at the end. The pointer stays valid
    // until the next call of either get_next_token, or until the Tokenizer dies.
    char const* get_next_token();
    // The same with `delims` for this call only. All calls share one cursor, so a caller may take a
    // first token with one set and the next with another. Null for a null `delims`.
    char const* get_next_token(char const* delims);
    // The next token under the constructor's delimiters as a string, empty at the end. Moves the cursor
    // like get_next_token, and leaves a pointer handed out earlier valid.
    std::string str_get_next_token() const;

    // The tokens found at construction.
    std::vector<std::string> const& get_all_tokens() const { return tokens; }
    // The tokens of the text under another set, leaving the cursor alone. The constructor's own set
    // (the same pointer) or an empty text gives a copy of the stored tokens; a null `delims` gives none.
    // Throws std::out_of_range, like the constructor, for a text made only of `delims`.
    std::vector<std::string> get_all_tokens(char const* delims) const;

  private:
    // Moves the cursor to the next token under `delims` and reports whether one was found.
    bool advance_i(char const* delims) const;

    std::string text;
    char const* delims;
    // Start of the current token and the position just behind it, from which the next search starts.
    mutable size_t tokenStart = 0;
    mutable size_t tokenEnd = 0;
    std::vector<std::string> tokens;
    std::unique_ptr<char[]> lastToken;
};

// Splits `rest` at `delim`: its first occurrence, or its last with `reverse`. `token` takes what stands
// before the delimiter and `rest` what stands behind it; with no delimiter `token` takes all of `rest`
// and `rest` becomes empty. Returns 0, or -1 with nothing changed when `rest` is empty. So a trailing
// delimiter yields nothing further, and two in a row yield an empty token.
VR_EXPORT int getNextToken(std::string& token, std::string& rest, char delim, bool reverse);

// The token at place `tok_num`, counted from 1, of `text` cut by a Tokenizer over `delims` (a single
// blank when null), which must give exactly `max_num_toks` tokens. Otherwise the result is empty and
// a warning is logged: "WARNING: tok_num = %d, max_num_toks = %d\n" when `tok_num` exceeds
// `max_num_toks` or is below 1, else "WARNING: invalid # toks = %lu (expected %lu)\n".
// Throws std::out_of_range for a non-empty text made only of delimiters, as the Tokenizer does.
VR_EXPORT std::string get_required_token(std::string text, int tok_num, int max_num_toks, char const* delims);

}  // namespace pwr
