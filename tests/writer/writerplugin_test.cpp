#include <gtest/gtest.h>

#include <deque>
#include <set>
#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "support/TestWriter.h"
#include "value/RegistryEnvironment.h"
#include "vantrell/plugin/PluginCapability.h"
#include "vantrell/record/SystemMetadata.h"
#include "vantrell/value/Attribute.h"
#include "vantrell/value/Data.h"
#include "vantrell/value/DataHandle.h"
#include "vantrell/value/Description.h"
#include "vantrell/value/EntityHandle.h"
#include "vantrell/value/Formatter.h"
#include "vantrell/writer/TableMessage.h"
#include "vantrell/writer/WriterMessage.h"
#include "vantrell/writer/WriterStream.h"

namespace {

using pwr::DataType;
using pwr::EntityHandle;
using pwr::TableMessage;
using vrtest::ScopedLogCapture;
using vrtest::ScopedWriterStream;
using vrtest::TestWriter;

// A writer that overrides nothing but the two output operations: the base answers the rest.
class MinimalWriter : public WriterPlugin {
  public:
    MinimalWriter() : WriterPlugin("minimal") {}
    int openOutput() override { return 0; }
    int closeOutput() override { return 0; }
};

pwr::WriterPluginCapability* makeCapability(const std::string& name) {
    return new pwr::WriterPluginCapability({pwr::TABLE_CLASS_DEFAULT}, name, "a writer", ".txt", false);
}

std::vector<std::string> capabilityNames(Plugin& plugin) {
    Plugin::Capabilities all;
    plugin.getAllCapabilities(all);
    std::vector<std::string> names;
    for (const pwr::PluginCapability* capability : all) {
        names.push_back(capability->getName());
    }
    return names;
}

std::deque<std::string> titlesOf(const TestWriter& writer, const TableMessage& table) {
    std::deque<std::string> titles;
    writer.getColumnTitles(table, titles);
    return titles;
}

std::deque<std::string> cellsOf(const TestWriter& writer, const TableMessage& table) {
    std::deque<std::string> cells;
    writer.getRowValues(table, cells);
    return cells;
}

using Texts = std::deque<std::string>;

TEST(WriterPlugin, KeepsOnlyItsFirstCapability) {
    ScopedLogCapture capture(2);
    TestWriter writer;
    pwr::WriterPluginCapability* first = makeCapability("text");
    writer.addCapability(first);
    EXPECT_EQ(&writer, first->getOwner());
    EXPECT_EQ("", capture.text());

    // The refused one is freed by the plug-in (the sanitizer build would report a leak otherwise).
    writer.addCapability(makeCapability("csv"));
    const std::string refused =
        "WARNING: Illegal attempt to register a second capabliity for a writer plugin...ignored\n";
    EXPECT_EQ(refused, capture.debug().text());
    EXPECT_EQ((std::vector<std::string>{"text"}), capabilityNames(writer));

    // The kept one offered again is refused but stays alive and owned.
    capture.clear();
    writer.addCapability(first);
    EXPECT_EQ(refused, capture.debug().text());
    EXPECT_EQ((std::vector<std::string>{"text"}), capabilityNames(writer));
    EXPECT_EQ(&writer, first->getOwner());

    // A null first capability counts for nothing.
    TestWriter other;
    capture.clear();
    other.addCapability(nullptr);
    other.addCapability(makeCapability("json"));
    EXPECT_EQ((std::vector<std::string>{"json"}), capabilityNames(other));
    EXPECT_EQ("", capture.text());
}

TEST(WriterPlugin, BaseOperationsAcceptEverythingAndWriteNothing) {
    ScopedLogCapture capture(2);
    MinimalWriter writer;
    pwr::SystemMetadata machine;
    EXPECT_FALSE(writer.flushContinuousResults(machine));

    ScopedWriterStream scope({&writer});
    static const int standIn = 0;
    EXPECT_EQ(0, scope.stream().pushMessage(reinterpret_cast<const pwr::Metric*>(&standIn)));
    pwr::IdMessage ids;
    pwr::SystemMessage system(machine);
    pwr::MetricContainerInfoMessage info;
    TableMessage table("T", nullptr);
    ASSERT_EQ(0, table.addField("F", DataType::INT, false));
    ASSERT_EQ(0, table.createTable());
    for (pwr::WriterMessage* message : std::vector<pwr::WriterMessage*>{&ids, &system, &info, &table}) {
        EXPECT_EQ(0, scope.stream().pushMessage(*message));
    }
    pwr::TextMessage text;
    EXPECT_EQ(0, text.setMessage("ignored"));
    EXPECT_EQ("", capture.text());
}

TEST(WriterPlugin, ColumnTitlesNameEntitiesOnlyForASinglePlainHandle) {
    ScopedLogCapture capture(2);
    TestWriter writer;
    EntityHandle* gpu = EntityHandle::create("GPU", nullptr);
    EntityHandle* npu = EntityHandle::create("NPU", nullptr);

    TableMessage single("Single", nullptr);
    ASSERT_EQ(0, single.addEntity(npu));
    ASSERT_EQ(0, single.addEntity(gpu));
    ASSERT_EQ(0, single.addField("Samples", DataType::UINT, true));
    ASSERT_EQ(0, single.addField("Time", DataType::UINT, true));
    ASSERT_EQ(0, single.addField("Power", DataType::REAL, false));
    ASSERT_EQ(0, single.createTable());
    EXPECT_EQ((Texts{"Samples", "Time", "GPU", "NPU"}), titlesOf(writer, single));

    TableMessage twoFields("Two", nullptr);
    ASSERT_EQ(0, twoFields.addEntity(gpu));
    ASSERT_EQ(0, twoFields.addField("Min", DataType::REAL, false));
    ASSERT_EQ(0, twoFields.addField("Max", DataType::REAL, false));
    ASSERT_EQ(0, twoFields.createTable());
    EXPECT_EQ((Texts{"Min", "Max"}), titlesOf(writer, twoFields));

    // A field's expected attribute is a handle of its own: two handles, so no entity names.
    pwr::FieldDescription stateField("State", "st");
    stateField.addAttribute(pwr::Attribute::get(pwr::AttributeType::FREQUENCY));
    TableMessage withAttribute("Attr", nullptr);
    ASSERT_EQ(0, withAttribute.addEntity(gpu));
    ASSERT_EQ(0, withAttribute.addEntity(npu));
    ASSERT_EQ(0, withAttribute.addField(stateField, DataType::HANDLE, false));
    ASSERT_EQ(0, withAttribute.createTable());
    EXPECT_EQ((Texts{"State", "Frequency", "State", "Frequency"}), titlesOf(writer, withAttribute));

    // Without entities: one column per handle, shared ones first, values at the only row.
    TableMessage flat("Flat", nullptr);
    ASSERT_EQ(0, flat.addField("Name", DataType::STRING, false));
    ASSERT_EQ(0, flat.addField("Mask", DataType::UINT, pwr::UIntFormatter(0, true), true));
    ASSERT_EQ(0, flat.createTable());
    ASSERT_EQ(0, flat.setFieldValue(0u, "idle"));
    ASSERT_EQ(0, flat.setFieldValue(1u, 255u));
    EXPECT_EQ((Texts{"Mask", "Name"}), titlesOf(writer, flat));
    EXPECT_EQ((Texts{"0xff", "idle"}), cellsOf(writer, flat));

    // Titles are appended, never replaced.
    Texts titles{"kept"};
    writer.getColumnTitles(twoFields, titles);
    EXPECT_EQ((Texts{"kept", "Min", "Max"}), titles);
    EXPECT_EQ("", capture.text());
}

TEST(WriterPlugin, FieldNameTakesUnitsOfAnAttributeGivenAsEntity) {
    ScopedLogCapture capture(2);
    TestWriter writer;
    EntityHandle* gpu = EntityHandle::create("GPU", nullptr);
    const pwr::Attribute* frequency = pwr::Attribute::get(pwr::AttributeType::FREQUENCY);
    const pwr::Attribute* irq = pwr::Attribute::get(pwr::AttributeType::IRQ);
    // Callers of this form pass an attribute where an entity belongs.
    const auto* frequencyAsEntity = reinterpret_cast<const EntityHandle*>(frequency);
    const auto* irqAsEntity = reinterpret_cast<const EntityHandle*>(irq);

    TableMessage one("One", nullptr);
    ASSERT_EQ(0, one.addField("Residency", DataType::REAL, false));
    const pwr::DataHandle* residency = *one.handleBegin();
    EXPECT_EQ("GPU", writer.getFieldNameFromHandle(one, gpu, residency));
    EXPECT_EQ("GPU", writer.getFieldNameFromHandle(one, gpu, nullptr));
    EXPECT_EQ("Residency", writer.getFieldNameFromHandle(one, nullptr, residency));
    EXPECT_EQ("", writer.getFieldNameFromHandle(one, nullptr, nullptr));
    EXPECT_EQ("FrequencyMHz", writer.getFieldNameFromHandle(one, frequencyAsEntity, residency));
    // An attribute without a quantity adds nothing.
    EXPECT_EQ("IRQ", writer.getFieldNameFromHandle(one, irqAsEntity, residency));

    ASSERT_EQ(0, one.addField("Count", DataType::UINT, false));
    EXPECT_EQ("Residency", writer.getFieldNameFromHandle(one, gpu, residency));
    EXPECT_EQ("", writer.getFieldNameFromHandle(one, gpu, nullptr));
    EXPECT_EQ("ResidencyMHz", writer.getFieldNameFromHandle(one, frequencyAsEntity, residency));
    EXPECT_EQ("", capture.text());
}

TEST(WriterPlugin, CellsShowValuesEmptyForUnsetAndInvalidForWhatIsNotThere) {
    ScopedLogCapture capture(2);
    TestWriter writer;
    EntityHandle* gpu = EntityHandle::create("GPU", nullptr);
    EntityHandle* npu = EntityHandle::create("NPU", nullptr);
    EntityHandle* stranger = EntityHandle::create("Stranger", nullptr);

    TableMessage table("Power", nullptr);
    ASSERT_EQ(0, table.addEntity(gpu));
    ASSERT_EQ(0, table.addEntity(npu));
    ASSERT_EQ(0, table.addField("Samples", DataType::UINT, true));
    ASSERT_EQ(0, table.addField("Watts", DataType::INT, false));
    ASSERT_EQ(0, table.addField("Peak", DataType::INT, false));
    ASSERT_EQ(0, table.createTable());
    const pwr::DataHandle* samples = *table.sharedHandleBegin();
    const pwr::DataHandle* watts = *table.handleBegin();

    // Never had data: every cell is "Invalid", each read says why.
    EXPECT_EQ((Texts{"Invalid", "Invalid", "Invalid", "Invalid", "Invalid"}), cellsOf(writer, table));
    EXPECT_NE(std::string::npos, capture.debug().text().find("WARNING: No data in table yet Power\n"));

    capture.clear();
    ASSERT_EQ(0, table.setFieldValue(gpu, 1u, 7));
    ASSERT_EQ(0, table.setFieldValue(npu, 2u, 9));
    EXPECT_EQ((Texts{"", "7", "", "", "9"}), cellsOf(writer, table));
    EXPECT_EQ("", capture.text());

    // A shared field reads the same through any entity and without one.
    ASSERT_EQ(0, table.setFieldValue(0u, 3u));
    EXPECT_EQ("3", writer.getFieldValueFromHandle(table, npu, samples));
    EXPECT_EQ("3", writer.getFieldValueFromHandle(table, nullptr, samples));
    // Without an entity a plain field is read at row 0, the entity with the lowest id.
    EXPECT_EQ("7", writer.getFieldValueFromHandle(table, nullptr, watts));
    EXPECT_EQ("Invalid", writer.getFieldValueFromHandle(table, nullptr, nullptr));
    EXPECT_EQ("", capture.text());

    // An entity the table lacks falls back to row 0; if that fails too the cell is empty.
    EXPECT_EQ("7", writer.getFieldValueFromHandle(table, stranger, watts));
    EXPECT_EQ("WARNING: Entity Stranger not found in table Power\n", capture.debug().text());
    capture.clear();
    const pwr::DataHandle* foreign = pwr::Field::create(pwr::Description("Volts", ""));
    EXPECT_EQ("", writer.getFieldValueFromHandle(table, stranger, foreign));
    EXPECT_EQ(
        "WARNING: Entity Stranger not found in table Power\n"
        "WARNING: Unknown field Volts in table Power\n",
        capture.debug().text());

    // A field the table lacks, asked of a known entity, stays "Invalid".
    capture.clear();
    EXPECT_EQ("Invalid", writer.getFieldValueFromHandle(table, gpu, foreign));
    EXPECT_EQ("WARNING: Unknown field Volts in table Power\nWARNING: Unknown field Volts in table Power\n",
              capture.debug().text());
}

TEST(WriterPlugin, EntityInATableWithoutEntitiesReadsTheOnlyRow) {
    ScopedLogCapture capture(2);
    TestWriter writer;
    EntityHandle* gpu = EntityHandle::create("GPU", nullptr);
    TableMessage table("Flat", nullptr);
    ASSERT_EQ(0, table.addField("Count", DataType::UINT, false));
    ASSERT_EQ(0, table.createTable());
    const pwr::DataHandle* count = *table.handleBegin();

    ASSERT_EQ(0, table.setFieldValue(0u, 12u));
    EXPECT_EQ("12", writer.getFieldValueFromHandle(table, gpu, count));
    EXPECT_EQ("WARNING: Entity specified in request for field where not relevant Flat\n",
              capture.debug().text());
    ASSERT_EQ(0, table.resetData());
    EXPECT_EQ("", writer.getFieldValueFromHandle(table, gpu, count));
}

TEST(WriterPlugin, AttributeColumnsShowTheStateAndItsAttributeValue) {
    ScopedLogCapture capture(2);
    TestWriter writer;
    EntityHandle* core0 = EntityHandle::create("C0re", nullptr);
    EntityHandle* core1 = EntityHandle::create("C1re", nullptr);
    const pwr::Attribute* frequency = pwr::Attribute::get(pwr::AttributeType::FREQUENCY);

    pwr::StateDescription fast("P0", "p0");
    fast.addAttributeValue(frequency, pwr::Data(2400ull));
    const pwr::State* p0 = pwr::State::create(fast);
    const pwr::State* idle = pwr::State::create(pwr::StateDescription("Idle", "i"));

    pwr::FieldDescription stateField("State", "st");
    stateField.addAttribute(frequency);
    TableMessage table("States", nullptr);
    ASSERT_EQ(0, table.addEntity(core0));
    ASSERT_EQ(0, table.addEntity(core1));
    ASSERT_EQ(0, table.addField(stateField, DataType::HANDLE, false));
    ASSERT_EQ(0, table.createTable());
    ASSERT_EQ(0, table.setFieldValue(core0, 0u, *p0));
    ASSERT_EQ(0, table.setFieldValue(core1, 0u, *idle));

    // The state without a frequency shows an empty attribute cell.
    EXPECT_EQ((Texts{"P0", "2400", "Idle", ""}), cellsOf(writer, table));
    EXPECT_EQ("", capture.text());
}

}  // namespace
