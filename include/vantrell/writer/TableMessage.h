#pragma once

// pwr::TableMessage: the unit in which a summary travels to the writers, a grid of Data cells whose
// columns are fields and whose rows are entities. An accumulator builds it once (addEntity, addField,
// createTable), fills it through the typed setFieldValue operations, pushes it to the WriterStream, and
// the stream calls resetData for the next use. Writers read it by handle, never by position
// (getFieldValue, getFieldAsString and the iterators).
//
// A shared field has one cell for the whole table; a plain field one cell per entity, or one in all
// when the table has no entities. Field numbers start at 0 and count every addField call, shared or
// not, in order.
//
// Ownership: the grid (cells, formatters) belongs to the table. Copy and assignment are shallow: a copy
// shares the grid, and the grid lives until the last table that shares it goes. A read-only view (the
// protected constructor) reads its source's grid and changes nothing. Handles, entities, the quantity
// and the text notes belong to others and must outlive the table.
//
// Cells are made once at createTable and reused for every push: after createTable, setting a numeric
// value allocates nothing. No locks: a table is built, filled, pushed and read on one thread.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "vantrell/Export.h"
#include "vantrell/value/Data.h"
#include "vantrell/writer/WriterMessage.h"

namespace pwr {

class DataHandle;
class Description;
class EntityHandle;
class Field;
class Formatter;
class Quantity;
class TableGrid;
class TextNotes;

// The kind of a table, as origins, writer capabilities and the stream exchange it. TableMessage
// answers TABLE_CLASS_DEFAULT; the library gives other values no meaning. Unscoped, to match the
// opaque declaration in PluginCapability.h.
enum TableClass : uint32_t {
    TABLE_CLASS_DEFAULT = 0,
};

// A metric's legacy metric type; the library only stores it.
enum class RealTableClass : uint8_t {
    NONE = 0,
};

// Whether a table has had data: NO_DATA from construction, HAS_DATA from the first cell obtained for
// setting or the first resetData.
enum class TableMessageType : uint8_t {
    NO_DATA = 0,
    HAS_DATA = 1,
};

class VR_EXPORT TableMessage : public WriterMessage {
  public:
    // Orders entities by their id, so that rows follow ids rather than the order of adding.
    struct VR_EXPORT EntityIdLess {
        bool operator()(const EntityHandle* a, const EntityHandle* b) const;
    };
    using HandleList = std::vector<const DataHandle*>;
    using HandleIterator = HandleList::const_iterator;
    using EntitySet = std::set<const EntityHandle*, EntityIdLess>;
    using EntityIterator = EntitySet::const_iterator;
    using ValidPair = std::pair<const EntityHandle*, const DataHandle*>;
    // Ordered and unique, as a set of pairs would be, but kept in storage reserved at createTable so
    // that noting a valid value allocates nothing.
    using ValidList = std::vector<ValidPair>;
    using ValidIterator = ValidList::const_iterator;

    // A new, empty table in the building state. `quantity` may be null.
    TableMessage(const std::string& title, const Quantity* quantity);
    // Shallow: the copy is the same message (same id) and shares the grid and the text notes.
    TableMessage(const TableMessage& other);
    TableMessage& operator=(const TableMessage& other);
    // Frees the grid when this is the last table sharing it.
    ~TableMessage() override;

    MessageType getMessageType() const override;
    // TABLE_CLASS_DEFAULT.
    virtual TableClass getTableClass() const;
    // The shared fields, then the plain fields, in order of adding.
    virtual HandleIterator sharedFieldBegin() const;
    virtual HandleIterator sharedFieldEnd() const;
    virtual HandleIterator fieldBegin() const;
    virtual HandleIterator fieldEnd() const;
    // Each field followed by the attributes its values are expected to carry.
    virtual HandleIterator sharedHandleBegin() const;
    virtual HandleIterator sharedHandleEnd() const;
    virtual HandleIterator handleBegin() const;
    virtual HandleIterator handleEnd() const;
    // The entities in row order (by id).
    virtual EntityIterator entityBegin() const;
    virtual EntityIterator entityEnd() const;
    // The (entity, field) pairs set through the typed setters since the last resetData; the entity is
    // null for the forms without one.
    virtual ValidIterator validBegin() const;
    virtual ValidIterator validEnd() const;

    // ---- Building (before createTable) ------------------------------------------------------------

    // Adds a row. Null returns 1. After createTable logs "WARNING: Can't add new EntityHandle to table
    // after table is created\n" and returns 1. Otherwise returns 0; adding an entity twice changes
    // nothing.
    int addEntity(const EntityHandle* entity);

    // Adds a field; `shared` gives it one cell for the whole table. A description (or a name, made
    // into Description(name, "")) always makes a new handle: a StateDescription a State, anything else
    // a Field with the description's expected attributes; a Field is used as it is. A formatter is
    // cloned at once and given to the field's cells. Returns 0, also when a description of the state
    // type isn't a StateDescription ("WARNING: Could not get state description\n", nothing added).
    // After createTable logs "WARNING: May not add field once table %s is created\n" and returns 1.
    // A null Field returns 1 and adds nothing.
    int addField(const Description& description, DataType type, const Formatter& formatter, bool shared);
    int addField(const Description& description, DataType type, bool shared);
    int addField(const std::string& name, DataType type, const Formatter& formatter, bool shared);
    int addField(const std::string& name, DataType type, bool shared);
    int addField(const Field* field, DataType type, const Formatter& formatter, bool shared);
    int addField(const Field* field, DataType type, bool shared);

    // Numbers the entities by id and makes the cells, unset, each with a clone of its field's
    // formatter. A table with no field logs "WARNING: Can't create empty table %s\n" and returns 1
    // (the entities are numbered all the same). Returns 0; creating again returns 0 and keeps the
    // cells, their values and their addresses.
    int createTable();

    // ---- Setting (after createTable) --------------------------------------------------------------
    //
    // Each typed setter gets the cell (failure: 1), calls Data::setValue on it (refused: 1, with Data's
    // warning) and notes the (entity, field) pair for validBegin(). The forms without an entity set
    // row 0: the only row of a table without entities, or any shared field. The entity forms set the
    // entity's row (shared fields: the one shared cell). Numeric values allocate nothing.

    int setFieldValue(unsigned field, const long long& value);
    int setFieldValue(unsigned field, const unsigned long long& value);
    int setFieldValue(unsigned field, const double& value);
    int setFieldValue(unsigned field, const std::string& value);
    int setFieldValue(unsigned field, const DataHandle& value);
    int setFieldValue(unsigned field, const Data::IntRange& value);
    int setFieldValue(unsigned field, const Data::UIntRange& value);
    int setFieldValue(unsigned field, const Data::RealRange& value);
    // The cell's type must equal the value's (see Data::setValue(const Data&)).
    int setFieldValue(unsigned field, const Data& value);

    int setFieldValue(const EntityHandle* entity, unsigned field, const long long& value);
    int setFieldValue(const EntityHandle* entity, unsigned field, const unsigned long long& value);
    int setFieldValue(const EntityHandle* entity, unsigned field, const double& value);
    int setFieldValue(const EntityHandle* entity, unsigned field, const std::string& value);
    int setFieldValue(const EntityHandle* entity, unsigned field, const DataHandle& value);
    int setFieldValue(const EntityHandle* entity, unsigned field, const Data::IntRange& value);
    int setFieldValue(const EntityHandle* entity, unsigned field, const Data::UIntRange& value);
    int setFieldValue(const EntityHandle* entity, unsigned field, const Data::RealRange& value);
    int setFieldValue(const EntityHandle* entity, unsigned field, const Data& value);

    // Conveniences that keep plain integers, int64_t/uint64_t and literals unambiguous.
    int setFieldValue(unsigned field, const int& value) {
        return setFieldValue(field, static_cast<long long>(value));
    }
    int setFieldValue(unsigned field, const unsigned& value) {
        return setFieldValue(field, static_cast<unsigned long long>(value));
    }
    int setFieldValue(unsigned field, const long& value) {
        return setFieldValue(field, static_cast<long long>(value));
    }
    int setFieldValue(unsigned field, const unsigned long& value) {
        return setFieldValue(field, static_cast<unsigned long long>(value));
    }
    int setFieldValue(unsigned field, const char* value) {
        return setFieldValue(field, std::string(value ? value : ""));
    }
    int setFieldValue(const EntityHandle* entity, unsigned field, const int& value) {
        return setFieldValue(entity, field, static_cast<long long>(value));
    }
    int setFieldValue(const EntityHandle* entity, unsigned field, const unsigned& value) {
        return setFieldValue(entity, field, static_cast<unsigned long long>(value));
    }
    int setFieldValue(const EntityHandle* entity, unsigned field, const long& value) {
        return setFieldValue(entity, field, static_cast<long long>(value));
    }
    int setFieldValue(const EntityHandle* entity, unsigned field, const unsigned long& value) {
        return setFieldValue(entity, field, static_cast<unsigned long long>(value));
    }
    int setFieldValue(const EntityHandle* entity, unsigned field, const char* value) {
        return setFieldValue(entity, field, std::string(value ? value : ""));
    }

    // The low-level door, for callers that want no entry in validBegin(): the cell to set, owned by the
    // table, or null. No cells yet: "WARNING: Can't set table field before table is created\n"; an
    // unknown field number: "WARNING: Could not find field %u in table %s\n". A found cell marks the
    // table as having data. This form reads row 0.
    Data* getDataToSet_i(unsigned fieldNumber);
    // The cell of the entity's row, and the field's handle in `handle` (left alone on failure). An
    // entity not in the table logs "WARNING: No such entity %s found in table %s\n" with its name, or
    // "NULL".
    Data* getDataToSet_i(const EntityHandle* entity, unsigned fieldNumber, const DataHandle*& handle);

    // Clears valid in every cell (cells keep set and their payloads), empties the valid pairs and marks
    // the table as having data; returns 0. Before createTable logs "WARNING: Can't reset table data
    // before table is created\n" and returns 1. On a read-only view does nothing and returns 0.
    int resetData();

    // ---- Reading --------------------------------------------------------------------------------

    const std::string& getTitle() const;
    // Null when the table has no unit.
    const Quantity* getQuantity() const;
    // Not owned; null unless set.
    const TextNotes* getTextNotes() const { return textNotes; }
    // Returns 0. Not owned: `notes` must outlive the table and its copies.
    int setTextNotes(const TextNotes* notes);
    // Never set by the library: null.
    const EntityHandle* getRowEntity() const;
    // True once a field whose handle has a non-empty header was added.
    bool hasFieldHeaders() const;
    TableMessageType getTableMessageType() const;

    size_t getFieldCount() const;
    size_t getHandleCount() const;
    size_t getSharedFieldCount() const;
    size_t getSharedHandleCount() const;
    size_t getEntityCount() const;

    // The value of `handle` at row 0: a field's cell, or, for an expected attribute of a field, the
    // attribute's value in the state, event, entity or data descriptor that the field's HANDLE cell
    // names. Returns 0 with `value` pointing into the table (or the handle's attribute values) and
    // `valid` telling whether it may be printed; an attribute that the named handle doesn't carry gives
    // 0 with `value` null and `valid` false. Failures return 1 with `value` null and `valid` false, and
    // log one of: "WARNING: Attempt to retrieve value from uncreated table %s", "WARNING: No data in
    // table yet %s\n", "WARNING: Unknown field %s in table %s\n", "WARNING: Could not find field %u in
    // table %s\n", "WARNING: Attempt to retrieve an attribute from a simple type in %s\n", "WARNING:
    // Could not convert to handle type in %s\n", "WARNING: Error getting state/event/entity/
    // dataDescriptor and attribute (%p %p %p %p %p) from table %s\n".
    int getFieldValue(const DataHandle* handle, const Data*& value, bool& valid) const;
    // As above at the entity's row. A table without entities logs "WARNING: Entity specified in request
    // for field where not relevant %s\n"; an entity not in the table "WARNING: Entity %s not found in
    // table %s\n" (its name, or "NULL"). Both return 1 with the outputs cleared.
    int getFieldValue(const EntityHandle* entity, const DataHandle* handle, const Data*& value,
                      bool& valid) const;

    // As getFieldValue; with `valid` true `text` becomes the value's formatted text and the result is
    // the formatter's. With `valid` false returns 0 and leaves `text` alone; on failure returns 1 and
    // leaves `text` alone.
    int getFieldAsString(const DataHandle* handle, std::string& text, bool& valid) const;
    // As above at the entity's row; the two entity failures also empty `text`.
    int getFieldAsString(const EntityHandle* entity, const DataHandle* handle, std::string& text,
                         bool& valid) const;

    // Empties `out`; for a null quantity returns false, else makes `out` prefix + units + suffix and
    // returns true.
    static bool quantityToUnits(const Quantity* quantity, std::string& out, const std::string& prefix,
                                const std::string& suffix);

  protected:
    // A read-only view of `source`'s grid with a message id of its own and the source's id as a
    // parent; it takes the source's text notes. The view keeps the grid alive but never changes it:
    // building, setting and resetting through it are refused. `source` must not be null.
    explicit TableMessage(const TableMessage* source);

  private:
    // Notes (entity, handle) among the valid pairs; returns 0.
    int addValidValue_i(const EntityHandle* entity, const DataHandle* handle);
    // The common tail of the addField forms, taking over a new or given handle.
    int addField_i(const DataHandle* handle, DataType type, const Formatter* formatter, bool shared);
    int addFieldFromDescription_i(const Description& description, DataType type, const Formatter* formatter,
                                  bool shared);
    // The grid to change, or null (with a warning naming `what`) for a read-only view.
    TableGrid* writableGrid_i(const char* what) const;
    // Row 0 cell and the field's handle; the shared step of the typed setters without an entity.
    Data* getCellAndHandle_i(unsigned fieldNumber, const DataHandle*& handle);
    // getFieldValue at a given row.
    int getFieldValue_i(size_t row, const DataHandle* handle, const Data*& value, bool& valid) const;
    // The attribute step of getFieldValue_i: `cell` is the field's cell, `handle` the attribute.
    int getAttributeValue_i(const Data& cell, const DataHandle* handle, const Data*& value,
                            bool& valid) const;
    // The row of `entity` for the entity forms of reading; logs and clears the outputs on failure.
    bool findReadRow_i(const EntityHandle* entity, size_t& row) const;
    template <typename T>
    int setRowZero_i(unsigned field, const T& value);
    template <typename T>
    int setEntity_i(const EntityHandle* entity, unsigned field, const T& value);

    std::shared_ptr<TableGrid> ownedTable;
    std::shared_ptr<const TableGrid> table;
    const TextNotes* textNotes = nullptr;
};

}  // namespace pwr
