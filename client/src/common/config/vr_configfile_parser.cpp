// The collection configuration engine: the facade, the life of the Parser, the catalogue of
// operation types, reading files line by line, the split of a line into six tokens, the platform
// token and the sanity check at the end. The rules of the line forms follow in ConfigRules*.cpp.

#include "vantrell/config/VRConfigFileParser.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "config/ConfigAssert.h"
#include "config/ConfigLines.h"
#include "config/ConfigParser.h"
#include "vantrell/config/LineReader.h"
#include "vantrell/config/Operation.h"
#include "vantrell/config/Platform.h"
#include "vantrell/config/Tokenizer.h"
#include "vantrell/plugin/CollectorPlugin.h"
#include "vantrell/plugin/Logging.h"

namespace pwr {

namespace {

Parser* g_parser = nullptr;

constexpr char kRoot[] = "ALL";

}  // namespace

void configAssertFailed_i(char const* text, char const* file, int line) {
    char const* slash = std::strrchr(file, '/');
    std::fprintf(stderr, "Assertion failed: %s, file %s, line %d\n", text, slash ? slash + 1 : file, line);
    std::fflush(stderr);
    std::abort();
}

// ---- The facade -----------------------------------------------------------------------------------

VRConfigFileParser* VRConfigFileParser::s_instance = nullptr;

VRConfigFileParser* VRConfigFileParser::instance() {
    if (s_instance == nullptr) {
        s_instance = new VRConfigFileParser();
    }
    return s_instance;
}

void VRConfigFileParser::destroy() {
    delete Parser::current();
    Parser::setCurrent(nullptr);
}

int VRConfigFileParser::parse(std::vector<std::string> const& files,
                              std::vector<CollectorPlugin*> const& collectors,
                              SystemMetadata const& metadata) {
    destroy();
    Parser* parser = new Parser();
    Parser::setCurrent(parser);
    if (parser->init(collectors, metadata) != 0) {
        std::fprintf(stderr, "ERROR initializing parser\n");
        return -1;
    }
    for (std::string const& file : files) {
        if (parser->parseFile(file) != 0) {
            VR_LOG_STREAM(0) << "ERROR parsing config file " << file << "!" << std::endl;
            return -1;
        }
    }
    if (!parser->checkOrphans()) {
        VR_LOG_STREAM(0) << "config file parser sanity checks did NOT pass -- config files are invalid!"
                         << std::endl;
        return -1;
    }
    return 0;
}

// ---- The Parser's life and catalogue --------------------------------------------------------------

Parser* Parser::current() {
    return g_parser;
}

void Parser::setCurrent(Parser* parser) {
    g_parser = parser;
}

Parser::~Parser() {
    for (auto& entry : platforms) {
        VR_LOG_STREAM(3) << "Deleting platform " << entry.first << std::endl;
        entry.second.reset();
    }
}

int Parser::init(std::vector<CollectorPlugin*> const& collectors, SystemMetadata const& metadata) {
    operationCatalogue.clear();
    collectorMap.clear();
    for (CollectorPlugin* collector : collectors) {
        if (collector == nullptr) {
            continue;
        }
        for (Operation const* operation : collector->getSupportedOperations()) {
            if (operation == nullptr) {
                continue;
            }
            std::string const& type = operation->getOperation();
            bool available = operation->isOperationSuitableFor(metadata) != REQUIREMENTS_NOT_MET;
            VR_LOG(4, "INFO: requirements for operation %s %s met\n", type.c_str(),
                   available ? "were" : "were NOT");
            if (operationCatalogue.count(type) != 0) {
                if (!available) {
                    VR_LOG(3,
                           "DEBUG: multiple providers found for %s read operation and the current one is not "
                           "available\n",
                           type.c_str());
                    continue;
                }
                VR_LOG(
                    4,
                    "INFO: multiple providers found for %s read operation, but allowing override since the "
                    "current one is available!\n",
                    type.c_str());
            }
            operationCatalogue[type] = std::make_pair(operation, available);
            collectorMap[type] = collector;
            VR_LOG(4, "INFO: OK, added collector for op %s\n", type.c_str());
        }
    }
    return 0;
}

CollectorPlugin* Parser::getCollectorFor(std::string const& type) const {
    auto found = collectorMap.find(type);
    return found == collectorMap.end() ? nullptr : found->second;
}

// ---- Files and lines ------------------------------------------------------------------------------

int Parser::parseFile(std::string const& file) {
    return config_lines::parseFile(file, [this](FILE* fp) { return parseStream(fp); });
}

int Parser::parseStream(FILE* fp) {
    return config_lines::forEachLine(fp, [this](Tokens const& tokens, std::string const& line) {
        resetLine_i();
        size_t currToken = 0;
        if (call_i(&Parser::platformRule, "platformRule", tokens, currToken) != 0) {
            VR_LOG_STREAM(1) << "ERROR parsing line " << line << std::endl;
            return -1;
        }
        return 0;
    });
}

int Parser::tokenize(std::string const& line, Tokens& tokens) {
    return config_lines::tokenize(line, tokens);
}

void Parser::resetLine_i() {
    currentPlatformName.clear();
    platformHeadName.clear();
    platformTailName.clear();
    currentPrefix.clear();
    currentTag.clear();
    currentMechanism.clear();
    currentCategory.clear();
    fullKey.clear();
    currentMsg = nullptr;
    currentOperation = nullptr;
    currentPlatform = nullptr;
}

// ---- Rule plumbing --------------------------------------------------------------------------------

int Parser::call_i(Rule rule, char const* ruleName, Tokens const& tokens, size_t& currToken) {
    return checked_i((this->*rule)(tokens, currToken), ruleName);
}

int Parser::checked_i(int result, char const* ruleName) {
    if (result != 0) {
        VR_LOG(2, "WARNING: ERROR calling function \"%s\"\n", ruleName);
        return -1;
    }
    return 0;
}

bool Parser::match(Tokens const& tokens, size_t& currToken, char const* keyword) {
    if (currToken < tokens.size() && tokens[currToken] == keyword) {
        ++currToken;
        return true;
    }
    return false;
}

std::string const& Parser::tokenAt_i(Tokens const& tokens, size_t currToken) {
    static std::string const kNone;
    return currToken < tokens.size() ? tokens[currToken] : kNone;
}

std::string Parser::platformPrefix_i() const {
    return currentPlatformName + "_" + currentPrefix;
}

// ---- The platform token ---------------------------------------------------------------------------

int Parser::platformRule(Tokens const& tokens, size_t& currToken) {
    if (call_i(&Parser::platformHead, "platformHead", tokens, currToken) != 0 ||
        call_i(&Parser::platformTail, "platformTail", tokens, currToken) != 0) {
        return -1;
    }
    ++currToken;
    std::string parentName = currentPlatformName == platformHeadName ? kRoot : platformHeadName;
    currentPlatform = getOrCreatePlatform(currentPlatformName, parentName);
    if (currentPlatform == nullptr) {
        return -1;
    }
    fullKey = currentPlatformName;
    return call_i(&Parser::platformSub, "platformSub", tokens, currToken);
}

// T0 is cut at its last dash: the head is the parent's name, the tail the child's own.
int Parser::platformHead(Tokens const& tokens, size_t& currToken) {
    std::string rest = tokenAt_i(tokens, currToken);
    platformHeadName.clear();
    platformTailName.clear();
    if (getNextToken(platformHeadName, rest, '-', true) != 0 || platformHeadName.empty()) {
        return -1;
    }
    platformTailName = rest;
    currentPlatformName = platformHeadName;
    return 0;
}

int Parser::platformTail(Tokens const&, size_t&) {
    if (!platformTailName.empty()) {
        currentPlatformName += "-" + platformTailName;
    }
    return 0;
}

int Parser::platformSub(Tokens const& tokens, size_t& currToken) {
    if (tokenAt_i(tokens, currToken) == "MODEL") {
        return call_i(&Parser::modelRule, "modelRule", tokens, currToken);
    }
    if (call_i(&Parser::prefixRule, "prefixRule", tokens, currToken) != 0) {
        return -1;
    }
    return call_i(&Parser::metricRule, "metricRule", tokens, currToken);
}

int Parser::prefixRule(Tokens const& tokens, size_t& currToken) {
    currentPrefix = tokenAt_i(tokens, currToken++);
    fullKey += "_" + currentPrefix;
    return 0;
}

int Parser::metricRule(Tokens const& tokens, size_t& currToken) {
    std::string const& word = tokenAt_i(tokens, currToken);
    if (word == "CAPABILITY") {
        return call_i(&Parser::capRule, "capRule", tokens, currToken);
    }
    if (word == "INHERIT") {
        return call_i(&Parser::inheritRule, "inheritRule", tokens, currToken);
    }
    return call_i(&Parser::tagSub, "tagSub", tokens, currToken);
}

int Parser::tag(Tokens const& tokens, size_t& currToken) {
    std::string const& word = tokenAt_i(tokens, currToken);
    if (word.empty() || !std::isalpha(static_cast<unsigned char>(word[0]))) {
        return -1;
    }
    ++currToken;
    currentTag = word;
    fullKey += "_" + word;
    return 0;
}

Platform* Parser::getOrCreatePlatform(std::string const& platformName, std::string const& parentName) {
    if (platformName.empty()) {
        return nullptr;
    }
    auto existing = platforms.find(platformName);
    if (existing != platforms.end()) {
        return existing->second.get();
    }
    Platform* parent = nullptr;
    bool named = parentName != platformName;
    if (named) {
        auto found = platforms.find(parentName);
        parent = found == platforms.end() ? nullptr : found->second.get();
    }
    auto platform = std::make_unique<Platform>(platformName, parent);
    Platform* made = platform.get();
    if (named && parent == nullptr) {
        VR_LOG_STREAM(3) << "found orphaned platform \"" << platformName << "\" with parent \"" << parentName
                         << "\"" << std::endl;
        orphans[parentName].push_back(made);
    }
    platforms.emplace(platformName, std::move(platform));
    auto waiting = orphans.find(platformName);
    if (waiting != orphans.end()) {
        VR_LOG_STREAM(3) << "platform \"" << platformName << "\" has orphaned children!" << std::endl;
        for (Platform* child : waiting->second) {
            VR_LOG_STREAM(3) << "assigning previously orphaned child \"" << child->getName()
                             << "\" as a child of \"" << platformName << "\"" << std::endl;
            child->setParent(made);
            made->addChild(child);
        }
        orphans.erase(waiting);
    }
    return made;
}

bool Parser::checkOrphans() {
    if (orphans.empty()) {
        return true;
    }
    std::ostream& out = VR_LOG_STREAM(1)
                        << "the following \"parent\" platforms have not been defined:" << std::endl;
    for (auto const& entry : orphans) {
        out << entry.first << std::endl;
    }
    return false;
}

}  // namespace pwr
