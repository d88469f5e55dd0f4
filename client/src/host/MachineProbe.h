#pragma once

// What the host reads of the machine it runs on, from /proc and /sys: the CPU topology in the text
// form that TopTree::buildTopology takes, and per-CPU load and frequency. Every reading is optional:
// a file that is missing leaves its value out rather than failing.

#include <map>
#include <string>

namespace vantrell {

struct CpuSample {
    bool hasBusy = false;
    double busyPercent = 0.0;
    bool hasFrequency = false;
    unsigned long long frequencyMHz = 0;
};

// "cpu package core die" groups, one per online logical CPU; die -1 where the kernel reports none.
// Falls back to one package of one-thread cores when /sys has no topology.
std::string readTopologyText();

// Busy share of each logical CPU over `intervalMs`, from two readings of /proc/stat, and its current
// frequency from cpufreq or /proc/cpuinfo.
std::map<int, CpuSample> sampleCpus(unsigned intervalMs);

}  // namespace vantrell
