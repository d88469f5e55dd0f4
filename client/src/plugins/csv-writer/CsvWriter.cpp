// csv-writer: summary tables ("-r csv") and over-time data ("-r int") as CSV that pandas and
// spreadsheets load as they are: one header row, one value per cell, RFC 4180 quoting.
//
// Tables: one file per table, "<output>-<slug of title>.csv", and an index "<output>-tables.csv"
// (file, title, rows, notes); with an empty output prefix each table goes to standard output as a title
// record, the header, the rows and a blank line. Over-time data: "<output>-int.csv" (or standard
// output), columns time_s,metric,entity,field,value,unit, one block of lines per sampling point,
// flushed at once so that a live collection can be followed with `tail -f`.

#include <cctype>
#include <cstdio>
#include <set>
#include <string>
#include <vector>

#include <vantrell/VantrellCore.h>

#include "../summary-writer/TableGatherer.h"
#include "LinuxPluginProtocol.h"

namespace vantrell::plugins {
namespace {

std::string csvField(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos && trimBlanks(text) == text) {
        return text;
    }
    std::string quoted = "\"";
    for (char c : text) {
        quoted += c;
        if (c == '"') {
            quoted += '"';
        }
    }
    return quoted + "\"";
}

std::string csvRecord(const std::vector<std::string>& fields) {
    std::string line;
    for (size_t i = 0; i < fields.size(); ++i) {
        line += (i > 0 ? "," : "") + csvField(fields[i]);
    }
    return line + "\n";
}

// Lower-case letters and digits; every run of anything else becomes one "-".
std::string slugOf(const std::string& title) {
    std::string slug;
    for (unsigned char c : title) {
        if (std::isalnum(c) != 0) {
            slug += static_cast<char>(std::tolower(c));
        } else if (!slug.empty() && slug.back() != '-') {
            slug += '-';
        }
    }
    while (!slug.empty() && slug.back() == '-') {
        slug.pop_back();
    }
    return slug.empty() ? "table" : slug;
}

std::string join(const std::vector<std::string>& texts, const char* separator) {
    std::string out;
    for (const std::string& text : texts) {
        out += (out.empty() ? "" : separator) + text;
    }
    return out;
}

class CsvWriter : public TableWriterBase {
  public:
    CsvWriter() : TableWriterBase("csv-writer") {
        auto* capability = new pwr::WriterPluginCapability(
            {pwr::TABLE_CLASS_DEFAULT}, "csv", "Summary tables and over-time data as CSV", ".csv", true);
        capability->addGroupName("int");
        addCapability(capability);
    }
    ~CsvWriter() override { closeOutput(); }

    int closeOutput() override {
        finishTable();
        overTime.close();
        return 0;
    }

  protected:
    void notifyCommandlineParamsSet_i() override {
        TableWriterBase::notifyCommandlineParamsSet_i();
        std::set<std::string> words;
        const std::string& list = params["results"];
        for (size_t begin = 0; begin <= list.size();) {
            size_t end = list.find(',', begin);
            end = end == std::string::npos ? list.size() : end;
            words.insert(trimBlanks(list.substr(begin, end - begin)));
            begin = end + 1;
        }
        // A list that names neither (the writer chosen some other way) gets both.
        const bool neither = words.count("csv") == 0 && words.count("int") == 0;
        tablesWanted = neither || words.count("csv") != 0;
        overTimeWanted = neither || words.count("int") != 0;
    }

  private:
    // ---- Summary tables ---------------------------------------------------------------------------

    int writeMessage(const pwr::TableMessage& table) override {
        if (tablesWanted) {
            gather(table);
        }
        return 0;
    }

    void tableDone(const GatheredTable& table) override {
        std::string text = csvRecord(table.columns);
        for (const auto& row : table.rows) {
            text += csvRecord(row);
        }
        if (outputPrefix.empty()) {
            const std::string block = csvRecord({table.title}) + text + "\n";
            std::fwrite(block.data(), 1, block.size(), stdout);
            std::fflush(stdout);
            return;
        }
        const std::string file = uniqueFileName(outputPrefix + "-" + slugOf(table.title));
        OutputFile out;
        if (!out.open(file)) {
            return;
        }
        out.write(text);
        out.close();
        std::vector<std::string> notes = table.preNotes;
        notes.insert(notes.end(), table.postNotes.begin(), table.postNotes.end());
        index.push_back({file, table.title, std::to_string(table.rows.size()), join(notes, "\n")});
        writeIndex();
    }

    // Two tables of one title get "-2", "-3" ... rather than overwrite each other.
    std::string uniqueFileName(const std::string& stem) {
        std::string name = stem + ".csv";
        for (int n = 2; !usedFiles.insert(name).second; ++n) {
            name = stem + "-" + std::to_string(n) + ".csv";
        }
        return name;
    }

    // Rewritten after each table, so that it is whole whenever the collection stops.
    void writeIndex() {
        OutputFile out;
        if (!out.open(outputPrefix + "-tables.csv")) {
            return;
        }
        out.write(csvRecord({"file", "title", "rows", "notes"}));
        for (const auto& entry : index) {
            out.write(csvRecord(entry));
        }
    }

    // ---- Over-time data ---------------------------------------------------------------------------

    int writeMessage(const pwr::SystemMessage& message) override {
        const pwr::SystemMetadata& system = message.getSystemMetadata();
        clockMHz = system.vraClockFreqMHz > 0 ? system.vraClockFreqMHz : system.cpuFreqMHz;
        origin = system.startTSC;
        return 0;
    }

    int writeMessage(const pwr::Metric& metric) override {
        if (!overTimeWanted) {
            return 0;
        }
        if (!overTime.isOpen()) {
            if (overTimeFailed) {
                return 1;
            }
            const std::string path = outputPrefix.empty() ? std::string() : outputPrefix + "-int.csv";
            overTimeFailed = !overTime.open(path, overTimeOpened);
            if (overTimeFailed) {
                return 1;
            }
            if (!overTimeOpened) {
                overTime.write("time_s,metric,entity,field,value,unit\n");
            }
            overTimeOpened = true;
        }
        const pwr::DataPoint& point = metric.getData();
        const std::string time = secondsOf(point.getTimestamp());
        const std::string unit = metric.getQuantity() != nullptr ? metric.getQuantity()->toUnitsString() : "";
        std::string lines;
        for (const pwr::DataElement* element : point.getElements()) {
            std::string value;
            if (element->getValue() != nullptr) {
                element->getValue()->toString(value);
            }
            const pwr::EntityHandle* entity = element->getEntity();
            const pwr::DataDescriptor* descriptor = element->getDescriptor();
            lines += csvRecord({time, metric.getName(), entity != nullptr ? entity->getName() : "",
                                descriptor != nullptr ? descriptor->getName() : "", value, unit});
        }
        overTime.write(lines);
        overTime.flush();
        return 0;
    }

    // Seconds since the collection's start TSC on the clock of the SystemMessage; the first point stands
    // for the start when the record has none. Empty while no clock is known.
    std::string secondsOf(unsigned long long timestamp) {
        if (origin == 0) {
            origin = timestamp;
        }
        if (clockMHz <= 0) {
            return std::string();
        }
        const auto ticks = static_cast<long long>(timestamp - origin);
        return std::to_string(static_cast<double>(ticks) / (clockMHz * 1e6));  // six decimals
    }

    bool tablesWanted = true;
    bool overTimeWanted = true;
    std::set<std::string> usedFiles;
    std::vector<std::vector<std::string>> index;
    OutputFile overTime;
    bool overTimeOpened = false;
    bool overTimeFailed = false;
    double clockMHz = 0;
    unsigned long long origin = 0;
};

}  // namespace
}  // namespace vantrell::plugins

VR_DECLARE_PLUGIN(vantrell::plugins::CsvWriter)
