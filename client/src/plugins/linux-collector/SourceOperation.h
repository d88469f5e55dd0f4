#pragma once

// The operations of the Linux collector: one type per kernel source, each with the one category
// SOURCE, the file or directory it reads (below the root, see linuxRoot). A requirement named
// "LINUX-SOURCE" keeps a type out of the configuration's messages on a machine that lacks its source.
//
// Prototypes and requirements belong to the collector; clones in messages share the requirement.

#include <cstdint>
#include <string>

#include <vantrell/VantrellCore.h>

namespace vantrell::linuxcollector {

enum class SourceKind : uint8_t { Cpuidle, ProcStat, Cpufreq, Cpuinfo, Thermal, Hwmon, Powercap, Interrupts };
constexpr SourceKind kAllSourceKinds[] = {SourceKind::Cpuidle,  SourceKind::ProcStat,  SourceKind::Cpufreq,
                                          SourceKind::Cpuinfo,  SourceKind::Thermal,   SourceKind::Hwmon,
                                          SourceKind::Powercap, SourceKind::Interrupts};

// The operation type in the configuration: "CPUIDLE", "PROCSTAT", ...
const char* typeName(SourceKind kind);
// Where the kernel keeps the source: "/sys/devices/system/cpu", "/proc/stat", ...
const char* standardPath(SourceKind kind);

// $VR_LINUX_ROOT, or "/" when it is unset or empty; read at each call, so tests can point it at a tree.
std::string linuxRoot();
// `path` below the root: "/proc/stat" below "/tmp/x" is "/tmp/x/proc/stat".
std::string rooted(const std::string& path);

class SourceOperation : public pwr::Operation {
  public:
    explicit SourceOperation(SourceKind kind);

    // Takes the SOURCE path once: -1 for another key or a second value.
    int set(const std::string& key, const std::string& value) override;
    pwr::OperationMetadata* getOperationMetadata() const override;
    pwr::Operation* clone() const override { return new SourceOperation(*this); }

    SourceKind getKind() const { return kind; }
    // The configured path, or the standard one when the file named none.
    const std::string& getSource() const { return source; }

  private:
    SourceKind kind;
    std::string source;
    bool sourceSet = false;
};

// Met when the source of its kind, at its standard place below the root, has something to read.
class LinuxSourceRequirement : public pwr::PluginRequirement {
  public:
    explicit LinuxSourceRequirement(SourceKind kind) : PluginRequirement("LINUX-SOURCE", false), kind(kind) {}

  protected:
    bool isPluginRequirementSatisfied_i(const pwr::SystemMetadata& system,
                                        const pwr::PluginParams& params) const override;

  private:
    SourceKind kind;
};

}  // namespace vantrell::linuxcollector
