#pragma once

// The grid record of a TableMessage: fields, entities and cells. One per table, shared by its copies
// and read-only views; only TableMessage touches it.

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "vantrell/value/Data.h"
#include "vantrell/value/Formatter.h"
#include "vantrell/writer/TableMessage.h"

namespace pwr {

class TableGrid {
  public:
    TableGrid(const std::string& title, const Quantity* quantity) : quantity(quantity), title(title) {}

    bool isCreated() const { return !cells.empty(); }

    // Cells per entity row: one per plain field.
    size_t rowWidth() const { return fields.size(); }

    // The index in `cells` of `fieldNumber` at `row`; false (and a warning naming the field and the
    // table) when the table has no such field.
    bool findCell(unsigned fieldNumber, size_t row, size_t& index) const;

    // The handle of field `fieldNumber` (plain or shared), or null.
    const DataHandle* fieldHandle(unsigned fieldNumber) const;

    // Filled by createTable and never resized afterwards, so cell addresses stay put.
    std::vector<Data> cells;
    const EntityHandle* rowEntity = nullptr;
    const Quantity* quantity;
    TableMessageType tableMessageType = TableMessageType::NO_DATA;
    bool hasFieldHeaders = false;
    std::string title;
    std::map<const EntityHandle*, size_t> entityRows;
    TableMessage::EntitySet entities;
    std::map<unsigned, size_t> plainColumns;
    std::map<unsigned, size_t> sharedColumns;
    TableMessage::HandleList fields;
    TableMessage::HandleList handles;
    TableMessage::HandleList sharedFields;
    TableMessage::HandleList sharedHandles;
    std::map<const DataHandle*, const DataHandle*> owningField;
    std::map<const DataHandle*, unsigned> fieldNumbers;
    std::map<const DataHandle*, std::unique_ptr<Formatter>> formatters;
    // Sorted and unique; capacity reserved at createTable for every possible pair.
    TableMessage::ValidList validValues;
    std::vector<DataType> plainTypes;
    std::vector<DataType> sharedTypes;
};

}  // namespace pwr
