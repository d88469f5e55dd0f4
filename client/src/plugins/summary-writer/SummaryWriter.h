#pragma once

// The "sum" result: every summary table as aligned text, in the order the tables arrive, with the
// metric's banner and notes around its tables and each table's notes around it. Standard output when the
// host gives no output prefix, else "<prefix>.txt".

#include <deque>
#include <string>
#include <vector>

#include <vantrell/VantrellCore.h>

#include "OutputFile.h"
#include "TableGatherer.h"

class SummaryWriter : public vantrell::plugins::GatheringWriter {
  public:
    SummaryWriter();

    int openOutput() override;
    int closeOutput() override;

  private:
    int writeMessage(const pwr::MetricContainerInfoMessage& message) override;
    int writeMessage(const pwr::TextMessage& message) override;
    int writeMessage(const pwr::TableMessage& table) override;

    void print_i(vantrell::plugins::GatheredTable const& table);
    // Finishes the table being gathered and prints the post-table notes of the metric before.
    void endMetric_i();

    vantrell::plugins::OutputFile out;
    std::vector<std::string> metricPostNotes;  // printed behind the metric's last table
};
