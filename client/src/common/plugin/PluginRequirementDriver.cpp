#include "vantrell/plugin/DriverRequirement.h"
#include "vantrell/plugin/Logging.h"

namespace pwr {
namespace {

constexpr char kDriverArea[] = "DRIVERREQ";

// The three fields of a version: bits 32 to 47, 16 to 31 and 0 to 15.
unsigned int majorOf(uint64_t version) {
    return static_cast<unsigned int>((version >> 32) & 0xffff);
}
unsigned int minorOf(uint64_t version) {
    return static_cast<unsigned int>((version >> 16) & 0xffff);
}
unsigned int thirdOf(uint64_t version) {
    return static_cast<unsigned int>(version & 0xffff);
}

}  // namespace

DriverInterface::~DriverInterface() = default;

DriverRequirement::DriverRequirement(unsigned long long minimum, DriverInterface* driver)
    : PluginRequirement("DriverRequirement", false), driverInterface(driver), minVersion(minimum) {}

bool DriverRequirement::isPluginRequirementSatisfied_i(const SystemMetadata&, const PluginParams&) const {
    if (driverInterface == nullptr) {
        return false;
    }
    uint64_t version = driverInterface->getDriverVersion();
    VR_LOG_AREA(4, kDriverArea, "INFO: DriverRequirement requirement has driver version = %llu\n",
                static_cast<unsigned long long>(version));
    if (version >= minVersion) {
        return true;
    }
    // The found version's fields show their low eight bits, the minimum's whole fields.
    VR_LOG_AREA(2, kDriverArea,
                "WARNING: Driver version %u.%u.%u found, minimum driver required is %u.%u.%u\n",
                majorOf(version) & 0xff, minorOf(version) & 0xff, thirdOf(version) & 0xff,
                majorOf(minVersion), minorOf(minVersion), thirdOf(minVersion));
    return false;
}

}  // namespace pwr
