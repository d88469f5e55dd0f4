#pragma once

// The one object that the host, the library and all plug-ins share, reached through the exported
// pointer g_pluginEnvironment, which the host sets to an object it constructs at start-up.
//
// A passive store: loggers and verbosity, debug areas and the message queue for the host. The
// loggers are owned by the host. Copyable: copies take every field, containers by value.
// No locks: configured on the host's main thread before the collection, then read.

#include <cstdint>
#include <deque>
#include <set>
#include <string>

#include "vantrell/Export.h"

namespace pwr {
class Logger;
}

class VR_EXPORT PluginEnvironment {
  public:
    PluginEnvironment();
    PluginEnvironment(const PluginEnvironment&) = default;
    PluginEnvironment& operator=(const PluginEnvironment&) = default;
    ~PluginEnvironment();

    // Verbosity: levels up to this number get out (0: only level 0). 1 after construction.
    uint16_t getVerbosity() const { return verbosity; }
    void setVerbosity(uint16_t value) { verbosity = value; }

    pwr::Logger* getErrorLogger() const { return errorLogger; }
    void setErrorLogger(pwr::Logger* logger) { errorLogger = logger; }
    pwr::Logger* getDebugLogger() const { return debugLogger; }
    void setDebugLogger(pwr::Logger* logger) { debugLogger = logger; }
    pwr::Logger* getNullLogger() const { return nullLogger; }
    void setNullLogger(pwr::Logger* logger) { nullLogger = logger; }
    pwr::Logger* getDataOutputHandle() const { return dataOutputHandle; }
    void setDataOutputHandle(pwr::Logger* logger) { dataOutputHandle = logger; }
    void setFileOutputHandle(pwr::Logger* logger) { fileOutputHandle = logger; }

    // Null for a null `name`. Otherwise the handle set with setFileOutputHandle, whatever `name` says;
    // failing that a new FileLogger on `name` that is not stored: the caller owns it.
    pwr::Logger* getFileOutputHandle(const char* name);

    // True when `area` was added, by exact comparison of whole strings.
    bool isDebugLoggingEnabledFor(const char* area) const;
    bool isDebugLoggingEnabledFor(const std::string& area) const;
    // Adds `area` to the set of open debug areas. No prefix matching takes place anywhere.
    void addPrefixForDebugLogging(const std::string& area);

    // Copies `text` to the back of the host's message queue; a null `text` is ignored.
    void queueMessage(const char* text);
    // The queue, by reference, for the host to print and drain.
    std::deque<std::string>& getQueuedMessages() { return messageQueue; }

  private:
    uint16_t verbosity = 1;
    pwr::Logger* errorLogger = nullptr;
    pwr::Logger* debugLogger = nullptr;
    pwr::Logger* nullLogger = nullptr;
    pwr::Logger* dataOutputHandle = nullptr;
    pwr::Logger* fileOutputHandle = nullptr;
    // Transparent comparison: an area test compares in place, without building a string.
    std::set<std::string, std::less<>> debugPrefixes;
    std::deque<std::string> messageQueue;
};

// Set by the host before any plug-in runs; every log site reads it without a test.
extern VR_EXPORT PluginEnvironment* g_pluginEnvironment;
