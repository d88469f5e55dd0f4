#include "ConsoleWriter.h"

#include <algorithm>
#include <string>
#include <vector>

#include "vantrell/value/DataHandle.h"
#include "vantrell/value/EntityHandle.h"
#include "vantrell/writer/TableMessage.h"

namespace vantrell {
namespace {

void printRow(std::FILE* sink, const std::vector<std::string>& cells, const std::vector<size_t>& widths) {
    for (size_t i = 0; i < cells.size(); ++i) {
        std::fprintf(sink, "%s%*s", i == 0 ? "" : "  ", static_cast<int>(widths[i]), cells[i].c_str());
    }
    std::fputc('\n', sink);
}

}  // namespace

ConsoleWriter::ConsoleWriter(std::FILE* sink) : WriterPlugin("vantrell-console-writer"), sink(sink) {}

int ConsoleWriter::closeOutput() {
    return std::fflush(sink) == 0 ? 0 : -1;
}

int ConsoleWriter::writeMessage(const pwr::TableMessage& table) {
    std::fprintf(sink, "\n%s\n", table.getTitle().c_str());
    for (auto it = table.sharedHandleBegin(); it != table.sharedHandleEnd(); ++it) {
        std::fprintf(sink, "  %s: %s\n", (*it)->getName().c_str(),
                     getFieldValueFromHandle(table, nullptr, *it).c_str());
    }

    // One line per entity: the entity's name, then its plain cells.
    std::vector<std::vector<std::string>> rows;
    std::vector<std::string> titles{"Entity"};
    for (auto it = table.handleBegin(); it != table.handleEnd(); ++it) {
        titles.push_back((*it)->getName());
    }
    rows.push_back(titles);
    for (auto entity = table.entityBegin(); entity != table.entityEnd(); ++entity) {
        std::vector<std::string> cells{(*entity)->getQualifiedName()};
        for (auto it = table.handleBegin(); it != table.handleEnd(); ++it) {
            cells.push_back(getFieldValueFromHandle(table, *entity, *it));
        }
        rows.push_back(cells);
    }
    std::vector<size_t> widths(titles.size(), 0);
    for (const auto& row : rows) {
        for (size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    for (const auto& row : rows) {
        printRow(sink, row, widths);
    }
    return 0;
}

}  // namespace vantrell
