#pragma once

// Requirements that test one fact of the SystemMetadata: processor, SCU firmware, operating system,
// integrated graphics, platform controller hub, HyperV and VSM. Each is a copyable value; see
// "vantrell/plugin/PluginRequirement.h" for ownership and how `negative` inverts a test.

#include <cstdint>
#include <string>

#include "vantrell/Export.h"
#include "vantrell/plugin/PluginRequirement.h"
#include "vantrell/record/FMS.h"

namespace pwr {

// "FMS": the system's processor equals `fms`, a stepping of 0 on either side matching any stepping.
class VR_EXPORT FMSPluginRequirement : public PluginRequirement {
  public:
    FMSPluginRequirement(const FMS& fms, bool negative);
    const FMS& getFMS() const { return fms; }

  protected:
    bool isPluginRequirementSatisfied_i(const SystemMetadata& system,
                                        const PluginParams& params) const override;

  private:
    FMS fms;
};

// "SCU": the system's SCU firmware version equals `scuVersion`.
class VR_EXPORT SCUPluginRequirement : public PluginRequirement {
  public:
    SCUPluginRequirement(const unsigned int& scuVersion, bool negative);
    unsigned int getSCUVersion() const { return scuVersion; }

  protected:
    bool isPluginRequirementSatisfied_i(const SystemMetadata& system,
                                        const PluginParams& params) const override;

  private:
    uint32_t scuVersion;
};

// "OS": the system's OS name equals `osName`, whole string, case counting.
class VR_EXPORT OSNamePluginRequirement : public PluginRequirement {
  public:
    OSNamePluginRequirement(const std::string& osName, bool negative);
    const std::string& getOSName() const { return osName; }

  protected:
    bool isPluginRequirementSatisfied_i(const SystemMetadata& system,
                                        const PluginParams& params) const override;

  private:
    std::string osName;
};

// "IGFX": the system has integrated graphics (its iGfx Id is not 0).
//
// The first test in this process that finds no integrated graphics tells the user, whatever
// `negative` says and however many requirements exist: it sends "An integrated graphics device is not
// detected. Integrated graphics related metrics are disabled.\n" at level 0 through the debug logger
// and queues the same text, without the line end, in the environment's message queue. Later tests
// stay silent.
class VR_EXPORT IGFXPresentPluginRequirement : public PluginRequirement {
  public:
    explicit IGFXPresentPluginRequirement(bool negative = false);

  protected:
    bool isPluginRequirementSatisfied_i(const SystemMetadata& system,
                                        const PluginParams& params) const override;
};

// "PCH": `pchName` stands somewhere inside the system's platform name. An empty `pchName` is found in
// every platform name.
class VR_EXPORT PCHPluginRequirement : public PluginRequirement {
  public:
    PCHPluginRequirement(const std::string& pchName, bool negative);
    const std::string& getPCHName() const { return pchName; }

  protected:
    bool isPluginRequirementSatisfied_i(const SystemMetadata& system,
                                        const PluginParams& params) const override;

  private:
    std::string pchName;
};

// "HV": the system's HyperV enable byte is not 0.
class VR_EXPORT HyperVEnablePluginRequirement : public PluginRequirement {
  public:
    explicit HyperVEnablePluginRequirement(bool negative = false);

  protected:
    bool isPluginRequirementSatisfied_i(const SystemMetadata& system,
                                        const PluginParams& params) const override;
};

// "VSM": the system's VSM enable byte is 0, that is VSM is disabled.
class VR_EXPORT VSMDisablePluginRequirement : public PluginRequirement {
  public:
    explicit VSMDisablePluginRequirement(bool negative = false);

  protected:
    bool isPluginRequirementSatisfied_i(const SystemMetadata& system,
                                        const PluginParams& params) const override;
};

}  // namespace pwr
