#pragma once

// MetricPlugin: the kind of plug-in that receives, for a whole collection or from a result file, the
// stored records and the stream of raw driver messages, and turns them into metrics. The host follows
// one order per plug-in: initializeCollection, processMetadata for each stored record, processMessage
// for each driver message, finalizeCollection.
//
// Plug-ins derive from this class across a module boundary: the order of the virtual operations,
// behind those of Plugin (slots 0 to 5), is part of the contract and never changes. Not copyable.
// One thread at a time.

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "vantrell/Export.h"
#include "vantrell/plugin/DriverMessage.h"
#include "vantrell/plugin/Plugin.h"

namespace pwr {
class InputMsg;
class Metadata;
class SystemMetadata;

// What getDynamicHelpDisplayType learnt from initializeCollection.
enum VRDynamicHelpType : int32_t {
    VR_DYNAMIC_HELP_COLLECT = 0,  // at least one message to collect
    VR_DYNAMIC_HELP_NOTHING = 1,  // no message
    VR_DYNAMIC_HELP_FAILED = 2,   // initializeCollection failed
};

// What processMessage did with one driver message.
enum ProcessMessageCode : int32_t {
    PROCESS_MESSAGE_HANDLED = 0,         // processDriverMessage returned 0
    PROCESS_MESSAGE_RESET_CONSUMED = 1,  // a reset message that the plug-in's reset consumed
    PROCESS_MESSAGE_FAILED = 4,          // processDriverMessage returned non-zero
};
}  // namespace pwr

class VR_EXPORT MetricPlugin : public Plugin {
  public:
    using Pairs = std::vector<std::pair<std::string, std::string>>;

    explicit MetricPlugin(std::string uuid);
    ~MetricPlugin() override;

    const std::string& getConfigFileName() const { return configFileName; }

    // Slots 6 and 7: the concrete plug-in's life; the library doesn't call them.
    virtual int initializePlugin() = 0;
    virtual int terminatePlugin() = 0;
    // Slot 8. The plug-in's work on one message.
    virtual int32_t processDriverMessage(pwr::SystemMetadata const& metadata,
                                         vr_driver_msg const* message) = 0;
    // Slot 9. The default reports the record at level 3 in the stream form ("Metric plugin <sid>
    // received a metadata msg of type MSG|METRIC|SYSTEM|", then a "\tValue: " line per value) and
    // returns 0 for message and metric records; any other type logs "WARNING: ERROR: unsupported
    // metadata type %d received in metric plugin %d!\n" and returns -1.
    virtual int32_t processMetadata(pwr::Metadata const* metadata);
    // Slot 10. The default reports each parameter ("INIT collection: key :=> value") at level 3 and
    // returns 0, adding nothing to either vector.
    virtual int32_t initializeCollection(std::vector<pwr::InputMsg*>& messages,
                                         std::vector<pwr::Metadata*>& records, std::string const& name,
                                         Pairs const& params, pwr::SystemMetadata const& metadata);
    // Slot 11. Calls initializeCollection with two empty vectors: 2 if it failed, else 0 when it gave
    // at least one message and 1 when none. The vectors' contents are not freed here.
    virtual pwr::VRDynamicHelpType getDynamicHelpDisplayType(std::string const& name, Pairs const& params,
                                                             pwr::SystemMetadata const& metadata);
    // Slot 12. The default reports "FINI collection for <name>" and each parameter at level 3 and
    // returns 0.
    virtual int32_t finalizeCollection(std::string const& name, Pairs const& params,
                                       pwr::SystemMetadata const& metadata);
    // Slots 13 and 14. The defaults do nothing.
    virtual void getOrgMsgPayload(vr_driver_msg const* message, std::string& payload) const;
    virtual void getOrgMsgTag(vr_driver_msg const* message, std::string& tag) const;

  protected:
    void setConfigFileName(const std::string& name) { configFileName = name; }

  private:
    friend class MetricPluginHost;

    // From a raw message to the plug-in's work: a message that the environment recorded as a reset of
    // its source goes first to reset() (a non-zero result consumes it: 1); then processDriverMessage
    // (0 handled, 4 failed). A null message goes straight to processDriverMessage.
    pwr::ProcessMessageCode processMessage(pwr::SystemMetadata const& metadata, vr_driver_msg const* message);

    std::string configFileName;
};

// The host's door to the private processMessage.
class VR_EXPORT MetricPluginHost {
  public:
    static pwr::ProcessMessageCode processMessage(MetricPlugin& plugin, pwr::SystemMetadata const& metadata,
                                                  vr_driver_msg const* message) {
        return plugin.processMessage(metadata, message);
    }
};
