#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <sstream>
#include <tuple>

#include "support/LogCapture.h"
#include "vantrell/platform/Platform.h"
#include "vantrell/plugin/PluginEnvironment.h"

namespace {

namespace platform = pwr::platform;
using ::testing::ElementsAre;
using Interval = std::pair<uint64_t, uint64_t>;

TEST(PluginEnvironment, SecondsFromTimestampsUseTheDefaultClock) {
    PluginEnvironment env;
    // No frequency yet: the conversion divides by zero.
    EXPECT_TRUE(std::isinf(env.getSecFromTimestamp(1)));
    EXPECT_TRUE(std::isnan(env.getSecFromTimestamp(0)));
    env.setDefaultClockToTSCRatio(100.0f, 2000.0f);
    EXPECT_FLOAT_EQ(env.getDefaultClockToTSCRatio(), 0.05f);
    EXPECT_FLOAT_EQ(env.getSecFromTimestamp(250000000), 2.5f);
    EXPECT_FLOAT_EQ(env.getSecFromTimestamp(uint64_t{1} << 63), 9.223372e10f) << "unsigned, top bit too";
}

// Messages of sources (a, 2, 3) against a timeline; each step gives whether it is a reset and the state
// recorded for it: the state before `ts`, an event at exactly `ts` not yet counting.
TEST(PluginEnvironment, ResetIsTheFirstMessageOfASourceAfterAnEventOrInARestartState) {
    PluginEnvironment env;
    for (auto [ts, state] : {Interval(10, 2), {20, 4}, {40, 1}, {100, 3}}) {
        env.addSystemStateEvent(ts, static_cast<uint32_t>(state));
    }
    const std::tuple<uint8_t, uint64_t, bool, uint64_t> steps[] = {
        {1, 0, false, 0},   {1, 5, false, 0},  {1, 10, true, 1},  // an event at ts counts for the range
        {2, 0, false, 0},   {2, 11, true, 2},  {3, 0, false, 0}, {3, 20, true, 2},
        {3, 25, true, 4},   {3, 30, true, 4},  // in state 4 a source restarts with no event in between
        {4, 100, false, 0},                    // the first of its source, even on an event
        {4, 150, true, 3},                     // an event at the last message's time counts too
        {4, 160, false, 0}, {5, 50, false, 0}, {5, 100, true, 1}};
    EXPECT_FALSE(env.checkResetOccurred());
    for (const auto& [source, ts, reset, state] : steps) {
        SCOPED_TRACE(std::to_string(source) + "@" + std::to_string(ts));
        EXPECT_EQ(env.checkAndRecordReset({source, 2, 3}, ts), reset);
        EXPECT_EQ(env.isSystemReset(source, 2, 3, ts), state);
    }
    EXPECT_TRUE(env.checkResetOccurred());
    EXPECT_EQ(env.isSystemReset(3, 2, 4, 150), 0u);
}

TEST(PluginEnvironment, TimelineKeepsOneEventPerTimeAndFindsTheLastReset) {
    PluginEnvironment env;
    env.removeLastSystemStateEvent();
    EXPECT_EQ(env.getLastResetEvent(5), Interval(0, 0));
    for (auto [ts, state] : {Interval(10, 2), {20, 7}, {30, 3}, {40, 1}, {50, 2}, {20, 1}}) {
        env.addSystemStateEvent(ts, static_cast<uint32_t>(state));
    }
    env.removeLastSystemStateEvent();
    EXPECT_THAT(env.getSystemStateEvents(),
                ElementsAre(Interval(10, 2), Interval(20, 1), Interval(30, 3), Interval(40, 1)));
    // The search goes back from the first event after ts to a running one (state 1), never the first.
    const std::pair<uint64_t, Interval> cases[] = {{5, {0, 0}},    {15, {10, 20}}, {20, {10, 20}},
                                                   {25, {10, 20}}, {30, {30, 40}}, {35, {30, 40}},
                                                   {99, {30, 40}}};
    for (const auto& [ts, interval] : cases) {
        SCOPED_TRACE(ts);
        EXPECT_EQ(env.getLastResetEvent(ts), interval);
    }
    env.addSystemStateEvent(5, 1);
    EXPECT_EQ(env.getLastResetEvent(7), Interval(0, 0)) << "the first event never qualifies";
}

_vr_aggregator_info endpoint(uint32_t guid, uint16_t id, uint16_t collectionType) {
    _vr_aggregator_info info;
    info.baseAddress = 0x1000 + id;
    info.guid = guid;
    info.endpointId = id;
    info.collectionType = collectionType;
    return info;
}

TEST(PluginEnvironment, TelemetryEndpointsByGuidIdAndName) {
    PluginEnvironment env;
    env.addLoadedPMT(endpoint(0xA1, 1, 7));
    env.addLoadedPMT(endpoint(0xB2, 3, 9));
    env.addLoadedPMT(endpoint(0xA1, 2, 8));
    std::vector<_vr_aggregator_info> a1 = env.getLoadedPMTEndpoints(0xA1);
    ASSERT_EQ(a1.size(), 2u);
    EXPECT_EQ(a1[1].endpointId, 2u) << "in order of arrival";
    EXPECT_EQ(env.getLoadedPMTCollectionType(0xA1), 7u) << "of the first endpoint";
    EXPECT_EQ(env.getLoadedPMTEndpoint(3).baseAddress, 0x1003u);
    EXPECT_EQ(env.getPMTPlatformGUID(uint16_t{2}), 0xA1u);
    EXPECT_EQ(env.getPMTPlatformGUID(&a1[0]), 0xA1u);
    EXPECT_THAT(env.getLoadedPMTGUIDs(), ElementsAre(0xA1u, 0xB2u));
    env.addPMTPlatformGUID("alpha", 0xB2);
    EXPECT_EQ(env.getPMTPlatformName(0xB2), "alpha");
    EXPECT_EQ(env.getLoadedPMTNumberEndpoints("alpha"), 1u);
    EXPECT_EQ(env.getLoadedPMTEndpoints("alpha").at(0).endpointId, 3u);

    // Unknown things give zeros and empties.
    EXPECT_TRUE(env.getLoadedPMTEndpoints("beta").empty());
    EXPECT_EQ(env.getLoadedPMTCollectionType(0xC3), 0u);
    EXPECT_EQ(env.getPMTPlatformGUID(uint16_t{9}), 0u);
    EXPECT_EQ(env.getPMTPlatformGUID(static_cast<const _vr_aggregator_info*>(nullptr)), 0u);
    EXPECT_EQ(env.getLoadedPMTEndpoint(9).guid, 0u);
    EXPECT_EQ(env.getPMTPlatformName(0xC3), "");

    int first = 0;
    auto* parser = reinterpret_cast<pwr::XMLParser*>(&first);
    EXPECT_EQ(env.getPMTXMLParser(0xA1), nullptr);
    env.setPMTXMLParser(0xA1, parser);
    env.setPMTXMLParser(0xA1, nullptr);
    EXPECT_EQ(env.getPMTXMLParser(0xA1), parser) << "a null parser is ignored";
}

// Notes its own deletion, to show who deletes the adopted stream.
class WatchedStream : public std::ostringstream {
  public:
    explicit WatchedStream(bool& deleted) : deleted(deleted) {}
    ~WatchedStream() override { deleted = true; }

  private:
    bool& deleted;
};

TEST(PluginEnvironment, CopiesShareTheAdoptedStreamAndCopyTheRest) {
    bool deleted = false;
    auto original = std::make_unique<PluginEnvironment>();
    original->adoptOutputStream(std::make_unique<WatchedStream>(deleted));
    original->checkAndRecordReset({1, 1, 1}, 5);
    PluginEnvironment copy(*original);
    original->addSystemStateEvent(10, 2);
    EXPECT_FALSE(copy.checkAndRecordReset({1, 1, 1}, 15)) << "the timeline was copied, not shared";
    PluginEnvironment assigned;
    assigned = copy;
    original.reset();
    copy = PluginEnvironment();
    EXPECT_FALSE(deleted);
    assigned = PluginEnvironment();
    EXPECT_TRUE(deleted) << "the last holder deletes it";
}

TEST(PluginEnvironment, DirectoryDiscoveryStoresBackslashesAndOpensThePluginsDirectory) {
    platform::ModulePathHook previous = platform::setModulePathHook([](std::string& native) {
        native = "/opt/v\xC3\xA4nt/bin/vantrell";
        return true;
    });
    platform::resetLibrarySearchPath();
    PluginEnvironment env;
    env.setVantrellDirectory();
    const std::string stored = "\\opt\\v\xC3\xA4nt\\bin\\";
    EXPECT_EQ(env.getVantrellDirectory(), stored);
    EXPECT_EQ(platform::getLibraryDirectory(), "/opt/v\xC3\xA4nt/bin");
    // Bytes above 0x7f must pass the 16-bit search path unharmed.
    EXPECT_THAT(platform::getAddedLibraryDirectories(), ElementsAre("/opt/v\xC3\xA4nt/bin/plugins/"));

    // A failure is logged and changes nothing.
    vrtest::ScopedLogCapture capture(1);
    platform::setModulePathHook([](std::string& native) {
        native = "/elsewhere/vantrell";
        platform::setLastError(EACCES);
        return false;
    });
    env.setVantrellDirectory();
    EXPECT_EQ(capture.errors().text(),
              "ERROR: Cannot get full pathname for vantrell executable. Error: Permission denied\n");
    EXPECT_EQ(env.getVantrellDirectory(), stored);
    EXPECT_EQ(platform::getLibraryDirectory(), "/opt/v\xC3\xA4nt/bin");
    EXPECT_EQ(platform::getAddedLibraryDirectories().size(), 1u);
    platform::setModulePathHook(previous);
    platform::resetLibrarySearchPath();
}

}  // namespace
