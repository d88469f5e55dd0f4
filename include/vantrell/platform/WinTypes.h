#pragma once

// The Windows records that appear in the library's signatures, with the field names its logic reads.
// Windows' ULONG is 32 bits and is written uint32_t here; layouts match 64-bit Windows where the
// library computes offsets (EVENT_TRACE_PROPERTIES is 120 bytes). Wide strings are 16-bit units
// (char16_t). Plain records: copyable, no ownership.

#include <cstdint>

struct _GUID {
    uint32_t Data1;
    uint16_t Data2;
    uint16_t Data3;
    uint8_t Data4[8];
};
using GUID = _GUID;

inline bool operator==(const _GUID& a, const _GUID& b) {
    bool same = a.Data1 == b.Data1 && a.Data2 == b.Data2 && a.Data3 == b.Data3;
    for (int i = 0; same && i < 8; ++i) {
        same = a.Data4[i] == b.Data4[i];
    }
    return same;
}
inline bool operator!=(const _GUID& a, const _GUID& b) {
    return !(a == b);
}

struct _EVENT_DESCRIPTOR {
    uint16_t Id;
    uint8_t Version;
    uint8_t Channel;
    uint8_t Level;
    uint8_t Opcode;
    uint16_t Task;
    uint64_t Keyword;
};
using EVENT_DESCRIPTOR = _EVENT_DESCRIPTOR;

// One piece of an event's payload: `Size` bytes at the address `Ptr`.
struct _EVENT_DATA_DESCRIPTOR {
    uint64_t Ptr;
    uint32_t Size;
    uint32_t Reserved;
};
using EVENT_DATA_DESCRIPTOR = _EVENT_DATA_DESCRIPTOR;

struct _EVENT_HEADER {
    uint16_t Size;
    uint16_t HeaderType;
    uint16_t Flags;
    uint16_t EventProperty;
    uint32_t ThreadId;
    uint32_t ProcessId;
    int64_t TimeStamp;
    _GUID ProviderId;
    _EVENT_DESCRIPTOR EventDescriptor;
    uint64_t ProcessorTime;
    _GUID ActivityId;
};
using EVENT_HEADER = _EVENT_HEADER;

struct _ETW_BUFFER_CONTEXT {
    uint8_t ProcessorNumber;
    uint8_t Alignment;
    uint16_t LoggerId;
};
using ETW_BUFFER_CONTEXT = _ETW_BUFFER_CONTEXT;

// A delivered event. `UserData` points at `UserDataLength` bytes that live only during the callback.
struct _EVENT_RECORD {
    _EVENT_HEADER EventHeader;
    _ETW_BUFFER_CONTEXT BufferContext;
    uint16_t ExtendedDataCount;
    uint16_t UserDataLength;
    void* ExtendedData;
    void* UserData;
    void* UserContext;
};
using EVENT_RECORD = _EVENT_RECORD;

struct _WNODE_HEADER {
    uint32_t BufferSize;
    uint32_t ProviderId;
    uint64_t HistoricalContext;
    int64_t TimeStamp;
    _GUID Guid;
    uint32_t ClientContext;
    uint32_t Flags;
};
using WNODE_HEADER = _WNODE_HEADER;

// The head of a session's properties block; the session and log file names follow it in the same
// allocation, at the two offsets.
struct EVENT_TRACE_PROPERTIES {
    _WNODE_HEADER Wnode;
    uint32_t BufferSize;  // KB
    uint32_t MinimumBuffers;
    uint32_t MaximumBuffers;
    uint32_t MaximumFileSize;
    uint32_t LogFileMode;
    uint32_t FlushTimer;
    uint32_t EnableFlags;
    int32_t AgeLimit;
    uint32_t NumberOfBuffers;
    uint32_t FreeBuffers;
    uint32_t EventsLost;
    uint32_t BuffersWritten;
    uint32_t LogBuffersLost;
    uint32_t RealTimeBuffersLost;
    void* LoggerThreadId;
    uint32_t LogFileNameOffset;
    uint32_t LoggerNameOffset;
};
static_assert(sizeof(EVENT_TRACE_PROPERTIES) == 120, "the names follow the block at offset 120");

struct _TRACE_LOGFILE_HEADER {
    uint32_t BufferSize;
    uint32_t Version;
    uint32_t ProviderVersion;
    uint32_t NumberOfProcessors;
    int64_t EndTime;
    uint32_t TimerResolution;
    uint32_t MaximumFileSize;
    uint32_t LogFileMode;
    uint32_t BuffersWritten;
    uint32_t StartBuffers;
    uint32_t PointerSize;
    uint32_t EventsLost;
    uint32_t CpuSpeedInMHz;
    int64_t BootTime;
    int64_t PerfFreq;
    int64_t StartTime;
    uint32_t ReservedFlags;
    uint32_t BuffersLost;
};
using TRACE_LOGFILE_HEADER = _TRACE_LOGFILE_HEADER;

struct _EVENT_TRACE_LOGFILEA;
using PEVENT_RECORD_CALLBACK = void (*)(_EVENT_RECORD*);
using PEVENT_TRACE_BUFFER_CALLBACKA = uint32_t (*)(_EVENT_TRACE_LOGFILEA*);

// What replay needs to open a file: its name, the mode, the callback. OpenTraceA fills LogfileHeader.
struct _EVENT_TRACE_LOGFILEA {
    char* LogFileName;
    char* LoggerName;
    int64_t CurrentTime;
    uint32_t BuffersRead;
    union {
        uint32_t LogFileMode;
        uint32_t ProcessTraceMode;
    };
    _TRACE_LOGFILE_HEADER LogfileHeader;
    PEVENT_TRACE_BUFFER_CALLBACKA BufferCallback;
    uint32_t BufferSize;
    uint32_t Filled;
    uint32_t EventsLost;
    PEVENT_RECORD_CALLBACK EventRecordCallback;
    uint32_t IsKernelTrace;
    void* Context;
};
using EVENT_TRACE_LOGFILEA = _EVENT_TRACE_LOGFILEA;

struct _TRACE_PROVIDER_INFO {
    _GUID ProviderGuid;
    uint32_t SchemaSource;
    uint32_t ProviderNameOffset;  // from the start of the enumeration buffer, to a 16-bit text
};
using TRACE_PROVIDER_INFO = _TRACE_PROVIDER_INFO;

struct _PROVIDER_ENUMERATION_INFO {
    uint32_t NumberOfProviders;
    uint32_t Reserved;
    _TRACE_PROVIDER_INFO TraceProviderInfoArray[1];
};
using PROVIDER_ENUMERATION_INFO = _PROVIDER_ENUMERATION_INFO;

struct _OSVERSIONINFOEXA {
    uint32_t dwOSVersionInfoSize;
    uint32_t dwMajorVersion;
    uint32_t dwMinorVersion;
    uint32_t dwBuildNumber;
    uint32_t dwPlatformId;
    char szCSDVersion[128];
    uint16_t wServicePackMajor;
    uint16_t wServicePackMinor;
    uint16_t wSuiteMask;
    uint8_t wProductType;
    uint8_t wReserved;
};
using OSVERSIONINFOEXA = _OSVERSIONINFOEXA;

struct _DISPLAY_DEVICEA {
    uint32_t cb;
    char DeviceName[32];
    char DeviceString[128];
    uint32_t StateFlags;
    char DeviceID[128];
    char DeviceKey[128];
};
using DISPLAY_DEVICEA = _DISPLAY_DEVICEA;

struct tagVS_FIXEDFILEINFO {
    uint32_t dwSignature;
    uint32_t dwStrucVersion;
    uint32_t dwFileVersionMS;
    uint32_t dwFileVersionLS;
    uint32_t dwProductVersionMS;
    uint32_t dwProductVersionLS;
    uint32_t dwFileFlagsMask;
    uint32_t dwFileFlags;
    uint32_t dwFileOS;
    uint32_t dwFileType;
    uint32_t dwFileSubtype;
    uint32_t dwFileDateMS;
    uint32_t dwFileDateLS;
};
using VS_FIXEDFILEINFO = tagVS_FIXEDFILEINFO;

// Statuses the tracing, registry and error-text services answer with.
constexpr unsigned long ERROR_SUCCESS = 0;
constexpr unsigned long ERROR_FILE_NOT_FOUND = 2;
constexpr unsigned long ERROR_ACCESS_DENIED = 5;
constexpr unsigned long ERROR_NOT_ENOUGH_MEMORY = 8;
constexpr unsigned long ERROR_INVALID_DATA = 13;
constexpr unsigned long ERROR_HANDLE_EOF = 38;
constexpr unsigned long ERROR_NOT_SUPPORTED = 50;
constexpr unsigned long ERROR_INVALID_PARAMETER = 87;
constexpr unsigned long ERROR_DISK_FULL = 112;
constexpr unsigned long ERROR_INSUFFICIENT_BUFFER = 122;
constexpr unsigned long ERROR_MOD_NOT_FOUND = 126;
constexpr unsigned long ERROR_PROC_NOT_FOUND = 127;
constexpr unsigned long ERROR_ALREADY_EXISTS = 183;
constexpr unsigned long ERROR_MORE_DATA = 234;
constexpr unsigned long ERROR_ARITHMETIC_OVERFLOW = 534;
constexpr unsigned long ERROR_FILE_CORRUPT = 1392;
constexpr unsigned long ERROR_UNSUPPORTED_TYPE = 1630;
constexpr unsigned long ERROR_WMI_INSTANCE_NOT_FOUND = 4201;

constexpr uint32_t EVENT_TRACE_CONTROL_QUERY = 0;
constexpr uint32_t EVENT_TRACE_CONTROL_STOP = 1;
constexpr uint32_t EVENT_TRACE_CONTROL_FLUSH = 3;
constexpr uint32_t EVENT_CONTROL_CODE_DISABLE_PROVIDER = 0;
constexpr uint32_t EVENT_CONTROL_CODE_ENABLE_PROVIDER = 1;
constexpr uint32_t EVENT_CONTROL_CODE_CAPTURE_STATE = 2;
constexpr uint8_t TRACE_LEVEL_INFORMATION = 4;
constexpr uint32_t WNODE_FLAG_TRACED_GUID = 0x20000;
constexpr uint32_t EVENT_TRACE_FILE_MODE_SEQUENTIAL = 1;
constexpr uint32_t PROCESS_TRACE_MODE_RAW_TIMESTAMP = 0x1000;
constexpr uint32_t PROCESS_TRACE_MODE_EVENT_RECORD = 0x10000000;
constexpr uint64_t INVALID_PROCESSTRACE_HANDLE = ~uint64_t{0};
