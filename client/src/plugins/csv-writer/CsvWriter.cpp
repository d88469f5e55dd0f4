#include "CsvWriter.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>

#include "LinuxPluginProtocol.h"

namespace {

constexpr char kEnd[] = "\r\n";

// A field as RFC 4180 wants it: quoted when it holds a comma, a quote or a line end, quotes doubled.
void appendField(std::string& out, std::string const& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) {
        out += text;
        return;
    }
    out += '"';
    for (char c : text) {
        out += c;
        if (c == '"') {
            out += '"';
        }
    }
    out += '"';
}

std::string record(std::vector<std::string> const& cells) {
    std::string out;
    for (size_t i = 0; i < cells.size(); ++i) {
        if (i > 0) {
            out += ',';
        }
        appendField(out, cells[i]);
    }
    return out + kEnd;
}

// "C-State Summary: Residency (Percentage)" gives "c-state-summary-residency-percentage".
std::string slugOf(std::string const& title) {
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

// The shortest text that reads back as the same double: the over-time file keeps every digit a
// real value has, where the default cell formatter would round to one decimal.
std::string exactReal(double value) {
    char text[40];
    for (int digits = 15; digits <= 17; ++digits) {
        std::snprintf(text, sizeof(text), "%.*g", digits, value);
        if (std::strtod(text, nullptr) == value) {
            break;
        }
    }
    return text;
}

// A value for the over-time file: reals in full, everything else as its formatter writes it.
void valueText(pwr::Data const& data, std::string& out) {
    double real = 0;
    if (data.getType() == pwr::DataType::REAL && data.isSet() && data.isValid() && data.toReal(real) == 0) {
        out = exactReal(real);
    } else {
        data.toFormattedString(out);
    }
}

bool listed(std::string const& list, std::string const& word) {
    size_t begin = 0;
    while (begin <= list.size()) {
        size_t end = list.find(',', begin);
        end = end == std::string::npos ? list.size() : end;
        if (list.compare(begin, end - begin, word) == 0 && end - begin == word.size()) {
            return true;
        }
        begin = end + 1;
    }
    return false;
}

}  // namespace

CsvWriter::CsvWriter()
    : GatheringWriter("vantrell-csv-writer", [this](auto const& table) { writeTable_i(table); }) {
    auto* capability = new pwr::WriterPluginCapability(
        {pwr::TABLE_CLASS_DEFAULT}, "csv", "Summary tables as CSV, one file a table", ".csv", true);
    capability->addGroupName("int");
    addCapability(capability);
}

int CsvWriter::openOutput() {
    auto const params = vantrell::plugins::parseParams(getCommandlineParams());
    auto const output = params.find("output");
    auto const results = params.find("results");
    prefix = output == params.end() ? "" : output->second;
    const std::string list = results == params.end() ? "" : results->second;
    summaries = listed(list, "csv");
    overTime = listed(list, "int");
    if (summaries && !prefix.empty()) {
        if (!index.open(prefix, "-tables.csv")) {
            return 1;
        }
        index.write(record({"file", "title", "notes"}));
    }
    if (overTime) {
        if (!points.open(prefix, prefix.empty() ? "" : "-int.csv")) {
            return 1;
        }
        points.write(record({"time_s", "metric", "entity", "field", "value", "unit", "duration_ticks"}));
        points.flush();
    }
    return 0;
}

int CsvWriter::closeOutput() {
    gatherer.finish();
    const bool ok = index.close() & points.close();
    return ok ? 0 : 1;
}

int CsvWriter::writeMessage(const pwr::SystemMessage& message) {
    system = &message.getSystemMetadata();
    return 0;
}

// One line per element: seconds since the collection started, the metric, whose value it is (the
// qualified name, as the summary tables show it), what it is (descriptor), the value (reals in full),
// the unit and the element's duration.
int CsvWriter::writeMessage(const pwr::Metric& metric) {
    if (!overTime) {
        return 0;
    }
    const pwr::DataPoint& point = metric.getData();
    const double ticksPerSecond = system != nullptr ? system->vraClockFreqMHz * 1e6 : 0.0;
    std::string time;  // six decimals; no fixed buffer, whatever the clock makes of the ticks
    if (ticksPerSecond > 0 && point.getTimestamp() >= system->startTSC) {
        time = std::to_string(static_cast<double>(point.getTimestamp() - system->startTSC) / ticksPerSecond);
    }
    const std::string unit = metric.getQuantity() != nullptr ? metric.getQuantity()->toUnitsString() : "";
    std::string value;
    for (pwr::DataElement const* element : point.getElements()) {
        line.assign(time);
        line += ',';
        appendField(line, metric.getName());
        line += ',';
        appendField(line, element->getEntity() != nullptr ? element->getEntity()->getQualifiedName() : "");
        line += ',';
        appendField(line, element->getDescriptor() != nullptr ? element->getDescriptor()->getName() : "");
        line += ',';
        value.clear();
        if (element->getValue() != nullptr) {
            valueText(*element->getValue(), value);
        }
        appendField(line, value);
        line += ',';
        appendField(line, unit);
        line += ',' + std::to_string(element->getDuration()) + kEnd;
        points.write(line);
    }
    points.flush();
    return 0;
}

int CsvWriter::writeMessage(const pwr::MetricContainerInfoMessage&) {
    gatherer.finish();
    return 0;
}

int CsvWriter::writeMessage(const pwr::TableMessage& table) {
    if (!summaries) {
        return 0;
    }
    gather(table);
    return 0;
}

std::string CsvWriter::uniqueSlug_i(std::string const& title) {
    const std::string base = slugOf(title);
    std::string slug = base;
    for (int n = 2; !slugs.insert(slug).second; ++n) {
        slug = base + "-" + std::to_string(n);
    }
    return slug;
}

// Notes don't go into the file, which holds the header and the rows only: the index keeps them, the
// notes before the table and those after it one a line.
void CsvWriter::writeTable_i(vantrell::plugins::GatheredTable const& table) {
    std::string text = record(table.columns);
    for (auto const& row : table.rows) {
        text += record(row);
    }
    if (prefix.empty()) {
        std::string out = "# " + table.title + kEnd + text + kEnd;
        std::fwrite(out.data(), 1, out.size(), stdout);
        return;
    }
    vantrell::plugins::OutputFile file;
    const std::string name = "-" + uniqueSlug_i(table.title) + ".csv";
    if (file.open(prefix, name)) {
        file.write(text);
        std::string notes;
        for (auto const* list : {&table.preNotes, &table.postNotes}) {
            for (std::string const& note : *list) {
                notes += (notes.empty() ? "" : "\n") + note;
            }
        }
        // The name beside the index, so that the files can move together.
        const std::string& path = file.getPath();
        index.write(record({path.substr(path.rfind('/') + 1), table.title, notes}));
        index.flush();  // whole after each table, should the collection be stopped hard
    }
}

VR_DECLARE_PLUGIN(CsvWriter)
