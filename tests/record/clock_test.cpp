#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <thread>

#include "support/LogCapture.h"
#include "vantrell/record/Clock.h"

namespace {

using pwr::VRClockSync;

TEST(Clock, SystemClocksCarryTheirStoredIdentitiesInOrder) {
    // The metadata isn't read, so any object stands in for it.
    alignas(std::max_align_t) static unsigned char placeholder[64];
    std::vector<pwr::VRClockSource*> clocks{nullptr};
    pwr::getVRSystemClockSources(reinterpret_cast<const pwr::SystemMetadata&>(placeholder), clocks);
    ASSERT_EQ(clocks.size(), 4u);  // appended behind what was there
    struct Identity {
        const char* name;
        const char* uuid;
        const char* description;
    };
    const Identity expected[] = {
        {"QPC", "d3ad8390-29cc-11e6-bdf4-0800200c9a66", "A QPC based clock source"},
        {"NANO", "8ad42930-517d-11e5-b970-0800200c9a66",
         "A clock_gettime based clock source returning time in nanoseconds since the Epoch"},
        {"TSC", "5138ffc0-517d-11e5-b970-0800200c9a66", "A TSC based clock source"},
    };
    for (size_t i = 0; i < 3; ++i) {
        SCOPED_TRACE(expected[i].name);
        EXPECT_EQ(clocks[i + 1]->getName(), expected[i].name);
        EXPECT_EQ(clocks[i + 1]->getUUID(), expected[i].uuid);
        EXPECT_EQ(clocks[i + 1]->getDescription(), expected[i].description);
    }
    EXPECT_NE(dynamic_cast<pwr::VRTSCClock*>(clocks[3]), nullptr);
    pwr::freeVRSystemClockSources(clocks);  // skips the null entry
    EXPECT_EQ(clocks.size(), 4u);
}

TEST(Clock, Frequencies) {
    pwr::VRTSCClock tsc;
    EXPECT_EQ(tsc.getFrequencyMHz(), 0.0f);
    tsc.setFrequencyMHz(2400.5f);
    EXPECT_EQ(tsc.getFrequencyMHz(), 2400.5f);
    EXPECT_EQ(pwr::VRQPCClock().getFrequencyMHz(), 1000.0f);
    EXPECT_EQ(pwr::VRNanoClock().getFrequencyMHz(), 1000.0f);
}

TEST(Clock, ReadingsAdvanceAtTheirFrequency) {
    pwr::VRTSCClock tsc;
    pwr::VRQPCClock qpc;
    pwr::VRNanoClock nano;
    uint64_t tsc0 = tsc.getTimestamp(), qpc0 = qpc.getTimestamp(), nano0 = nano.getTimestamp();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    uint64_t tsc1 = tsc.getTimestamp(), qpc1 = qpc.getTimestamp(), nano1 = nano.getTimestamp();

    EXPECT_GE(qpc1 - qpc0, 20000000u);  // ticks of a nanosecond
    EXPECT_LT(qpc1 - qpc0, 5000000000u);
    EXPECT_GE(nano1 - nano0, 19000000u);  // 100 ns resolution
    EXPECT_EQ(nano1 % 100, 0u);
    // The time stamp counter runs at some rate between 100 MHz and 10 GHz.
    double tscMHz = static_cast<double>(tsc1 - tsc0) / (static_cast<double>(qpc1 - qpc0) / 1000.0);
    EXPECT_GT(tscMHz, 100.0);
    EXPECT_LT(tscMHz, 10000.0);
}

TEST(Clock, NanoClockIsUnixTime) {
    auto now = std::chrono::duration_cast<std::chrono::nanoseconds>(
                   std::chrono::system_clock::now().time_since_epoch())
                   .count();
    int64_t difference = static_cast<int64_t>(pwr::VRNanoClock().getTimestamp()) - now;
    EXPECT_LT(std::llabs(difference), 1000000000LL);
}

class FixedClock : public pwr::VRClockSource {
  public:
    FixedClock() : VRClockSource("fixed-uuid", "FIXED", "fixed") {}
    float getFrequencyMHz() const override { return 1.0f; }
    uint64_t getTimestamp() const override { return 42; }
};

TEST(Clock, VRATimestampReadsTheDefaultClock) {
    vrtest::ScopedLogCapture capture(1);
    EXPECT_EQ(pwr::getVRATimestamp(), 0u);
    EXPECT_EQ(pwr::getVRAClockUUID(), "");
    FixedClock clock;
    capture.environment().setDefaultClock(&clock);
    EXPECT_EQ(pwr::getVRATimestamp(), 42u);
    EXPECT_EQ(&pwr::getVRAClockUUID(), &clock.getUUID());
}

VRClockSync sync(const char* uuid, float mhz, uint64_t value, float defaultMHz, uint64_t defaultValue) {
    VRClockSync s;
    s.clockUUID = uuid;
    s.clockName = uuid;
    s.clockFreqMHz = mhz;
    s.clockValue = value;
    s.defaultClockUUID = "D";
    s.defaultClockName = "DEF";
    s.defaultClockFreqMHz = defaultMHz;
    s.defaultClockValue = defaultValue;
    return s;
}

TEST(Clock, WasClockSynchronizedCopiesEachSyncItLooksAt) {
    std::deque<VRClockSync> syncs{sync("A", 1.0f, 1, 2.0f, 2), sync("B", 100.0f, 1000, 1000.0f, 5),
                                  sync("C", 3.0f, 3, 4.0f, 4)};
    VRClockSync out = sync("untouched", 0, 0, 0, 0);
    EXPECT_FALSE(pwr::wasClockSynchronized("B", {}, out));
    EXPECT_EQ(out.clockUUID, "untouched");

    vrtest::ScopedLogCapture capture(3);
    EXPECT_TRUE(pwr::wasClockSynchronized("B", syncs, out));
    EXPECT_EQ(out.clockUUID, "B");
    EXPECT_EQ(out.clockValue, 1000u);
    EXPECT_EQ(capture.debug().text(),
              "DEBUG: Looking at sync clock A\nDEBUG: Looking at sync clock B\n"
              "DEBUG: Found clock UUID B with freq 100.00 and val 1000 (Default = D, 1000.00, 5)\n");

    EXPECT_FALSE(pwr::wasClockSynchronized("Z", syncs, out));
    EXPECT_EQ(out.clockUUID, "C");  // the last one looked at
    EXPECT_EQ(out.defaultClockValue, 4u);

    capture.clear();
    capture.environment().setVerbosity(2);
    EXPECT_TRUE(pwr::wasClockSynchronized("A", syncs, out));
    EXPECT_EQ(capture.text(), "");
}

TEST(Clock, ConvertTimestampScalesTheDistanceFromTheSync) {
    struct Case {
        const char* what;
        VRClockSync sync;
        unsigned long long timestamp;
        uint64_t expected;
    };
    const uint64_t twoTo63 = uint64_t{1} << 63;
    const Case cases[] = {
        {"slower clock", sync("A", 100.0f, 1000, 1000.0f, 5), 1100, 1005},
        {"at the sync", sync("A", 100.0f, 1000, 1000.0f, 5), 1000, 5},
        {"faster clock", sync("A", 2400.0f, 0, 100.0f, 0), 2400000000ULL, 100000000},
        {"earlier wraps, half of 2^64", sync("A", 2.0f, 1, 1.0f, 5), 0, twoTo63 + 5},
        {"earlier wraps, beyond 2^63", sync("A", 4.0f, 1, 3.0f, 5), 0, twoTo63 + twoTo63 / 2 + 5},
        {"earlier wraps past 64 bits", sync("A", 1.0f, 1, 1.0f, 5), 0, UINT64_MAX + uint64_t{5}},
        {"no clock frequency", sync("A", 0.0f, 7, 1000.0f, 9), 7, 9},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(pwr::convertTimestamp(c.sync, c.timestamp), c.expected);
    }
}

TEST(Clock, ConvertTimestampLogsAtInfo) {
    vrtest::ScopedLogCapture capture(4);
    pwr::convertTimestamp(sync("A", 100.0f, 1000, 1000.0f, 5), 1100);
    EXPECT_EQ(capture.debug().text(), "INFO: input TSC = 1100, output TSC = 1005\n");
    capture.clear();
    capture.environment().setVerbosity(3);
    pwr::convertTimestamp(sync("A", 100.0f, 1000, 1000.0f, 5), 1100);
    EXPECT_EQ(capture.text(), "");
}

}  // namespace
