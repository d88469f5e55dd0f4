#include <benchmark/benchmark.h>

#include <string>

#include "BenchSupport.h"
#include "vantrell/value/Data.h"
#include "vantrell/value/Formatter.h"

namespace {

using vrbench::reportAllocations;

void BM_DataAddValueUInt(benchmark::State& state) {
    pwr::Data sum(0ULL);
    pwr::Data sample(3ULL);
    vrbench::environment();
    uint64_t before = vrbench::allocationCount();
    for (auto _ : state) {
        sum.addValue(sample);
        benchmark::DoNotOptimize(sum);
    }
    reportAllocations(state, before);
}
BENCHMARK(BM_DataAddValueUInt);

void BM_DataAddValueReal(benchmark::State& state) {
    pwr::Data sum(0.0);
    pwr::Data sample(0.25);
    vrbench::environment();
    uint64_t before = vrbench::allocationCount();
    for (auto _ : state) {
        sum.addValue(sample);
        benchmark::DoNotOptimize(sum);
    }
    reportAllocations(state, before);
}
BENCHMARK(BM_DataAddValueReal);

void BM_DataLessThanUInt(benchmark::State& state) {
    pwr::Data a(3ULL);
    pwr::Data b(4ULL);
    vrbench::environment();
    uint64_t before = vrbench::allocationCount();
    for (auto _ : state) {
        benchmark::DoNotOptimize(a < b);
        benchmark::ClobberMemory();
    }
    reportAllocations(state, before);
}
BENCHMARK(BM_DataLessThanUInt);

void BM_DataLessThanReal(benchmark::State& state) {
    pwr::Data a(3.0);
    pwr::Data b(4.0);
    vrbench::environment();
    uint64_t before = vrbench::allocationCount();
    for (auto _ : state) {
        benchmark::DoNotOptimize(a < b);
        benchmark::ClobberMemory();
    }
    reportAllocations(state, before);
}
BENCHMARK(BM_DataLessThanReal);

// Building and copying a numeric sample, as a metric buffer does for each element.
void BM_DataConstructAndCopyUInt(benchmark::State& state) {
    vrbench::environment();
    uint64_t before = vrbench::allocationCount();
    unsigned long long n = 0;
    for (auto _ : state) {
        pwr::Data value(++n);
        pwr::Data copy(value);
        benchmark::DoNotOptimize(copy);
    }
    reportAllocations(state, before);
}
BENCHMARK(BM_DataConstructAndCopyUInt);

void BM_FormatterFormatReal(benchmark::State& state) {
    pwr::RealFormatter formatter(" W", 10, 2);
    pwr::Data value(1234.5678);
    std::string out;
    out.reserve(64);
    vrbench::environment();
    uint64_t before = vrbench::allocationCount();
    for (auto _ : state) {
        formatter.format(out, value);
        benchmark::DoNotOptimize(out);
    }
    reportAllocations(state, before);
}
BENCHMARK(BM_FormatterFormatReal);

}  // namespace
