#pragma once

// The state behind VRConfigFileParser and the grammar of the collection configuration: one rule per
// function, each taking the six tokens of a line and the index of the current token, and returning 0
// or -1. A rule that gets -1 from a sub-rule logs "WARNING: ERROR calling function \"<sub-rule>\"\n"
// and fails in turn, so the log shows the chain of rule names from the innermost outwards.
//
// Private to the library. One Parser at a time, reached through Parser::current().

#include <cstddef>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "vantrell/config/LineReader.h"
#include "vantrell/plugin/Logging.h"

class CollectorPlugin;

// The sites of the area "config-parser": shown at INFO verbosity, or at any verbosity with the area open.
#define VR_LOG_CONFIG(level, ...)                                                                \
    do {                                                                                         \
        if (::pwr::logging::isOpen(4) || ::pwr::logging::isAreaOpen(::pwr::kConfigParserArea)) { \
            ::pwr::logging::emit((level), __VA_ARGS__);                                          \
        }                                                                                        \
    } while (0)

namespace pwr {

constexpr char kConfigParserArea[] = "config-parser";

// A trimmed copy: unlike trimming in place, a text of blanks gives an empty string.
inline std::string trimmedCopy(std::string const& text) {
    return LineReader::trim(text);
}

class ConfigCap;
class InputMsg;
class Operation;
class Platform;
class SystemMetadata;

class Parser {
  public:
    using Tokens = std::vector<std::string>;

    Parser() = default;
    Parser(Parser const&) = delete;
    Parser& operator=(Parser const&) = delete;
    // Deletes the platforms, each announced with "Deleting platform <name>" at DEBUG level.
    ~Parser();

    // The one Parser of the process, or null.
    static Parser* current();
    static void setCurrent(Parser* parser);

    // Builds the catalogue of operation types and the map of their collectors. Always 0.
    int init(std::vector<CollectorPlugin*> const& collectors, SystemMetadata const& metadata);
    // Reads one file; 0 or -1, with the words on the standard error stream.
    int parseFile(std::string const& file);
    // Reads every line of `fp`. 0, or -1 at the first line that fails. Throws a std::string for a line
    // that doesn't split into six tokens.
    int parseStream(FILE* fp);
    // True when no platform waits for a parent that was never defined; else lists the parents.
    bool checkOrphans();

    // Splits `line` into T0..T5: four cuts at "_", one at "=", and the rest. -1 when a cut finds no
    // delimiter (or the line has no "="), leaving `tokens` as far as it got.
    static int tokenize(std::string const& line, Tokens& tokens);

    // The name of the platform that the fact (`type`, `value`) recognises, or empty.
    std::string getPlatformName_i(std::string const& type, std::string const& value) const;
    // Appends the platforms named by `platformNames`, each with its ancestors below the root, and the
    // root once at the end. False, with the reason logged, for a malformed entry or an unknown name.
    bool getAllPlatforms_i(std::vector<Platform*>& list, std::string const& platformNames) const;
    // The messages of `prefix` by the rules of inheritance; 0 when `out` holds any, else -1.
    int getMessagesFor_i(std::vector<InputMsg*>& out, std::string const& platformNames,
                         std::string const& prefix) const;

    // The collector that provides operations of `type`, or null.
    CollectorPlugin* getCollectorFor(std::string const& type) const;

    std::map<std::string, std::unique_ptr<Platform>> const& getPlatforms() const { return platforms; }

  private:
    using Rule = int (Parser::*)(Tokens const&, size_t&);

    // Runs `rule`; on failure logs the rule's name and returns -1.
    int call_i(Rule rule, char const* name, Tokens const& tokens, size_t& currToken);
    // Passes 0 on; logs the failed rule's name for any other result and returns -1.
    static int checked_i(int result, char const* name);
    // True, with the index moved on, when the current token is exactly `keyword`.
    static bool match(Tokens const& tokens, size_t& currToken, char const* keyword);
    static std::string const& tokenAt_i(Tokens const& tokens, size_t currToken);
    void resetLine_i();
    Platform* getOrCreatePlatform(std::string const& name, std::string const& parentName);
    Operation* getOrCreateOperation(InputMsg* message, std::string const& fullName, std::string const& type,
                                    bool& available);
    CollectorPlugin* collectorOfMessage_i(InputMsg const* message) const;
    // The key `<platform>_<prefix>` of the line in hand.
    std::string platformPrefix_i() const;

    // The platform token and the choice between model and metric lines.
    int platformRule(Tokens const& tokens, size_t& currToken);
    int platformHead(Tokens const& tokens, size_t& currToken);
    int platformTail(Tokens const& tokens, size_t& currToken);
    int platformSub(Tokens const& tokens, size_t& currToken);
    int prefixRule(Tokens const& tokens, size_t& currToken);
    int metricRule(Tokens const& tokens, size_t& currToken);
    int tag(Tokens const& tokens, size_t& currToken);

    // MODEL lines.
    int modelRule(Tokens const& tokens, size_t& currToken);
    int modelFMSRule(Tokens const& tokens, size_t& currToken);
    int fmsValues(Tokens const& tokens, size_t& currToken);
    int fmsValue(std::string const& piece);
    int modelPCIRule(Tokens const& tokens, size_t& currToken);
    int pciValue(Tokens const& tokens, size_t& currToken);
    int modelPMTRule(Tokens const& tokens, size_t& currToken);
    int PMTValue(Tokens const& tokens, size_t& currToken);
    int modelOtherRule(Tokens const& tokens, size_t& currToken);
    int modelSpec(Tokens const& tokens, size_t& currToken);
    int modelValue(Tokens const& tokens, size_t& currToken);
    int modelRange(Tokens const& tokens, size_t& currToken);
    int modelRangeSub(Tokens const& tokens, size_t& currToken);

    // CAPABILITY and INHERIT lines.
    int capRule(Tokens const& tokens, size_t& currToken);
    int capSub(Tokens const& tokens, size_t& currToken);
    int capSubCmdline(Tokens const& tokens, size_t& currToken);
    int capSubHelp(Tokens const& tokens, size_t& currToken);
    int capSubGroup(Tokens const& tokens, size_t& currToken);
    int capSubHidden(Tokens const& tokens, size_t& currToken);
    int capValueKeyword_i(Tokens const& tokens, size_t& currToken);
    int capValue(Tokens const& tokens, size_t& currToken, std::string& value);
    int inheritRule(Tokens const& tokens, size_t& currToken);
    int inheritSub(Tokens const& tokens, size_t& currToken);
    int inheritMode(Tokens const& tokens, size_t& currToken);
    int inheritValue(Tokens const& tokens, size_t& currToken);

    // Message lines.
    int tagSub(Tokens const& tokens, size_t& currToken);
    int msgSub(Tokens const& tokens, size_t& currToken);
    int msgGroup(Tokens const& tokens, size_t& currToken);
    int msgGroupList(Tokens const& tokens, size_t& currToken);
    int name(std::string const& piece);
    int msgID(Tokens const& tokens, size_t& currToken);
    int msgIDValue(Tokens const& tokens, size_t& currToken);
    int msgReadWhen(Tokens const& tokens, size_t& currToken);
    int msgReadWhenMaxDetail(Tokens const& tokens, size_t& currToken);
    int msgReadWhere(Tokens const& tokens, size_t& currToken);
    int msgWriteWhen(Tokens const& tokens, size_t& currToken);
    int msgWriteWhenMaxDetail(Tokens const& tokens, size_t& currToken);
    int msgWriteWhere(Tokens const& tokens, size_t& currToken);
    int msgSource(Tokens const& tokens, size_t& currToken);
    int msgSourceRule(Tokens const& tokens, size_t& currToken);
    int triggers(Tokens const& tokens, size_t& currToken, int command, bool maxDetail);
    int trigger(std::string const& piece, int command, bool maxDetail);
    int traceTrigger(std::string const& piece, int command, bool maxDetail);
    int notifierTrigger(std::string const& piece, int command, bool maxDetail);
    int namedTrigger_i(std::string const& piece, char const* keyword, int command, bool maxDetail);
    int readWriteCPU(Tokens const& tokens, size_t& currToken);

    // CONSTANT and hardware operation lines.
    int constantSub(Tokens const& tokens, size_t& currToken);
    int constantAny(Tokens const& tokens, size_t& currToken);
    int constantAnyValue(Tokens const& tokens, size_t& currToken);
    int takeOperation_i();
    int hwMechRule(Tokens const& tokens, size_t& currToken);
    int hwCatRule(Tokens const& tokens, size_t& currToken);
    int directValue(Tokens const& tokens, size_t& currToken);
    int value(Tokens const& tokens, size_t& currToken);

    std::map<std::string, std::pair<Operation const*, bool>> operationCatalogue;
    std::map<std::string, CollectorPlugin*> collectorMap;
    std::map<std::string, std::unique_ptr<Platform>> platforms;
    std::map<std::string, std::vector<Platform*>> orphans;

    // The line in hand: reset at the start of every line, except the current capability.
    std::string currentPlatformName;
    std::string platformHeadName;
    std::string platformTailName;
    std::string currentPrefix;
    std::string currentTag;
    std::string currentMechanism;
    std::string currentCategory;
    std::string fullKey;
    InputMsg* currentMsg = nullptr;
    Operation* currentOperation = nullptr;
    ConfigCap* currentCap = nullptr;
    Platform* currentPlatform = nullptr;
};

}  // namespace pwr
