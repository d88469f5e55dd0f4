// The whole road of a value: machine topology, entities, a table over the logical CPUs, the stream,
// and the cells a writer prints.

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "support/TestWriter.h"
#include "value/RegistryEnvironment.h"
#include "vantrell/record/SystemMetadata.h"
#include "vantrell/value/Data.h"
#include "vantrell/value/DataHandleProvider.h"
#include "vantrell/value/EntityHandle.h"
#include "vantrell/value/Formatter.h"
#include "vantrell/value/Quantity.h"
#include "vantrell/writer/TableMessage.h"
#include "vantrell/writer/WriterStream.h"

namespace {

using pwr::DataType;
using pwr::EntityHandle;
using pwr::TableMessage;
using vrtest::ScopedLogCapture;
using vrtest::ScopedWriterStream;
using vrtest::TestWriter;

// One package, two cores, two logical CPUs per core; no dies, no modules.
void buildSmallMachine(pwr::SystemMetadata& machine) {
    machine.buildTopology("0 0 0 -1  1 0 0 -1  2 0 1 -1  3 0 1 -1", 0);
    ASSERT_EQ(4u, machine.getCPUTopology().getNumThreads());
    ASSERT_EQ(0, pwr::DataHandleProvider::resetTopology(machine));
}

std::vector<const EntityHandle*> threadEntities() {
    std::vector<const EntityHandle*> threads;
    for (int cpu = 0; cpu < 4; ++cpu) {
        threads.push_back(EntityHandle::getCPUThreadHandle(cpu));
    }
    return threads;
}

// Every cell of `table` reads as not valid.
void expectAllCellsInvalid(const TableMessage& table, const std::vector<const EntityHandle*>& threads) {
    for (const EntityHandle* thread : threads) {
        for (auto handle = table.handleBegin(); handle != table.handleEnd(); ++handle) {
            const pwr::Data* value = nullptr;
            bool valid = true;
            EXPECT_EQ(0, table.getFieldValue(thread, *handle, value, valid)) << thread->getName();
            EXPECT_FALSE(valid) << thread->getName() << " " << (*handle)->getName();
        }
    }
    for (auto handle = table.sharedHandleBegin(); handle != table.sharedHandleEnd(); ++handle) {
        const pwr::Data* value = nullptr;
        bool valid = true;
        EXPECT_EQ(0, table.getFieldValue(*handle, value, valid));
        EXPECT_FALSE(valid) << (*handle)->getName();
    }
    EXPECT_TRUE(table.validBegin() == table.validEnd());
}

TEST(WriterRoad, ThreadTableArrivesAsPrintedTitlesAndCells) {
    ScopedLogCapture capture(2);
    pwr::SystemMetadata machine;
    buildSmallMachine(machine);
    const std::vector<const EntityHandle*> threads = threadEntities();
    for (size_t cpu = 0; cpu < threads.size(); ++cpu) {
        ASSERT_NE(nullptr, threads[cpu]) << cpu;
        EXPECT_EQ("Thread_" + std::to_string(cpu), threads[cpu]->getName());
    }
    EXPECT_EQ("Core_1", threads[3]->getParent()->getName());

    TestWriter writer("RoadWriter", "|");
    ScopedWriterStream scope({&writer});

    TableMessage table("C0 residency", pwr::Quantity::time());
    // Added out of id order: rows follow the ids all the same.
    for (auto thread = threads.rbegin(); thread != threads.rend(); ++thread) {
        ASSERT_EQ(0, table.addEntity(*thread));
    }
    ASSERT_EQ(0, table.addField("Samples", DataType::UINT, true));                                    // 0
    ASSERT_EQ(0, table.addField("Residency", DataType::REAL, pwr::RealFormatter("%", 0, 2), false));  // 1
    ASSERT_EQ(0, table.addField("Duration", DataType::REAL, pwr::RealFormatter(" ms", 0, 1), true));  // 2
    ASSERT_EQ(0, table.addField("Entries", DataType::UINT, false));                                   // 3
    ASSERT_EQ(0, table.createTable());

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
    ASSERT_TRUE(table.validBegin() != table.validEnd());

    EXPECT_EQ(0, scope.stream().pushMessage(table));

    ASSERT_EQ(1u, writer.tables().size());
    const TestWriter::PrintedTable printed = writer.tables().front();
    EXPECT_EQ("C0 residency", printed.title);
    EXPECT_EQ("Samples|Duration|Residency|Entries|Residency|Entries|Residency|Entries|Residency|Entries",
              printed.titleLine);
    EXPECT_EQ("400|1000.0 ms|12.50%|1|100.00%|11|0.00%||50.25%|31", printed.cellLine);
    EXPECT_EQ(printed.titles.size(), printed.cells.size());
    EXPECT_EQ(9u, printed.validPairs);
    EXPECT_EQ((std::vector<std::string>{printed.titleLine, printed.cellLine}), writer.lines());
    EXPECT_EQ("", capture.text());

    // The stream reset the table once the writer had it.
    expectAllCellsInvalid(table, threads);

    // Pushed again without new values, every cell prints empty.
    EXPECT_EQ(0, scope.stream().pushMessage(table));
    ASSERT_EQ(2u, writer.tables().size());
    EXPECT_EQ("|||||||||", writer.tables().back().cellLine);
    EXPECT_EQ(printed.titleLine, writer.tables().back().titleLine);

    // And filled again, only the new values show.
    ASSERT_EQ(0, table.setFieldValue(threads[2], 3u, 7u));
    EXPECT_EQ(0, scope.stream().pushMessage(table));
    EXPECT_EQ("|||||||7||", writer.tables().back().cellLine);
    EXPECT_EQ(1u, writer.tables().back().validPairs);
}

TEST(WriterRoad, SinglePlainFieldTitlesNameTheEntities) {
    ScopedLogCapture capture(2);
    pwr::SystemMetadata machine;
    buildSmallMachine(machine);
    const std::vector<const EntityHandle*> threads = threadEntities();

    TestWriter writer;
    ScopedWriterStream scope({&writer});

    TableMessage table("Frequency", pwr::Quantity::frequency());
    ASSERT_EQ(0, table.addEntity(threads[1]));
    ASSERT_EQ(0, table.addEntity(threads[3]));
    ASSERT_EQ(0, table.addField("Samples", DataType::UINT, true));
    ASSERT_EQ(0, table.addField("Average", DataType::REAL, pwr::RealFormatter(" MHz", 0, 0), false));
    ASSERT_EQ(0, table.createTable());
    ASSERT_EQ(0, table.setFieldValue(threads[3], 1u, 2400.4));

    EXPECT_EQ(0, scope.stream().pushMessage(table));
    ASSERT_EQ(1u, writer.tables().size());
    EXPECT_EQ("Samples,Thread_1,Thread_3", writer.tables()[0].titleLine);
    // The shared count was never set: like the reset cell of CPU 1 it prints empty.
    EXPECT_EQ(",,2400 MHz", writer.tables()[0].cellLine);
    expectAllCellsInvalid(table, {threads[1], threads[3]});
}

}  // namespace
