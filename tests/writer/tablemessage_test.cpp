#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "value/RegistryEnvironment.h"
#include "vantrell/value/Attribute.h"
#include "vantrell/value/Data.h"
#include "vantrell/value/DataHandle.h"
#include "vantrell/value/Description.h"
#include "vantrell/value/EntityHandle.h"
#include "vantrell/value/Formatter.h"
#include "vantrell/value/Quantity.h"
#include "vantrell/writer/TableMessage.h"
#include "vantrell/writer/TextNotes.h"

namespace {

using pwr::Data;
using pwr::DataHandle;
using pwr::DataType;
using pwr::EntityHandle;
using pwr::TableMessage;
using vrtest::ScopedLogCapture;

std::vector<const DataHandle*> plainFields(const TableMessage& table) {
    return {table.fieldBegin(), table.fieldEnd()};
}

std::vector<const DataHandle*> sharedFields(const TableMessage& table) {
    return {table.sharedFieldBegin(), table.sharedFieldEnd()};
}

// The INT value of `handle` at the entity's row (or row 0), or -1 when it can't be read.
long long readInt(const TableMessage& table, const EntityHandle* entity, const DataHandle* handle) {
    const Data* value = nullptr;
    bool valid = false;
    const int status = entity != nullptr ? table.getFieldValue(entity, handle, value, valid)
                                         : table.getFieldValue(handle, value, valid);
    long long out = -1;
    if (status != 0 || !valid || value->toInt(out) != 0) {
        return -1;
    }
    return out;
}

TEST(TableMessage, SharedCellsThenOneBlockPerEntityInIdOrder) {
    std::vector<EntityHandle*> entities;
    for (const char* name : {"e0", "e1", "e2", "e3"}) {
        entities.push_back(EntityHandle::create(name, nullptr));
    }
    TableMessage table("layout", nullptr);
    for (auto at = entities.rbegin(); at != entities.rend(); ++at) {
        EXPECT_EQ(table.addEntity(*at), 0);
    }
    EXPECT_EQ(table.addEntity(entities[0]), 0);  // a second adding changes nothing
    EXPECT_EQ(table.addEntity(nullptr), 1);
    // Field numbers count both kinds in adding order: A 0, S1 1, B 2, S2 3, C 4.
    EXPECT_EQ(table.addField("A", DataType::INT, false), 0);
    EXPECT_EQ(table.addField("S1", DataType::INT, true), 0);
    EXPECT_EQ(table.addField("B", DataType::INT, false), 0);
    EXPECT_EQ(table.addField("S2", DataType::INT, true), 0);
    EXPECT_EQ(table.addField("C", DataType::INT, false), 0);
    ASSERT_EQ(table.createTable(), 0);
    EXPECT_EQ(table.getFieldCount(), 3u);
    EXPECT_EQ(table.getSharedFieldCount(), 2u);
    EXPECT_EQ(table.getEntityCount(), 4u);
    EXPECT_EQ(std::vector<const EntityHandle*>(table.entityBegin(), table.entityEnd()),
              std::vector<const EntityHandle*>(entities.begin(), entities.end()));

    const unsigned plainNumbers[] = {0, 2, 4};
    for (size_t row = 0; row < entities.size(); ++row) {
        for (unsigned number : plainNumbers) {
            EXPECT_EQ(table.setFieldValue(entities[row], number, static_cast<long long>(100 * row + number)),
                      0);
        }
    }
    EXPECT_EQ(table.setFieldValue(entities[0], 1, 11LL), 0);
    EXPECT_EQ(table.setFieldValue(3, 33LL), 0);

    // Twelve plain cells and two shared ones, each holding its own value.
    const auto plain = plainFields(table);
    ASSERT_EQ(plain.size(), 3u);
    for (size_t row = 0; row < entities.size(); ++row) {
        for (size_t column = 0; column < plain.size(); ++column) {
            EXPECT_EQ(readInt(table, entities[row], plain[column]),
                      static_cast<long long>(100 * row + 2 * column));
        }
        EXPECT_EQ(readInt(table, entities[row], sharedFields(table)[0]), 11);
        EXPECT_EQ(readInt(table, entities[row], sharedFields(table)[1]), 33);
    }
    EXPECT_EQ(readInt(table, nullptr, sharedFields(table)[0]), 11);
    // Without an entity a plain field reads row 0, the entity with the lowest id.
    EXPECT_EQ(readInt(table, nullptr, plain[1]), 2);
}

TEST(TableMessage, RowZeroIsTheLowestIdNotTheFirstAdded) {
    EntityHandle* older = EntityHandle::create("older", nullptr);
    EntityHandle* newer = EntityHandle::create("newer", nullptr);
    TableMessage table("rows", nullptr);
    table.addEntity(newer);
    table.addEntity(older);
    table.addField("v", DataType::UINT, false);
    ASSERT_EQ(table.createTable(), 0);
    Data* cell = table.getDataToSet_i(0);
    ASSERT_NE(cell, nullptr);
    EXPECT_EQ(cell->setValue(7ULL), 0);
    const Data* value = nullptr;
    bool valid = false;
    EXPECT_EQ(table.getFieldValue(older, plainFields(table)[0], value, valid), 0);
    EXPECT_TRUE(valid);
    EXPECT_EQ(*value, Data(7ULL));
    EXPECT_EQ(table.getFieldValue(newer, plainFields(table)[0], value, valid), 0);
    EXPECT_FALSE(valid);
}

TEST(TableMessage, WithoutEntitiesThereIsOneRow) {
    ScopedLogCapture capture(2);
    TableMessage table("single", pwr::Quantity::power());
    table.addField("watts", DataType::REAL, false);
    ASSERT_EQ(table.createTable(), 0);
    EXPECT_EQ(table.getTableMessageType(), pwr::TableMessageType::NO_DATA);
    Data* cell = table.getDataToSet_i(0);
    ASSERT_NE(cell, nullptr);
    EXPECT_EQ(table.getTableMessageType(), pwr::TableMessageType::HAS_DATA);
    cell->setValue(2.5);
    EXPECT_EQ(table.validBegin(), table.validEnd());  // the low-level door notes nothing
    const Data* value = nullptr;
    bool valid = false;
    EXPECT_EQ(table.getFieldValue(plainFields(table)[0], value, valid), 0);
    EXPECT_TRUE(valid);
    EXPECT_EQ(*value, Data(2.5));

    EXPECT_EQ(table.setFieldValue(0, 3.5), 0);
    EXPECT_EQ(std::vector<TableMessage::ValidPair>(table.validBegin(), table.validEnd()),
              (std::vector<TableMessage::ValidPair>{{nullptr, plainFields(table)[0]}}));
    EXPECT_EQ(table.getFieldValue(EntityHandle::create("x", nullptr), plainFields(table)[0], value, valid),
              1);
    EXPECT_EQ(value, nullptr);
    EXPECT_FALSE(valid);
    EXPECT_EQ(capture.debug().text(),
              "WARNING: Entity specified in request for field where not relevant single\n");
    EXPECT_EQ(table.getQuantity(), pwr::Quantity::power());
    EXPECT_EQ(table.getRowEntity(), nullptr);
    EXPECT_EQ(table.getTableClass(), pwr::TABLE_CLASS_DEFAULT);
}

TEST(TableMessage, BuildingIsRefusedOnceCreated) {
    ScopedLogCapture capture(2);
    TableMessage table("T", nullptr);
    EXPECT_EQ(table.createTable(), 1);
    EXPECT_EQ(capture.debug().text(), "WARNING: Can't create empty table T\n");
    capture.clear();
    EntityHandle* entity = EntityHandle::create("cpu0", nullptr);
    table.addEntity(entity);
    table.addField("f", DataType::INT, false);
    ASSERT_EQ(table.createTable(), 0);

    EXPECT_EQ(table.addField("late", DataType::INT, false), 1);
    EXPECT_EQ(table.addField("late", DataType::INT, true), 1);
    EXPECT_EQ(table.addEntity(EntityHandle::create("late", nullptr)), 1);
    EXPECT_EQ(table.createTable(), 1);
    EXPECT_EQ(capture.debug().text(),
              "WARNING: May not add field once table T is created\n"
              "WARNING: May not add field once table T is created\n"
              "WARNING: Can't add new EntityHandle to table after table is created\n"
              "WARNING: Table T is already created\n");
    EXPECT_EQ(table.getFieldCount(), 1u);
    EXPECT_EQ(table.getSharedFieldCount(), 0u);
    EXPECT_EQ(table.getEntityCount(), 1u);
    EXPECT_EQ(table.setFieldValue(entity, 0, 5LL), 0);
    EXPECT_EQ(readInt(table, entity, plainFields(table)[0]), 5);
}

TEST(TableMessage, FieldKindsHandlesAndHeaders) {
    ScopedLogCapture capture(2);
    TableMessage table("kinds", nullptr);
    const pwr::Attribute* frequency = pwr::Attribute::get(pwr::AttributeType::FREQUENCY);
    pwr::FieldDescription withAttribute("state", "");
    withAttribute.addAttribute(frequency);
    EXPECT_EQ(table.addField(withAttribute, DataType::HANDLE, false), 0);
    EXPECT_FALSE(table.hasFieldHeaders());
    pwr::StateDescription stateDescription("C6", "");
    stateDescription.setHeader("Residency");
    EXPECT_EQ(table.addField(stateDescription, DataType::REAL, false), 0);
    EXPECT_TRUE(table.hasFieldHeaders());

    // A description that claims the state type without being a StateDescription adds nothing.
    struct NotAState : pwr::Description {
        NotAState() : Description(pwr::DescriptionType::STATE, "bogus", "") {}
    };
    EXPECT_EQ(table.addField(NotAState(), DataType::INT, false), 0);
    EXPECT_EQ(capture.debug().text(), "WARNING: Could not get state description\n");
    EXPECT_EQ(table.addField(static_cast<const pwr::Field*>(nullptr), DataType::INT, false), 1);

    const auto fields = plainFields(table);
    ASSERT_EQ(fields.size(), 2u);
    EXPECT_EQ(fields[0]->getHandleType(), pwr::DataHandleType::FIELD);
    EXPECT_EQ(fields[1]->getHandleType(), pwr::DataHandleType::STATE);
    EXPECT_EQ(std::vector<const DataHandle*>(table.handleBegin(), table.handleEnd()),
              (std::vector<const DataHandle*>{fields[0], frequency, fields[1]}));
    EXPECT_EQ(table.getHandleCount(), 3u);

    // The same name in another table is another handle.
    TableMessage other("other", nullptr);
    other.addField(withAttribute, DataType::HANDLE, false);
    EXPECT_NE(plainFields(other)[0], fields[0]);
}

TEST(TableMessage, TheSameFieldTwiceTakesTwoColumnsAndKeepsItsFirstNumber) {
    const pwr::Field* field = pwr::Field::create(pwr::Description("twice", ""));
    TableMessage table("dup", nullptr);
    table.addField(field, DataType::INT, false);
    table.addField(field, DataType::INT, false);
    table.addField("third", DataType::INT, false);
    ASSERT_EQ(table.createTable(), 0);
    EXPECT_EQ(table.getFieldCount(), 3u);
    EXPECT_EQ(table.setFieldValue(0, 10LL), 0);
    EXPECT_EQ(table.setFieldValue(1, 20LL), 0);
    EXPECT_EQ(table.setFieldValue(2, 30LL), 0);  // the third field is number 2, not 1
    EXPECT_EQ(readInt(table, nullptr, field), 10);
    EXPECT_EQ(readInt(table, nullptr, plainFields(table)[2]), 30);
}

TEST(TableMessage, SettingFailuresLogAndLeaveTheGrid) {
    ScopedLogCapture capture(2);
    EntityHandle* inside = EntityHandle::create("inside", nullptr);
    EntityHandle* outside = EntityHandle::create("outside", nullptr);
    TableMessage table("S", nullptr);
    table.addEntity(inside);
    table.addField("n", DataType::INT, false);
    EXPECT_EQ(table.setFieldValue(0, 1LL), 1);
    EXPECT_EQ(table.getDataToSet_i(0), nullptr);
    ASSERT_EQ(table.createTable(), 0);
    EXPECT_EQ(table.setFieldValue(9, 1LL), 1);
    EXPECT_EQ(table.setFieldValue(outside, 0, 1LL), 1);
    EXPECT_EQ(table.setFieldValue(nullptr, 0, 1LL), 1);
    EXPECT_EQ(table.setFieldValue(inside, 0, 1.5), 1);  // wrong type
    EXPECT_EQ(table.setFieldValue(inside, 0, Data(1.5)), 1);
    EXPECT_EQ(capture.debug().text(),
              "WARNING: Can't set table field before table is created\n"
              "WARNING: Can't set table field before table is created\n"
              "WARNING: Could not find field 9 in table S\n"
              "WARNING: No such entity outside found in table S\n"
              "WARNING: No such entity NULL found in table S\n"
              "WARNING: Invalid attempt to initialize data of the wrong type (1 != 3)\n"
              "WARNING: Invalid attempt to initialize data of the wrong type (1 != 3)\n");
    EXPECT_EQ(table.validBegin(), table.validEnd());
}

TEST(TableMessage, EveryPayloadTypeSetsThroughBothForms) {
    EntityHandle* entity = EntityHandle::create("dev", nullptr);
    const pwr::Field* named = pwr::Field::create(pwr::Description("named", ""));
    TableMessage table("types", nullptr);
    table.addEntity(entity);
    const DataType types[] = {DataType::INT,        DataType::UINT,       DataType::REAL,
                              DataType::STRING,     DataType::HANDLE,     DataType::INT_RANGE,
                              DataType::UINT_RANGE, DataType::REAL_RANGE, DataType::UINT};
    for (DataType type : types) {
        table.addField("f", type, false);
    }
    ASSERT_EQ(table.createTable(), 0);
    const std::vector<Data> expected = {Data(-4LL),       Data(4ULL),     Data(0.25),
                                        Data("text"),     Data(*named),   Data(-1LL, 1LL),
                                        Data(1ULL, 2ULL), Data(0.5, 1.5), Data(9ULL)};
    EXPECT_EQ(table.setFieldValue(0, -4LL), 0);
    EXPECT_EQ(table.setFieldValue(entity, 1, 4ULL), 0);
    EXPECT_EQ(table.setFieldValue(2, 0.25), 0);
    EXPECT_EQ(table.setFieldValue(entity, 3, std::string("text")), 0);
    EXPECT_EQ(table.setFieldValue(4, static_cast<const DataHandle&>(*named)), 0);
    EXPECT_EQ(table.setFieldValue(entity, 5, Data::IntRange(-1, 1)), 0);
    EXPECT_EQ(table.setFieldValue(6, Data::UIntRange(1, 2)), 0);
    EXPECT_EQ(table.setFieldValue(entity, 7, Data::RealRange(0.5, 1.5)), 0);
    EXPECT_EQ(table.setFieldValue(entity, 8, Data(9ULL)), 0);
    const auto fields = plainFields(table);
    for (size_t i = 0; i < fields.size(); ++i) {
        SCOPED_TRACE(i);
        const Data* value = nullptr;
        bool valid = false;
        ASSERT_EQ(table.getFieldValue(entity, fields[i], value, valid), 0);
        EXPECT_TRUE(valid);
        EXPECT_EQ(*value, expected[i]);
    }
    // Both forms noted their pairs, each once, sorted as a set of pairs would be.
    EXPECT_EQ(table.setFieldValue(entity, 1, 5ULL), 0);
    const std::vector<TableMessage::ValidPair> pairs(table.validBegin(), table.validEnd());
    EXPECT_EQ(pairs.size(), 9u);
    EXPECT_TRUE(std::is_sorted(pairs.begin(), pairs.end()));
}

TEST(TableMessage, CellsKeepTheirFieldsFormatter) {
    TableMessage table("fmt", nullptr);
    {
        pwr::IntFormatter suffixed("x", 0, false);
        table.addField("n", DataType::INT, suffixed, false);  // cloned at once
    }
    table.addField("plain", DataType::INT, false);
    ASSERT_EQ(table.createTable(), 0);
    const auto fields = plainFields(table);
    std::string text = "before";
    bool valid = true;
    EXPECT_EQ(table.setFieldValue(0, 5LL), 0);
    EXPECT_EQ(table.getFieldAsString(fields[0], text, valid), 0);
    EXPECT_EQ(text, "5x");

    // A Data with a formatter of its own keeps the field's presentation...
    Data own(6LL);
    own.setCustomFormatter(pwr::IntFormatter("y", 0, false));
    EXPECT_EQ(table.setFieldValue(0, own), 0);
    EXPECT_EQ(table.getFieldAsString(fields[0], text, valid), 0);
    EXPECT_EQ(text, "6x");
    // ...and brings its own where the field has none.
    EXPECT_EQ(table.setFieldValue(1, own), 0);
    EXPECT_EQ(table.getFieldAsString(fields[1], text, valid), 0);
    EXPECT_EQ(text, "6y");
}

TEST(TableMessage, QuantityToUnits) {
    std::string out = "stale";
    EXPECT_FALSE(TableMessage::quantityToUnits(nullptr, out, "(", ")"));
    EXPECT_EQ(out, "");
    EXPECT_TRUE(TableMessage::quantityToUnits(pwr::Quantity::frequency(), out, " (", ")"));
    EXPECT_EQ(out, " (" + pwr::Quantity::frequency()->toUnitsString() + ")");
}

}  // namespace
