#pragma once

// A Source reads one kind of kernel source into message entries. open() finds and opens its files
// once; read() re-reads them and appends one entry per value, allocating nothing once the output has
// grown to size. A value that can't be read is skipped and reported once per file, at WARNING level.
// One thread at a time.

#include <cstdint>
#include <memory>
#include <set>
#include <string>

#include "LinuxPluginProtocol.h"
#include "SourceOperation.h"

namespace vantrell::linuxcollector {

class Source {
  public:
    virtual ~Source() = default;
    // Finds the files below `path` (already rooted). False, with the reason in `problem`, when there
    // is nothing to read.
    virtual bool open(const std::string& path, std::string& problem) = 0;
    // Appends this source's entries of one sample; `trigger` is the vr_when_type of the read.
    virtual void read(vantrell::plugins::SampleWriter& out, uint8_t trigger) = 0;
    // Whether the values are signed numbers carried as two's complement (temperatures).
    virtual bool isSigned() const { return false; }
    // The CPUs this source gives values for (per-CPU sources only).
    virtual std::set<uint16_t> coveredCpus() const { return {}; }
    // Leaves out CPUs that another source of the same message covers; false when none is left.
    virtual bool exclude(const std::set<uint16_t>& cpus) {
        (void)cpus;
        return true;
    }
};

std::unique_ptr<Source> makeSource(SourceKind kind);

// The factories of each file.
std::unique_ptr<Source> makeCpuidleSource();
std::unique_ptr<Source> makeCpufreqSource();
std::unique_ptr<Source> makeThermalSource();
std::unique_ptr<Source> makeHwmonSource();
std::unique_ptr<Source> makePowercapSource();
std::unique_ptr<Source> makeProcStatSource();
std::unique_ptr<Source> makeCpuinfoSource();
std::unique_ptr<Source> makeInterruptsSource();

// Logs, once per `reported` flag, that `path` gave no value: "WARNING: linux-collector: <why> <path>;
// skipped\n".
void reportOnce(bool& reported, const char* why, const std::string& path);

}  // namespace vantrell::linuxcollector
