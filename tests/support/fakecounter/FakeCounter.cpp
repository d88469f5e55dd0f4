// A stand-in for the counter library: the five entry points answer with statuses that a test sets
// through fakeCounterSetStatus, and count their calls. The partial build has only the configuration
// entry point, to test a library that lacks the others.

#include <cstdint>
#include <cstring>

namespace {

int32_t g_configStatus = 0;
[[maybe_unused]] int32_t g_startStatus = 0;
[[maybe_unused]] int32_t g_stopStatus = 0;
[[maybe_unused]] int32_t g_versionStatus = 0;
int g_calls = 0;
char g_lastConfigFile[256] = "";
[[maybe_unused]] char g_errorText[] = "fake counters unavailable";

}  // namespace

extern "C" {

__attribute__((visibility("default"))) void fakeCounterSetStatus(const char* entry, int32_t status) {
    if (std::strcmp(entry, "config") == 0) {
        g_configStatus = status;
    } else if (std::strcmp(entry, "start") == 0) {
        g_startStatus = status;
    } else if (std::strcmp(entry, "stop") == 0) {
        g_stopStatus = status;
    } else if (std::strcmp(entry, "version") == 0) {
        g_versionStatus = status;
    }
}

// The number of entry point calls so far, and the file name the last configuration was given.
__attribute__((visibility("default"))) int fakeCounterCalls() {
    return g_calls;
}
__attribute__((visibility("default"))) const char* fakeCounterLastConfigFile() {
    return g_lastConfigFile;
}

__attribute__((visibility("default"))) int32_t KESTREL_Config_Event(const char* fileName) {
    ++g_calls;
    std::strncpy(g_lastConfigFile, fileName, sizeof(g_lastConfigFile) - 1);
    return g_configStatus;
}

#if FAKE_COUNTER_FULL
__attribute__((visibility("default"))) int32_t KESTREL_Get_Error_Message(int32_t, char** text) {
    ++g_calls;
    *text = g_errorText;
    return 0;
}

__attribute__((visibility("default"))) int32_t KESTREL_Get_Version(uint32_t* major, uint32_t* minor,
                                                                   uint32_t* patch) {
    ++g_calls;
    *major = 3;
    *minor = 14;
    *patch = 15;
    return g_versionStatus;
}

__attribute__((visibility("default"))) int32_t KESTREL_Start_Collection() {
    ++g_calls;
    return g_startStatus;
}

__attribute__((visibility("default"))) int32_t KESTREL_Stop_Collection() {
    ++g_calls;
    return g_stopStatus;
}
#endif

}  // extern "C"
