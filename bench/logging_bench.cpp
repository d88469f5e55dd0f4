#include <benchmark/benchmark.h>

#include "BenchSupport.h"
#include "vantrell/plugin/Logging.h"

namespace {

// A shut site: the cost of the gate alone, arguments never evaluated.
void BM_ClosedLogGate(benchmark::State& state) {
    vrbench::environment().setVerbosity(1);
    double value = 1.5;
    for (auto _ : state) {
        VR_LOG(3, "DEBUG: value %f\n", value);
        benchmark::DoNotOptimize(value);
    }
}
BENCHMARK(BM_ClosedLogGate);

// A shut site of a debug area while no area is open.
void BM_ClosedLogAreaGate(benchmark::State& state) {
    vrbench::environment().setVerbosity(1);
    double value = 1.5;
    for (auto _ : state) {
        VR_LOG_AREA(3, "output-config-parser", "DEBUG: value %f\n", value);
        benchmark::DoNotOptimize(value);
    }
}
BENCHMARK(BM_ClosedLogAreaGate);

// An open site: measure, format, send.
void BM_OpenLogSite(benchmark::State& state) {
    vrbench::environment().setVerbosity(4);
    double value = 1.5;
    for (auto _ : state) {
        VR_LOG(3, "DEBUG: value %f\n", value);
    }
    vrbench::environment().setVerbosity(1);
}
BENCHMARK(BM_OpenLogSite);

}  // namespace
