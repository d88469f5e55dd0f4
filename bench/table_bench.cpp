#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "vantrell/value/Data.h"
#include "vantrell/value/EntityHandle.h"
#include "vantrell/value/Quantity.h"
#include "vantrell/value/UniqueId.h"
#include "vantrell/writer/TableMessage.h"

namespace {

constexpr int kEntities = 16;
constexpr int kFields = 8;

// A created table of 16 entities and 8 plain fields, half UINT and half REAL, as a summary
// accumulator builds it once and refills it for every push.
struct BenchTable {
    BenchTable() : table("bench", pwr::Quantity::time()) {
        for (int i = 0; i < kEntities; ++i) {
            entities.push_back(pwr::EntityHandle::create("cpu" + std::to_string(i), nullptr));
            table.addEntity(entities.back());
        }
        for (int f = 0; f < kFields; ++f) {
            table.addField("field" + std::to_string(f),
                           f % 2 == 0 ? pwr::DataType::UINT : pwr::DataType::REAL, false);
        }
        table.createTable();
        handles.assign(table.fieldBegin(), table.fieldEnd());
    }

    void setAll(unsigned long long base) {
        for (int e = 0; e < kEntities; ++e) {
            for (unsigned f = 0; f < kFields; ++f) {
                if (f % 2 == 0) {
                    table.setFieldValue(entities[e], f, base + f);
                } else {
                    table.setFieldValue(entities[e], f, static_cast<double>(base) * 0.5);
                }
            }
        }
    }

    // Reads every cell back; returns how many were valid.
    int readAll() const {
        int valid = 0;
        for (const pwr::EntityHandle* entity : entities) {
            for (const pwr::DataHandle* handle : handles) {
                const pwr::Data* value = nullptr;
                bool isValid = false;
                table.getFieldValue(entity, handle, value, isValid);
                valid += isValid ? 1 : 0;
            }
        }
        return valid;
    }

    pwr::TableMessage table;
    std::vector<pwr::EntityHandle*> entities;
    std::vector<const pwr::DataHandle*> handles;
};

// One push cycle: set all 128 cells, read them back, reset.
void BM_TableSetReadResetCycle(benchmark::State& state) {
    vrbench::environmentWithRegistry();
    BenchTable bench;
    unsigned long long base = 1;
    const uint64_t before = vrbench::allocationCount();
    for (auto _ : state) {
        bench.setAll(base++);
        const int valid = bench.readAll();
        if (valid != kEntities * kFields) {
            state.SkipWithError("not every cell read back as valid");
            break;
        }
        bench.table.resetData();
        benchmark::DoNotOptimize(valid);
    }
    vrbench::reportAllocations(state, before);
    state.counters["cells/iter"] = kEntities * kFields;
}
BENCHMARK(BM_TableSetReadResetCycle);

void BM_TableSetOneNumericCell(benchmark::State& state) {
    vrbench::environmentWithRegistry();
    BenchTable bench;
    unsigned long long value = 0;
    const uint64_t before = vrbench::allocationCount();
    for (auto _ : state) {
        benchmark::DoNotOptimize(bench.table.setFieldValue(bench.entities[7], 4u, value++));
    }
    vrbench::reportAllocations(state, before);
}
BENCHMARK(BM_TableSetOneNumericCell);

void BM_TableReadOneCell(benchmark::State& state) {
    vrbench::environmentWithRegistry();
    BenchTable bench;
    bench.setAll(3);
    const uint64_t before = vrbench::allocationCount();
    for (auto _ : state) {
        const pwr::Data* value = nullptr;
        bool valid = false;
        benchmark::DoNotOptimize(
            bench.table.getFieldValue(bench.entities[7], bench.handles[4], value, valid));
        benchmark::DoNotOptimize(value);
    }
    vrbench::reportAllocations(state, before);
}
BENCHMARK(BM_TableReadOneCell);

}  // namespace
