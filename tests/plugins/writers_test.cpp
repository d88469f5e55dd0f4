// The summary and CSV writers as the host uses them: loaded from their modules, given the host's
// parameter text, fed through a WriterStream by a table's head push and one push per row.

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "support/PluginLoader.h"
#include "support/TableBuilder.h"
#include "support/TestWriter.h"
#include "vantrell/VantrellCore.h"

namespace {

std::string slurp(std::string const& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

class Writers : public ::testing::Test {
  protected:
    void SetUp() override {
        char pattern[] = "/tmp/vr-writers-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir = pattern;
        prefix = dir + "/run";
    }
    void TearDown() override { std::system(("rm -rf " + dir).c_str()); }

    // Pushes two tables without entities through a stream over the module's writer, which is
    // opened with `results` and closed when the stream ends.
    void run(std::string const& module, std::string const& results) {
        vrtest::LoadedPlugin loaded(module);
        auto* writer = loaded.as<WriterPlugin>();
        ASSERT_NE(writer, nullptr);
        writer->setCommandlineParams("output=" + prefix + "\nresults=" + results + "\ninterval=100\n");
        ASSERT_EQ(writer->openOutput(), 0);
        vrtest::ScopedWriterStream scoped({writer});
        pwr::TextNotes notes;
        notes.addPreTableNote("measured, not estimated");
        notes.addPostTableNote("the end");
        pushTable(scoped.stream(), "Alpha", &notes, {{"a,b", 5}, {"long \"name\"", 12345}});
        pushTable(scoped.stream(), "Alpha", nullptr, {});
    }

    static void pushTable(WriterStream& stream, std::string const& title, pwr::TextNotes const* notes,
                          std::vector<std::pair<std::string, unsigned long long>> const& rows) {
        pwr::TableMessage table(title, nullptr);
        ASSERT_EQ(vrtest::buildTable(table, {},
                                     {{"Name", pwr::DataType::STRING}, {"Value (ms)", pwr::DataType::UINT}}),
                  0);
        if (notes != nullptr) {
            table.setTextNotes(notes);
        }
        stream.pushMessage(table);
        for (auto const& [name, value] : rows) {
            table.setFieldValue(0u, std::string(name));
            table.setFieldValue(1u, value);
            stream.pushMessage(table);
        }
    }

    std::string dir;
    std::string prefix;
};

TEST_F(Writers, SummaryAlignsEveryTableWithItsNotesAndCutsNothing) {
    run("summary-writer", "sum");
    EXPECT_EQ(slurp(prefix + ".txt"),
              "\nAlpha\n"
              "measured, not estimated\n"
              "Name         Value (ms)\n"
              "a,b                   5\n"
              "long \"name\"       12345\n"
              "the end\n"
              "\nAlpha\n"
              "Name  Value (ms)\n");
}

TEST_F(Writers, CsvWritesOneQuotedFileATableAndAnIndex) {
    run("csv-writer", "sum,csv");
    EXPECT_EQ(slurp(prefix + "-alpha.csv"),
              "Name,Value (ms)\r\n\"a,b\",5\r\n\"long \"\"name\"\"\",12345\r\n");
    EXPECT_EQ(slurp(prefix + "-alpha-2.csv"), "Name,Value (ms)\r\n");
    EXPECT_EQ(slurp(prefix + "-tables.csv"),
              "file,title\r\n" + prefix + "-alpha.csv,Alpha\r\n" + prefix + "-alpha-2.csv,Alpha\r\n");
    // Without "csv" in the results the writer only serves the over-time data.
    EXPECT_EQ(access((prefix + "-int.csv").c_str(), F_OK), -1);
}

TEST_F(Writers, CsvOverTimeFileHasItsHeaderOnDiskBeforeAnyPoint) {
    vrtest::LoadedPlugin loaded("csv-writer");
    auto* writer = loaded.as<WriterPlugin>();
    ASSERT_NE(writer, nullptr);
    writer->setCommandlineParams("output=" + prefix + "\nresults=int\n");
    ASSERT_EQ(writer->openOutput(), 0);
    EXPECT_EQ(slurp(prefix + "-int.csv"), "time_s,metric,entity,field,value,unit,duration_ticks\r\n");
    EXPECT_EQ(access((prefix + "-tables.csv").c_str(), F_OK), -1);
    EXPECT_EQ(writer->closeOutput(), 0);
}

TEST(WriterOutput, AnUnwritablePrefixFailsToOpen) {
    for (char const* module : {"summary-writer", "csv-writer"}) {
        SCOPED_TRACE(module);
        vrtest::LoadedPlugin loaded(module);
        auto* writer = loaded.as<WriterPlugin>();
        ASSERT_NE(writer, nullptr);
        writer->setCommandlineParams("output=/nonexistent-dir/run\nresults=sum,csv,int\n");
        EXPECT_EQ(writer->openOutput(), 1);
    }
}

}  // namespace
