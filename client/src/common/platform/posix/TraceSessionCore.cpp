// Buffers and the writer thread of a trace session.

#include "platform/posix/TraceSessionCore.h"

#include <errno.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "platform/PlatformOs.h"

namespace pwr {
namespace platform {

unsigned long statusForErrno(int error) {
    switch (error) {
        case ENOSPC:
        case EDQUOT:
            return ERROR_DISK_FULL;
        case ENOMEM:
            return ERROR_NOT_ENOUGH_MEMORY;
        case EEXIST:
            return ERROR_ALREADY_EXISTS;
        case EACCES:
        case EPERM:
        case EROFS:
            return ERROR_ACCESS_DENIED;
        case ENOENT:
        case ENOTDIR:
            return ERROR_FILE_NOT_FOUND;
        default:
            return ERROR_INVALID_PARAMETER;
    }
}

TraceSessionCore::TraceSessionCore(const Limits& l) : limits(l) {}

std::shared_ptr<TraceSessionCore> TraceSessionCore::start(const std::string& path, const Limits& limits,
                                                          unsigned long& status, int& error) {
    std::shared_ptr<TraceSessionCore> core(new TraceSessionCore(limits));
    try {
        for (uint32_t i = 0; i < limits.minimumBuffers; ++i) {
            core->freeBuffers.push_back(core->takeFreeBuffer_i());
        }
    } catch (const std::bad_alloc&) {
        status = ERROR_NOT_ENOUGH_MEMORY;
        error = ENOMEM;
        return nullptr;
    }
    tracefile::FileHeader header;
    header.blockSizeLimit = limits.bufferBytes;
    header.startTime = os::readPerformanceCounter();
    header.clockFrequency = os::performanceFrequency();
    long processors = sysconf(_SC_NPROCESSORS_ONLN);
    header.numberOfProcessors = processors > 0 ? static_cast<uint32_t>(processors) : 1;
    if (!core->file.open(path, header, error)) {
        status = statusForErrno(error);
        return nullptr;
    }
    core->writer = std::thread([raw = core.get()] { raw->writerLoop_i(); });
    status = ERROR_SUCCESS;
    return core;
}

TraceSessionCore::~TraceSessionCore() {
    int error = 0;
    stop(error);
}

std::unique_ptr<TraceSessionCore::Buffer> TraceSessionCore::takeFreeBuffer_i() {
    if (!freeBuffers.empty()) {
        std::unique_ptr<Buffer> buffer = std::move(freeBuffers.back());
        freeBuffers.pop_back();
        return buffer;
    }
    if (allocatedBuffers >= std::max<uint32_t>(limits.maximumBuffers, 1)) {
        return nullptr;
    }
    auto buffer = std::make_unique<Buffer>();
    buffer->bytes.reset(new uint8_t[limits.bufferBytes]);
    ++allocatedBuffers;
    return buffer;
}

void TraceSessionCore::sealCurrent_i() {
    if (current && current->records > 0) {
        full.push_back(std::move(current));
        work.notify_one();
    }
}

uint8_t* TraceSessionCore::reserve_i(size_t size, unsigned long& status) {
    if (size > limits.bufferBytes) {
        ++lost;
        status = ERROR_MORE_DATA;
        return nullptr;
    }
    if (!current || limits.bufferBytes - current->used < size) {
        sealCurrent_i();
        if (!current) {
            try {
                current = takeFreeBuffer_i();
            } catch (const std::bad_alloc&) {
                current.reset();
            }
        }
        if (!current) {
            ++lost;
            status = ERROR_NOT_ENOUGH_MEMORY;
            return nullptr;
        }
    }
    uint8_t* at = current->bytes.get() + current->used;
    current->used += static_cast<uint32_t>(size);
    ++current->records;
    status = ERROR_SUCCESS;
    return at;
}

unsigned long TraceSessionCore::append(const tracefile::EventView& event, uint32_t dataCount,
                                       const _EVENT_DATA_DESCRIPTOR* data) {
    std::lock_guard<std::mutex> guard(lock);
    if (stopping) {
        return ERROR_SUCCESS;
    }
    unsigned long status = ERROR_SUCCESS;
    uint8_t* at = reserve_i(tracefile::eventRecordSize(event.userDataLength), status);
    if (at == nullptr) {
        return status;
    }
    // Stamped under the lock, so that a session's events are in time order whatever thread wrote them.
    tracefile::EventView stamped = event;
    stamped.timeStamp = os::readPerformanceCounter();
    tracefile::encodeEventHeader(at, stamped);
    at += tracefile::kEventHeaderSize;
    for (uint32_t i = 0; i < dataCount; ++i) {
        if (data[i].Size > 0) {
            std::memcpy(at, reinterpret_cast<const void*>(static_cast<uintptr_t>(data[i].Ptr)), data[i].Size);
            at += data[i].Size;
        }
    }
    return ERROR_SUCCESS;
}

void TraceSessionCore::appendStamped(const std::vector<tracefile::EventView>& events) {
    std::lock_guard<std::mutex> guard(lock);
    if (stopping) {
        return;
    }
    for (const tracefile::EventView& event : events) {
        unsigned long status = ERROR_SUCCESS;
        uint8_t* at = reserve_i(tracefile::eventRecordSize(event.userDataLength), status);
        if (at != nullptr) {
            tracefile::encodeEventHeader(at, event);
            if (event.userDataLength > 0) {
                std::memcpy(at + tracefile::kEventHeaderSize, event.userData, event.userDataLength);
            }
        }
    }
}

void TraceSessionCore::addLost(uint64_t count) {
    std::lock_guard<std::mutex> guard(lock);
    lost += count;
}

void TraceSessionCore::writerLoop_i() {
    std::unique_lock<std::mutex> guard(lock);
    for (;;) {
        work.wait(guard, [this] { return !full.empty() || stopping; });
        if (full.empty()) {
            break;
        }
        std::unique_ptr<Buffer> buffer = std::move(full.front());
        full.pop_front();
        writing = true;
        guard.unlock();
        int error = 0;
        bool ok = file.writeBlock(buffer->bytes.get(), buffer->used, buffer->records, error);
        guard.lock();
        writing = false;
        if (ok) {
            ++blocksDone;
        } else {
            lost += buffer->records;
            writeError = error;
        }
        buffer->used = 0;
        buffer->records = 0;
        freeBuffers.push_back(std::move(buffer));
        idle.notify_all();
    }
}

unsigned long TraceSessionCore::flush(int& error) {
    std::unique_lock<std::mutex> guard(lock);
    if (stopped) {
        return ERROR_SUCCESS;
    }
    sealCurrent_i();
    idle.wait(guard, [this] { return full.empty() && !writing; });
    if (writeError != 0) {
        error = writeError;
        writeError = 0;
        return statusForErrno(error);
    }
    return ERROR_SUCCESS;
}

unsigned long TraceSessionCore::stop(int& error) {
    unsigned long status = flush(error);
    {
        std::lock_guard<std::mutex> guard(lock);
        if (stopped) {
            return ERROR_SUCCESS;
        }
        stopping = true;
        stopped = true;
        work.notify_all();
    }
    if (writer.joinable()) {
        writer.join();
    }
    int closeError = 0;
    if (!file.close(os::readPerformanceCounter(), eventsLost(), closeError) && status == ERROR_SUCCESS) {
        error = closeError;
        status = statusForErrno(closeError);
    }
    return status;
}

uint32_t TraceSessionCore::eventsLost() const {
    std::lock_guard<std::mutex> guard(lock);
    return static_cast<uint32_t>(std::min<uint64_t>(lost, UINT32_MAX));
}

uint32_t TraceSessionCore::buffersWritten() const {
    std::lock_guard<std::mutex> guard(lock);
    return blocksDone;
}

}  // namespace platform
}  // namespace pwr
