// The operation lines: `..._<name>_CONSTANT_<key>=<value>` and `..._<name>_<type>_<category>=<value>`,
// which give a message the operations of the collectors that declared those types.

#include <cstdio>
#include <memory>
#include <string>

#include "config/ConfigParser.h"
#include "vantrell/config/InputMsg.h"
#include "vantrell/config/LineReader.h"
#include "vantrell/config/Operation.h"
#include "vantrell/plugin/Logging.h"

namespace pwr {

Operation* Parser::getOrCreateOperation(InputMsg* message, std::string const& operationName,
                                        std::string const& type, bool& available) {
    auto entry = operationCatalogue.find(type);
    if (entry == operationCatalogue.end() || message == nullptr) {
        return nullptr;
    }
    available = entry->second.second;
    // A message belongs to one collector.
    if (!message->getOperations().empty()) {
        CollectorPlugin* owner = getCollectorFor(message->getOperations().front()->getOperation());
        CollectorPlugin* wanted = getCollectorFor(type);
        if (owner != nullptr && wanted != nullptr && owner != wanted) {
            VR_LOG_STREAM(1) << "Cannot add operation " << type << " to message " << message->getFullName()
                             << " because the collectors are different!" << std::endl;
            return nullptr;
        }
    }
    for (Operation* operation : message->getOperations()) {
        if (operation->getName() == operationName) {
            return operation;
        }
    }
    Operation* made = entry->second.first->clone();
    if (made == nullptr) {
        return nullptr;
    }
    made->setName(operationName);
    if (available) {
        message->addOperation(made);
    } else {
        VR_LOG(4,
               "INFO: Didn't add operation %s to msg %s because op is not available on current platform!\n",
               made->getName().c_str(), message->getName().c_str());
    }
    return made;
}

// ---- CONSTANT -------------------------------------------------------------------------------------

int Parser::constantSub(Tokens const& tokens, size_t& currToken) {
    if (!match(tokens, currToken, "CONSTANT")) {
        return -1;
    }
    currentMechanism = "CONSTANT";
    fullKey += "_CONSTANT";
    if (operationCatalogue.count(currentMechanism) == 0) {
        VR_LOG(1, "ERROR: unknown collector type %s", currentMechanism.c_str());
        return -1;
    }
    if (takeOperation_i() != 0) {
        return -1;
    }
    // On a type that isn't available here the rest of the line is ignored.
    return currentOperation == nullptr ? 0 : call_i(&Parser::constantAny, "constantAny", tokens, currToken);
}

// The operation of the current mechanism in the current message, found or cloned from its prototype.
// -1 when none can be had; otherwise 0, with a null current operation for a type not available here.
int Parser::takeOperation_i() {
    bool available = false;
    currentOperation = getOrCreateOperation(
        currentMsg, currentPrefix + "_" + currentTag + "_" + currentMechanism, currentMechanism, available);
    if (currentOperation == nullptr) {
        VR_LOG_STREAM(1) << "ERROR creating packet with key = " << fullKey << std::endl;
        return -1;
    }
    if (!available) {
        // The message never holds the clone of an unavailable type: nobody else would free it.
        delete currentOperation;
        currentOperation = nullptr;
    }
    return 0;
}

int Parser::constantAny(Tokens const& tokens, size_t& currToken) {
    currentCategory = tokenAt_i(tokens, currToken++);
    fullKey += "_" + currentCategory;
    return call_i(&Parser::constantAnyValue, "constantAnyValue", tokens, currToken);
}

int Parser::constantAnyValue(Tokens const& tokens, size_t& currToken) {
    std::string const key = currentPrefix + "_" + currentTag + "_" + currentCategory;
    std::string const constant = trimmedCopy(tokenAt_i(tokens, currToken++));
    if (currentOperation != nullptr && currentOperation->set(key, constant) != 0) {
        std::fprintf(stderr, "Couldn't add key %s, value %s\n", key.c_str(), constant.c_str());
        return -1;
    }
    return 0;
}

// ---- Hardware operations --------------------------------------------------------------------------

int Parser::hwMechRule(Tokens const& tokens, size_t& currToken) {
    std::string const& type = tokenAt_i(tokens, currToken);
    if (operationCatalogue.count(type) == 0) {
        VR_LOG(1, "ERROR: unknown collector type %s", type.c_str());
        return -1;
    }
    ++currToken;
    currentMechanism = type;
    fullKey += "_" + type;
    return takeOperation_i();
}

int Parser::hwCatRule(Tokens const& tokens, size_t& currToken) {
    std::string const& category = tokenAt_i(tokens, currToken);
    // Without an operation (an unavailable type) there is nothing to check the category against.
    if (currentOperation != nullptr && !currentOperation->isValidCategory(category)) {
        VR_LOG(1, "ERROR: unknown hardware category %s for operation %s", category.c_str(),
               currentMechanism.c_str());
        return -1;
    }
    ++currToken;
    currentCategory = category;
    fullKey += "_" + category;
    return 0;
}

int Parser::directValue(Tokens const& tokens, size_t& currToken) {
    return call_i(&Parser::value, "value", tokens, currToken);
}

int Parser::value(Tokens const& tokens, size_t& currToken) {
    std::string const setting = trimmedCopy(tokenAt_i(tokens, currToken++));
    if (currentOperation != nullptr && currentOperation->set(currentCategory, setting) != 0) {
        VR_LOG(2, "WARNING: Couldn't add key %s, value %s to operation %s\n", currentCategory.c_str(),
               setting.c_str(), currentOperation->getName().c_str());
        return -1;
    }
    return 0;
}

}  // namespace pwr
