#pragma once

// CSV that pandas and spreadsheets load without cleaning: one header row, one value a cell, units in
// the header, RFC 4180 quoting and line ends. One capability, "csv", in the group "int":
//   -r csv  each summary table in "<prefix>-<title slug>.csv", listed in "<prefix>-tables.csv";
//   -r int  the over-time data in "<prefix>-int.csv", a flushed line per element of every data
//           point while the collection runs, so that `tail -f` follows it.
// Without an output prefix both go to standard output, each table after a "# <title>" line.

#include <map>
#include <set>
#include <string>

#include <vantrell/VantrellCore.h>

#include "OutputFile.h"
#include "TableGatherer.h"

class CsvWriter : public vantrell::plugins::GatheringWriter {
  public:
    CsvWriter();

    int openOutput() override;
    int closeOutput() override;

  private:
    int writeMessage(const pwr::Metric& metric) override;
    int writeMessage(const pwr::SystemMessage& message) override;
    int writeMessage(const pwr::TableMessage& table) override;
    int writeMessage(const pwr::MetricContainerInfoMessage& message) override;

    void writeTable_i(vantrell::plugins::GatheredTable const& table);
    std::string uniqueSlug_i(std::string const& title);

    std::string prefix;
    bool summaries = false;
    bool overTime = false;
    const pwr::SystemMetadata* system = nullptr;
    vantrell::plugins::OutputFile index;
    vantrell::plugins::OutputFile points;
    std::set<std::string> slugs;
    std::string line;  // reused for every over-time line
};
