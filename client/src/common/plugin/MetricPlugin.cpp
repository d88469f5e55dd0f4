#include "vantrell/plugin/MetricPlugin.h"

#include "vantrell/plugin/Logging.h"
#include "vantrell/plugin/PluginEnvironment.h"
#include "vantrell/record/Metadata.h"

namespace {

pwr::ResetReason reasonFor(uint64_t state) {
    switch (state) {
        case 1:
            return pwr::RESET_FROM_RUNNING;
        case 4:
            return pwr::RESET_FROM_STATE_4;
        case 5:
            return pwr::RESET_FROM_STATE_5;
        default:
            return pwr::RESET_FROM_OTHER;
    }
}

const char* metadataWord(int type) {
    switch (type) {
        case pwr::MSG_METADATA:
            return "MSG";
        case pwr::METRIC_METADATA:
            return "METRIC";
        case pwr::SYSTEM_METADATA:
            return "SYSTEM";
        default:
            return "";
    }
}

}  // namespace

MetricPlugin::MetricPlugin(std::string uuid) : Plugin(std::move(uuid)) {}

MetricPlugin::~MetricPlugin() = default;

pwr::ProcessMessageCode MetricPlugin::processMessage(pwr::SystemMetadata const& metadata,
                                                     vr_driver_msg const* message) {
    if (message != nullptr) {
        const uint64_t timestamp = message->timestamp;
        const id_config_t source = message->source;
        const uint64_t state =
            g_pluginEnvironment->isSystemReset(source.byte0, source.byte1, source.byte2, timestamp);
        if (state != 0) {
            VR_LOG(4, "INFO: %llu is a reset TSC (%llu)!\n", static_cast<unsigned long long>(timestamp),
                   static_cast<unsigned long long>(state));
            if (reset(reasonFor(state), timestamp, metadata) != 0) {
                return pwr::PROCESS_MESSAGE_RESET_CONSUMED;
            }
        }
    }
    return processDriverMessage(metadata, message) == 0 ? pwr::PROCESS_MESSAGE_HANDLED
                                                        : pwr::PROCESS_MESSAGE_FAILED;
}

int32_t MetricPlugin::processMetadata(pwr::Metadata const* metadata) {
    const int type = metadata->getType();
    VR_LOG_STREAM(3) << "Metric plugin " << getSID() << " received a metadata msg of type "
                     << metadataWord(type) << std::endl;
    if (type == pwr::MSG_METADATA) {
        for (const pwr::OperationMetadata* value :
             static_cast<const pwr::MsgMetadata*>(metadata)->getMetaValues()) {
            VR_LOG_STREAM(3) << "\tValue: " << *value << std::endl;
        }
        return 0;
    }
    if (type == pwr::METRIC_METADATA) {
        for (const auto& [key, value] : static_cast<const pwr::MetricMetadata*>(metadata)->getValues()) {
            VR_LOG_STREAM(3) << "\tValue: " << key << " :=> " << value << std::endl;
        }
        return 0;
    }
    VR_LOG(2, "WARNING: ERROR: unsupported metadata type %d received in metric plugin %d!\n", type, getSID());
    return -1;
}

int32_t MetricPlugin::initializeCollection(std::vector<pwr::InputMsg*>& /*messages*/,
                                           std::vector<pwr::Metadata*>& /*records*/,
                                           std::string const& /*name*/, Pairs const& params,
                                           pwr::SystemMetadata const& /*metadata*/) {
    for (const auto& [key, value] : params) {
        VR_LOG_STREAM(3) << "INIT collection: " << key << " :=> " << value << std::endl;
    }
    return 0;
}

pwr::VRDynamicHelpType MetricPlugin::getDynamicHelpDisplayType(std::string const& name, Pairs const& params,
                                                               pwr::SystemMetadata const& metadata) {
    std::vector<pwr::InputMsg*> messages;
    std::vector<pwr::Metadata*> records;
    if (initializeCollection(messages, records, name, params, metadata) != 0) {
        return pwr::VR_DYNAMIC_HELP_FAILED;
    }
    return messages.empty() ? pwr::VR_DYNAMIC_HELP_NOTHING : pwr::VR_DYNAMIC_HELP_COLLECT;
}

int32_t MetricPlugin::finalizeCollection(std::string const& name, Pairs const& params,
                                         pwr::SystemMetadata const& /*metadata*/) {
    VR_LOG_STREAM(3) << "FINI collection for " << name << std::endl;
    for (const auto& [key, value] : params) {
        VR_LOG_STREAM(3) << key << " :=> " << value << std::endl;
    }
    return 0;
}

void MetricPlugin::getOrgMsgPayload(vr_driver_msg const* /*message*/, std::string& /*payload*/) const {}

void MetricPlugin::getOrgMsgTag(vr_driver_msg const* /*message*/, std::string& /*tag*/) const {}
