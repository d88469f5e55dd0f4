// Joining the trace files of a run: the process-wide merge list and the merge thread.

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <system_error>
#include <thread>

#include "vantrell/platform/Platform.h"
#include "vantrell/platform/TraceFacility.h"
#include "vantrell/plugin/Logging.h"
#include "vantrell/support/OsInfo.h"
#include "vantrell/trace/EtwSession.h"

namespace {

std::vector<std::string>& mergeFiles() {
    static std::vector<std::string> suffixes;
    return suffixes;
}

std::unique_ptr<std::thread>& mergeHandle() {
    static std::unique_ptr<std::thread> handle;
    return handle;
}

// `target` with `suffix` inserted ahead of its first ".etl" (at its end when there is none, rather than
// throwing on the merge thread).
std::string withSuffix(const std::string& target, const std::string& suffix) {
    std::string name = target;
    size_t at = name.find(".etl");
    name.insert(at == std::string::npos ? name.size() : at, suffix);
    return name;
}

}  // namespace

void EtwSession::addMergeFile(std::string const& suffix) {
    mergeFiles().push_back(suffix);
}

bool EtwSession::isMergeRequired() {
    return !mergeFiles().empty();
}

bool EtwSession::mergeLogs(std::string const& target) {
    std::unique_ptr<std::thread>& handle = mergeHandle();
    if (handle && handle->joinable()) {
        handle->detach();  // overwriting a running std::thread would end the process
    }
    try {
        handle = std::make_unique<std::thread>(&EtwSession::mergeThread,
                                               static_cast<void*>(const_cast<char*>(target.c_str())));
    } catch (const std::system_error&) {
        handle.reset();
    }
    return handle != nullptr;
}

void EtwSession::waitForMergeComplete() {
    std::unique_ptr<std::thread>& handle = mergeHandle();
    if (!handle) {
        return;
    }
    VR_LOG(0, "Waiting for merge to complete.\n");
    if (handle->joinable()) {
        handle->join();
    }
    handle.reset();
}

unsigned long EtwSession::mergeThread(void* target) {
    std::string name(static_cast<const char*>(target));
    pwr::platform::TraceFacility& facility = pwr::platform::traceFacility();
    unsigned long error = ERROR_SUCCESS;
    void* library =
        facility.loadLibrary(g_pluginEnvironment->getVantrellDirectory() + "KernelTraceControl.dll", error);
    if (library == nullptr) {
        VR_LOG(2, "WARNING: Unable to merge trace files because LoadLibrary() failed.\n");
        return error;
    }
    auto merge = reinterpret_cast<pwr::platform::CreateMergedTraceFileFn>(
        facility.getProcAddress(library, "CreateMergedTraceFile"));
    std::vector<std::u16string> inputs;
    for (const std::string& suffix : mergeFiles()) {
        inputs.push_back(pwr::stringToWstring(withSuffix(name, suffix)));
    }
    std::vector<const char16_t*> inputNames;
    for (const std::u16string& input : inputs) {
        inputNames.push_back(input.c_str());
    }
    std::string output = withSuffix(name, "_Capture");
    VR_LOG(0, "Merging ETW files to \"%s\" started.\n", output.c_str());
    std::u16string wideOutput = pwr::stringToWstring(output);
    // A library without the entry point answers as a missing procedure rather than a jump to null.
    unsigned long result = merge != nullptr ? merge(wideOutput.c_str(), inputNames.data(),
                                                    static_cast<unsigned long>(inputNames.size()), ~0UL)
                                            : ERROR_PROC_NOT_FOUND;
    facility.freeLibrary(library);
    if (result != ERROR_SUCCESS) {
        VR_LOG(2, "WARNING: Trace merge experienced an unknown error. (%lu: %s)\n", result,
               pwr::platform::getLastErrorText().c_str());
    }
    return result;
}

bool EtwSession::getGuidForProvider(const char16_t* name, _GUID* out) {
    pwr::platform::TraceFacility& facility = pwr::platform::traceFacility();
    PROVIDER_ENUMERATION_INFO* list = nullptr;
    unsigned long size = 0;
    unsigned long status = facility.enumerateProviders(list, &size);
    while (status == ERROR_INSUFFICIENT_BUFFER) {
        auto* grown = static_cast<PROVIDER_ENUMERATION_INFO*>(std::realloc(list, size));
        if (grown == nullptr) {
            VR_LOG(2, "WARNING: Allocation failed (size=%lu).\n", size);
            std::free(list);
            return false;
        }
        list = grown;
        status = facility.enumerateProviders(list, &size);
    }
    if (status == ERROR_SUCCESS && list == nullptr) {
        VR_LOG(2, "WARNING: TdhEnumerateProvider PROVIDER_ENUMERATION_INFO is NULL.\n");
        return false;
    }
    if (status != ERROR_SUCCESS) {
        VR_LOG(2, "WARNING: TdhEnumerateProviders failed with %lu.\n", status);
        std::free(list);
        return false;
    }
    std::u16string wanted = name != nullptr ? std::u16string(name) : std::u16string();
    const auto* bytes = reinterpret_cast<const uint8_t*>(list);
    bool found = false;
    for (uint32_t i = 0; name != nullptr && !found && i < list->NumberOfProviders; ++i) {
        TRACE_PROVIDER_INFO info;
        std::memcpy(&info,
                    bytes + offsetof(PROVIDER_ENUMERATION_INFO, TraceProviderInfoArray) + i * sizeof(info),
                    sizeof(info));
        const auto* text = reinterpret_cast<const char16_t*>(bytes + info.ProviderNameOffset);
        if (std::u16string(text) == wanted) {
            *out = info.ProviderGuid;
            found = true;
        }
    }
    std::free(list);
    return found;
}
