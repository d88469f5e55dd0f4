#pragma once

// The seven features of the Linux metric plug-in. Each turns the entries of its raw messages (see
// LinuxPluginProtocol.h for keys, units and triggers) into metrics, and finalises them at the end.
//
// A feature lives from initializeCollection to finalizeCollection of its name. Its metrics are built
// in begin(), which needs a published WriterStream and a parsed output configuration (Metric throws a C
// string without them). One thread at a time, like the library's metric pipeline.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <vantrell/VantrellCore.h>

namespace vantrell::plugins::metrics {

// One entry of a message, pointing into the message's bytes.
struct Entry {
    uint16_t cpu;
    std::string_view key;
    uint64_t value;
};

// The entities of the logical CPUs, by logical CPU id, as the topology of the SystemMetadata gives
// them.
class CpuEntities {
  public:
    void build(const pwr::SystemMetadata& metadata);
    // Null for a CPU the topology doesn't hold.
    const pwr::EntityHandle* at(uint16_t cpu) const { return cpu < byCpu.size() ? byCpu[cpu] : nullptr; }
    size_t size() const { return byCpu.size(); }
    // Every known CPU's entity, in ascending CPU id.
    std::vector<const pwr::EntityHandle*> all() const;

  private:
    std::vector<const pwr::EntityHandle*> byCpu;
};

class Feature {
  public:
    virtual ~Feature() = default;
    // Builds the metrics. 0, or -1 after logging why.
    virtual int begin(const pwr::SystemMetadata& metadata) = 0;
    // One whole message: its TSC timestamp, its trigger (vr_when_type) and entries. 0, or 1 when
    // nothing of it could be used.
    virtual int process(uint64_t timestamp, uint8_t trigger, const std::vector<Entry>& entries) = 0;
    // Flushes and finalises the metrics (their tables reach the writers). 0 or 1.
    virtual int finish(const pwr::SystemMetadata& metadata) = 0;
    // The time base of the sources was reset (a sleep, a restart of the counters): the next message
    // is a new baseline, not a delta against the old one.
    virtual void rebase() {}
};

// The feature of metric id 1 to 7, for the plug-in `owner`; null for another id.
std::unique_ptr<Feature> makeFeature(int metricId, const MetricPlugin* owner);

std::unique_ptr<Feature> makeCStateFeature();
std::unique_ptr<Feature> makeCpuFeature();
std::unique_ptr<Feature> makeFrequencyFeature();
std::unique_ptr<Feature> makeThermalFeature(const MetricPlugin* owner);
std::unique_ptr<Feature> makePowerFeature();
std::unique_ptr<Feature> makeInterruptFeature();
std::unique_ptr<Feature> makeTraceFeature();

// Capability names by metric id - 1.
extern const char* const kFeatureNames[7];

}  // namespace vantrell::plugins::metrics
