#include "MachineProbe.h"

#include <sys/utsname.h>
#include <unistd.h>
#include <x86intrin.h>

#include <climits>
#include <cstdlib>
#include <ctime>

#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>
#include <vector>

namespace vantrell {
namespace {

bool readNumber(const std::string& path, long long& out) {
    std::ifstream in(path);
    return static_cast<bool>(in >> out);
}

std::string cpuDirectory(int cpu) {
    return "/sys/devices/system/cpu/cpu" + std::to_string(cpu);
}

std::vector<int> onlineCpus() {
    std::vector<int> cpus;
    long count = sysconf(_SC_NPROCESSORS_CONF);
    for (int cpu = 0; cpu < count; ++cpu) {
        long long online = 1;
        // cpu0 often has no "online" file: it can't be taken offline.
        if (!readNumber(cpuDirectory(cpu) + "/online", online) || online != 0) {
            cpus.push_back(cpu);
        }
    }
    return cpus;
}

std::string osReleaseName() {
    std::ifstream in("/etc/os-release");
    std::string line;
    while (std::getline(in, line)) {
        if (line.rfind("PRETTY_NAME=", 0) == 0) {
            std::string value = line.substr(12);
            if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
                value = value.substr(1, value.size() - 2);
            }
            return value;
        }
    }
    return "Linux";
}

uint64_t monotonicRawNs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_RAW, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000000ULL + static_cast<uint64_t>(now.tv_nsec);
}

}  // namespace

std::string readTopologyText() {
    struct Cpu {
        int id;
        long long package, core, die;
    };
    std::vector<Cpu> cpus;
    bool severalDies = false;
    for (int id : onlineCpus()) {
        std::string topology = cpuDirectory(id) + "/topology/";
        Cpu cpu{id, 0, id, -1};
        readNumber(topology + "physical_package_id", cpu.package);
        readNumber(topology + "core_id", cpu.core);
        readNumber(topology + "die_id", cpu.die);
        severalDies = severalDies || cpu.die > 0;
        cpus.push_back(cpu);
    }
    std::ostringstream text;
    for (const Cpu& cpu : cpus) {
        // A die level is shown only where the kernel numbers more than one die.
        text << cpu.id << ' ' << cpu.package << ' ' << cpu.core << ' ' << (severalDies ? cpu.die : -1) << ' ';
    }
    return text.str();
}

pwr::FMS readFms() {
    std::ifstream in("/proc/cpuinfo");
    std::string line;
    int values[3] = {-1, -1, -1};
    const char* keys[3] = {"cpu family", "model", "stepping"};
    while (std::getline(in, line) && (values[0] < 0 || values[1] < 0 || values[2] < 0)) {
        const std::string::size_type colon = line.find(':');
        if (colon == std::string::npos) {
            continue;
        }
        const std::string key = line.substr(0, line.find_last_not_of(" \t", colon - 1) + 1);
        for (int i = 0; i < 3; ++i) {
            if (key == keys[i] && values[i] < 0) {
                values[i] = std::atoi(line.c_str() + colon + 1);
            }
        }
    }
    auto byte = [](int value) { return static_cast<uint8_t>(value < 0 ? 0 : value); };
    return pwr::FMS(byte(values[0]), byte(values[1]), byte(values[2]));
}

std::string fmsText(pwr::FMS const& fms) {
    return std::to_string(fms.family) + "." + std::to_string(fms.model) + "." + std::to_string(fms.stepping);
}

float measureTscMHz(unsigned sampleMs) {
    const uint64_t startNs = monotonicRawNs();
    const uint64_t startTicks = __rdtsc();
    std::this_thread::sleep_for(std::chrono::milliseconds(sampleMs));
    const uint64_t ticks = __rdtsc() - startTicks;
    const uint64_t ns = monotonicRawNs() - startNs;
    return ns == 0 ? 0.0f : static_cast<float>(static_cast<double>(ticks) * 1000.0 / static_cast<double>(ns));
}

uint64_t wallClockNs() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000000ULL + static_cast<uint64_t>(now.tv_nsec);
}

pwr::SystemMetadata describeMachine(MachineFacts const& facts) {
    pwr::SystemMetadata machine;
    machine.hostName = "localhost";
    char name[HOST_NAME_MAX + 1] = {};
    if (gethostname(name, sizeof(name) - 1) == 0) {
        machine.hostName = name;
    }
    utsname system{};
    if (uname(&system) == 0) {
        machine.osType = std::string(system.sysname) + " " + system.machine;
        machine.osVersion = system.release;
    }
    machine.osName = osReleaseName();
    machine.fms = readFms();
    machine.buildTopology(readTopologyText(), 0);
    machine.vraClockFreqMHz = measureTscMHz(20);
    machine.pollingIntervalMsecs =
        static_cast<uint16_t>(facts.intervalMs > 0xffff ? 0xffff : facts.intervalMs);
    machine.maxDetail = facts.maxDetail ? 1 : 0;
    machine.commandLine = facts.commandLine;
    return machine;
}

}  // namespace vantrell
