#pragma once

// The requirement of a minimum kernel driver version, and DriverInterface, the door through which it
// asks the driver. The host implements DriverInterface over the driver it opened; the library only
// calls it.
//
// Ownership: a DriverRequirement borrows its DriverInterface, which must outlive it (and every copy).
// Copyable. One thread at a time, as the interface allows.

#include <cstdint>

#include "vantrell/Export.h"
#include "vantrell/plugin/PluginRequirement.h"

namespace pwr {

// What the library asks of a kernel driver. The order of the virtual operations is fixed: the
// version is the third.
class VR_EXPORT DriverInterface {
  public:
    virtual ~DriverInterface();

    // True when the driver is installed and answers.
    virtual bool isDriverPresent() = 0;

    // The driver's version: bits 32 to 47 the major number, 16 to 31 the minor, 0 to 15 the third.
    // What a host returns when there is no driver is its own affair; 0 fails every minimum above 0.
    virtual uint64_t getDriverVersion() = 0;

  protected:
    DriverInterface() = default;
    DriverInterface(const DriverInterface&) = default;
    DriverInterface& operator=(const DriverInterface&) = default;
};

// "DriverRequirement": the driver's version is at least `minVersion` (same layout as
// DriverInterface::getDriverVersion). Never negative.
class VR_EXPORT DriverRequirement : public PluginRequirement {
  public:
    // `driverInterface` is borrowed and may be null, which fails the requirement.
    DriverRequirement(unsigned long long minVersion, DriverInterface* driverInterface);

    unsigned long long getMinVersion() const { return minVersion; }
    DriverInterface* getDriverInterface() const { return driverInterface; }

  protected:
    // False without an interface. Otherwise reads the version and, at verbosity 4 or with the debug
    // area "DRIVERREQ" open, logs "INFO: DriverRequirement requirement has driver version = %llu\n".
    // A version below the minimum fails and, at verbosity 2 or with the area open, logs
    // "WARNING: Driver version %u.%u.%u found, minimum driver required is %u.%u.%u\n" (the low eight
    // bits of each field of the found version, the whole 16-bit fields of the minimum).
    bool isPluginRequirementSatisfied_i(const SystemMetadata& system,
                                        const PluginParams& params) const override;

  private:
    DriverInterface* driverInterface;
    unsigned long long minVersion;
};

}  // namespace pwr
