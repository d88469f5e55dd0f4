// A metric plug-in between the host and its own work: resets, records, help and the slot order.

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "support/LogCapture.h"
#include "support/VirtualSlot.h"
#include "vantrell/plugin/MetricPlugin.h"
#include "vantrell/plugin/PluginEnvironment.h"
#include "vantrell/record/Metadata.h"
#include "vantrell/record/SystemMetadata.h"

namespace {

using vrtest::ScopedLogCapture;

class FakeMetricPlugin : public MetricPlugin {
  public:
    FakeMetricPlugin() : MetricPlugin("fake-metric") { setSID(3); }
    int initializePlugin() override { return 0; }
    int terminatePlugin() override { return 0; }
    int32_t processDriverMessage(pwr::SystemMetadata const&, vr_driver_msg const* message) override {
        calls.push_back("process " + std::to_string(message == nullptr ? 0 : message->timestamp));
        return processResult;
    }
    pwr::ResetReturnCode reset(pwr::ResetReason reason, unsigned long long timestamp,
                               pwr::SystemMetadata const&) override {
        calls.push_back("reset " + std::to_string(reason) + " " + std::to_string(timestamp));
        return resetResult;
    }
    int32_t initializeCollection(std::vector<pwr::InputMsg*>& messages, std::vector<pwr::Metadata*>& records,
                                 std::string const& name, Pairs const& params,
                                 pwr::SystemMetadata const& metadata) override {
        if (giveMessage) {
            messages.push_back(nullptr);
        }
        MetricPlugin::initializeCollection(messages, records, name, params, metadata);
        return initResult;
    }
    static std::ptrdiff_t processSlot() {
        return vrtest::virtualSlot(&FakeMetricPlugin::processDriverMessage);
    }

    std::vector<std::string> calls;
    int32_t processResult = 0;
    pwr::ResetReturnCode resetResult = pwr::RESET_PASS_ON;
    bool giveMessage = false;
    int32_t initResult = 0;
};

vr_driver_msg message(uint64_t timestamp, uint8_t sourceByte) {
    vr_driver_msg msg{};
    msg.timestamp = timestamp;
    msg.source = id_config_t{sourceByte, 0, 0};
    return msg;
}

TEST(MetricPlugin, RecordedResetsGoToResetFirstAndOtherMessagesStraightToTheWork) {
    ScopedLogCapture capture(4);
    PluginEnvironment& env = capture.environment();
    env.addSystemStateEvent(100, 4);
    // Source 1 restarts at 150 across the state-4 event; source 2 has no earlier message, so isn't reset.
    for (auto [ts, source] : {std::pair{50, 1}, {150, 1}, {150, 2}}) {
        env.checkAndRecordReset(id_config_t{static_cast<uint8_t>(source), 0, 0}, ts);
    }
    pwr::SystemMetadata machine;
    FakeMetricPlugin plugin;
    const vr_driver_msg reset = message(150, 1);
    const vr_driver_msg sameSourceOtherTime = message(151, 1);
    const vr_driver_msg otherSource = message(150, 2);
    // Message, what reset returns, what the work returns, the code, the calls.
    const std::tuple<const vr_driver_msg*, pwr::ResetReturnCode, int, pwr::ProcessMessageCode, const char*>
        cases[] = {
            {&reset, pwr::RESET_PASS_ON, 0, pwr::PROCESS_MESSAGE_HANDLED, "reset 1 150|process 150|"},
            {&reset, pwr::RESET_CONSUMED, 0, pwr::PROCESS_MESSAGE_RESET_CONSUMED, "reset 1 150|"},
            {&sameSourceOtherTime, pwr::RESET_CONSUMED, 0, pwr::PROCESS_MESSAGE_HANDLED, "process 151|"},
            {&otherSource, pwr::RESET_CONSUMED, 7, pwr::PROCESS_MESSAGE_FAILED, "process 150|"},
            {nullptr, pwr::RESET_CONSUMED, 0, pwr::PROCESS_MESSAGE_HANDLED, "process 0|"},
        };
    for (const auto& [msg, resetResult, processResult, code, calls] : cases) {
        SCOPED_TRACE(calls);
        plugin.calls.clear();
        plugin.resetResult = resetResult;
        plugin.processResult = processResult;
        capture.clear();
        EXPECT_EQ(MetricPluginHost::processMessage(plugin, machine, msg), code);
        std::string seen;
        for (const std::string& call : plugin.calls) {
            seen += call + "|";
        }
        EXPECT_EQ(seen, calls);
        EXPECT_EQ(capture.text(), msg == &reset ? "INFO: 150 is a reset TSC (4)!\n" : "");
    }
}

TEST(MetricPlugin, DefaultsReportRecordsAndParametersAndHelpFollowsInitialisation) {
    ScopedLogCapture capture(3);
    FakeMetricPlugin plugin;
    pwr::MetricMetadata metric(1, 2);
    metric.addValue("unit", "mW");
    EXPECT_EQ(plugin.processMetadata(&metric), 0);
    pwr::CollectorMetadata collector("c");
    EXPECT_EQ(plugin.processMetadata(&collector), -1);
    pwr::SystemMetadata machine;
    EXPECT_EQ(plugin.finalizeCollection("run", {{"k", "v"}}, machine), 0);
    EXPECT_EQ(capture.text(),
              "3DEBUG: Metric plugin 3 received a metadata msg of type METRIC\n"
              "3DEBUG: \tValue: unit :=> mW\n"
              "3DEBUG: Metric plugin 3 received a metadata msg of type \n"
              "WARNING: ERROR: unsupported metadata type 4 received in metric plugin 3!\n"
              "3DEBUG: FINI collection for run\n"
              "3DEBUG: k :=> v\n");

    // Failure wins over messages; otherwise messages decide.
    const std::tuple<bool, int32_t, pwr::VRDynamicHelpType> help[] = {
        {true, 0, pwr::VR_DYNAMIC_HELP_COLLECT},
        {false, 0, pwr::VR_DYNAMIC_HELP_NOTHING},
        {true, -1, pwr::VR_DYNAMIC_HELP_FAILED},
    };
    for (const auto& [giveMessage, initResult, type] : help) {
        plugin.giveMessage = giveMessage;
        plugin.initResult = initResult;
        EXPECT_EQ(plugin.getDynamicHelpDisplayType("run", {}, machine), type);
    }
}

TEST(MetricPlugin, SlotsFollowThoseOfPluginInContractOrder) {
    using vrtest::virtualSlot;
    const std::ptrdiff_t slots[] = {virtualSlot(&MetricPlugin::initializePlugin),
                                    virtualSlot(&MetricPlugin::terminatePlugin),
                                    FakeMetricPlugin::processSlot(),
                                    virtualSlot(&MetricPlugin::processMetadata),
                                    virtualSlot(&MetricPlugin::initializeCollection),
                                    virtualSlot(&MetricPlugin::getDynamicHelpDisplayType),
                                    virtualSlot(&MetricPlugin::finalizeCollection),
                                    virtualSlot(&MetricPlugin::getOrgMsgPayload),
                                    virtualSlot(&MetricPlugin::getOrgMsgTag)};
    // Itanium gives the destructor two entries, so slot n of the contract is entry n + 1 from slot 1 on.
    EXPECT_EQ(slots[0], 6 + 1);
    for (std::size_t i = 1; i < std::size(slots); ++i) {
        EXPECT_EQ(slots[i], slots[i - 1] + 1) << i;
    }
}

}  // namespace
