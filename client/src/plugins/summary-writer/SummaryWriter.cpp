#include "SummaryWriter.h"

#include <algorithm>

#include "LinuxPluginProtocol.h"

namespace {

// Display width of UTF-8 text: one column per code point, so that "µs" aligns like "us".
size_t displayWidth(std::string const& text) {
    return static_cast<size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

void pad(std::string& line, std::string const& cell, size_t width, bool left) {
    const std::string fill(width - std::min(width, displayWidth(cell)), ' ');
    line += left ? cell + fill : fill + cell;
}

}  // namespace

SummaryWriter::SummaryWriter()
    : GatheringWriter("vantrell-summary-writer", [this](auto const& table) { print_i(table); }) {
    addCapability(new pwr::WriterPluginCapability({pwr::TABLE_CLASS_DEFAULT}, "sum",
                                                  "Summary tables as aligned text", ".txt", true));
}

int SummaryWriter::openOutput() {
    auto const params = vantrell::plugins::parseParams(getCommandlineParams());
    auto const output = params.find("output");
    return out.open(output == params.end() ? "" : output->second, ".txt") ? 0 : 1;
}

int SummaryWriter::closeOutput() {
    endMetric_i();
    return out.close() ? 0 : 1;
}

void SummaryWriter::endMetric_i() {
    gatherer.finish();
    std::string text = metricPostNotes.empty() ? "" : "\n";
    for (std::string const& note : metricPostNotes) {
        text += note + "\n";
    }
    metricPostNotes.clear();
    out.write(text);
}

// The metric's banner and its own notes: those before its tables now, those after them once its last
// table is out.
int SummaryWriter::writeMessage(const pwr::MetricContainerInfoMessage& message) {
    endMetric_i();
    std::string text = message.getContainerHeader().empty() ? "" : "\n" + message.getContainerHeader() + "\n";
    if (pwr::TextNotes const* notes = message.getTextInfo()) {
        std::vector<std::string> pre;
        notes->getPreTableNotes(pre);
        notes->getPostTableNotes(metricPostNotes);
        for (std::string const& note : pre) {
            text += note + "\n";
        }
    }
    out.write(text);
    return 0;
}

int SummaryWriter::writeMessage(const pwr::TextMessage& message) {
    gatherer.finish();
    out.write(message.getMessage() + "\n");
    return 0;
}

int SummaryWriter::writeMessage(const pwr::TableMessage& table) {
    gather(table);
    return 0;
}

// Title, notes before, one header row, the rows, notes after. The first column (what a row is
// about) is left-aligned, the others, numbers mostly, right-aligned; no cell is ever cut.
void SummaryWriter::print_i(vantrell::plugins::GatheredTable const& table) {
    std::vector<size_t> widths(table.columns.size(), 0);
    auto measure = [&](std::vector<std::string> const& cells) {
        widths.resize(std::max(widths.size(), cells.size()), 0);
        for (size_t i = 0; i < cells.size(); ++i) {
            widths[i] = std::max(widths[i], displayWidth(cells[i]));
        }
    };
    measure(table.columns);
    for (auto const& row : table.rows) {
        measure(row);
    }
    auto line = [&](std::vector<std::string> const& cells) {
        std::string text;
        for (size_t i = 0; i < cells.size(); ++i) {
            text += i == 0 ? "" : "  ";
            pad(text, cells[i], widths[i], i == 0);
        }
        text.erase(text.find_last_not_of(' ') + 1);
        return text + "\n";
    };
    std::string text = "\n" + table.title + "\n";
    for (std::string const& note : table.preNotes) {
        text += note + "\n";
    }
    text += line(table.columns);
    for (auto const& row : table.rows) {
        text += line(row);
    }
    for (std::string const& note : table.postNotes) {
        text += note + "\n";
    }
    out.write(text);
}

VR_DECLARE_PLUGIN(SummaryWriter)
