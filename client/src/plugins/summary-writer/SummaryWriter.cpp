// summary-writer: prints the summary tables as aligned text, in the order they arrive, to standard
// output or to "<output>.txt". Each table: its title, its pre-table notes, one header row, the rows
// (first column left-aligned, the value columns right-aligned), its post-table notes, a blank line.
// Nothing is cut: columns grow to their longest text.

#include <algorithm>
#include <string>
#include <vector>

#include <vantrell/VantrellCore.h>

#include "LinuxPluginProtocol.h"
#include "TableGatherer.h"

namespace vantrell::plugins {
namespace {

constexpr const char* kGap = "  ";

void appendLines(std::string& out, const std::vector<std::string>& lines) {
    for (const std::string& line : lines) {
        out += line;
        out += '\n';
    }
}

std::string alignedRow(const std::vector<std::string>& cells, const std::vector<size_t>& widths) {
    std::string line;
    for (size_t column = 0; column < widths.size(); ++column) {
        const std::string cell = column < cells.size() ? cells[column] : std::string();
        const std::string pad(widths[column] - cell.size(), ' ');
        if (column > 0) {
            line += kGap;
        }
        line += column == 0 ? cell + pad : pad + cell;
    }
    // The left-aligned first column pads a lone cell; trailing blanks carry nothing.
    line.erase(line.find_last_not_of(' ') + 1);
    return line + "\n";
}

// The table as text, ending with a blank line.
std::string renderTable(const GatheredTable& table) {
    std::string out = table.title + "\n";
    appendLines(out, table.preNotes);
    std::vector<size_t> widths(table.columns.size(), 0);
    for (size_t column = 0; column < widths.size(); ++column) {
        widths[column] = table.columns[column].size();
        for (const auto& row : table.rows) {
            if (column < row.size()) {
                widths[column] = std::max(widths[column], row[column].size());
            }
        }
    }
    if (!widths.empty()) {
        out += alignedRow(table.columns, widths);
        for (const auto& row : table.rows) {
            out += alignedRow(row, widths);
        }
    }
    appendLines(out, table.postNotes);
    return out + "\n";
}

class SummaryWriter : public TableWriterBase {
  public:
    SummaryWriter() : TableWriterBase("summary-writer") {
        addCapability(new pwr::WriterPluginCapability({pwr::TABLE_CLASS_DEFAULT}, "sum",
                                                      "Summary tables as aligned text", ".txt", true));
    }
    ~SummaryWriter() override { closeOutput(); }

    int closeOutput() override {
        finishTable();
        flushContainerNotes();
        out.close();
        return 0;
    }

  private:
    void tableDone(const GatheredTable& table) override { write(renderTable(table)); }

    int writeMessage(const pwr::TableMessage& table) override {
        gather(table);
        return 0;
    }

    // The banner of a metric and its own notes; its post notes follow its last table.
    int writeMessage(const pwr::MetricContainerInfoMessage& message) override {
        finishTable();
        flushContainerNotes();
        std::string text = message.getContainerHeader() + "\n";
        if (message.getTextInfo() != nullptr) {
            std::vector<std::string> pre;
            message.getTextInfo()->getPreTableNotes(pre);
            message.getTextInfo()->getPostTableNotes(pendingPostNotes);
            appendLines(text, pre);
        }
        write(text + "\n");
        return 0;
    }

    int writeMessage(const pwr::TextMessage& message) override {
        finishTable();
        const std::string& text = message.getMessage();
        write(text.empty() || text.back() != '\n' ? text + "\n" : text);
        return 0;
    }

    void flushContainerNotes() {
        if (!pendingPostNotes.empty()) {
            std::string text;
            appendLines(text, pendingPostNotes);
            pendingPostNotes.clear();
            write(text + "\n");
        }
    }

    void write(const std::string& text) {
        if (!out.isOpen() && !failed) {
            // Anything written after a close goes behind what is there, never over it.
            failed = !out.open(outputPrefix.empty() ? std::string() : outputPrefix + ".txt", opened);
            opened = true;
        }
        out.write(text);
    }

    OutputFile out;
    bool failed = false;
    bool opened = false;
    std::vector<std::string> pendingPostNotes;
};

}  // namespace
}  // namespace vantrell::plugins

VR_DECLARE_PLUGIN(vantrell::plugins::SummaryWriter)
