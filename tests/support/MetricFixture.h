#pragma once

// Shared set-up for the metric suites: a published stream with a test writer, a machine record whose
// collection starts at tick 1000 on a 1 MHz clock (so a duration in ticks is its weight, and 1000
// ticks are 1 ms), a few entities, an output configuration written from lines, and an accumulator that
// records every data point it is shown.

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "support/TestWriter.h"
#include "vantrell/metric/Accumulator.h"
#include "vantrell/metric/Metric.h"
#include "vantrell/record/SystemMetadata.h"
#include "vantrell/value/DataHandle.h"
#include "vantrell/value/Description.h"
#include "vantrell/value/EntityHandle.h"
#include "vantrell/writer/TableMessage.h"
#include "vantrell/writer/TextNotes.h"
#include "vantrell/writer/WriterInterfaceConfigFileParser.h"

namespace vrtest {

// Notes each data point as "<timestamp>:" followed by "<entity>/<descriptor or ->=<value>@<duration>"
// per element, and each call by name; results are settable so that suites can make it fail.
class RecordingAccumulator : public pwr::Accumulator {
  public:
    int initialize(const pwr::Metric&, const pwr::SystemMetadata&) override {
        calls.push_back("initialize");
        return initializeResult;
    }
    int finalize(const pwr::Metric&) override {
        calls.push_back("finalize");
        return finalizeResult;
    }
    int processMessage(const pwr::Metric& metric) override {
        calls.push_back("processMessage");
        std::string point = std::to_string(metric.getData().timestamp) + ":";
        for (const pwr::DataElement* element : metric.getData().elements) {
            std::string value;
            element->getValue()->toFormattedString(value);
            point += " " + element->getEntity()->getName() + "/" +
                     (element->getDescriptor() != nullptr ? element->getDescriptor()->getName() : "-") + "=" +
                     value + "@" + std::to_string(element->getDuration());
        }
        points.push_back(point);
        return processResult;
    }

    std::vector<std::string> calls;
    std::vector<std::string> points;
    int initializeResult = 0;
    int finalizeResult = 0;
    int processResult = 0;
};

// Records the notes that travel with each table head (a table's first push), as
// "<title>: <pre notes>|<post notes>".
class TableNotesWriter : public WriterPlugin {
  public:
    TableNotesWriter() : WriterPlugin("TableNotesWriter") {}
    int openOutput() override { return 0; }
    int closeOutput() override { return 0; }
    std::vector<std::string> notes;

  private:
    int writeMessage(const pwr::TableMessage& table) override {
        if (table.getTableMessageType() == pwr::TableMessageType::NO_DATA) {
            std::vector<std::string> pre;
            std::vector<std::string> post;
            if (table.getTextNotes() != nullptr) {
                table.getTextNotes()->getPreTableNotes(pre);
                table.getTextNotes()->getPostTableNotes(post);
            }
            notes.push_back(table.getTitle() + ": " + join(pre) + "|" + join(post));
        }
        return 0;
    }
    static std::string join(const std::vector<std::string>& texts) {
        std::string out;
        for (const std::string& text : texts) {
            out += (out.empty() ? "" : ",") + text;
        }
        return out;
    }
};

class MetricFixture : public ::testing::Test {
  protected:
    static constexpr unsigned long long kStart = 1000;

    MetricFixture() {
        machine.startTSC = kStart;
        machine.vraClockFreqMHz = 1.0f;
        cpu0 = pwr::EntityHandle::create("cpu0", nullptr);
        cpu1 = pwr::EntityHandle::create("cpu1", nullptr);
        c1 = descriptor("C1");
        c6 = descriptor("C6");
        configure({});
    }
    ~MetricFixture() override {
        pwr::WriterInterfaceConfigFileParser::instance()->destroy();
        std::remove(configPath.c_str());
    }

    // Parses an output configuration made of `lines` (none: an empty configuration). Returns the result
    // of parse.
    int configure(const std::vector<std::string>& lines) {
        std::ofstream file(configPath, std::ios::trunc);
        for (const std::string& line : lines) {
            file << line << "\n";
        }
        file.close();
        return pwr::WriterInterfaceConfigFileParser::instance()->parse({configPath}, machine);
    }

    static const pwr::DataDescriptor* descriptor(const std::string& name) {
        return pwr::DataDescriptor::create(pwr::DataDescriptorBuilder(name, ""));
    }

    // One element of `value` on `entity` (and `state`), handed to setData.
    template <typename T>
    int feed(pwr::Metric& metric, unsigned long long timestamp, const pwr::EntityHandle* entity,
             const T& value, unsigned long long duration = 0, const pwr::DataDescriptor* state = nullptr) {
        pwr::DataElement element(entity, state);
        element.setValue(value);
        return metric.setData(timestamp, element, duration);
    }

    // The printed tables: for a table's head (every cell "Invalid": nothing set yet) "title | titles",
    // for each row its cells.
    std::vector<std::string> printed() const {
        std::vector<std::string> lines;
        for (const TestWriter::PrintedTable& table : writer.tables()) {
            bool head = true;
            std::string rest = table.cellLine + ",";
            for (size_t comma = rest.find(','); comma != std::string::npos; comma = rest.find(',')) {
                head = head && rest.compare(0, comma, "Invalid") == 0;
                rest.erase(0, comma + 1);
            }
            lines.push_back(head ? table.title + " | " + table.titleLine : table.cellLine);
        }
        return lines;
    }

    // What was logged, less the lines the test writer causes when it reads a table's head (every cell of
    // a table that has no data yet reads as "No data in table yet").
    std::string log() const {
        std::string kept;
        std::string text = capture.text();
        for (size_t start = 0, end; start < text.size(); start = end) {
            end = text.find('\n', start);
            end = end == std::string::npos ? text.size() : end + 1;
            if (text.compare(start, 29, "WARNING: No data in table yet") != 0) {
                kept += text.substr(start, end - start);
            }
        }
        return kept;
    }

    ScopedLogCapture capture{2};
    pwr::SystemMetadata machine;
    TestWriter writer{"MetricWriter", ","};
    TableNotesWriter notesWriter;
    ScopedWriterStream scope{{&writer, &notesWriter}};
    std::string configPath = ::testing::TempDir() + "metric_output_" +
                             ::testing::UnitTest::GetInstance()->current_test_info()->name() + ".cfg";
    pwr::EntityHandle* cpu0 = nullptr;
    pwr::EntityHandle* cpu1 = nullptr;
    const pwr::DataDescriptor* c1 = nullptr;
    const pwr::DataDescriptor* c6 = nullptr;
};

}  // namespace vrtest
