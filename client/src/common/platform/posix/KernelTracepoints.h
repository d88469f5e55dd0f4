#pragma once

// The kernel providers of the trace facility: Linux tracepoints read through perf_event_open, one ring
// per online processor, drained into a session every few milliseconds and on every flush.
//
// perf_event_open rather than libtracefs: it needs no library beside the kernel's own interface, and it
// time-stamps samples on any clock we ask for (CLOCK_MONOTONIC_RAW, the library's performance counter),
// which lines trace events up with the driver samples without a conversion.

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/posix/TraceSessionCore.h"
#include "vantrell/platform/WinTypes.h"

namespace pwr {
namespace platform {

bool isKernelProvider(const _GUID& provider);

class KernelCollector {
  public:
    // Opens the tracepoints of `provider` that `keywords` selects (0: all) and starts draining them into
    // `core`. 0, or 5 (the machine refuses) or 50 (no tracefs or tracepoint) with `error` set.
    static unsigned long start(const _GUID& provider, uint64_t keywords,
                               std::shared_ptr<TraceSessionCore> core, std::unique_ptr<KernelCollector>& out,
                               int& error);
    ~KernelCollector();
    KernelCollector(const KernelCollector&) = delete;
    KernelCollector& operator=(const KernelCollector&) = delete;

    // Moves everything the rings hold now into the session.
    void drain();

  private:
    struct Tracepoint {
        uint32_t id;  // the tracepoint's common_type
        _EVENT_DESCRIPTOR descriptor;
    };
    struct Ring {
        int fd = -1;
        void* base = nullptr;
        size_t dataPages = 0;
        uint16_t cpu = 0;
    };

    KernelCollector(const _GUID& provider, std::shared_ptr<TraceSessionCore> core);
    static bool mapRing_i(Ring& ring, int& error);
    unsigned long open_i(const std::vector<std::pair<std::string, std::string>>& names, uint64_t keywords,
                         int& error);
    void drainRing_i(Ring& ring, std::vector<tracefile::EventView>& events, std::vector<uint8_t>& arena,
                     std::vector<size_t>& offsets);
    void pollLoop_i();

    _GUID provider;
    std::shared_ptr<TraceSessionCore> core;
    std::vector<Tracepoint> tracepoints;
    std::vector<Ring> rings;
    std::vector<int> extraFds;  // tracepoints whose output goes to the ring of their processor
    std::mutex drainLock;
    std::mutex stopLock;
    std::condition_variable stopSignal;
    bool stopping = false;
    std::thread poller;
};

// The tracefs directory ("/sys/kernel/tracing"), mounting it when it is not; "" when impossible.
std::string tracefsRoot();

}  // namespace platform
}  // namespace pwr
