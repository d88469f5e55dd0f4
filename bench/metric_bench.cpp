// The metric path end to end: a SampledValue metric over 16 entities with UINT values and all tables
// enabled, fed through setData, closed with finalize and pushed to a writer that does nothing; and, on
// the same input, a hand-written loop that does only the arithmetic the tables need (per-entity
// minimum, maximum, count and time-weighted sum), so that the ratio of the two tells what the metric's
// bookkeeping costs. The other four metric types run the same road (BM_MetricRoad). Peak resident memory is
// reported to show that it doesn't grow with the samples.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <fstream>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "vantrell/metric/Metric.h"
#include "vantrell/plugin/PluginEnvironment.h"
#include "vantrell/record/SystemMetadata.h"
#include "vantrell/value/DataHandle.h"
#include "vantrell/value/Description.h"
#include "vantrell/value/EntityHandle.h"
#include "vantrell/value/Quantity.h"
#include "vantrell/writer/WriterInterfaceConfigFileParser.h"
#include "vantrell/writer/WriterPlugin.h"
#include "vantrell/writer/WriterStream.h"

namespace {

constexpr int kEntities = 16;
constexpr unsigned long long kStart = 1000;
constexpr unsigned long long kStep = 1000;

class NullWriter : public WriterPlugin {
  public:
    NullWriter() : WriterPlugin("NullWriter") {}
    int openOutput() override { return 0; }
    int closeOutput() override { return 0; }
};

// The sample input: entity e at step s holds one of 16 frequencies.
inline unsigned long long valueAt(unsigned long long step, int entity) {
    return 800 + ((step * 7 + static_cast<unsigned long long>(entity) * 3) % 16) * 100;
}

// Peak resident memory of the process so far, in MiB (VmHWM).
double peakResidentMiB() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("VmHWM:", 0) == 0) {
            return std::stod(line.substr(6)) / 1024.0;
        }
    }
    return 0.0;
}

struct MetricBenchSetup {
    MetricBenchSetup() {
        vrbench::environmentWithRegistry();
        machine.startTSC = kStart;
        machine.vraClockFreqMHz = 1000.0f;
        stream = WriterStream::create(writers);
        g_pluginEnvironment->setWriterStream(stream);
        pwr::WriterInterfaceConfigFileParser::instance()->parse({}, machine);
        for (int e = 0; e < kEntities; ++e) {
            entities[e] = pwr::EntityHandle::create("cpu" + std::to_string(e), nullptr);
        }
    }

    pwr::SystemMetadata machine;
    NullWriter writer;
    std::set<WriterPlugin*> writers{&writer};
    WriterStream* stream = nullptr;
    std::array<const pwr::EntityHandle*, kEntities> entities{};
};

MetricBenchSetup& setup() {
    static MetricBenchSetup made;
    return made;
}

void BM_MetricSampledValueRoad(benchmark::State& state) {
    MetricBenchSetup& bench = setup();
    const auto elements = static_cast<unsigned long long>(state.range(0));
    const uint64_t allocationsBefore = vrbench::allocationCount();
    for (auto _ : state) {
        pwr::Metric metric("Frequency", pwr::Metric::SampledValue, "freq", "bench", bench.machine,
                           pwr::Quantity::frequency());
        pwr::DataElement element(bench.entities[0], nullptr);
        element.setValue(0ULL);
        unsigned long long fed = 0;
        for (unsigned long long step = 1; fed < elements; ++step) {
            const unsigned long long timestamp = kStart + step * kStep;
            for (int e = 0; e < kEntities && fed < elements; ++e, ++fed) {
                element.setEntity(bench.entities[e]);
                element.setValue(valueAt(step, e));
                metric.setData(timestamp, element, 0);
            }
        }
        benchmark::DoNotOptimize(metric.finalize());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * elements));
    state.counters["allocs/element"] =
        benchmark::Counter(static_cast<double>(vrbench::allocationCount() - allocationsBefore) /
                           static_cast<double>(state.iterations() * elements));
    state.counters["peakRSS_MiB"] = peakResidentMiB();
}

// Only the arithmetic the tables need, over the same input.
void BM_MetricHandWrittenBaseline(benchmark::State& state) {
    const auto elements = static_cast<unsigned long long>(state.range(0));
    for (auto _ : state) {
        std::array<unsigned long long, kEntities> minimum;
        std::array<unsigned long long, kEntities> maximum{};
        std::array<unsigned long long, kEntities> count{};
        std::array<double, kEntities> weighted{};
        std::array<unsigned long long, kEntities> previous;
        minimum.fill(std::numeric_limits<unsigned long long>::max());
        previous.fill(kStart);
        unsigned long long fed = 0;
        for (unsigned long long step = 1; fed < elements; ++step) {
            const unsigned long long timestamp = kStart + step * kStep;
            for (int e = 0; e < kEntities && fed < elements; ++e, ++fed) {
                const unsigned long long value = valueAt(step, e);
                const double weight = static_cast<double>(timestamp - previous[e]) / 1000.0;
                previous[e] = timestamp;
                minimum[e] = std::min(minimum[e], value);
                maximum[e] = std::max(maximum[e], value);
                ++count[e];
                weighted[e] += static_cast<double>(value) * weight;
            }
        }
        benchmark::DoNotOptimize(minimum);
        benchmark::DoNotOptimize(maximum);
        benchmark::DoNotOptimize(count);
        benchmark::DoNotOptimize(weighted);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * elements));
}

// The other metric types over the same 16 entities, each with all its tables enabled:
//  - SampledDelta: one byte count per entity and point, bytes as quantity (rates on);
//  - SampledResidency: four states per entity and point whose ticks add up to the point's duration;
//  - TracedValueTransition: one of 8 states per transition, every transition at a new time;
//  - TracedEvent: one of 32 values per event, every event at a new time.
struct RoadInput {
    pwr::Metric::MetricType type;
    const char* name;
    const pwr::Quantity* (*quantity)();
};

constexpr int kStates = 4;

const pwr::DataDescriptor* stateDescriptor(int state) {
    static const std::array<const pwr::DataDescriptor*, kStates> states = [] {
        std::array<const pwr::DataDescriptor*, kStates> made{};
        for (int s = 0; s < kStates; ++s) {
            made[s] = pwr::DataDescriptor::create(pwr::DataDescriptorBuilder("C" + std::to_string(s), ""));
        }
        return made;
    }();
    return states[state];
}

void feedSampled(pwr::Metric& metric, const MetricBenchSetup& bench, unsigned long long elements) {
    const bool residency = metric.getMetricType() == pwr::Metric::SampledResidency;
    const int perEntity = residency ? kStates : 1;
    pwr::DataElement element(bench.entities[0], residency ? stateDescriptor(0) : nullptr);
    element.setValue(0ULL);
    unsigned long long fed = 0;
    for (unsigned long long step = 1; fed < elements; ++step) {
        const unsigned long long timestamp = kStart + step * kStep;
        for (int e = 0; e < kEntities && fed < elements; ++e) {
            element.setEntity(bench.entities[e]);
            for (int s = 0; s < perEntity && fed < elements; ++s, ++fed) {
                if (residency) {
                    element.setDescriptor(stateDescriptor(s));
                    element.setValue(kStep / kStates);
                } else {
                    element.setValue(valueAt(step, e) * 1000);
                }
                metric.setData(timestamp, element, 0);
            }
        }
    }
}

void feedTraced(pwr::Metric& metric, const MetricBenchSetup& bench, unsigned long long elements) {
    const unsigned long long distinct = metric.getMetricType() == pwr::Metric::TracedEvent ? 32 : 8;
    pwr::DataElement element(bench.entities[0], nullptr);
    element.setValue(0ULL);
    for (unsigned long long fed = 0; fed < elements; ++fed) {
        element.setEntity(bench.entities[fed % kEntities]);
        element.setValue((fed * 7 / kEntities) % distinct);
        metric.setData(kStart + 1 + fed, element, 0);
    }
}

void BM_MetricRoad(benchmark::State& state, RoadInput input) {
    MetricBenchSetup& bench = setup();
    const auto elements = static_cast<unsigned long long>(state.range(0));
    const uint64_t allocationsBefore = vrbench::allocationCount();
    for (auto _ : state) {
        pwr::Metric metric(input.name, input.type, "road", "bench", bench.machine,
                           input.quantity != nullptr ? input.quantity() : nullptr);
        if (input.type == pwr::Metric::TracedValueTransition || input.type == pwr::Metric::TracedEvent) {
            feedTraced(metric, bench, elements);
        } else {
            feedSampled(metric, bench, elements);
        }
        benchmark::DoNotOptimize(metric.finalize());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * elements));
    state.counters["allocs/element"] =
        benchmark::Counter(static_cast<double>(vrbench::allocationCount() - allocationsBefore) /
                           static_cast<double>(state.iterations() * elements));
    state.counters["peakRSS_MiB"] = peakResidentMiB();
}

BENCHMARK_CAPTURE(BM_MetricRoad, SampledDelta,
                  RoadInput{pwr::Metric::SampledDelta, "Bytes", &pwr::Quantity::data})
    ->Arg(1000000)
    ->Arg(10000000)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);
BENCHMARK_CAPTURE(BM_MetricRoad, SampledResidency,
                  RoadInput{pwr::Metric::SampledResidency, "CState", &pwr::Quantity::time})
    ->Arg(1000000)
    ->Arg(10000000)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);
BENCHMARK_CAPTURE(BM_MetricRoad, TracedValueTransition,
                  RoadInput{pwr::Metric::TracedValueTransition, "Transition", nullptr})
    ->Arg(1000000)
    ->Arg(10000000)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);
BENCHMARK_CAPTURE(BM_MetricRoad, TracedEvent, RoadInput{pwr::Metric::TracedEvent, "Event", nullptr})
    ->Arg(1000000)
    ->Arg(10000000)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);

BENCHMARK(BM_MetricSampledValueRoad)
    ->Arg(1000000)
    ->Arg(10000000)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);
BENCHMARK(BM_MetricHandWrittenBaseline)->Arg(1000000)->Arg(10000000)->Unit(benchmark::kMillisecond);

}  // namespace
