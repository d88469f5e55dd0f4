#pragma once

// Plugin: the base class of every loadable module of the system, whether it collects, computes or
// writes. A plug-in says what it can do through its capabilities, which its constructor makes with
// addCapability; the host asks for those that fit a switch of its command line and the machine.
//
// Plug-ins derive from this class across a module boundary: the order of the virtual operations is
// part of the contract and never changes.
//
// Ownership: a plug-in owns its capabilities and deletes them when it dies. Pointers handed out by
// getCapabilitiesFor and getAllCapabilities stay valid as long as the plug-in. Not copyable.
// One thread at a time.

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "vantrell/Export.h"
#include "vantrell/plugin/PluginCapability.h"

namespace pwr {

class SystemMetadata;

// Why a message source restarted, told by the state of the system at the reset.
enum ResetReason : int32_t {
    RESET_FROM_RUNNING = 0,  // system state 1
    RESET_FROM_STATE_4 = 1,  // system state 4
    RESET_FROM_STATE_5 = 2,  // system state 5
    RESET_FROM_OTHER = 5,    // system states 2, 3 and any other
};

// What a plug-in did with a reset.
enum ResetReturnCode : int32_t {
    RESET_PASS_ON = 0,   // not consumed: the message is processed as any other
    RESET_CONSUMED = 1,  // consumed: the message ends here
};

}  // namespace pwr

class VR_EXPORT Plugin {
  public:
    using Capabilities = std::vector<pwr::PluginCapability*>;

    // `uuid` names the plug-in in logs and records. The sid is -1 until the host assigns one.
    explicit Plugin(std::string uuid);
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

    // Slot 0. Deletes the capabilities in the order of adding.
    virtual ~Plugin();

    // Slot 1. Adds (component, version) pairs to `versions`. The default adds nothing.
    virtual void getVersion(std::vector<std::pair<std::string, std::string>>& versions);

    // Slot 2. An option that the host broadcasts to every plug-in. The default ignores it.
    virtual void handleBroadcastOption(const std::string& option);

    // Slot 3. A message source restarted at `timestamp`. The default consumes the reset:
    // RESET_CONSUMED.
    virtual pwr::ResetReturnCode reset(pwr::ResetReason reason, unsigned long long timestamp,
                                       const pwr::SystemMetadata& system);

    int getSID() const { return sid; }
    void setSID(int value) { sid = value; }
    const std::string& getUUID() const { return uuid; }

    // Stores `params`, then tells the plug-in through notifyCommandlineParamsSet_i.
    void setCommandlineParams(const std::string& params);
    const std::string& getCommandlineParams() const { return commandlineParams; }

    // Appends to `out` (which is not cleared) each capability, in the order of adding, whose name or
    // one of whose group names is `name` (every one for an empty `name`) and which fits `system`
    // (see PluginCapability::isCapabilitySuitableFor). Logs
    // "INFO: %s is reporting a suitable capability for %s!\n" (uuid, `name`) at level 4 for each.
    void getCapabilitiesFor(Capabilities& out, const std::string& name, const pwr::SystemMetadata& system,
                            const pwr::PluginParams& params);
    // The same with no parameters.
    void getCapabilitiesFor(Capabilities& out, const std::string& name, const pwr::SystemMetadata& system);
    // getCapabilitiesFor with the name "": every capability that fits `system`.
    void getAllCapabilities(Capabilities& out, const pwr::SystemMetadata& system);

    // Appends to `out` each capability matching `name` as above, without testing any requirement.
    // Logs nothing.
    void getAllCapabilities(Capabilities& out, const std::string& name);
    // Every capability.
    void getAllCapabilities(Capabilities& out);

  protected:
    // Slot 4. Appends `capability`, takes ownership of it and makes this plug-in its owner. A null
    // `capability` is ignored.
    virtual void addCapability(pwr::PluginCapability* capability);

    // Slot 5. Called by setCommandlineParams once the text is stored. The default does nothing.
    virtual void notifyCommandlineParamsSet_i();

  private:
    int sid = -1;
    std::string uuid;
    Capabilities capabilities;
    std::string commandlineParams;
};
