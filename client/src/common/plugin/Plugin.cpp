#include "vantrell/plugin/Plugin.h"

#include "vantrell/plugin/Logging.h"

Plugin::Plugin(std::string pluginUuid) : uuid(std::move(pluginUuid)) {}

Plugin::~Plugin() {
    for (pwr::PluginCapability* capability : capabilities) {
        // A null entry marks the end of what this plug-in owns.
        if (capability == nullptr) {
            break;
        }
        delete capability;
    }
}

void Plugin::getVersion(std::vector<std::pair<std::string, std::string>>&) {}

void Plugin::handleBroadcastOption(const std::string&) {}

pwr::ResetReturnCode Plugin::reset(pwr::ResetReason, unsigned long long, const pwr::SystemMetadata&) {
    return pwr::RESET_CONSUMED;
}

void Plugin::addCapability(pwr::PluginCapability* capability) {
    if (capability == nullptr) {
        return;
    }
    capabilities.push_back(capability);
    capability->setOwner(this);
}

void Plugin::notifyCommandlineParamsSet_i() {}

void Plugin::setCommandlineParams(const std::string& params) {
    commandlineParams = params;
    notifyCommandlineParamsSet_i();
}

void Plugin::getCapabilitiesFor(Capabilities& out, const std::string& name, const pwr::SystemMetadata& system,
                                const pwr::PluginParams& params) {
    Capabilities matching;
    getAllCapabilities(matching, name);
    for (pwr::PluginCapability* capability : matching) {
        if (capability->isCapabilitySuitableFor(system, params) == pwr::REQUIREMENTS_NOT_MET) {
            continue;
        }
        VR_LOG(4, "INFO: %s is reporting a suitable capability for %s!\n", uuid.c_str(), name.c_str());
        out.push_back(capability);
    }
}

void Plugin::getCapabilitiesFor(Capabilities& out, const std::string& name,
                                const pwr::SystemMetadata& system) {
    getCapabilitiesFor(out, name, system, pwr::PluginParams());
}

void Plugin::getAllCapabilities(Capabilities& out, const pwr::SystemMetadata& system) {
    getCapabilitiesFor(out, std::string(), system);
}

void Plugin::getAllCapabilities(Capabilities& out, const std::string& name) {
    for (pwr::PluginCapability* capability : capabilities) {
        if (name.empty() || capability->equals(name)) {
            out.push_back(capability);
        }
    }
}

void Plugin::getAllCapabilities(Capabilities& out) {
    getAllCapabilities(out, std::string());
}
