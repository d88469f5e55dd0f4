// The running executable, files, the dynamic loader and error texts on Linux.

#include <dlfcn.h>
#include <errno.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vector>

#include "platform/PlatformOs.h"

namespace pwr {
namespace platform {
namespace os {

namespace {

// strerror_r comes in two shapes (GNU returns the text, POSIX fills the buffer); take either.
[[maybe_unused]] const char* pickErrorText(const char* gnuResult, const char*) {
    return gnuResult;
}
[[maybe_unused]] const char* pickErrorText(int posixResult, const char* buffer) {
    return posixResult == 0 ? buffer : nullptr;
}

// The loader's reason for the last failure, or a fallback when it has none.
std::string loaderError(const char* fallback) {
    const char* text = dlerror();
    return text != nullptr ? std::string(text) : std::string(fallback);
}

}  // namespace

char nativeSeparator() {
    return '/';
}

bool readModulePath(std::string& nativePath, int& error) {
    // The link's length is not known ahead: grow until it fits with room to spare.
    std::vector<char> buffer(256);
    for (;;) {
        ssize_t length = readlink("/proc/self/exe", buffer.data(), buffer.size());
        if (length < 0) {
            error = errno;
            return false;
        }
        if (static_cast<size_t>(length) < buffer.size()) {
            nativePath.assign(buffer.data(), static_cast<size_t>(length));
            return true;
        }
        buffer.resize(buffer.size() * 2);
    }
}

bool fileExists(const std::string& nativePath) {
    struct stat info {};
    return stat(nativePath.c_str(), &info) == 0 && !S_ISDIR(info.st_mode);
}

std::string joinPath(const std::string& directory, const std::string& name) {
    if (directory.empty() || directory.back() == '/') {
        return directory + name;
    }
    return directory + '/' + name;
}

void* openLibraryFile(const std::string& nativePath, std::string& error) {
    void* handle = dlopen(nativePath.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        error = loaderError("cannot open library");
    }
    return handle;
}

void* findLibrarySymbol(void* library, const char* symbol, std::string& error) {
    dlerror();  // a null symbol value is only an error if the loader says so
    void* address = dlsym(library, symbol);
    if (address == nullptr) {
        error = loaderError("symbol has a null address");
    }
    return address;
}

bool closeLibraryHandle(void* library, std::string& error) {
    if (dlclose(library) != 0) {
        error = loaderError("cannot close library");
        return false;
    }
    return true;
}

std::string errorText(int code) {
    char buffer[256];  // strerror_r's scratch space only; the text is copied out whole
    const char* text = pickErrorText(strerror_r(code, buffer, sizeof buffer), buffer);
    if (text == nullptr) {
        return "Unknown error " + std::to_string(code);
    }
    return text;
}

}  // namespace os
}  // namespace platform
}  // namespace pwr
