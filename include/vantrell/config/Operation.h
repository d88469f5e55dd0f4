#pragma once

// An Operation is one thing that a collector can do when a configured message fires. Collectors
// publish prototypes through CollectorPlugin::addOperation; the collection configuration parser clones
// a prototype into each message that names its type and fills the clone with the keys and values of
// the file. Hardware collectors derive their own kinds in their plug-ins.
//
// Plug-ins derive from this class across a module boundary: the order of the virtual operations is
// part of the contract and never changes.
//
// Ownership: a prototype belongs to its collector; a clone in a message belongs to the message. The
// requirements are borrowed and must outlive every operation that points to them; a copy shares them.
// Copyable. One thread at a time.

#include <deque>
#include <string>

#include "vantrell/Export.h"
#include "vantrell/plugin/PluginRequirement.h"
#include "vantrell/record/PWSet.h"

namespace pwr {

class EntityHandle;
class OperationMetadata;
class SystemMetadata;

// The command of a message and the argument of the compatibility test.
enum VROpCommand : int {
    VR_OP_READ = 0,
    VR_OP_WRITE = 1,
    VR_OP_NOT_SET = 2,
};

class VR_EXPORT Operation {
  public:
    // `operation` is the type, the key under which the parser knows the operation ("CONSTANT", or a
    // type of a collector).
    explicit Operation(std::string const& operation);
    Operation(std::string const& operation, std::string const& name);
    Operation(Operation const&) = default;
    Operation& operator=(Operation const&) = default;

    // Slot 1.
    virtual ~Operation();
    // Slot 2. Stores one key and value taken from a configuration line; 0, or -1 when refused.
    virtual int set(std::string const& key, std::string const& value) = 0;
    // Slot 3. The record of this operation for the result file; the caller owns it.
    virtual OperationMetadata* getOperationMetadata() const = 0;
    // Slot 4. A copy of the same kind; the caller owns it.
    virtual Operation* clone() const = 0;

    // The type, for example "CONSTANT".
    std::string const& getOperation() const { return operation; }
    // The name in its message, `<prefix>_<tag>_<type>` once it is in one.
    std::string const& getName() const { return name; }
    void setName(std::string const& value) { name = value; }

    // Appends `requirement`, which stays owned by the caller.
    void addRequirement(PluginRequirement* requirement) { requirements.push_back(requirement); }
    std::deque<PluginRequirement*> const& getRequirements() const { return requirements; }
    PWSet<std::string> const& getCategories() const { return categories; }

    // False for a category that this kind doesn't list; else what canSetCategory says.
    bool isValidCategory(std::string const& category) const;
    // Whether a message with this operation may have `command` (slot 6).
    bool isValidCommand(VROpCommand command) const { return isValidCommand_i(command); }

    // REQUIREMENTS_NONE_TESTED without requirements; else the requirements are tested in order, each
    // logging "DEBUG: Requirement met: %d\n" (or "DEBUG: Negative Requirement met: %d\n" with the
    // inverted result for a negative one), and the first that fails gives REQUIREMENTS_NOT_MET;
    // REQUIREMENTS_ALL_PASSED when all pass.
    PluginRequirementResult isOperationSuitableFor(SystemMetadata const& system) const;

    // Runs `operation` now through the collector that provides its type (doImmediateRead or
    // doImmediateWrite with `key`) and returns the collector's result. -1, with the reason logged at
    // error level, for an operation without a type, without a parsed configuration, or when no
    // collector provides the type.
    static int dispatchRead(Operation* operation, std::string const& key);
    static int dispatchWrite(Operation* operation, std::string const& key);
    // Not provided: log "WARNING: %s functionality is TODO!\n" and give -1.
    static int dispatchRead(Operation* operation, EntityHandle const* entity);
    static int dispatchWrite(Operation* operation, EntityHandle const* entity);

  protected:
    // Slot 5. Lets a derived kind refuse, by its state, a category that it listed. True here.
    virtual bool canSetCategory(std::string const& category) const;
    // Slot 6. True for read alone here: a kind that can write overrides it.
    virtual bool isValidCommand_i(VROpCommand command) const;

    // For the constructors of derived kinds: a category that this kind understands.
    void addCategory(std::string const& category) { categories.insert(category); }

  private:
    std::string operation;
    std::string name;
    PWSet<std::string> categories;
    std::deque<PluginRequirement*> requirements;
};

}  // namespace pwr
