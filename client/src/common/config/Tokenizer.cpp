#include "vantrell/config/Tokenizer.h"

#include <cstring>
#include <stdexcept>

#include "vantrell/plugin/Logging.h"

namespace pwr {
namespace {

constexpr size_t npos = std::string::npos;

// Tells delimiters in one lookup per character. Built for each search; configuration is read once, so
// no cache is kept.
class DelimiterTable {
  public:
    explicit DelimiterTable(char const* delims) {
        for (char const* d = delims; *d != '\0'; ++d) {
            isDelimiter[static_cast<unsigned char>(*d)] = true;
        }
    }
    bool contains(char c) const { return isDelimiter[static_cast<unsigned char>(c)]; }

  private:
    bool isDelimiter[256] = {};
};

// The first position at or behind `from` whose character is (`wanted` true) or isn't a delimiter.
size_t findFrom(std::string const& text, DelimiterTable const& table, size_t from, bool wanted) {
    for (size_t i = from; i < text.size(); ++i) {
        if (table.contains(text[i]) == wanted) {
            return i;
        }
    }
    return npos;
}

std::vector<std::string> walk(std::string const& text, char const* delims) {
    std::vector<std::string> found;
    if (delims == nullptr || text.empty()) {
        return found;
    }
    DelimiterTable table(delims);
    size_t start = findFrom(text, table, 0, false);
    if (start == npos) {
        throw std::out_of_range("pwr::Tokenizer: text holds no token");
    }
    size_t end = findFrom(text, table, start, true);
    while (start != npos) {
        found.push_back(text.substr(start, end == npos ? npos : end - start));
        start = end == npos ? npos : findFrom(text, table, end, false);
        end = start == npos ? npos : findFrom(text, table, start, true);
    }
    return found;
}

std::unique_ptr<char[]> copyToken(char const* begin, size_t length) {
    std::unique_ptr<char[]> copy(new char[length + 1]);
    std::memcpy(copy.get(), begin, length);
    copy[length] = '\0';
    return copy;
}

}  // namespace

Tokenizer::Tokenizer(std::string const& textIn, char const* delimsIn)
    : text(textIn), delims(delimsIn), tokens(walk(text, delims)) {}

// The copy starts without a token of its own: a pointer that `other` handed out stays `other`'s.
Tokenizer::Tokenizer(Tokenizer const& other)
    : text(other.text),
      delims(other.delims),
      tokenStart(other.tokenStart),
      tokenEnd(other.tokenEnd),
      tokens(other.tokens) {}

Tokenizer& Tokenizer::operator=(Tokenizer const& other) {
    if (this != &other) {
        Tokenizer copy(other);
        *this = std::move(copy);
    }
    return *this;
}

bool Tokenizer::advance_i(char const* set) const {
    if (set == nullptr || text.empty()) {
        return false;
    }
    DelimiterTable table(set);
    tokenStart = findFrom(text, table, tokenEnd, false);
    tokenEnd = tokenStart == npos ? npos : findFrom(text, table, tokenStart, true);
    return tokenStart != npos;
}

char const* Tokenizer::get_next_token() {
    return get_next_token(delims);
}

char const* Tokenizer::get_next_token(char const* set) {
    lastToken.reset();
    if (!advance_i(set)) {
        return nullptr;
    }
    size_t length = (tokenEnd == npos ? text.size() : tokenEnd) - tokenStart;
    lastToken = copyToken(text.data() + tokenStart, length);
    return lastToken.get();
}

std::string Tokenizer::str_get_next_token() const {
    if (!advance_i(delims)) {
        return std::string();
    }
    return text.substr(tokenStart, tokenEnd == npos ? npos : tokenEnd - tokenStart);
}

std::vector<std::string> Tokenizer::get_all_tokens(char const* set) const {
    if (set == delims || text.empty()) {
        return tokens;
    }
    // The walk keeps positions of its own, so the caller's get_next_token sequence goes on undisturbed.
    return walk(text, set);
}

int getNextToken(std::string& token, std::string& rest, char delim, bool reverse) {
    if (rest.empty()) {
        return -1;
    }
    size_t at = reverse ? rest.rfind(delim) : rest.find(delim);
    if (at == npos) {
        token = rest;
        rest.clear();
        return 0;
    }
    token = rest.substr(0, at);
    rest.erase(0, at + 1);
    return 0;
}

std::string get_required_token(std::string text, int tok_num, int max_num_toks, char const* delims) {
    Tokenizer tokenizer(text, delims != nullptr ? delims : " ");
    if (tok_num > max_num_toks || tok_num < 1) {
        VR_LOG(2, "WARNING: tok_num = %d, max_num_toks = %d\n", tok_num, max_num_toks);
        return std::string();
    }
    std::vector<std::string> const& tokens = tokenizer.get_all_tokens();
    if (tokens.size() != static_cast<size_t>(max_num_toks)) {
        VR_LOG(2, "WARNING: invalid # toks = %lu (expected %lu)\n", static_cast<unsigned long>(tokens.size()),
               static_cast<unsigned long>(max_num_toks));
        return std::string();
    }
    return tokens[static_cast<size_t>(tok_num - 1)];
}

}  // namespace pwr
