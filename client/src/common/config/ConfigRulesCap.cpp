// The CAPABILITY and INHERIT lines: what a feature is called and how a platform's messages combine
// with its parent's.

#include <algorithm>
#include <cctype>
#include <string>

#include "config/ConfigAssert.h"
#include "config/ConfigParser.h"
#include "vantrell/config/ConfigCap.h"
#include "vantrell/config/LineReader.h"
#include "vantrell/config/Platform.h"
#include "vantrell/plugin/Logging.h"

namespace pwr {

int Parser::capRule(Tokens const& tokens, size_t& currToken) {
    VR_CONFIG_ASSERT(match(tokens, currToken, "CAPABILITY"));
    VR_LOG_STREAM(3) << "found cap! capName = " << currentPrefix << ", platformPrefix = " << fullKey
                     << std::endl;
    currentCap = currentPlatform->getOrCreateCap(currentPrefix, fullKey);
    if (currentCap == nullptr) {
        VR_LOG_STREAM(1) << "couldn't get or create config cap with name " << currentPrefix << std::endl;
        return -1;
    }
    return call_i(&Parser::capSub, "capSub", tokens, currToken);
}

int Parser::capSub(Tokens const& tokens, size_t& currToken) {
    std::string const& attribute = tokenAt_i(tokens, currToken);
    if (attribute == "COMMAND-LINE") {
        return call_i(&Parser::capSubCmdline, "capSubCmdline", tokens, currToken);
    }
    if (attribute == "HELP-STRING") {
        return call_i(&Parser::capSubHelp, "capSubHelp", tokens, currToken);
    }
    if (attribute == "GROUP") {
        return call_i(&Parser::capSubGroup, "capSubGroup", tokens, currToken);
    }
    if (attribute == "HIDDEN") {
        return call_i(&Parser::capSubHidden, "capSubHidden", tokens, currToken);
    }
    return -1;
}

// The attribute word was chosen by capSub; T4 must be VALUE.
int Parser::capValueKeyword_i(Tokens const& tokens, size_t& currToken) {
    ++currToken;
    if (!match(tokens, currToken, "VALUE")) {
        VR_LOG(2, "WARNING: invalid token %s; expected \"VALUE\"\n", tokenAt_i(tokens, currToken).c_str());
        return -1;
    }
    return 0;
}

int Parser::capValue(Tokens const& tokens, size_t& currToken, std::string& value) {
    value = trimmedCopy(tokenAt_i(tokens, currToken++));
    return 0;
}

int Parser::capSubCmdline(Tokens const& tokens, size_t& currToken) {
    std::string value;
    if (capValueKeyword_i(tokens, currToken) != 0 || capValue(tokens, currToken, value) != 0) {
        return -1;
    }
    currentCap->setName(value);
    VR_LOG_STREAM(3) << "cap has name: " << value << std::endl;
    return 0;
}

int Parser::capSubHelp(Tokens const& tokens, size_t& currToken) {
    std::string value;
    if (capValueKeyword_i(tokens, currToken) != 0 || capValue(tokens, currToken, value) != 0) {
        return -1;
    }
    currentCap->setDescription(value);
    VR_LOG_STREAM(3) << "cap has help text: " << value << std::endl;
    return 0;
}

int Parser::capSubGroup(Tokens const& tokens, size_t& currToken) {
    std::string value;
    if (capValueKeyword_i(tokens, currToken) != 0 || capValue(tokens, currToken, value) != 0) {
        return -1;
    }
    currentCap->addGroup(value);
    VR_LOG_STREAM(4) << "cap has added group : " << value << std::endl;
    return 0;
}

int Parser::capSubHidden(Tokens const& tokens, size_t& currToken) {
    std::string value;
    if (capValueKeyword_i(tokens, currToken) != 0 || capValue(tokens, currToken, value) != 0) {
        return -1;
    }
    std::transform(value.begin(), value.end(), value.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    VR_LOG_CONFIG(4, "INFO: HIDDEN attribute = %s\n", value.c_str());
    if (value == "true") {
        currentCap->setHidden(true);
        return 0;
    }
    if (value == "false") {
        return 0;
    }
    VR_LOG_CONFIG(2,
                  "WARNING: invalid value %s passed to \"HIDDEN\" attribute; must be one of \"TRUE\" or "
                  "\"FALSE\"\n",
                  value.c_str());
    return -1;
}

int Parser::inheritRule(Tokens const& tokens, size_t& currToken) {
    VR_CONFIG_ASSERT(match(tokens, currToken, "INHERIT"));
    return call_i(&Parser::inheritSub, "inheritSub", tokens, currToken);
}

// MODE and VALUE aren't tested before these rules: a line that names other words here is outside the
// grammar and ends in the assertion.
int Parser::inheritSub(Tokens const& tokens, size_t& currToken) {
    VR_CONFIG_ASSERT(match(tokens, currToken, "MODE"));
    return call_i(&Parser::inheritMode, "inheritMode", tokens, currToken);
}

int Parser::inheritMode(Tokens const& tokens, size_t& currToken) {
    VR_CONFIG_ASSERT(match(tokens, currToken, "VALUE"));
    return call_i(&Parser::inheritValue, "inheritValue", tokens, currToken);
}

int Parser::inheritValue(Tokens const& tokens, size_t& currToken) {
    std::string const& mode = tokenAt_i(tokens, currToken);
    if (mode != "OVERRIDE" && mode != "EXTEND") {
        VR_LOG(1, "ERROR: Invalid \"inherit\" value %s -- MUST be one of \"OVERRIDE\" or \"EXTEND\"\n",
               mode.c_str());
        return -1;
    }
    VR_LOG_CONFIG(4, "INFO: prefix = %s, inherit value = %s\n", currentPrefix.c_str(), mode.c_str());
    currentPlatform->setInheritMode(currentPrefix,
                                    mode == "EXTEND" ? Platform::kExtend : Platform::kOverride);
    ++currToken;
    return 0;
}

}  // namespace pwr
