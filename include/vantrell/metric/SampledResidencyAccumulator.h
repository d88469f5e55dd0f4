#pragma once

// SampledResidencyAccumulator: the summaries of a MetricType::SampledResidency metric, whose data
// points carry, per entity and state (a DataDescriptor), the clock ticks the entity spent in that state
// since the previous point. It adds the ticks up and reports per state and entity the share of the
// collection time and the absolute time.
//
// Tables, in the order of the summary list: "SAMPLE-COUNT" (through a SampleCountSummarizer),
// "RESIDENCY-PERCENTAGE", "RESIDENCY-MILLISECOND", "RESIDENCY-COMBINED"; the last three plain or
// transposed. Rows follow the metric's declared states, then states in order of first sight. Memory
// grows with the distinct entities and states, not with the samples.
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

class SampleCountSummarizer;

namespace pwr {
class TableInfo;
class TextNotes;
}  // namespace pwr

class VR_EXPORT SampledResidencyAccumulator : public pwr::Accumulator {
  public:
    enum Summary {
        SAMPLE_COUNT = 0,
        RESIDENCY_PERCENTAGE = 1,
        RESIDENCY_MILLISECOND = 2,
        RESIDENCY_COMBINED = 3,
    };
    using SummaryList = std::list<pwr::Enum<Summary>>;

    // The tables to make, in output order. Makes a SampleCountSummarizer(false, true, true) when
    // SAMPLE_COUNT is among them. Throws as Accumulator does.
    explicit SampledResidencyAccumulator(const SummaryList& summaries);
    ~SampledResidencyAccumulator() override;

    // The table-type strings in Summary order.
    static const std::vector<std::string>& getSummaryStrings();

    // Stores the clock frequency and the units, takes the metric's descriptor list as the row order,
    // and initialises the summariser. Returns what the summariser returns (0 without one).
    int initialize(const pwr::Metric& metric, const pwr::SystemMetadata& metadata) override;
    // Adds each element's ticks to its (entity, state) and one duration per entity to the entity's
    // total. A value that isn't UINT logs "WARNING: %s: MetricType::SampledResidency metric type is
    // requiredto have values of type pw_u64_t\n" and returns 1. With an empty summary list only logs
    // the DEBUG "No summary or -r int output enabled". Returns 0, or 1 when the summariser failed.
    int processMessage(const pwr::Metric& metric) override;
    // Pushes the tables of the summary list in its order. Returns 0.
    int finalize(const pwr::Metric& metric) override;

  private:
    struct KeyStats {
        uint64_t count = 0;
        double residency = 0.0;
    };

    void bringInDeclared_i(const pwr::Metric& metric);
    void buildPlain_i(const pwr::Metric& metric, const pwr::TableInfo& info, const std::string& title,
                      bool percentage, bool time);
    void buildTransposed_i(const pwr::Metric& metric, const pwr::TableInfo& info, const std::string& title,
                           bool percentage, bool time);
    // Percentage of the entity's time and milliseconds of (entity, state); zeros for a silent pair.
    void cellValues_i(const pwr::EntityHandle* entity, const pwr::DataDescriptor* state, double& percentage,
                      double& milliseconds) const;

    std::unique_ptr<SampleCountSummarizer> summarizer;
    std::string units;
    std::unordered_map<uint64_t, KeyStats> keyStats;
    std::unordered_map<uint64_t, double> totalDuration;
    std::map<uint64_t, const pwr::EntityHandle*> entities;
    std::list<const pwr::DataDescriptor*> stateOrder;
    double clockFrequency = 0.0;
    std::vector<std::unique_ptr<pwr::TextNotes>> notes;
    SummaryList summaryList;
    // Entities whose duration was added in the data point being taken in; reused across points.
    std::vector<uint64_t> addedThisPoint;
};
