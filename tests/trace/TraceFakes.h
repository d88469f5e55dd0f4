#pragma once

// Shared by the trace suites: a trace facility that answers scripted statuses and forwards the rest to
// the system's, a scratch directory, and a session whose callback keeps every replayed event.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <mutex>
#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "vantrell/platform/Platform.h"
#include "vantrell/platform/TraceFacility.h"
#include "vantrell/trace/EtwSession.h"

namespace vrtest {

namespace platform = pwr::platform;

// Each queue holds answers for the next calls of its operation; an empty queue forwards to the system.
// `calls` names each call in order: "start", "stop", "flush", "query", "enable", "capture", "disable",
// "open", "process", "close", "enumerate", "load".
class ScriptedFacility : public platform::TraceFacility {
  public:
    ScriptedFacility() : previous(platform::setTraceFacility(this)) {}
    ~ScriptedFacility() override { platform::setTraceFacility(previous); }

    std::deque<unsigned long> start, control, enable, capture, disable, process, enumerate;
    std::deque<bool> openFails;       // true: OpenTraceA fails
    std::deque<bool> loadFails;       // true: LoadLibraryA fails (status 126)
    unsigned long enumerateSize = 0;  // the size a scripted enumerate answer asks for
    std::vector<std::string> calls;
    std::vector<uint64_t> enableMasks;     // the match-any mask of each enable call
    EVENT_TRACE_PROPERTIES startedWith{};  // the head of the block of the last start
    std::string startedFile;               // the log file name found in that block

    unsigned long startTrace(uint64_t* h, const char* name, EVENT_TRACE_PROPERTIES* p) override {
        calls.push_back("start");
        startedWith = *p;
        startedFile = reinterpret_cast<const char*>(p) + p->LogFileNameOffset;
        return answer(start, [&] { return sys().startTrace(h, name, p); });
    }
    unsigned long controlTrace(uint64_t h, const char* name, EVENT_TRACE_PROPERTIES* p,
                               uint32_t code) override {
        calls.push_back(code == EVENT_TRACE_CONTROL_STOP    ? "stop"
                        : code == EVENT_TRACE_CONTROL_FLUSH ? "flush"
                                                            : "query");
        return answer(control, [&] { return sys().controlTrace(h, name, p, code); });
    }
    unsigned long enableTraceEx2(uint64_t h, const _GUID* g, uint32_t code, uint8_t level, uint64_t any,
                                 uint64_t all, uint32_t timeout, void* params) override {
        const char* names[] = {"disable", "enable", "capture"};
        calls.push_back(names[code]);
        if (code == EVENT_CONTROL_CODE_ENABLE_PROVIDER) {
            enableMasks.push_back(any);
        }
        std::deque<unsigned long>& queue = code == 1 ? enable : code == 2 ? capture : disable;
        return answer(queue,
                      [&] { return sys().enableTraceEx2(h, g, code, level, any, all, timeout, params); });
    }
    uint64_t openTrace(_EVENT_TRACE_LOGFILEA* logfile) override {
        calls.push_back("open");
        if (!openFails.empty() && pop(openFails)) {
            platform::setLastError(ENOENT);
            return INVALID_PROCESSTRACE_HANDLE;
        }
        return sys().openTrace(logfile);
    }
    unsigned long processTrace(uint64_t* handles, unsigned long count, void* s, void* e) override {
        calls.push_back("process");
        return answer(process, [&] { return sys().processTrace(handles, count, s, e); });
    }
    unsigned long closeTrace(uint64_t handle) override {
        calls.push_back("close");
        return sys().closeTrace(handle);
    }
    unsigned long enumerateProviders(PROVIDER_ENUMERATION_INFO* buffer, unsigned long* size) override {
        calls.push_back("enumerate");
        if (!enumerate.empty() && enumerateSize != 0) {
            *size = enumerateSize;
        }
        return answer(enumerate, [&] { return sys().enumerateProviders(buffer, size); });
    }
    unsigned long eventRegister(const _GUID* g, uint64_t* handle) override {
        return sys().eventRegister(g, handle);
    }
    unsigned long eventUnregister(uint64_t handle) override { return sys().eventUnregister(handle); }
    unsigned long eventWrite(uint64_t handle, const _EVENT_DESCRIPTOR* d, uint32_t n,
                             _EVENT_DATA_DESCRIPTOR* data) override {
        return sys().eventWrite(handle, d, n, data);
    }
    void* loadLibrary(const std::string& path, unsigned long& error) override {
        calls.push_back("load");
        if (!loadFails.empty() && pop(loadFails)) {
            error = ERROR_MOD_NOT_FOUND;
            return nullptr;
        }
        return sys().loadLibrary(path, error);
    }
    void* getProcAddress(void* library, const char* name) override {
        return sys().getProcAddress(library, name);
    }
    void freeLibrary(void* library) override { sys().freeLibrary(library); }

  private:
    static platform::TraceFacility& sys() { return platform::systemTraceFacility(); }
    template <typename T>
    static T pop(std::deque<T>& queue) {
        T value = queue.front();
        queue.pop_front();
        return value;
    }
    template <typename F>
    unsigned long answer(std::deque<unsigned long>& queue, F forward) {
        return queue.empty() ? forward() : pop(queue);
    }
    platform::TraceFacility* previous;
};

// A directory of its own per test, removed afterwards.
class ScratchDir {
  public:
    ScratchDir() {
        const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
        path = std::filesystem::temp_directory_path() /
               ("vr_trace_" + std::to_string(getpid()) + "_" + test->test_suite_name() + "_" + test->name());
        std::filesystem::remove_all(path);
        std::filesystem::create_directories(path);
    }
    ~ScratchDir() { std::filesystem::remove_all(path); }
    std::string file(const std::string& name) const { return (path / name).string(); }
    std::filesystem::path path;
};

// A capturing logger that two threads may log to at once.
class LockedLogger : public CapturingLogger {
  public:
    void logMessage(unsigned int level, const char* text) override {
        std::lock_guard<std::mutex> guard(lock);
        CapturingLogger::logMessage(level, text);
    }

  private:
    std::mutex lock;
};

// One replayed event, copied out of the callback.
struct Replayed {
    _EVENT_HEADER header;
    uint8_t processor;
    std::vector<uint8_t> payload;
};

// A session whose replay keeps every event. The name is made unique per process.
class RecordingSession : public EtwSession {
  public:
    RecordingSession(const std::string& resultFile, const std::string& suffix, const std::string& name)
        : EtwSession(resultFile, suffix, name + "_" + std::to_string(getpid()), "Test " + name) {}

    _EVENT_TRACE_LOGFILEA setLogfileCallback() override {
        _EVENT_TRACE_LOGFILEA logfile = EtwSession::setLogfileCallback();
        logfile.EventRecordCallback = &RecordingSession::onEvent;
        logfile.Context = this;
        return logfile;
    }
    const std::string& file() const { return logFileName; }
    EVENT_TRACE_PROPERTIES* block() const { return properties; }
    // Frees the block of a session that a scripted facility "started": end() can't, it has no handle.
    void dropBlock() {
        std::free(properties);
        properties = nullptr;
    }

    std::vector<Replayed> events;

  private:
    static void onEvent(_EVENT_RECORD* record) {
        auto* self = static_cast<RecordingSession*>(record->UserContext);
        const auto* bytes = static_cast<const uint8_t*>(record->UserData);
        self->events.push_back({record->EventHeader, record->BufferContext.ProcessorNumber,
                                std::vector<uint8_t>(bytes, bytes + record->UserDataLength)});
    }
};

template <typename T>
T readAt(const std::vector<uint8_t>& bytes, size_t at) {
    T value;
    std::memcpy(&value, bytes.data() + at, sizeof(T));
    return value;
}

}  // namespace vrtest
