// The message lines: `<platform>_<prefix>_<name>_MSG_<attribute>=<value>`, and the start of every
// message, constant and hardware line (tagSub).

#include <cctype>
#include <cstring>
#include <string>

#include "config/ConfigParser.h"
#include "vantrell/config/InputMsg.h"
#include "vantrell/config/LineReader.h"
#include "vantrell/config/Platform.h"
#include "vantrell/config/TextHelpers.h"
#include "vantrell/config/Tokenizer.h"
#include "vantrell/plugin/Logging.h"

namespace pwr {

namespace {

bool isPlainTrigger(std::string const& piece) {
    static char const* const kWords[] = {"REQUIREMENTS", "INIT", "BEGIN", "POLL", "END", "FINI"};
    for (char const* word : kWords) {
        if (piece == word) {
            return true;
        }
    }
    return false;
}

bool beginsWith(std::string const& text, char const* head) {
    return text.compare(0, std::strlen(head), head) == 0;
}

}  // namespace

int Parser::tagSub(Tokens const& tokens, size_t& currToken) {
    std::string const key = fullKey;
    if (call_i(&Parser::tag, "tag", tokens, currToken) != 0) {
        return -1;
    }
    currentPlatform->addMessageName(key, fullKey);
    currentMsg = currentPlatform->getOrCreateMessage(currentTag, key);
    if (currentMsg == nullptr) {
        return -1;
    }
    std::string const& mechanism = tokenAt_i(tokens, currToken);
    if (mechanism == "MSG") {
        return call_i(&Parser::msgSub, "msgSub", tokens, currToken);
    }
    if (mechanism == "CONSTANT") {
        return call_i(&Parser::constantSub, "constantSub", tokens, currToken);
    }
    if (call_i(&Parser::hwMechRule, "hwMechRule", tokens, currToken) != 0 ||
        call_i(&Parser::hwCatRule, "hwCatRule", tokens, currToken) != 0) {
        return -1;
    }
    return call_i(&Parser::directValue, "directValue", tokens, currToken);
}

int Parser::msgSub(Tokens const& tokens, size_t& currToken) {
    if (!match(tokens, currToken, "MSG")) {
        return -1;
    }
    currentMechanism = "MSG";
    fullKey += "_MSG";
    struct Choice {
        char const* word;
        Rule rule;
        char const* name;
    };
    static Choice const kChoices[] = {
        {"GROUP", &Parser::msgGroup, "msgGroup"},
        {"ID", &Parser::msgID, "msgID"},
        {"READ-WHEN", &Parser::msgReadWhen, "msgReadWhen"},
        {"READ-WHEN-MAX-DETAIL", &Parser::msgReadWhenMaxDetail, "msgReadWhenMaxDetail"},
        {"READ-WHICH-CPU", &Parser::msgReadWhere, "msgReadWhere"},
        {"WRITE-WHEN", &Parser::msgWriteWhen, "msgWriteWhen"},
        {"WRITE-WHEN-MAX-DETAIL", &Parser::msgWriteWhenMaxDetail, "msgWriteWhenMaxDetail"},
        {"WRITE-WHICH-CPU", &Parser::msgWriteWhere, "msgWriteWhere"},
        {"SOURCE", &Parser::msgSource, "msgSource"},
    };
    std::string const& attribute = tokenAt_i(tokens, currToken);
    for (Choice const& choice : kChoices) {
        if (attribute == choice.word) {
            return call_i(choice.rule, choice.name, tokens, currToken);
        }
    }
    return -1;
}

// ---- GROUP ----------------------------------------------------------------------------------------

int Parser::msgGroup(Tokens const& tokens, size_t& currToken) {
    return call_i(&Parser::msgGroupList, "msgGroupList", tokens, currToken);
}

int Parser::name(std::string const& piece) {
    return piece.empty() || !std::isalpha(static_cast<unsigned char>(piece[0])) ? -1 : 0;
}

int Parser::msgGroupList(Tokens const& tokens, size_t& currToken) {
    if (!match(tokens, currToken, "GROUP")) {
        return -1;
    }
    std::string const key = platformPrefix_i();
    std::string rest = tokenAt_i(tokens, currToken);
    std::string piece;
    while (getNextToken(piece, rest, ',', false) == 0) {
        std::string const memberName = trimmedCopy(piece);
        if (checked_i(name(memberName), "name") != 0) {
            return -1;
        }
        InputMsg* member = currentPlatform->getOrCreateMessage(memberName, key);
        if (member == nullptr) {
            VR_LOG(2, "WARNING: couldn't get or create a message with name %s!\n", memberName.c_str());
            return -1;
        }
        if (member == currentMsg) {
            VR_LOG_STREAM(3) << "told to add a group " << currentMsg->getFullName() << " to itself?!"
                             << std::endl;
            continue;
        }
        if (currentPlatform->appendMessages(currentMsg, collectorOfMessage_i(currentMsg), member,
                                            collectorOfMessage_i(member)) != 0) {
            VR_LOG(2, "WARNING: couldn't append message %s to message %s!\n", member->getFullName().c_str(),
                   currentMsg->getFullName().c_str());
            return -1;
        }
    }
    ++currToken;
    return 0;
}

CollectorPlugin* Parser::collectorOfMessage_i(InputMsg const* message) const {
    if (message == nullptr || message->getOperations().empty()) {
        return nullptr;
    }
    return getCollectorFor(message->getOperations().front()->getOperation());
}

// ---- ID -------------------------------------------------------------------------------------------

int Parser::msgID(Tokens const& tokens, size_t& currToken) {
    ++currToken;
    return call_i(&Parser::msgIDValue, "msgIDValue", tokens, currToken);
}

int Parser::msgIDValue(Tokens const& tokens, size_t& currToken) {
    std::string const& number = tokenAt_i(tokens, currToken);
    if (number.empty() || !isNumber(number)) {
        return -1;
    }
    currentMsg->setMsgID(static_cast<int>(extract_number_i(number)));
    ++currToken;
    return 0;
}

// ---- Triggers and CPUs ----------------------------------------------------------------------------

int Parser::msgReadWhen(Tokens const& tokens, size_t& currToken) {
    ++currToken;
    return checked_i(triggers(tokens, currToken, VR_OP_READ, false), "triggers");
}

int Parser::msgReadWhenMaxDetail(Tokens const& tokens, size_t& currToken) {
    ++currToken;
    return checked_i(triggers(tokens, currToken, VR_OP_READ, true), "triggers");
}

int Parser::msgWriteWhen(Tokens const& tokens, size_t& currToken) {
    ++currToken;
    return checked_i(triggers(tokens, currToken, VR_OP_WRITE, false), "triggers");
}

int Parser::msgWriteWhenMaxDetail(Tokens const& tokens, size_t& currToken) {
    ++currToken;
    return checked_i(triggers(tokens, currToken, VR_OP_WRITE, true), "triggers");
}

int Parser::msgReadWhere(Tokens const& tokens, size_t& currToken) {
    ++currToken;
    return call_i(&Parser::readWriteCPU, "readWriteCPU", tokens, currToken);
}

int Parser::msgWriteWhere(Tokens const& tokens, size_t& currToken) {
    ++currToken;
    return call_i(&Parser::readWriteCPU, "readWriteCPU", tokens, currToken);
}

int Parser::triggers(Tokens const& tokens, size_t& currToken, int command, bool maxDetail) {
    std::string rest = tokenAt_i(tokens, currToken);
    std::string piece;
    while (getNextToken(piece, rest, ',', false) == 0) {
        if (checked_i(trigger(piece, command, maxDetail), "trigger") != 0) {
            return -1;
        }
    }
    ++currToken;
    return 0;
}

int Parser::trigger(std::string const& piece, int command, bool maxDetail) {
    if (isPlainTrigger(piece)) {
        return currentMsg->addTrigger(static_cast<VROpCommand>(command), piece, maxDetail);
    }
    if (beginsWith(piece, "NOTIFIER")) {
        return checked_i(notifierTrigger(piece, command, maxDetail), "notifierTrigger");
    }
    if (beginsWith(piece, "TRACEPOINT")) {
        return checked_i(traceTrigger(piece, command, maxDetail), "traceTrigger");
    }
    return -1;
}

int Parser::traceTrigger(std::string const& piece, int command, bool maxDetail) {
    return namedTrigger_i(piece, "TRACEPOINT", command, maxDetail);
}

int Parser::notifierTrigger(std::string const& piece, int command, bool maxDetail) {
    return namedTrigger_i(piece, "NOTIFIER", command, maxDetail);
}

// `<keyword>=<name>`: the keyword becomes the trigger, the name joins the names it waits for.
int Parser::namedTrigger_i(std::string const& piece, char const* keyword, int command, bool maxDetail) {
    size_t equals = piece.find('=');
    if (equals == std::string::npos || piece.compare(0, equals, keyword) != 0) {
        return -1;
    }
    std::string const eventName = piece.substr(equals + 1, piece.find(',', equals + 1) - equals - 1);
    if (eventName.empty()) {
        return -1;
    }
    bool tracepoint = std::strcmp(keyword, "TRACEPOINT") == 0;
    VR_LOG_STREAM(4) << (tracepoint ? "OK, adding tracepoint name = " : "OK, adding notifier name = ")
                     << eventName << " to msg " << currentMsg->getFullName() << std::endl;
    if (currentMsg->addTrigger(static_cast<VROpCommand>(command), keyword, maxDetail) != 0) {
        return -1;
    }
    if (tracepoint) {
        currentMsg->addTracepointName(eventName, maxDetail);
    } else {
        currentMsg->addNotifierName(eventName, maxDetail);
    }
    return 0;
}

int Parser::readWriteCPU(Tokens const& tokens, size_t& currToken) {
    std::string const& cpu = tokenAt_i(tokens, currToken);
    if (cpu != "ALL" && cpu != "ANY" && !isNumber(cpu)) {
        return -1;
    }
    currentMsg->setCPUString(cpu);
    ++currToken;
    return 0;
}

// ---- SOURCE ---------------------------------------------------------------------------------------

int Parser::msgSource(Tokens const& tokens, size_t& currToken) {
    ++currToken;
    return call_i(&Parser::msgSourceRule, "msgSourceRule", tokens, currToken);
}

int Parser::msgSourceRule(Tokens const& tokens, size_t& currToken) {
    std::string const& sourceName = tokenAt_i(tokens, currToken);
    if (sourceName.empty()) {
        return -1;
    }
    ++currToken;
    VR_LOG(4, "INFO: Source rule token is %s\n", sourceName.c_str());
    InputMsg* source = currentPlatform->findMessage(currentPrefix + "_" + sourceName);
    if (source == nullptr) {
        VR_LOG(2, "WARNING: CANNOT source from non-existant msg %s!\n", sourceName.c_str());
        return -1;
    }
    if (source == currentMsg) {
        VR_LOG(2, "WARNING: CANNOT self-source for message %s!\n", currentMsg->getFullName().c_str());
        return 0;
    }
    if (source->getOperationCount() == 0) {
        VR_LOG(2,
               "WARNING: message %s cannot be sourced since it doesn't contain any supported operations!\n",
               source->getFullName().c_str());
        return 0;
    }
    if (source->getOperationCount() > 1) {
        VR_LOG(2, "WARNING: message %s cannot be sourced since it is part of a group!\n",
               source->getFullName().c_str());
        return -1;
    }
    if (currentMsg->getOperationCount() != 0) {
        VR_LOG(2, "WARNING: CANNOT source to non-empty message %s!\n", currentMsg->getFullName().c_str());
        return -1;
    }
    Operation const* original = source->getOperations().front();
    Operation* copy = original->clone();
    if (copy == nullptr) {
        return -1;
    }
    copy->setName(currentPrefix + "_" + currentTag + "_" + original->getOperation());
    currentMsg->addOperation(copy);
    return 0;
}

}  // namespace pwr
