#pragma once

// Requirements: small objects that look at the SystemMetadata of a machine (or of a result file) and
// say whether a capability of a plug-in, or an operation of a collector, fits it. They decide which
// metrics a user sees on a given system.
//
// PluginRequirement is the abstract base; the tests of machine facts are in
// "vantrell/plugin/SystemRequirements.h", the driver version test in "vantrell/plugin/DriverRequirement.h".
// PluginRequirementGroup combines requirements with AND or OR.
//
// Ownership: a group owns the requirements added to it and deletes them through the virtual
// destructor. Copies of a group share the same member objects; the members are deleted once, when the
// last copy that shares them dies. Requirements are copyable. Evaluating is const and touches no
// shared state except logging (and the integrated-graphics notice); one thread at a time.

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "vantrell/Export.h"

namespace pwr {

class SystemMetadata;
class PluginCapability;

// The command-line parameters of a plug-in, as name and value. No requirement of this library reads them.
using PluginParams = std::vector<std::pair<std::string, std::string>>;

// The result of testing a list of requirements.
enum PluginRequirementResult : int {
    REQUIREMENTS_NOT_MET = 0,      // at least one failed, or the capability can't run in this mode
    REQUIREMENTS_NONE_TESTED = 1,  // suitable: there was nothing to test
    REQUIREMENTS_ALL_PASSED = 2,   // suitable: every requirement passed
};

class VR_EXPORT PluginRequirement {
  public:
    virtual ~PluginRequirement();

    // The test of this requirement, inverted when isNegative(). Logs nothing of its own (a test may:
    // see the integrated-graphics and driver requirements).
    bool isPluginRequirementSatisfied(const SystemMetadata& system, const PluginParams& params) const;

    // The kind of requirement: "FMS", "SCU", "OS", "IGFX", "PCH", "HV", "VSM", "DriverRequirement",
    // "SYSTEM", or the name a derived class gives.
    const std::string& getName() const { return name; }
    // True when the requirement counts as met when its test fails.
    bool isNegative() const { return negative; }

  protected:
    PluginRequirement(std::string requirementName, bool isNegativeRequirement);
    PluginRequirement(const PluginRequirement&) = default;
    PluginRequirement& operator=(const PluginRequirement&) = default;

    // The plain test, without `negative` applied.
    virtual bool isPluginRequirementSatisfied_i(const SystemMetadata& system,
                                                const PluginParams& params) const = 0;

  private:
    friend class PluginCapability;
    friend class PluginRequirementGroup;

    // How a list (a capability's or a group's) evaluates a member: the test with `negative` applied,
    // reported at level 3 as "DEBUG: Requirement met: %d\n" or "DEBUG: Negative Requirement met: %d\n".
    bool evaluateAsMember_i(const SystemMetadata& system, const PluginParams& params) const;

    std::string name;
    bool negative;
};

// Several requirements as one, named "SYSTEM". With `conjunction` true all members must pass (AND),
// with false one suffices (OR); evaluation stops at the first member that decides. An empty group is
// satisfied either way. Never negative.
class VR_EXPORT PluginRequirementGroup : public PluginRequirement {
  public:
    explicit PluginRequirementGroup(bool conjunction = true);
    PluginRequirementGroup(const PluginRequirementGroup&) = default;
    PluginRequirementGroup& operator=(const PluginRequirementGroup&) = default;
    ~PluginRequirementGroup() override;

    // Appends `requirement` and takes ownership of it: true. Refused, with false and ownership left
    // with the caller: a null `requirement`, this group itself, or a group that contains this one.
    // Adding the same object twice evaluates it twice but deletes it once.
    bool addPluginRequirement(PluginRequirement* requirement);

    const std::vector<PluginRequirement*>& getRequirements() const { return requirements; }
    bool isConjunction() const { return conjunction; }

  protected:
    // Each member reports its value at level 3 (see PluginRequirement).
    bool isPluginRequirementSatisfied_i(const SystemMetadata& system,
                                        const PluginParams& params) const override;

  private:
    // True when `target` is `from` or a member, at any depth, of the group `from`.
    static bool reaches_i(const PluginRequirement* from, const PluginRequirement* target);

    std::vector<PluginRequirement*> requirements;
    // Keeps the members alive for as long as any copy of this group refers to them.
    std::shared_ptr<std::vector<std::unique_ptr<PluginRequirement>>> owned;
    bool conjunction;
};

}  // namespace pwr
