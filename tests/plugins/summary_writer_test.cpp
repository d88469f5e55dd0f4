// The summary-writer module, loaded as the host loads it: tables pushed through the stream come out
// as aligned text in "<output>.txt", or on standard output without an output prefix.

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <string>

#include "support/PluginLoader.h"
#include "support/TableBuilder.h"
#include "support/TestWriter.h"
#include "vantrell/metric/DataElement.h"
#include "vantrell/metric/Metric.h"
#include "vantrell/record/SystemMetadata.h"
#include "vantrell/value/EntityHandle.h"
#include "vantrell/value/Formatter.h"
#include "vantrell/value/UniqueId.h"
#include "vantrell/writer/TableMessage.h"
#include "vantrell/writer/TextNotes.h"
#include "vantrell/writer/WriterInterfaceConfigFileParser.h"
#include "vantrell/writer/WriterMessage.h"
#include "vantrell/writer/WriterPlugin.h"
#include "vantrell/writer/WriterStream.h"

namespace {

using pwr::DataType;

class SummaryWriterTest : public ::testing::Test {
  protected:
    // Handle cells name their entity through the registry.
    static void SetUpTestSuite() { pwr::UniqueId::initialize(); }

    void SetUp() override {
        ASSERT_NE(module.get(), nullptr);
        module.get()->setCommandlineParams("output=" + prefix + "\nresults=sum\ninterval=100\n");
        ASSERT_EQ(module.as<WriterPlugin>()->openOutput(), 0);
        scope =
            std::make_unique<vrtest::ScopedWriterStream>(std::set<WriterPlugin*>{module.as<WriterPlugin>()});
    }
    void push(pwr::WriterMessage& message) { scope->stream().pushMessage(message); }
    // Ends the stream (the writer closes its output) and returns what it wrote.
    std::string finish() {
        scope.reset();
        std::ifstream file(prefix + ".txt");
        std::stringstream text;
        text << file.rdbuf();
        return text.str();
    }

    std::string prefix =
        ::testing::TempDir() + "summary_" + ::testing::UnitTest::GetInstance()->current_test_info()->name();
    vrtest::LoadedPlugin module{"summary-writer"};
    std::unique_ptr<vrtest::ScopedWriterStream> scope;
    pwr::EntityHandle* cpu0 = pwr::EntityHandle::create("cpu0", nullptr);
    pwr::EntityHandle* cpu1 = pwr::EntityHandle::create("cpu1", nullptr);
    pwr::RealFormatter twoDecimals{0, 2};
};

// One value per entity: the entities are the columns; notes frame the table; a reset cell is empty and
// a long text widens its column instead of being cut.
TEST_F(SummaryWriterTest, PrintsTitleNotesHeaderAndRightAlignedRows) {
    pwr::TextNotes notes;
    notes.addPreTableNote("Measured by cpuidle");
    notes.addPostTableNote("Rows may not add up to 100");
    pwr::TableMessage table("C-state residency", nullptr);
    table.setTextNotes(&notes);
    ASSERT_EQ(vrtest::buildTable(table, {cpu0, cpu1},
                                 {{"State", DataType::STRING, true},
                                  {"Residency (%)", DataType::REAL, false, &twoDecimals}}),
              0);
    push(table);
    table.setFieldValue(0u, "C1");
    table.setFieldValue(cpu0, 1u, 12.5);
    table.setFieldValue(cpu1, 1u, 3.25);
    push(table);
    table.setFieldValue(0u, "C6 deep sleep with a long name");
    table.setFieldValue(cpu0, 1u, 80.0);
    push(table);

    EXPECT_EQ(finish(),
              "\nC-state residency\n"
              "Measured by cpuidle\n"
              "State                            cpu0  cpu1\n"
              "C1                              12.50  3.25\n"
              "C6 deep sleep with a long name  80.00\n"
              "Rows may not add up to 100\n");
}

// A table with several fields per entity (the transposed layouts) names each column after its entity;
// a metric's banner and notes, a table without rows and a text message all appear, in arrival order.
TEST_F(SummaryWriterTest, KeepsEveryMessageInOrderAndNamesEntityColumns) {
    pwr::TextNotes metricNotes;
    metricNotes.addPreTableNote("RAPL energy counters");
    metricNotes.addPostTableNote("End of power");
    pwr::MetricContainerInfoMessage info;
    info.setContainerHeader("Power");
    info.setTextInfo(&metricNotes);
    push(info);
    pwr::TableMessage rates("Average rate", nullptr);
    ASSERT_EQ(vrtest::buildTable(rates, {cpu1, cpu0},
                                 {{"Domain", DataType::STRING, true},
                                  {"Rate (W)", DataType::REAL, false, &twoDecimals},
                                  {"Total (J)", DataType::UINT}}),
              0);
    push(rates);
    rates.setFieldValue(0u, "package");
    rates.setFieldValue(cpu0, 1u, 5.0);
    rates.setFieldValue(cpu0, 2u, 100u);
    rates.setFieldValue(cpu1, 1u, 6.0);
    rates.setFieldValue(cpu1, 2u, 120u);
    push(rates);
    pwr::TableMessage empty("Nothing here", nullptr);
    ASSERT_EQ(vrtest::buildTable(empty, {}, {{"A", DataType::INT}, {"B", DataType::INT}}), 0);
    push(empty);
    pwr::MetricContainerInfoMessage next;
    next.setContainerHeader("Next");
    push(next);
    scope->stream().pushTextMessage("done");

    EXPECT_EQ(finish(),
              "\n=====\nPower\n=====\n"
              "RAPL energy counters\n"
              "\nAverage rate\n"
              "Domain   cpu0 Rate (W)  cpu0 Total (J)  cpu1 Rate (W)  cpu1 Total (J)\n"
              "package           5.00             100           6.00             120\n"
              "\nNothing here\n"
              "A  B\n"
              "\nEnd of power\n"
              "\n====\nNext\n====\n"
              "done\n");
}

// The whole road: a metric's accumulator builds a transposed table (entities as rows, values as
// columns) and pushes its head and each row; the writer prints it as one table.
TEST_F(SummaryWriterTest, PrintsATransposedTableOfAMetric) {
    const std::string config = prefix + ".cfg";
    std::ofstream(config) << "ALL_power_pkg_NUMBER-OF-OCCURENCES_TITLE=Pkg\n"
                             "ALL_power_pkg_NUMBER-OF-OCCURENCES_TRANSPOSE=YES\n"
                             "ALL_power_pkg_NUMBER-OF-OCCURENCES_PRE-TABLE-TEXT=Samples per value\n"
                             "ALL_power_pkg_SAMPLE-COUNT_TABLE=NO\n"
                             "ALL_power_pkg_MIN-MAX-AVG_TABLE=NO\n"
                             "ALL_power_pkg_MIN-MAX_TABLE=NO\n"
                             "ALL_power_pkg_RELATIVE-FREQUENCY-PERCENTAGE_TABLE=NO\n"
                             "ALL_power_pkg_APPROXIMATED-RESIDENCY_TABLE=NO\n";
    pwr::SystemMetadata machine;
    machine.vraClockFreqMHz = 1.0f;
    ASSERT_EQ(pwr::WriterInterfaceConfigFileParser::instance()->parse({config}, machine), 0);
    {
        pwr::Metric metric("Package power", pwr::Metric::SampledValue, "pkg", "power", machine, nullptr);
        unsigned long long ts = 1000;
        for (auto [entity, value] : {std::pair{cpu0, 1u}, {cpu1, 2u}, {cpu0, 2u}, {cpu0, 2u}}) {
            pwr::DataElement element(entity, nullptr);
            element.setValue(static_cast<unsigned long long>(value));
            ASSERT_EQ(metric.setData(ts += 1000, element, 1000), 0);
        }
        ASSERT_EQ(metric.finalize(), 0);
    }
    pwr::WriterInterfaceConfigFileParser::instance()->destroy();
    std::remove(config.c_str());

    // cpu0 saw 1 once and 2 twice, cpu1 saw 2 once; the entity column has no name.
    EXPECT_EQ(finish(),
              "\n=============\nPackage power\n=============\n"
              "\nPkg Summary - Sampled: Counts\n"
              "Samples per value\n"
              "      1  2\n"
              "cpu0  1  2\n"
              "cpu1  0  1\n");
}

TEST(SummaryWriterStdout, WritesToStandardOutputWithoutPrefix) {
    vrtest::LoadedPlugin module("summary-writer");
    ASSERT_NE(module.get(), nullptr);
    module.get()->setCommandlineParams("output=\nresults=sum\n");
    ASSERT_EQ(module.as<WriterPlugin>()->openOutput(), 0);
    pwr::TableMessage table("Lonely", nullptr);
    ASSERT_EQ(vrtest::buildTable(table, {}, {{"Count", DataType::UINT}}), 0);
    ::testing::internal::CaptureStdout();
    {
        vrtest::ScopedWriterStream scope({module.as<WriterPlugin>()});
        scope.stream().pushMessage(table);
        table.setFieldValue(0u, 7u);
        scope.stream().pushMessage(table);
    }
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "\nLonely\nCount\n7\n");
}

}  // namespace
