#pragma once

// The kernel events this collector records, how the library's trace facility delivers them, and how
// one delivered event becomes one entry of a "trace" message (LinuxPluginProtocol.h):
//     power:cpu_idle       cpu = cpu_id,    "cstate"        = new idle state (kIdleExit: back to C0)
//     power:cpu_frequency  cpu = cpu_id,    "freq"          = new frequency in kHz
//     sched:sched_switch   cpu = processor, "wakeup:<comm>" = pid of the task switched in
// The field offsets come from tracefs' format files, read once by the constructor of the decoder.

#include <cstdint>
#include <string>
#include <vector>

#include <vantrell/VantrellCore.h>

#include "TraceTail.h"

namespace vantrell::plugins {

enum class KernelEventKind { CState, Frequency, Switch };

struct KernelTracepoint {
    const char* name;  // "<system>:<event>", as configuration lines name it
    const char* system;
    const char* event;
    const _GUID* provider;
    uint16_t eventId;  // the provider's event Id
    uint64_t keyword;  // the provider's keyword bit for it
    KernelEventKind kind;
};

// The three tracepoints, in a fixed order.
const std::vector<KernelTracepoint>& kernelTracepoints();
// The entry of `name`, or null.
const KernelTracepoint* findTracepoint(const std::string& name);

struct DecodedEvent {
    uint16_t cpu = 0;
    std::string key;
    uint64_t value = 0;
};

class KernelEventDecoder {
  public:
    // Reads the layouts of the tracepoints; a tracepoint whose layout can't be read decodes nothing.
    KernelEventDecoder();
    // The tracepoint of a delivered event, or null for one this collector does not know.
    const KernelTracepoint* identify(const TraceTail::Event& event) const;
    // Fills `out` from the event's payload; false when the payload is too short for its layout.
    bool decode(const KernelTracepoint& tracepoint, const TraceTail::Event& event, DecodedEvent& out) const;

  private:
    struct Field {
        uint32_t offset = 0;
        uint32_t size = 0;
        bool known = false;
    };
    struct Layout {
        Field state;  // cpu_idle, cpu_frequency
        Field cpuId;
        Field nextComm;  // sched_switch
        Field nextPid;
    };
    Layout layouts[3];
};

// Whether the library's trace facility can record these tracepoints here: starts a short session
// with both kernel providers and stops it. False with the facility's status and reason in `why`.
bool probeKernelTracing(std::string& why);

}  // namespace vantrell::plugins
