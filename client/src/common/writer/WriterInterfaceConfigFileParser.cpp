// The output configuration language: its rules, its store and its queries. The lexical layer (comments,
// trimming, the six-token split, the file-level failure words) is the collection configuration's.

#include "vantrell/writer/WriterInterfaceConfigFileParser.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <set>
#include <unordered_map>
#include <utility>

#include "config/ConfigLines.h"
#include "vantrell/config/LineReader.h"
#include "vantrell/config/Tokenizer.h"
#include "vantrell/plugin/Logging.h"

namespace pwr {
namespace {

constexpr char kArea[] = "output-config-parser";
const char* const kTableKeys[] = {"TITLE",           "TABLE",  "TRANSPOSE",  "PRE-TABLE-TEXT",
                                  "POST-TABLE-TEXT", "STATES", "ATTRIBUTES", "SUPPRESS-TOTAL"};

using Tokens = config_lines::Tokens;

// The store of one parse, and the rules that fill it.
class OutputConfigEngine {
  public:
    int parseFile(std::string const& file);
    bool check() const;

    std::map<std::string, std::map<std::string, TableInfo>> tables;
    std::unordered_map<std::string, std::deque<std::string>> tableOrder;
    std::unordered_map<std::string, std::deque<std::string>> metricOrder;
    std::deque<std::string> featureOrder;
    std::deque<std::string> featurePrefixes;

  private:
    using Rule = int (OutputConfigEngine::*)(Tokens const&, size_t&);

    int parseLine_i(Tokens const& tokens, std::string const& line);
    int call_i(Rule rule, char const* name, Tokens const& tokens, size_t& currToken);
    static bool match(Tokens const& tokens, size_t& currToken, char const* keyword);
    static int appendList_i(std::string const& text, std::deque<std::string>& out);

    int platformRule(Tokens const& tokens, size_t& currToken);
    int platformHead(Tokens const& tokens, size_t& currToken);
    int platformTail(Tokens const& tokens, size_t& currToken);
    int platformSub(Tokens const& tokens, size_t& currToken);
    int featureOrderRule(Tokens const& tokens, size_t& currToken);
    int featureOrderValue(Tokens const& tokens, size_t& currToken);
    int metricRule(Tokens const& tokens, size_t& currToken);
    int prefixRule(Tokens const& tokens, size_t& currToken);
    int tag(Tokens const& tokens, size_t& currToken);
    int metricOrderRule(Tokens const& tokens, size_t& currToken);
    int metricOrderValue(Tokens const& tokens, size_t& currToken);
    int tagSub(Tokens const& tokens, size_t& currToken);
    int value(Tokens const& tokens, size_t& currToken);

    // The line in hand.
    std::string platformName;
    std::string platformHeadName;
    std::string platformTailName;
    std::string prefix;
    std::string metricName;
    std::string tableType;
    std::string tableKey;
    std::string fullKey;
};

std::unique_ptr<OutputConfigEngine>& engine() {
    static std::unique_ptr<OutputConfigEngine> current;
    return current;
}

// ---- Files and lines ------------------------------------------------------------------------------

int OutputConfigEngine::parseFile(std::string const& file) {
    return config_lines::parseFile(file, [this](FILE* fp) {
        return config_lines::forEachLine(
            fp, [this](Tokens const& tokens, std::string const& line) { return parseLine_i(tokens, line); });
    });
}

int OutputConfigEngine::parseLine_i(Tokens const& tokens, std::string const& line) {
    platformName.clear();
    platformHeadName.clear();
    platformTailName.clear();
    prefix.clear();
    metricName.clear();
    tableType.clear();
    tableKey.clear();
    fullKey.clear();
    size_t currToken = 0;
    if (call_i(&OutputConfigEngine::platformRule, "platformRule", tokens, currToken) != 0) {
        VR_LOG_STREAM(1) << "ERROR parsing line " << line << std::endl;
        return -1;
    }
    return 0;
}

int OutputConfigEngine::call_i(Rule rule, char const* name, Tokens const& tokens, size_t& currToken) {
    if ((this->*rule)(tokens, currToken) == 0) {
        return 0;
    }
    VR_LOG_AREA(2, kArea, "WARNING: ERROR calling function \"%s\"\n", name);
    return -1;
}

bool OutputConfigEngine::match(Tokens const& tokens, size_t& currToken, char const* keyword) {
    if (currToken < tokens.size() && tokens[currToken] == keyword) {
        ++currToken;
        return true;
    }
    return false;
}

// Appends the trimmed pieces of a comma list; an empty piece fails.
int OutputConfigEngine::appendList_i(std::string const& text, std::deque<std::string>& out) {
    std::string rest = text;
    std::string piece;
    while (getNextToken(piece, rest, ',', false) == 0) {
        piece = LineReader::trim(std::as_const(piece));
        if (piece.empty()) {
            return -1;
        }
        out.push_back(piece);
    }
    return 0;
}

// ---- Rules ----------------------------------------------------------------------------------------

int OutputConfigEngine::platformRule(Tokens const& tokens, size_t& currToken) {
    if (call_i(&OutputConfigEngine::platformHead, "platformHead", tokens, currToken) != 0 ||
        call_i(&OutputConfigEngine::platformTail, "platformTail", tokens, currToken) != 0) {
        return -1;
    }
    ++currToken;
    fullKey = platformName;
    return call_i(&OutputConfigEngine::platformSub, "platformSub", tokens, currToken);
}

// T0 is cut at its last dash; no platform tree is built here.
int OutputConfigEngine::platformHead(Tokens const& tokens, size_t& currToken) {
    std::string rest = tokens[currToken];
    if (getNextToken(platformHeadName, rest, '-', true) != 0 || platformHeadName.empty()) {
        return -1;
    }
    platformTailName = rest;
    platformName = platformHeadName;
    return 0;
}

int OutputConfigEngine::platformTail(Tokens const&, size_t&) {
    if (!platformTailName.empty()) {
        platformName += "-" + platformTailName;
    }
    return 0;
}

int OutputConfigEngine::platformSub(Tokens const& tokens, size_t& currToken) {
    if (tokens[currToken] == "OUTPUT-ORDER") {
        return call_i(&OutputConfigEngine::featureOrderRule, "featureOrderRule", tokens, currToken);
    }
    return call_i(&OutputConfigEngine::metricRule, "metricRule", tokens, currToken);
}

int OutputConfigEngine::featureOrderRule(Tokens const& tokens, size_t& currToken) {
    if (!match(tokens, currToken, "OUTPUT-ORDER") || !match(tokens, currToken, "TAG") ||
        !match(tokens, currToken, "FEATURE") || !match(tokens, currToken, "ORDER")) {
        return -1;
    }
    return call_i(&OutputConfigEngine::featureOrderValue, "featureOrderValue", tokens, currToken);
}

int OutputConfigEngine::featureOrderValue(Tokens const& tokens, size_t& currToken) {
    const std::string text = LineReader::trim(tokens[currToken++]);
    VR_LOG_AREA(4, kArea, "INFO: Prefix %s, value %s\n", prefix.c_str(), text.c_str());
    return appendList_i(text, featureOrder);
}

int OutputConfigEngine::metricRule(Tokens const& tokens, size_t& currToken) {
    if (call_i(&OutputConfigEngine::prefixRule, "prefixRule", tokens, currToken) != 0) {
        return -1;
    }
    return call_i(&OutputConfigEngine::tag, "tag", tokens, currToken);
}

int OutputConfigEngine::prefixRule(Tokens const& tokens, size_t& currToken) {
    prefix = tokens[currToken++];
    fullKey += "_" + prefix;
    return 0;
}

int OutputConfigEngine::tag(Tokens const& tokens, size_t& currToken) {
    const std::string& word = tokens[currToken];
    if (word == "TAG") {
        return call_i(&OutputConfigEngine::metricOrderRule, "metricOrderRule", tokens, currToken);
    }
    if (word.empty()) {
        return -1;
    }
    metricName = word;
    fullKey += "_" + metricName;
    ++currToken;
    return call_i(&OutputConfigEngine::tagSub, "tagSub", tokens, currToken);
}

int OutputConfigEngine::metricOrderRule(Tokens const& tokens, size_t& currToken) {
    if (!match(tokens, currToken, "TAG") || !match(tokens, currToken, "TABLE") ||
        !match(tokens, currToken, "ORDER")) {
        return -1;
    }
    return call_i(&OutputConfigEngine::metricOrderValue, "metricOrderValue", tokens, currToken);
}

int OutputConfigEngine::metricOrderValue(Tokens const& tokens, size_t& currToken) {
    const std::string text = LineReader::trim(tokens[currToken++]);
    VR_LOG_AREA(4, kArea, "INFO: Feature prefix %s, value %s\n", prefix.c_str(), text.c_str());
    return appendList_i(text, metricOrder[prefix]);
}

int OutputConfigEngine::tagSub(Tokens const& tokens, size_t& currToken) {
    tableType = tokens[currToken++];
    tableKey = tokens[currToken++];
    VR_LOG(4, "INFO: key %s, table-type %s, value %s\n", fullKey.c_str(), tableType.c_str(),
           tableKey.c_str());
    if (std::find(std::begin(kTableKeys), std::end(kTableKeys), tableKey) == std::end(kTableKeys)) {
        return -1;
    }
    return call_i(&OutputConfigEngine::value, "value", tokens, currToken);
}

int OutputConfigEngine::value(Tokens const& tokens, size_t& currToken) {
    const std::string text = LineReader::trim(tokens[currToken++]);
    auto metric = tables.find(fullKey);
    if (metric == tables.end()) {
        TableInfo info;
        info.setKeyValuePair(tableKey, text);
        tables[fullKey].emplace(tableType, std::move(info));
        tableOrder[fullKey].push_back(tableType);
        featurePrefixes.push_back(prefix);
        return 0;
    }
    auto table = metric->second.find(tableType);
    if (table == metric->second.end()) {
        TableInfo info;
        info.setKeyValuePair(tableKey, text);
        metric->second.emplace(tableType, std::move(info));
        tableOrder[fullKey].push_back(tableType);
        return 0;
    }
    if (table->second.isKeySet(tableKey)) {
        // The first value stays; the line still counts as accepted.
        VR_LOG_AREA(2, kArea,
                    "WARNING: Config table info (%s) entry already present for metric table %s for metric "
                    "container %s\n",
                    tableKey.c_str(), tableType.c_str(), fullKey.c_str());
        return 0;
    }
    table->second.setKeyValuePair(tableKey, text);
    return 0;
}

// ---- After the files ------------------------------------------------------------------------------

// Lists `names` on one warning: the heading, each name with ", ", then a blank line.
void warnAbout(char const* heading, std::set<std::string> const& names) {
    if (names.empty()) {
        return;
    }
    VR_LOG(2, "%s", heading);
    for (const std::string& name : names) {
        VR_LOG(2, "%s, ", name.c_str());
    }
    VR_LOG(2, "\n\n");
}

// Informs about features ordered without a metric order and metric orders of unordered features; never
// fails the parse.
bool OutputConfigEngine::check() const {
    if (featureOrder.empty() || featurePrefixes.empty()) {
        return true;
    }
    const std::set<std::string> features(featureOrder.begin(), featureOrder.end());
    std::set<std::string> ordered;
    for (const auto& [feature, metrics] : metricOrder) {
        ordered.insert(feature);
    }
    std::set<std::string> unorderedMetrics;
    std::set_difference(features.begin(), features.end(), ordered.begin(), ordered.end(),
                        std::inserter(unorderedMetrics, unorderedMetrics.end()));
    std::set<std::string> unorderedFeatures;
    std::set_difference(ordered.begin(), ordered.end(), features.begin(), features.end(),
                        std::inserter(unorderedFeatures, unorderedFeatures.end()));
    warnAbout(
        "\nWARNING: Output Config: Ordering requested for the following features, but corresponding metric "
        "container ordering entries (ALL_<FEATURE-SWITCH-TAG>_TAG_TABLE_ORDER) missing:\n",
        unorderedMetrics);
    warnAbout(
        "\nWARNING: Output Config: Metric container table entries present for the following feature, but "
        "feature ordering not explicitly requested. Missing feature switch tags in "
        "'ALL_OUTPUT-ORDER_TAG_FEATURE_ORDER=<FEATURE-SWITCH-TAG>,...'. (This may be acceptable for "
        "metrics that don't need to be in specific order):\n",
        unorderedFeatures);
    return true;
}

// The key of the queries: the platform ALL, the feature, the metric.
std::string queryKey(std::string const& feature, std::string const& metric) {
    return "ALL_" + feature + "_" + metric;
}

template <typename Map>
bool assignFound(Map const& map, typename Map::key_type const& key, typename Map::mapped_type& out) {
    const auto found = map.find(key);
    if (found == map.end()) {
        return false;
    }
    out = found->second;
    return true;
}

}  // namespace

WriterInterfaceConfigFileParser* WriterInterfaceConfigFileParser::s_instance = nullptr;

WriterInterfaceConfigFileParser* WriterInterfaceConfigFileParser::instance() {
    if (s_instance == nullptr) {
        s_instance = new WriterInterfaceConfigFileParser();
    }
    return s_instance;
}

void WriterInterfaceConfigFileParser::destroy() {
    engine().reset();
}

int WriterInterfaceConfigFileParser::parse(std::vector<std::string> const& files, SystemMetadata const&) {
    engine() = std::make_unique<OutputConfigEngine>();
    OutputConfigEngine& current = *engine();
    for (const std::string& file : files) {
        VR_LOG_AREA(4, kArea, "INFO: Path is: %s\n", file.c_str());
        if (current.parseFile(file) != 0) {
            VR_LOG_STREAM(0) << "ERROR parsing config file " << file << "!" << std::endl;
            return -1;
        }
    }
    dump_i();
    if (!current.check()) {
        VR_LOG_STREAM(0) << "config file parser sanity checks did NOT pass -- config files are invalid!"
                         << std::endl;
        return -1;
    }
    return 0;
}

void WriterInterfaceConfigFileParser::dump_i() {
    const OutputConfigEngine& current = *engine();
    for (const auto& [key, metricTables] : current.tables) {
        VR_LOG_AREA(4, kArea, "INFO: curr Key: %s\n", key.c_str());
        for (const auto& [type, info] : metricTables) {
            VR_LOG_AREA(4, kArea, "INFO: \tcurr Table: %s\n", type.c_str());
            for (const auto& [tableKey, text] : info.entries) {
                VR_LOG_AREA(4, kArea, "INFO: \t\tcurr Table-Info: %s, value: %s\n", tableKey.c_str(),
                            text.c_str());
            }
        }
    }
    VR_LOG_AREA(4, kArea, "INFO: Metric order per Feature:\n");
    for (const auto& [feature, metrics] : current.metricOrder) {
        VR_LOG_AREA(4, kArea, "INFO: curr Feature: %s\n", feature.c_str());
        for (const std::string& metric : metrics) {
            VR_LOG_AREA(4, kArea, "INFO: \tcurr Metric: %s\n", metric.c_str());
        }
    }
    VR_LOG_AREA(4, kArea, "INFO: Feature order:\n");
    for (const std::string& feature : current.featureOrder) {
        VR_LOG_AREA(4, kArea, "INFO: \tcurr Feature: %s\n", feature.c_str());
    }
}

bool WriterInterfaceConfigFileParser::getTableInfoFor(TableInfo& info, std::string const& metric,
                                                      std::string const& feature,
                                                      std::string const& tableType) const {
    if (!engine()) {
        return false;
    }
    const auto tables = engine()->tables.find(queryKey(feature, metric));
    return tables != engine()->tables.end() && assignFound(tables->second, tableType, info);
}

bool WriterInterfaceConfigFileParser::getTableOrderForMetric(std::deque<std::string>& order,
                                                             std::string const& metric,
                                                             std::string const& feature) const {
    return engine() && assignFound(engine()->tableOrder, queryKey(feature, metric), order);
}

bool WriterInterfaceConfigFileParser::getMetricOrderForFeature(std::deque<std::string>& order,
                                                               std::string const& feature) const {
    return engine() && assignFound(engine()->metricOrder, feature, order);
}

bool WriterInterfaceConfigFileParser::getFeatureOrder(std::deque<std::string>& order) const {
    if (!engine() || engine()->featureOrder.empty()) {
        return false;
    }
    order = engine()->featureOrder;
    return true;
}

bool WriterInterfaceConfigFileParser::getAllFeaturePrefixes(std::deque<std::string>& prefixes) const {
    if (!engine() || engine()->featurePrefixes.empty()) {
        return false;
    }
    prefixes = engine()->featurePrefixes;
    return true;
}

}  // namespace pwr
