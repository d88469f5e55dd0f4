#pragma once

// The one way a diagnostic gets out.
//
//   VR_LOG(level, fmt, ...)              printf form
//   VR_LOG_AREA(level, area, fmt, ...)   printf form that a named debug area opens at any verbosity
//   VR_LOG_STREAM(level) << ... << std::endl
//
// The level word ("FATAL: ", "ERROR: ", "WARNING: ", "DEBUG: ", "INFO: ") is part of the message text,
// written by its author. Level 0 always gets out; level n gets out when the verbosity is at least n.
// The gate comes before any argument is evaluated: a closed site costs one 16-bit comparison and
// formats nothing. Levels 1 and "FATAL: " texts go to the error logger, everything else to the
// debug logger.
//
// The stream form evaluates its pieces whether or not the line is wanted: a shut line goes to the
// null logger, an open one to the debug logger headed by the level digit and word ("3DEBUG: ").

#include <ostream>

#include "vantrell/Export.h"
#include "vantrell/plugin/PluginEnvironment.h"

namespace pwr {
namespace logging {

// The gate of the printf form: one comparison against the process-wide verbosity.
inline bool isOpen(unsigned int level) {
    return g_pluginEnvironment->getVerbosity() >= level;
}

// True when `area` is an open debug area.
inline bool isAreaOpen(const char* area) {
    return g_pluginEnvironment->hasDebugAreas() && g_pluginEnvironment->isDebugLoggingEnabledFor(area);
}

// Formats the message into a buffer of its measured size and hands it to the logger of its level.
// Callers go through the macros, which gate first.
VR_EXPORT void emit(unsigned int level, const char* format, ...) VR_PRINTF_FORMAT(2, 3);

// The target of the stream form: see the header comment.
VR_EXPORT std::ostream& stream(unsigned int level);

}  // namespace logging
}  // namespace pwr

#define VR_LOG(level, ...)                              \
    do {                                                \
        if (::pwr::logging::isOpen(level)) {            \
            ::pwr::logging::emit((level), __VA_ARGS__); \
        }                                               \
    } while (0)

#define VR_LOG_AREA(level, area, ...)                                            \
    do {                                                                         \
        if (::pwr::logging::isOpen(level) || ::pwr::logging::isAreaOpen(area)) { \
            ::pwr::logging::emit((level), __VA_ARGS__);                          \
        }                                                                        \
    } while (0)

#define VR_LOG_STREAM(level) ::pwr::logging::stream(level)
