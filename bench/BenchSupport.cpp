#include "BenchSupport.h"

#include <cstdlib>
#include <new>

#include "vantrell/plugin/Logger.h"
#include "vantrell/plugin/PluginEnvironment.h"
#include "vantrell/value/UniqueId.h"

namespace {

uint64_t g_allocations = 0;

class DiscardingLogger : public pwr::Logger {
  protected:
    void flushPending() override {}
};

}  // namespace

void* operator new(std::size_t size) {
    ++g_allocations;
    if (void* p = std::malloc(size == 0 ? 1 : size)) {
        return p;
    }
    throw std::bad_alloc();
}

void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}

namespace vrbench {

PluginEnvironment& environment() {
    static DiscardingLogger logger;
    static PluginEnvironment env = [] {
        PluginEnvironment made;
        made.setErrorLogger(&logger);
        made.setDebugLogger(&logger);
        made.setNullLogger(&logger);
        return made;
    }();
    g_pluginEnvironment = &env;
    return env;
}

void environmentWithRegistry() {
    environment();
    static const bool initialized = (pwr::UniqueId::initialize(), true);
    (void)initialized;
}

uint64_t allocationCount() {
    return g_allocations;
}

void reportAllocations(benchmark::State& state, uint64_t before) {
    state.counters["allocs/iter"] = benchmark::Counter(static_cast<double>(allocationCount() - before) /
                                                       static_cast<double>(state.iterations()));
}

}  // namespace vrbench
