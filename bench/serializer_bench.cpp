#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "vantrell/record/Serializer.h"

namespace {

// Bulk writes of 64-bit values into a fresh serializer, growth included.
void BM_SerializerWriteUint64(benchmark::State& state) {
    const int64_t count = state.range(0);
    for (auto _ : state) {
        pwr::Serializer s;
        for (int64_t i = 0; i < count; ++i) {
            s.write_uint64(static_cast<uint64_t>(i) * 0x9E3779B97F4A7C15ULL);
        }
        benchmark::DoNotOptimize(s.get_buffer().data());
    }
    state.SetBytesProcessed(state.iterations() * count * 8);
}
BENCHMARK(BM_SerializerWriteUint64)->Arg(1 << 10)->Arg(1 << 16)->Arg(1 << 20);

// The same writes into a buffer sized ahead: the cost of the encoding alone, without growth.
void BM_SerializerWriteUint64Presized(benchmark::State& state) {
    const int64_t count = state.range(0);
    for (auto _ : state) {
        pwr::Serializer s(static_cast<unsigned long long>(count) * 8);
        for (int64_t i = 0; i < count; ++i) {
            s.write_uint64(static_cast<uint64_t>(i) * 0x9E3779B97F4A7C15ULL);
        }
        benchmark::DoNotOptimize(s.get_buffer().data());
    }
    state.SetBytesProcessed(state.iterations() * count * 8);
}
BENCHMARK(BM_SerializerWriteUint64Presized)->Arg(1 << 10)->Arg(1 << 16)->Arg(1 << 20);

// Reading them back.
void BM_SerializerReadUint64(benchmark::State& state) {
    const int64_t count = state.range(0);
    pwr::Serializer source;
    for (int64_t i = 0; i < count; ++i) {
        source.write_uint64(static_cast<uint64_t>(i));
    }
    const std::vector<char> bytes = source.get_buffer();
    for (auto _ : state) {
        pwr::Serializer s(bytes);
        uint64_t value = 0;
        uint64_t sum = 0;
        while (s.read_uint64(value) != 0) {
            sum += value;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetBytesProcessed(state.iterations() * count * 8);
}
BENCHMARK(BM_SerializerReadUint64)->Arg(1 << 16);

// Short strings, as the records write names and keys.
void BM_SerializerWriteShortString(benchmark::State& state) {
    const std::vector<std::string> texts = {"cpu", "Package_0/Core_1/Thread_3", "SKX", "C6-RESIDENCY",
                                            "0x3FD"};
    const int64_t count = 4096;
    for (auto _ : state) {
        pwr::Serializer s;
        for (int64_t i = 0; i < count; ++i) {
            s.write_string(texts[static_cast<size_t>(i) % texts.size()]);
        }
        benchmark::DoNotOptimize(s.get_buffer().data());
    }
    state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(BM_SerializerWriteShortString);

}  // namespace
