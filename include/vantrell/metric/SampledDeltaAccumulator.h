#pragma once

// SampledDeltaAccumulator: the summaries of a MetricType::SampledDelta metric, a counter whose samples
// each give the increase since the previous one (bytes moved, energy used). It sums the values and
// durations per (entity, descriptor) and reports totals and, where the metric's Quantity has a rate
// conversion, the average rate.
//
// Tables, in the order of the summary list: "SAMPLE-COUNT" (through a SampleCountSummarizer),
// "AVERAGE-RATE-TOTAL" (plain or transposed) and "TOTAL-DELTA". initialize keeps only one of the last
// two: the rate table when a rate can be formed, else the total table. Memory grows with the distinct
// keys, not with the samples.
// Not copyable. Used by the thread that feeds its metric; no locks.

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "vantrell/Export.h"
#include "vantrell/metric/Accumulator.h"
#include "vantrell/metric/DataElement.h"
#include "vantrell/value/Data.h"

class SampleCountSummarizer;

namespace pwr {
class TableInfo;
class TableMessage;
class TextNotes;
}  // namespace pwr

class VR_EXPORT SampledDeltaAccumulator : public pwr::Accumulator {
  public:
    enum Summary {
        SAMPLE_COUNT = 0,
        AVERAGE_RATE_TOTAL = 1,
        TOTAL_DELTA = 2,
    };
    using SummaryList = std::list<pwr::Enum<Summary>>;

    // The tables to make, in output order. Makes a SampleCountSummarizer(false, true, true) when
    // SAMPLE_COUNT is among them. Throws as Accumulator does.
    explicit SampledDeltaAccumulator(const SummaryList& summaries);
    ~SampledDeltaAccumulator() override;

    // The table-type strings in Summary order.
    static const std::vector<std::string>& getSummaryStrings();

    // Stores the clock frequency and units and chooses between rates and totals. Without a Quantity,
    // or with one that has no rate conversion, an enabled rate table logs "WARNING: Quantity and rate
    // conversion are not specified. Disabling rate calculations.\n" or "WARNING: Rate conversion is not
    // specified. Disabling rate calculations.\n" and gives way to the total table. Otherwise the total
    // table is dropped. Returns what the summariser returns (0 without one).
    int initialize(const pwr::Metric& metric, const pwr::SystemMetadata& metadata) override;
    // Sums each element's value and duration per key. With an empty summary list only logs the DEBUG
    // "No summary or -r int output enabled". Returns 0, or 1 when the summariser failed.
    int processMessage(const pwr::Metric& metric) override;
    // Pushes the tables of the summary list in its order. Returns 0.
    int finalize(const pwr::Metric& metric) override;

  private:
    struct KeyStats {
        uint64_t count = 0;
        double duration = 0.0;
        pwr::Data total;
    };

    KeyStats& firstSight_i(uint64_t key, const pwr::DataElement& element);
    // The average rate of `stats` as a REAL value.
    pwr::Data rate_i(const KeyStats& stats) const;
    void buildRatePlain_i(const pwr::Metric& metric, const pwr::TableInfo& info);
    void buildRateTransposed_i(const pwr::Metric& metric, const pwr::TableInfo& info);
    void buildTotal_i(const pwr::Metric& metric, const pwr::TableInfo& info);
    void addHandleColumns_i(const pwr::Metric& metric, pwr::TableMessage& table) const;
    // Sets the entity and descriptor cells of a row; returns the next field number.
    unsigned setHandles_i(pwr::TableMessage& table, const pwr::EntityDescCombo& pair) const;
    // Sets the cells of the closing "Total" row; returns the next field number.
    unsigned setTotalHandles_i(pwr::TableMessage& table) const;

    bool hasDescriptors = false;
    std::unique_ptr<SampleCountSummarizer> summarizer;
    std::string totalUnits;
    std::string rateUnits;
    std::unordered_map<uint64_t, KeyStats> keyStats;
    std::map<uint64_t, pwr::EntityDescCombo> keyToPair;
    double clockFrequency = 0.0;
    double rateMultiplier = 1.0;
    std::map<uint64_t, const pwr::EntityHandle*> entities;
    std::map<uint64_t, const pwr::DataDescriptor*> descriptors;
    std::vector<std::unique_ptr<pwr::TextNotes>> notes;
    SummaryList summaryList;
};
