// TableMessage: construction, copies and views, the iterators and plain reads, resetData. Building is
// in TableMessageBuild.cpp, setting in TableMessageSet.cpp, reading by handle in TableMessageRead.cpp.

#include "vantrell/writer/TableMessage.h"

#include "TableGrid.h"
#include "vantrell/plugin/Logging.h"
#include "vantrell/value/EntityHandle.h"
#include "vantrell/value/Quantity.h"

namespace pwr {

bool TableMessage::EntityIdLess::operator()(const EntityHandle* a, const EntityHandle* b) const {
    return a->getId() < b->getId();
}

TableMessage::TableMessage(const std::string& title, const Quantity* quantity)
    : ownedTable(std::make_shared<TableGrid>(title, quantity)), table(ownedTable) {}

TableMessage::TableMessage(const TableMessage* source)
    : ownedTable(nullptr), table(source->table), textNotes(source->textNotes) {
    addParentMessage(source->getMessageId());
}

TableMessage::TableMessage(const TableMessage& other) = default;
TableMessage& TableMessage::operator=(const TableMessage& other) = default;
TableMessage::~TableMessage() = default;

MessageType TableMessage::getMessageType() const {
    return MessageType::TABLE;
}
TableClass TableMessage::getTableClass() const {
    return TABLE_CLASS_DEFAULT;
}

TableMessage::HandleIterator TableMessage::sharedFieldBegin() const {
    return table->sharedFields.begin();
}
TableMessage::HandleIterator TableMessage::sharedFieldEnd() const {
    return table->sharedFields.end();
}
TableMessage::HandleIterator TableMessage::fieldBegin() const {
    return table->fields.begin();
}
TableMessage::HandleIterator TableMessage::fieldEnd() const {
    return table->fields.end();
}
TableMessage::HandleIterator TableMessage::sharedHandleBegin() const {
    return table->sharedHandles.begin();
}
TableMessage::HandleIterator TableMessage::sharedHandleEnd() const {
    return table->sharedHandles.end();
}
TableMessage::HandleIterator TableMessage::handleBegin() const {
    return table->handles.begin();
}
TableMessage::HandleIterator TableMessage::handleEnd() const {
    return table->handles.end();
}
TableMessage::EntityIterator TableMessage::entityBegin() const {
    return table->entities.begin();
}
TableMessage::EntityIterator TableMessage::entityEnd() const {
    return table->entities.end();
}
TableMessage::ValidIterator TableMessage::validBegin() const {
    return table->validValues.begin();
}
TableMessage::ValidIterator TableMessage::validEnd() const {
    return table->validValues.end();
}

const std::string& TableMessage::getTitle() const {
    return table->title;
}
const Quantity* TableMessage::getQuantity() const {
    return table->quantity;
}
const EntityHandle* TableMessage::getRowEntity() const {
    return table->rowEntity;
}
bool TableMessage::hasFieldHeaders() const {
    return table->hasFieldHeaders;
}
TableMessageType TableMessage::getTableMessageType() const {
    return table->tableMessageType;
}

int TableMessage::setTextNotes(const TextNotes* notes) {
    textNotes = notes;
    return 0;
}

size_t TableMessage::getFieldCount() const {
    return table->fields.size();
}
size_t TableMessage::getHandleCount() const {
    return table->handles.size();
}
size_t TableMessage::getSharedFieldCount() const {
    return table->sharedFields.size();
}
size_t TableMessage::getSharedHandleCount() const {
    return table->sharedHandles.size();
}
size_t TableMessage::getEntityCount() const {
    return table->entities.size();
}

bool TableMessage::quantityToUnits(const Quantity* quantity, std::string& out, const std::string& prefix,
                                   const std::string& suffix) {
    out.clear();
    if (quantity == nullptr) {
        return false;
    }
    out.append(prefix).append(quantity->toUnitsString()).append(suffix);
    return true;
}

int TableMessage::resetData() {
    if (!ownedTable) {
        return 0;  // a view never changes the grid it reads
    }
    TableGrid& grid = *ownedTable;
    if (!grid.isCreated()) {
        VR_LOG(2, "WARNING: Can't reset table data before table is created\n");
        return 1;
    }
    for (Data& cell : grid.cells) {
        cell.invalidate();
    }
    grid.validValues.clear();  // keeps its reserved storage
    grid.tableMessageType = TableMessageType::HAS_DATA;
    return 0;
}

TableGrid* TableMessage::writableGrid_i(const char* what) const {
    if (!ownedTable) {
        VR_LOG(2, "WARNING: Can't %s through a read-only view of table %s\n", what, table->title.c_str());
    }
    return ownedTable.get();
}

// ---- TableGrid ----------------------------------------------------------------------------------

bool TableGrid::findCell(unsigned fieldNumber, size_t row, size_t& index) const {
    const auto plain = plainColumns.find(fieldNumber);
    if (plain != plainColumns.end()) {
        index = rowWidth() * row + sharedFields.size() + plain->second;
    } else {
        const auto shared = sharedColumns.find(fieldNumber);
        if (shared == sharedColumns.end()) {
            VR_LOG(2, "WARNING: Could not find field %u in table %s\n", fieldNumber, title.c_str());
            return false;
        }
        index = shared->second;
    }
    return index < cells.size();
}

const DataHandle* TableGrid::fieldHandle(unsigned fieldNumber) const {
    const auto plain = plainColumns.find(fieldNumber);
    if (plain != plainColumns.end()) {
        return fields[plain->second];
    }
    const auto shared = sharedColumns.find(fieldNumber);
    return shared != sharedColumns.end() ? sharedFields[shared->second] : nullptr;
}

}  // namespace pwr
