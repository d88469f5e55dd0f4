#pragma once

// SampledValueAccumulator: the summaries of a MetricType::SampledValue metric, whose data points carry
// a value of any type at each sampling point (a frequency, a temperature, a state). For numeric values
// it keeps minimum, maximum, plain and time-weighted averages per (entity, descriptor); for every type
// it counts how often each value occurred and approximates how long each value was held.
//
// Tables, in the order of the summary list: "SAMPLE-COUNT" (through a SampleCountSummarizer),
// "MIN-MAX-AVG", "NUMBER-OF-OCCURENCES", "RELATIVE-FREQUENCY-PERCENTAGE", "MIN-MAX",
// "APPROXIMATED-RESIDENCY". Memory grows with the distinct keys and values, not with the samples.
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

class VR_EXPORT SampledValueAccumulator : public pwr::Accumulator {
  public:
    enum Summary {
        SAMPLE_COUNT = 0,
        MIN_MAX_AVG = 1,
        NUMBER_OF_OCCURENCES = 2,
        RELATIVE_FREQUENCY_PERCENTAGE = 3,
        MIN_MAX = 4,
        APPROXIMATED_RESIDENCY = 5,
    };
    using SummaryList = std::list<pwr::Enum<Summary>>;

    // The tables to make, in output order. Makes a SampleCountSummarizer(true, true, true) when
    // SAMPLE_COUNT is among them. Throws as Accumulator does.
    explicit SampledValueAccumulator(const SummaryList& summaries);
    ~SampledValueAccumulator() override;

    // The table-type strings in Summary order.
    static const std::vector<std::string>& getSummaryStrings();

    // Stores the clock frequency and the units suffix, and initialises the summariser. Returns what
    // the summariser returns (0 without one).
    int initialize(const pwr::Metric& metric, const pwr::SystemMetadata& metadata) override;
    // Takes in every element of the data point. With an empty summary list logs "DEBUG: %s: No summary
    // or -r int output enabled.\n" and does nothing. Returns 0, or 1 when the summariser failed.
    int processMessage(const pwr::Metric& metric) override;
    // Pushes the tables of the summary list in its order. Returns 0.
    int finalize(const pwr::Metric& metric) override;

  private:
    // How often one value was seen for a key, and the rounded weight it was held for.
    struct ValueCounts {
        uint64_t occurrences = 0;
        uint64_t ticks = 0;
    };
    using ValueMap = std::map<pwr::Data, ValueCounts>;
    // Everything kept per (entity, descriptor) key. The pointers lead into the ordered maps below,
    // whose nodes never move.
    struct KeyStats {
        uint64_t count = 0;
        pwr::Data minimum;
        pwr::Data maximum;
        pwr::Data sum;
        double weightedSum = 0.0;
        uint64_t totalTicks = 0;
        ValueMap* values = nullptr;
        std::vector<pwr::Data>* seen = nullptr;
    };
    using EntityValues = std::map<uint64_t, ValueMap>;

    KeyStats& firstSight_i(uint64_t key, const pwr::DataElement& element);
    void takeIn_i(const pwr::DataElement& element);

    // Builders (SampledValueTables.cpp).
    void buildMinMax_i(const pwr::Metric& metric, const pwr::TableInfo& info, bool withAverages);
    void buildDistribution_i(const pwr::Metric& metric, const pwr::TableInfo& info, Summary summary);
    void buildPlain_i(const pwr::Metric& metric, const std::string& title, const pwr::TextNotes* notes,
                      uint64_t descriptorId, const EntityValues& entities, Summary summary);
    void buildTransposed_i(const pwr::Metric& metric, const std::string& title, const pwr::TextNotes* notes,
                           uint64_t descriptorId, const EntityValues& entities, Summary summary);
    std::vector<pwr::Data> rowValues_i(const pwr::Metric& metric, uint64_t descriptorId) const;
    double cellValue_i(uint64_t descriptorId, uint64_t entityId, const ValueMap& values,
                       const pwr::Data& value, Summary summary) const;
    std::string descriptorName_i(uint64_t descriptorId) const;

    std::unique_ptr<SampleCountSummarizer> summarizer;
    pwr::DataType dataType = pwr::DataType::NONE;
    std::string units;
    std::unordered_map<uint64_t, KeyStats> keyStats;
    std::map<uint64_t, pwr::EntityDescCombo> keyToPair;
    std::map<uint64_t, const pwr::EntityHandle*> entities;
    std::map<uint64_t, const pwr::DataDescriptor*> descriptors;
    double clockFrequency = 0.0;
    // Per descriptor id, per entity id: the values and their counts (occurrences and residency).
    std::map<uint64_t, EntityValues> distribution;
    // Per descriptor id: the distinct values in first-seen order.
    std::map<uint64_t, std::vector<pwr::Data>> seenValues;
    std::vector<std::unique_ptr<pwr::TextNotes>> notes;
    SummaryList summaryList;
};
