#pragma once

// The platform seam's event tracing: sessions that record the events of enabled providers to a trace
// file (docs/trace-file.md), providers that write events from any thread, replay of files to a
// callback, the provider list, and the merge of several files by time stamp.
//
// The operations answer as the Windows calls of the same names do, with the same statuses
// (WinTypes.h): 0 on success, 183 for a session name in use, 112 for a full disk, 8 for no memory,
// 122 for a provider list that does not fit, 4201 for an unknown session. A call that fails for a
// reason of the system also records it as the calling thread's last error (Platform.h).
//
// The facility in use can be replaced (setTraceFacility), so that tests reach every status. A
// replacement usually derives from TraceFacility and forwards to systemTraceFacility() what it does
// not script.
//
// Kernel providers. Enabling one of the two kernel GUIDs below records Linux tracepoints through
// perf_event_open, on the library's clock (CLOCK_MONOTONIC_RAW): the Kernel-Power provider gives
// power:cpu_idle (event Id 1, keyword 0x1) and power:cpu_frequency (Id 2, keyword 0x2); the scheduler
// provider gives sched:sched_switch (Id 1, keyword 0x1) and irq:irq_handler_entry (Id 2, keyword 0x2).
// A keyword mask of 0 takes all of a provider's events. The payload of such an event is the raw
// tracepoint record, laid out as the tracepoint's format file says (readTracepointFormat). Where the
// machine refuses (no tracefs, no permission), enabling fails with 5 (access denied) or 50 (not
// supported) and the last error tells why.
//
// Time stamps are ticks of the library's performance counter (CLOCK_MONOTONIC_RAW, 1000000000 a
// second); replay delivers them as such whatever ProcessTraceMode asks for. The library's sessions ask
// for raw time stamps.
//
// Threads: every operation may be called from any thread; a session's state is guarded inside.

#include <cstdint>
#include <string>
#include <vector>

#include "vantrell/Export.h"
#include "vantrell/platform/WinTypes.h"

namespace pwr {
namespace platform {

using CreateMergedTraceFileFn = unsigned long (*)(const char16_t* mergedFile, const char16_t** traceFiles,
                                                  unsigned long traceFileCount,
                                                  unsigned long extendedDataFlags);

class VR_EXPORT TraceFacility {
  public:
    virtual ~TraceFacility();

    // StartTraceA: starts the session `sessionName` recording to the file at
    // properties->LogFileNameOffset, with buffers of properties->BufferSize KB (at most
    // MaximumBuffers). Fills `handle` on success.
    virtual unsigned long startTrace(uint64_t* handle, const char* sessionName,
                                     EVENT_TRACE_PROPERTIES* properties) = 0;
    // ControlTraceA: the session by `handle`, or by `sessionName` when `handle` is 0. Codes:
    // EVENT_TRACE_CONTROL_QUERY fills properties->EventsLost and BuffersWritten; _STOP ends the session
    // and closes its file (and fills the same); _FLUSH writes what is buffered.
    virtual unsigned long controlTrace(uint64_t handle, const char* sessionName,
                                       EVENT_TRACE_PROPERTIES* properties, uint32_t controlCode) = 0;
    // EnableTraceEx2: enable (1), capture state (2) or disable (0) `provider` in the session, at
    // `level` with the keyword masks.
    virtual unsigned long enableTraceEx2(uint64_t handle, const _GUID* provider, uint32_t controlCode,
                                         uint8_t level, uint64_t matchAnyKeyword, uint64_t matchAllKeyword,
                                         uint32_t timeout, void* parameters) = 0;
    // OpenTraceA: opens logfile->LogFileName for replay and fills logfile->LogfileHeader. Returns the
    // replay handle, or INVALID_PROCESSTRACE_HANDLE with the last error set.
    virtual uint64_t openTrace(_EVENT_TRACE_LOGFILEA* logfile) = 0;
    // ProcessTrace: delivers the events of all `handles`, lowest time stamp first, to the
    // EventRecordCallback of each one's logfile. 0, or the status of the first fault of a file.
    virtual unsigned long processTrace(uint64_t* handles, unsigned long handleCount, void* startTime,
                                       void* endTime) = 0;
    virtual unsigned long closeTrace(uint64_t handle) = 0;
    // TdhEnumerateProviders: the provider list into `buffer` of `*bufferSize` bytes; 122 with
    // `*bufferSize` set to the size needed when it does not fit (or `buffer` is null).
    virtual unsigned long enumerateProviders(PROVIDER_ENUMERATION_INFO* buffer,
                                             unsigned long* bufferSize) = 0;

    // EventRegister (no enable callback), EventUnregister, EventWrite.
    virtual unsigned long eventRegister(const _GUID* provider, uint64_t* registrationHandle) = 0;
    virtual unsigned long eventUnregister(uint64_t registrationHandle) = 0;
    virtual unsigned long eventWrite(uint64_t registrationHandle, const _EVENT_DESCRIPTOR* descriptor,
                                     uint32_t dataCount, _EVENT_DATA_DESCRIPTOR* data) = 0;

    // The trace-merging library: LoadLibraryA of `storedPath`, GetProcAddress, FreeLibrary. The system
    // facility answers a path whose file name is "KernelTraceControl.dll" with its own merge; other
    // names go to the dynamic loader. A failed load gives null with `error` a status (126: not found)
    // and the last error set; a failed look-up gives null with the last error set.
    virtual void* loadLibrary(const std::string& storedPath, unsigned long& error) = 0;
    virtual void* getProcAddress(void* library, const char* name) = 0;
    virtual void freeLibrary(void* library) = 0;
};

// The facility in use: the system's unless replaced.
VR_EXPORT TraceFacility& traceFacility();
// Replaces the facility in use; null puts the system's back. Returns the previous replacement (null
// when the system's was in use). The caller keeps ownership.
VR_EXPORT TraceFacility* setTraceFacility(TraceFacility* facility);
// The Linux facility itself.
VR_EXPORT TraceFacility& systemTraceFacility();

// The system facility's merge: the events of all inputs, lowest time stamp first, into `mergedFile`.
// 0, or a status with the last error set; the inputs are left alone.
VR_EXPORT unsigned long createMergedTraceFile(const char16_t* mergedFile, const char16_t** traceFiles,
                                              unsigned long traceFileCount, unsigned long extendedDataFlags);

// Names a provider in the system facility's provider list (providers have no names of their own on
// Linux). A second name for the same GUID replaces the first.
VR_EXPORT void registerProviderName(const _GUID& provider, const std::u16string& name);

// The kernel providers: Microsoft-Windows-Kernel-Power (331c3b3a-2005-44c2-ac5e-77220c37d6b4), answered
// with the power tracepoints, and this library's scheduler and interrupt provider.
VR_EXPORT extern const _GUID kKernelPowerProvider;
VR_EXPORT extern const _GUID kKernelSchedulerProvider;  // "Vantrell-Linux-Kernel-Scheduler"

// One field of a tracepoint's record, from tracefs' format file.
struct TracepointField {
    std::string name;
    uint32_t offset;
    uint32_t size;
    bool isSigned;
};

// The fields of tracepoint `system`:`name` ("sched", "sched_switch"). False when tracefs or the
// tracepoint is not there (tracefs is mounted if it can be).
VR_EXPORT bool readTracepointFormat(const std::string& system, const std::string& name,
                                    std::vector<TracepointField>& fields);

}  // namespace platform
}  // namespace pwr
