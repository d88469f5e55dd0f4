#pragma once

// The skeleton shared by the built-in accumulators: map keys of (entity, descriptor) pairs, the table
// configuration of one table type, titles, notes, column heads and formatters, and cell setting.
// Private to the library.

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "vantrell/metric/Metric.h"
#include "vantrell/metric/SampleCountSummarizer.h"
#include "vantrell/value/Data.h"
#include "vantrell/writer/TableMessage.h"
#include "vantrell/writer/TextNotes.h"
#include "vantrell/writer/WriterInterfaceConfigFileParser.h"

class WriterStream;
class SampleCountSummarizer;

namespace pwr {
namespace metric_detail {

// The summariser of the "SAMPLE-COUNT" table (`sampleCount` in the accumulator's Summary) when
// `summaries` lists it, else null.
template <typename List, typename Value>
std::unique_ptr<SampleCountSummarizer> summarizerFor(const List& summaries, Value sampleCount, bool sampled,
                                                     bool showIntervals, bool perEntity) {
    if (std::find(summaries.begin(), summaries.end(), sampleCount) == summaries.end()) {
        return nullptr;
    }
    return std::make_unique<SampleCountSummarizer>(sampled, showIntervals, perEntity);
}

// The head of every built-in accumulator's processMessage. With no summary it logs "DEBUG: %s: No
// summary or -r int output enabled.\n" and gives 0; a sample-count summariser that fails gives 1 after
// "WARNING: Failed to process %s for sample count.\n". Otherwise -1: go on with the elements.
int processMessageHead(const Metric& metric, bool noSummaries, SampleCountSummarizer* summarizer);

// The rows of a value table: the finite set in its order, then the other `seen` values in first-seen
// order; without a finite set the seen values sorted ascending.
std::vector<Data> rowValues(const std::vector<Data>& seen, const std::vector<Data>& finiteSet);

// The entity's id when there is no descriptor or its id is 0, else (entity id << 32) + descriptor id.
unsigned long long pairKey(const EntityHandle* entity, const DataDescriptor* descriptor);

// The display name of an entity, as messages and column heads show it.
std::string displayName(const EntityHandle* entity);

// The TableInfo of `tableType` for the metric's tags. Missing (or no output configuration at all):
// "INFO: Output config file entry not present for MetricContainer %s and table type %s.\n" and an
// empty TableInfo.
TableInfo fetchTableInfo(const WriterInterfaceConfigFileParser* config, const Metric& metric,
                         const std::string& tableType);

// The TITLE of `info`, or the metric's name, followed by `suffix`.
std::string tableTitle(const TableInfo& info, const Metric& metric, const std::string& suffix);

// Notes from the PRE-TABLE-TEXT and POST-TABLE-TEXT keys, kept in `owner` until the accumulator dies.
const TextNotes* makeNotes(const TableInfo& info, std::vector<std::unique_ptr<TextNotes>>& owner);

// A table titled `title`, without quantity, marked as the metric's and carrying `notes`.
std::unique_ptr<TableMessage> makeTable(const std::string& title, const Metric& metric,
                                        const TextNotes* notes);

// `field`, or a new field with an empty name where the metric has none.
const Field* groupField(const Field* field);

// Adds a column; REAL columns format with 2 decimals. Returns the field number.
unsigned addColumn(TableMessage& table, const std::string& name, DataType type, bool shared = false);
unsigned addColumn(TableMessage& table, const Field* field, DataType type, bool shared = false);

// Sets the row-0 cell of `field` to `value`, converted through the payload of its type so that the
// cell keeps its own formatter. 0, or 1 when the cell can't take it (another type, no such field).
int setCell(TableMessage& table, unsigned field, const Data& value);
int setCell(TableMessage& table, unsigned field, const DataHandle& handle);
int setCell(TableMessage& table, unsigned field, unsigned long long value);
int setCell(TableMessage& table, unsigned field, double value);

// Reads a numeric value as double by its type (INT, UINT, REAL); 0.0 for anything else.
double toDouble(const Data& value);

// The value as text through a RealFormatter of width 0 with 2 decimals, as summary cells print reals.
std::string realText(const Data& value);

// Makes `target` equal to `source` without ever sharing a custom formatter between the two.
void copyData(Data& target, const Data& source);

}  // namespace metric_detail
}  // namespace pwr
