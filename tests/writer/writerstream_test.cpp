#include <gtest/gtest.h>

#include <string>
#include <typeinfo>
#include <vector>

#include "support/LogCapture.h"
#include "support/TestWriter.h"
#include "value/RegistryEnvironment.h"
#include "vantrell/record/SystemMetadata.h"
#include "vantrell/writer/TableMessage.h"

namespace {

using pwr::MessageType;
using pwr::TableMessage;
using vrtest::ScopedLogCapture;
using vrtest::ScopedWriterStream;
using vrtest::TestWriter;
using Strings = std::vector<std::string>;
using Texts = std::vector<TestWriter::ReceivedText>;

// A message that claims whatever type it is given, to reach the stream's checks of type against class.
class ClaimingMessage : public pwr::WriterMessage {
  public:
    explicit ClaimingMessage(MessageType claimed) : claimed(claimed) {}
    MessageType getMessageType() const override { return claimed; }

  private:
    MessageType claimed;
};

// Metrics are built elsewhere; the stream only hands the reference on, and the test writer only
// records its address, so any distinct address stands in for one.
const pwr::Metric* standInMetric() {
    static const int storage = 0;
    return reinterpret_cast<const pwr::Metric*>(&storage);
}

// A created table with one plain field set, and so one valid pair.
void fillSmallTable(TableMessage& table) {
    ASSERT_EQ(0, table.addField("Value", pwr::DataType::INT, false));
    ASSERT_EQ(0, table.createTable());
    ASSERT_EQ(0, table.setFieldValue(0u, 5));
}

bool hasValidValues(const TableMessage& table) {
    return table.validBegin() != table.validEnd();
}

TEST(WriterStream, HandsEachMessageToItsOverloadOnEveryWriterInSetOrder) {
    ScopedLogCapture capture(4);
    TestWriter first("first");
    TestWriter second("second");
    Strings log;
    first.setCallLog(&log);
    second.setCallLog(&log);
    pwr::SystemMetadata machine;
    Strings expected;
    {
        ScopedWriterStream scope({&first, &second});
        pwr::IdMessage ids;
        pwr::SystemMessage system(machine);
        pwr::MetricContainerInfoMessage info;
        info.setContainerHeader("ab");
        TableMessage table("T", nullptr);
        fillSmallTable(table);
        for (pwr::WriterMessage* message : std::vector<pwr::WriterMessage*>{&ids, &system, &info, &table}) {
            EXPECT_EQ(0, scope.stream().pushMessage(*message));
        }
        EXPECT_FALSE(hasValidValues(table));  // reset once every writer had it
        pwr::TextMessage text;
        EXPECT_EQ(0, text.setMessage("plain"));
        pwr::HeaderTextMessage header;
        EXPECT_EQ(0, header.setMessage("heading"));
        // Ending the stream closes each writer once, in the same order.
        for (const char* call : {"id", "system", "containerInfo", "table", "text", "text", "closeOutput"}) {
            for (WriterPlugin* plugin : scope.writers()) {
                expected.push_back(plugin->getUUID() + ":" + call);
            }
        }
    }
    EXPECT_EQ(expected, log);
    for (const TestWriter* writer : {&first, &second}) {
        EXPECT_EQ(std::vector<const pwr::SystemMetadata*>{&machine}, writer->systems());
        EXPECT_EQ(Strings{"==\nab\n=="}, writer->containerHeaders());
        EXPECT_EQ((Texts{{MessageType::TEXT, "plain"}, {MessageType::HEADER_TEXT, "heading"}}),
                  writer->texts());
        ASSERT_EQ(1u, writer->tables().size());
        EXPECT_EQ("5", writer->tables()[0].cellLine);
        EXPECT_EQ(1u, writer->tables()[0].validPairs);  // the data came before the reset
    }
    EXPECT_EQ("", capture.text());
}

TEST(WriterStream, OddMessagesGoNowhereOrThrow) {
    ScopedLogCapture capture(4);
    TestWriter writer;
    {
        ScopedWriterStream scope({&writer});
        ClaimingMessage unknown(static_cast<MessageType>(6));
        EXPECT_EQ(0, scope.stream().pushMessage(unknown));
        for (MessageType type : {MessageType::TABLE, MessageType::ID, MessageType::HEADER_TEXT}) {
            ClaimingMessage liar(type);
            EXPECT_THROW(scope.stream().pushMessage(liar), std::bad_cast) << static_cast<int>(type);
        }
        // A table never created reaches the writers; the failed reset is only logged.
        TableMessage uncreated("Uncreated", nullptr);
        EXPECT_EQ(0, scope.stream().pushMessage(uncreated));
    }
    EXPECT_EQ((Strings{"table", "closeOutput"}), writer.calls());
    EXPECT_EQ("WARNING: Can't reset table data before table is created\n", capture.debug().text());
}

TEST(WriterStream, EmptySetStillResetsTablesAndAMissingSetRefusesEveryPush) {
    ScopedLogCapture capture(4);
    TableMessage table("T", nullptr);
    fillSmallTable(table);
    ScopedWriterStream empty({});
    EXPECT_EQ(0, empty.stream().pushMessage(table));
    EXPECT_FALSE(hasValidValues(table));
    EXPECT_EQ(0, empty.stream().pushMessage(standInMetric()));
    // With nobody to dispatch to, a "table" that isn't one is only found out when it is to be reset.
    ClaimingMessage fakeTable(MessageType::TABLE);
    EXPECT_EQ(1, empty.stream().pushMessage(fakeTable));
    EXPECT_EQ("", capture.text());

    WriterStream* missing = WriterStream::create();
    pwr::IdMessage ids;
    EXPECT_EQ(-1, missing->pushMessage(ids));
    ASSERT_EQ(0, table.setFieldValue(0u, 6));
    EXPECT_EQ(-1, missing->pushMessage(table));
    EXPECT_TRUE(hasValidValues(table));  // nobody saw it, so it keeps its data
    EXPECT_EQ(1, missing->pushMessage(standInMetric()));
    EXPECT_EQ(
        "WARNING: No plugins setup for stream\nWARNING: No plugins setup for stream\n"
        "WARNING: No plugins setup for writer stream.\n",
        capture.debug().text());
    WriterStream::destroy(missing);
    WriterStream::destroy(nullptr);
}

TEST(WriterStream, MetricReachesAllWritersAndReportsEachFailure) {
    ScopedLogCapture capture(4);
    TestWriter writers[3];
    ScopedWriterStream scope({&writers[0], &writers[1], &writers[2]});
    const pwr::Metric* metric = standInMetric();
    EXPECT_EQ(0, scope.stream().pushMessage(metric));
    EXPECT_EQ("", capture.text());
    // The writer reached first fails, then also the one reached last; the others are still reached.
    const std::string unable = "WARNING: Unable to push Metric object to writer plugin\n";
    static_cast<TestWriter*>(*scope.writers().begin())->setMetricResult(1);
    EXPECT_EQ(1, scope.stream().pushMessage(metric));
    EXPECT_EQ(unable, capture.debug().text());
    static_cast<TestWriter*>(*scope.writers().rbegin())->setMetricResult(-3);
    EXPECT_EQ(1, scope.stream().pushMessage(metric));
    EXPECT_EQ(unable + unable + unable, capture.debug().text());
    capture.clear();
    EXPECT_EQ(1, scope.stream().pushMessage(static_cast<const pwr::Metric*>(nullptr)));
    EXPECT_EQ("WARNING: Error pushing null Metric object to Writer stream.\n", capture.debug().text());
    for (const TestWriter& writer : writers) {
        EXPECT_EQ((std::vector<const pwr::Metric*>(3, metric)), writer.metrics());
    }
}

TEST(WriterStream, TextGoesThroughTheStreamPublishedWhenTheMessageWasMade) {
    ScopedLogCapture capture(4);
    TestWriter published("published");
    TestWriter other("other");
    ScopedWriterStream otherScope({&other});
    ScopedWriterStream publishedScope({&published});
    EXPECT_EQ(0, otherScope.stream().pushTextMessage("hello"));
    pwr::TextMessage text;
    pwr::HeaderTextMessage header;
    // Unpublishing the stream afterwards changes nothing for them; each set sends the text again.
    capture.environment().setWriterStream(nullptr);
    EXPECT_THROW(publishedScope.stream().pushTextMessage("nowhere"), const char*);
    EXPECT_EQ(0, text.setMessage("first"));
    EXPECT_EQ(0, header.setMessage("title"));
    EXPECT_EQ(0, text.setMessage("second"));
    EXPECT_EQ((Texts{{MessageType::TEXT, "hello"},
                     {MessageType::TEXT, "first"},
                     {MessageType::HEADER_TEXT, "title"},
                     {MessageType::TEXT, "second"}}),
              published.texts());
    EXPECT_EQ(0, other.count("text"));
    EXPECT_EQ("", capture.text());

    // A published stream without plug-ins: the push fails, with that stream's warning.
    WriterStream* bare = WriterStream::create();
    capture.environment().setWriterStream(bare);
    EXPECT_EQ(-1, publishedScope.stream().pushTextMessage("lost"));
    EXPECT_EQ("WARNING: No plugins setup for stream\n", capture.debug().text());
    capture.environment().setWriterStream(&publishedScope.stream());
    WriterStream::destroy(bare);
}

TEST(WriterStream, SupportedTableClassesAreCopiedButPluginsShared) {
    TestWriter writer;
    ScopedWriterStream scope({&writer});
    const auto kSeven = static_cast<pwr::TableClass>(7);
    EXPECT_FALSE(scope.stream().isSupportedTableClass(kSeven));
    scope.stream().setSupportedTables({pwr::TABLE_CLASS_DEFAULT, kSeven});
    WriterStream* copy = new WriterStream(scope.stream());
    EXPECT_TRUE(copy->isSupportedTableClass(kSeven));
    copy->setSupportedTables({});
    EXPECT_FALSE(copy->isSupportedTableClass(kSeven));
    EXPECT_TRUE(scope.stream().isSupportedTableClass(kSeven));
    pwr::IdMessage ids;
    EXPECT_EQ(0, copy->pushMessage(ids));
    WriterStream::destroy(copy);
    EXPECT_EQ((Strings{"id", "closeOutput"}), writer.calls());
}

}  // namespace
