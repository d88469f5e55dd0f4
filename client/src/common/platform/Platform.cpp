// The system-independent half of the platform seam: path forms, the library search path, the
// per-thread last error and the replaceable module path. The system calls are in PlatformOs.h.

#include "vantrell/platform/Platform.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <mutex>

#include "platform/PlatformOs.h"

namespace pwr {
namespace platform {

namespace {

// A failed seam call leaves either an error number or the loader's own words.
struct LastError {
    int code = 0;
    bool hasText = false;
    std::string text;
};

thread_local LastError t_lastError;

void setLastErrorText(std::string text) {
    t_lastError.hasText = true;
    t_lastError.text = std::move(text);
}

struct SearchPath {
    std::mutex lock;
    std::string libraryDirectory;
    std::vector<std::string> addedDirectories;
};

SearchPath& searchPath() {
    static SearchPath instance;
    return instance;
}

std::atomic<ModulePathHook> g_modulePathHook{nullptr};

std::string replaceAll(std::string text, char from, char to) {
    std::replace(text.begin(), text.end(), from, to);
    return text;
}

// The directories to look in, in order, copied out so that no lock is held while loading.
std::vector<std::string> searchDirectories() {
    SearchPath& path = searchPath();
    std::lock_guard<std::mutex> guard(path.lock);
    std::vector<std::string> directories;
    if (!path.libraryDirectory.empty()) {
        directories.push_back(path.libraryDirectory);
    }
    directories.insert(directories.end(), path.addedDirectories.begin(), path.addedDirectories.end());
    return directories;
}

void* openOrRecord(const std::string& nativePath) {
    std::string error;
    void* handle = os::openLibraryFile(nativePath, error);
    if (handle == nullptr) {
        setLastErrorText(std::move(error));
    }
    return handle;
}

}  // namespace

uint64_t readTimeStampCounter() {
    return os::readTimeStampCounter();
}
uint64_t readPerformanceCounter() {
    return os::readPerformanceCounter();
}
uint64_t getPerformanceFrequency() {
    return os::performanceFrequency();
}
uint64_t readPreciseFileTime() {
    return os::readPreciseFileTime();
}

std::string toStoredPath(const std::string& nativePath) {
    return replaceAll(nativePath, os::nativeSeparator(), os::kStoredSeparator);
}

std::string toNativePath(const std::string& storedPath) {
    return replaceAll(storedPath, os::kStoredSeparator, os::nativeSeparator());
}

bool getModuleFileName(std::string& storedPath) {
    std::string nativePath;
    ModulePathHook hook = g_modulePathHook.load();
    if (hook != nullptr) {
        if (!hook(nativePath)) {
            return false;
        }
    } else {
        int error = 0;
        if (!os::readModulePath(nativePath, error)) {
            setLastError(error);
            return false;
        }
    }
    storedPath = toStoredPath(nativePath);
    return true;
}

ModulePathHook setModulePathHook(ModulePathHook hook) {
    return g_modulePathHook.exchange(hook);
}

bool setLibraryDirectory(const std::string& storedDirectory) {
    SearchPath& path = searchPath();
    std::lock_guard<std::mutex> guard(path.lock);
    path.libraryDirectory = toNativePath(storedDirectory);
    return true;
}

bool addLibraryDirectory(const std::u16string& storedDirectory) {
    std::string narrow;
    narrow.reserve(storedDirectory.size());
    for (char16_t unit : storedDirectory) {
        if (unit > 0xff) {
            setLastError(EINVAL);
            return false;
        }
        narrow.push_back(static_cast<char>(static_cast<unsigned char>(unit)));
    }
    if (narrow.empty()) {
        setLastError(EINVAL);
        return false;
    }
    std::string native = toNativePath(narrow);
    SearchPath& path = searchPath();
    std::lock_guard<std::mutex> guard(path.lock);
    std::vector<std::string>& added = path.addedDirectories;
    if (std::find(added.begin(), added.end(), native) == added.end()) {
        added.push_back(std::move(native));
    }
    return true;
}

std::string getLibraryDirectory() {
    SearchPath& path = searchPath();
    std::lock_guard<std::mutex> guard(path.lock);
    return path.libraryDirectory;
}

std::vector<std::string> getAddedLibraryDirectories() {
    SearchPath& path = searchPath();
    std::lock_guard<std::mutex> guard(path.lock);
    return path.addedDirectories;
}

void resetLibrarySearchPath() {
    SearchPath& path = searchPath();
    std::lock_guard<std::mutex> guard(path.lock);
    path.libraryDirectory.clear();
    path.addedDirectories.clear();
}

void* openLibrary(const std::string& name) {
    std::string native = toNativePath(name);
    if (native.empty()) {
        setLastError(EINVAL);
        return nullptr;
    }
    if (native.find(os::nativeSeparator()) == std::string::npos) {
        for (const std::string& directory : searchDirectories()) {
            std::string candidate = os::joinPath(directory, native);
            if (os::fileExists(candidate)) {
                return openOrRecord(candidate);
            }
        }
    }
    return openOrRecord(native);
}

void* findSymbol(void* library, const char* symbol) {
    if (library == nullptr || symbol == nullptr) {
        setLastError(EINVAL);
        return nullptr;
    }
    std::string error;
    void* address = os::findLibrarySymbol(library, symbol, error);
    if (address == nullptr) {
        setLastErrorText(std::move(error));
    }
    return address;
}

bool closeLibrary(void* library) {
    if (library == nullptr) {
        setLastError(EINVAL);
        return false;
    }
    std::string error;
    if (!os::closeLibraryHandle(library, error)) {
        setLastErrorText(std::move(error));
        return false;
    }
    return true;
}

void setLastError(int code) {
    t_lastError.code = code;
    t_lastError.hasText = false;
    t_lastError.text.clear();
}

std::string getLastErrorText() {
    if (t_lastError.hasText) {
        return t_lastError.text;
    }
    return os::errorText(t_lastError.code);
}

}  // namespace platform
}  // namespace pwr
