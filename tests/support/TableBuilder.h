#pragma once

// One-call table set-up for suites where a table is the fixture rather than the subject.

#include <string>
#include <vector>

#include "vantrell/value/Formatter.h"
#include "vantrell/writer/TableMessage.h"

namespace vrtest {

// One addField call. The formatter, when given, must outlive buildTable only (the table clones it).
struct Column {
    std::string name;
    pwr::DataType type;
    bool shared = false;
    const pwr::Formatter* formatter = nullptr;
};

// Adds `entities`, then `columns` in order (so field numbers are their positions), and creates the
// table. Returns 0, or non-zero when any of those calls failed.
inline int buildTable(pwr::TableMessage& table, const std::vector<const pwr::EntityHandle*>& entities,
                      const std::vector<Column>& columns) {
    int failed = 0;
    for (const pwr::EntityHandle* entity : entities) {
        failed |= table.addEntity(entity);
    }
    for (const Column& column : columns) {
        failed |= column.formatter != nullptr
                      ? table.addField(column.name, column.type, *column.formatter, column.shared)
                      : table.addField(column.name, column.type, column.shared);
    }
    return failed | table.createTable();
}

}  // namespace vrtest
