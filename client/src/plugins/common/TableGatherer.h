#pragma once

// Gathers a summary table as it travels through the writer stream: the metric pushes its head (a
// table that never had data) and then one push per row. The gatherer keeps title, notes, column
// titles and row texts until the table is complete, which it learns only from what comes next (the
// next head, another message, or the end of the stream): writers that align columns or write one file
// per table need the whole table at once.

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include <vantrell/VantrellCore.h>

namespace vantrell::plugins {

struct GatheredTable {
    std::string title;
    std::vector<std::string> preNotes;
    std::vector<std::string> postNotes;
    std::vector<std::string> columns;
    std::vector<std::vector<std::string>> rows;
    std::string units;  // the table's quantity units, empty when it has none
};

class TableGatherer {
  public:
    using Sink = std::function<void(GatheredTable const&)>;

    explicit TableGatherer(Sink sink) : sink(std::move(sink)) {}

    // A table head starts a table (finishing the one before); a row push adds a row. `titles` and
    // `values` are the writer's getColumnTitles and getRowValues of `table`.
    void add(pwr::TableMessage const& table, std::deque<std::string> const& titles,
             std::deque<std::string> const& values) {
        const bool head = table.getTableMessageType() == pwr::TableMessageType::NO_DATA;
        if (head || !open || table.getTitle() != current.title) {
            finish();
            start(table, titles);
        }
        if (!head) {
            current.rows.emplace_back(values.begin(), values.end());
        }
    }

    // Hands the table being gathered, if any, to the sink.
    void finish() {
        if (open) {
            open = false;
            sink(current);
        }
    }

  private:
    void start(pwr::TableMessage const& table, std::deque<std::string> const& titles) {
        current = GatheredTable{};
        current.title = table.getTitle();
        if (pwr::TextNotes const* notes = table.getTextNotes()) {
            notes->getPreTableNotes(current.preNotes);
            notes->getPostTableNotes(current.postNotes);
        }
        current.columns.assign(titles.begin(), titles.end());
        nameEntityColumns_i(table);
        if (pwr::Quantity const* quantity = table.getQuantity()) {
            current.units = quantity->toUnitsString();
        }
        open = true;
    }

    // With several fields per entity the library's titles repeat the field names for each entity;
    // the entity's name goes in front so that every column says whose it is.
    void nameEntityColumns_i(pwr::TableMessage const& table) {
        const size_t perEntity = table.getHandleCount();
        if (table.getEntityCount() == 0 || perEntity < 2) {
            return;
        }
        size_t column = table.getSharedHandleCount();
        for (auto entity = table.entityBegin(); entity != table.entityEnd(); ++entity) {
            for (size_t i = 0; i < perEntity && column < current.columns.size(); ++i, ++column) {
                current.columns[column] = (*entity)->getName() + " " + current.columns[column];
            }
        }
    }

    Sink sink;
    GatheredTable current;
    bool open = false;
};

// A writer that writes whole tables: it gathers each pushed head and row and gets every finished
// table through the sink it was made with.
class GatheringWriter : public WriterPlugin {
  protected:
    GatheringWriter(std::string uuid, TableGatherer::Sink sink)
        : WriterPlugin(std::move(uuid)), gatherer(std::move(sink)) {}

    void gather(pwr::TableMessage const& table) {
        std::deque<std::string> titles;
        std::deque<std::string> values;
        getColumnTitles(table, titles);
        if (table.getTableMessageType() != pwr::TableMessageType::NO_DATA) {
            getRowValues(table, values);
        }
        gatherer.add(table, titles, values);
    }

    TableGatherer gatherer;
};

}  // namespace vantrell::plugins
