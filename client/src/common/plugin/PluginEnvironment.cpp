#include "vantrell/plugin/PluginEnvironment.h"

#include "vantrell/plugin/Logger.h"

PluginEnvironment* g_pluginEnvironment = nullptr;

PluginEnvironment::PluginEnvironment() = default;

PluginEnvironment::~PluginEnvironment() = default;

pwr::Logger* PluginEnvironment::getFileOutputHandle(const char* name) {
    if (name == nullptr) {
        return nullptr;
    }
    if (fileOutputHandle != nullptr) {
        return fileOutputHandle;
    }
    return new pwr::FileLogger(name);
}

bool PluginEnvironment::isDebugLoggingEnabledFor(const char* area) const {
    if (area == nullptr || debugPrefixes.empty()) {
        return false;
    }
    return debugPrefixes.find(area) != debugPrefixes.end();
}

bool PluginEnvironment::isDebugLoggingEnabledFor(const std::string& area) const {
    return debugPrefixes.find(area) != debugPrefixes.end();
}

void PluginEnvironment::addPrefixForDebugLogging(const std::string& area) {
    debugPrefixes.insert(area);
}

void PluginEnvironment::queueMessage(const char* text) {
    if (text != nullptr) {
        messageQueue.emplace_back(text);
    }
}
