// Replay and merge of trace files: several readers, always the lowest time stamp first.

#include "platform/posix/TraceReplay.h"

#include <errno.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/posix/TraceFile.h"
#include "vantrell/platform/Platform.h"
#include "vantrell/platform/TraceFacility.h"

namespace pwr {
namespace platform {

unsigned long statusForErrno(int error);

namespace {

using tracefile::EventView;
using tracefile::ReadStatus;

// What OpenTraceA keeps of the caller's structure: the caller's copy may be gone by ProcessTrace.
struct OpenFile {
    std::unique_ptr<tracefile::Reader> reader;
    PEVENT_RECORD_CALLBACK callback = nullptr;
    void* context = nullptr;
    bool busy = false;
};

struct ReplayTable {
    std::mutex lock;
    std::map<uint64_t, std::shared_ptr<OpenFile>> files;
    uint64_t nextHandle = 1;
};

ReplayTable& table() {
    static ReplayTable* instance = new ReplayTable;  // outlives every static destructor
    return *instance;
}

unsigned long statusForFault(ReadStatus status) {
    return status == ReadStatus::Truncated ? ERROR_HANDLE_EOF : ERROR_FILE_CORRUPT;
}

int errnoForFault(ReadStatus status) {
    return status == ReadStatus::Unsupported ? ENOTSUP : EBADMSG;
}

// Opens and checks one file. Null with the last error set and `status` a Windows status.
std::unique_ptr<tracefile::Reader> openReader(const std::string& path, unsigned long& status) {
    int error = 0;
    std::unique_ptr<tracefile::ByteSource> source = tracefile::openFileSource(path, error);
    if (!source) {
        setLastError(error);
        status = statusForErrno(error);
        return nullptr;
    }
    auto reader = std::make_unique<tracefile::Reader>(std::move(source));
    ReadStatus header = reader->openHeader();
    if (header != ReadStatus::Event) {
        setLastError(errnoForFault(header));
        status = header == ReadStatus::Unsupported ? ERROR_NOT_SUPPORTED : ERROR_FILE_CORRUPT;
        return nullptr;
    }
    status = ERROR_SUCCESS;
    return reader;
}

// The heads of several readers; take() gives the input with the lowest time stamp.
class OrderedInputs {
  public:
    explicit OrderedInputs(std::vector<tracefile::Reader*> readers) : readers(std::move(readers)) {
        heads.resize(this->readers.size());
        live.assign(this->readers.size(), false);
    }
    // Fills every empty head. ERROR_SUCCESS, or the first fault.
    unsigned long fill() {
        for (size_t i = 0; i < readers.size(); ++i) {
            if (live[i] || readers[i] == nullptr) {
                continue;
            }
            ReadStatus status = readers[i]->next(heads[i]);
            if (status == ReadStatus::Event) {
                live[i] = true;
            } else if (status == ReadStatus::End) {
                readers[i] = nullptr;
            } else {
                setLastError(errnoForFault(status));
                return statusForFault(status);
            }
        }
        return ERROR_SUCCESS;
    }
    // The input whose head is earliest, or -1 when all are done. Its head stays valid until the next
    // fill(), which must follow the use.
    int take() {
        int best = -1;
        for (size_t i = 0; i < readers.size(); ++i) {
            if (live[i] && (best < 0 || heads[i].timeStamp < heads[static_cast<size_t>(best)].timeStamp)) {
                best = static_cast<int>(i);
            }
        }
        if (best >= 0) {
            live[static_cast<size_t>(best)] = false;
        }
        return best;
    }
    const EventView& head(int i) const { return heads[static_cast<size_t>(i)]; }

  private:
    std::vector<tracefile::Reader*> readers;
    std::vector<EventView> heads;
    std::vector<bool> live;
};

void deliver(const OpenFile& file, const EventView& event) {
    if (file.callback == nullptr) {
        return;
    }
    _EVENT_RECORD record{};
    record.EventHeader.Size = sizeof(_EVENT_HEADER);
    record.EventHeader.ThreadId = event.threadId;
    record.EventHeader.ProcessId = event.processId;
    record.EventHeader.TimeStamp = static_cast<int64_t>(event.timeStamp);
    record.EventHeader.ProviderId = event.provider;
    record.EventHeader.EventDescriptor = event.descriptor;
    record.BufferContext.ProcessorNumber = static_cast<uint8_t>(event.processor);
    record.UserDataLength = event.userDataLength;
    record.UserData = const_cast<uint8_t*>(event.userData);
    record.UserContext = file.context;
    file.callback(&record);
}

std::string narrow(const char16_t* text) {
    std::string out;
    for (; text != nullptr && *text != 0; ++text) {
        char16_t unit = *text;
        if (unit < 0x80) {
            out.push_back(static_cast<char>(unit));
        } else if (unit < 0x800) {
            out.push_back(static_cast<char>(0xc0 | (unit >> 6)));
            out.push_back(static_cast<char>(0x80 | (unit & 0x3f)));
        } else {
            out.push_back(static_cast<char>(0xe0 | (unit >> 12)));
            out.push_back(static_cast<char>(0x80 | ((unit >> 6) & 0x3f)));
            out.push_back(static_cast<char>(0x80 | (unit & 0x3f)));
        }
    }
    return out;
}

}  // namespace

namespace replay {

uint64_t open(_EVENT_TRACE_LOGFILEA* logfile) {
    if (logfile == nullptr || logfile->LogFileName == nullptr) {
        setLastError(EINVAL);
        return INVALID_PROCESSTRACE_HANDLE;
    }
    unsigned long status = ERROR_SUCCESS;
    auto file = std::make_shared<OpenFile>();
    file->reader = openReader(logfile->LogFileName, status);
    if (!file->reader) {
        return INVALID_PROCESSTRACE_HANDLE;
    }
    const tracefile::FileHeader& h = file->reader->fileHeader();
    _TRACE_LOGFILE_HEADER& out = logfile->LogfileHeader;
    out = _TRACE_LOGFILE_HEADER{};
    out.BufferSize = h.blockSizeLimit;
    out.Version = 1;
    out.NumberOfProcessors = h.numberOfProcessors;
    out.EndTime = static_cast<int64_t>(h.endTime);
    out.BuffersWritten = h.blocksWritten;
    out.PointerSize = h.pointerSize;
    out.EventsLost = h.eventsLost;
    out.PerfFreq = static_cast<int64_t>(h.clockFrequency);
    out.StartTime = static_cast<int64_t>(h.startTime);
    file->callback = logfile->EventRecordCallback;
    file->context = logfile->Context;
    ReplayTable& t = table();
    std::lock_guard<std::mutex> guard(t.lock);
    uint64_t handle = t.nextHandle++;
    t.files[handle] = std::move(file);
    return handle;
}

unsigned long process(uint64_t* handles, unsigned long handleCount) {
    if (handles == nullptr || handleCount == 0) {
        return ERROR_INVALID_PARAMETER;
    }
    std::vector<std::shared_ptr<OpenFile>> files;
    {
        ReplayTable& t = table();
        std::lock_guard<std::mutex> guard(t.lock);
        for (unsigned long i = 0; i < handleCount; ++i) {
            auto found = t.files.find(handles[i]);
            if (found == t.files.end() || found->second->busy) {
                for (auto& taken : files) {
                    taken->busy = false;
                }
                return ERROR_INVALID_PARAMETER;
            }
            found->second->busy = true;
            files.push_back(found->second);
        }
    }
    std::vector<tracefile::Reader*> readers;
    for (auto& file : files) {
        readers.push_back(file->reader.get());
    }
    OrderedInputs inputs(readers);
    unsigned long status = inputs.fill();
    for (int i = inputs.take(); status == ERROR_SUCCESS && i >= 0; i = inputs.take()) {
        deliver(*files[static_cast<size_t>(i)], inputs.head(i));
        status = inputs.fill();
    }
    ReplayTable& t = table();
    std::lock_guard<std::mutex> guard(t.lock);
    for (auto& file : files) {
        file->busy = false;
    }
    return status;
}

unsigned long close(uint64_t handle) {
    ReplayTable& t = table();
    std::lock_guard<std::mutex> guard(t.lock);
    auto found = t.files.find(handle);
    if (found == t.files.end() || found->second->busy) {
        return ERROR_INVALID_PARAMETER;
    }
    t.files.erase(found);
    return ERROR_SUCCESS;
}

}  // namespace replay

namespace {

constexpr uint32_t kMergeBlockBytes = 1u << 20;

unsigned long mergeInto(const std::string& output, std::vector<std::unique_ptr<tracefile::Reader>>& inputs) {
    tracefile::FileHeader header;
    header.blockSizeLimit = kMergeBlockBytes;
    header.startTime = UINT64_MAX;
    uint64_t lost = 0;
    std::vector<tracefile::Reader*> readers;
    for (auto& reader : inputs) {
        const tracefile::FileHeader& h = reader->fileHeader();
        header.startTime = std::min(header.startTime, h.startTime);
        header.endTime = std::max(header.endTime, h.endTime);
        header.numberOfProcessors = std::max(header.numberOfProcessors, h.numberOfProcessors);
        lost += h.eventsLost;
        readers.push_back(reader.get());
    }
    tracefile::Writer writer;
    int error = 0;
    if (!writer.open(output, header, error)) {
        setLastError(error);
        return statusForErrno(error);
    }
    std::vector<uint8_t> block(kMergeBlockBytes);
    uint32_t used = 0;
    uint32_t records = 0;
    OrderedInputs ordered(readers);
    unsigned long status = ordered.fill();
    for (int i = ordered.take(); status == ERROR_SUCCESS && i >= 0; i = ordered.take()) {
        const EventView& event = ordered.head(i);
        size_t size = tracefile::eventRecordSize(event.userDataLength);
        if (kMergeBlockBytes - used < size) {
            if (!writer.writeBlock(block.data(), used, records, error)) {
                break;
            }
            used = 0;
            records = 0;
        }
        tracefile::encodeEventHeader(block.data() + used, event);
        std::copy(event.userData, event.userData + event.userDataLength,
                  block.data() + used + tracefile::kEventHeaderSize);
        used += static_cast<uint32_t>(size);
        ++records;
        status = ordered.fill();
    }
    if (status == ERROR_SUCCESS && error == 0 && records > 0) {
        writer.writeBlock(block.data(), used, records, error);
    }
    if (status == ERROR_SUCCESS && error == 0) {
        writer.close(header.endTime, static_cast<uint32_t>(std::min<uint64_t>(lost, UINT32_MAX)), error);
    }
    if (status == ERROR_SUCCESS && error != 0) {
        setLastError(error);
        status = statusForErrno(error);
    }
    return status;
}

}  // namespace

unsigned long createMergedTraceFile(const char16_t* mergedFile, const char16_t** traceFiles,
                                    unsigned long traceFileCount, unsigned long) {
    if (mergedFile == nullptr || traceFiles == nullptr || traceFileCount == 0) {
        setLastError(EINVAL);
        return ERROR_INVALID_PARAMETER;
    }
    std::string output = narrow(mergedFile);
    std::vector<std::unique_ptr<tracefile::Reader>> inputs;
    for (unsigned long i = 0; i < traceFileCount; ++i) {
        std::string input = narrow(traceFiles[i]);
        if (input == output) {  // writing would destroy the input before it is read
            setLastError(EINVAL);
            return ERROR_INVALID_PARAMETER;
        }
        unsigned long status = ERROR_SUCCESS;
        inputs.push_back(openReader(input, status));
        if (!inputs.back()) {
            return status;
        }
    }
    unsigned long status = mergeInto(output, inputs);
    if (status != ERROR_SUCCESS) {
        ::unlink(output.c_str());  // a half-merged file would pass for a whole one
    }
    return status;
}

}  // namespace platform
}  // namespace pwr
