// The csv-writer module, loaded and driven as the host drives it: summary tables become one CSV file
// each plus an index; over-time data ("-r int") reaches "<output>-int.csv" line by line while the
// collection runs.

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <tuple>

#include "support/PluginLoader.h"
#include "support/TableBuilder.h"
#include "support/TestWriter.h"
#include "vantrell/metric/DataElement.h"
#include "vantrell/metric/Metric.h"
#include "vantrell/record/SystemMetadata.h"
#include "vantrell/value/EntityHandle.h"
#include "vantrell/value/Formatter.h"
#include "vantrell/value/Quantity.h"
#include "vantrell/value/UniqueId.h"
#include "vantrell/writer/TableMessage.h"
#include "vantrell/writer/TextNotes.h"
#include "vantrell/writer/WriterInterfaceConfigFileParser.h"
#include "vantrell/writer/WriterMessage.h"
#include "vantrell/writer/WriterPlugin.h"
#include "vantrell/writer/WriterStream.h"

namespace {

using pwr::DataType;

std::string slurp(const std::string& path) {
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    return file ? text.str() : "<missing>";
}

class CsvWriterTest : public ::testing::Test {
  protected:
    // The built-in quantities live in the registry.
    static void SetUpTestSuite() { pwr::UniqueId::initialize(); }

    // Sets the parameters as the host does, opens the output and builds the stream.
    void start(const std::string& results) {
        ASSERT_NE(module.get(), nullptr);
        module.get()->setCommandlineParams("output=" + prefix + "\nresults=" + results + "\ninterval=100\n");
        ASSERT_EQ(module.as<WriterPlugin>()->openOutput(), 0);
        scope =
            std::make_unique<vrtest::ScopedWriterStream>(std::set<WriterPlugin*>{module.as<WriterPlugin>()});
    }
    void push(pwr::WriterMessage& message) { scope->stream().pushMessage(message); }
    // A table of one shared field and two plain fields on two entities, with one row of `state`.
    void pushRateTable(const std::string& title, const std::string& state, const pwr::TextNotes* notes) {
        pwr::TableMessage table(title, nullptr);
        table.setTextNotes(notes);
        ASSERT_EQ(vrtest::buildTable(table, {cpu0, cpu1},
                                     {{"State", DataType::STRING, true},
                                      {"Rate (W)", DataType::REAL, false, &twoDecimals},
                                      {"Total (J)", DataType::UINT}}),
                  0);
        push(table);
        table.setFieldValue(0u, state);
        table.setFieldValue(cpu0, 1u, 5.0);
        table.setFieldValue(cpu0, 2u, 100u);
        table.setFieldValue(cpu1, 1u, 6.5);
        push(table);
    }

    std::string prefix =
        ::testing::TempDir() + "csv_" + ::testing::UnitTest::GetInstance()->current_test_info()->name();
    vrtest::LoadedPlugin module{"csv-writer"};
    std::unique_ptr<vrtest::ScopedWriterStream> scope;
    pwr::EntityHandle* cpu0 = pwr::EntityHandle::create("cpu0", nullptr);
    pwr::EntityHandle* cpu1 = pwr::EntityHandle::create("cpu1", nullptr);
    pwr::RealFormatter twoDecimals{0, 2};
};

// One file per table (titles of one slug numbered), one header row with entity-named columns, RFC 4180
// quoting, a reset cell empty, a table without rows still a file with its header, and an index.
TEST_F(CsvWriterTest, WritesEachTableToItsOwnFileWithAnIndex) {
    start("csv");
    pwr::TextNotes notes;
    notes.addPreTableNote("before");
    notes.addPostTableNote("after, \"quoted\"");
    pushRateTable("Power, \"rate\"", "a,b \"c\"\nd", &notes);
    pushRateTable("Power rate", "idle", nullptr);
    pwr::TableMessage empty("Empty", nullptr);
    ASSERT_EQ(vrtest::buildTable(empty, {}, {{"Count", DataType::UINT}}), 0);
    push(empty);
    scope.reset();

    const std::string header = "State,cpu0 Rate (W),cpu0 Total (J),cpu1 Rate (W),cpu1 Total (J)\r\n";
    EXPECT_EQ(slurp(prefix + "-power-rate.csv"), header + "\"a,b \"\"c\"\"\nd\",5.00,100,6.50,\r\n");
    EXPECT_EQ(slurp(prefix + "-power-rate-2.csv"), header + "idle,5.00,100,6.50,\r\n");
    EXPECT_EQ(slurp(prefix + "-empty.csv"), "Count\r\n");
    const std::string name = prefix.substr(prefix.rfind('/') + 1);  // the index names files beside it
    EXPECT_EQ(slurp(prefix + "-tables.csv"), "file,title,notes\r\n" + name +
                                                 "-power-rate.csv,\"Power, \"\"rate\"\"\",\"before\n"
                                                 "after, \"\"quoted\"\"\"\r\n" +
                                                 name + "-power-rate-2.csv,Power rate,\r\n" + name +
                                                 "-empty.csv,Empty,\r\n");
}

// Only the chosen output is written: "-r int" makes no table files, "-r csv" no over-time file.
TEST_F(CsvWriterTest, WritesOnlyTheChosenResults) {
    start("int");
    pushRateTable("Ignored", "x", nullptr);
    scope.reset();
    EXPECT_EQ(slurp(prefix + "-ignored.csv"), "<missing>");
    EXPECT_EQ(slurp(prefix + "-tables.csv"), "<missing>");
    EXPECT_EQ(slurp(prefix + "-int.csv"), "time_s,metric,entity,field,value,unit,duration_ticks\r\n");
}

// Each flushed data point is on disk before the next one arrives, timed on the SystemMessage's clock.
TEST_F(CsvWriterTest, OverTimeLinesAreOnDiskWhileCollecting) {
    start("int");
    pwr::SystemMetadata machine;
    machine.startTSC = 1000;
    machine.vraClockFreqMHz = 2.0f;  // 2e6 ticks a second
    pwr::SystemMessage system(machine);
    push(system);
    const std::string config = prefix + ".cfg";
    std::ofstream(config).close();
    ASSERT_EQ(pwr::WriterInterfaceConfigFileParser::instance()->parse({config}, machine), 0);
    ASSERT_NE(pwr::Quantity::power(), nullptr);
    {
        pwr::Metric metric("Package power", pwr::Metric::SampledValue, "power", "power", machine,
                           pwr::Quantity::power());
        auto feed = [&](unsigned long long ts, const pwr::EntityHandle* entity, double value) {
            pwr::DataElement element(entity, nullptr);
            element.setValue(value);
            return metric.setData(ts, element, 1000);
        };
        const std::string head = "time_s,metric,entity,field,value,unit,duration_ticks\r\n";
        ASSERT_EQ(feed(2001000, cpu0, 5.25), 0);
        ASSERT_EQ(feed(2001000, cpu1, 1e-3), 0);
        EXPECT_EQ(slurp(prefix + "-int.csv"), head);  // a point is flushed when the next one starts
        ASSERT_EQ(feed(4001000, cpu0, 7.0), 0);
        const std::string first = head + "1.000000,Package power,cpu0,,5.25,mW,1000\r\n" +
                                  "1.000000,Package power,cpu1,,0.001,mW,1000\r\n";
        EXPECT_EQ(slurp(prefix + "-int.csv"), first);
        metric.finalize();
        EXPECT_EQ(slurp(prefix + "-int.csv"), first + "2.000000,Package power,cpu0,,7,mW,1000\r\n");
    }
    pwr::WriterInterfaceConfigFileParser::instance()->destroy();
    std::remove(config.c_str());
}

// Without an output prefix each table goes to standard output behind a "# <title>" line.
TEST(CsvWriterStdout, WritesTablesToStandardOutputWithoutPrefix) {
    vrtest::LoadedPlugin module("csv-writer");
    ASSERT_NE(module.get(), nullptr);
    module.get()->setCommandlineParams("output=\nresults=csv\n");
    ASSERT_EQ(module.as<WriterPlugin>()->openOutput(), 0);
    pwr::TableMessage table("Counts, all", nullptr);
    ASSERT_EQ(vrtest::buildTable(table, {}, {{"Value", DataType::STRING}, {"Count", DataType::UINT}}), 0);
    ::testing::internal::CaptureStdout();
    {
        vrtest::ScopedWriterStream scope({module.as<WriterPlugin>()});
        scope.stream().pushMessage(table);
        table.setFieldValue(0u, "x\"y");
        table.setFieldValue(1u, 3u);
        scope.stream().pushMessage(table);
    }
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              "# Counts, all\r\nValue,Count\r\n\"x\"\"y\",3\r\n\r\n");
}

// Each module offers one capability, found by the -r words the host matches ("int" is csv's group);
// an output that can't be made is refused at openOutput, so that the host stops before collecting.
TEST(WriterModules, OfferTheirCapabilityAndRefuseAnUnwritablePrefix) {
    for (auto [name, word, capability] :
         {std::tuple{"csv-writer", "int", "csv"}, {"summary-writer", "sum", "sum"}}) {
        SCOPED_TRACE(name);
        vrtest::LoadedPlugin module(name);
        ASSERT_NE(module.get(), nullptr);
        Plugin::Capabilities found;
        module.get()->getAllCapabilities(found);
        module.get()->getAllCapabilities(found, word);
        ASSERT_EQ(found.size(), 2u);
        EXPECT_EQ(found[0], found[1]);
        EXPECT_EQ(found[0]->getName(), capability);
        module.get()->setCommandlineParams("output=/nonexistent-vantrell-dir/run\nresults=sum,csv,int\n");
        ::testing::internal::CaptureStderr();
        EXPECT_NE(module.as<WriterPlugin>()->openOutput(), 0);
        EXPECT_NE(::testing::internal::GetCapturedStderr().find("/nonexistent-vantrell-dir/run"),
                  std::string::npos);
    }
}

}  // namespace
