// TableMessage: building the grid (addEntity, addField, createTable).

#include <memory>

#include "TableGrid.h"
#include "vantrell/plugin/Logging.h"
#include "vantrell/value/Attribute.h"
#include "vantrell/value/Description.h"
#include "vantrell/value/EntityHandle.h"
#include "vantrell/writer/TableMessage.h"

namespace pwr {

int TableMessage::addEntity(const EntityHandle* entity) {
    if (entity == nullptr) {
        return 1;
    }
    TableGrid* grid = writableGrid_i("add an entity");
    if (grid == nullptr) {
        return 1;
    }
    if (grid->isCreated()) {
        VR_LOG(2, "WARNING: Can't add new EntityHandle to table after table is created\n");
        return 1;
    }
    grid->entities.insert(entity);
    return 0;
}

int TableMessage::addField(const Description& description, DataType type, const Formatter& formatter,
                           bool shared) {
    return addFieldFromDescription_i(description, type, &formatter, shared);
}

int TableMessage::addField(const Description& description, DataType type, bool shared) {
    return addFieldFromDescription_i(description, type, nullptr, shared);
}

int TableMessage::addField(const std::string& name, DataType type, const Formatter& formatter, bool shared) {
    return addFieldFromDescription_i(Description(name, ""), type, &formatter, shared);
}

int TableMessage::addField(const std::string& name, DataType type, bool shared) {
    return addFieldFromDescription_i(Description(name, ""), type, nullptr, shared);
}

int TableMessage::addField(const Field* field, DataType type, const Formatter& formatter, bool shared) {
    return addField_i(field, type, &formatter, shared);
}

int TableMessage::addField(const Field* field, DataType type, bool shared) {
    return addField_i(field, type, nullptr, shared);
}

int TableMessage::addFieldFromDescription_i(const Description& description, DataType type,
                                            const Formatter* formatter, bool shared) {
    // Refused before any handle is made, so a late call leaves the registry as it was.
    const TableGrid* grid = writableGrid_i("add a field");
    if (grid == nullptr) {
        return 1;
    }
    if (grid->isCreated()) {
        VR_LOG(2, "WARNING: May not add field once table %s is created\n", grid->title.c_str());
        return 1;
    }
    if (description.getType() == DescriptionType::STATE) {
        const auto* state = dynamic_cast<const StateDescription*>(&description);
        if (state == nullptr) {
            VR_LOG(2, "WARNING: Could not get state description\n");
            return 0;
        }
        return addField_i(State::create(*state), type, formatter, shared);
    }
    return addField_i(Field::create(description), type, formatter, shared);
}

int TableMessage::addField_i(const DataHandle* handle, DataType type, const Formatter* formatter,
                             bool shared) {
    TableGrid* grid = writableGrid_i("add a field");
    if (grid == nullptr || handle == nullptr) {
        return 1;
    }
    if (grid->isCreated()) {
        VR_LOG(2, "WARNING: May not add field once table %s is created\n", grid->title.c_str());
        return 1;
    }
    // Every added field takes a number, also a handle added a second time, which keeps its first
    // number for reading but gets a column of its own.
    const auto number = static_cast<unsigned>(grid->plainColumns.size() + grid->sharedColumns.size());
    grid->fieldNumbers.emplace(handle, number);
    if (!handle->getHeader().empty()) {
        grid->hasFieldHeaders = true;
    }
    TableMessage::HandleList& fieldList = shared ? grid->sharedFields : grid->fields;
    TableMessage::HandleList& handleList = shared ? grid->sharedHandles : grid->handles;
    (shared ? grid->sharedColumns : grid->plainColumns).emplace(number, fieldList.size());
    (shared ? grid->sharedTypes : grid->plainTypes).push_back(type);
    fieldList.push_back(handle);
    handleList.push_back(handle);
    grid->owningField.emplace(handle, handle);
    if (formatter != nullptr) {
        grid->formatters.emplace(handle, std::unique_ptr<Formatter>(formatter->clone()));
    }
    if (const auto* field = dynamic_cast<const Field*>(handle)) {
        for (const Attribute* attribute : *field) {
            handleList.push_back(attribute);
            grid->owningField.emplace(attribute, handle);
        }
    }
    return 0;
}

int TableMessage::createTable() {
    TableGrid* grid = writableGrid_i("create");
    if (grid == nullptr) {
        return 1;
    }
    if (grid->isCreated()) {
        // A second call would number the same entities again and append a second set of cells that no
        // read or set ever addresses. Appending would move the cells that setters and writers hold, so
        // it is left out; nothing else differs.
        return 0;
    }
    grid->entityRows.clear();
    for (const EntityHandle* entity : grid->entities) {
        grid->entityRows.emplace(entity, grid->entityRows.size());
    }
    if (grid->fields.empty() && grid->sharedFields.empty()) {
        VR_LOG(2, "WARNING: Can't create empty table %s\n", grid->title.c_str());
        return 1;
    }
    const size_t rows = grid->entities.empty() ? 1 : grid->entities.size();
    grid->cells.reserve(grid->sharedFields.size() + rows * grid->fields.size());
    const auto addCell = [grid](const DataHandle* handle, DataType type) {
        grid->cells.emplace_back(type);
        const auto formatter = grid->formatters.find(handle);
        if (formatter != grid->formatters.end()) {
            grid->cells.back().setCustomFormatter(*formatter->second);
        }
    };
    for (size_t column = 0; column < grid->sharedFields.size(); ++column) {
        addCell(grid->sharedFields[column], grid->sharedTypes[column]);
    }
    for (size_t row = 0; row < rows; ++row) {
        for (size_t column = 0; column < grid->fields.size(); ++column) {
            addCell(grid->fields[column], grid->plainTypes[column]);
        }
    }
    // Every pair a typed setter can note: any entity or none, with any field.
    grid->validValues.reserve((grid->entities.size() + 1) *
                              (grid->fields.size() + grid->sharedFields.size()));
    return 0;
}

}  // namespace pwr
