// Sessions of the Linux trace facility end to end: events written by providers from several threads,
// recorded, replayed and merged; the kernel scheduler provider where the machine allows it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <map>
#include <thread>

#include "support/LogCapture.h"
#include "trace/TraceFakes.h"
#include "vantrell/platform/Platform.h"
#include "vantrell/trace/EtwProvider.h"

namespace {

using vrtest::readAt;
using vrtest::RecordingSession;
using vrtest::Replayed;
using vrtest::ScratchDir;

const _GUID kProviderA = {0x5a5a0001, 0x1111, 0x2222, {1, 1, 1, 1, 1, 1, 1, 1}};
const _GUID kProviderB = {0x5a5a0002, 0x1111, 0x2222, {2, 2, 2, 2, 2, 2, 2, 2}};

// Event ids by kind of write; keyword 1 is enabled in the sessions, keyword 8 is not.
const _EVENT_DESCRIPTOR kInt = {1, 0, 0, 4, 0, 0, 1};
const _EVENT_DESCRIPTOR kStruct = {2, 0, 0, 4, 0, 0, 1};
const _EVENT_DESCRIPTOR kOrdered = {3, 0, 0, 4, 0, 0, 1};
const _EVENT_DESCRIPTOR kPair = {4, 0, 0, 4, 0, 0, 1};
const _EVENT_DESCRIPTOR kPacked = {5, 0, 0, 4, 0, 0, 1};
const _EVENT_DESCRIPTOR kOtherKeyword = {6, 0, 0, 4, 0, 0, 8};
const _EVENT_DESCRIPTOR kVerbose = {7, 0, 0, 5, 0, 0, 1};

// Writes one event of each kind carrying `n`, and two that the session must not record.
void writeAllKinds(EtwProvider& provider, uint32_t n) {
    char record[12];
    std::memcpy(record, "struct", 6);
    std::memcpy(record + 6, &n, 4);
    EXPECT_TRUE(provider.WriteIntEvent(&kInt, n));
    EXPECT_TRUE(provider.WriteStructEvent(&kStruct, record, 10));
    EXPECT_TRUE(provider.WriteOrderedStructEvent(&kOrdered, record, 10, static_cast<int>(n)));
    EXPECT_TRUE(provider.WriteIntStringPairEvent(&kPair, n, "n\xe9"));
    EtwEvent event(&kPacked);
    event.uint64Values = {n, 7};
    event.uint32Values = {n};
    event.pointerValues = {&provider};
    event.stringValues = {u"ab"};
    EXPECT_TRUE(provider.WriteEvent(event));
    EXPECT_TRUE(provider.WriteIntEvent(&kOtherKeyword, n));
    EXPECT_TRUE(provider.WriteIntEvent(&kVerbose, n));
}

// The bytes of each value in turn, as written without padding.
template <typename... T>
std::vector<uint8_t> concat(const T&... values) {
    std::vector<uint8_t> out;
    (out.insert(out.end(), reinterpret_cast<const uint8_t*>(&values),
                reinterpret_cast<const uint8_t*>(&values) + sizeof(T)),
     ...);
    return out;
}

// The payload each kind must replay with, for `n` written through `provider`.
std::vector<uint8_t> expectedPayload(uint16_t id, uint32_t n, const EtwProvider* provider) {
    const char structText[6] = {'s', 't', 'r', 'u', 'c', 't'};
    const char16_t pairText[3] = {u'n', 0xffe9, 0};
    const uint64_t wide = n;
    switch (id) {
        case 1:
            return concat(wide);
        case 2:
            return concat(uint32_t{10}, structText, n);
        case 3:
            return concat(n, uint32_t{10}, structText, n);
        case 4:
            return concat(n, pairText);
        default:
            return concat(wide, uint64_t{7}, n, provider, u"ab");
    }
}

TEST(TraceSession, RecordsEventsOfTwoThreadsAndReplaysThemIntact) {
    vrtest::ScopedLogCapture capture(2);
    ScratchDir dir;
    RecordingSession session(dir.file("run.etl"), "_user", "twothreads");
    session.addProvider(kProviderA, 1);
    ASSERT_TRUE(session.begin());
    EtwProvider provider(&kProviderA);
    constexpr uint32_t kPerThread = 3000;
    std::map<uint32_t, int> writers;  // thread id -> which writer
    std::mutex lock;
    auto work = [&](int which) {
        {
            std::lock_guard<std::mutex> guard(lock);
            writers[static_cast<uint32_t>(syscall(SYS_gettid))] = which;
        }
        for (uint32_t i = 0; i < kPerThread; ++i) {
            writeAllKinds(provider, static_cast<uint32_t>(which) * 1000000 + i);
        }
    };
    uint64_t before = pwr::platform::readPerformanceCounter();
    std::thread first(work, 1);
    std::thread second(work, 2);
    first.join();
    second.join();
    ASSERT_TRUE(session.flush());
    EXPECT_EQ(session.queryLostEvents(), 0u);
    ASSERT_TRUE(session.end());
    uint64_t after = pwr::platform::readPerformanceCounter();
    ASSERT_TRUE(session.postProcessLog());
    EXPECT_EQ(capture.text(), " Processing ETW data for Test twothreads.\n");

    ASSERT_EQ(session.events.size(), 2 * kPerThread * 5);
    std::map<int, uint32_t> next;  // per writer, the next n of each kind comes in order
    int64_t last = 0;
    for (const Replayed& e : session.events) {
        const _EVENT_HEADER& h = e.header;
        ASSERT_EQ(h.ProviderId, kProviderA);
        ASSERT_GE(h.TimeStamp, last);
        last = h.TimeStamp;
        ASSERT_EQ(h.ProcessId, static_cast<uint32_t>(getpid()));
        ASSERT_EQ(writers.count(h.ThreadId), 1u);
        uint16_t id = h.EventDescriptor.Id;
        ASSERT_TRUE(id >= 1 && id <= 5) << id;
        // The struct kinds carry n last, the others first.
        uint32_t n = readAt<uint32_t>(e.payload, id == 2 || id == 3 ? e.payload.size() - 4 : 0);
        int which = writers[h.ThreadId];
        ASSERT_EQ(n / 1000000, static_cast<uint32_t>(which));
        uint32_t& expected = next[which * 10 + id];
        ASSERT_EQ(n % 1000000, expected++);
        ASSERT_EQ(e.payload, expectedPayload(id, n, &provider)) << "event " << id;
    }
    EXPECT_GE(static_cast<uint64_t>(session.events.front().header.TimeStamp), before);
    EXPECT_LE(static_cast<uint64_t>(last), after);
}

TEST(TraceSession, ReadHelpersPointAtTheStructBytes) {
    ScratchDir dir;
    RecordingSession session(dir.file("read.etl"), "", "readhelpers");
    session.addProvider(kProviderA, 0);
    ASSERT_TRUE(session.begin());
    {
        EtwProvider provider(&kProviderA);
        char data[] = "payload";
        provider.WriteStructEvent(&kStruct, data, 8);
        provider.WriteOrderedStructEvent(&kOrdered, data, 8, 3);
    }
    ASSERT_TRUE(session.end());
    ASSERT_TRUE(session.postProcessLog());
    ASSERT_EQ(session.events.size(), 2u);
    _EVENT_RECORD record{};
    record.UserData = session.events[0].payload.data();
    EXPECT_STREQ(EtwProvider::ReadStructEvent(&record), "payload");
    record.UserData = session.events[1].payload.data();
    EXPECT_STREQ(EtwProvider::ReadOrderedStructEvent(&record), "payload");
}

TEST(TraceSession, LostEventsAreCountedAndReported) {
    ScratchDir dir;
    struct Small : RecordingSession {
        using RecordingSession::RecordingSession;
        bool setEventTraceProperties() override { return EtwSession::setEventTraceProperties(4, 2, 1); }
    } session(dir.file("lost.etl"), "", "lost");
    EtwProvider provider(&kProviderA);  // registered before the session enables it
    session.addProvider(kProviderA, 0);
    ASSERT_TRUE(session.begin());
    std::vector<char> big(3000, 'x');
    unsigned long refused = 0;
    constexpr int kWrites = 20000;
    for (int i = 0; i < kWrites; ++i) {
        refused += provider.WriteStructEvent(&kStruct, big.data(), static_cast<int>(big.size())) ? 0 : 1;
    }
    EXPECT_EQ(session.queryLostEvents(), refused);
    ASSERT_TRUE(session.end());
    vrtest::ScopedLogCapture capture(2);
    ASSERT_TRUE(session.postProcessLog());
    EXPECT_EQ(session.events.size() + refused, static_cast<size_t>(kWrites));
    EXPECT_GT(refused, 0u);  // two buffers of one event each can't keep up with this loop
    EXPECT_GE(session.events.size(), 2u);
    std::string lostLine =
        "FATAL: Warning: Lost events detected (" + std::to_string(refused) + ") in " + session.file() + ".\n";
    EXPECT_EQ(capture.errors().text(), refused > 0 ? lostLine : "");
}

TEST(TraceSession, TwoSessionsMergeIntoTheCaptureFileInTimeOrder) {
    ScratchDir dir;
    std::string target = dir.file("merged.etl");
    RecordingSession a(target, "_a", "merge_a");
    RecordingSession b(target, "_b", "merge_b");
    a.addProvider(kProviderA, 0);
    b.addProvider(kProviderB, 0);
    ASSERT_TRUE(a.begin());
    ASSERT_TRUE(b.begin());
    {
        EtwProvider pa(&kProviderA);
        EtwProvider pb(&kProviderB);
        for (uint32_t i = 0; i < 500; ++i) {
            (i % 3 == 0 ? pb : pa).WriteIntEvent(&kInt, i);
        }
    }
    ASSERT_TRUE(a.end());
    ASSERT_TRUE(b.end());
    EtwSession::addMergeFile("_a");
    EtwSession::addMergeFile("_b");
    ASSERT_TRUE(EtwSession::isMergeRequired());
    vrtest::ScopedLogCapture capture(2);
    vrtest::LockedLogger log;  // the merge thread logs while this one does
    capture.environment().setDebugLogger(&log);
    ASSERT_TRUE(EtwSession::mergeLogs(target));
    EtwSession::waitForMergeComplete();
    EXPECT_THAT(log.messages(),
                ::testing::UnorderedElementsAre(
                    "Merging ETW files to \"" + dir.file("merged_Capture.etl") + "\" started.\n",
                    "Waiting for merge to complete.\n"));

    RecordingSession merged(target, "_Capture", "merged");
    ASSERT_TRUE(merged.postProcessLog());
    ASSERT_EQ(merged.events.size(), 500u);
    for (uint32_t i = 0; i < 500; ++i) {
        const Replayed& e = merged.events[i];
        EXPECT_EQ(readAt<uint64_t>(e.payload, 0), i);
        EXPECT_EQ(e.header.ProviderId, i % 3 == 0 ? kProviderB : kProviderA);
    }
    EXPECT_TRUE(std::filesystem::exists(a.file()));  // the inputs stay
}

// The scheduler provider records sched:sched_switch: each sleep of the test thread shows as a switch
// away from it, stamped on the library's clock, and the spacing of those switches shows that it woke in
// between. (Switches back in are not asserted: some kernels emit no sched_switch when a processor leaves
// its idle task.)
constexpr int kSleeps = 20;
constexpr int64_t kSleepNanos = 2000000;

TEST(TraceSession, KernelSchedulerProviderRecordsContextSwitches) {
    std::vector<pwr::platform::TracepointField> fields;
    if (!pwr::platform::readTracepointFormat("sched", "sched_switch", fields)) {
        GTEST_SKIP() << "tracefs with sched:sched_switch is not available here";
    }
    auto offsetOf = [&fields](const std::string& name) {
        auto found =
            std::find_if(fields.begin(), fields.end(), [&name](const auto& f) { return f.name == name; });
        return found == fields.end() ? 0u : found->offset;
    };
    ScratchDir dir;
    vrtest::ScopedLogCapture capture(2);
    RecordingSession session(dir.file("kernel.etl"), "", "kernel");
    session.addProvider(pwr::platform::kKernelSchedulerProvider, 0x1);
    if (!session.begin()) {
        GTEST_SKIP() << "the machine refuses kernel tracing: " << capture.text();
    }
    uint32_t sleeper = 0;
    uint64_t lastWake = 0;  // the thread's own clock reading after its last sleep, before it exits
    uint64_t before = pwr::platform::readPerformanceCounter();
    std::thread([&sleeper, &lastWake] {
        sleeper = static_cast<uint32_t>(syscall(SYS_gettid));
        for (int i = 0; i < kSleeps; ++i) {
            std::this_thread::sleep_for(std::chrono::nanoseconds(kSleepNanos));
        }
        lastWake = pwr::platform::readPerformanceCounter();
    }).join();
    ASSERT_TRUE(session.end());
    ASSERT_TRUE(session.postProcessLog());
    std::vector<int64_t> away;
    for (const Replayed& e : session.events) {
        ASSERT_EQ(e.header.ProviderId, pwr::platform::kKernelSchedulerProvider);
        ASSERT_EQ(e.header.EventDescriptor.Id, 1);
        uint64_t time = static_cast<uint64_t>(e.header.TimeStamp);
        if (readAt<int32_t>(e.payload, offsetOf("prev_pid")) == static_cast<int32_t>(sleeper) &&
            time >= before && time <= lastWake) {
            away.push_back(e.header.TimeStamp);
        }
    }
    ASSERT_GE(away.size(), static_cast<size_t>(kSleeps)) << session.events.size() << " events";
    std::sort(away.begin(), away.end());
    EXPECT_GE(away.back() - away.front(), (kSleeps - 1) * kSleepNanos);
}

// The Kernel-Power provider answers with power:cpu_idle and power:cpu_frequency: whatever the idle
// processors log while the test sleeps arrives as events 1 and 2 with the raw tracepoint record.
TEST(TraceSession, KernelPowerProviderRecordsIdleTransitions) {
    std::vector<pwr::platform::TracepointField> fields;
    if (!pwr::platform::readTracepointFormat("power", "cpu_idle", fields)) {
        GTEST_SKIP() << "tracefs with power:cpu_idle is not available here";
    }
    ScratchDir dir;
    vrtest::ScopedLogCapture capture(2);
    RecordingSession session(dir.file("power.etl"), "", "power");
    session.addProvider(pwr::platform::kKernelPowerProvider, 0);
    if (!session.begin()) {
        GTEST_SKIP() << "the machine refuses kernel tracing: " << capture.text();
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    ASSERT_TRUE(session.end());
    ASSERT_TRUE(session.postProcessLog());
    if (session.events.empty()) {
        GTEST_SKIP() << "no processor went idle through cpuidle during the test";
    }
    uint32_t recordEnd = fields.back().offset + fields.back().size;
    for (const Replayed& e : session.events) {
        ASSERT_EQ(e.header.ProviderId, pwr::platform::kKernelPowerProvider);
        ASSERT_TRUE(e.header.EventDescriptor.Id == 1 || e.header.EventDescriptor.Id == 2);
        ASSERT_EQ(e.header.EventDescriptor.Keyword, uint64_t{1} << (e.header.EventDescriptor.Id - 1));
        if (e.header.EventDescriptor.Id == 1) {
            ASSERT_GE(e.payload.size(), recordEnd);
        }
    }
}

}  // namespace
