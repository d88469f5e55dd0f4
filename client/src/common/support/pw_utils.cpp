// Paths, strings, files, scope timers and the pw_ wrappers of the C runtime.

#include "vantrell/support/PwUtils.h"

#include <cpuid.h>
#include <errno.h>
#include <fcntl.h>
#include <glob.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>

#include "vantrell/platform/Platform.h"
#include "vantrell/plugin/Logging.h"

namespace pwr {
namespace {

constexpr char kStoredSeparator = '\\';

// strerror_r comes in two shapes (GNU returns the text, POSIX fills the buffer); take either.
[[maybe_unused]] const char* pickErrorText(const char* gnuResult, const char*) {
    return gnuResult;
}
[[maybe_unused]] const char* pickErrorText(int posixResult, const char* buffer) {
    return posixResult == 0 ? buffer : nullptr;
}

std::string errorText(int error) {
    char buffer[256];
    const char* text = pickErrorText(strerror_r(error, buffer, sizeof(buffer)), buffer);
    return text != nullptr ? std::string(text) : std::string();
}

std::string nativePath(const char* path) {
    return platform::toNativePath(path != nullptr ? path : "");
}

// Creates one directory of a path; an existing one is fine.
bool makeDirectory_i(const std::string& storedPrefix) {
    int result = ::mkdir(platform::toNativePath(storedPrefix).c_str(), 0777);
    if (result == 0 || errno == EEXIST) {
        return true;
    }
    VR_LOG(2, "WARNING: CreateDirectoryA returned error: %d, Last Error: %d\n", result, errno);
    return false;
}

// Expands a pattern the way a shell's ls would list it; no match is no error.
void expandPattern_i(const std::string& pattern, std::deque<std::string>& paths) {
    glob_t found{};
    if (::glob(platform::toNativePath(pattern).c_str(), 0, nullptr, &found) == 0) {
        for (size_t i = 0; i < found.gl_pathc; ++i) {
            paths.emplace_back(found.gl_pathv[i]);
        }
    }
    ::globfree(&found);
}

}  // namespace

// ---- PathOps and StringOps ------------------------------------------------------------------------------

const std::string PathOps::m_pathSeparator(1, kStoredSeparator);

std::string PathOps::getPathSeparator() {
    return m_pathSeparator;
}

std::string PathOps::normalizePathSeparator(std::string const& path) {
    std::string copy(path);
    std::replace(copy.begin(), copy.end(), '/', kStoredSeparator);
    return copy;
}

std::string PathOps::getFilenameFromPath(std::string const& path) {
    std::string normal = normalizePathSeparator(path);
    size_t last = normal.rfind(kStoredSeparator);
    if (last == std::string::npos || last + 1 >= normal.size()) {
        return std::string();
    }
    return normal.substr(last + 1);
}

std::string& StringOps::replaceChars(std::string& text, std::vector<char> const& chars, char const& with) {
    for (char c : chars) {
        std::replace(text.begin(), text.end(), c, with);
    }
    return text;
}

std::string StringOps::getSubString(std::string const& text, std::string const& needle) {
    size_t at = text.find(needle);
    return at == std::string::npos ? text : text.substr(at);
}

bool StringOps::containsAny(std::string const& text, std::vector<std::string> const& needles) {
    return std::any_of(needles.begin(), needles.end(),
                       [&text](const std::string& needle) { return text.find(needle) != std::string::npos; });
}

// ---- Timer ----------------------------------------------------------------------------------------------

namespace {
double nowMicroseconds() {
    return static_cast<double>(platform::readPreciseFileTime()) / 10.0;
}
}  // namespace

Timer::Timer(std::string const& timerName)
    : name(timerName), elapsedMicroseconds(-nowMicroseconds()), result(nullptr) {}

Timer::Timer(double* resultPointer) : elapsedMicroseconds(-nowMicroseconds()), result(resultPointer) {}

Timer::~Timer() {
    elapsedMicroseconds += nowMicroseconds();
    if (!name.empty()) {
        VR_LOG(4, "INFO: Total time elapsed during %s = %.2f usecs or %.2f secs\n", name.c_str(),
               elapsedMicroseconds, elapsedMicroseconds / 1000000.0);
    }
    if (result != nullptr) {
        *result = elapsedMicroseconds;
    }
}

// ---- Free functions -------------------------------------------------------------------------------------

std::string getDosPath(std::string const& path) {
    return PathOps::normalizePathSeparator(path);
}

int mkpath(std::string const& path) {
    std::string normal = PathOps::normalizePathSeparator(path);
    size_t separator = normal.find(kStoredSeparator);
    if (separator == std::string::npos) {
        return 0;
    }
    if (normal.rfind(':', separator) != std::string::npos) {
        separator = normal.find(kStoredSeparator, separator + 1);  // a drive isn't made
    }
    for (; separator != std::string::npos; separator = normal.find(kStoredSeparator, separator + 1)) {
        // An empty prefix is the root of an absolute path, which exists.
        if (separator != 0 && !makeDirectory_i(normal.substr(0, separator))) {
            return -1;
        }
    }
    return 0;
}

bool isDir(std::string const& path) {
    struct stat info {};
    if (::stat(platform::toNativePath(path).c_str(), &info) != 0) {
        int error = errno;
        VR_LOG(2, "WARNING: stat error in isDir for file %s: %s\n", path.c_str(), errorText(error).c_str());
        return false;
    }
    return S_ISDIR(info.st_mode);
}

char* vr_strndup(char const* text, size_t length) {
    if (text == nullptr || length == SIZE_MAX) {
        return nullptr;
    }
    char* copy = static_cast<char*>(std::malloc(length + 1));
    if (copy != nullptr) {
        std::memcpy(copy, text, length);
        copy[length] = '\0';
    }
    return copy;
}

void getCpuid(unsigned leaf, unsigned* a, unsigned* b, unsigned* c, unsigned* d) {
    unsigned ra = 0, rb = 0, rc = 0, rd = 0;
    __cpuid_count(leaf, 0, ra, rb, rc, rd);
    *a = ra;
    *b = rb;
    *c = rc;
    *d = rd;
}

unsigned getPCIAddress(unsigned long bus, unsigned long device) {
    return static_cast<unsigned>(((bus << 8 | device) << 8) | 0x100000f0UL);
}

std::string getUpperCaseString(std::string const& text) {
    std::string upper(text);
    for (char& c : upper) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return upper;
}

std::string getMetricTag(std::string name) {
    name = getUpperCaseString(name);
    std::replace(name.begin(), name.end(), ' ', '-');
    return name;
}

bool openFileHandle(FILE** file, char const* path, char const* mode) {
    if (file == nullptr || path == nullptr || mode == nullptr) {
        return false;
    }
    *file = nullptr;
    if (mode[0] == 'w' || mode[0] == 'a') {
        if (mkpath(path) != 0) {
            VR_LOG(2, "WARNING: Error creating file: %s!\n", path);
            return false;
        }
    } else if (mode[0] != 'r') {
        return false;
    }
    *file = std::fopen(nativePath(path).c_str(), mode);
    if (*file == nullptr) {
        int error = errno;
        VR_LOG(2, "WARNING: Failed to open file: %s, errnum: %d, error: %s\n", path, error,
               errorText(error).c_str());
        return false;
    }
    return true;
}

bool doGlob(std::string const& pattern, std::deque<std::string>& paths) {
    std::string trimmed(pattern);
    trimmed.erase(std::remove(trimmed.begin(), trimmed.end(), '"'), trimmed.end());
    VR_LOG(4, "%s", ("Glob: original path = " + pattern + ", trimmed path = " + trimmed).c_str());
    if (trimmed.empty()) {
        return false;
    }
    if (trimmed.find_first_of("*[]^") != std::string::npos) {
        std::string command = "ls 2>/dev/null " + trimmed;
        VR_LOG(4, "%s", ("Glob is executing command: " + command).c_str());
        expandPattern_i(trimmed, paths);
        return true;
    }
    paths.push_back(trimmed);
    return true;
}

int pw_open(int& fd, char const* path, int flags) {
    fd = ::open(nativePath(path).c_str(), flags, S_IRUSR | S_IWUSR);
    if (fd < 0) {
        int error = errno;
        VR_LOG(2, "WARNING: Failed to open file: %s, errnum: %d, error: %s\n", path != nullptr ? path : "",
               error, errorText(error).c_str());
        return 1;
    }
    return 0;
}

void pw_strerror(int error, char* buffer, size_t size) {
    if (buffer == nullptr || size == 0) {
        VR_LOG(2, "WARNING: strerror_s failed to get description of previous error\n");
        return;
    }
    pw_strncpy(buffer, errorText(error).c_str(), size);
}

bool pw_fileExists(char const* path) {
    if (path == nullptr) {
        return false;
    }
    FILE* file = std::fopen(nativePath(path).c_str(), "r");
    if (file == nullptr) {
        return false;
    }
    std::fclose(file);
    return true;
}

void pw_getenv(size_t* length, char* buffer, size_t size, char const* name) {
    const char* value = name != nullptr ? std::getenv(name) : nullptr;
    size_t needed = value != nullptr ? std::strlen(value) + 1 : 0;
    if (length != nullptr) {
        *length = needed;
    }
    if (buffer == nullptr || size == 0) {
        return;
    }
    if (needed != 0 && needed <= size) {
        std::memcpy(buffer, value, needed);
    } else {
        buffer[0] = '\0';  // unset, or too long to fit: no cut-off value
    }
}

int pw_freopen(FILE** file, char const* path, char const* mode, FILE* stream) {
    FILE* reopened = std::freopen(path != nullptr ? nativePath(path).c_str() : nullptr, mode, stream);
    if (file != nullptr) {
        *file = reopened;
    }
    return reopened != nullptr ? 0 : errno;
}

int pw_dup2(FILE* from, FILE* to) {
    if (from == nullptr || to == nullptr) {
        return -1;
    }
    return ::dup2(::fileno(from), ::fileno(to));
}

}  // namespace pwr

int pw_vsnprintf(char* buffer, size_t size, char const* format, va_list args) {
    return std::vsnprintf(buffer, size, format, args);
}

int pw_snprintf(char* buffer, size_t size, char const* format, ...) {
    va_list args;
    va_start(args, format);
    int length = std::vsnprintf(buffer, size, format, args);
    va_end(args);
    return length;
}

char* pw_strncpy(char* destination, char const* source, size_t size) {
    if (destination == nullptr || size == 0) {
        return destination;
    }
    size_t length = source != nullptr ? strnlen(source, size - 1) : 0;
    if (length != 0) {
        std::memcpy(destination, source, length);
    }
    destination[length] = '\0';
    destination[size - 1] = '\0';
    return destination;
}
