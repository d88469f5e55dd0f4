#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <deque>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "support/LogCapture.h"
#include "vantrell/record/Clock.h"
#include "vantrell/record/SystemMetadata.h"

namespace {

using pwr::VRClockSync;

TEST(Clock, SystemClocksCarryTheirStoredIdentitiesInOrder) {
    std::vector<pwr::VRClockSource*> clocks{nullptr};
    pwr::getVRSystemClockSources(pwr::SystemMetadata(), clocks);
    ASSERT_EQ(clocks.size(), 4u);  // appended behind what was there
    // Name, uuid, description, frequency.
    const std::tuple<const char*, const char*, const char*, float> expected[] = {
        {"QPC", "d3ad8390-29cc-11e6-bdf4-0800200c9a66", "A QPC based clock source", 1000.0f},
        {"NANO", "8ad42930-517d-11e5-b970-0800200c9a66",
         "A clock_gettime based clock source returning time in nanoseconds since the Epoch", 1000.0f},
        {"TSC", "5138ffc0-517d-11e5-b970-0800200c9a66", "A TSC based clock source", 0.0f},
    };
    for (size_t i = 0; i < 3; ++i) {
        const auto& [name, uuid, description, mhz] = expected[i];
        EXPECT_EQ(clocks[i + 1]->getName(), name);
        EXPECT_EQ(clocks[i + 1]->getUUID(), uuid) << name;
        EXPECT_EQ(clocks[i + 1]->getDescription(), description) << name;
        EXPECT_EQ(clocks[i + 1]->getFrequencyMHz(), mhz) << name;
    }
    ASSERT_NE(dynamic_cast<pwr::VRTSCClock*>(clocks[3]), nullptr);

    // The process reads the default clock, here NANO: nanoseconds since the Unix epoch.
    vrtest::ScopedLogCapture capture(1);
    EXPECT_EQ(pwr::getVRATimestamp(), 0u);
    EXPECT_EQ(pwr::getVRAClockUUID(), "");
    capture.environment().setDefaultClock(clocks[2]);
    auto unixNow = std::chrono::system_clock::now().time_since_epoch();
    int64_t offset = static_cast<int64_t>(pwr::getVRATimestamp()) - std::chrono::nanoseconds(unixNow).count();
    EXPECT_LT(std::llabs(offset), 1000000000LL);
    EXPECT_EQ(&pwr::getVRAClockUUID(), &clocks[2]->getUUID());
    pwr::freeVRSystemClockSources(clocks);  // skips the null entry
}

TEST(Clock, ReadingsAdvanceAtTheirFrequency) {
    pwr::VRTSCClock tsc;
    pwr::VRQPCClock qpc;
    pwr::VRNanoClock nano;
    uint64_t tsc0 = tsc.getTimestamp(), qpc0 = qpc.getTimestamp(), nano0 = nano.getTimestamp();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    uint64_t tsc1 = tsc.getTimestamp(), qpc1 = qpc.getTimestamp(), nano1 = nano.getTimestamp();

    EXPECT_GE(qpc1 - qpc0, 20000000u);  // nanosecond ticks
    EXPECT_LT(qpc1 - qpc0, 5000000000u);
    EXPECT_GE(nano1 - nano0, 19000000u);
    EXPECT_EQ(nano1 % 100, 0u) << "read from a 100 ns wall clock";
    // The time stamp counter runs at some rate between 100 MHz and 10 GHz.
    double tscMHz = static_cast<double>(tsc1 - tsc0) / (static_cast<double>(qpc1 - qpc0) / 1000.0);
    EXPECT_GT(tscMHz, 100.0);
    EXPECT_LT(tscMHz, 10000.0);
}

VRClockSync sync(const char* uuid, float mhz, uint64_t value, float defaultMHz, uint64_t defaultValue) {
    return VRClockSync{uuid, uuid, mhz, value, "D", "DEF", defaultMHz, defaultValue};
}

TEST(Clock, WasClockSynchronizedCopiesEachSyncItLooksAt) {
    const std::deque<VRClockSync> syncs{sync("A", 1.0f, 1, 2.0f, 2), sync("B", 100.0f, 1000, 1000.0f, 5),
                                        sync("C", 3.0f, 3, 4.0f, 4)};
    VRClockSync out = sync("untouched", 0, 0, 0, 0);
    EXPECT_FALSE(pwr::wasClockSynchronized("B", {}, out));
    EXPECT_EQ(out.clockUUID, "untouched");

    vrtest::ScopedLogCapture capture(3);
    EXPECT_TRUE(pwr::wasClockSynchronized("B", syncs, out));
    EXPECT_EQ(out.clockValue, 1000u);
    EXPECT_EQ(capture.text(),
              "DEBUG: Looking at sync clock A\nDEBUG: Looking at sync clock B\n"
              "DEBUG: Found clock UUID B with freq 100.00 and val 1000 (Default = D, 1000.00, 5)\n");

    EXPECT_FALSE(pwr::wasClockSynchronized("Z", syncs, out));
    EXPECT_EQ(out.clockUUID, "C");  // the last one looked at
    EXPECT_EQ(out.defaultClockValue, 4u);
}

TEST(Clock, ConvertTimestampScalesTheDistanceFromTheSync) {
    const uint64_t twoTo63 = uint64_t{1} << 63;
    // What, the sync, the timestamp, the converted one.
    const std::tuple<const char*, VRClockSync, unsigned long long, uint64_t> cases[] = {
        {"slower clock", sync("A", 100.0f, 1000, 1000.0f, 5), 1100, 1005},
        {"at the sync", sync("A", 100.0f, 1000, 1000.0f, 5), 1000, 5},
        {"faster clock", sync("A", 2400.0f, 0, 100.0f, 0), 2400000000ULL, 100000000},
        {"earlier wraps, half of 2^64", sync("A", 2.0f, 1, 1.0f, 5), 0, twoTo63 + 5},
        {"earlier wraps, beyond 2^63", sync("A", 4.0f, 1, 3.0f, 5), 0, twoTo63 + twoTo63 / 2 + 5},
        {"earlier wraps past 64 bits", sync("A", 1.0f, 1, 1.0f, 5), 0, UINT64_MAX + uint64_t{5}},
        {"no clock frequency", sync("A", 0.0f, 7, 1000.0f, 9), 7, 9},
    };
    for (const auto& [what, clockSync, timestamp, expected] : cases) {
        SCOPED_TRACE(what);
        EXPECT_EQ(pwr::convertTimestamp(clockSync, timestamp), expected);
    }

    vrtest::ScopedLogCapture capture(4);
    pwr::convertTimestamp(std::get<1>(cases[0]), 1100);
    EXPECT_EQ(capture.text(), "INFO: input TSC = 1100, output TSC = 1005\n");
    capture.clear();
    capture.environment().setVerbosity(3);
    pwr::convertTimestamp(std::get<1>(cases[0]), 1100);
    EXPECT_EQ(capture.text(), "") << "level 4 only";
}

}  // namespace
