// The requirements that test one fact of the SystemMetadata.

#include <atomic>

#include "vantrell/plugin/Logging.h"
#include "vantrell/plugin/SystemRequirements.h"
#include "vantrell/record/SystemMetadata.h"

namespace pwr {
namespace {

constexpr char kNoIntegratedGraphicsNotice[] =
    "An integrated graphics device is not detected. Integrated graphics related metrics are disabled.";

// Many capabilities may hold the requirement; the user is told once per process.
std::atomic<bool> g_toldNoIntegratedGraphics{false};

void tellNoIntegratedGraphicsOnce() {
    if (g_toldNoIntegratedGraphics.exchange(true)) {
        return;
    }
    VR_LOG(0, "%s\n", kNoIntegratedGraphicsNotice);
    g_pluginEnvironment->queueMessage(kNoIntegratedGraphicsNotice);
}

}  // namespace

FMSPluginRequirement::FMSPluginRequirement(const FMS& value, bool negative)
    : PluginRequirement("FMS", negative), fms(value) {}

bool FMSPluginRequirement::isPluginRequirementSatisfied_i(const SystemMetadata& system,
                                                          const PluginParams&) const {
    return system.fms == fms;
}

SCUPluginRequirement::SCUPluginRequirement(const unsigned int& version, bool negative)
    : PluginRequirement("SCU", negative), scuVersion(version) {}

bool SCUPluginRequirement::isPluginRequirementSatisfied_i(const SystemMetadata& system,
                                                          const PluginParams&) const {
    return system.scuVersion == scuVersion;
}

OSNamePluginRequirement::OSNamePluginRequirement(const std::string& name, bool negative)
    : PluginRequirement("OS", negative), osName(name) {}

bool OSNamePluginRequirement::isPluginRequirementSatisfied_i(const SystemMetadata& system,
                                                             const PluginParams&) const {
    return system.osName == osName;
}

IGFXPresentPluginRequirement::IGFXPresentPluginRequirement(bool negative)
    : PluginRequirement("IGFX", negative) {}

bool IGFXPresentPluginRequirement::isPluginRequirementSatisfied_i(const SystemMetadata& system,
                                                                  const PluginParams&) const {
    if (system.iGfxId == 0) {
        tellNoIntegratedGraphicsOnce();
    }
    return system.iGfxId != 0;
}

PCHPluginRequirement::PCHPluginRequirement(const std::string& name, bool negative)
    : PluginRequirement("PCH", negative), pchName(name) {}

bool PCHPluginRequirement::isPluginRequirementSatisfied_i(const SystemMetadata& system,
                                                          const PluginParams&) const {
    return system.platformName.find(pchName) != std::string::npos;
}

HyperVEnablePluginRequirement::HyperVEnablePluginRequirement(bool negative)
    : PluginRequirement("HV", negative) {}

bool HyperVEnablePluginRequirement::isPluginRequirementSatisfied_i(const SystemMetadata& system,
                                                                   const PluginParams&) const {
    return system.hyperVEnable != 0;
}

VSMDisablePluginRequirement::VSMDisablePluginRequirement(bool negative)
    : PluginRequirement("VSM", negative) {}

bool VSMDisablePluginRequirement::isPluginRequirementSatisfied_i(const SystemMetadata& system,
                                                                 const PluginParams&) const {
    return system.vsmEnable == 0;
}

}  // namespace pwr
