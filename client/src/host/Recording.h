#pragma once

// The host's side of the result file: a writer that stores every row of every summary table in the
// file as it passes through the stream, and the replay of a stored collection through the metric
// plug-ins, which print the same tables the live collection printed.

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <vantrell/VantrellCore.h>

#include "ResultStore.h"

namespace vantrell {

// Stores the rows of the summary tables; the host puts it into the stream's set when it records.
class TableRecorder : public WriterPlugin {
  public:
    explicit TableRecorder(store::ResultWriter& file) : WriterPlugin("vantrell-table-recorder"), file(file) {}
    int openOutput() override { return 0; }
    int closeOutput() override { return 0; }

  private:
    int writeMessage(const pwr::TableMessage& table) override;

    store::ResultWriter& file;
};

// What a stored collection was: for each feature, in the order it was collected, its messages
// rebuilt from their records (the metric plug-ins need only their names and ids).
struct StoredPlan {
    std::vector<std::string> features;
    std::map<std::string, std::vector<std::unique_ptr<pwr::InputMsg>>> messages;
    std::vector<std::unique_ptr<pwr::Metadata>> otherRecords;
};

// Reads the records of `reader` into a plan.
StoredPlan readPlan(store::ResultReader& reader);

}  // namespace vantrell
