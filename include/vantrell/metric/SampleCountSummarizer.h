#pragma once

// SampleCountSummarizer: the "SAMPLE-COUNT" table of a metric: how many data points each entity (or
// entity and descriptor) delivered, and at what intervals. The built-in accumulators own one when the
// table is among their summaries and forward initialize, processMessage and finalize to it.
//
// Not copyable. Used by the thread that feeds its metric; no locks.

#include <cstdint>
#include <map>
#include <unordered_map>

#include "vantrell/Export.h"
#include "vantrell/metric/Accumulator.h"
#include "vantrell/metric/DataElement.h"

namespace pwr {
class TableMessage;
}  // namespace pwr

class VR_EXPORT SampleCountSummarizer : public pwr::Accumulator {
  public:
    // `sampled` adds " - Sampled" to the title, `showIntervals` the three interval columns; with
    // `perEntity` rows are per entity (one per display name), else per (entity, descriptor).
    SampleCountSummarizer(bool sampled, bool showIntervals, bool perEntity);
    ~SampleCountSummarizer() override;

    // Stores the clock frequency of `metadata`. Returns 0.
    int initialize(const pwr::Metric& metric, const pwr::SystemMetadata& metadata) override;
    // Pushes the table: one push for its head, one per row in key order, the metric's declared but
    // silent pairs included with a count of 0. Returns 0.
    int finalize(const pwr::Metric& metric) override;
    // Counts the data point once per key and notes the interval since the key's previous point.
    // Returns 0.
    int processMessage(const pwr::Metric& metric) override;

  private:
    // What is known of one key. A key that never reported reads as all zeros.
    struct KeyRecord {
        uint64_t count = 0;
        uint64_t previousTimestamp = 0;
        uint64_t minInterval = 0;
        uint64_t maxInterval = 0;
        uint64_t totalInterval = 0;
        double firstDuration = 0.0;
    };

    uint64_t key_i(const pwr::DataElement& element) const;
    void recordNewKey_i(uint64_t key, const pwr::DataElement& element, KeyRecord& record);
    bool nameRecorded_i(const pwr::EntityHandle* entity) const;
    void addExpectedRows_i(const pwr::Metric& metric);
    void pushRow_i(pwr::TableMessage& table, uint64_t key, const pwr::EntityDescCombo& pair,
                   bool withDescriptor);

    bool hasDescriptors = false;
    bool sampled;
    bool showIntervals;
    bool perEntity;
    std::unordered_map<uint64_t, KeyRecord> records;
    std::map<uint64_t, pwr::EntityDescCombo> keyToPair;
    double clockFrequency = 0.0;
};
