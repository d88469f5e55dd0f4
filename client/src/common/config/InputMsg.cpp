#include "vantrell/config/InputMsg.h"

#include <cstdio>

#include "config/ConfigParser.h"
#include "vantrell/config/TextHelpers.h"
#include "vantrell/config/Tokenizer.h"
#include "vantrell/plugin/CollectorPlugin.h"
#include "vantrell/plugin/Logging.h"
#include "vantrell/record/Metadata.h"

namespace pwr {

namespace {

bool isExclusiveTrigger(std::string const& trigger) {
    return trigger == "INIT" || trigger == "REQUIREMENTS" || trigger == "FINI";
}

// The two parts of `<platform>_<prefix>`, or none when the text isn't of that form.
std::vector<std::string> prefixParts(std::string const& platformPrefix) {
    // A text of underscores only holds no token, which the Tokenizer refuses to be given.
    if (platformPrefix.find_first_not_of('_') == std::string::npos) {
        return {};
    }
    return Tokenizer(platformPrefix, "_").get_all_tokens();
}

}  // namespace

InputMsg::InputMsg(std::string const& msgName) {
    init_i(msgName, std::string(), 0, 0, 0, VR_OP_NOT_SET);
}

InputMsg::InputMsg(std::string const& msgName, std::string const& prefix) {
    init_i(msgName, prefix, 0, 0, 0, VR_OP_NOT_SET);
}

InputMsg::InputMsg(std::string const& msgName, int plugin, int metric, int msg) {
    init_i(msgName, std::string(), plugin, metric, msg, VR_OP_NOT_SET);
}

InputMsg::InputMsg(InputMsg const& other) = default;

InputMsg& InputMsg::operator=(InputMsg const& other) = default;

InputMsg::~InputMsg() {
    for (Operation* operation : operations) {
        delete operation;
    }
}

void InputMsg::init_i(std::string const& msgName, std::string const& prefix, int plugin, int metric, int msg,
                      VROpCommand msgCommand) {
    name = msgName;
    platformPrefix = prefix;
    setPlatformName();
    fullName = platformPrefix + "_" + name;
    pluginID = plugin;
    metricID = metric;
    msgID = msg;
    cpuString = "ANY";
    entityHandle = nullptr;
    activeTriggers = &triggers;
    command = msgCommand;
    samplingInterval = 0;
}

void InputMsg::setPlatformPrefix(std::string const& value) {
    platformPrefix = value;
    fullName = platformPrefix + "_" + name;
    setPlatformName();
}

void InputMsg::setPlatformName() {
    std::vector<std::string> parts = prefixParts(platformPrefix);
    if (parts.size() == 2) {
        platformName = parts[0];
    }
}

std::string InputMsg::getConfigfilePrefix() const {
    std::vector<std::string> parts = prefixParts(platformPrefix);
    return parts.size() == 2 ? parts[1] : "<N/A>";
}

int InputMsg::setCPUString(std::string const& cpu) {
    if (cpu != "ALL" && cpu != "ANY" && !isNumber(cpu)) {
        return -1;
    }
    cpuString = cpu;
    return 0;
}

int InputMsg::setEntityHandle(EntityHandle const* handle) {
    if (entityHandle != nullptr) {
        return -1;
    }
    entityHandle = handle;
    return 0;
}

// ---- Triggers -------------------------------------------------------------------------------------

bool InputMsg::areOperationsCompatible_i(VROpCommand wanted) const {
    for (Operation const* operation : operations) {
        if (!operation->isValidCommand(wanted)) {
            return false;
        }
    }
    return true;
}

bool InputMsg::isCommandCompatible_i(VROpCommand wanted) const {
    return (command == VR_OP_NOT_SET || command == wanted) && areOperationsCompatible_i(wanted);
}

bool InputMsg::isTriggerCompatible_i(std::string const& trigger, PWSet<std::string> const& set) const {
    if (!isExclusiveTrigger(trigger)) {
        for (std::string const& present : set) {
            if (isExclusiveTrigger(present)) {
                VR_LOG_STREAM(1)
                    << "Trying to add Trigger " << trigger << " to message " << name
                    << " which already has an \"INIT\" or \"REQUIREMENTS\" Trigger; \"INIT\" and "
                       "\"REQUIREMENTS\" messages cannot be mixed with other messages!"
                    << std::endl;
                return false;
            }
        }
        return true;
    }
    if (set.empty() || (set.size() == 1 && *set.begin() == trigger)) {
        return true;
    }
    VR_LOG_STREAM(1) << "Trying to add Trigger " << trigger << " to message " << name
                     << " which already has other triggers; \"INIT\", \"FINI\" and \"REQUIREMENTS\" messages "
                        "CANNOT be mixed with other messages!"
                     << std::endl;
    return false;
}

int InputMsg::addTrigger(VROpCommand wanted, std::string const& trigger, bool maxDetail) {
    if (!isCommandCompatible_i(wanted)) {
        std::fputs("Commands are not compatible!\n", stderr);
        return -1;
    }
    PWSet<std::string>& set = triggerSet_i(maxDetail);
    if (!isTriggerCompatible_i(trigger, set)) {
        return -1;
    }
    command = wanted;
    set.insert(trigger);
    return 0;
}

int InputMsg::addTrigger(VROpCommand wanted, std::string const& trigger) {
    if (!isCommandCompatible_i(wanted) || !isTriggerCompatible_i(trigger, *activeTriggers)) {
        return -1;
    }
    command = wanted;
    activeTriggers->insert(trigger);
    return 0;
}

int InputMsg::addReadTrigger(std::string const& trigger, bool maxDetail) {
    return addTrigger(VR_OP_READ, trigger, maxDetail);
}

int InputMsg::addWriteTrigger(std::string const& trigger, bool maxDetail) {
    return addTrigger(VR_OP_WRITE, trigger, maxDetail);
}

void InputMsg::addTracepointName(std::string const& tracepoint) {
    addTracepointName(tracepoint, isActiveMaxDetail_i());
}

void InputMsg::addNotifierName(std::string const& notifier) {
    addNotifierName(notifier, isActiveMaxDetail_i());
}

void InputMsg::addTracepointName(std::string const& tracepoint, bool maxDetail) {
    (maxDetail ? maxDetailTracepointNames : tracepointNames).insert(tracepoint);
}

void InputMsg::addNotifierName(std::string const& notifier, bool maxDetail) {
    (maxDetail ? maxDetailNotifierNames : notifierNames).insert(notifier);
}

PWSet<std::string> const& InputMsg::getTracepointNames() const {
    return getTracepointNames(isActiveMaxDetail_i());
}

PWSet<std::string> const& InputMsg::getNotifierNames() const {
    return getNotifierNames(isActiveMaxDetail_i());
}

PWSet<std::string> const& InputMsg::getTriggers(bool maxDetail) const {
    return maxDetail ? maxDetailTriggers : triggers;
}

PWSet<std::string> const& InputMsg::getTracepointNames(bool maxDetail) const {
    return maxDetail ? maxDetailTracepointNames : tracepointNames;
}

PWSet<std::string> const& InputMsg::getNotifierNames(bool maxDetail) const {
    return maxDetail ? maxDetailNotifierNames : notifierNames;
}

void InputMsg::setTrigger(bool useMaxDetail, bool fallBack) {
    activeTriggers = useMaxDetail ? &maxDetailTriggers : &triggers;
    if (activeTriggers->empty() && fallBack) {
        activeTriggers = useMaxDetail ? &triggers : &maxDetailTriggers;
    }
}

MsgMetadata* InputMsg::getMetadata() const {
    MsgMetadata* record = new MsgMetadata(pluginID, metricID, msgID);
    record->setMsgName(name);
    for (Operation const* operation : operations) {
        record->addMetaValue(operation->getOperationMetadata());
    }
    return record;
}

}  // namespace pwr

namespace pwr {

int InputMsg::execute(std::vector<std::pair<std::string, std::string>>& results) {
    if (operations.empty()) {
        VR_LOG(2, "WARNING: Message %s has no operations defined!\n", name.c_str());
        return -1;
    }
    // A message belongs to one collector: its first operation tells which.
    Operation const* first = operations.front();
    char const* fault = nullptr;
    CollectorPlugin* collector = nullptr;
    if (first->getOperation().empty()) {
        fault = " without a valid packet?!";
    } else if (Parser::current() == nullptr) {
        fault = " without a valid parser?!";
    } else if ((collector = Parser::current()->getCollectorFor(first->getOperation())) == nullptr) {
        VR_LOG_STREAM(1) << "Trying to do immediate read/write of operation " << first->getName()
                         << " with invalid type " << first->getOperation() << "?!" << std::endl;
        return -1;
    }
    if (fault != nullptr) {
        VR_LOG_STREAM(1) << "Trying to do immediate read/write of operation " << first->getName() << fault
                         << std::endl;
        return -1;
    }
    VR_LOG(4, "INFO: OK, found collector for operation %s; now dispatching!\n", first->getName().c_str());
    size_t commandValue = static_cast<size_t>(command);
    if ((commandValue & ~size_t{2}) != 0) {
        VR_LOG(4, "INFO: doing a WRITE (cmd = %zu)\n", commandValue);
        return collector->doImmediateWrite(this);
    }
    VR_LOG(4, "INFO: doing a READ (cmd = %zu)\n", commandValue);
    return collector->doImmediateRead(this, results);
}

int getWhenTypeForTrigger(std::string const& trigger) {
    static std::pair<char const*, int> const kTable[] = {
        {"BEGIN", BEGIN},           {"END", END}, {"POLL", POLL}, {"NOTIFIER", NOTIFIER},
        {"TRACEPOINT", TRACEPOINT}, {"", END},
    };
    for (auto const& row : kTable) {
        if (trigger == row.first) {
            return row.second;
        }
    }
    return END;
}

unsigned char getTriggerMask(PWSet<std::string> const& triggerSet) {
    unsigned char mask = 0;
    for (std::string const& trigger : triggerSet) {
        mask = static_cast<unsigned char>(mask | (1u << getWhenTypeForTrigger(trigger)));
    }
    return mask;
}

int getCPUMaskFromString(std::string const& cpu) {
    if (cpu == "ALL") {
        return -2;
    }
    if (cpu == "ANY") {
        return -1;
    }
    return isNumber(cpu) ? static_cast<int>(extract_number_i(cpu)) : -3;
}

}  // namespace pwr
