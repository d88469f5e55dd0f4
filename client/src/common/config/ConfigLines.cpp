#include "config/ConfigLines.h"

#include <memory>
#include <utility>

#include "vantrell/config/LineReader.h"
#include "vantrell/plugin/Logging.h"

namespace pwr {
namespace config_lines {
namespace {

struct FileCloser {
    void operator()(FILE* fp) const { std::fclose(fp); }
};

// State 0 tests for "=", states 1 to 4 cut at "_", state 5 at "=", state 6 takes the rest.
int tokenize_i(int state, std::string& rest, Tokens& tokens) {
    if (state == 0) {
        if (rest.find('=') == std::string::npos) {
            return -1;
        }
        tokens.clear();
        return tokenize_i(1, rest, tokens);
    }
    if (state == 6) {
        tokens.push_back(rest);
        return 0;
    }
    const size_t cut = rest.find(state == 5 ? '=' : '_');
    if (cut == std::string::npos) {
        return -1;
    }
    tokens.emplace_back(rest, 0, cut);
    rest.erase(0, cut + 1);
    return tokenize_i(state + 1, rest, tokens);
}

}  // namespace

int tokenize(std::string const& line, Tokens& tokens) {
    std::string rest = line;
    return tokenize_i(0, rest, tokens);
}

int forEachLine(FILE* fp, std::function<int(Tokens const&, std::string const&)> const& onLine) {
    std::string raw;
    Tokens tokens;
    for (;;) {
        const int length = LineReader::getline(fp, raw, false);
        if (length < 0) {
            // A stream that can't be read (a directory, a failing device) is no configuration.
            return -1;
        }
        if (length == 0) {
            return 0;
        }
        const size_t comment = raw.find('#');
        if (comment != std::string::npos) {
            raw.erase(comment);
        }
        const std::string line = LineReader::trim(std::as_const(raw));
        if (line.empty()) {
            continue;
        }
        if (tokenize(line, tokens) != 0 || tokens.size() != 6) {
            throw std::string("ERROR parsing line ") + line;
        }
        if (onLine(tokens, line) != 0) {
            return -1;
        }
    }
}

int parseFile(std::string const& file, std::function<int(FILE*)> const& parseStream) {
    std::unique_ptr<FILE, FileCloser> fp(std::fopen(file.c_str(), "r"));
    if (!fp) {
        std::fprintf(stderr, "Error opening config file %s\n", file.c_str());
        return -1;
    }
    int result;
    try {
        result = parseStream(fp.get());
    } catch (std::string const& text) {
        VR_LOG_STREAM(1) << "EXCEPTION CAUGHT:" << text << std::endl;
        result = -1;
    }
    if (result != 0) {
        std::fprintf(stderr, "ERROR parsing config file %s\n", file.c_str());
        return -1;
    }
    return 0;
}

}  // namespace config_lines
}  // namespace pwr
