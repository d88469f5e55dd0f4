#pragma once

// The recording half of one trace session: buffers of a fixed size that writers fill under a lock,
// and a thread that writes full buffers to the trace file as blocks. When every buffer is full or in
// the writer's hands, an event is lost and counted, as the facility promises.
//
// Threads: append, flush and the counters from any thread; stop once.

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/posix/TraceFile.h"

namespace pwr {
namespace platform {

class TraceSessionCore {
  public:
    struct Limits {
        uint32_t bufferBytes;
        uint32_t minimumBuffers;
        uint32_t maximumBuffers;
    };

    // Opens `path` and starts the writer thread. Null with `status` (a Windows status) and `error` (an
    // errno value) on failure.
    static std::shared_ptr<TraceSessionCore> start(const std::string& path, const Limits& limits,
                                                   unsigned long& status, int& error);
    ~TraceSessionCore();
    TraceSessionCore(const TraceSessionCore&) = delete;
    TraceSessionCore& operator=(const TraceSessionCore&) = delete;

    // One event, time-stamped now on the library's clock. 0, 8 (no free buffer: lost), 234 (larger than a
    // buffer: lost).
    unsigned long append(const tracefile::EventView& event, uint32_t dataCount,
                         const _EVENT_DATA_DESCRIPTOR* data);
    // Events that carry their own time stamps and user data (kernel events), in the given order.
    void appendStamped(const std::vector<tracefile::EventView>& events);
    // Adds events that were lost before they reached the session.
    void addLost(uint64_t count);

    // Writes every filled buffer and waits for the writer. 0, or the status of a failed write.
    unsigned long flush(int& error);
    // Flushes, ends the writer and closes the file. Idempotent.
    unsigned long stop(int& error);

    uint32_t eventsLost() const;
    uint32_t buffersWritten() const;

  private:
    struct Buffer {
        std::unique_ptr<uint8_t[]> bytes;
        uint32_t used = 0;
        uint32_t records = 0;
    };

    explicit TraceSessionCore(const Limits& limits);
    uint8_t* reserve_i(size_t size, unsigned long& status);
    std::unique_ptr<Buffer> takeFreeBuffer_i();
    void sealCurrent_i();
    void writerLoop_i();

    const Limits limits;
    tracefile::Writer file;
    mutable std::mutex lock;
    std::condition_variable work;
    std::condition_variable idle;
    std::unique_ptr<Buffer> current;
    std::deque<std::unique_ptr<Buffer>> full;
    std::vector<std::unique_ptr<Buffer>> freeBuffers;
    uint32_t allocatedBuffers = 0;
    bool writing = false;
    bool stopping = false;
    bool stopped = false;
    uint64_t lost = 0;
    uint32_t blocksDone = 0;
    int writeError = 0;
    std::thread writer;
};

// A Windows status for an errno value: 112 full disk, 8 no memory, 183 exists, 5 denied, 2 not found;
// others 87.
unsigned long statusForErrno(int error);

}  // namespace platform
}  // namespace pwr
