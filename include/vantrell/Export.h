#pragma once

// The library is built with hidden default visibility; exported classes, functions and globals carry
// VR_EXPORT so that plug-ins and the host can link against them.
#if defined(__GNUC__) || defined(__clang__)
#define VR_EXPORT __attribute__((visibility("default")))
#define VR_PRINTF_FORMAT(fmtIndex, firstArg) __attribute__((format(printf, fmtIndex, firstArg)))
#else
#define VR_EXPORT
#define VR_PRINTF_FORMAT(fmtIndex, firstArg)
#endif
