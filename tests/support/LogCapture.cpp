#include "support/LogCapture.h"

namespace vrtest {

std::string CapturingLogger::text() const {
    std::string all;
    for (const std::string& message : flushed) {
        all += message;
    }
    return all;
}

ScopedLogCapture::ScopedLogCapture(uint16_t verbosity) : previous(g_pluginEnvironment) {
    env.setVerbosity(verbosity);
    env.setErrorLogger(&errorLogger);
    env.setDebugLogger(&debugLogger);
    env.setNullLogger(&nullLogger);
    g_pluginEnvironment = &env;
}

ScopedLogCapture::~ScopedLogCapture() {
    g_pluginEnvironment = previous;
}

void ScopedLogCapture::clear() {
    errorLogger.clear();
    debugLogger.clear();
    nullLogger.clear();
}

}  // namespace vrtest
