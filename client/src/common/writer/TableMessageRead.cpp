// TableMessage: reading by handle, a field's cell or an attribute of the thing a HANDLE cell names.

#include "TableGrid.h"
#include "vantrell/plugin/Logging.h"
#include "vantrell/value/Attribute.h"
#include "vantrell/value/EntityHandle.h"
#include "vantrell/writer/TableMessage.h"

namespace pwr {

namespace {

const char* nameOf(const DataHandle* handle) {
    return handle != nullptr ? handle->getName().c_str() : "NULL";
}

}  // namespace

int TableMessage::getFieldValue(const DataHandle* handle, const Data*& value, bool& valid) const {
    return getFieldValue_i(0, handle, value, valid);
}

int TableMessage::getFieldValue(const EntityHandle* entity, const DataHandle* handle, const Data*& value,
                                bool& valid) const {
    size_t row = 0;
    if (!findReadRow_i(entity, row)) {
        value = nullptr;
        valid = false;
        return 1;
    }
    return getFieldValue_i(row, handle, value, valid);
}

bool TableMessage::findReadRow_i(const EntityHandle* entity, size_t& row) const {
    // Rows are numbered by createTable, so on a table not yet created every entity is unknown.
    const TableGrid& grid = *table;
    if (grid.entities.empty()) {
        VR_LOG(2, "WARNING: Entity specified in request for field where not relevant %s\n",
               grid.title.c_str());
        return false;
    }
    const auto found = grid.entityRows.find(entity);
    if (found == grid.entityRows.end()) {
        VR_LOG(2, "WARNING: Entity %s not found in table %s\n", nameOf(entity), grid.title.c_str());
        return false;
    }
    row = found->second;
    return true;
}

int TableMessage::getFieldValue_i(size_t row, const DataHandle* handle, const Data*& value,
                                  bool& valid) const {
    value = nullptr;
    valid = false;
    const TableGrid& grid = *table;
    if (!grid.isCreated()) {
        VR_LOG(2, "WARNING: Attempt to retrieve value from uncreated table %s", grid.title.c_str());
        return 1;
    }
    if (grid.tableMessageType == TableMessageType::NO_DATA) {
        VR_LOG(2, "WARNING: No data in table yet %s\n", grid.title.c_str());
        return 1;
    }
    const auto owner = grid.owningField.find(handle);
    const auto number =
        owner != grid.owningField.end() ? grid.fieldNumbers.find(owner->second) : grid.fieldNumbers.end();
    if (number == grid.fieldNumbers.end()) {
        VR_LOG(2, "WARNING: Unknown field %s in table %s\n", nameOf(handle), grid.title.c_str());
        return 1;
    }
    size_t index = 0;
    if (!grid.findCell(number->second, row, index)) {
        return 1;
    }
    const Data& cell = grid.cells[index];
    if (handle == owner->second) {
        value = &cell;
        valid = cell.isValid();
        return 0;
    }
    return getAttributeValue_i(cell, handle, value, valid);
}

int TableMessage::getAttributeValue_i(const Data& cell, const DataHandle* handle, const Data*& value,
                                      bool& valid) const {
    const std::string& title = table->title;
    if (cell.getType() != DataType::HANDLE) {
        VR_LOG(2, "WARNING: Attempt to retrieve an attribute from a simple type in %s\n", title.c_str());
        return 1;
    }
    const DataHandle* named = nullptr;
    if (cell.toHandle(named) != 0 || named == nullptr) {
        VR_LOG(2, "WARNING: Could not convert to handle type in %s\n", title.c_str());
        return 1;
    }
    const auto* attribute = dynamic_cast<const Attribute*>(handle);
    const auto* state = dynamic_cast<const State*>(named);
    const auto* event = dynamic_cast<const Event*>(named);
    const auto* entity = dynamic_cast<const EntityHandle*>(named);
    const auto* descriptor = dynamic_cast<const DataDescriptor*>(named);
    const AttributeValueManager* holder =
        state != nullptr    ? static_cast<const AttributeValueManager*>(state)
        : event != nullptr  ? static_cast<const AttributeValueManager*>(event)
        : entity != nullptr ? static_cast<const AttributeValueManager*>(entity)
                            : static_cast<const AttributeValueManager*>(descriptor);
    if (attribute == nullptr || holder == nullptr) {
        VR_LOG(2,
               "WARNING: Error getting state/event/entity/dataDescriptor and attribute (%p %p %p %p %p) from "
               "table %s\n",
               static_cast<const void*>(state), static_cast<const void*>(event),
               static_cast<const void*>(entity), static_cast<const void*>(descriptor),
               static_cast<const void*>(attribute), title.c_str());
        return 1;
    }
    value = holder->getAttributeValue(attribute);
    valid = value != nullptr;
    return 0;
}

int TableMessage::getFieldAsString(const DataHandle* handle, std::string& text, bool& valid) const {
    const Data* value = nullptr;
    const int status = getFieldValue(handle, value, valid);
    if (status != 0 || !valid) {
        return status;
    }
    return value->toFormattedString(text);
}

int TableMessage::getFieldAsString(const EntityHandle* entity, const DataHandle* handle, std::string& text,
                                   bool& valid) const {
    size_t row = 0;
    if (!findReadRow_i(entity, row)) {
        text.clear();
        valid = false;
        return 1;
    }
    const Data* value = nullptr;
    const int status = getFieldValue_i(row, handle, value, valid);
    if (status != 0 || !valid) {
        return status;
    }
    return value->toFormattedString(text);
}

}  // namespace pwr
