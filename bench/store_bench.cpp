// Writing a generated collection into the result file, and reading it back: a machine of 64 CPUs polled
// every 100 ms for an hour (VR_BENCH_STORE_SECONDS shortens it), with the default features' messages
// in the layout of the reference plug-ins. Two shapes of the same entries:
//   /0  one message per feature and poll, every CPU in it (what the reference collector sends);
//   /1  one message per CPU, feature and poll (small messages: the cost per message).
// Counters: messages per second written and read, bytes per second written, file size per hour.

#include <benchmark/benchmark.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "LinuxPluginProtocol.h"
#include "ResultStore.h"

namespace {

using vantrell::plugins::kSystemCpu;
using vantrell::plugins::SampleWriter;

constexpr int kCpus = 64;
constexpr int kIntervalMs = 100;

struct Feature {
    int sid;
    bool perCpu;
    std::vector<std::string> keys;
};

std::vector<Feature> defaultFeatures() {
    std::vector<std::string> interrupts;
    for (int i = 0; i < 24; ++i) {
        interrupts.push_back(std::to_string(i));
    }
    for (const char* label : {"NMI", "LOC", "SPU", "PMI", "IWI", "RTR", "RES", "CAL", "TLB", "MCP"}) {
        interrupts.push_back(label);
    }
    return {
        {1, true, {"POLL", "C1", "C1E", "C6"}},
        {2, true, {"user", "nice", "system", "idle", "iowait", "irq", "softirq", "steal"}},
        {3, true, {"cur"}},
        {4, false, {"x86_pkg_temp", "acpitz", "nvme", "iwlwifi_1"}},
        {5, false, {"package-0", "core", "dram"}},
        {6, true, interrupts},
    };
}

// One poll's messages, whole, one after the other; `offsets` marks where each starts.
void makePoll(bool perCpuMessages, std::vector<char>& bytes, std::vector<size_t>& offsets) {
    uint8_t msgId = 1;
    for (const Feature& f : defaultFeatures()) {
        const auto source = vantrell::plugins::makeSource(f.sid, 1, msgId++);
        const int groups = f.perCpu && perCpuMessages ? kCpus : 1;
        for (int g = 0; g < groups; ++g) {
            offsets.push_back(bytes.size());
            SampleWriter w(bytes, 0, source, 1);
            const int firstCpu = perCpuMessages ? g : 0;
            const int cpus = !f.perCpu ? 1 : perCpuMessages ? 1 : kCpus;
            for (int c = firstCpu; c < firstCpu + cpus; ++c) {
                for (size_t k = 0; k < f.keys.size(); ++k) {
                    w.add(f.perCpu ? static_cast<uint16_t>(c) : kSystemCpu, f.keys[k],
                          1000003ULL * (c + 7 * k));
                }
            }
            w.finish();
        }
    }
    offsets.push_back(bytes.size());
}

int benchSeconds() {
    const char* text = std::getenv("VR_BENCH_STORE_SECONDS");
    const int seconds = text ? std::atoi(text) : 3600;
    return seconds > 0 ? seconds : 3600;
}

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void BM_StoreCollectionHour(benchmark::State& state) {
    vrbench::environmentWithRegistry();
    const bool perCpu = state.range(0) != 0;
    const int seconds = benchSeconds();
    const int polls = seconds * 1000 / kIntervalMs;
    std::vector<char> poll;
    std::vector<size_t> offsets;
    makePoll(perCpu, poll, offsets);
    char pattern[] = "/tmp/vr-bench-store-XXXXXX";
    if (::mkdtemp(pattern) == nullptr) {
        state.SkipWithError("no temporary directory");
        return;
    }
    const std::string path = std::string(pattern) + "/run.vrr";
    pwr::SystemMetadata system;
    system.platformName = "ALL";
    system.hostName = system.osName = system.osType = system.osVersion = "bench";

    uint64_t written = 0;
    uint64_t read = 0;
    double writeSeconds = 0;
    double readSeconds = 0;
    for (auto _ : state) {
        vantrell::store::ResultWriter writer;
        const auto start = std::chrono::steady_clock::now();
        bool fine = writer.create(path, "vr_bench", 0) && writer.writeSystemMetadata(system);
        uint64_t tsc = 1;
        for (int p = 0; p < polls && fine; ++p) {
            tsc += 200000000;  // 100 ms at 2 GHz
            for (size_t m = 0; m + 1 < offsets.size() && fine; ++m) {
                std::memcpy(poll.data() + offsets[m], &tsc, sizeof(tsc));
                fine = writer.appendMessage(poll.data() + offsets[m], offsets[m + 1] - offsets[m]);
            }
        }
        fine = fine && writer.close();
        writeSeconds = secondsSince(start);
        if (!fine) {
            state.SkipWithError(writer.error().c_str());
            break;
        }
        written = writer.messageCount();

        const auto readStart = std::chrono::steady_clock::now();
        vantrell::store::ResultReader reader;
        uint64_t sum = 0;
        if (reader.open(path)) {
            read = reader.forEachMessage(
                [&](const vr_driver_msg* m, size_t size) { sum += size + m->timestamp; });
        }
        readSeconds = secondsSince(readStart);
        benchmark::DoNotOptimize(sum);
        if (!reader.ok() || read != written) {
            state.SkipWithError("the file did not read back whole");
            break;
        }
        state.SetIterationTime(writeSeconds);
    }
    struct stat facts {};
    ::stat(path.c_str(), &facts);
    state.counters["msgs"] = static_cast<double>(written);
    state.counters["write_msgs/s"] = static_cast<double>(written) / writeSeconds;
    state.counters["write_MB/s"] =
        static_cast<double>(polls) * static_cast<double>(poll.size()) / writeSeconds / 1e6;
    state.counters["read_msgs/s"] = static_cast<double>(read) / readSeconds;
    state.counters["file_MB/hour"] = static_cast<double>(facts.st_size) / 1e6 * 3600.0 / seconds;
    ::unlink(path.c_str());
    ::rmdir(pattern);
}
BENCHMARK(BM_StoreCollectionHour)->Arg(0)->Arg(1)->Iterations(1)->UseManualTime()->Unit(benchmark::kSecond);

}  // namespace
