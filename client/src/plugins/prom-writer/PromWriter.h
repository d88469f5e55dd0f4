#pragma once

// prom-writer: writes the summary tables of a collection as OpenMetrics text for node_exporter's
// textfile collector, so that Prometheus watches a fleet without new code. Capability "prom"; output
// "<output>.prom", written to a temporary file beside it and renamed into place at closeOutput, so
// that the collector never reads half a file; the standard output when the "output" parameter is
// empty.
//
// Each row of a table becomes samples: cells that name something (entities, states, shared row keys)
// become labels, numeric cells become values. A column whose title is a known statistic ("Min (MHz)",
// "Residency (%)", "Average Rate (mW)") gives a metric named after the table and the statistic, with
// the unit's Prometheus suffix and the value scaled to the base unit:
//     vantrell_cstate_residency_ratio{cpu="0",state="C1"} 0.25
// Any other column stays generic: vantrell_<slug of the table title>{...,column="<title>"} with the
// value as the table shows it. Logical CPUs are labelled cpu="<n>". Families are gauges (the file
// describes one collection) and are written whole, each after its TYPE, UNIT and HELP lines, with a
// series repeated by a later table (a combined residency table repeats the percentages) kept once.
// vantrell_collection_start_time_seconds and vantrell_collection_duration_seconds say when the
// collection ran.
//
// The times of the collection come from the SystemMessage's SystemMetadata, which is borrowed: it
// must live until closeOutput, as the host's does. One thread at a time, as the stream calls it.

#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <vantrell/VantrellCore.h>

#include "LogicalCpus.h"

namespace vantrell::plugins {

class PromWriter : public WriterPlugin {
  public:
    using Labels = std::vector<std::pair<std::string, std::string>>;

    PromWriter();
    ~PromWriter() override;

    // Creates the temporary file beside the output; 0, or 1 when it can't.
    int openOutput() override;
    // Writes all families and "# EOF", then renames the temporary file into place; 0, or 1 when the
    // text couldn't be written. A second call does nothing.
    int closeOutput() override;

    const std::string& getOutputPath() const { return path; }

  protected:
    void notifyCommandlineParamsSet_i() override;

  private:
    struct Family {
        std::string name;
        std::string unit;
        std::string help;
        std::vector<std::pair<Labels, double>> samples;
        std::set<Labels> series;
    };
    struct Row {
        Labels labels;
        // Column title and value of each numeric cell.
        std::vector<std::pair<std::string, double>> values;
        // The row sums the others up (an entity named "Total").
        bool total = false;
    };

    int writeMessage(const pwr::SystemMessage& message) override;
    int writeMessage(const pwr::TableMessage& table) override;
    void addCollection_i();

    void readCell_i(const pwr::TableMessage& table, const pwr::EntityHandle* entity,
                    const pwr::DataHandle* field, bool shared, bool residency, Row& row);
    void addRow_i(const pwr::TableMessage& table, const Row& row);
    void addSample_i(const std::string& name, const std::string& unit, const std::string& help, Labels labels,
                     double value);
    void addLabel_i(Labels& labels, std::string name, const std::string& value) const;
    // The label of an entity: cpu="<n>" for a logical CPU, else <name>="<entity name>".
    void entityLabel_i(Labels& labels, const pwr::EntityHandle* entity, const std::string& name);
    int logicalCpu_i(const pwr::EntityHandle* entity);
    // The logical CPU whose entity has `name` as its name or qualified name, or -1.
    int cpuNamed_i(const std::string& name);
    std::string render_i() const;

    std::string path;
    std::string temporaryPath;
    std::FILE* file = nullptr;
    bool closed = false;
    const pwr::SystemMetadata* system = nullptr;
    std::vector<Family> families;
    std::map<std::string, size_t> familyIndex;
    vantrell::plugins::LogicalCpus cpus;
    std::map<std::string, int> cpuNames;
};

}  // namespace vantrell::plugins
