// The machine record's round trip for a 64-CPU machine (2 packages of 16 cores with 2 threads each),
// with every appended field filled: what a host pays to store the record and a post-processor to read
// it back (which also rebuilds the CPU entities).

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "vantrell/record/Serializer.h"
#include "vantrell/record/SystemMetadata.h"
#include "vantrell/value/UniqueId.h"

namespace {

std::string topologyText(int cpus) {
    std::string text;
    for (int cpu = 0; cpu < cpus; ++cpu) {
        // logical CPU, package, core, no die
        text += std::to_string(cpu) + " " + std::to_string(cpu / 32) + " " + std::to_string(cpu % 32 / 2) +
                " 0xffffffff ";
    }
    return text;
}

const pwr::SystemMetadata& machine() {
    static const pwr::SystemMetadata m = [] {
        pwr::SystemMetadata made;
        for (int sid = 0; sid < 8; ++sid) {
            made.pluginUuids[sid] = "8ad42930-517d-11e5-b970-08002" + std::to_string(sid);
        }
        made.fms = pwr::FMS(6, 0x8e, 0xc);
        made.appVersion = 0x07E40300;
        made.platformName = "PCH=DGWLP,PCI=ZLKB,PMT=ZLKC";
        made.hostName = "bench-host";
        made.osName = "Linux";
        made.osType = "x86_64";
        made.osVersion = "6.1.0";
        made.buildTopology(topologyText(64), 0);
        made.vraClockFreqMHz = 2400.0f;
        made.cpuFreqMHz = 2400.0f;
        made.commandLine = {"vantrell", "-t", "60", "-f", "out", "--result", "int"};
        made.platformSpecifiers = {{"PCH", "40324"}, {"PCI", "1"}};
        made.cpuNativeModelIds.assign(32, 0x20000001);
        made.driverBuildDate = "2020-01-02";
        made.exeBuildDate = "2020-01-03";
        made.clockSyncs.assign(3,
                               pwr::VRClockSync{"d3ad8390-29cc-11e6-bdf4-0800200c9a66", "QPC", 10.0f, 1,
                                                "5138ffc0-517d-11e5-b970-0800200c9a66", "TSC", 2400.0f, 2});
        made.versionString = "2020.3";
        made.buildRef = "abc123";
        made.packageType = "full";
        return made;
    }();
    return m;
}

void BM_SystemMetadataSerialize(benchmark::State& state) {
    vrbench::environmentWithRegistry();
    const pwr::SystemMetadata& m = machine();
    uint64_t before = vrbench::allocationCount();
    size_t bytes = 0;
    for (auto _ : state) {
        pwr::Serializer out;
        m.serialize(out);
        bytes = out.size();
        benchmark::DoNotOptimize(out);
    }
    vrbench::reportAllocations(state, before);
    state.counters["bytes"] = static_cast<double>(bytes);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}
BENCHMARK(BM_SystemMetadataSerialize);

void BM_SystemMetadataDeserialize(benchmark::State& state) {
    vrbench::environmentWithRegistry();
    pwr::Serializer stored;
    machine().serialize(stored);
    const size_t bytes = stored.size();
    pwr::Serializer in(stored.get_buffer());
    uint64_t before = vrbench::allocationCount();
    for (auto _ : state) {
        std::unique_ptr<pwr::Metadata> record(pwr::Metadata::deserialize(in, 0));
        if (!record) {
            state.SkipWithError("the record didn't read back");
            break;
        }
        in.rewind_read(bytes);
        benchmark::DoNotOptimize(record);
    }
    vrbench::reportAllocations(state, before);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}
BENCHMARK(BM_SystemMetadataDeserialize);

// The same read without the entity rebuild: the record is cut inside the last byte of its last clock
// sync, so every field up to there is parsed and then the record fails, skipping resetTopology.
void BM_SystemMetadataParseOnly(benchmark::State& state) {
    vrbench::environmentWithRegistry();
    pwr::Serializer stored;
    machine().serialize(stored);
    std::vector<char> bytes = stored.get_buffer();
    // hvciEnable (1 byte) and the three strings behind the syncs: 2 + 6, 2 + 6, 2 + 4 bytes.
    bytes.resize(bytes.size() - (1 + 8 + 8 + 6) - 1);
    pwr::Serializer in(bytes);
    uint64_t before = vrbench::allocationCount();
    for (auto _ : state) {
        std::unique_ptr<pwr::Metadata> record(pwr::Metadata::deserialize(in, 0));
        if (record) {
            state.SkipWithError("the cut record read");
            break;
        }
        in.rewind_read(bytes.size());
    }
    vrbench::reportAllocations(state, before);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
}
BENCHMARK(BM_SystemMetadataParseOnly);

}  // namespace
