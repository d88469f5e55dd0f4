#include <gtest/gtest.h>

#include <deque>
#include <memory>
#include <set>
#include <string>
#include <tuple>

#include "support/LogCapture.h"
#include "support/TableBuilder.h"
#include "support/TestWriter.h"
#include "value/RegistryEnvironment.h"
#include "vantrell/plugin/PluginCapability.h"
#include "vantrell/record/SystemMetadata.h"
#include "vantrell/value/Attribute.h"
#include "vantrell/value/Description.h"
#include "vantrell/value/EntityHandle.h"
#include "vantrell/value/Formatter.h"
#include "vantrell/writer/TableMessage.h"
#include "vantrell/writer/WriterStream.h"

namespace {

using pwr::DataType;
using pwr::EntityHandle;
using pwr::TableMessage;
using vrtest::buildTable;
using vrtest::ScopedLogCapture;
using vrtest::TestWriter;
using Texts = std::deque<std::string>;

// A writer that overrides nothing but the two output operations: the base answers the rest.
class MinimalWriter : public WriterPlugin {
  public:
    MinimalWriter() : WriterPlugin("minimal") {}
    int openOutput() override { return 0; }
    int closeOutput() override { return 0; }
};

// The plug-in's capabilities, as a host lists them.
Plugin::Capabilities capabilitiesOf(Plugin& plugin) {
    Plugin::Capabilities all;
    plugin.getAllCapabilities(all);
    return all;
}

pwr::WriterPluginCapability* makeCapability(const std::string& name) {
    return new pwr::WriterPluginCapability({pwr::TABLE_CLASS_DEFAULT}, name, "a writer", ".txt", false);
}

Texts titlesOf(const TableMessage& table, Texts titles = {}) {
    TestWriter().getColumnTitles(table, titles);
    return titles;
}

Texts cellsOf(const TableMessage& table) {
    Texts cells;
    TestWriter().getRowValues(table, cells);
    return cells;
}

TEST(WriterPlugin, KeepsOnlyItsFirstCapability) {
    ScopedLogCapture capture(2);
    TestWriter writer;
    pwr::WriterPluginCapability* first = makeCapability("text");
    writer.addCapability(first);
    EXPECT_EQ("", capture.text());
    // A refused one stays the caller's, unowned and alive (the sanitizer build reports a double free
    // otherwise); the kept one offered again is refused but stays owned.
    std::unique_ptr<pwr::WriterPluginCapability> refused(makeCapability("csv"));
    for (pwr::WriterPluginCapability* offered : {refused.get(), first}) {
        capture.clear();
        writer.addCapability(offered);
        EXPECT_EQ("WARNING: Illegal attempt to register a second capabliity for a writer plugin...ignored\n",
                  capture.debug().text());
        EXPECT_EQ(Plugin::Capabilities{first}, capabilitiesOf(writer));
    }
    EXPECT_EQ(&writer, first->getOwner());
    EXPECT_EQ(nullptr, refused->getOwner());
    EXPECT_EQ("csv", refused->getName());
    // A null first capability counts for nothing.
    TestWriter other;
    pwr::WriterPluginCapability* json = makeCapability("json");
    capture.clear();
    other.addCapability(nullptr);
    other.addCapability(json);
    EXPECT_EQ(Plugin::Capabilities{json}, capabilitiesOf(other));
    EXPECT_EQ("", capture.text());
}

TEST(WriterPlugin, BaseWritesNothingAndNeverFailsAMetric) {
    MinimalWriter writer;
    pwr::SystemMetadata machine;
    EXPECT_FALSE(writer.flushContinuousResults(machine));
    const std::set<WriterPlugin*> writers{&writer};
    WriterStream* stream = WriterStream::create(writers);
    static const int standIn = 0;  // the base never reads the metric
    EXPECT_EQ(0, stream->pushMessage(reinterpret_cast<const pwr::Metric*>(&standIn)));
    WriterStream::destroy(stream);
}

TEST(WriterPlugin, ColumnTitlesNameEntitiesOnlyForASinglePlainHandle) {
    ScopedLogCapture capture(2);
    const EntityHandle* gpu = EntityHandle::create("GPU", nullptr);
    const EntityHandle* npu = EntityHandle::create("NPU", nullptr);
    TableMessage single("Single", nullptr);
    ASSERT_EQ(0, buildTable(single, {npu, gpu},
                            {{"Samples", DataType::UINT, true},
                             {"Time", DataType::UINT, true},
                             {"Power", DataType::REAL}}));
    EXPECT_EQ((Texts{"Samples", "Time", "GPU", "NPU"}), titlesOf(single));
    TableMessage two("Two", nullptr);
    ASSERT_EQ(0, buildTable(two, {gpu}, {{"Min", DataType::REAL}, {"Max", DataType::REAL}}));
    EXPECT_EQ((Texts{"kept", "Min", "Max"}), titlesOf(two, {"kept"}));  // appended, never replaced

    // Without entities: one column per handle, shared ones first, values at the only row.
    const pwr::UIntFormatter hex(0, true);
    TableMessage flat("Flat", nullptr);
    ASSERT_EQ(0, buildTable(flat, {}, {{"Name", DataType::STRING}, {"Mask", DataType::UINT, true, &hex}}));
    ASSERT_EQ(0, flat.setFieldValue(0u, "idle"));
    ASSERT_EQ(0, flat.setFieldValue(1u, 255u));
    EXPECT_EQ((Texts{"Mask", "Name"}), titlesOf(flat));
    EXPECT_EQ((Texts{"0xff", "idle"}), cellsOf(flat));
    EXPECT_EQ("", capture.text());
    // An entity asked of a table without entities reads the only row, with a warning.
    const pwr::DataHandle* name = *flat.handleBegin();
    EXPECT_EQ("idle", TestWriter().getFieldValueFromHandle(flat, gpu, name));
    EXPECT_EQ("WARNING: Entity specified in request for field where not relevant Flat\n",
              capture.debug().text());
    ASSERT_EQ(0, flat.resetData());
    EXPECT_EQ("", TestWriter().getFieldValueFromHandle(flat, gpu, name));
}

TEST(WriterPlugin, AttributeColumnsShowTheStateAndItsAttributeValue) {
    ScopedLogCapture capture(2);
    const pwr::Attribute* frequency = pwr::Attribute::get(pwr::AttributeType::FREQUENCY);
    pwr::StateDescription fast("P0", "p0");
    fast.addAttributeValue(frequency, pwr::Data(2400ull));
    EntityHandle* core0 = EntityHandle::create("C0re", nullptr);
    EntityHandle* core1 = EntityHandle::create("C1re", nullptr);
    pwr::FieldDescription stateField("State", "st");
    stateField.addAttribute(frequency);
    TableMessage table("States", nullptr);
    table.addEntity(core0);
    table.addEntity(core1);
    table.addField(stateField, DataType::HANDLE, false);
    ASSERT_EQ(0, table.createTable());
    ASSERT_EQ(0, table.setFieldValue(core0, 0u, *pwr::State::create(fast)));
    ASSERT_EQ(0, table.setFieldValue(core1, 0u, *pwr::State::create(pwr::StateDescription("Idle", "i"))));
    // The expected attribute is a handle of its own: two handles, so no entity names. The state
    // without a frequency shows an empty attribute cell.
    EXPECT_EQ((Texts{"State", "Frequency", "State", "Frequency"}), titlesOf(table));
    EXPECT_EQ((Texts{"P0", "2400", "Idle", ""}), cellsOf(table));
    EXPECT_EQ("", capture.text());
}

TEST(WriterPlugin, FieldNameTakesUnitsOfAnAttributeGivenAsEntity) {
    TestWriter writer;
    const EntityHandle* gpu = EntityHandle::create("GPU", nullptr);
    // Callers of this form pass an attribute where an entity belongs.
    const auto* frequency =
        reinterpret_cast<const EntityHandle*>(pwr::Attribute::get(pwr::AttributeType::FREQUENCY));
    const auto* irq = reinterpret_cast<const EntityHandle*>(pwr::Attribute::get(pwr::AttributeType::IRQ));
    TableMessage table("One", nullptr);
    ASSERT_EQ(0, table.addField("Residency", DataType::REAL, false));
    const pwr::DataHandle* residency = *table.handleBegin();
    const std::tuple<const EntityHandle*, const pwr::DataHandle*, std::string, std::string> cases[] = {
        {gpu, residency, "GPU", "Residency"},
        {gpu, nullptr, "GPU", ""},
        {nullptr, residency, "Residency", "Residency"},
        {nullptr, nullptr, "", ""},
        {frequency, residency, "FrequencyMHz", "ResidencyMHz"},
        {irq, residency, "IRQ", "Residency"}};  // no quantity, no units
    for (const auto& [entity, handle, oneHandle, twoHandles] : cases) {
        EXPECT_EQ(oneHandle, writer.getFieldNameFromHandle(table, entity, handle));
    }
    ASSERT_EQ(0, table.addField("Count", DataType::UINT, false));
    for (const auto& [entity, handle, oneHandle, twoHandles] : cases) {
        EXPECT_EQ(twoHandles, writer.getFieldNameFromHandle(table, entity, handle));
    }
}

TEST(WriterPlugin, CellsShowValuesEmptyForUnsetAndInvalidForWhatIsNotThere) {
    ScopedLogCapture capture(2);
    TestWriter writer;
    const EntityHandle* gpu = EntityHandle::create("GPU", nullptr);
    const EntityHandle* npu = EntityHandle::create("NPU", nullptr);
    TableMessage table("Power", nullptr);
    ASSERT_EQ(
        0,
        buildTable(table, {gpu, npu},
                   {{"Samples", DataType::UINT, true}, {"Watts", DataType::UINT}, {"Peak", DataType::UINT}}));
    const pwr::DataHandle* samples = *table.sharedHandleBegin();
    const pwr::DataHandle* watts = *table.handleBegin();
    // Never had data: every cell is "Invalid", each read says why.
    EXPECT_EQ((Texts(5, "Invalid")), cellsOf(table));
    EXPECT_NE(std::string::npos, capture.debug().text().find("WARNING: No data in table yet Power\n"));

    capture.clear();
    ASSERT_EQ(0, table.setFieldValue(gpu, 1u, 7u));
    ASSERT_EQ(0, table.setFieldValue(npu, 2u, 9u));
    EXPECT_EQ((Texts{"", "7", "", "", "9"}), cellsOf(table));
    // A shared field reads the same through any entity and without one; without an entity a plain
    // field is read at row 0, the entity with the lowest id.
    ASSERT_EQ(0, table.setFieldValue(0u, 3u));
    EXPECT_EQ("3", writer.getFieldValueFromHandle(table, npu, samples));
    EXPECT_EQ("3", writer.getFieldValueFromHandle(table, nullptr, samples));
    EXPECT_EQ("7", writer.getFieldValueFromHandle(table, nullptr, watts));
    EXPECT_EQ("Invalid", writer.getFieldValueFromHandle(table, nullptr, nullptr));
    EXPECT_EQ("", capture.text());

    // An entity the table lacks falls back to row 0; if that fails too the cell is empty. A field the
    // table lacks, asked of a known entity, stays "Invalid".
    const EntityHandle* stranger = EntityHandle::create("Stranger", nullptr);
    const pwr::DataHandle* volts = pwr::Field::create(pwr::Description("Volts", ""));
    const std::string strangerMissing = "WARNING: Entity Stranger not found in table Power\n";
    const std::string voltsUnknown = "WARNING: Unknown field Volts in table Power\n";
    EXPECT_EQ("7", writer.getFieldValueFromHandle(table, stranger, watts));
    EXPECT_EQ("", writer.getFieldValueFromHandle(table, stranger, volts));
    EXPECT_EQ("Invalid", writer.getFieldValueFromHandle(table, gpu, volts));
    EXPECT_EQ(strangerMissing + strangerMissing + voltsUnknown + voltsUnknown + voltsUnknown,
              capture.debug().text());
}

}  // namespace
