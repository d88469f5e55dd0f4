#pragma once

// Replay of trace files (OpenTraceA, ProcessTrace, CloseTrace) for the Linux trace facility. The merge
// shares the ordered reading of several files.

#include <cstdint>

#include "vantrell/platform/WinTypes.h"

namespace pwr {
namespace platform {
namespace replay {

uint64_t open(_EVENT_TRACE_LOGFILEA* logfile);
unsigned long process(uint64_t* handles, unsigned long handleCount);
unsigned long close(uint64_t handle);

}  // namespace replay
}  // namespace platform
}  // namespace pwr
