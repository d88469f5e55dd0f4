#pragma once

// The two in-process queues of a VRThread: requests (owner to worker) and responses (worker to owner),
// each with a mutex held only for the queue operation and an auto-reset event that says something may
// be there. One block per write; a reader sets the event again while blocks remain, so two writes
// before one read lose nothing.

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <vector>

#include "vantrell/record/VRThread.h"

namespace pwr {

// An event that releases one waiter and resets itself. Once closed, a wait that finds it unset fails
// instead of waiting for ever: the writer is gone.
//
// A waiter first polls for a short while before it sleeps: a command's answer usually comes within
// microseconds, and waking a sleeping thread costs more than that.
class AutoResetEvent {
  public:
    void set();
    // True when the event was set (and is now reset); false when closed and unset.
    bool wait();
    void close();

  private:
    bool trySpin_i();

    std::atomic<bool> signaled{false};
    std::mutex lock;
    std::condition_variable changed;
    bool closed = false;
};

class VRThread::Channel {
  public:
    enum Direction { kRequests = 0, kResponses = 1 };

    // Appends a copy of `size` bytes. False when there is no memory for it.
    bool write(Direction direction, const void* data, size_t size);
    // Takes the front block into `out` (exactly `size` bytes), waiting for one. False when the writer is
    // gone and nothing is queued, or the front block isn't `size` bytes long (it is consumed).
    bool read(Direction direction, void* out, size_t size);
    // Marks the responses' writer as gone.
    void closeResponses() { events[kResponses].close(); }

  private:
    size_t size_i(Direction direction);

    std::mutex mutexes[2];
    AutoResetEvent events[2];
    std::deque<std::vector<unsigned char>> queues[2];
};

}  // namespace pwr
