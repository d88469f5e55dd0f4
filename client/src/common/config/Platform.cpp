#include "vantrell/config/Platform.h"

#include <algorithm>
#include <cstdio>

#include "vantrell/config/ConfigCap.h"
#include "vantrell/config/InputMsg.h"
#include "vantrell/config/Specifier.h"
#include "vantrell/plugin/Logging.h"

namespace pwr {

Platform::Platform(std::string const& platformName, Platform* parentPlatform)
    : name(platformName), parent(parentPlatform) {
    if (parent != nullptr) {
        parent->addChild(this);
    }
}

Platform::~Platform() {
    for (auto& entry : caps) {
        delete entry.second;
    }
    for (Specifier* specifier : specifiers) {
        delete specifier;
    }
}

void Platform::addSpecifier(Specifier* specifier) {
    if (specifier != nullptr) {
        specifiers.push_back(specifier);
    }
}

ConfigCap* Platform::getOrCreateCap(std::string const& prefix, std::string const& platformPrefix) {
    std::string const key = platformPrefix + "_" + prefix;
    ConfigCap*& cap = caps[key];
    if (cap == nullptr) {
        cap = new ConfigCap();
        cap->setConfigfilePrefix(prefix);
    }
    VR_LOG_STREAM(3) << "OK, got or created cap with config file prefix = " << prefix << std::endl;
    return cap;
}

InputMsg* Platform::getOrCreateMessage(std::string const& msgName, std::string const& key) {
    std::string const msgKey = key + "_" + msgName;
    auto found = messages.find(msgKey);
    if (found != messages.end()) {
        return found->second;
    }
    ownedMessages.push_back(std::make_unique<InputMsg>(msgName, key));
    InputMsg* made = ownedMessages.back().get();
    // Messages of a prefix are numbered from 1 in their order of appearance, until an ID line says else.
    made->setMsgID(++messageCounters[key]);
    messages[msgKey] = made;
    return made;
}

void Platform::addMessageName(std::string const& key, std::string const& fullName) {
    std::vector<std::string>& names = messageNames[key];
    if (std::find(names.begin(), names.end(), fullName) == names.end()) {
        names.push_back(fullName);
    }
}

InputMsg* Platform::findMessage(std::string const& msgName) const {
    for (Platform const* platform = this; platform != nullptr; platform = platform->parent) {
        auto found = platform->messages.find(platform->name + "_" + msgName);
        if (found != platform->messages.end()) {
            return found->second;
        }
    }
    return nullptr;
}

int Platform::appendMessages(InputMsg* group, CollectorPlugin const* groupCollector, InputMsg* member,
                             CollectorPlugin const* memberCollector) {
    if (group == nullptr || member == nullptr) {
        return -1;
    }
    if (groupCollector != nullptr && memberCollector != nullptr && groupCollector != memberCollector) {
        VR_LOG_STREAM(1) << "ERROR appending messages " << group->getFullName() << " and "
                         << member->getFullName() << "; CANNOT append messages if collectors are different!"
                         << std::endl;
        return -1;
    }
    // A group's triggers are stated on its own lines: a member that brings any that the group takes
    // can't combine with it.
    static char const* const kTexts[] = {" have incompatible read capabilities!",
                                         " have incompatible max-detail read capabilities!"};
    for (bool maxDetail : {false, true}) {
        for (std::string const& trigger : member->getTriggers(maxDetail)) {
            if (group->addTrigger(VR_OP_READ, trigger, maxDetail) == 0) {
                VR_LOG_STREAM(1) << "Msg " << group->getFullName() << " and " << member->getFullName()
                                 << kTexts[maxDetail ? 1 : 0] << std::endl;
                return -1;
            }
        }
    }
    for (Operation* operation : member->getOperations()) {
        group->addOperation(operation);
    }
    member->resetOperations();
    messages[member->getFullName()] = group;
    return 0;
}

}  // namespace pwr
