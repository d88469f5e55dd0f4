#pragma once

// A worker thread that runs an actor and talks to it by messages, to keep slow or blocking jobs off the
// collecting thread. The owner sends numbered commands with an optional payload (at most
// kMaxPayloadSize bytes) and may wait for the answer, a single integer: the actor's result.
//
// Order of use: init, start, any number of signal, kill, join, destruction. The destructor doesn't stop
// the thread. One owner thread: a reader of responses drops answers that aren't its own.
//
// Diagnostics go to the log at levels 2 and 3, and also whenever the debug area "vrthread" is open;
// the log still calls a queue a "socket pair".
//
// Copying is shallow: a copy shares the queues, their locks and the thread with the original, and the
// last of them frees what is still queued. Copy assignment is deleted (the actor is a reference).

#include <atomic>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

#include "vantrell/Export.h"

namespace pwr {

enum VRThreadState : unsigned int {
    VRTHREAD_NOT_INITIALIZED = 0,
    VRTHREAD_INITIALIZED = 1,
    VRTHREAD_RUNNING = 2,
    VRTHREAD_DEAD = 3,
};

// What a user of VRThread implements. handleCommand and onKill run on the worker thread, init on the
// owner's.
class VR_EXPORT VRThreadActor {
  public:
    // Not called by VRThread.
    virtual ~VRThreadActor();
    // Handles one command; `result` (0 on entry) is the answer to the sender. Returning 1 ends the thread.
    virtual int handleCommand(int command, unsigned payloadSize, const void* payload, int& result) = 0;
    // Called when the thread is killed; the result is the answer to kill().
    virtual int onKill() = 0;
    // Called by VRThread::init; 0 for success.
    virtual int init() = 0;
};

// A request or a response as it travels: a 16-byte header, then `payloadSize` payload bytes.
struct VRThreadMessage {
    uint32_t messageId : 31;
    uint32_t responseRequired : 1;
    int32_t control;  // 0 a command, -1 a kill
    int32_t command;  // the command in a request; the actor's result in a response
    uint32_t payloadSize;
};
static_assert(sizeof(VRThreadMessage) == 16, "the header is 16 bytes");

class VR_EXPORT VRThread {
  public:
    static constexpr uint32_t kMaxPayloadSize = 0x100000;
    static constexpr int32_t kControlCommand = 0;
    static constexpr int32_t kControlKill = -1;

    // State 0. `threadArgument` is kept and never read; `exitCallback` (may be null) is called on the
    // worker when the actor ends the thread.
    VRThread(VRThreadActor& actor, int threadArgument, void (*exitCallback)());
    VRThread(const VRThread& other);
    VRThread& operator=(const VRThread&) = delete;
    // Frees what is queued once no copy shares it. The owner calls kill and join first.
    virtual ~VRThread();

    // Makes the queues and their locks, then calls the actor's init. 0 and state 1 when that gives 0;
    // otherwise -1, with the queues gone again.
    int init();
    // In state 1 starts the worker (state 2) and returns 0. A thread that can't be created logs
    // "WARNING: Thread creation failed.\n: errnum=%d: %s", puts the state back to 1 and gives -1. Any
    // other state logs "WARNING: invalid thread state %u!\n" and gives -1.
    int start();

    // Sends command `command` with no payload, or with `size` bytes of `data`. Without a response
    // returns 0; with one, unblocked, the message id to collect later with readResponse; blocked, the
    // actor's result. `block` without `responseRequired` logs
    // "WARNING: cannot block if you don't require a response!\n" and doesn't block. A message that can't
    // be queued (no init, no memory, a size beyond 32 bits, null data) logs "WARNING: write error\n"
    // and gives -1. The worker refuses a payload above kMaxPayloadSize and ends.
    int signal(int command, bool responseRequired, bool block);
    int signal(int command, unsigned long long size, const void* data, bool responseRequired, bool block);

    // Reads responses until the one of `messageId`, dropping the others, and returns its result. Waits
    // without limit (also before start); once the worker has ended and no response is left, logs
    // "WARNING: couldn't read response!\n" and gives -1.
    int readResponse(int messageId);

    // In state 2 tells the worker to die and returns the actor's onKill result. Otherwise logs
    // "WARNING: killing a thread that isn't running?!\n" and gives -1.
    int kill();
    // Waits for the worker to end and forgets it; 0, also when there is no thread.
    int join();
    // join; the time limit is ignored.
    int timedJoin(long milliseconds);

    bool isRunning() const { return state.load() == VRTHREAD_RUNNING; }
    bool isDead() const { return state.load() == VRTHREAD_DEAD; }
    VRThreadState getState() const { return state.load(); }

  protected:
    // The worker's entry: `self` is the VRThread.
    static unsigned run(void* self);
    // The worker's loop; -1 when a request can't be read, else 0.
    int run_i();

  public:
    class Channel;

  private:
    bool writeMessage_i(const VRThreadMessage& header, const void* payload, bool request);

    VRThreadActor& actor;
    // Written by both threads; atomic so that a look from either is well defined.
    std::atomic<VRThreadState> state{VRTHREAD_NOT_INITIALIZED};
    std::shared_ptr<Channel> channel;
    std::shared_ptr<std::thread> threadHandle;
    int threadArgument;
    void (*exitCallback)();
};

}  // namespace pwr
