// Clocks on Linux: the time stamp counter, CLOCK_MONOTONIC_RAW in nanoseconds as the performance
// counter, and CLOCK_REALTIME as the precise file time.

#include <time.h>

#include "platform/PlatformOs.h"

#if defined(__x86_64__) || defined(__i386__)
#include <x86intrin.h>
#endif

namespace pwr {
namespace platform {
namespace os {

namespace {

constexpr uint64_t kNanosPerSecond = 1000000000ULL;
// 100-nanosecond units between 1601-01-01 and 1970-01-01.
constexpr uint64_t kFileTimeOfUnixEpoch = 116444736000000000ULL;

uint64_t readNanos(clockid_t clock) {
    timespec now{};
    // These clocks exist on every Linux we build for; a failure leaves `now` at zero.
    clock_gettime(clock, &now);
    return static_cast<uint64_t>(now.tv_sec) * kNanosPerSecond + static_cast<uint64_t>(now.tv_nsec);
}

}  // namespace

uint64_t readTimeStampCounter() {
#if defined(__x86_64__) || defined(__i386__)
    return __rdtsc();
#else
    // No time stamp counter: the raw monotonic clock is the nearest thing.
    return readNanos(CLOCK_MONOTONIC_RAW);
#endif
}

uint64_t readPerformanceCounter() {
    return readNanos(CLOCK_MONOTONIC_RAW);
}

uint64_t performanceFrequency() {
    return kNanosPerSecond;
}

uint64_t readPreciseFileTime() {
    return readNanos(CLOCK_REALTIME) / 100 + kFileTimeOfUnixEpoch;
}

}  // namespace os
}  // namespace platform
}  // namespace pwr
