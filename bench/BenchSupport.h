#pragma once

// Shared by the benchmark programs: a quiet process environment and a count of heap allocations, so
// that a benchmark can report how many allocations one iteration of a hot path makes.

#include <benchmark/benchmark.h>

#include <cstdint>

class PluginEnvironment;

namespace vrbench {

// The environment of the benchmark program, installed as g_pluginEnvironment on first use, with
// loggers that discard everything. Verbosity 1.
PluginEnvironment& environment();

// The environment above plus the UniqueId registry, made once for the whole program.
void environmentWithRegistry();

uint64_t allocationCount();

// Adds the counter "allocs/iter": allocations since `before`, per iteration.
void reportAllocations(benchmark::State& state, uint64_t before);

}  // namespace vrbench
