// TableMessage: setting cells. Each typed setter is "get the cell, Data::setValue, note the valid
// pair"; after createTable none of them allocates for a numeric value.

#include <algorithm>

#include "TableGrid.h"
#include "vantrell/plugin/Logging.h"
#include "vantrell/value/EntityHandle.h"
#include "vantrell/writer/TableMessage.h"

namespace pwr {

namespace {

// Data's own assignment would make the cell share the source's formatter and drop its field's one.
// This keeps the cell's formatter (the field's presentation) when it has one, and otherwise takes a
// copy of the source's. Same rules as Data::setValue(const Data&) for types and flags.
int assignKeepingFormatter(Data& cell, const Data& value) {
    if (cell.getType() != value.getType()) {
        return cell.setValue(value);  // logs the type warning, clears valid, returns 1
    }
    Data incoming(value);
    if (const Formatter* own = cell.getCustomFormatter()) {
        incoming.setCustomFormatter(*own);
    }
    Data previous(std::move(cell));  // takes over the cell's old formatter, freed at scope end
    cell = std::move(incoming);
    return 0;
}

int setCell(Data& cell, const Data& value) {
    return assignKeepingFormatter(cell, value);
}

template <typename T>
int setCell(Data& cell, const T& value) {
    return cell.setValue(value);
}

const char* entityName(const EntityHandle* entity) {
    return entity != nullptr ? entity->getName().c_str() : "NULL";
}

}  // namespace

Data* TableMessage::getDataToSet_i(unsigned fieldNumber) {
    TableGrid* grid = writableGrid_i("set a field");
    if (grid == nullptr) {
        return nullptr;
    }
    if (!grid->isCreated()) {
        VR_LOG(2, "WARNING: Can't set table field before table is created\n");
        return nullptr;
    }
    size_t index = 0;
    if (!grid->findCell(fieldNumber, 0, index)) {
        return nullptr;
    }
    grid->tableMessageType = TableMessageType::HAS_DATA;
    return &grid->cells[index];
}

Data* TableMessage::getDataToSet_i(const EntityHandle* entity, unsigned fieldNumber,
                                   const DataHandle*& handle) {
    TableGrid* grid = writableGrid_i("set a field");
    if (grid == nullptr) {
        return nullptr;
    }
    if (!grid->isCreated()) {
        VR_LOG(2, "WARNING: Can't set table field before table is created\n");
        return nullptr;
    }
    const auto row = grid->entityRows.find(entity);
    if (row == grid->entityRows.end()) {
        VR_LOG(2, "WARNING: No such entity %s found in table %s\n", entityName(entity), grid->title.c_str());
        return nullptr;
    }
    size_t index = 0;
    if (!grid->findCell(fieldNumber, row->second, index)) {
        return nullptr;
    }
    handle = grid->fieldHandle(fieldNumber);
    grid->tableMessageType = TableMessageType::HAS_DATA;
    return &grid->cells[index];
}

Data* TableMessage::getCellAndHandle_i(unsigned fieldNumber, const DataHandle*& handle) {
    Data* cell = getDataToSet_i(fieldNumber);
    if (cell != nullptr) {
        handle = table->fieldHandle(fieldNumber);
    }
    return cell;
}

int TableMessage::addValidValue_i(const EntityHandle* entity, const DataHandle* handle) {
    // Only reached after a cell was found, so the grid is this table's own and created.
    ValidList& valid = ownedTable->validValues;
    const ValidPair pair(entity, handle);
    const auto at = std::lower_bound(valid.begin(), valid.end(), pair);
    if (at == valid.end() || *at != pair) {
        valid.insert(at, pair);
    }
    return 0;
}

template <typename T>
int TableMessage::setRowZero_i(unsigned field, const T& value) {
    const DataHandle* handle = nullptr;
    Data* cell = getCellAndHandle_i(field, handle);
    if (cell == nullptr || setCell(*cell, value) != 0) {
        return 1;
    }
    return addValidValue_i(nullptr, handle);
}

template <typename T>
int TableMessage::setEntity_i(const EntityHandle* entity, unsigned field, const T& value) {
    const DataHandle* handle = nullptr;
    Data* cell = getDataToSet_i(entity, field, handle);
    if (cell == nullptr || setCell(*cell, value) != 0) {
        return 1;
    }
    return addValidValue_i(entity, handle);
}

int TableMessage::setFieldValue(unsigned field, const long long& value) {
    return setRowZero_i(field, value);
}
int TableMessage::setFieldValue(unsigned field, const unsigned long long& value) {
    return setRowZero_i(field, value);
}
int TableMessage::setFieldValue(unsigned field, const double& value) {
    return setRowZero_i(field, value);
}
int TableMessage::setFieldValue(unsigned field, const std::string& value) {
    return setRowZero_i(field, value);
}
int TableMessage::setFieldValue(unsigned field, const DataHandle& value) {
    return setRowZero_i(field, value);
}
int TableMessage::setFieldValue(unsigned field, const Data::IntRange& value) {
    return setRowZero_i(field, value);
}
int TableMessage::setFieldValue(unsigned field, const Data::UIntRange& value) {
    return setRowZero_i(field, value);
}
int TableMessage::setFieldValue(unsigned field, const Data::RealRange& value) {
    return setRowZero_i(field, value);
}
int TableMessage::setFieldValue(unsigned field, const Data& value) {
    return setRowZero_i(field, value);
}

int TableMessage::setFieldValue(const EntityHandle* entity, unsigned field, const long long& value) {
    return setEntity_i(entity, field, value);
}
int TableMessage::setFieldValue(const EntityHandle* entity, unsigned field, const unsigned long long& value) {
    return setEntity_i(entity, field, value);
}
int TableMessage::setFieldValue(const EntityHandle* entity, unsigned field, const double& value) {
    return setEntity_i(entity, field, value);
}
int TableMessage::setFieldValue(const EntityHandle* entity, unsigned field, const std::string& value) {
    return setEntity_i(entity, field, value);
}
int TableMessage::setFieldValue(const EntityHandle* entity, unsigned field, const DataHandle& value) {
    return setEntity_i(entity, field, value);
}
int TableMessage::setFieldValue(const EntityHandle* entity, unsigned field, const Data::IntRange& value) {
    return setEntity_i(entity, field, value);
}
int TableMessage::setFieldValue(const EntityHandle* entity, unsigned field, const Data::UIntRange& value) {
    return setEntity_i(entity, field, value);
}
int TableMessage::setFieldValue(const EntityHandle* entity, unsigned field, const Data::RealRange& value) {
    return setEntity_i(entity, field, value);
}
int TableMessage::setFieldValue(const EntityHandle* entity, unsigned field, const Data& value) {
    return setEntity_i(entity, field, value);
}

}  // namespace pwr
