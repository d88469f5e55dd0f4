// Output configuration files are written by users. Any bytes: the parse ends with 0 or -1, reading
// the same bytes again answers the same, and after a successful parse every table line of the
// platform ALL is found by the queries with its key set and its table type in the metric's order.

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <deque>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "vantrell/config/LineReader.h"
#include "vantrell/record/SystemMetadata.h"
#include "vantrell/writer/WriterInterfaceConfigFileParser.h"

namespace {

struct Answers {
    int status = 0;
    std::deque<std::string> features;
    std::deque<std::string> prefixes;
    bool operator==(Answers const& other) const {
        return status == other.status && features == other.features && prefixes == other.prefixes;
    }
};

Answers parseOnce(std::string const& path) {
    static const pwr::SystemMetadata machine;
    auto& parser = *pwr::WriterInterfaceConfigFileParser::instance();
    Answers answers;
    answers.status = parser.parse({path}, machine);
    parser.getFeatureOrder(answers.features);
    parser.getAllFeaturePrefixes(answers.prefixes);
    return answers;
}

// The six tokens of a table line of platform ALL, split as the language splits; false for anything else.
bool tableLine(std::string raw, std::vector<std::string>& tokens) {
    raw = raw.substr(0, raw.find('#'));
    std::string line = pwr::LineReader::trim(static_cast<std::string const&>(raw));
    tokens.clear();
    for (int i = 0; i < 5; ++i) {
        const size_t cut = line.find(i < 4 ? '_' : '=');
        if (cut == std::string::npos) {
            return false;
        }
        tokens.push_back(line.substr(0, cut));
        line.erase(0, cut + 1);
    }
    return tokens[0] == "ALL" && tokens[1] != "OUTPUT-ORDER" && tokens[2] != "TAG";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    vrfuzz::installEnvironment();
    static const std::string path = "/tmp/vr-outputconfig-fuzz-" + std::to_string(getpid()) + ".cfg";
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;

    const Answers first = parseOnce(path);
    vrfuzz::check(first.status == 0 || first.status == -1, "status is 0 or -1");
    if (first.status == 0) {
        auto& parser = *pwr::WriterInterfaceConfigFileParser::instance();
        std::istringstream lines(text);
        std::string raw;
        std::vector<std::string> tokens;
        while (std::getline(lines, raw)) {
            if (!tableLine(raw, tokens)) {
                continue;
            }
            pwr::TableInfo info;
            vrfuzz::check(parser.getTableInfoFor(info, tokens[2], tokens[1], tokens[3]),
                          "a table line is found");
            vrfuzz::check(info.isKeySet(tokens[4]), "its key is set");
            std::deque<std::string> order;
            vrfuzz::check(parser.getTableOrderForMetric(order, tokens[2], tokens[1]),
                          "the metric has an order");
            vrfuzz::check(std::find(order.begin(), order.end(), tokens[3]) != order.end(),
                          "the table type is in the order");
        }
    }
    vrfuzz::check(parseOnce(path) == first, "the same bytes give the same answers");
    return 0;
}
