#include <gtest/gtest.h>

#include <set>
#include <string>
#include <typeinfo>
#include <vector>

#include "support/LogCapture.h"
#include "support/TestWriter.h"
#include "value/RegistryEnvironment.h"
#include "vantrell/record/SystemMetadata.h"
#include "vantrell/value/Data.h"
#include "vantrell/writer/TableMessage.h"
#include "vantrell/writer/WriterMessage.h"
#include "vantrell/writer/WriterStream.h"

namespace {

using pwr::DataType;
using pwr::MessageType;
using pwr::TableMessage;
using vrtest::ScopedLogCapture;
using vrtest::ScopedWriterStream;
using vrtest::TestWriter;

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
    ASSERT_EQ(0, table.addField("Value", DataType::INT, false));
    ASSERT_EQ(0, table.createTable());
    ASSERT_EQ(0, table.setFieldValue(0u, 5));
}

TEST(WriterStream, DispatchesEachMessageTypeToItsOverloadOnEveryWriter) {
    ScopedLogCapture capture(4);
    TestWriter first("first");
    TestWriter second("second");
    ScopedWriterStream scope({&first, &second});
    WriterStream& stream = scope.stream();

    pwr::IdMessage ids;
    pwr::SystemMetadata machine;
    pwr::SystemMessage system(machine);
    pwr::MetricContainerInfoMessage info;
    info.setContainerHeader("ab");
    TableMessage table("T", nullptr);
    fillSmallTable(table);

    EXPECT_EQ(0, stream.pushMessage(ids));
    EXPECT_EQ(0, stream.pushMessage(system));
    EXPECT_EQ(0, stream.pushMessage(info));
    EXPECT_EQ(0, stream.pushMessage(table));
    pwr::TextMessage text;
    EXPECT_EQ(0, text.setMessage("plain"));
    pwr::HeaderTextMessage header;
    EXPECT_EQ(0, header.setMessage("heading"));

    for (const TestWriter* writer : {&first, &second}) {
        SCOPED_TRACE(writer->getUUID());
        EXPECT_EQ(1, writer->counts().id);
        EXPECT_EQ(1, writer->counts().system);
        EXPECT_EQ(1, writer->counts().containerInfo);
        EXPECT_EQ(1, writer->counts().table);
        EXPECT_EQ(2, writer->counts().text);
        EXPECT_EQ(0, writer->counts().metric);
        EXPECT_EQ(0, writer->counts().closeOutput);
        ASSERT_EQ(1u, writer->systems().size());
        EXPECT_EQ(&machine, writer->systems()[0]);
        EXPECT_EQ((std::vector<std::string>{"==\nab\n=="}), writer->containerHeaders());
        ASSERT_EQ(2u, writer->texts().size());
        EXPECT_EQ(MessageType::TEXT, writer->texts()[0].type);
        EXPECT_EQ("plain", writer->texts()[0].text);
        EXPECT_EQ(MessageType::HEADER_TEXT, writer->texts()[1].type);
        EXPECT_EQ("heading", writer->texts()[1].text);
        ASSERT_EQ(1u, writer->tables().size());
        EXPECT_EQ("5", writer->tables()[0].cellLine);
    }
    EXPECT_EQ("", capture.text());
}

TEST(WriterStream, WritersAreReachedInTheOrderOfTheSet) {
    std::vector<std::string> calls;
    TestWriter a("a");
    TestWriter b("b");
    TestWriter c("c");
    for (TestWriter* writer : {&a, &b, &c}) {
        writer->setCallLog(&calls);
    }
    std::vector<std::string> expectedPush;
    std::vector<std::string> expectedClose;
    {
        ScopedWriterStream scope({&a, &b, &c});
        for (WriterPlugin* plugin : scope.writers()) {
            expectedPush.push_back(plugin->getUUID() + ":id");
            expectedClose.push_back(plugin->getUUID() + ":closeOutput");
        }
        pwr::IdMessage ids;
        EXPECT_EQ(0, scope.stream().pushMessage(ids));
        EXPECT_EQ(expectedPush, calls);
        calls.clear();
    }
    // Ending the stream closes each writer once, in the same order, and leaves the writers alive.
    EXPECT_EQ(expectedClose, calls);
    EXPECT_EQ(1, a.counts().closeOutput);
    EXPECT_EQ(0, a.counts().openOutput);
}

TEST(WriterStream, MessagesOfUnknownTypeOrWrongClass) {
    ScopedLogCapture capture(4);
    TestWriter writer;
    {
        ScopedWriterStream scope({&writer});
        ClaimingMessage unknown(static_cast<MessageType>(6));
        EXPECT_EQ(0, scope.stream().pushMessage(unknown));
        ClaimingMessage fakeTable(MessageType::TABLE);
        EXPECT_THROW(scope.stream().pushMessage(fakeTable), std::bad_cast);
        ClaimingMessage fakeIds(MessageType::ID);
        EXPECT_THROW(scope.stream().pushMessage(fakeIds), std::bad_cast);
        ClaimingMessage fakeText(MessageType::HEADER_TEXT);
        EXPECT_THROW(scope.stream().pushMessage(fakeText), std::bad_cast);
    }
    const TestWriter::Counts& counts = writer.counts();
    EXPECT_EQ(0,
              counts.table + counts.id + counts.text + counts.system + counts.containerInfo + counts.metric);

    // With nobody to dispatch to, a "table" that isn't one is only found out when it is to be reset.
    ScopedWriterStream empty({});
    ClaimingMessage fakeTable(MessageType::TABLE);
    EXPECT_EQ(1, empty.stream().pushMessage(fakeTable));
    EXPECT_EQ("", capture.text());
}

TEST(WriterStream, TableIsResetAfterEveryWriterSawItsData) {
    ScopedLogCapture capture(4);
    TestWriter first("first");
    TestWriter second("second");
    std::vector<size_t> seenValidPairs;
    auto hook = [&seenValidPairs](const TableMessage& table) {
        seenValidPairs.push_back(static_cast<size_t>(table.validEnd() - table.validBegin()));
    };
    first.setTableHook(hook);
    second.setTableHook(hook);
    ScopedWriterStream scope({&first, &second});

    TableMessage table("T", nullptr);
    fillSmallTable(table);
    EXPECT_EQ(0, scope.stream().pushMessage(table));
    EXPECT_EQ((std::vector<size_t>{1, 1}), seenValidPairs);
    EXPECT_TRUE(table.validBegin() == table.validEnd());
    const pwr::Data* value = nullptr;
    bool valid = true;
    EXPECT_EQ(0, table.getFieldValue(*table.fieldBegin(), value, valid));
    EXPECT_FALSE(valid);

    // A stream with an empty set of writers still resets.
    ScopedWriterStream empty({});
    ASSERT_EQ(0, table.setFieldValue(0u, 6));
    EXPECT_EQ(0, empty.stream().pushMessage(table));
    EXPECT_TRUE(table.validBegin() == table.validEnd());
    EXPECT_EQ("", capture.text());

    // A table that was never created reaches the writers; the failed reset is only logged.
    TableMessage uncreated("Uncreated", nullptr);
    EXPECT_EQ(0, scope.stream().pushMessage(uncreated));
    EXPECT_EQ(2, first.counts().table);
    EXPECT_EQ("WARNING: Can't reset table data before table is created\n", capture.debug().text());
}

TEST(WriterStream, MetricReachesAllWritersAndReportsEachFailure) {
    ScopedLogCapture capture(4);
    TestWriter first("first");
    TestWriter second("second");
    TestWriter third("third");
    ScopedWriterStream scope({&first, &second, &third});
    WriterStream& stream = scope.stream();
    const pwr::Metric* metric = standInMetric();

    EXPECT_EQ(0, stream.pushMessage(metric));
    EXPECT_EQ("", capture.text());

    // The writer reached first fails; the others are still reached.
    auto writerAt = [&scope](size_t position) {
        auto it = scope.writers().begin();
        std::advance(it, position);
        return static_cast<TestWriter*>(*it);
    };
    writerAt(0)->setMetricResult(1);
    EXPECT_EQ(1, stream.pushMessage(metric));
    EXPECT_EQ("WARNING: Unable to push Metric object to writer plugin\n", capture.debug().text());
    for (const TestWriter* writer : {&first, &second, &third}) {
        ASSERT_EQ(2u, writer->metrics().size()) << writer->getUUID();
        EXPECT_EQ(metric, writer->metrics()[1]);
    }

    capture.clear();
    writerAt(2)->setMetricResult(-3);
    EXPECT_EQ(1, stream.pushMessage(metric));
    const std::string unable = "WARNING: Unable to push Metric object to writer plugin\n";
    EXPECT_EQ(unable + unable, capture.debug().text());
    EXPECT_EQ(3, third.counts().metric);

    capture.clear();
    EXPECT_EQ(1, stream.pushMessage(static_cast<const pwr::Metric*>(nullptr)));
    EXPECT_EQ("WARNING: Error pushing null Metric object to Writer stream.\n", capture.debug().text());
    EXPECT_EQ(3, first.counts().metric);

    ScopedWriterStream empty({});
    capture.clear();
    EXPECT_EQ(0, empty.stream().pushMessage(metric));
    EXPECT_EQ("", capture.text());
}

TEST(WriterStream, StreamWithoutPluginsRefusesEveryPush) {
    ScopedLogCapture capture(4);
    WriterStream* stream = WriterStream::create();
    pwr::IdMessage ids;
    EXPECT_EQ(-1, stream->pushMessage(ids));
    EXPECT_EQ("WARNING: No plugins setup for stream\n", capture.debug().text());

    capture.clear();
    TableMessage table("T", nullptr);
    fillSmallTable(table);
    EXPECT_EQ(-1, stream->pushMessage(table));
    // Nobody saw it, so it keeps its data.
    EXPECT_TRUE(table.validBegin() != table.validEnd());

    capture.clear();
    EXPECT_EQ(1, stream->pushMessage(standInMetric()));
    EXPECT_EQ("WARNING: No plugins setup for writer stream.\n", capture.debug().text());
    WriterStream::destroy(stream);
    WriterStream::destroy(nullptr);
}

TEST(WriterStream, TextGoesThroughThePublishedStream) {
    ScopedLogCapture capture(4);
    TestWriter published("published");
    TestWriter other("other");
    ScopedWriterStream otherScope({&other});
    ScopedWriterStream publishedScope({&published});

    EXPECT_EQ(0, otherScope.stream().pushTextMessage("hello"));
    ASSERT_EQ(1u, published.texts().size());
    EXPECT_EQ("hello", published.texts()[0].text);
    EXPECT_EQ(MessageType::TEXT, published.texts()[0].type);
    EXPECT_EQ(0, other.counts().text);

    // A published stream without plug-ins: the push fails, with that stream's warning.
    WriterStream* bare = WriterStream::create();
    capture.environment().setWriterStream(bare);
    EXPECT_EQ(-1, publishedScope.stream().pushTextMessage("lost"));
    EXPECT_EQ("WARNING: No plugins setup for stream\n", capture.debug().text());
    EXPECT_EQ(1u, published.texts().size());

    capture.environment().setWriterStream(nullptr);
    try {
        publishedScope.stream().pushTextMessage("nowhere");
        ADD_FAILURE() << "expected a throw without a published stream";
    } catch (const char* thrown) {
        EXPECT_STREQ("ERROR: Writer stream is not initialized", thrown);
    }
    capture.environment().setWriterStream(&publishedScope.stream());
    WriterStream::destroy(bare);
}

TEST(WriterStream, SupportedTableClassesAreCopiedButPluginsShared) {
    TestWriter writer;
    ScopedWriterStream scope({&writer});
    WriterStream& stream = scope.stream();
    const auto kDefault = pwr::TABLE_CLASS_DEFAULT;
    const auto kSeven = static_cast<pwr::TableClass>(7);
    const auto kThree = static_cast<pwr::TableClass>(3);
    EXPECT_FALSE(stream.isSupportedTableClass(kDefault));

    stream.setSupportedTables({kDefault, kSeven});
    EXPECT_TRUE(stream.isSupportedTableClass(kDefault));
    EXPECT_TRUE(stream.isSupportedTableClass(kSeven));
    EXPECT_FALSE(stream.isSupportedTableClass(kThree));

    WriterStream* copy = new WriterStream(stream);
    EXPECT_TRUE(copy->isSupportedTableClass(kSeven));
    copy->setSupportedTables({kThree});
    EXPECT_TRUE(copy->isSupportedTableClass(kThree));
    EXPECT_FALSE(stream.isSupportedTableClass(kThree));
    EXPECT_TRUE(stream.isSupportedTableClass(kSeven));

    pwr::IdMessage ids;
    EXPECT_EQ(0, copy->pushMessage(ids));
    EXPECT_EQ(1, writer.counts().id);
    WriterStream::destroy(copy);
    EXPECT_EQ(1, writer.counts().closeOutput);
}

}  // namespace
