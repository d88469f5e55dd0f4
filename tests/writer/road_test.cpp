// The whole road of a value: machine topology, entities, a table over the logical CPUs, the stream,
// and the cells a writer prints.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "support/TableBuilder.h"
#include "support/TestWriter.h"
#include "value/RegistryEnvironment.h"
#include "vantrell/record/SystemMetadata.h"
#include "vantrell/value/DataHandleProvider.h"
#include "vantrell/value/EntityHandle.h"
#include "vantrell/value/Formatter.h"
#include "vantrell/value/Quantity.h"
#include "vantrell/writer/TableMessage.h"

namespace {

using pwr::DataType;
using pwr::EntityHandle;
using pwr::TableMessage;
using vrtest::buildTable;
using vrtest::Column;
using vrtest::TestWriter;

// One package, two cores, two logical CPUs per core (no dies, no modules), and a writer that prints
// "|"-separated lines on a published stream.
class WriterRoad : public ::testing::Test {
  protected:
    void SetUp() override {
        machine.buildTopology("0 0 0 -1  1 0 0 -1  2 0 1 -1  3 0 1 -1", 0);
        ASSERT_EQ(4u, machine.getCPUTopology().getNumThreads());
        ASSERT_EQ(0, pwr::DataHandleProvider::resetTopology(machine));
        for (int cpu = 0; cpu < 4; ++cpu) {
            threads.push_back(EntityHandle::getCPUThreadHandle(cpu));
            ASSERT_NE(nullptr, threads.back()) << cpu;
        }
    }

    vrtest::ScopedLogCapture capture{2};
    pwr::SystemMetadata machine;
    std::vector<const EntityHandle*> threads;
    TestWriter writer{"RoadWriter", "|"};
    vrtest::ScopedWriterStream scope{{&writer}};
};

TEST_F(WriterRoad, ThreadTableArrivesAsPrintedTitlesAndCells) {
    for (size_t cpu = 0; cpu < threads.size(); ++cpu) {
        EXPECT_EQ("Thread_" + std::to_string(cpu), threads[cpu]->getName());
    }
    EXPECT_EQ("Core_1", threads[3]->getParent()->getName());

    // Added out of id order: rows follow the ids all the same.
    const pwr::RealFormatter percent("%", 0, 2);
    const pwr::RealFormatter ms(" ms", 0, 1);
    TableMessage table("C0 residency", pwr::Quantity::time());
    ASSERT_EQ(0, buildTable(table, {threads.rbegin(), threads.rend()},
                            {{"Samples", DataType::UINT, true},
                             {"Residency", DataType::REAL, false, &percent},
                             {"Duration", DataType::REAL, true, &ms},
                             {"Entries", DataType::UINT}}));
    ASSERT_EQ(0, table.setFieldValue(0u, 400u));
    ASSERT_EQ(0, table.setFieldValue(2u, 1000.04));
    const double residency[] = {12.5, 99.999, 0.0, 50.25};
    for (size_t cpu = 0; cpu < threads.size(); ++cpu) {
        ASSERT_EQ(0, table.setFieldValue(threads[cpu], 1u, residency[cpu]));
        // CPU 2 never entered the state: its count stays unset.
        if (cpu != 2) {
            ASSERT_EQ(0, table.setFieldValue(threads[cpu], 3u, static_cast<unsigned>(cpu * 10 + 1)));
        }
    }
    EXPECT_EQ(0, scope.stream().pushMessage(table));

    ASSERT_EQ(1u, writer.tables().size());
    const TestWriter::PrintedTable printed = writer.tables().front();
    EXPECT_EQ("C0 residency", printed.title);
    EXPECT_EQ("Samples|Duration|Residency|Entries|Residency|Entries|Residency|Entries|Residency|Entries",
              printed.titleLine);
    EXPECT_EQ("400|1000.0 ms|12.50%|1|100.00%|11|0.00%||50.25%|31", printed.cellLine);
    EXPECT_EQ(9u, printed.validPairs);
    EXPECT_EQ("", capture.text());

    // The stream reset the table once the writer had it: pushed again without new values, every cell
    // prints empty; filled again, only the new values show.
    EXPECT_EQ(0, scope.stream().pushMessage(table));
    ASSERT_EQ(0, table.setFieldValue(threads[2], 3u, 7u));
    EXPECT_EQ(0, scope.stream().pushMessage(table));
    ASSERT_EQ(3u, writer.tables().size());
    EXPECT_EQ("|||||||||", writer.tables()[1].cellLine);
    EXPECT_EQ(printed.titleLine, writer.tables()[1].titleLine);
    EXPECT_EQ("|||||||7||", writer.tables()[2].cellLine);
    EXPECT_EQ(1u, writer.tables()[2].validPairs);
}

}  // namespace
