#include "vantrell/plugin/PluginCapability.h"

#include <algorithm>

#include "vantrell/plugin/Logging.h"
#include "vantrell/record/SystemMetadata.h"

namespace pwr {
namespace {

constexpr unsigned char kFirstDerivedBit = 8;
constexpr unsigned char kAttributeBits = 64;
constexpr FMS kLastFMS{0xff, 0xff, 0xff};

}  // namespace

// ---- PluginCapability --------------------------------------------------------------------------------

PluginCapability::PluginCapability(std::string capabilityName, std::string capabilityDescription,
                                   bool supportsContinuousCollection)
    : name(std::move(capabilityName)), description(std::move(capabilityDescription)) {
    setOrResetContinuousCollectionSupport(supportsContinuousCollection);
}

PluginCapability::~PluginCapability() = default;

bool PluginCapability::equals(const std::string& text) const {
    return text == name || groupNames.count(text) != 0;
}

void PluginCapability::addGroupName(const std::string& groupName) {
    groupNames.insert(groupName);
}

void PluginCapability::addPluginRequirement(PluginRequirement* requirement) {
    if (requirement == nullptr) {
        return;
    }
    if (!owned) {
        owned = std::make_shared<std::deque<std::unique_ptr<PluginRequirement>>>();
    }
    // Copies share `owned`: an object already owned through any of them must not be owned twice.
    auto sameObject = [requirement](const std::unique_ptr<PluginRequirement>& held) {
        return held.get() == requirement;
    };
    if (std::none_of(owned->begin(), owned->end(), sameObject)) {
        owned->emplace_back(requirement);
    }
    requirements.push_back(requirement);
}

PluginRequirementResult PluginCapability::isCapabilitySuitableFor(const SystemMetadata& system,
                                                                  const PluginParams& params) const {
    if (system.continuousQuantumMsecs != 0 && !doesSupportContinuousCollection()) {
        return REQUIREMENTS_NOT_MET;
    }
    PluginRequirementResult result = REQUIREMENTS_NONE_TESTED;
    for (const PluginRequirement* requirement : requirements) {
        if (!requirement->evaluateAsMember_i(system, params)) {
            result = REQUIREMENTS_NOT_MET;
            break;
        }
        VR_LOG(3, "DEBUG: set PASSED for  %s, %s\n", name.c_str(), description.c_str());
        result = REQUIREMENTS_ALL_PASSED;
    }
    VR_LOG(3, "DEBUG: %s has result = %d\n", description.c_str(), static_cast<int>(result));
    return result;
}

void PluginCapability::setOrResetContinuousCollectionSupport(bool supported) {
    if (supported) {
        setAttributeUnchecked_i(kContinuousBit);
    } else {
        unsetAttributeUnchecked_i(kContinuousBit);
    }
}

bool PluginCapability::setAttribute_i(unsigned char bit) {
    if (bit < kFirstDerivedBit || bit >= kAttributeBits) {
        return false;
    }
    setAttributeUnchecked_i(bit);
    return true;
}

bool PluginCapability::isAttributeSet_i(unsigned char bit) const {
    return bit < kAttributeBits && (attributes & (uint64_t{1} << bit)) != 0;
}

// ---- MetricPluginCapability --------------------------------------------------------------------------

MetricPluginCapability::MetricPluginCapability(std::string capabilityName, std::string capabilityDescription,
                                               std::string prefix, uint8_t id)
    : PluginCapability(std::move(capabilityName), std::move(capabilityDescription), true),
      configFilePrefix(std::move(prefix)),
      fmsRange(FMS{}, kLastFMS),
      metricID(id) {}

MetricPluginCapability::MetricPluginCapability(std::string capabilityName, std::string capabilityDescription,
                                               std::string prefix, uint8_t id, const std::string& groupName)
    : MetricPluginCapability(std::move(capabilityName), std::move(capabilityDescription), std::move(prefix),
                             id) {
    if (!groupName.empty()) {
        addGroupName(groupName);
    }
}

MetricPluginCapability::MetricPluginCapability(std::string capabilityName, std::string capabilityDescription,
                                               std::string prefix, uint8_t id, const FMS& fms)
    : MetricPluginCapability(std::move(capabilityName), std::move(capabilityDescription), std::move(prefix),
                             id) {
    setFMS(fms);
}

MetricPluginCapability::MetricPluginCapability(std::string capabilityName, std::string capabilityDescription,
                                               std::string prefix, uint8_t id, const FMS& fms,
                                               const std::string& groupName)
    : MetricPluginCapability(std::move(capabilityName), std::move(capabilityDescription), std::move(prefix),
                             id, groupName) {
    setFMS(fms);
}

void MetricPluginCapability::setFMS(const FMS& fms) {
    // Family and model 0 stand for "any processor".
    bool anyProcessor = fms.family == 0 && fms.model == 0;
    fmsRange = {fms, anyProcessor ? kLastFMS : fms};
}

bool MetricPluginCapability::doesRangeInclude(const FMS& fms) const {
    if (fms == fmsRange.first || fms == fmsRange.second) {
        return true;
    }
    return fms.getValue() > fmsRange.first.getValue() && fms.getValue() <= fmsRange.second.getValue();
}

MetricPluginCapability& MetricPluginCapability::addReadTrigger(const vr_when_type& trigger) {
    VR_LOG(2, "WARNING: DEPRECATED API!\n");
    readTriggers |= static_cast<uint32_t>(trigger);
    return *this;
}

uint32_t MetricPluginCapability::getReadTriggers() const {
    VR_LOG(2, "WARNING: DEPRECATED API!\n");
    return readTriggers;
}

// ---- ResultFilePluginCapability and WriterPluginCapability -------------------------------------------

ResultFilePluginCapability::ResultFilePluginCapability(std::string capabilityName, unsigned int formatVersion)
    : PluginCapability(std::move(capabilityName), std::string()), version(formatVersion) {}

ResultFilePluginCapability::ResultFilePluginCapability(std::string capabilityName, unsigned char major,
                                                       unsigned char minor, unsigned char patch)
    : ResultFilePluginCapability(std::move(capabilityName), major * 65536u + minor * 256u + patch) {}

WriterPluginCapability::WriterPluginCapability(std::set<TableClass> tables, std::string capabilityName,
                                               std::string capabilityDescription, std::string suffix,
                                               bool supportsContinuousCollection)
    : PluginCapability(std::move(capabilityName), std::move(capabilityDescription),
                       supportsContinuousCollection),
      supportedTables(std::move(tables)),
      fileSuffix(std::move(suffix)) {}

}  // namespace pwr
