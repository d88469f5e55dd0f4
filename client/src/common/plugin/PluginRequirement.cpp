#include "vantrell/plugin/PluginRequirement.h"

#include <algorithm>

#include "vantrell/plugin/Logging.h"

namespace pwr {

PluginRequirement::PluginRequirement(std::string requirementName, bool isNegativeRequirement)
    : name(std::move(requirementName)), negative(isNegativeRequirement) {}

PluginRequirement::~PluginRequirement() = default;

bool PluginRequirement::isPluginRequirementSatisfied(const SystemMetadata& system,
                                                     const PluginParams& params) const {
    bool met = isPluginRequirementSatisfied_i(system, params);
    return negative ? !met : met;
}

bool PluginRequirement::evaluateAsMember_i(const SystemMetadata& system, const PluginParams& params) const {
    bool met = isPluginRequirementSatisfied_i(system, params);
    if (negative) {
        met = !met;
        VR_LOG(3, "DEBUG: Negative Requirement met: %d\n", met ? 1 : 0);
    } else {
        VR_LOG(3, "DEBUG: Requirement met: %d\n", met ? 1 : 0);
    }
    return met;
}

PluginRequirementGroup::PluginRequirementGroup(bool conjunctionValue)
    : PluginRequirement("SYSTEM", false), conjunction(conjunctionValue) {}

PluginRequirementGroup::~PluginRequirementGroup() = default;

bool PluginRequirementGroup::addPluginRequirement(PluginRequirement* requirement) {
    // A group inside itself would evaluate forever and delete itself.
    if (requirement == nullptr || reaches_i(requirement, this)) {
        return false;
    }
    if (!owned) {
        owned = std::make_shared<std::vector<std::unique_ptr<PluginRequirement>>>();
    }
    // Copies share `owned`: an object already owned through any of them must not be owned twice.
    auto sameObject = [requirement](const std::unique_ptr<PluginRequirement>& held) {
        return held.get() == requirement;
    };
    if (std::none_of(owned->begin(), owned->end(), sameObject)) {
        owned->emplace_back(requirement);
    }
    requirements.push_back(requirement);
    return true;
}

bool PluginRequirementGroup::reaches_i(const PluginRequirement* from, const PluginRequirement* target) {
    if (from == target) {
        return true;
    }
    const auto* group = dynamic_cast<const PluginRequirementGroup*>(from);
    if (group == nullptr) {
        return false;
    }
    return std::any_of(group->requirements.begin(), group->requirements.end(),
                       [target](const PluginRequirement* member) { return reaches_i(member, target); });
}

bool PluginRequirementGroup::isPluginRequirementSatisfied_i(const SystemMetadata& system,
                                                            const PluginParams& params) const {
    for (const PluginRequirement* member : requirements) {
        bool value = member->evaluateAsMember_i(system, params);
        if (value != conjunction) {
            return value;
        }
    }
    return requirements.empty() ? true : conjunction;
}

}  // namespace pwr
