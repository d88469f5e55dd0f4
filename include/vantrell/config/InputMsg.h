#pragma once

// An InputMsg is the unit of work that the collection configuration hands to collectors: a named
// message of a feature on a platform, with its operations, its triggers for normal and maximum detail,
// its CPU choice and its identifiers. The collection configuration parser makes and fills them.
//
// Ownership: a message owns its operations and deletes them when it dies. Messages made by the parser
// belong to it and die with VRConfigFileParser::destroy. A copy copies the strings and sets and the
// operation pointers (not the operations) and keeps pointing at the source's active trigger set: call
// resetOperations() on all but one holder before they die, and setTrigger() on a copy that outlives
// its source. One thread at a time.

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "vantrell/Export.h"
#include "vantrell/config/Operation.h"
#include "vantrell/record/PWSet.h"

namespace pwr {

class EntityHandle;
class MsgMetadata;

// When a configured read happens: the values of the trigger words.
enum vr_when_type : uint32_t {
    BEGIN = 0,
    POLL = 1,
    NOTIFIER = 2,
    TRACEPOINT = 3,
    END = 4,
};

// The vr_when_type of a trigger word; 4 for "", "END" and any word without a value of its own
// ("REQUIREMENTS", "INIT", "FINI").
VR_EXPORT int getWhenTypeForTrigger(std::string const& trigger);
// One bit per trigger of the set, at its getWhenTypeForTrigger: {"BEGIN", "POLL", "END"} gives 19.
VR_EXPORT unsigned char getTriggerMask(PWSet<std::string> const& triggers);
// "ALL" -2, "ANY" -1, a number its value, anything else -3.
VR_EXPORT int getCPUMaskFromString(std::string const& cpu);

class VR_EXPORT InputMsg {
  public:
    using Operations = std::vector<Operation*>;

    explicit InputMsg(std::string const& name);
    // `platformPrefix` is `<platform>_<prefix>`.
    InputMsg(std::string const& name, std::string const& platformPrefix);
    InputMsg(std::string const& name, int pluginID, int metricID, int msgID);
    InputMsg(InputMsg const& other);
    InputMsg& operator=(InputMsg const& other);
    // Deletes the operations in the list.
    ~InputMsg();

    std::string const& getName() const { return name; }
    void setName(std::string const& value) { name = value; }
    std::string const& getPlatformPrefix() const { return platformPrefix; }
    // Stores the prefix and derives the full name and the platform name from it.
    void setPlatformPrefix(std::string const& value);
    std::string const& getPlatformName() const { return platformName; }
    // `<platformPrefix>_<name>`.
    std::string const& getFullName() const { return fullName; }
    // The second part of `<platform>_<prefix>`, or "<N/A>" when the prefix isn't of that form.
    std::string getConfigfilePrefix() const;

    int getPluginID() const { return pluginID; }
    void setPluginID(int value) { pluginID = value; }
    int getMetricID() const { return metricID; }
    void setMetricID(int value) { metricID = value; }
    int getMsgID() const { return msgID; }
    void setMsgID(int value) { msgID = value; }

    std::string const& getCPUString() const { return cpuString; }
    // Stores "ALL", "ANY" or a number (0); anything else gives -1 and keeps the old value.
    int setCPUString(std::string const& cpu);

    EntityHandle const* getEntityHandle() const { return entityHandle; }
    // Allowed once: 0, or -1 with the first handle kept.
    int setEntityHandle(EntityHandle const* handle);

    VROpCommand getCommand() const { return command; }
    void setCommand(VROpCommand value) { command = value; }
    unsigned short getSamplingInterval() const { return samplingInterval; }
    void setSamplingInterval(unsigned short value) { samplingInterval = value; }
    std::string const& getFeatureName() const { return featureName; }
    void setFeatureName(std::string const& value) { featureName = value; }

    // Adds a trigger to the active set. -1 when the message already has the other command, when an
    // operation refuses the command, or when the trigger can't join the set ("INIT", "FINI" and
    // "REQUIREMENTS" stand alone; the refusal is logged at error level).
    int addTrigger(VROpCommand command, std::string const& trigger);
    int addReadTrigger(std::string const& trigger) { return addTrigger(VR_OP_READ, trigger); }
    int addWriteTrigger(std::string const& trigger) { return addTrigger(VR_OP_WRITE, trigger); }
    void addTracepointName(std::string const& tracepoint);
    void addNotifierName(std::string const& notifier);

    // The sets of the active group (normal detail until setTrigger says otherwise).
    PWSet<std::string> const& getTriggers() const { return *activeTriggers; }
    PWSet<std::string> const& getTracepointNames() const;
    PWSet<std::string> const& getNotifierNames() const;
    // Makes the maximum-detail group active when `useMaxDetail`, else the normal one; with `fallBack`,
    // an empty chosen set gives way to the other group.
    void setTrigger(bool useMaxDetail, bool fallBack);

    // Takes ownership of `operation`.
    void addOperation(Operation* operation) { operations.push_back(operation); }
    Operations const& getOperations() const { return operations; }
    size_t getOperationCount() const { return operations.size(); }
    Operations::const_iterator begin() const { return operations.begin(); }
    Operations::const_iterator end() const { return operations.end(); }
    // Empties the list without deleting: the operations now belong to whoever holds them elsewhere.
    void resetOperations() { operations.clear(); }

    // A new record of this message with one record per operation; the caller owns it.
    MsgMetadata* getMetadata() const;

    // Runs the message now, outside a collection, through the collector of its first operation: its
    // whole-message read, which fills `results` with name and value pairs, or for a write message its
    // doImmediateWrite. -1 without operations, without a parsed configuration, or when no collector
    // provides the operation's type (each logged).
    int execute(std::vector<std::pair<std::string, std::string>>& results);

  private:
    friend class Parser;
    friend class Platform;
    friend class VRConfigFileParser;

    void init_i(std::string const& msgName, std::string const& prefix, int plugin, int metric, int msg,
                VROpCommand msgCommand);
    void setPlatformName();
    PWSet<std::string>& triggerSet_i(bool maxDetail) { return maxDetail ? maxDetailTriggers : triggers; }
    bool isActiveMaxDetail_i() const { return activeTriggers == &maxDetailTriggers; }

    // The parser's forms: `maxDetail` chooses the group. The refusal of a command also goes to the
    // standard error stream as "Commands are not compatible!\n".
    int addTrigger(VROpCommand command, std::string const& trigger, bool maxDetail);
    int addReadTrigger(std::string const& trigger, bool maxDetail);
    int addWriteTrigger(std::string const& trigger, bool maxDetail);
    void addTracepointName(std::string const& tracepoint, bool maxDetail);
    void addNotifierName(std::string const& notifier, bool maxDetail);
    PWSet<std::string> const& getTriggers(bool maxDetail) const;
    PWSet<std::string> const& getTracepointNames(bool maxDetail) const;
    PWSet<std::string> const& getNotifierNames(bool maxDetail) const;

    bool isCommandCompatible_i(VROpCommand wanted) const;
    bool areOperationsCompatible_i(VROpCommand wanted) const;
    bool isTriggerCompatible_i(std::string const& trigger, PWSet<std::string> const& set) const;

    std::string name;
    std::string platformPrefix;
    std::string platformName;
    std::string fullName;
    int pluginID = 0;
    int metricID = 0;
    int msgID = 0;
    std::string cpuString;
    EntityHandle const* entityHandle = nullptr;
    PWSet<std::string> triggers;
    PWSet<std::string> tracepointNames;
    PWSet<std::string> notifierNames;
    PWSet<std::string> maxDetailTriggers;
    PWSet<std::string> maxDetailTracepointNames;
    PWSet<std::string> maxDetailNotifierNames;
    PWSet<std::string>* activeTriggers = nullptr;
    Operations operations;
    VROpCommand command = VR_OP_NOT_SET;
    unsigned short samplingInterval = 0;
    std::string featureName;
};

}  // namespace pwr
