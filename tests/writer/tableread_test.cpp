#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "value/RegistryEnvironment.h"
#include "vantrell/value/Attribute.h"
#include "vantrell/value/Data.h"
#include "vantrell/value/DataHandle.h"
#include "vantrell/value/Description.h"
#include "vantrell/value/EntityHandle.h"
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

// Opens the protected read-only view to tests, as a writer-side subclass would.
class TableView : public TableMessage {
  public:
    explicit TableView(const TableMessage* source) : TableMessage(source) {}
};

const Attribute* frequency() {
    return Attribute::get(pwr::AttributeType::FREQUENCY);
}

// A table of one entity, a HANDLE field whose values carry a frequency, and an INT field that
// expects the same attribute.
struct HandleTable {
    HandleTable() : table("H", nullptr), entity(EntityHandle::create("cpu", nullptr)) {
        pwr::FieldDescription thing("thing", "");
        thing.addAttribute(frequency());
        table.addEntity(entity);
        table.addField(thing, DataType::HANDLE, false);
        pwr::FieldDescription count("count", "");
        count.addAttribute(Attribute::get(pwr::AttributeType::IRQ));
        table.addField(count, DataType::INT, false);
        table.createTable();
    }

    int read(const DataHandle* handle) { return table.getFieldValue(entity, handle, value, valid); }

    TableMessage table;
    EntityHandle* entity;
    const Data* value = nullptr;
    bool valid = true;
};

TEST(TableRead, NothingIsReadBeforeDataAndResetCellsReadAsInvalid) {
    ScopedLogCapture capture(2);
    TableMessage table("R", nullptr);
    table.addField("n", DataType::INT, false);
    const DataHandle* field = *table.fieldBegin();
    const Data* value = nullptr;
    bool valid = true;
    EXPECT_EQ(table.getFieldValue(field, value, valid), 1);
    EXPECT_EQ(table.resetData(), 1);
    ASSERT_EQ(table.createTable(), 0);
    EXPECT_EQ(table.getFieldValue(field, value, valid), 1);
    EXPECT_EQ(capture.debug().text(),
              "WARNING: Attempt to retrieve value from uncreated table R"
              "WARNING: Can't reset table data before table is created\n"
              "WARNING: No data in table yet R\n");
    EXPECT_EQ(value, nullptr);
    EXPECT_FALSE(valid);

    capture.clear();
    EXPECT_EQ(table.resetData(), 0);
    EXPECT_EQ(table.getTableMessageType(), pwr::TableMessageType::HAS_DATA);
    EXPECT_EQ(table.getFieldValue(field, value, valid), 0);
    EXPECT_NE(value, nullptr);
    EXPECT_FALSE(valid);

    // A reset keeps set and the payload but no longer hands the value out.
    EXPECT_EQ(table.setFieldValue(0, 8LL), 0);
    EXPECT_NE(table.validBegin(), table.validEnd());
    EXPECT_EQ(table.resetData(), 0);
    EXPECT_EQ(table.validBegin(), table.validEnd());
    EXPECT_EQ(table.getFieldValue(field, value, valid), 0);
    EXPECT_FALSE(valid);
    EXPECT_TRUE(value->isSet());
    EXPECT_EQ(capture.text(), "");
}

TEST(TableRead, UnknownHandlesAndEntities) {
    ScopedLogCapture capture(2);
    EntityHandle* inside = EntityHandle::create("in", nullptr);
    TableMessage table("U", nullptr);
    table.addEntity(inside);
    table.addField("n", DataType::INT, false);
    table.createTable();
    table.setFieldValue(inside, 0, 3LL);
    const DataHandle* stranger = pwr::Field::create(pwr::Description("stranger", ""));
    const Data* value = nullptr;
    bool valid = true;
    EXPECT_EQ(table.getFieldValue(stranger, value, valid), 1);
    EXPECT_EQ(table.getFieldValue(nullptr, value, valid), 1);
    EXPECT_EQ(table.getFieldValue(EntityHandle::create("out", nullptr), *table.fieldBegin(), value, valid),
              1);
    std::string text = "kept";
    valid = true;
    EXPECT_EQ(table.getFieldAsString(nullptr, *table.fieldBegin(), text, valid), 1);
    EXPECT_EQ(text, "");
    EXPECT_FALSE(valid);
    text = "kept";
    EXPECT_EQ(table.getFieldAsString(stranger, text, valid), 1);
    EXPECT_EQ(text, "kept");
    EXPECT_EQ(capture.debug().text(),
              "WARNING: Unknown field stranger in table U\n"
              "WARNING: Unknown field NULL in table U\n"
              "WARNING: Entity out not found in table U\n"
              "WARNING: Entity NULL not found in table U\n"
              "WARNING: Unknown field stranger in table U\n");
    EXPECT_EQ(table.getFieldAsString(inside, *table.fieldBegin(), text, valid), 0);
    EXPECT_TRUE(valid);
    EXPECT_EQ(text, "3");
}

TEST(TableRead, AttributesOfStatesEventsEntitiesAndDescriptors) {
    HandleTable t;
    const Data mhz(2400ULL);

    pwr::StateDescription stateDescription("C0", "");
    stateDescription.addAttributeValue(frequency(), mhz);
    t.table.setFieldValue(t.entity, 0, static_cast<const DataHandle&>(*pwr::State::create(stateDescription)));
    ASSERT_EQ(t.read(frequency()), 0);
    ASSERT_NE(t.value, nullptr);
    EXPECT_TRUE(t.valid);
    EXPECT_EQ(*t.value, mhz);

    pwr::EventDescription eventDescription("wake", "");
    eventDescription.addAttributeValue(frequency(), Data(800ULL));
    t.table.setFieldValue(t.entity, 0, static_cast<const DataHandle&>(*pwr::Event::create(eventDescription)));
    ASSERT_EQ(t.read(frequency()), 0);
    EXPECT_EQ(*t.value, Data(800ULL));

    EntityHandle* device = EntityHandle::create("gpu", nullptr);
    device->addAttributeValue(frequency(), Data(1200ULL));
    t.table.setFieldValue(t.entity, 0, static_cast<const DataHandle&>(*device));
    ASSERT_EQ(t.read(frequency()), 0);
    EXPECT_EQ(*t.value, Data(1200ULL));

    pwr::DataDescriptorBuilder builder("bw", "");
    builder.addAttributeValue(frequency(), Data(100ULL));
    t.table.setFieldValue(t.entity, 0, static_cast<const DataHandle&>(*pwr::DataDescriptor::create(builder)));
    ASSERT_EQ(t.read(frequency()), 0);
    EXPECT_EQ(*t.value, Data(100ULL));

    // A state that doesn't carry the attribute: success, nothing to show.
    t.table.setFieldValue(
        t.entity, 0, static_cast<const DataHandle&>(*pwr::State::create(pwr::StateDescription("C6", ""))));
    t.valid = true;
    EXPECT_EQ(t.read(frequency()), 0);
    EXPECT_EQ(t.value, nullptr);
    EXPECT_FALSE(t.valid);
}

TEST(TableRead, AttributeFailures) {
    ScopedLogCapture capture(2);
    HandleTable t;
    const Attribute* irq = Attribute::get(pwr::AttributeType::IRQ);
    t.table.setFieldValue(t.entity, 1, 5LL);
    EXPECT_EQ(t.read(irq), 1);
    EXPECT_EQ(capture.debug().text(), "WARNING: Attempt to retrieve an attribute from a simple type in H\n");
    EXPECT_FALSE(t.valid);

    // A handle that carries no attributes at all.
    capture.clear();
    const pwr::Field* plainField = pwr::Field::create(pwr::Description("plain", ""));
    t.table.setFieldValue(t.entity, 0, static_cast<const DataHandle&>(*plainField));
    EXPECT_EQ(t.read(frequency()), 1);
    char expected[256];
    std::snprintf(
        expected, sizeof expected,
        "WARNING: Error getting state/event/entity/dataDescriptor and attribute (%p %p %p %p %p) from "
        "table H\n",
        static_cast<const void*>(nullptr), static_cast<const void*>(nullptr),
        static_cast<const void*>(nullptr), static_cast<const void*>(nullptr),
        static_cast<const void*>(frequency()));
    EXPECT_EQ(capture.debug().text(), expected);

    // A reset HANDLE cell can't name anything.
    capture.clear();
    t.table.resetData();
    EXPECT_EQ(t.read(frequency()), 1);
    EXPECT_EQ(capture.debug().text(), "WARNING: Could not convert to handle type in H\n");
    EXPECT_EQ(t.value, nullptr);
}

TEST(TableRead, FieldAsStringLeavesTheTextForInvalidCells) {
    TableMessage table("S", nullptr);
    table.addField("n", DataType::INT, false);
    table.createTable();
    table.resetData();
    std::string text = "previous";
    bool valid = true;
    EXPECT_EQ(table.getFieldAsString(*table.fieldBegin(), text, valid), 0);
    EXPECT_FALSE(valid);
    EXPECT_EQ(text, "previous");
    table.setFieldValue(0, 12LL);
    EXPECT_EQ(table.getFieldAsString(*table.fieldBegin(), text, valid), 0);
    EXPECT_TRUE(valid);
    EXPECT_EQ(text, "12");
}

TEST(TableRead, CopiesShareTheGridAndViewsOnlyRead) {
    ScopedLogCapture capture(2);
    pwr::TextNotes notes;
    auto* original = new TableMessage("V", nullptr);
    original->setTextNotes(&notes);
    original->addField("n", DataType::INT, false);
    original->createTable();
    TableMessage copy(*original);
    EXPECT_EQ(copy.getMessageId(), original->getMessageId());
    copy.setFieldValue(0, 4LL);
    const DataHandle* field = *original->fieldBegin();
    TableView view(original);
    EXPECT_NE(view.getMessageId(), original->getMessageId());
    EXPECT_TRUE(view.isChildOf(original->getMessageId()));
    EXPECT_EQ(view.getTextNotes(), &notes);
    delete original;  // the copy and the view keep the grid alive

    std::string text;
    bool valid = false;
    EXPECT_EQ(view.getFieldAsString(field, text, valid), 0);
    EXPECT_EQ(text, "4");
    EXPECT_EQ(view.resetData(), 0);  // does nothing on a view
    EXPECT_EQ(view.setFieldValue(0, 5LL), 1);
    EXPECT_EQ(view.addField("x", DataType::INT, false), 1);
    EXPECT_EQ(capture.debug().text(),
              "WARNING: Can't set a field through a read-only view of table V\n"
              "WARNING: Can't add a field through a read-only view of table V\n");
    EXPECT_EQ(copy.getFieldAsString(field, text, valid), 0);
    EXPECT_TRUE(valid);
    EXPECT_EQ(text, "4");
}

}  // namespace
