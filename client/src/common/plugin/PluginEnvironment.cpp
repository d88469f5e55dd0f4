#include "vantrell/plugin/PluginEnvironment.h"

#include <ostream>

#include "vantrell/platform/Platform.h"
#include "vantrell/plugin/Logger.h"
#include "vantrell/plugin/Logging.h"

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

void PluginEnvironment::adoptOutputStream(std::unique_ptr<std::ostream> stream) {
    ownedOutputStream = std::move(stream);
}

void PluginEnvironment::setVantrellDirectory() {
    std::string path;
    if (!pwr::platform::getModuleFileName(path)) {
        VR_LOG(1, "ERROR: Cannot get full pathname for vantrell executable. Error: %s\n",
               pwr::platform::getLastErrorText().c_str());
        return;
    }
    // The system gives a full path, so there is a separator; a bare name would mean the working
    // directory.
    std::string::size_type cut = path.rfind('\\');
    if (cut == std::string::npos) {
        path = ".";
    } else {
        path.erase(cut);
    }
    vantrellDirectory = path + '\\';
    pwr::platform::setLibraryDirectory(path);

    // The search path takes 16-bit units; each carries one byte of the path, unsigned.
    std::u16string pluginDirectory;
    pluginDirectory.reserve(path.size() + 9);
    for (char byte : path) {
        pluginDirectory.push_back(static_cast<char16_t>(static_cast<unsigned char>(byte)));
    }
    pluginDirectory += u"\\plugins\\";
    pwr::platform::addLibraryDirectory(pluginDirectory);
}

void PluginEnvironment::setDefaultClockToTSCRatio(float clockMHz, float tscMHz) {
    defaultClockMHz = clockMHz;
    defaultClockToTSCRatio = clockMHz / tscMHz;
}

float PluginEnvironment::getSecFromTimestamp(uint64_t ts) const {
    return static_cast<float>(ts) / defaultClockMHz / 1000000.0f;
}
