#pragma once

// What the host reads of the machine it runs on, for the SystemMetadata of a collection: the CPU
// topology in the text form that TopTree::buildTopology takes, the processor's family, model and
// stepping, the operating system, and the TSC frequency measured against the nanosecond clock. Every
// reading is optional: a file that is missing leaves its value out rather than failing.

#include <cstdint>
#include <string>
#include <vector>

#include <vantrell/VantrellCore.h>

namespace vantrell {

// "cpu package core die" groups, one per online logical CPU; die -1 where the kernel reports none.
std::string readTopologyText();

// Family, model and stepping of the first processor of /proc/cpuinfo; zeros when it can't be read.
pwr::FMS readFms();

// "6.85.4": the form the configuration's FMS specifiers and --print-fms use.
std::string fmsText(pwr::FMS const& fms);

// TSC ticks per microsecond, timed against CLOCK_MONOTONIC_RAW over `sampleMs`.
float measureTscMHz(unsigned sampleMs);

// Nanoseconds since 1970.
uint64_t wallClockNs();

struct MachineFacts {
    unsigned intervalMs = 0;
    bool maxDetail = false;
    std::vector<std::string> commandLine;
};

// Host name, OS facts, FMS, topology, the measured TSC clock, the interval and the command line.
pwr::SystemMetadata describeMachine(MachineFacts const& facts);

}  // namespace vantrell
