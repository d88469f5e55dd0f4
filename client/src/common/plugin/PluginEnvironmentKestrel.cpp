// The counter library: configuring, versioning, starting and stopping it through its entry points.

#include <cstdint>

#include "vantrell/platform/Platform.h"
#include "vantrell/plugin/Logging.h"
#include "vantrell/plugin/PluginEnvironment.h"

namespace {

using ConfigEventFn = int32_t (*)(const char*);
using ErrorMessageFn = int32_t (*)(int32_t, char**);
using VersionFn = int32_t (*)(uint32_t*, uint32_t*, uint32_t*);
using CollectionFn = int32_t (*)();

constexpr char kStartName[] = "KESTREL_Start_Collection";
constexpr char kStopName[] = "KESTREL_Stop_Collection";

template <typename Fn>
Fn resolve(void* library, const char* name) {
    if (library == nullptr) {
        return nullptr;
    }
    return reinterpret_cast<Fn>(pwr::platform::findSymbol(library, name));
}

}  // namespace

bool PluginEnvironment::configureKestrel() {
    auto configure = resolve<ConfigEventFn>(kestrelDllHandle, "KESTREL_Config_Event");
    if (kestrelDllHandle == nullptr || kestrelConfigFileName.empty() || configure == nullptr) {
        return false;
    }
    int32_t status = configure(kestrelConfigFileName.c_str());
    if (status == 0) {
        VR_LOG(3, "DEBUG: Reconfigured KESTREL interface (%s)!\n", kestrelConfigFileName.c_str());
        return true;
    }
    VR_LOG(1, "ERROR: System not configured to allow access to bandwidth data.\n");
    auto errorMessage = resolve<ErrorMessageFn>(kestrelDllHandle, "KESTREL_Get_Error_Message");
    if (errorMessage != nullptr) {
        char* text = nullptr;
        errorMessage(status, &text);
        VR_LOG_AREA(2, "kestrel", "WARNING: KESTREL configuration error: %s.\n", text != nullptr ? text : "");
    }
    kestrelConfigFileName.clear();
    return false;
}

bool PluginEnvironment::getKestrelVersion(unsigned int* major, unsigned int* minor, unsigned int* patch) {
    auto version = resolve<VersionFn>(kestrelDllHandle, "KESTREL_Get_Version");
    if (kestrelConfigFileName.empty() || kestrelDllHandle == nullptr || version == nullptr) {
        return false;
    }
    return version(major, minor, patch) == 0;
}

bool PluginEnvironment::startKestrel() {
    if (g_pluginEnvironment->getKestrelConfigFileName().empty()) {
        return false;
    }
    auto start = resolve<CollectionFn>(kestrelDllHandle, kStartName);
    if (kestrelDllHandle == nullptr || start == nullptr) {
        VR_LOG(2,
               "WARNING: Error due to NULL kestrelDllHandle or invalid address for KESTREL_Start_Collection "
               "function !\n !\n");
        return false;
    }
    int32_t status = start();
    VR_LOG(4, "INFO: SIGTAP: %s return status - %d\n", kStartName, status);
    if (status != 0) {
        VR_LOG(2, "WARNING: ERROR starting a KESTREL collection!\n");
        return false;
    }
    VR_LOG(4, "INFO: OK, starting KESTREL collection!\n");
    return true;
}

bool PluginEnvironment::stopKestrel() {
    if (g_pluginEnvironment->getKestrelConfigFileName().empty()) {
        return false;
    }
    auto stop = resolve<CollectionFn>(kestrelDllHandle, kStopName);
    if (kestrelDllHandle == nullptr || stop == nullptr) {
        VR_LOG(2,
               "WARNING: Error due to NULL kestrelDllHandle or invalid address for KESTREL_Stop_Collection "
               "function !\n");
        return false;
    }
    int32_t status = stop();
    VR_LOG(4, "INFO: SIGTAP: %s return status - %d\n", kStopName, status);
    pwr::platform::closeLibrary(kestrelDllHandle);  // the library's life ends here, whatever the status
    if (status != 0) {
        VR_LOG(2, "WARNING: ERROR stopping a KESTREL collection!\n");
        return false;
    }
    VR_LOG(4, "INFO: OK, stopped KESTREL collection!\n");
    return true;
}
