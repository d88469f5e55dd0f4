// The worker thread: an actor on a thread of its own, driven through two in-process queues.

#include "vantrell/record/VRThread.h"

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <limits>
#include <new>
#include <system_error>

#include "record/VRThreadChannel.h"
#include "vantrell/plugin/Logging.h"

namespace pwr {
namespace {

constexpr char kArea[] = "vrthread";
// How long a reader polls its event before it sleeps.
constexpr std::chrono::microseconds kSpinTime(50);
constexpr size_t kHeaderSize = sizeof(VRThreadMessage);
const char* const kWriteNames[] = {"pwr::VRThread::Channel::writeRequest_i",
                                   "pwr::VRThread::Channel::writeResponse_i"};
const char* const kReadNames[] = {"pwr::VRThread::Channel::readRequest_i",
                                  "pwr::VRThread::Channel::readResponse_i"};

// One process-wide counter; the first id handed out is 0.
std::atomic<int32_t> g_messageId{-1};

struct DirectionTexts {
    const char* headerRead;
    const char* payloadRead;
    const char* headerWrite;
    const char* payloadWrite;
};
const DirectionTexts kTexts[] = {
    {"WARNING: couldn't read request message header!\n", "WARNING: couldn't read request message payload!\n",
     "WARNING: couldn't write request message header!\n",
     "WARNING: couldn't write request message payload!\n"},
    {"WARNING: couldn't read response message header!\n",
     "WARNING: couldn't read response message payload!\n",
     "WARNING: couldn't write response message header!\n",
     "WARNING: couldn't write response message payload!\n"}};

}  // namespace

// ---- AutoResetEvent and Channel ---------------------------------------------------------------------

void AutoResetEvent::set() {
    signaled.store(true);
    // Under the lock, so that a waiter between its test and its sleep can't miss the wake-up.
    std::lock_guard<std::mutex> guard(lock);
    changed.notify_one();
}

bool AutoResetEvent::trySpin_i() {
    const auto deadline = std::chrono::steady_clock::now() + kSpinTime;
    do {
        for (int i = 0; i < 64; ++i) {
            if (signaled.load(std::memory_order_relaxed) && signaled.exchange(false)) {
                return true;
            }
            std::this_thread::yield();
        }
    } while (std::chrono::steady_clock::now() < deadline);
    return false;
}

bool AutoResetEvent::wait() {
    if (trySpin_i()) {
        return true;
    }
    std::unique_lock<std::mutex> guard(lock);
    changed.wait(guard, [this] { return signaled.load() || closed; });
    return signaled.exchange(false);
}

void AutoResetEvent::close() {
    std::lock_guard<std::mutex> guard(lock);
    closed = true;
    changed.notify_all();
}

size_t VRThread::Channel::size_i(Direction direction) {
    std::lock_guard<std::mutex> guard(mutexes[direction]);
    return queues[direction].size();
}

bool VRThread::Channel::write(Direction direction, const void* data, size_t size) {
    size_t queued = 0;
    try {
        std::vector<unsigned char> block(size);
        if (size != 0) {
            std::memcpy(block.data(), data, size);
        }
        std::lock_guard<std::mutex> guard(mutexes[direction]);
        queues[direction].push_back(std::move(block));
        events[direction].set();
        queued = queues[direction].size();
    } catch (const std::bad_alloc&) {
        return false;
    }
    VR_LOG_AREA(3, kArea, "DEBUG: Inside %s, new socket pair size is %zu\n", kWriteNames[direction], queued);
    return true;
}

bool VRThread::Channel::read(Direction direction, void* out, size_t size) {
    VR_LOG_AREA(3, kArea, "DEBUG: Inside %s, socket pair size is %zu\n", kReadNames[direction],
                size_i(direction));
    for (;;) {
        if (!events[direction].wait()) {
            return false;
        }
        std::lock_guard<std::mutex> guard(mutexes[direction]);
        std::deque<std::vector<unsigned char>>& queue = queues[direction];
        if (queue.empty()) {
            continue;  // set by a writer whose block an earlier read already took
        }
        std::vector<unsigned char> block = std::move(queue.front());
        queue.pop_front();
        if (!queue.empty()) {
            events[direction].set();
        }
        if (block.size() < size) {
            return false;  // a shorter block than asked for can't be copied from
        }
        if (size != 0) {
            std::memcpy(out, block.data(), size);
        }
        return true;
    }
}

// ---- Messages -----------------------------------------------------------------------------------------

namespace {

// Reads a header and its payload into `buffer` (header first). False after logging the reason.
bool readMessage(VRThread::Channel& channel, VRThread::Channel::Direction direction,
                 std::vector<unsigned char>& buffer) {
    const DirectionTexts& texts = kTexts[direction];
    VRThreadMessage header{};
    if (!channel.read(direction, &header, kHeaderSize)) {
        VR_LOG_AREA(2, kArea, "%s", texts.headerRead);
        return false;
    }
    VR_LOG_AREA(3, kArea, "DEBUG: OK, read payload size = %u\n", header.payloadSize);
    if (header.payloadSize > VRThread::kMaxPayloadSize) {
        VR_LOG_AREA(2, kArea, "WARNING: invalid payload size %u received!\n", header.payloadSize);
        return false;
    }
    buffer.resize(kHeaderSize + header.payloadSize);
    std::memcpy(buffer.data(), &header, kHeaderSize);
    if (header.payloadSize != 0 &&
        !channel.read(direction, buffer.data() + kHeaderSize, header.payloadSize)) {
        VR_LOG_AREA(2, kArea, "%s", texts.payloadRead);
        return false;
    }
    return true;
}

VRThreadMessage headerOf(const std::vector<unsigned char>& buffer) {
    VRThreadMessage header{};
    std::memcpy(&header, buffer.data(), kHeaderSize);
    return header;
}

}  // namespace

bool VRThread::writeMessage_i(const VRThreadMessage& header, const void* payload, bool request) {
    Channel::Direction direction = request ? Channel::kRequests : Channel::kResponses;
    const DirectionTexts& texts = kTexts[direction];
    if (header.payloadSize != 0 && payload == nullptr) {
        VR_LOG_AREA(2, kArea, "%s", texts.payloadWrite);  // refused before a lone header could travel
        return false;
    }
    if (channel == nullptr || !channel->write(direction, &header, kHeaderSize)) {
        VR_LOG_AREA(2, kArea, "%s", texts.headerWrite);
        return false;
    }
    if (!request) {
        VR_LOG_AREA(3, kArea, "DEBUG: OK, wrote response header\n");
    }
    if (header.payloadSize != 0 && !channel->write(direction, payload, header.payloadSize)) {
        VR_LOG_AREA(2, kArea, "%s", texts.payloadWrite);
        return false;
    }
    return true;
}

// ---- VRThread -----------------------------------------------------------------------------------------

VRThreadActor::~VRThreadActor() = default;

VRThread::VRThread(VRThreadActor& threadActor, int argument, void (*callback)())
    : actor(threadActor), threadArgument(argument), exitCallback(callback) {}

VRThread::VRThread(const VRThread& other)
    : actor(other.actor),
      state(other.state.load()),
      channel(other.channel),
      threadHandle(other.threadHandle),
      threadArgument(other.threadArgument),
      exitCallback(other.exitCallback) {}

VRThread::~VRThread() {
    // Closing the handle doesn't stop the thread; a std::thread must be let go for that.
    if (threadHandle != nullptr && threadHandle.use_count() == 1 && threadHandle->joinable()) {
        threadHandle->detach();
    }
}

int VRThread::init() {
    try {
        channel = std::make_shared<Channel>();
    } catch (const std::bad_alloc&) {
        return -1;
    }
    if (actor.init() != 0) {
        channel.reset();
        return -1;
    }
    state = VRTHREAD_INITIALIZED;
    return 0;
}

int VRThread::start() {
    VRThreadState current = state.load();
    if (current != VRTHREAD_INITIALIZED) {
        VR_LOG_AREA(2, kArea, "WARNING: invalid thread state %u!\n", static_cast<unsigned>(current));
        return -1;
    }
    state = VRTHREAD_RUNNING;
    // A thread of an earlier start that was never joined is let go: replacing a running std::thread
    // would end the process.
    if (threadHandle && threadHandle.use_count() == 1 && threadHandle->joinable()) {
        threadHandle->detach();
    }
    try {
        threadHandle = std::make_shared<std::thread>(&VRThread::run, this);
    } catch (const std::system_error& error) {
        VR_LOG_AREA(2, kArea, "WARNING: Thread creation failed.\n: errnum=%d: %s", error.code().value(),
                    error.code().message().c_str());
        state = VRTHREAD_INITIALIZED;
        return -1;
    } catch (const std::bad_alloc&) {
        VR_LOG_AREA(2, kArea, "WARNING: Thread creation failed.\n: errnum=%d: %s", ENOMEM, "Out of memory");
        state = VRTHREAD_INITIALIZED;
        return -1;
    }
    return 0;
}

int VRThread::signal(int command, bool responseRequired, bool block) {
    return signal(command, 0, nullptr, responseRequired, block);
}

int VRThread::signal(int command, unsigned long long size, const void* data, bool responseRequired,
                     bool block) {
    VRThreadMessage header{};
    header.control = kControlCommand;
    header.command = command;
    header.payloadSize = static_cast<uint32_t>(size);
    if (block && !responseRequired) {
        VR_LOG_AREA(2, kArea, "WARNING: cannot block if you don't require a response!\n");
        block = false;
    }
    int32_t id = 0;
    if (responseRequired) {
        id = ++g_messageId;
        header.messageId = static_cast<uint32_t>(id) & 0x7fffffffu;
        header.responseRequired = 1;
    }
    if (!writeMessage_i(header, data, true)) {
        VR_LOG_AREA(2, kArea, "WARNING: write error\n");
        return -1;
    }
    if (block) {
        VR_LOG_AREA(3, kArea, "DEBUG: waiting for response!\n");
        return readResponse(id);
    }
    return responseRequired ? id : 0;
}

int VRThread::readResponse(int messageId) {
    std::vector<unsigned char> buffer;
    for (;;) {
        if (channel == nullptr || !readMessage(*channel, Channel::kResponses, buffer)) {
            VR_LOG_AREA(2, kArea, "WARNING: couldn't read response!\n");
            return -1;
        }
        VRThreadMessage response = headerOf(buffer);
        VR_LOG_AREA(3, kArea, "DEBUG: received msg id = %d (looking for id = %d) in %s\n",
                    static_cast<int>(response.messageId), messageId, "pwr::VRThread::readResponse");
        if (static_cast<int>(response.messageId) == messageId) {
            return response.command;
        }
    }
}

int VRThread::kill() {
    if (state.load() != VRTHREAD_RUNNING) {
        VR_LOG_AREA(2, kArea, "WARNING: killing a thread that isn't running?!\n");
        return -1;
    }
    VRThreadMessage header{};
    header.control = kControlKill;
    header.command = 0;
    header.responseRequired = 1;
    int32_t id = ++g_messageId;
    header.messageId = static_cast<uint32_t>(id) & 0x7fffffffu;
    if (!writeMessage_i(header, nullptr, true)) {
        VR_LOG_AREA(2, kArea, "WARNING: write error\n");
        return -1;
    }
    VR_LOG_AREA(3, kArea, "DEBUG: waiting for response!\n");
    return readResponse(id);
}

int VRThread::join() {
    if (threadHandle == nullptr) {
        return 0;
    }
    try {
        if (threadHandle->joinable()) {
            threadHandle->join();
        }
    } catch (const std::system_error& error) {
        VR_LOG_AREA(2, kArea, "WARNING: failed to join VRThread and close the thread handle, error=%u\n",
                    static_cast<unsigned>(error.code().value()));
        if (threadHandle->joinable()) {
            threadHandle->detach();
        }
    }
    threadHandle.reset();
    return 0;
}

int VRThread::timedJoin(long) {
    return join();
}

unsigned VRThread::run(void* self) {
    return static_cast<unsigned>(static_cast<VRThread*>(self)->run_i());
}

int VRThread::run_i() {
    // Holding the channel keeps it alive for as long as this loop may touch it.
    std::shared_ptr<Channel> queues = channel;
    VR_LOG_AREA(3, kArea, "DEBUG: Thread has pid = %d\n", static_cast<int>(::getpid()));
    int status = 0;
    std::vector<unsigned char> buffer;
    while (state.load() == VRTHREAD_RUNNING) {
        if (!readMessage(*queues, Channel::kRequests, buffer)) {
            status = -1;
            break;
        }
        VRThreadMessage message = headerOf(buffer);
        VR_LOG_AREA(3, kArea, "DEBUG: received command = %d\n", message.command);
        if (message.control != kControlKill) {
            int result = 0;
            const void* payload = buffer.data() + kHeaderSize;
            int exitRequested = actor.handleCommand(message.command, message.payloadSize, payload, result);
            message.command = result;
            message.payloadSize = 0;
            if (exitRequested == 1) {
                state = VRTHREAD_DEAD;
                if (exitCallback != nullptr) {
                    exitCallback();
                }
                VR_LOG_AREA(3, kArea, "DEBUG: OK, thread exiting\n");
            }
        } else {
            VR_LOG_AREA(3, kArea, "DEBUG: OK, told to die\n");
            state = VRTHREAD_DEAD;
            message.command = actor.onKill();
        }
        if (message.responseRequired) {
            VR_LOG_AREA(3, kArea, "DEBUG: SYNC!\n");
            message.payloadSize = 0;
            if (!writeMessage_i(message, nullptr, false)) {
                VR_LOG_AREA(2, kArea, "WARNING: couldn't write response in run_i!\n");
            }
        }
        std::vector<unsigned char>().swap(buffer);
    }
    queues->closeResponses();
    return status;
}

}  // namespace pwr
