#pragma once

// Shared by the fuzz targets: a process environment whose loggers discard everything, at the highest
// verbosity so that every log site formats its text, and a check that stops the run with its reason.

#include <cstdio>
#include <cstdlib>

#include "vantrell/plugin/Logger.h"
#include "vantrell/plugin/PluginEnvironment.h"

namespace vrfuzz {

class DiscardingLogger : public pwr::Logger {
  protected:
    void flushPending() override {}
};

inline void installEnvironment() {
    static DiscardingLogger logger;
    static PluginEnvironment env;
    env.setErrorLogger(&logger);
    env.setDebugLogger(&logger);
    env.setNullLogger(&logger);
    env.setVerbosity(4);
    g_pluginEnvironment = &env;
}

inline void check(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "check failed: %s\n", what);
        std::abort();
    }
}

}  // namespace vrfuzz
