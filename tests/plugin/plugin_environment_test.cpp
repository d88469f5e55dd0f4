#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <sstream>

#include "support/LogCapture.h"
#include "vantrell/platform/Platform.h"
#include "vantrell/plugin/PluginEnvironment.h"

namespace {

using ::testing::ElementsAre;
using Interval = std::pair<uint64_t, uint64_t>;

TEST(PluginEnvironment, SecondsFromTimestampsUseTheDefaultClock) {
    PluginEnvironment env;
    EXPECT_EQ(reinterpret_cast<uintptr_t>(env.getVantrellDrvHandle()), ~uintptr_t{0});  // invalid handle
    // No frequency yet: the conversion divides by zero.
    EXPECT_TRUE(std::isinf(env.getSecFromTimestamp(1)));
    EXPECT_TRUE(std::isnan(env.getSecFromTimestamp(0)));
    env.setDefaultClockToTSCRatio(100.0f, 2000.0f);
    EXPECT_EQ(env.getDefaultClockMHz(), 100.0f);
    EXPECT_FLOAT_EQ(env.getDefaultClockToTSCRatio(), 0.05f);
    EXPECT_FLOAT_EQ(env.getSecFromTimestamp(250000000), 2.5f);
    // The conversion is unsigned, also with the top bit set.
    EXPECT_FLOAT_EQ(env.getSecFromTimestamp(uint64_t{1} << 63), 9.223372e10f);
}

// With one source primed at 0, a message at `ts` records a reset whenever an event lies in [0, ts], so
// the recorded state shows what the timeline says at `ts`.
TEST(PluginEnvironment, ResetRecordsTheStateBeforeTheMessage) {
    PluginEnvironment env;
    env.addSystemStateEvent(10, 2);
    env.addSystemStateEvent(20, 4);
    struct Case {
        uint64_t ts;
        bool reset;
        uint64_t state;
    };
    const Case cases[] = {{5, false, 0}, {10, true, 1}, {11, true, 2}, {20, true, 2}, {21, true, 4}};
    uint8_t source = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.ts);
        ++source;
        EXPECT_FALSE(env.checkAndRecordReset({source, 0, 0}, 0));
        EXPECT_EQ(env.checkAndRecordReset({source, 0, 0}, c.ts), c.reset);
        EXPECT_EQ(env.isSystemReset(source, 0, 0, c.ts), c.state);
    }
    // In state 4 a source restarts with no event in between.
    EXPECT_TRUE(env.checkAndRecordReset({source, 0, 0}, 30));
    EXPECT_EQ(env.isSystemReset(source, 0, 0, 30), 4u);
}

TEST(PluginEnvironment, ResetNeedsAnEarlierMessageOfTheSameSource) {
    PluginEnvironment env;
    env.addSystemStateEvent(100, 3);
    EXPECT_FALSE(env.checkResetOccurred());
    EXPECT_FALSE(env.checkAndRecordReset({1, 2, 3}, 100));  // first of its source, even on an event
    EXPECT_FALSE(env.checkAndRecordReset({1, 2, 4}, 50));
    EXPECT_FALSE(env.checkResetOccurred());
    EXPECT_TRUE(env.checkAndRecordReset({1, 2, 3}, 150));  // the range includes its lower end, 100
    EXPECT_TRUE(env.checkResetOccurred());
    EXPECT_FALSE(env.checkAndRecordReset({1, 2, 3}, 160));  // the event is behind it now
    EXPECT_TRUE(env.checkAndRecordReset({1, 2, 4}, 100));   // ...and includes its upper end

    EXPECT_EQ(env.isSystemReset(1, 2, 3, 150), 3u);
    EXPECT_EQ(env.isSystemReset(1, 2, 3, 151), 0u);
    EXPECT_EQ(env.isSystemReset(3, 2, 1, 150), 0u);
    EXPECT_EQ(env.isSystemReset(1, 2, 4, 100), 1u);
}

TEST(PluginEnvironment, TimelineReplacesAndRemovesItsLatestEvent) {
    PluginEnvironment env;
    env.removeLastSystemStateEvent();
    env.addSystemStateEvent(10, 2);
    env.addSystemStateEvent(30, 1);
    env.addSystemStateEvent(10, 3);
    EXPECT_THAT(env.getSystemStateEvents(), ElementsAre(std::make_pair(10u, 3u), std::make_pair(30u, 1u)));
    env.removeLastSystemStateEvent();
    EXPECT_THAT(env.getSystemStateEvents(), ElementsAre(std::make_pair(10u, 3u)));
}

TEST(PluginEnvironment, LastResetEventSearchesBackFromTheEventAfterTs) {
    PluginEnvironment env;
    EXPECT_EQ(env.getLastResetEvent(5), Interval(0, 0));
    env.addSystemStateEvent(10, 2);
    env.addSystemStateEvent(20, 1);
    env.addSystemStateEvent(30, 3);
    env.addSystemStateEvent(40, 1);
    EXPECT_EQ(env.getLastResetEvent(5), Interval(0, 0));  // starts at the first event
    EXPECT_EQ(env.getLastResetEvent(15), Interval(10, 20));
    EXPECT_EQ(env.getLastResetEvent(20), Interval(10, 20));  // from 30 back to 20
    EXPECT_EQ(env.getLastResetEvent(25), Interval(10, 20));
    EXPECT_EQ(env.getLastResetEvent(30), Interval(30, 40));  // an event at ts is not where it starts
    EXPECT_EQ(env.getLastResetEvent(35), Interval(30, 40));  // the event after ts may itself qualify
    EXPECT_EQ(env.getLastResetEvent(99), Interval(30, 40));

    PluginEnvironment firstOnly;
    firstOnly.addSystemStateEvent(10, 1);
    firstOnly.addSystemStateEvent(20, 2);
    EXPECT_EQ(firstOnly.getLastResetEvent(25), Interval(0, 0));  // the first event never qualifies
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
    EXPECT_EQ(a1[0].endpointId, 1u);  // in order of arrival
    EXPECT_EQ(a1[1].endpointId, 2u);
    EXPECT_EQ(env.getLoadedPMTNumberEndpoints(0xA1), 2u);
    EXPECT_EQ(env.getLoadedPMTCollectionType(0xA1), 7u);  // of the first endpoint
    EXPECT_EQ(env.getLoadedPMTEndpoint(3).baseAddress, 0x1003u);
    EXPECT_EQ(env.getPMTPlatformGUID(uint16_t{2}), 0xA1u);
    EXPECT_THAT(env.getLoadedPMTGUIDs(), ElementsAre(0xA1u, 0xB2u));

    env.addPMTPlatformGUID("alpha", 0xB2);
    EXPECT_EQ(env.getPMTPlatformGUID("alpha"), 0xB2u);
    EXPECT_EQ(env.getPMTPlatformName(0xB2), "alpha");
    EXPECT_EQ(env.getLoadedPMTNumberEndpoints("alpha"), 1u);
    EXPECT_EQ(env.getLoadedPMTEndpoints("alpha").at(0).endpointId, 3u);

    // Unknown things give zeros and empties.
    EXPECT_TRUE(env.getLoadedPMTEndpoints(0xC3).empty());
    EXPECT_TRUE(env.getLoadedPMTEndpoints("beta").empty());
    EXPECT_EQ(env.getLoadedPMTNumberEndpoints("beta"), 0u);
    EXPECT_EQ(env.getLoadedPMTCollectionType(0xC3), 0u);
    EXPECT_EQ(env.getPMTPlatformGUID("beta"), 0u);
    EXPECT_EQ(env.getPMTPlatformGUID(uint16_t{9}), 0u);
    EXPECT_EQ(env.getPMTPlatformName(0xC3), "");
    _vr_aggregator_info none = env.getLoadedPMTEndpoint(9);
    EXPECT_EQ(none.baseAddress, 0u);
    EXPECT_EQ(none.guid, 0u);
}

TEST(PluginEnvironment, EndpointRecordReadsTheDriverLayout) {
    unsigned char bytes[22] = {};
    bytes[0] = 0x88;
    bytes[7] = 0x11;
    bytes[8] = 0x44;  // GUID 0x11223344, little-endian
    bytes[9] = 0x33;
    bytes[10] = 0x22;
    bytes[11] = 0x11;
    bytes[16] = 0x05;  // endpoint id 5
    bytes[20] = 0x02;  // collection type 2
    _vr_aggregator_info info;
    std::memcpy(&info, bytes, sizeof bytes);
    EXPECT_EQ(info.baseAddress, 0x1100000000000088u);
    PluginEnvironment env;
    EXPECT_EQ(env.getPMTPlatformGUID(&info), 0x11223344u);
    EXPECT_EQ(env.getPMTPlatformGUID(static_cast<const _vr_aggregator_info*>(nullptr)), 0u);
    env.addLoadedPMT(info);
    EXPECT_EQ(env.getLoadedPMTCollectionType(0x11223344), 2u);
    EXPECT_EQ(env.getPMTPlatformGUID(uint16_t{5}), 0x11223344u);
}

TEST(PluginEnvironment, EndpointParsersIgnoreNull) {
    PluginEnvironment env;
    int first = 0;
    auto* parser = reinterpret_cast<pwr::XMLParser*>(&first);
    EXPECT_EQ(env.getPMTXMLParser(0xA1), nullptr);
    env.setPMTXMLParser(0xA1, parser);
    env.setPMTXMLParser(0xA1, nullptr);
    EXPECT_EQ(env.getPMTXMLParser(0xA1), parser);
}

// Notes its own deletion, to show who deletes the adopted stream.
class WatchedStream : public std::ostringstream {
  public:
    explicit WatchedStream(bool& deleted) : deleted(deleted) {}
    ~WatchedStream() override { deleted = true; }

  private:
    bool& deleted;
};

TEST(PluginEnvironment, CopiesTakeEveryFieldAndShareTheAdoptedStream) {
    bool deleted = false;
    auto original = std::make_unique<PluginEnvironment>();
    original->adoptOutputStream(std::make_unique<WatchedStream>(deleted));
    original->addSystemStateEvent(10, 2);
    original->checkAndRecordReset({1, 1, 1}, 5);
    original->addLoadedPMT(endpoint(0xA1, 1, 7));
    original->setResultFilePrefix("run-");
    original->queueMessage("queued");

    PluginEnvironment copy(*original);
    original->addSystemStateEvent(20, 3);  // containers are copied by value
    EXPECT_EQ(copy.getSystemStateEvents().size(), 1u);
    EXPECT_TRUE(copy.checkAndRecordReset({1, 1, 1}, 15));  // the last timestamp of the source came along
    EXPECT_EQ(copy.getLoadedPMTNumberEndpoints(0xA1), 1u);
    EXPECT_EQ(copy.getResultFilePrefix(), "run-");
    EXPECT_EQ(copy.getQueuedMessages().front(), "queued");
    EXPECT_EQ(copy.getOwnedOutputStream(), original->getOwnedOutputStream());

    PluginEnvironment assigned;
    assigned = copy;
    original.reset();
    copy = PluginEnvironment();
    EXPECT_FALSE(deleted);
    assigned = PluginEnvironment();
    EXPECT_TRUE(deleted);  // the last holder deletes it
}

// Replaces the executable's path for one test, and restores path and search path afterwards.
class ModulePathOverride {
  public:
    explicit ModulePathOverride(pwr::platform::ModulePathHook hook)
        : previous(pwr::platform::setModulePathHook(hook)) {
        pwr::platform::resetLibrarySearchPath();
    }
    ~ModulePathOverride() {
        pwr::platform::setModulePathHook(previous);
        pwr::platform::resetLibrarySearchPath();
    }

  private:
    pwr::platform::ModulePathHook previous;
};

TEST(PluginEnvironment, DirectoryDiscoveryStoresBackslashesAndOpensThePluginsDirectory) {
    ModulePathOverride path([](std::string& native) {
        native = "/opt/v\xC3\xA4nt/bin/vantrell";
        return true;
    });
    PluginEnvironment env;
    env.setVantrellDirectory();
    EXPECT_EQ(env.getVantrellDirectory(), "\\opt\\v\xC3\xA4nt\\bin\\");
    EXPECT_EQ(pwr::platform::getLibraryDirectory(), "/opt/v\xC3\xA4nt/bin");
    // Bytes above 0x7f must pass the 16-bit search path unharmed.
    EXPECT_THAT(pwr::platform::getAddedLibraryDirectories(), ElementsAre("/opt/v\xC3\xA4nt/bin/plugins/"));
}

TEST(PluginEnvironment, DirectoryDiscoveryFailureIsLoggedAndChangesNothing) {
    ModulePathOverride path([](std::string&) {
        pwr::platform::setLastError(EACCES);
        return false;
    });
    vrtest::ScopedLogCapture capture(1);
    PluginEnvironment& env = capture.environment();
    env.setVantrellDirectory();
    EXPECT_EQ(capture.errors().text(),
              "ERROR: Cannot get full pathname for vantrell executable. Error: Permission denied\n");
    EXPECT_EQ(env.getVantrellDirectory(), "");
    EXPECT_EQ(pwr::platform::getLibraryDirectory(), "");
    EXPECT_TRUE(pwr::platform::getAddedLibraryDirectories().empty());

    capture.clear();
    env.setVerbosity(0);
    env.setVantrellDirectory();
    EXPECT_EQ(capture.text(), "");
}

TEST(PluginEnvironment, DirectoryDiscoveryFindsThisExecutable) {
    ModulePathOverride path(nullptr);
    std::string expected = std::filesystem::read_symlink("/proc/self/exe").parent_path().string();
    PluginEnvironment env;
    env.setVantrellDirectory();
    std::string stored = expected;
    std::replace(stored.begin(), stored.end(), '/', '\\');
    EXPECT_EQ(env.getVantrellDirectory(), stored + "\\");
    EXPECT_EQ(pwr::platform::getLibraryDirectory(), expected);
    EXPECT_THAT(pwr::platform::getAddedLibraryDirectories(), ElementsAre(expected + "/plugins/"));
}

}  // namespace
