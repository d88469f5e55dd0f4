#include <benchmark/benchmark.h>

#include "BenchSupport.h"
#include "vantrell/plugin/PluginEnvironment.h"
#include "vantrell/record/Clock.h"

namespace {

// Makes `clock` the default clock of the benchmark environment for one benchmark.
class DefaultClockScope {
  public:
    explicit DefaultClockScope(pwr::VRClockSource* clock) { vrbench::environment().setDefaultClock(clock); }
    ~DefaultClockScope() { vrbench::environment().setDefaultClock(nullptr); }
};

// The time stamp of a sample: one virtual call and the clock read.
template <typename Clock>
void BM_VRATimestamp(benchmark::State& state) {
    Clock clock;
    DefaultClockScope scope(&clock);
    uint64_t before = vrbench::allocationCount();
    for (auto _ : state) {
        benchmark::DoNotOptimize(pwr::getVRATimestamp());
    }
    vrbench::reportAllocations(state, before);
}
BENCHMARK_TEMPLATE(BM_VRATimestamp, pwr::VRTSCClock);
BENCHMARK_TEMPLATE(BM_VRATimestamp, pwr::VRQPCClock);
BENCHMARK_TEMPLATE(BM_VRATimestamp, pwr::VRNanoClock);

// Converting a sample's timestamp to the default clock, with the INFO line shut.
void BM_ConvertTimestamp(benchmark::State& state) {
    vrbench::environment().setVerbosity(1);
    pwr::VRClockSync sync;
    sync.clockFreqMHz = 1000.0f;
    sync.defaultClockFreqMHz = 2400.0f;
    sync.clockValue = 1000;
    unsigned long long ts = 123456789;
    uint64_t before = vrbench::allocationCount();
    for (auto _ : state) {
        benchmark::DoNotOptimize(pwr::convertTimestamp(sync, ts++));
    }
    vrbench::reportAllocations(state, before);
}
BENCHMARK(BM_ConvertTimestamp);

}  // namespace
