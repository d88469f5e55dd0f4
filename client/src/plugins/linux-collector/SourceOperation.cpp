#include "SourceOperation.h"

#include <cstdlib>

#include "Sources.h"

namespace vantrell::linuxcollector {

namespace {

struct KindInfo {
    const char* type;
    const char* path;
};

const KindInfo& info(SourceKind kind) {
    static const KindInfo table[] = {
        {"CPUIDLE", "/sys/devices/system/cpu"}, {"PROCSTAT", "/proc/stat"},
        {"CPUFREQ", "/sys/devices/system/cpu"}, {"CPUINFO", "/proc/cpuinfo"},
        {"THERMAL", "/sys/class/thermal"},      {"HWMON", "/sys/class/hwmon"},
        {"POWERCAP", "/sys/class/powercap"},    {"INTERRUPTS", "/proc/interrupts"},
    };
    return table[static_cast<size_t>(kind)];
}

}  // namespace

const char* typeName(SourceKind kind) {
    return info(kind).type;
}

const char* standardPath(SourceKind kind) {
    return info(kind).path;
}

std::string linuxRoot() {
    const char* root = std::getenv("VR_LINUX_ROOT");
    return root == nullptr || *root == '\0' ? std::string("/") : std::string(root);
}

std::string rooted(const std::string& path) {
    std::string root = linuxRoot();
    while (root.size() > 1 && root.back() == '/') {
        root.pop_back();
    }
    if (root == "/") {
        return path;
    }
    return path.empty() || path.front() != '/' ? root + "/" + path : root + path;
}

SourceOperation::SourceOperation(SourceKind sourceKind)
    : Operation(typeName(sourceKind)), kind(sourceKind), source(standardPath(sourceKind)) {
    addCategory("SOURCE");
}

int SourceOperation::set(const std::string& key, const std::string& value) {
    if (key != "SOURCE" || sourceSet || value.empty()) {
        return -1;
    }
    source = value;
    sourceSet = true;
    return 0;
}

pwr::OperationMetadata* SourceOperation::getOperationMetadata() const {
    // Entries carry their own sizes: the record names the operation and its type only.
    return new pwr::OperationMetadata(getName(), getOperation(), 0);
}

bool LinuxSourceRequirement::isPluginRequirementSatisfied_i(const pwr::SystemMetadata&,
                                                            const pwr::PluginParams&) const {
    std::string problem;
    return makeSource(kind)->open(rooted(standardPath(kind)), problem);
}

}  // namespace vantrell::linuxcollector
