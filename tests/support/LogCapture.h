#pragma once

// Capturing loggers and a scoped PluginEnvironment for tests that assert exact log texts.

#include <memory>
#include <string>
#include <vector>

#include "vantrell/plugin/Logger.h"
#include "vantrell/plugin/PluginEnvironment.h"

namespace vrtest {

// Keeps every flushed text, one entry per flush.
class CapturingLogger : public pwr::Logger {
  public:
    const std::vector<std::string>& messages() const { return flushed; }
    // All flushed texts, joined.
    std::string text() const;
    void clear() { flushed.clear(); }
    bool hasDirtyText() const { return dirty != 0; }

  protected:
    void flushPending() override { flushed.emplace_back(pending.begin(), pending.end()); }

  private:
    std::vector<std::string> flushed;
};

// Installs a fresh PluginEnvironment with capturing error, debug and null loggers as
// g_pluginEnvironment, and puts back the previous one when it goes out of scope.
class ScopedLogCapture {
  public:
    explicit ScopedLogCapture(uint16_t verbosity = 4);
    ~ScopedLogCapture();
    ScopedLogCapture(const ScopedLogCapture&) = delete;
    ScopedLogCapture& operator=(const ScopedLogCapture&) = delete;

    PluginEnvironment& environment() { return env; }
    CapturingLogger& errors() { return errorLogger; }
    CapturingLogger& debug() { return debugLogger; }
    CapturingLogger& discarded() { return nullLogger; }
    // Everything the error and debug loggers received, error texts first.
    std::string text() const { return errorLogger.text() + debugLogger.text(); }
    void clear();

  private:
    CapturingLogger errorLogger;
    CapturingLogger debugLogger;
    CapturingLogger nullLogger;
    PluginEnvironment env;
    PluginEnvironment* previous;
};

}  // namespace vrtest
