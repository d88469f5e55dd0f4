#pragma once

// The grammar's assertions: on in every build, since a line that reaches one is outside what the
// rules were written for. The expression is always evaluated (match moves the token index).

namespace pwr {

// Writes "Assertion failed: <text>, file <file>, line <line>" to the standard error stream and aborts.
[[noreturn]] void configAssertFailed_i(char const* text, char const* file, int line);

}  // namespace pwr

#define VR_CONFIG_ASSERT(expr) ((expr) ? (void)0 : ::pwr::configAssertFailed_i(#expr, __FILE__, __LINE__))
