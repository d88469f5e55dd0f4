// Lifecycle of one trace session: properties, start, providers, flush, stop, replay.

#include "vantrell/trace/EtwSession.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <stdexcept>

#include "vantrell/platform/Platform.h"
#include "vantrell/platform/TraceFacility.h"
#include "vantrell/plugin/Logging.h"
#include "vantrell/support/OsInfo.h"

namespace {

constexpr unsigned long long kInvalidReplay = ~0ULL;

std::string guidText(const _GUID& g) {
    char text[40];
    std::snprintf(text, sizeof(text), "%08lx-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x",
                  static_cast<unsigned long>(g.Data1), g.Data2, g.Data3, g.Data4[0], g.Data4[1], g.Data4[2],
                  g.Data4[3], g.Data4[4], g.Data4[5], g.Data4[6], g.Data4[7]);
    return text;
}

// Names for messages only.
const char* knownProviderName(const std::string& text) {
    static const std::map<std::string, const char*> known = {
        {"e4383c64-17ab-455d-8126-63a0d28e9fa3", "DorvexPowerDataProvider"},
        {"83e4e697-5b98-48ff-a243-03369be1b347", "DorvexCsIrDataProvider"},
        {"50288369-5da7-4789-950f-32842b910422", "DorvexPowerCollectionMetadataProvider"},
        {"331c3b3a-2005-44c2-ac5e-77220c37d6b4", "Microsoft-Windows-Kernel-Power"},
        {"a6bf0deb-3659-40ad-9f81-e25af62ce3c7", "Microsoft-Windows-PDC"},
        {"c514638f-7723-485b-bcfc-96565d735d4a", "Microsoft-Windows-Kernel-Acpi"},
        {"5412704e-b2e1-4624-8ffd-55777b8f7373", "Microsoft-Windows-Kernel-Pep"},
        {"ddcc3826-a68a-4e0d-bcfd-9c06c27c6948", "Microsoft-Windows-Energy-Estimation-Engine"},
        {"1418ef04-b0b4-4623-bf7e-d74ab47bbdaa", "Microsoft-Windows-WMI-Activity"},
        {"59819d0a-adaf-46b2-8d7c-990bc39c7c15", "Microsoft-Windows-Battery"},
    };
    auto found = known.find(text);
    return found != known.end() ? found->second : nullptr;
}

size_t blockSize(const std::string& sessionName, const std::string& logFileName) {
    return 122 + sessionName.size() + logFileName.size();
}

// The head of a properties block as both setEventTraceProperties and queryLostEvents fill it.
EVENT_TRACE_PROPERTIES* newBlock(const std::string& sessionName, const std::string& logFileName,
                                 const std::vector<_GUID>& providers) {
    size_t size = blockSize(sessionName, logFileName);
    auto* block = static_cast<EVENT_TRACE_PROPERTIES*>(pwr::safeMalloc(static_cast<unsigned int>(size)));
    std::memset(block, 0, size);
    block->Wnode.BufferSize = static_cast<uint32_t>(size);
    if (!providers.empty()) {  // without a provider the GUID stays zero rather than read past the vector
        block->Wnode.Guid = providers.front();
    }
    block->LogFileMode = EVENT_TRACE_FILE_MODE_SEQUENTIAL;
    block->MaximumFileSize = 0;
    block->LoggerNameOffset = 120;
    block->LogFileNameOffset = static_cast<uint32_t>(121 + sessionName.size());
    return block;
}

}  // namespace

EtwSession::EtwSession() = default;

EtwSession::EtwSession(std::string resultFile, std::string const& suffix, std::string const& name,
                       std::string const& display)
    : sessionName(name), displayName(display) {
    size_t dot = resultFile.rfind('.');
    if (dot == std::string::npos) {
        throw std::runtime_error("Issue with result file name");
    }
    size_t extension = resultFile.find(".etl", dot);
    if (extension == std::string::npos) {
        throw std::runtime_error("Issue with result file name");
    }
    logFileName = resultFile.insert(extension, suffix);
}

EtwSession::EtwSession(const EtwSession& other)
    : sessionName(other.sessionName),
      displayName(other.displayName),
      logFileName(other.logFileName),
      sessionHandle(other.sessionHandle),
      providers(other.providers),
      keywords(other.keywords) {
    // A shared block would be freed twice by the two end() calls.
    if (other.properties != nullptr) {
        size_t size = other.properties->Wnode.BufferSize;
        properties = static_cast<EVENT_TRACE_PROPERTIES*>(pwr::safeMalloc(static_cast<unsigned int>(size)));
        std::memcpy(properties, other.properties, size);
    }
}

EtwSession& EtwSession::operator=(const EtwSession& other) {
    if (this != &other) {
        EtwSession copy(other);
        std::swap(sessionName, copy.sessionName);
        std::swap(displayName, copy.displayName);
        std::swap(logFileName, copy.logFileName);
        std::swap(sessionHandle, copy.sessionHandle);
        std::swap(providers, copy.providers);
        std::swap(keywords, copy.keywords);
        std::swap(properties, copy.properties);
        copy.freeProperties_i();
    }
    return *this;
}

EtwSession::~EtwSession() = default;

void EtwSession::freeProperties_i() {
    std::free(properties);
    properties = nullptr;
}

void EtwSession::stopAfterFailure_i() {
    pwr::platform::traceFacility().controlTrace(sessionHandle, sessionName.c_str(), properties,
                                                EVENT_TRACE_CONTROL_STOP);
    freeProperties_i();
}

bool EtwSession::setEventTraceProperties() {
    return setEventTraceProperties(1024, 400, 2);
}

bool EtwSession::setEventTraceProperties(unsigned long bufferSizeKB, unsigned long maxBuffers,
                                         unsigned long minBuffers) {
    EVENT_TRACE_PROPERTIES* block = newBlock(sessionName, logFileName, providers);
    freeProperties_i();  // a second begin() would otherwise lose the first block
    properties = block;
    properties->Wnode.Flags = WNODE_FLAG_TRACED_GUID;
    properties->Wnode.ClientContext = 1;
    properties->BufferSize = static_cast<uint32_t>(bufferSizeKB);
    properties->MaximumBuffers = static_cast<uint32_t>(maxBuffers);
    properties->MinimumBuffers = static_cast<uint32_t>(minBuffers);
    char* name = reinterpret_cast<char*>(properties) + properties->LogFileNameOffset;
    std::memcpy(name, logFileName.c_str(), logFileName.size() + 1);
    return true;
}

bool EtwSession::begin() {
    if (!setEventTraceProperties()) {
        return false;
    }
    pwr::platform::TraceFacility& facility = pwr::platform::traceFacility();
    unsigned long status = facility.startTrace(&sessionHandle, sessionName.c_str(), properties);
    if (status == ERROR_ALREADY_EXISTS) {
        facility.controlTrace(0, sessionName.c_str(), properties, EVENT_TRACE_CONTROL_STOP);
        status = facility.startTrace(&sessionHandle, sessionName.c_str(), properties);
    }
    if (status != ERROR_SUCCESS) {
        std::string text = "Cannot start the trace " + logFileName + ". " + pwr::formatErrorMessage(status);
        if (status == ERROR_DISK_FULL) {
            text += " ETW requires at least 200MB disk space to start a trace.";
        } else if (status == ERROR_NOT_ENOUGH_MEMORY) {
            text +=
                " Try to use smaller buffer size using --etw-user[kernel]-buffers [size] [min] [max] "
                "option.\n";
        }
        VR_LOG(2, "WARNING: %s", text.c_str());
        freeProperties_i();
        return false;
    }
    for (size_t i = 0; i < providers.size(); ++i) {
        std::string text = guidText(providers[i]);
        const char* name = knownProviderName(text);
        if (name == nullptr) {
            std::string unknown =
                "(" + text + "). Use \"xperf -providers I\" to look up the provider name from the guid.";
            VR_LOG_AREA(4, "etw-session", "INFO: Starting trace for unknown provider %s\n", unknown.c_str());
        } else {
            VR_LOG_AREA(4, "etw-session", "INFO: Starting trace for provider %s (%s).\n", name, text.c_str());
        }
        status = facility.enableTraceEx2(sessionHandle, &providers[i], EVENT_CONTROL_CODE_ENABLE_PROVIDER,
                                         TRACE_LEVEL_INFORMATION, keywords[i], 0, 0, nullptr);
        if (status != ERROR_SUCCESS) {
            std::string message = "Cannot enable ETW event provider in the trace file " + logFileName + ". " +
                                  pwr::formatErrorMessage(status);
            VR_LOG(0, "%s\n", message.c_str());
            g_pluginEnvironment->queueMessage(message.c_str());
            stopAfterFailure_i();
            return false;
        }
        status = facility.enableTraceEx2(sessionHandle, &providers[i], EVENT_CONTROL_CODE_CAPTURE_STATE,
                                         TRACE_LEVEL_INFORMATION, keywords[i], 0, 0, nullptr);
        if (status != ERROR_SUCCESS) {
            VR_LOG(2, "WARNING: Cannot capture state of provider in the trace file %s. %s",
                   logFileName.c_str(), pwr::formatErrorMessage(status).c_str());
            stopAfterFailure_i();
            return false;
        }
    }
    return true;
}

bool EtwSession::flush() {
    unsigned long status = pwr::platform::traceFacility().controlTrace(sessionHandle, sessionName.c_str(),
                                                                       properties, EVENT_TRACE_CONTROL_FLUSH);
    if (status != ERROR_SUCCESS) {
        std::string text = "Unable verify that " + displayName + " is buffering events properly.";
        VR_LOG(2, "WARNING: %s", text.c_str());
        return false;
    }
    return true;
}

bool EtwSession::end() {
    if (sessionHandle == 0 || properties == nullptr) {
        return false;
    }
    if (!flush()) {
        return false;
    }
    pwr::platform::TraceFacility& facility = pwr::platform::traceFacility();
    for (const _GUID& provider : providers) {
        unsigned long status =
            facility.enableTraceEx2(sessionHandle, &provider, EVENT_CONTROL_CODE_DISABLE_PROVIDER,
                                    TRACE_LEVEL_INFORMATION, 0, 0, 0, nullptr);
        if (status != ERROR_SUCCESS) {
            VR_LOG(2, "WARNING: Cannot disable the trace. %s", pwr::formatErrorMessage(status).c_str());
            return false;
        }
    }
    unsigned long status =
        facility.controlTrace(sessionHandle, sessionName.c_str(), properties, EVENT_TRACE_CONTROL_STOP);
    if (status != ERROR_SUCCESS) {
        VR_LOG(2, "WARNING: Cannot stop the trace. %s", pwr::formatErrorMessage(status).c_str());
        return false;
    }
    freeProperties_i();
    return true;
}

unsigned long EtwSession::queryLostEvents() {
    EVENT_TRACE_PROPERTIES* block = newBlock(sessionName, logFileName, providers);
    unsigned long status = pwr::platform::traceFacility().controlTrace(sessionHandle, sessionName.c_str(),
                                                                       block, EVENT_TRACE_CONTROL_QUERY);
    unsigned long lost = status == ERROR_SUCCESS ? block->EventsLost : ULONG_MAX;
    std::free(block);
    return lost;
}

_EVENT_TRACE_LOGFILEA EtwSession::setLogfileCallback() {
    _EVENT_TRACE_LOGFILEA logfile{};
    logfile.LogFileName = const_cast<char*>(logFileName.c_str());
    logfile.ProcessTraceMode = PROCESS_TRACE_MODE_EVENT_RECORD | PROCESS_TRACE_MODE_RAW_TIMESTAMP;
    return logfile;
}

unsigned long long EtwSession::preparepostProcessLog() {
    VR_LOG(0, " Processing ETW data for %s.\n", displayName.c_str());
    pwr::platform::TraceFacility& facility = pwr::platform::traceFacility();
    _EVENT_TRACE_LOGFILEA logfile = setLogfileCallback();
    sessionHandle = facility.openTrace(&logfile);
    if (sessionHandle == INVALID_PROCESSTRACE_HANDLE) {
        VR_LOG(0, "FATAL: Cannot open the ETW data file for %s: %s. %s", displayName.c_str(),
               logFileName.c_str(), pwr::platform::getLastErrorText().c_str());
        return kInvalidReplay;
    }
    if (logfile.LogfileHeader.EventsLost != 0) {
        VR_LOG(0, "FATAL: Warning: Lost events detected (%llu) in %s.\n",
               static_cast<unsigned long long>(logfile.LogfileHeader.EventsLost), logFileName.c_str());
    }
    if (logfile.LogfileHeader.PointerSize == 8) {
        return sessionHandle;
    }
    VR_LOG(2,
           "WARNING: Using -i option on a 64-bit version for logs collected using a 32-bit version might "
           "result in "
           "unpredictable behavior.\n");
    facility.closeTrace(sessionHandle);  // nobody else will close it
    return kInvalidReplay;
}

bool EtwSession::postProcessLog() {
    unsigned long long handle = preparepostProcessLog();
    if (handle == kInvalidReplay) {
        return false;
    }
    pwr::platform::TraceFacility& facility = pwr::platform::traceFacility();
    uint64_t handles[1] = {handle};
    unsigned long status = facility.processTrace(handles, 1, nullptr, nullptr);
    facility.closeTrace(handle);
    if (status == ERROR_SUCCESS) {
        return true;
    }
    VR_LOG(2, "WARNING: Cannot process the trace file %s. %s", displayName.c_str(),
           pwr::formatErrorMessage(status).c_str());
    return false;
}

void EtwSession::addProvider(_GUID provider, unsigned long long mask) {
    for (size_t i = 0; i < providers.size(); ++i) {
        if (providers[i] == provider) {
            keywords[i] |= mask;
            return;
        }
    }
    providers.push_back(provider);
    keywords.push_back(mask);
}

bool EtwSession::hasAnyProvider() {
    return !providers.empty();
}
