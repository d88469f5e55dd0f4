#include <benchmark/benchmark.h>

#include <string>

#include "vantrell/config/TextHelpers.h"
#include "vantrell/config/Tokenizer.h"

namespace {

const std::string kLine = "SKX_MSR_CSTATE_CORE_C6_RESIDENCY=0x3FD";

// A configuration line cut at "_" and "=" with a Tokenizer, every token handed out.
void BM_TokenizeConfigLine(benchmark::State& state) {
    for (auto _ : state) {
        pwr::Tokenizer tokenizer(kLine, "_=");
        size_t total = 0;
        while (const char* token = tokenizer.get_next_token()) {
            total += token[0];
        }
        benchmark::DoNotOptimize(total);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_TokenizeConfigLine);

// The same line split the way the grammar does: "=" first, then "_" one piece at a time.
void BM_SplitConfigLineWithGetNextToken(benchmark::State& state) {
    for (auto _ : state) {
        std::string rest = kLine;
        std::string key;
        std::string value;
        pwr::getNextToken(key, rest, '=', false);
        value = rest;
        std::string token;
        size_t pieces = 0;
        while (pwr::getNextToken(token, key, '_', false) == 0) {
            ++pieces;
        }
        benchmark::DoNotOptimize(pieces);
        benchmark::DoNotOptimize(pwr::extract_number_i(value));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SplitConfigLineWithGetNextToken);

}  // namespace
