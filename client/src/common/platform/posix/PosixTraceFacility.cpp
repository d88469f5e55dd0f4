// The Linux trace facility: named sessions, user-mode providers written from any thread, the kernel
// providers, the provider list and the merge library. Replay is in TraceReplay.cpp, the file format in
// TraceFile.cpp (docs/trace-file.md).

#include <errno.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/posix/KernelTracepoints.h"
#include "platform/posix/TraceReplay.h"
#include "platform/posix/TraceSessionCore.h"
#include "vantrell/platform/Platform.h"
#include "vantrell/platform/TraceFacility.h"

namespace pwr {
namespace platform {

TraceFacility::~TraceFacility() = default;

namespace {

constexpr uint32_t kDefaultBufferBytes = 64u << 10;
constexpr uint32_t kSmallestBufferBytes = 4u << 10;
constexpr uint32_t kDefaultMaximumBuffers = 64;
constexpr uint32_t kLargestUserData = 0xffff;

struct EnableState {
    uint8_t level = 0;
    uint64_t matchAny = 0;
    uint64_t matchAll = 0;

    bool accepts(const _EVENT_DESCRIPTOR& d) const {
        bool levelOk = d.Level == 0 || d.Level <= level;
        bool keywordOk = d.Keyword == 0 || ((matchAny == 0 || (d.Keyword & matchAny) != 0) &&
                                            (d.Keyword & matchAll) == matchAll);
        return levelOk && keywordOk;
    }
};

struct Target {
    uint64_t session;
    std::shared_ptr<TraceSessionCore> core;
    EnableState enable;
};

// A registered provider. Its handle is its address; writes hold its lock while they append.
struct Registration {
    _GUID guid;
    std::mutex lock;
    std::vector<Target> targets;
};

struct Session {
    std::string name;
    std::shared_ptr<TraceSessionCore> core;
    std::vector<std::pair<_GUID, EnableState>> providers;
    std::vector<std::pair<_GUID, std::unique_ptr<KernelCollector>>> kernel;
};

struct State {
    std::mutex lock;
    std::map<uint64_t, std::unique_ptr<Session>> sessions;
    std::vector<Registration*> registrations;
    std::vector<std::pair<_GUID, std::u16string>> names = {
        {kKernelPowerProvider, u"Microsoft-Windows-Kernel-Power"},
        {kKernelSchedulerProvider, u"Vantrell-Linux-Kernel-Scheduler"}};
    uint64_t nextHandle = 1;
};

State& state() {
    static State* instance = new State;  // sessions may still run while static destructors do
    return *instance;
}

uint32_t currentThreadId() {
    thread_local uint32_t id = static_cast<uint32_t>(syscall(SYS_gettid));
    return id;
}

// Points every registration of `guid` at the session's current enablement (none when disabled).
void retarget_i(State& s, uint64_t handle, const _GUID& guid) {
    Session* session = s.sessions.count(handle) != 0 ? s.sessions[handle].get() : nullptr;
    const EnableState* enable = nullptr;
    if (session != nullptr) {
        for (auto& provider : session->providers) {
            enable = provider.first == guid ? &provider.second : enable;
        }
    }
    for (Registration* reg : s.registrations) {
        if (reg->guid != guid) {
            continue;
        }
        std::lock_guard<std::mutex> guard(reg->lock);
        auto& targets = reg->targets;
        targets.erase(std::remove_if(targets.begin(), targets.end(),
                                     [handle](const Target& t) { return t.session == handle; }),
                      targets.end());
        if (enable != nullptr) {
            targets.push_back({handle, session->core, *enable});
        }
    }
}

Session* findSession_i(State& s, uint64_t handle, const char* name) {
    if (handle != 0) {
        auto found = s.sessions.find(handle);
        return found != s.sessions.end() ? found->second.get() : nullptr;
    }
    for (auto& entry : s.sessions) {
        if (name != nullptr && entry.second->name == name) {
            return entry.second.get();
        }
    }
    return nullptr;
}

uint64_t handleOf_i(State& s, const Session* session) {
    for (auto& entry : s.sessions) {
        if (entry.second.get() == session) {
            return entry.first;
        }
    }
    return 0;
}

// The log file name of a properties block, checked to lie inside the block.
bool logFileNameOf(const EVENT_TRACE_PROPERTIES* properties, std::string& name) {
    uint32_t size = properties->Wnode.BufferSize;
    uint32_t offset = properties->LogFileNameOffset;
    if (size <= sizeof(EVENT_TRACE_PROPERTIES) || offset < sizeof(EVENT_TRACE_PROPERTIES) || offset >= size) {
        return false;
    }
    const char* begin = reinterpret_cast<const char*>(properties) + offset;
    const char* end = static_cast<const char*>(std::memchr(begin, 0, size - offset));
    if (end == nullptr || end == begin) {
        return false;
    }
    name.assign(begin, end);
    return true;
}

TraceSessionCore::Limits limitsOf(const EVENT_TRACE_PROPERTIES* p) {
    uint64_t bytes = uint64_t{p->BufferSize} * 1024;
    bytes = bytes == 0 ? kDefaultBufferBytes
                       : std::clamp<uint64_t>(bytes, kSmallestBufferBytes, tracefile::kMaxBlockSize);
    uint32_t maximum = p->MaximumBuffers == 0 ? kDefaultMaximumBuffers : p->MaximumBuffers;
    return {static_cast<uint32_t>(bytes), std::min(p->MinimumBuffers, maximum), maximum};
}

void fillCounters(EVENT_TRACE_PROPERTIES* properties, const Session& session) {
    if (properties != nullptr) {
        properties->EventsLost = session.core->eventsLost();
        properties->BuffersWritten = session.core->buffersWritten();
    }
}

// The built-in merge library, answered for "KernelTraceControl.dll".
char g_mergeLibrary;

bool isMergeLibraryName(const std::string& path) {
    size_t cut = path.find_last_of("\\/");
    return path.compare(cut == std::string::npos ? 0 : cut + 1, std::string::npos,
                        "KernelTraceControl.dll") == 0;
}

class PosixTraceFacility : public TraceFacility {
  public:
    unsigned long startTrace(uint64_t* handle, const char* sessionName,
                             EVENT_TRACE_PROPERTIES* properties) override;
    unsigned long controlTrace(uint64_t handle, const char* sessionName, EVENT_TRACE_PROPERTIES* properties,
                               uint32_t controlCode) override;
    unsigned long enableTraceEx2(uint64_t handle, const _GUID* provider, uint32_t controlCode, uint8_t level,
                                 uint64_t matchAnyKeyword, uint64_t matchAllKeyword, uint32_t,
                                 void*) override;
    uint64_t openTrace(_EVENT_TRACE_LOGFILEA* logfile) override { return replay::open(logfile); }
    unsigned long processTrace(uint64_t* handles, unsigned long count, void*, void*) override {
        return replay::process(handles, count);
    }
    unsigned long closeTrace(uint64_t handle) override { return replay::close(handle); }
    unsigned long enumerateProviders(PROVIDER_ENUMERATION_INFO* buffer, unsigned long* bufferSize) override;
    unsigned long eventRegister(const _GUID* provider, uint64_t* registrationHandle) override;
    unsigned long eventUnregister(uint64_t registrationHandle) override;
    unsigned long eventWrite(uint64_t registrationHandle, const _EVENT_DESCRIPTOR* descriptor,
                             uint32_t dataCount, _EVENT_DATA_DESCRIPTOR* data) override;
    void* loadLibrary(const std::string& storedPath, unsigned long& error) override {
        void* library = isMergeLibraryName(storedPath) ? &g_mergeLibrary : openLibrary(storedPath);
        error = library != nullptr ? ERROR_SUCCESS : ERROR_MOD_NOT_FOUND;
        return library;
    }
    void* getProcAddress(void* library, const char* name) override;
    void freeLibrary(void* library) override {
        if (library != &g_mergeLibrary) {
            closeLibrary(library);
        }
    }

  private:
    unsigned long enableKernel_i(Session& session, const _GUID& provider, uint64_t keywords);
};

unsigned long PosixTraceFacility::startTrace(uint64_t* handle, const char* sessionName,
                                             EVENT_TRACE_PROPERTIES* properties) {
    std::string path;
    if (handle == nullptr || sessionName == nullptr || *sessionName == 0 || properties == nullptr ||
        !logFileNameOf(properties, path)) {
        setLastError(EINVAL);
        return ERROR_INVALID_PARAMETER;
    }
    State& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    if (findSession_i(s, 0, sessionName) != nullptr) {
        setLastError(EEXIST);
        return ERROR_ALREADY_EXISTS;
    }
    unsigned long status = ERROR_SUCCESS;
    int error = 0;
    auto session = std::make_unique<Session>();
    session->name = sessionName;
    session->core = TraceSessionCore::start(path, limitsOf(properties), status, error);
    if (!session->core) {
        setLastError(error);
        return status;
    }
    *handle = s.nextHandle++;
    properties->Wnode.HistoricalContext = *handle;
    s.sessions[*handle] = std::move(session);
    return ERROR_SUCCESS;
}

unsigned long PosixTraceFacility::controlTrace(uint64_t handle, const char* sessionName,
                                               EVENT_TRACE_PROPERTIES* properties, uint32_t controlCode) {
    State& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    Session* session = findSession_i(s, handle, sessionName);
    if (session == nullptr) {
        setLastError(ENOENT);
        return ERROR_WMI_INSTANCE_NOT_FOUND;
    }
    int error = 0;
    unsigned long status = ERROR_SUCCESS;
    if (controlCode == EVENT_TRACE_CONTROL_FLUSH) {
        for (auto& kernel : session->kernel) {
            kernel.second->drain();
        }
        status = session->core->flush(error);
    } else if (controlCode == EVENT_TRACE_CONTROL_STOP) {
        uint64_t id = handleOf_i(s, session);
        session->kernel.clear();  // each drains into the session as it goes
        std::vector<_GUID> guids;
        for (auto& provider : session->providers) {
            guids.push_back(provider.first);
        }
        session->providers.clear();
        for (const _GUID& guid : guids) {
            retarget_i(s, id, guid);
        }
        status = session->core->stop(error);
        fillCounters(properties, *session);
        s.sessions.erase(id);
        return status;
    } else if (controlCode != EVENT_TRACE_CONTROL_QUERY) {
        return ERROR_INVALID_PARAMETER;
    }
    fillCounters(properties, *session);
    if (status != ERROR_SUCCESS) {
        setLastError(error);
    }
    return status;
}

unsigned long PosixTraceFacility::enableKernel_i(Session& session, const _GUID& provider, uint64_t keywords) {
    auto& kernel = session.kernel;
    kernel.erase(std::remove_if(kernel.begin(), kernel.end(),
                                [&provider](const auto& k) { return k.first == provider; }),
                 kernel.end());
    std::unique_ptr<KernelCollector> collector;
    int error = 0;
    unsigned long status = KernelCollector::start(provider, keywords, session.core, collector, error);
    if (status != ERROR_SUCCESS) {
        setLastError(error);
        return status;
    }
    kernel.emplace_back(provider, std::move(collector));
    return ERROR_SUCCESS;
}

unsigned long PosixTraceFacility::enableTraceEx2(uint64_t handle, const _GUID* provider, uint32_t controlCode,
                                                 uint8_t level, uint64_t matchAnyKeyword,
                                                 uint64_t matchAllKeyword, uint32_t, void*) {
    State& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    Session* session = handle != 0 ? findSession_i(s, handle, nullptr) : nullptr;
    if (session == nullptr || provider == nullptr) {
        setLastError(EINVAL);
        return session == nullptr ? ERROR_WMI_INSTANCE_NOT_FOUND : ERROR_INVALID_PARAMETER;
    }
    auto& providers = session->providers;
    auto known = std::find_if(providers.begin(), providers.end(),
                              [provider](const auto& p) { return p.first == *provider; });
    if (controlCode == EVENT_CONTROL_CODE_ENABLE_PROVIDER) {
        if (isKernelProvider(*provider)) {
            unsigned long status = enableKernel_i(*session, *provider, matchAnyKeyword);
            if (status != ERROR_SUCCESS) {
                return status;
            }
        }
        EnableState enable{level, matchAnyKeyword, matchAllKeyword};
        if (known != providers.end()) {
            known->second = enable;
        } else {
            providers.emplace_back(*provider, enable);
        }
    } else if (controlCode == EVENT_CONTROL_CODE_DISABLE_PROVIDER) {
        if (known != providers.end()) {
            providers.erase(known);
        }
        auto& kernel = session->kernel;
        kernel.erase(std::remove_if(kernel.begin(), kernel.end(),
                                    [provider](const auto& k) { return k.first == *provider; }),
                     kernel.end());
    } else if (controlCode != EVENT_CONTROL_CODE_CAPTURE_STATE) {
        return ERROR_INVALID_PARAMETER;
    }
    retarget_i(s, handle, *provider);
    return ERROR_SUCCESS;
}

unsigned long PosixTraceFacility::enumerateProviders(PROVIDER_ENUMERATION_INFO* buffer,
                                                     unsigned long* bufferSize) {
    if (bufferSize == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    State& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    const size_t entries = offsetof(PROVIDER_ENUMERATION_INFO, TraceProviderInfoArray);
    size_t needed = entries + s.names.size() * sizeof(TRACE_PROVIDER_INFO);
    for (const auto& name : s.names) {
        needed += (name.second.size() + 1) * sizeof(char16_t);
    }
    if (buffer == nullptr || *bufferSize < needed) {
        *bufferSize = needed;
        return ERROR_INSUFFICIENT_BUFFER;
    }
    auto* bytes = reinterpret_cast<uint8_t*>(buffer);
    size_t text = entries + s.names.size() * sizeof(TRACE_PROVIDER_INFO);
    buffer->NumberOfProviders = static_cast<uint32_t>(s.names.size());
    buffer->Reserved = 0;
    for (size_t i = 0; i < s.names.size(); ++i) {
        TRACE_PROVIDER_INFO info{s.names[i].first, 0, static_cast<uint32_t>(text)};
        std::memcpy(bytes + entries + i * sizeof(TRACE_PROVIDER_INFO), &info, sizeof(info));
        size_t length = (s.names[i].second.size() + 1) * sizeof(char16_t);
        std::memcpy(bytes + text, s.names[i].second.c_str(), length);
        text += length;
    }
    return ERROR_SUCCESS;
}

unsigned long PosixTraceFacility::eventRegister(const _GUID* provider, uint64_t* registrationHandle) {
    if (provider == nullptr || registrationHandle == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    auto* reg = new Registration;
    reg->guid = *provider;
    State& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    s.registrations.push_back(reg);
    for (auto& entry : s.sessions) {
        retarget_i(s, entry.first, *provider);
    }
    *registrationHandle = reinterpret_cast<uintptr_t>(reg);
    return ERROR_SUCCESS;
}

unsigned long PosixTraceFacility::eventUnregister(uint64_t registrationHandle) {
    State& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    auto found = std::find(s.registrations.begin(), s.registrations.end(),
                           reinterpret_cast<Registration*>(static_cast<uintptr_t>(registrationHandle)));
    if (found == s.registrations.end()) {
        return ERROR_INVALID_PARAMETER;
    }
    delete *found;
    s.registrations.erase(found);
    return ERROR_SUCCESS;
}

unsigned long PosixTraceFacility::eventWrite(uint64_t registrationHandle, const _EVENT_DESCRIPTOR* descriptor,
                                             uint32_t dataCount, _EVENT_DATA_DESCRIPTOR* data) {
    auto* reg = reinterpret_cast<Registration*>(static_cast<uintptr_t>(registrationHandle));
    if (reg == nullptr || descriptor == nullptr || (dataCount > 0 && data == nullptr)) {
        return ERROR_INVALID_PARAMETER;
    }
    std::lock_guard<std::mutex> guard(reg->lock);
    if (reg->targets.empty()) {
        return ERROR_SUCCESS;
    }
    uint64_t length = 0;
    for (uint32_t i = 0; i < dataCount; ++i) {
        length += data[i].Size;
    }
    if (length > kLargestUserData) {
        return ERROR_ARITHMETIC_OVERFLOW;
    }
    static const uint32_t processId = static_cast<uint32_t>(getpid());
    int cpu = sched_getcpu();
    tracefile::EventView event;
    event.provider = reg->guid;
    event.descriptor = *descriptor;
    event.processId = processId;
    event.threadId = currentThreadId();
    event.processor = static_cast<uint16_t>(cpu < 0 ? 0 : cpu);
    event.userDataLength = static_cast<uint16_t>(length);
    unsigned long status = ERROR_SUCCESS;
    for (const Target& target : reg->targets) {
        if (target.enable.accepts(*descriptor)) {
            unsigned long one = target.core->append(event, dataCount, data);
            status = status == ERROR_SUCCESS ? one : status;
        }
    }
    return status;
}

void* PosixTraceFacility::getProcAddress(void* library, const char* name) {
    if (library != &g_mergeLibrary) {
        return findSymbol(library, name);
    }
    if (name != nullptr && std::strcmp(name, "CreateMergedTraceFile") == 0) {
        return reinterpret_cast<void*>(&createMergedTraceFile);
    }
    setLastError(ENOENT);
    return nullptr;
}

std::atomic<TraceFacility*> g_replacement{nullptr};

}  // namespace

TraceFacility& systemTraceFacility() {
    static PosixTraceFacility* instance = new PosixTraceFacility;
    return *instance;
}

TraceFacility& traceFacility() {
    TraceFacility* replacement = g_replacement.load(std::memory_order_acquire);
    return replacement != nullptr ? *replacement : systemTraceFacility();
}

TraceFacility* setTraceFacility(TraceFacility* facility) {
    return g_replacement.exchange(facility, std::memory_order_acq_rel);
}

void registerProviderName(const _GUID& provider, const std::u16string& name) {
    State& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    for (auto& entry : s.names) {
        if (entry.first == provider) {
            entry.second = name;
            return;
        }
    }
    s.names.emplace_back(provider, name);
}

}  // namespace platform
}  // namespace pwr
