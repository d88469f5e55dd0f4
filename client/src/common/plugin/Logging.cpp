#include "vantrell/plugin/Logging.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>

#include "vantrell/plugin/Logger.h"

namespace pwr {
namespace logging {
namespace {

constexpr char kFatalWord[] = "FATAL: ";

const char* levelWord(unsigned int level) {
    static const char* const kWords[] = {kFatalWord, "ERROR: ", "WARNING: ", "DEBUG: ", "INFO: "};
    return level < sizeof(kWords) / sizeof(kWords[0]) ? kWords[level] : "";
}

Logger* loggerFor(unsigned int level, const char* text) {
    bool toErrorLogger =
        level == 1 || (level == 0 && std::strncmp(text, kFatalWord, sizeof(kFatalWord) - 1) == 0);
    return toErrorLogger ? g_pluginEnvironment->getErrorLogger() : g_pluginEnvironment->getDebugLogger();
}

}  // namespace

void emit(unsigned int level, const char* format, ...) {
    va_list args;
    va_start(args, format);
    va_list measureArgs;
    va_copy(measureArgs, args);
    int length = std::vsnprintf(nullptr, 0, format, measureArgs);
    va_end(measureArgs);

    size_t size = length < 0 ? 1 : static_cast<size_t>(length) + 1;
    std::unique_ptr<char[]> buffer(new char[size]);
    buffer[0] = '\0';
    std::vsnprintf(buffer.get(), size, format, args);
    va_end(args);

    loggerFor(level, buffer.get())->logMessage(level, buffer.get());
}

std::ostream& stream(unsigned int level) {
    if (isOpen(level)) {
        std::ostream& out = *g_pluginEnvironment->getDebugLogger();
        out << level << levelWord(level);
        return out;
    }
    return *g_pluginEnvironment->getNullLogger();
}

}  // namespace logging
}  // namespace pwr
