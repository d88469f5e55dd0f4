#include "MachineProbe.h"

#include <unistd.h>

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

struct CpuTimes {
    unsigned long long busy = 0;
    unsigned long long total = 0;
};

std::map<int, CpuTimes> readCpuTimes() {
    std::map<int, CpuTimes> times;
    std::ifstream in("/proc/stat");
    std::string line;
    while (std::getline(in, line)) {
        if (line.compare(0, 3, "cpu") != 0 || line.size() < 4 || line[3] < '0' || line[3] > '9') {
            continue;
        }
        std::istringstream fields(line.substr(3));
        int cpu = 0;
        fields >> cpu;
        // user nice system idle iowait irq softirq steal: idle and iowait are the idle share.
        unsigned long long value = 0;
        CpuTimes t;
        for (int column = 0; column < 8 && fields >> value; ++column) {
            t.total += value;
            if (column != 3 && column != 4) {
                t.busy += value;
            }
        }
        times[cpu] = t;
    }
    return times;
}

std::map<int, unsigned long long> readCpuinfoFrequencies() {
    std::map<int, unsigned long long> mhz;
    std::ifstream in("/proc/cpuinfo");
    std::string line;
    int processor = -1;
    while (std::getline(in, line)) {
        std::string::size_type colon = line.find(':');
        if (colon == std::string::npos) {
            continue;
        }
        std::string key = line.substr(0, line.find_last_not_of(" \t", colon - 1) + 1);
        std::string value = line.substr(colon + 1);
        if (key == "processor") {
            processor = std::stoi(value);
        } else if (key == "cpu MHz" && processor >= 0) {
            mhz[processor] = static_cast<unsigned long long>(std::stod(value) + 0.5);
        }
    }
    return mhz;
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

std::map<int, CpuSample> sampleCpus(unsigned intervalMs) {
    std::map<int, CpuTimes> before = readCpuTimes();
    std::this_thread::sleep_for(std::chrono::milliseconds(intervalMs));
    std::map<int, CpuTimes> after = readCpuTimes();
    std::map<int, unsigned long long> cpuinfo = readCpuinfoFrequencies();

    std::map<int, CpuSample> samples;
    for (int cpu : onlineCpus()) {
        CpuSample& sample = samples[cpu];
        auto b = before.find(cpu);
        auto a = after.find(cpu);
        if (b != before.end() && a != after.end() && a->second.total > b->second.total) {
            sample.hasBusy = true;
            sample.busyPercent = 100.0 * static_cast<double>(a->second.busy - b->second.busy) /
                                 static_cast<double>(a->second.total - b->second.total);
        }
        long long khz = 0;
        if (readNumber(cpuDirectory(cpu) + "/cpufreq/scaling_cur_freq", khz) && khz > 0) {
            sample.hasFrequency = true;
            sample.frequencyMHz = static_cast<unsigned long long>(khz / 1000);
        } else if (cpuinfo.count(cpu) != 0) {
            sample.hasFrequency = true;
            sample.frequencyMHz = cpuinfo[cpu];
        }
    }
    return samples;
}

}  // namespace vantrell
