#pragma once

// TracedTransitionAccumulator: the summaries of a MetricType::TracedValueTransition metric, each of
// whose elements is one transition: the value is a state and the duration the time since the entity's
// previous transition. It adds up time and entries per value, without any sampling, and so has no
// "SAMPLE-COUNT" table.
//
// Tables, in the order of the summary list: "RESIDENCY-PERCENTAGE", "RESIDENCY-MILLISECOND",
// "TRANSITION-COUNTS", "RESIDENCY-COMBINED"; one per descriptor, the residency tables plain or
// transposed. Memory grows with the distinct keys and values, not with the transitions.
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

namespace pwr {
class TableInfo;
class TableMessage;
class TextNotes;
}  // namespace pwr

class VR_EXPORT TracedTransitionAccumulator : public pwr::Accumulator {
  public:
    enum Summary {
        RESIDENCY_PERCENTAGE = 0,
        RESIDENCY_MILLISECOND = 1,
        TRANSITION_COUNTS = 2,
        RESIDENCY_COMBINED = 3,
    };
    using SummaryList = std::list<pwr::Enum<Summary>>;

    // The tables to make, in output order. Throws as Accumulator does.
    explicit TracedTransitionAccumulator(const SummaryList& summaries);
    ~TracedTransitionAccumulator() override;

    // The table-type strings in Summary order.
    static const std::vector<std::string>& getSummaryStrings();

    // Stores the clock frequency and the units suffix. Returns 0.
    int initialize(const pwr::Metric& metric, const pwr::SystemMetadata& metadata) override;
    // Adds each transition's duration and one entry to its (entity, descriptor) and value. With an
    // empty summary list only logs the DEBUG "No summary or -r int output enabled". Returns 0.
    int processMessage(const pwr::Metric& metric) override;
    // Pushes the tables of the summary list in its order. Returns 0.
    int finalize(const pwr::Metric& metric) override;

  private:
    // Time and entries of one value for one key.
    struct ValueStats {
        uint64_t ticks = 0;
        uint64_t entries = 0;
    };
    using ValueMap = std::map<pwr::Data, ValueStats>;
    struct KeyStats {
        uint64_t count = 0;
        uint64_t totalDuration = 0;
        ValueMap values;
        std::vector<pwr::Data>* seen = nullptr;  // into seenValues, whose nodes never move
    };
    // Which table and which columns.
    struct Layout {
        bool residency;
        bool percentage;
        bool time;
    };

    KeyStats& firstSight_i(uint64_t key, const pwr::DataElement& element);
    void buildPlain_i(const pwr::Metric& metric, const std::string& title, const pwr::TextNotes* notes,
                      uint64_t descriptorId, Layout layout);
    void buildTransposed_i(const pwr::Metric& metric, const std::string& title, const pwr::TextNotes* notes,
                           uint64_t descriptorId, Layout layout);
    void addValueColumn_i(const pwr::Metric& metric, pwr::TableMessage& table, uint64_t descriptorId) const;
    std::vector<pwr::Data> rowValues_i(const pwr::Metric& metric, uint64_t descriptorId) const;
    // Percentage and milliseconds of `value` for (entity, descriptor); zeros for a key without entries.
    void residencyOf_i(uint64_t entityId, uint64_t descriptorId, const pwr::Data& value, double& percentage,
                       double& milliseconds) const;
    uint64_t entriesOf_i(uint64_t entityId, uint64_t descriptorId, const pwr::Data& value) const;
    std::string descriptorName_i(uint64_t descriptorId) const;

    pwr::DataType dataType = pwr::DataType::NONE;
    std::string units;
    std::unordered_map<uint64_t, KeyStats> keyStats;
    std::map<uint64_t, std::vector<pwr::Data>> seenValues;
    std::map<uint64_t, const pwr::EntityHandle*> entities;
    std::map<uint64_t, const pwr::DataDescriptor*> descriptors;
    double clockFrequency = 0.0;
    std::vector<std::unique_ptr<pwr::TextNotes>> notes;
    SummaryList summaryList;
};
