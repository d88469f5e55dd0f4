#pragma once

// TracedEventAccumulator: the summaries of a MetricType::TracedEvent metric, discrete events whose
// value says what happened (an interrupt source, a wake reason). It counts events by name (the display
// name of a handle value; all other values share the empty name) and by value.
//
// Tables, in the order of the summary list: "SAMPLE-COUNT" (through a SampleCountSummarizer, total
// counts per (entity, descriptor)), "EVENT-NAME-COUNTS" (one per descriptor) and "TOP-TEN-EVENT" (one
// per (entity, descriptor): the ten most frequent values, ties to the value that orders last). Never
// transposed. Memory grows with the distinct keys and values, not with the events.
// Not copyable. Used by the thread that feeds its metric; no locks.

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <set>
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
class TextNotes;
}  // namespace pwr

class VR_EXPORT TracedEventAccumulator : public pwr::Accumulator {
  public:
    enum Summary {
        SAMPLE_COUNT = 0,
        EVENT_NAME_COUNTS = 1,
        TOP_TEN_EVENT = 2,
    };
    using SummaryList = std::list<pwr::Enum<Summary>>;

    // The tables to make, in output order. Makes a SampleCountSummarizer(false, false, false) when
    // SAMPLE_COUNT is among them. Throws as Accumulator does.
    explicit TracedEventAccumulator(const SummaryList& summaries);
    ~TracedEventAccumulator() override;

    // The table-type strings in Summary order.
    static const std::vector<std::string>& getSummaryStrings();

    // Stores the units suffix and initialises the summariser. Returns what the summariser returns.
    int initialize(const pwr::Metric& metric, const pwr::SystemMetadata& metadata) override;
    // Counts each event by key, name and value. With an empty summary list only logs the DEBUG "No
    // summary or -r int output enabled". Returns 0, or 1 when the summariser failed.
    int processMessage(const pwr::Metric& metric) override;
    // Pushes the tables of the summary list in its order. Returns 0.
    int finalize(const pwr::Metric& metric) override;

  private:
    // One value of one key: its count, and the count of its name for the key, which the value's name
    // table row holds (a node of nameCounts, which never moves).
    struct ValueSlot {
        uint64_t count = 0;
        uint64_t* nameCount = nullptr;
    };
    struct KeyStats {
        uint64_t count = 0;
        std::map<pwr::Data, ValueSlot> values;
    };

    KeyStats& firstSight_i(uint64_t key, const pwr::DataElement& element);
    ValueSlot& newValue_i(KeyStats& stats, uint64_t key, const pwr::DataElement& element);
    void buildNameTables_i(const pwr::Metric& metric, const pwr::TableInfo& info);
    void buildNameTable_i(const pwr::Metric& metric, const pwr::TableInfo& info, const pwr::TextNotes* notes,
                          const pwr::DataDescriptor* descriptor);
    void buildTopTen_i(const pwr::Metric& metric, const pwr::TableInfo& info, uint64_t key);

    std::unique_ptr<SampleCountSummarizer> summarizer;
    pwr::DataType dataType = pwr::DataType::NONE;
    std::string units;
    std::unordered_map<uint64_t, KeyStats> keyStats;
    // Per event name, per key: how often the name occurred.
    std::map<std::string, std::map<uint64_t, uint64_t>> nameCounts;
    // Per descriptor id: the event names seen.
    std::map<uint64_t, std::set<std::string>> names;
    std::map<uint64_t, pwr::EntityDescCombo> keyToPair;
    std::map<uint64_t, const pwr::EntityHandle*> entities;
    std::map<uint64_t, const pwr::DataDescriptor*> descriptors;
    std::vector<std::unique_ptr<pwr::TextNotes>> notes;
    SummaryList summaryList;
};
