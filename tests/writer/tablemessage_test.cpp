#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <tuple>
#include <vector>

#include "support/LogCapture.h"
#include "value/RegistryEnvironment.h"
#include "vantrell/value/Attribute.h"
#include "vantrell/value/Description.h"
#include "vantrell/value/EntityHandle.h"
#include "vantrell/value/Formatter.h"
#include "vantrell/value/Quantity.h"
#include "vantrell/writer/TableMessage.h"
#include "vantrell/writer/TextNotes.h"

namespace {

using pwr::Attribute;
using pwr::Data;
using pwr::DataHandle;
using pwr::DataType;
using pwr::EntityHandle;
using pwr::TableMessage;
using vrtest::ScopedLogCapture;
using Handles = std::vector<const DataHandle*>;
using Pairs = std::vector<TableMessage::ValidPair>;

// Opens the protected read-only view to tests, as a writer-side subclass would.
class TableView : public TableMessage {
  public:
    explicit TableView(const TableMessage* source) : TableMessage(source) {}
};

Handles plainFields(const TableMessage& table) {
    return {table.fieldBegin(), table.fieldEnd()};
}

// The value of `handle` at the entity's row (or row 0) when it reads as valid, else a default Data.
Data read(const TableMessage& table, const EntityHandle* entity, const DataHandle* handle) {
    const Data* value = nullptr;
    bool valid = false;
    const int status = entity != nullptr ? table.getFieldValue(entity, handle, value, valid)
                                         : table.getFieldValue(handle, value, valid);
    return status == 0 && valid ? *value : Data();
}

const Attribute* frequency() {
    return Attribute::get(pwr::AttributeType::FREQUENCY);
}

TEST(TableMessage, BuildingAndSettingOutOfTurnOrOutOfRangeAreRefusedWithAWarning) {
    ScopedLogCapture capture(2);
    TableMessage table("T", nullptr);
    EXPECT_EQ(table.createTable(), 1);
    // Adding an entity twice changes nothing; a null one is refused. (Row order and cell layout show
    // in the writer's printed lines, in the road suite.)
    EntityHandle* entity = EntityHandle::create("cpu0", nullptr);
    EXPECT_EQ(table.addEntity(entity), 0);
    EXPECT_EQ(table.addEntity(entity), 0);
    EXPECT_EQ(table.addEntity(nullptr), 1);
    table.addField("n", DataType::INT, false);
    EXPECT_EQ(table.setFieldValue(0, 1LL), 1);
    EXPECT_EQ(table.getDataToSet_i(0), nullptr);
    ASSERT_EQ(table.createTable(), 0);
    EXPECT_EQ(table.addField("late", DataType::INT, false), 1);
    EXPECT_EQ(table.addField("late", DataType::INT, true), 1);
    EXPECT_EQ(table.addEntity(EntityHandle::create("late", nullptr)), 1);
    ASSERT_EQ(table.setFieldValue(entity, 0, 7LL), 0);
    const DataHandle* handle = nullptr;
    const Data* cell = table.getDataToSet_i(entity, 0, handle);
    EXPECT_EQ(table.createTable(), 0);  // again: the cells stay as they are
    EXPECT_EQ(table.getDataToSet_i(entity, 0, handle), cell);
    long long seven = 0;
    EXPECT_EQ(cell->toInt(seven), 0);
    EXPECT_EQ(seven, 7);
    EXPECT_EQ(table.setFieldValue(9, 1LL), 1);
    EXPECT_EQ(table.setFieldValue(EntityHandle::create("outside", nullptr), 0, 1LL), 1);
    EXPECT_EQ(table.setFieldValue(nullptr, 0, 1LL), 1);
    EXPECT_EQ(table.setFieldValue(entity, 0, 1.5), 1);  // wrong type
    EXPECT_EQ(table.setFieldValue(entity, 0, Data(1.5)), 1);
    EXPECT_EQ(capture.debug().text(),
              "WARNING: Can't create empty table T\n"
              "WARNING: Can't set table field before table is created\n"
              "WARNING: Can't set table field before table is created\n"
              "WARNING: May not add field once table T is created\n"
              "WARNING: May not add field once table T is created\n"
              "WARNING: Can't add new EntityHandle to table after table is created\n"
              "WARNING: Could not find field 9 in table T\n"
              "WARNING: No such entity outside found in table T\n"
              "WARNING: No such entity NULL found in table T\n"
              "WARNING: Invalid attempt to initialize data of the wrong type (1 != 3)\n"
              "WARNING: Invalid attempt to initialize data of the wrong type (1 != 3)\n");
    EXPECT_EQ(table.getFieldCount() + table.getSharedFieldCount() + table.getEntityCount(), 2u);
    EXPECT_EQ(std::distance(table.validBegin(), table.validEnd()), 1);  // only the 7 set above
}

TEST(TableMessage, FieldKindsHandlesAndHeaders) {
    ScopedLogCapture capture(2);
    TableMessage table("kinds", nullptr);
    pwr::FieldDescription withAttribute("state", "");
    withAttribute.addAttribute(frequency());
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

    const Handles fields = plainFields(table);
    ASSERT_EQ(fields.size(), 2u);
    EXPECT_EQ(fields[1]->getHandleType(), pwr::DataHandleType::STATE);
    EXPECT_EQ(Handles(table.handleBegin(), table.handleEnd()), (Handles{fields[0], frequency(), fields[1]}));
    // The same description in another table makes another handle.
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
    for (unsigned number = 0; number < 3; ++number) {
        EXPECT_EQ(table.setFieldValue(number, 10LL * (number + 1)), 0);
    }
    EXPECT_EQ(read(table, nullptr, field), Data(10LL));
    EXPECT_EQ(read(table, nullptr, plainFields(table)[2]), Data(30LL));  // the third is number 2
}

TEST(TableMessage, EveryPayloadTypeSetsThroughBothForms) {
    EntityHandle* entity = EntityHandle::create("dev", nullptr);
    const pwr::Field* named = pwr::Field::create(pwr::Description("named", ""));
    const std::vector<Data> expected = {Data(-4LL),       Data(4ULL),     Data(0.25),
                                        Data("text"),     Data(*named),   Data(-1LL, 1LL),
                                        Data(1ULL, 2ULL), Data(0.5, 1.5), Data(9ULL)};
    TableMessage table("types", nullptr);
    table.addEntity(entity);
    for (const Data& value : expected) {
        table.addField("f", value.getType(), false);
    }
    ASSERT_EQ(table.createTable(), 0);
    EXPECT_EQ(table.setFieldValue(0, -4LL), 0);
    EXPECT_EQ(table.setFieldValue(entity, 1, 4ULL), 0);
    EXPECT_EQ(table.setFieldValue(2, 0.25), 0);
    EXPECT_EQ(table.setFieldValue(entity, 3, std::string("text")), 0);
    EXPECT_EQ(table.setFieldValue(4, static_cast<const DataHandle&>(*named)), 0);
    EXPECT_EQ(table.setFieldValue(entity, 5, Data::IntRange(-1, 1)), 0);
    EXPECT_EQ(table.setFieldValue(6, Data::UIntRange(1, 2)), 0);
    EXPECT_EQ(table.setFieldValue(entity, 7, Data::RealRange(0.5, 1.5)), 0);
    EXPECT_EQ(table.setFieldValue(entity, 8, Data(9ULL)), 0);
    const Handles fields = plainFields(table);
    for (size_t i = 0; i < fields.size(); ++i) {
        EXPECT_EQ(read(table, entity, fields[i]), expected[i]) << i;
    }
    // Both forms noted their pairs, each once, sorted as a set of pairs would be.
    EXPECT_EQ(table.setFieldValue(entity, 1, 5ULL), 0);
    const Pairs pairs(table.validBegin(), table.validEnd());
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
    Data own(6LL);
    own.setCustomFormatter(pwr::IntFormatter("y", 0, false));
    // A Data with a formatter of its own keeps the field's presentation, and brings its own where the
    // field has none.
    const std::tuple<unsigned, Data, const char*> cases[] = {{0, 5LL, "5x"}, {0, own, "6x"}, {1, own, "6y"}};
    for (const auto& [field, value, expected] : cases) {
        std::string text;
        bool valid = false;
        EXPECT_EQ(table.setFieldValue(field, value), 0);
        EXPECT_EQ(table.getFieldAsString(plainFields(table)[field], text, valid), 0);
        EXPECT_EQ(text, expected);
    }
}

TEST(TableMessage, QuantityToUnits) {
    std::string out = "stale";
    EXPECT_FALSE(TableMessage::quantityToUnits(nullptr, out, "(", ")"));
    EXPECT_EQ(out, "");
    EXPECT_TRUE(TableMessage::quantityToUnits(pwr::Quantity::frequency(), out, " (", ")"));
    EXPECT_EQ(out, " (" + pwr::Quantity::frequency()->toUnitsString() + ")");
}

TEST(TableMessage, ReadsFindNothingBeforeDataForUnknownHandlesOrInResetCells) {
    ScopedLogCapture capture(2);
    TableMessage table("R", nullptr);
    table.addEntity(EntityHandle::create("in", nullptr));
    table.addField("n", DataType::INT, false);
    const DataHandle* field = *table.fieldBegin();
    const Data* value = nullptr;
    bool valid = true;
    EXPECT_EQ(table.getFieldValue(field, value, valid), 1);
    // Before createTable no entity has a row: the entity form empties the text.
    std::string text = "kept";
    EXPECT_EQ(table.getFieldAsString(*table.entityBegin(), field, text, valid), 1);
    EXPECT_TRUE(text.empty() && !valid);
    EXPECT_EQ(table.resetData(), 1);
    ASSERT_EQ(table.createTable(), 0);
    EXPECT_EQ(table.getFieldValue(field, value, valid), 1);
    EXPECT_TRUE(value == nullptr && !valid);
    // A reset gives the table data. Then a missing field leaves the text alone, a missing entity
    // empties it.
    EXPECT_EQ(table.resetData(), 0);
    EXPECT_EQ(table.getFieldValue(nullptr, value, valid), 1);
    text = "kept";
    EXPECT_EQ(table.getFieldAsString(pwr::Field::create(pwr::Description("stranger", "")), text, valid), 1);
    EXPECT_EQ(text, "kept");
    valid = true;
    EXPECT_EQ(table.getFieldAsString(nullptr, field, text, valid), 1);
    EXPECT_TRUE(text.empty() && !valid);
    EXPECT_EQ(capture.debug().text(),
              "WARNING: Attempt to retrieve value from uncreated table R"
              "WARNING: Entity in not found in table R\n"
              "WARNING: Can't reset table data before table is created\n"
              "WARNING: No data in table yet R\n"
              "WARNING: Unknown field NULL in table R\n"
              "WARNING: Unknown field stranger in table R\n"
              "WARNING: Entity NULL not found in table R\n");
    // Reset cells keep set and the payload but read as invalid, and getFieldAsString leaves the
    // caller's text alone. The low-level door notes no valid pair.
    capture.clear();
    for (int round = 0; round < 2; ++round) {
        text = "previous";
        EXPECT_EQ(table.resetData(), 0);
        EXPECT_EQ(table.getFieldValue(field, value, valid), 0);
        ASSERT_NE(value, nullptr);
        EXPECT_FALSE(valid);
        EXPECT_EQ(value->isSet(), round == 1);
        EXPECT_EQ(table.getFieldAsString(field, text, valid), 0);
        EXPECT_EQ(text, "previous");
        table.getDataToSet_i(0)->setValue(2LL);
        EXPECT_EQ(table.validBegin(), table.validEnd());
    }
    EXPECT_EQ(read(table, nullptr, field), Data(2LL));
    EXPECT_EQ(table.setFieldValue(0, 8LL), 0);
    EXPECT_EQ(Pairs(table.validBegin(), table.validEnd()), (Pairs{{nullptr, field}}));
    EXPECT_EQ(capture.text(), "");
}

TEST(TableMessage, AttributesAreReadThroughTheHandleACellNames) {
    ScopedLogCapture capture(2);
    // A HANDLE field whose values carry a frequency, and an INT field expecting an IRQ.
    const Attribute* irq = Attribute::get(pwr::AttributeType::IRQ);
    pwr::FieldDescription thing("thing", "");
    thing.addAttribute(frequency());
    pwr::FieldDescription count("count", "");
    count.addAttribute(irq);
    TableMessage table("H", nullptr);
    table.addField(thing, DataType::HANDLE, false);
    table.addField(count, DataType::INT, false);
    table.createTable();
    const auto frequencyOf = [&table](const DataHandle& named) {
        table.setFieldValue(0, named);
        return read(table, nullptr, frequency());
    };
    pwr::StateDescription state("C0", "");
    state.addAttributeValue(frequency(), Data(2400ULL));
    pwr::EventDescription event("wake", "");
    event.addAttributeValue(frequency(), Data(800ULL));
    EntityHandle* device = EntityHandle::create("gpu", nullptr);
    device->addAttributeValue(frequency(), Data(1200ULL));
    pwr::DataDescriptorBuilder descriptor("bw", "");
    descriptor.addAttributeValue(frequency(), Data(100ULL));
    EXPECT_EQ(frequencyOf(*pwr::State::create(state)), Data(2400ULL));
    EXPECT_EQ(frequencyOf(*pwr::Event::create(event)), Data(800ULL));
    EXPECT_EQ(frequencyOf(*device), Data(1200ULL));
    EXPECT_EQ(frequencyOf(*pwr::DataDescriptor::create(descriptor)), Data(100ULL));
    // A state that doesn't carry the attribute: success, nothing to show.
    table.setFieldValue(0, *pwr::State::create(pwr::StateDescription("C6", "")));
    const Data* value = nullptr;
    bool valid = true;
    EXPECT_EQ(table.getFieldValue(frequency(), value, valid), 0);
    EXPECT_TRUE(value == nullptr && !valid);
    EXPECT_EQ(capture.text(), "");

    // Failures: an attribute of a simple type; a named handle that carries no attributes at all; a
    // reset HANDLE cell, which names nothing.
    table.setFieldValue(1, 5LL);
    EXPECT_EQ(table.getFieldValue(irq, value, valid), 1);
    table.setFieldValue(0, *pwr::Field::create(pwr::Description("plain", "")));
    EXPECT_EQ(table.getFieldValue(frequency(), value, valid), 1);
    table.resetData();
    EXPECT_EQ(table.getFieldValue(frequency(), value, valid), 1);
    EXPECT_TRUE(value == nullptr && !valid);
    char noHolder[256];
    const void* none = nullptr;
    std::snprintf(noHolder, sizeof noHolder,
                  "WARNING: Error getting state/event/entity/dataDescriptor and attribute (%p %p %p %p %p) "
                  "from table H\n",
                  none, none, none, none, static_cast<const void*>(frequency()));
    EXPECT_EQ(capture.debug().text(), "WARNING: Attempt to retrieve an attribute from a simple type in H\n" +
                                          std::string(noHolder) +
                                          "WARNING: Could not convert to handle type in H\n");
}

TEST(TableMessage, CopiesShareTheGridAndViewsOnlyRead) {
    ScopedLogCapture capture(2);
    pwr::TextNotes notes;
    auto* original = new TableMessage("V", nullptr);
    original->setTextNotes(&notes);
    original->addField("n", DataType::INT, false);
    original->createTable();
    const DataHandle* field = *original->fieldBegin();
    TableMessage copy(*original);
    EXPECT_EQ(copy.getMessageId(), original->getMessageId());
    copy.setFieldValue(0, 4LL);
    TableView view(original);
    EXPECT_NE(view.getMessageId(), original->getMessageId());
    EXPECT_TRUE(view.isChildOf(original->getMessageId()));
    EXPECT_EQ(view.getTextNotes(), &notes);
    delete original;  // the copy and the view keep the grid alive

    EXPECT_EQ(view.resetData(), 0);  // does nothing on a view
    EXPECT_EQ(view.setFieldValue(0, 5LL), 1);
    EXPECT_EQ(view.addField("x", DataType::INT, false), 1);
    EXPECT_EQ(capture.debug().text(),
              "WARNING: Can't set a field through a read-only view of table V\n"
              "WARNING: Can't add a field through a read-only view of table V\n");
    EXPECT_EQ(read(view, nullptr, field), Data(4LL));
    EXPECT_EQ(read(copy, nullptr, field), Data(4LL));
}

}  // namespace
