#include <benchmark/benchmark.h>

#include <string>

#include "BenchSupport.h"
#include "vantrell/value/Attribute.h"
#include "vantrell/value/DataHandle.h"
#include "vantrell/value/Description.h"
#include "vantrell/value/UniqueId.h"

namespace {

pwr::DataDescriptorBuilder makeBuilder(const std::string& name, int attributes) {
    pwr::DataDescriptorBuilder builder(name, "");
    const pwr::AttributeType types[] = {pwr::AttributeType::FREQUENCY, pwr::AttributeType::IRQ,
                                        pwr::AttributeType::SOURCE, pwr::AttributeType::TARGET};
    for (int i = 0; i < attributes; ++i) {
        builder.addAttributeValue(pwr::Attribute::get(types[i]), pwr::Data(static_cast<long long>(i) * 100));
    }
    return builder;
}

// The request of a meaning that is known already: the key, the bucket lookup and one equal(); no new
// object. Arguments: attributes on the builder, other meanings in the registry.
void BM_DataDescriptorCreateExisting(benchmark::State& state) {
    vrbench::environmentWithRegistry();
    const int attributes = static_cast<int>(state.range(0));
    const int others = static_cast<int>(state.range(1));
    static int round = 0;
    const std::string prefix = "bench" + std::to_string(round++) + "-";
    for (int i = 0; i < others; ++i) {
        pwr::DataDescriptor::create(makeBuilder(prefix + std::to_string(i), attributes));
    }
    const pwr::DataDescriptorBuilder builder = makeBuilder(prefix + "target", attributes);
    const pwr::DataDescriptor* first = pwr::DataDescriptor::create(builder);
    uint64_t before = vrbench::allocationCount();
    for (auto _ : state) {
        const pwr::DataDescriptor* found = pwr::DataDescriptor::create(builder);
        benchmark::DoNotOptimize(found);
        if (found != first) {
            state.SkipWithError("a known meaning made a new descriptor");
            break;
        }
    }
    vrbench::reportAllocations(state, before);
}
BENCHMARK(BM_DataDescriptorCreateExisting)->Args({0, 0})->Args({2, 0})->Args({4, 0})->Args({2, 1000});

}  // namespace
