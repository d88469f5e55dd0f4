// Trace event writing: events per second that user-mode providers write into one session, from one
// thread and from two, with the events the session lost under that load; and the cost of a write that
// no session enables.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

#include "BenchSupport.h"
#include "vantrell/trace/EtwProvider.h"
#include "vantrell/trace/EtwSession.h"

namespace {

const _GUID kBenchProvider = {0xbe4c0001, 0x7a7a, 0x4b4b, {1, 2, 3, 4, 5, 6, 7, 8}};
const _EVENT_DESCRIPTOR kBenchEvent = {1, 0, 0, 4, 0, 0, 1};

std::string benchFile() {
    return (std::filesystem::temp_directory_path() / ("vr_trace_bench_" + std::to_string(getpid()) + ".etl"))
        .string();
}

// One session per benchmark run, made and ended by thread 0 around the timed loop.
struct Run {
    std::unique_ptr<EtwSession> session;
    std::unique_ptr<EtwProvider> provider;
};
Run g_run;

// WriteIntEvent into a session with the default buffers (1024 KB, 2 to 400). items_per_second counts
// the writes; "recorded/s" those the session kept; "lost" is the session's own count over the run.
void BM_TraceWriteIntEvent(benchmark::State& state) {
    vrbench::environment();
    if (state.thread_index() == 0) {
        g_run.session = std::make_unique<EtwSession>(benchFile(), "",
                                                     "vr_trace_bench_" + std::to_string(getpid()), "bench");
        g_run.session->addProvider(kBenchProvider, 1);
        if (!g_run.session->begin()) {
            state.SkipWithError("session didn't start");
        }
        g_run.provider = std::make_unique<EtwProvider>(&kBenchProvider);
    }
    uint64_t value = 0;
    uint64_t refused = 0;
    for (auto _ : state) {
        refused += g_run.provider->WriteIntEvent(&kBenchEvent, ++value) ? 0 : 1;
    }
    state.SetItemsProcessed(state.iterations());
    // Summed over the threads: events the session recorded per second, and those it refused.
    state.counters["recorded/s"] =
        benchmark::Counter(static_cast<double>(state.iterations() - refused), benchmark::Counter::kIsRate);
    state.counters["refused"] = static_cast<double>(refused);
    if (state.thread_index() == 0) {
        g_run.session->flush();
        state.counters["lost"] = static_cast<double>(g_run.session->queryLostEvents());
        g_run.session->end();
        g_run.provider.reset();
        g_run.session.reset();
        std::filesystem::remove(benchFile());
    }
}
BENCHMARK(BM_TraceWriteIntEvent)->Threads(1)->Threads(2)->UseRealTime();

// A write that no session wants: the price of an instrumented but idle collection.
void BM_TraceWriteDisabled(benchmark::State& state) {
    vrbench::environment();
    EtwProvider provider(&kBenchProvider);
    uint64_t value = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(provider.WriteIntEvent(&kBenchEvent, ++value));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_TraceWriteDisabled);

}  // namespace
