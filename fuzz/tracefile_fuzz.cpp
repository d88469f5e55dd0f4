// The trace file reader over arbitrary bytes, through the facility's replay and merge: no crash, no
// over-read, no unbounded allocation; a file that replays whole merges into a file that replays to the
// same events in the same order.

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "vantrell/platform/TraceFacility.h"
#include "vantrell/support/OsInfo.h"

#include "FuzzSupport.h"

namespace {

using vrfuzz::check;
namespace platform = pwr::platform;

struct Seen {
    size_t events = 0;
    uint64_t checksum = 0;
    int64_t lastTime = INT64_MIN;
    bool ordered = true;
};

void onEvent(_EVENT_RECORD* record) {
    auto* seen = static_cast<Seen*>(record->UserContext);
    const auto* bytes = static_cast<const uint8_t*>(record->UserData);
    for (uint16_t i = 0; i < record->UserDataLength; ++i) {
        seen->checksum = seen->checksum * 31 + bytes[i];  // touches every byte the record claims
    }
    seen->ordered = seen->ordered && record->EventHeader.TimeStamp >= seen->lastTime;
    seen->lastTime = record->EventHeader.TimeStamp;
    ++seen->events;
}

// Replays `path`: the status (all bits 1 when it can't be opened) and what was seen.
unsigned long replay(const std::string& path, Seen& seen) {
    platform::TraceFacility& facility = platform::traceFacility();
    _EVENT_TRACE_LOGFILEA logfile{};
    logfile.LogFileName = const_cast<char*>(path.c_str());
    logfile.ProcessTraceMode = PROCESS_TRACE_MODE_EVENT_RECORD | PROCESS_TRACE_MODE_RAW_TIMESTAMP;
    logfile.EventRecordCallback = &onEvent;
    logfile.Context = &seen;
    uint64_t handle = facility.openTrace(&logfile);
    if (handle == INVALID_PROCESSTRACE_HANDLE) {
        return ~0UL;
    }
    unsigned long status = facility.processTrace(&handle, 1, nullptr, nullptr);
    check(facility.closeTrace(handle) == 0, "close after replay");
    return status;
}

const std::string& scratch(const char* name) {
    static const std::string dir = access("/dev/shm", W_OK) == 0 ? "/dev/shm/" : "/tmp/";
    static std::string paths[2];
    std::string& path = paths[name[0] == 'm'];
    if (path.empty()) {
        path = dir + "vr_tracefile_fuzz_" + std::to_string(getpid()) + "_" + name + ".etl";
    }
    return path;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    vrfuzz::installEnvironment();
    const std::string& input = scratch("input");
    FILE* file = std::fopen(input.c_str(), "wb");
    check(file != nullptr, "scratch file");
    check(std::fwrite(data, 1, size, file) == size || size == 0, "write input");
    std::fclose(file);

    Seen first;
    unsigned long status = replay(input, first);
    if (status != 0) {
        return 0;
    }
    // A file that replays whole merges whole, and the merge replays the same bytes in time order.
    const std::string& merged = scratch("merged");
    std::u16string wideInput = pwr::stringToWstring(input);
    std::u16string wideMerged = pwr::stringToWstring(merged);
    const char16_t* inputs[] = {wideInput.c_str()};
    check(platform::createMergedTraceFile(wideMerged.c_str(), inputs, 1, ~0UL) == 0, "merge of a good file");
    Seen second;
    check(replay(merged, second) == 0, "replay of the merge");
    check(second.events == first.events, "merge keeps every event");
    // One input merges in its own order: the same bytes in the same sequence.
    check(second.ordered == first.ordered, "merge keeps the order");
    check(second.checksum == first.checksum, "merge keeps the payloads");
    return 0;
}
