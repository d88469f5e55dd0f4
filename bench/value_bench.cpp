#include <benchmark/benchmark.h>

#include <string>

#include "BenchSupport.h"
#include "vantrell/value/Data.h"
#include "vantrell/value/Formatter.h"

namespace {

// A running sum, as an accumulator keeps one per table cell.
template <typename T>
void BM_DataAddValue(benchmark::State& state, T start, T sample) {
    vrbench::environment();
    pwr::Data sum(start);
    pwr::Data input(sample);
    uint64_t before = vrbench::allocationCount();
    for (auto _ : state) {
        sum.addValue(input);
        benchmark::DoNotOptimize(sum);
    }
    vrbench::reportAllocations(state, before);
}
BENCHMARK_CAPTURE(BM_DataAddValue, UInt, 0ULL, 3ULL);
BENCHMARK_CAPTURE(BM_DataAddValue, Real, 0.0, 0.25);

// The comparison behind every running minimum and maximum.
template <typename T>
void BM_DataLessThan(benchmark::State& state, T left, T right) {
    vrbench::environment();
    pwr::Data a(left);
    pwr::Data b(right);
    uint64_t before = vrbench::allocationCount();
    for (auto _ : state) {
        benchmark::DoNotOptimize(a < b);
        benchmark::ClobberMemory();
    }
    vrbench::reportAllocations(state, before);
}
BENCHMARK_CAPTURE(BM_DataLessThan, UInt, 3ULL, 4ULL);
BENCHMARK_CAPTURE(BM_DataLessThan, Real, 3.0, 4.0);

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
    vrbench::reportAllocations(state, before);
}
BENCHMARK(BM_DataConstructAndCopyUInt);

// One table cell's text.
void BM_FormatterFormatReal(benchmark::State& state) {
    vrbench::environment();
    pwr::RealFormatter formatter(" W", 10, 2);
    pwr::Data value(1234.5678);
    std::string out;
    out.reserve(64);
    uint64_t before = vrbench::allocationCount();
    for (auto _ : state) {
        formatter.format(out, value);
        benchmark::DoNotOptimize(out);
    }
    vrbench::reportAllocations(state, before);
}
BENCHMARK(BM_FormatterFormatReal);

}  // namespace
