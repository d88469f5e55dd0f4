#pragma once

// What the text and CSV writers share: a summary table reaches a writer as one push for its head and
// one push per row of the same TableMessage (same message id). TableWriterBase gathers those pushes
// into one grid of texts and hands the grid on once the table is complete, that is when a message of
// another id arrives or the output closes. It also holds the output prefix and an owned output file.

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <deque>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <vantrell/VantrellCore.h>

#include "LinuxPluginProtocol.h"

namespace vantrell::plugins {

struct GatheredTable {
    unsigned messageId = 0;
    std::string title;
    std::string units;  // of the table's quantity; empty without one
    std::vector<std::string> preNotes;
    std::vector<std::string> postNotes;
    std::vector<std::string> columns;
    std::vector<std::vector<std::string>> rows;
};

// Blanks around a formatted cell are the formatter's padding, not data.
inline std::string trimBlanks(const std::string& text) {
    const size_t first = text.find_first_not_of(' ');
    if (first == std::string::npos) {
        return std::string();
    }
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// A FILE* that closes itself; null for standard output, which is never closed.
class OutputFile {
  public:
    OutputFile() = default;
    ~OutputFile() { close(); }
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // Opens `path` for writing, or appending (standard output when empty). Returns false, logging
    // why, on failure.
    bool open(const std::string& path, bool append = false) {
        close();
        if (path.empty()) {
            file = stdout;
            return true;
        }
        file = std::fopen(path.c_str(), append ? "a" : "w");
        if (file == nullptr) {
            VR_LOG(1, "ERROR: Cannot open output file %s: %s\n", path.c_str(), std::strerror(errno));
            return false;
        }
        owned = true;
        return true;
    }
    bool isOpen() const { return file != nullptr; }
    void write(const std::string& text) {
        if (file != nullptr) {
            std::fwrite(text.data(), 1, text.size(), file);
        }
    }
    void flush() {
        if (file != nullptr) {
            std::fflush(file);
        }
    }
    void close() {
        if (owned) {
            std::fclose(file);
        } else if (file != nullptr) {
            std::fflush(file);
        }
        file = nullptr;
        owned = false;
    }

  private:
    std::FILE* file = nullptr;
    bool owned = false;
};

class TableWriterBase : public WriterPlugin {
  public:
    using WriterPlugin::WriterPlugin;

    int openOutput() override { return 0; }

  protected:
    // Called once for each complete table, in the order the tables arrived.
    virtual void tableDone(const GatheredTable& table) = 0;

    void notifyCommandlineParamsSet_i() override {
        params = parseParams(getCommandlineParams());
        outputPrefix = params["output"];
    }

    // Adds one push of `table` to the grid being gathered, finishing the previous table first when this
    // push starts another one.
    void gather(const pwr::TableMessage& table) {
        if (!gathering || table.getMessageId() != current.messageId) {
            finishTable();
            startTable(table);
        }
        // The head push has no data yet: reading its cells would only yield "Invalid".
        if (table.getTableMessageType() == pwr::TableMessageType::HAS_DATA) {
            std::deque<std::string> values;
            getRowValues(table, values);
            std::vector<std::string> row;
            for (const std::string& value : values) {
                row.push_back(trimBlanks(value));
            }
            current.rows.push_back(std::move(row));
        }
    }

    void finishTable() {
        if (gathering) {
            gathering = false;
            tableDone(current);
            current = GatheredTable();
        }
    }

    std::map<std::string, std::string> params;
    std::string outputPrefix;

  private:
    void startTable(const pwr::TableMessage& table) {
        gathering = true;
        current.messageId = table.getMessageId();
        current.title = table.getTitle();
        pwr::TableMessage::quantityToUnits(table.getQuantity(), current.units, "", "");
        if (table.getTextNotes() != nullptr) {
            table.getTextNotes()->getPreTableNotes(current.preNotes);
            table.getTextNotes()->getPostTableNotes(current.postNotes);
        }
        current.columns = columnTitles(table);
    }

    // The library's titles, except that a table with entities and several plain fields would repeat the
    // field names once per entity: there each plain title is prefixed by its entity's name, so that
    // every column can be told apart.
    std::vector<std::string> columnTitles(const pwr::TableMessage& table) const {
        std::deque<std::string> titles;
        getColumnTitles(table, titles);
        std::vector<std::string> columns(titles.begin(), titles.end());
        if (table.getEntityCount() == 0 || table.getHandleCount() < 2) {
            return columns;
        }
        size_t column = table.getSharedHandleCount();
        for (auto entity = table.entityBegin(); entity != table.entityEnd(); ++entity) {
            for (size_t handle = 0; handle < table.getHandleCount() && column < columns.size(); ++handle) {
                columns[column] = (*entity)->getName() + " " + columns[column];
                ++column;
            }
        }
        return columns;
    }

    bool gathering = false;
    GatheredTable current;
};

}  // namespace vantrell::plugins
