// The questions that the host and the plug-ins ask after a parse: which platform this machine is,
// what a platform offers, and which messages a prefix yields over the tree of platforms.

#include <algorithm>

#include "config/ConfigParser.h"
#include "vantrell/config/ConfigCap.h"
#include "vantrell/config/InputMsg.h"
#include "vantrell/config/Operation.h"
#include "vantrell/config/Platform.h"
#include "vantrell/config/Specifier.h"
#include "vantrell/config/Tokenizer.h"
#include "vantrell/config/VRConfigFileParser.h"
#include "vantrell/plugin/Logging.h"

namespace pwr {

namespace {

// The Tokenizer refuses a text without a token: such a text names nothing.
bool holdsToken(std::string const& text, char const* delims) {
    return text.find_first_not_of(delims) != std::string::npos;
}

bool holdsName(std::vector<InputMsg*> const& messages, std::string const& msgName, InputMsg** clash) {
    for (InputMsg* message : messages) {
        if (message->getName() == msgName) {
            *clash = message;
            return true;
        }
    }
    return false;
}

}  // namespace

// ---- The facade -----------------------------------------------------------------------------------

int VRConfigFileParser::getPlatformName(std::string& name,
                                        std::pair<std::string, std::string> const& specifier) const {
    Parser const* parser = Parser::current();
    name = parser == nullptr ? std::string() : parser->getPlatformName_i(specifier.first, specifier.second);
    return 0;
}

bool VRConfigFileParser::isPlatformPrefixSupported(std::string const& platformNames,
                                                   std::string const& prefix) const {
    std::vector<InputMsg*> messages;
    Parser const* parser = Parser::current();
    return parser != nullptr && parser->getMessagesFor_i(messages, platformNames, prefix) == 0 &&
           !messages.empty();
}

int VRConfigFileParser::getMessagesFor(std::vector<InputMsg*>& messages, std::string const& platformNames,
                                       std::string const& prefix, std::vector<std::string> const& triggers,
                                       CollectionType const& type) const {
    Parser const* parser = Parser::current();
    bool wantsInit = std::find(triggers.begin(), triggers.end(), "INIT") != triggers.end();
    std::vector<InputMsg*> found;
    if (parser == nullptr || parser->getMessagesFor_i(found, platformNames, prefix) != 0) {
        return -1;
    }
    for (InputMsg* message : found) {
        PWSet<std::string>& counting =
            type == COLLECTION_MAX_DETAIL ? message->maxDetailTriggers : message->triggers;
        message->activeTriggers = &counting;
        if (type == COLLECTION_FALL_BACK && message->triggers.empty()) {
            message->activeTriggers = &message->maxDetailTriggers;
        }
        // Once per wanted trigger: the caller dispatches once per trigger.
        for (std::string const& wanted : triggers) {
            if (counting.count(wanted) != 0) {
                messages.push_back(message);
            }
        }
        if (counting.empty() && wantsInit && !message->getOperations().empty() &&
            message->getOperations().front()->getOperation() == "CONSTANT") {
            VR_LOG(3, "DEBUG: found IMPLICIT INIT for message: %s_%s_%s", platformNames.c_str(),
                   prefix.c_str(), message->getName().c_str());
            messages.push_back(message);
        }
    }
    return 0;
}

int VRConfigFileParser::getCapabilitiesFor(std::vector<ConfigCap const*>& caps,
                                           std::string const& platformNames) const {
    caps.clear();
    Parser const* parser = Parser::current();
    std::vector<Platform*> platforms;
    if (parser == nullptr || !parser->getAllPlatforms_i(platforms, platformNames)) {
        VR_LOG_STREAM(1) << "couldn't retrieve valid list of platforms from platform name string = "
                         << platformNames << std::endl;
        return -1;
    }
    for (Platform const* platform : platforms) {
        for (auto const& entry : platform->getCaps()) {
            VR_LOG_STREAM(3) << "platform " << platform->getName()
                             << " is looking at cap pair: " << entry.first << " :=> "
                             << entry.second->getName() << std::endl;
            caps.push_back(entry.second);
        }
    }
    return 0;
}

// ---- The Parser's queries -------------------------------------------------------------------------

std::string Parser::getPlatformName_i(std::string const& type, std::string const& value) const {
    VR_LOG_CONFIG(4, "INFO: getPlatformName_i::type:%s, valueOrRange:%s\n", type.c_str(), value.c_str());
    Platform const* remembered = nullptr;
    for (auto const& entry : platforms) {
        bool exact = false;
        for (Specifier const* specifier : entry.second->getSpecifiers()) {
            int result = specifier->is_match(type, value);
            // The first partial match in name order stands until an exact one displaces it.
            if (result == 1 && remembered == nullptr) {
                remembered = entry.second.get();
                VR_LOG_STREAM(4) << "Found partial match for specifier: " << type << "=" << value
                                 << " in Platform specifier " << specifier->toString() << std::endl;
            } else if (result == 2) {
                remembered = entry.second.get();
                exact = true;
                VR_LOG_STREAM(4) << "Found exact match for specifier: " << type << "=" << value
                                 << " in Platform specifier " << specifier->toString() << std::endl;
            }
        }
        if (exact) {
            break;
        }
    }
    return remembered == nullptr ? std::string() : remembered->getName();
}

bool Parser::getAllPlatforms_i(std::vector<Platform*>& list, std::string const& platformNames) const {
    if (!holdsToken(platformNames, ",")) {
        return true;
    }
    Platform* root = nullptr;
    std::vector<std::string> const entries = Tokenizer(platformNames, ",").get_all_tokens();
    for (std::string const& entry : entries) {
        VR_LOG_STREAM(4) << "pwr::Parser::getAllPlatforms_i"
                         << " looking at token " << entry << std::endl;
        std::vector<std::string> parts;
        if (holdsToken(entry, "=")) {
            parts = Tokenizer(entry, "=").get_all_tokens();
        }
        if (parts.size() < 2) {
            VR_LOG(2, "WARNING: invalid platform name entry %s: MUST be of form <TYPE>=<NAME>!\n",
                   entry.c_str());
            return false;
        }
        auto found = platforms.find(parts[1]);
        if (found == platforms.end()) {
            VR_LOG(1, "ERROR: no platform \"%s\" defined in config file!", parts[1].c_str());
            return false;
        }
        Platform* platform = found->second.get();
        for (; platform->getParent() != nullptr; platform = platform->getParent()) {
            list.push_back(platform);
        }
        if (root == nullptr) {
            root = platform;
        }
    }
    list.push_back(root);
    return true;
}

int Parser::getMessagesFor_i(std::vector<InputMsg*>& out, std::string const& platformNames,
                             std::string const& prefix) const {
    out.clear();
    std::vector<Platform*> list;
    if (!getAllPlatforms_i(list, platformNames)) {
        VR_LOG_STREAM(1) << "couldn't retrieve valid list of platforms from platform name string = "
                         << platformNames << std::endl;
        return -1;
    }
    for (Platform* start : list) {
        std::vector<InputMsg*> collection;
        for (Platform* platform = start; platform != nullptr;) {
            std::vector<InputMsg*> batch;
            platform->getMessagesFor(batch, prefix);
            InputMsg* clash = nullptr;
            auto clashing = std::find_if(batch.begin(), batch.end(), [&](InputMsg* message) {
                return holdsName(collection, message->getName(), &clash);
            });
            if (clashing != batch.end()) {
                VR_LOG_CONFIG(2, "WARNING: Parent message (%s) clashes with child message (%s)\n",
                              (*clashing)->getFullName().c_str(), clash->getFullName().c_str());
                VR_LOG(1, "ERROR: Duplicate messages found\n");
            } else {
                collection.insert(collection.end(), batch.begin(), batch.end());
            }
            auto mode = platform->getInheritModes().find(prefix);
            if (mode == platform->getInheritModes().end() || mode->second != Platform::kExtend) {
                VR_LOG(4, "INFO: OVERRIDE found for prefix %s\n", prefix.c_str());
                break;
            }
            platform = platform->getParent();
        }
        out.insert(out.end(), collection.begin(), collection.end());
        if (!collection.empty()) {
            break;
        }
    }
    return out.empty() ? -1 : 0;
}

// ---- A platform's own messages --------------------------------------------------------------------

int Platform::getMessagesFor(std::vector<InputMsg*>& out, std::string const& prefix) {
    out.clear();
    VR_LOG_STREAM(3) << "pwr::Platform::getMessagesFor"
                     << " called for prefix " << prefix << " on platform " << name << std::endl;
    auto names = messageNames.find(name + "_" + prefix);
    if (names == messageNames.end()) {
        VR_LOG_STREAM(3) << "combination of name " << name << " prefix " << prefix
                         << " was NOT specified in config file!" << std::endl;
        return -1;
    }
    for (std::string const& fullName : names->second) {
        auto found = messages.find(fullName);
        if (found == messages.end() || std::find(out.begin(), out.end(), found->second) != out.end()) {
            continue;
        }
        if (found->second->getOperationCount() == 0) {
            VR_LOG(4, "INFO: not adding message %s because it doesn't have any operations!\n",
                   found->second->getFullName().c_str());
            continue;
        }
        out.push_back(found->second);
    }
    return out.empty() ? -1 : 0;
}

}  // namespace pwr
