#pragma once

// Small pieces the features share: names to indices, descriptors by name, tick arithmetic, metric
// making, and a warning that is given once per unknown CPU.

#include <algorithm>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <vantrell/VantrellCore.h>

namespace vantrell::plugins::metrics {

// Entry keys to small indices, in order of first sight. Messages list their keys in the same order
// every time, so the next index is tried first and a message costs one string compare per entry.
class NameIndex {
  public:
    // The index of `key`; `added` tells that it is new.
    size_t find(std::string_view key, bool& added) {
        added = false;
        if (hint < names.size() && names[hint] == key) {
            return hint++;
        }
        for (size_t i = 0; i < names.size(); ++i) {
            if (names[i] == key) {
                hint = i + 1;
                return i;
            }
        }
        names.emplace_back(key);
        added = true;
        hint = names.size();
        return names.size() - 1;
    }
    const std::string& name(size_t index) const { return names[index]; }
    size_t size() const { return names.size(); }

  private:
    std::vector<std::string> names;
    size_t hint = 0;
};

// The registered descriptor of `name` (descriptors are interned: the same name gives the same one).
inline const pwr::DataDescriptor* descriptorNamed(const std::string& name) {
    return pwr::DataDescriptor::create(pwr::DataDescriptorBuilder(name, ""));
}

// Ticks from `from` (not before the collection's start) to `timestamp`; 0 when it isn't later.
inline uint64_t ticksSince(uint64_t timestamp, uint64_t from, uint64_t start) {
    const uint64_t begin = std::max(from, start);
    return timestamp > begin ? timestamp - begin : 0;
}

// Microseconds in ticks of a clock of `mhz`, rounded.
inline uint64_t ticksFromMicroseconds(uint64_t microseconds, double mhz) {
    return static_cast<uint64_t>(static_cast<double>(microseconds) * mhz + 0.5);
}

// Column heads of a metric's tables; an empty name leaves that head alone.
struct Heads {
    const char* entity = "";
    const char* descriptor = "";
    const char* value = "";
};

// A metric with its column heads. Throws the C string of Metric's constructor when the stream or the
// output configuration is missing.
std::unique_ptr<pwr::Metric> makeMetric(const std::string& name, pwr::Metric::MetricType type,
                                        const std::string& container, const std::string& feature,
                                        const pwr::SystemMetadata& metadata, const pwr::Quantity* quantity,
                                        const Heads& heads);

// Logs "WARNING: linux-metrics: <feature>: logical CPU <n> isn't in the topology; its entries are
// skipped\n" the first time a feature meets an unknown CPU.
class UnknownCpus {
  public:
    explicit UnknownCpus(const char* feature) : feature(feature) {}
    void note(uint16_t cpu);

  private:
    const char* feature;
    std::set<uint16_t> warned;
};

}  // namespace vantrell::plugins::metrics
