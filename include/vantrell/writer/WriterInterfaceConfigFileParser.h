#pragma once

// The output configuration: which tables of a metric are shown, under which title, with which notes
// around them, in which order, and in which order the metric containers of a feature and the features
// themselves are written. Its files share the lexical form of the collection configuration: "#"
// comments, trimming, one fact per line split as T0_T1_T2_T3_T4=T5. Three line forms:
//
//   <platform>_OUTPUT-ORDER_TAG_FEATURE_ORDER=<feature>,<feature>,...
//   <platform>_<feature>_TAG_TABLE_ORDER=<metric>,<metric>,...
//   <platform>_<feature>_<metric>_<table-type>_<key>=<value>
//
// The queries look under the platform "ALL" only: lines of other platforms are stored and never found.
//
// The parser is a process-wide facade over one engine, which each parse replaces and destroy frees.
// Neither takes locks: parse before the writers start, then query from one thread at a time.

#include <deque>
#include <map>
#include <string>
#include <vector>

#include "vantrell/Export.h"

namespace pwr {

class SystemMetadata;

// The keys of one table, as the metric code receives them. A copyable value.
class VR_EXPORT TableInfo {
  public:
    // Inserts the pair and returns true when `key` is absent. Otherwise changes nothing, logs "WARNING:
    // Config table info (%s) entry already present for metric table\n" under the area
    // "output-config-parser" and returns false.
    bool setKeyValuePair(std::string const& key, std::string const& value);
    bool isKeySet(std::string const& key) const;
    bool isEmpty() const;

    // The TITLE, PRE-TABLE-TEXT and POST-TABLE-TEXT values: true with the value, false (and `out` as it
    // was) when unset.
    bool getTableTitle(std::string& out) const;
    bool getPreTableNote(std::string& out) const;
    bool getPostTableNote(std::string& out) const;
    // True when TABLE isn't set; otherwise only a TABLE of exactly "YES" shows the table.
    bool isTableDisplayed() const;
    // TRANSPOSE, SUPPRESS-TOTAL: exactly "YES".
    bool isTableTransposed() const;
    bool suppressTotal() const;

  private:
    friend class WriterInterfaceConfigFileParser;  // dumps the entries

    bool getConfigEntry(std::string const& key, std::string& value) const;
    bool isConfigEntryYesOrNo(std::string const& key) const;

    std::map<std::string, std::string> entries;
};

class VR_EXPORT WriterInterfaceConfigFileParser {
  public:
    // The facade, made at first use. Never null.
    static WriterInterfaceConfigFileParser* instance();

    // Frees the engine; the queries then find nothing.
    void destroy();

    // Replaces the engine and reads `files` in order into the new one. A file that fails (it can't be
    // opened, a line doesn't split, a rule fails) ends the parse: the Part-4.2 words on standard error,
    // the rule chain in the log, then the FATAL "ERROR parsing config file <name>!", and -1. Otherwise
    // the configuration is dumped at INFO level under the area "output-config-parser", the order check
    // warns about features and metric orders that don't match, and the result is 0. `metadata` isn't
    // consulted.
    int parse(std::vector<std::string> const& files, SystemMetadata const& metadata);

    // The keys of table `tableType` of `metric` in `feature` on platform ALL: true and `info` assigned,
    // or false with `info` as it was.
    bool getTableInfoFor(TableInfo& info, std::string const& metric, std::string const& feature,
                         std::string const& tableType) const;
    // The table types of `metric` in `feature` in the order of their first lines: true, or false with
    // `order` as it was.
    bool getTableOrderForMetric(std::deque<std::string>& order, std::string const& metric,
                                std::string const& feature) const;
    // The TAG_TABLE_ORDER list of `feature` (any platform): true, or false with `order` as it was.
    bool getMetricOrderForFeature(std::deque<std::string>& order, std::string const& feature) const;
    // The FEATURE_ORDER lists in file order: false, `order` as it was, when there are none.
    bool getFeatureOrder(std::deque<std::string>& order) const;
    // The feature of each new table key (platform, feature, metric), in order: false when there is none.
    bool getAllFeaturePrefixes(std::deque<std::string>& prefixes) const;

  private:
    WriterInterfaceConfigFileParser() = default;
    ~WriterInterfaceConfigFileParser() = default;
    WriterInterfaceConfigFileParser(WriterInterfaceConfigFileParser const&) = delete;
    WriterInterfaceConfigFileParser& operator=(WriterInterfaceConfigFileParser const&) = delete;

    // Logs the whole configuration at INFO level under the area "output-config-parser".
    static void dump_i();

    static WriterInterfaceConfigFileParser* s_instance;
};

}  // namespace pwr
