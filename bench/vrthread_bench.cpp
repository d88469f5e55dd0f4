#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <vector>

#include "BenchSupport.h"
#include "vantrell/record/VRThread.h"

namespace {

class Echo : public pwr::VRThreadActor {
  public:
    int handleCommand(int command, unsigned size, const void*, int& result) override {
        result = command + static_cast<int>(size);
        return 0;
    }
    int onKill() override { return 0; }
    int init() override { return 0; }
};

// One command through the worker and its answer back (signal with a blocking response), with
// `state.range(0)` payload bytes. Besides the mean, reports the median and the 99th percentile of the
// single round trips in microseconds.
void BM_VRThreadRoundTrip(benchmark::State& state) {
    vrbench::environment();
    Echo actor;
    pwr::VRThread worker(actor, 0, nullptr);
    if (worker.init() != 0 || worker.start() != 0) {
        state.SkipWithError("worker didn't start");
        return;
    }
    std::vector<unsigned char> payload(static_cast<size_t>(state.range(0)), 1);
    std::vector<double> micros;
    micros.reserve(1 << 20);
    for (auto _ : state) {
        auto begin = std::chrono::steady_clock::now();
        int answer = worker.signal(7, payload.size(), payload.data(), true, true);
        auto end = std::chrono::steady_clock::now();
        benchmark::DoNotOptimize(answer);
        micros.push_back(std::chrono::duration<double, std::micro>(end - begin).count());
    }
    worker.kill();
    worker.join();
    if (micros.empty()) {
        return;
    }
    std::sort(micros.begin(), micros.end());
    state.counters["median_us"] = micros[micros.size() / 2];
    state.counters["p99_us"] = micros[std::min(micros.size() - 1, micros.size() * 99 / 100)];
}
BENCHMARK(BM_VRThreadRoundTrip)->Arg(0)->Arg(64)->Arg(4096)->UseRealTime();

}  // namespace
