#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "value/RegistryEnvironment.h"
#include "vantrell/record/SystemMetadata.h"
#include "vantrell/value/Quantity.h"
#include "vantrell/writer/TableMessage.h"
#include "vantrell/writer/TextNotes.h"
#include "vantrell/writer/WriterMessage.h"
#include "vantrell/writer/WriterPlugin.h"
#include "vantrell/writer/WriterStream.h"

namespace {

using pwr::MessageType;
using vrtest::ScopedLogCapture;

// Records the text messages that reach it, with their type and id.
class TextRecorder : public WriterPlugin {
  public:
    TextRecorder() : WriterPlugin("text-recorder") {}
    int openOutput() override { return 0; }
    int closeOutput() override { return 0; }

    std::vector<std::string> texts;
    std::vector<MessageType> types;
    std::vector<unsigned> ids;

  private:
    int writeMessage(const pwr::TextMessage& message) override {
        texts.push_back(message.getMessage());
        types.push_back(message.getMessageType());
        ids.push_back(message.getMessageId());
        return 0;
    }
};

TEST(WriterMessage, IdsAreConsecutiveAndCopiesAreTheSameMessage) {
    pwr::IdMessage a;
    pwr::IdMessage b;
    EXPECT_EQ(b.getMessageId(), a.getMessageId() + 1);

    a.addParentMessage(7);
    a.addParentMessage(7);
    EXPECT_EQ(a.setMetricContainerId(42), 0);
    EXPECT_TRUE(a.isChildOf(7));
    EXPECT_FALSE(a.isChildOf(8));

    pwr::IdMessage copy(a);
    EXPECT_EQ(copy.getMessageId(), a.getMessageId());
    EXPECT_TRUE(copy.isChildOf(7));
    EXPECT_FALSE(copy.isChildOf(8));
    EXPECT_EQ(copy.getMetricContainerId(), 42u);

    b = a;
    EXPECT_EQ(b.getMessageId(), a.getMessageId());
    EXPECT_TRUE(b.isChildOf(7));

    // Copies took no number: the next message follows b's original id.
    pwr::IdMessage next;
    EXPECT_EQ(next.getMessageId(), a.getMessageId() + 2);
    EXPECT_EQ(next.getMetricContainerId(), 0u);
}

TEST(WriterMessage, KindsAnswerTheirTypes) {
    pwr::SystemMetadata metadata;
    pwr::SystemMessage system(metadata);
    EXPECT_EQ(system.getMessageType(), MessageType::SYSTEM);
    EXPECT_EQ(&system.getSystemMetadata(), &metadata);  // a reference, not a copy

    pwr::IdMessage ids;
    EXPECT_EQ(ids.getMessageType(), MessageType::ID);
    EXPECT_EQ(ids.addUniqueId(pwr::Quantity::time()), 0);
    EXPECT_EQ(ids.addUniqueId(pwr::Quantity::power()), 0);
    EXPECT_EQ(std::vector<const pwr::UniqueId*>(ids.begin(), ids.end()),
              (std::vector<const pwr::UniqueId*>{pwr::Quantity::time(), pwr::Quantity::power()}));

    pwr::MetricContainerInfoMessage info;
    EXPECT_EQ(info.getMessageType(), MessageType::METRIC_CONTAINER_INFO);
    pwr::TableMessage table("t", nullptr);
    EXPECT_EQ(table.getMessageType(), MessageType::TABLE);
}

TEST(MetricContainerInfoMessage, StoresWhatItIsGiven) {
    pwr::MetricContainerInfoMessage info;
    EXPECT_EQ(info.getTextInfo(), nullptr);
    EXPECT_EQ(info.getStaticTableRowInfo(), nullptr);
    EXPECT_EQ(info.getTimelineTableToDisplay(), pwr::TimelineTableType::NONE);

    EXPECT_EQ(info.setContainerHeader("ab"), 0);
    EXPECT_EQ(info.getContainerHeader(), "==\nab\n==");
    EXPECT_EQ(info.setContainerHeader(""), 0);
    EXPECT_EQ(info.getContainerHeader(), "\n\n");
    // One "=" per byte, not per character.
    EXPECT_EQ(info.setContainerHeader("\xc3\xa9"), 0);
    EXPECT_EQ(info.getContainerHeader(), "==\n\xc3\xa9\n==");

    pwr::TableMessage first("first", nullptr);
    pwr::TableMessage second("second", nullptr);
    EXPECT_EQ(info.addStaticTableRowInfo(&first), 0);
    EXPECT_EQ(info.addStaticTableRowInfo(&second), 0);
    EXPECT_EQ(info.getStaticTableRowInfo(), &second);

    pwr::TextNotes notes;
    EXPECT_EQ(info.setTextInfo(&notes), 0);
    EXPECT_EQ(info.getTextInfo(), &notes);
    EXPECT_EQ(info.setTimelineTableToDisplay(static_cast<pwr::TimelineTableType>(3)), 0);
    EXPECT_EQ(static_cast<int>(info.getTimelineTableToDisplay()), 3);
    EXPECT_EQ(info.setMetricContainerTag("CSTATE"), 0);
    EXPECT_EQ(info.getMetricContainerTag(), "CSTATE");
}

TEST(TextNotes, KeepsPreAndPostNotesApartInOrder) {
    pwr::TextNotes notes;
    std::vector<std::string> out{"untouched"};
    EXPECT_FALSE(notes.getPreTableNotes(out));
    EXPECT_FALSE(notes.getPostTableNotes(out));
    EXPECT_EQ(out, std::vector<std::string>{"untouched"});

    EXPECT_EQ(notes.addPreTableNote("one"), 0);
    EXPECT_EQ(notes.addPreTableNote("two"), 0);
    EXPECT_FALSE(notes.getPostTableNotes(out));
    EXPECT_TRUE(notes.getPreTableNotes(out));
    EXPECT_EQ(out, (std::vector<std::string>{"one", "two"}));  // replaced, not appended

    pwr::TextNotes copy(notes);
    EXPECT_EQ(copy.addPostTableNote("after"), 0);
    EXPECT_FALSE(notes.getPostTableNotes(out));
    EXPECT_TRUE(copy.getPostTableNotes(out));
    EXPECT_EQ(out, std::vector<std::string>{"after"});

    pwr::TextNotes moved(std::move(copy));
    EXPECT_TRUE(moved.getPreTableNotes(out));
    EXPECT_EQ(out.size(), 2u);
}

TEST(TextMessage, WithoutAStreamTheConstructorThrowsAPlainCString) {
    ScopedLogCapture capture;  // a fresh environment: no writer stream
    try {
        pwr::TextMessage message;
        FAIL() << "no exception";
    } catch (char* text) {
        EXPECT_STREQ(text, "ERROR: Writer stream is not initialized");
    }
    try {
        pwr::HeaderTextMessage message;
        FAIL() << "no exception";
    } catch (const char* text) {
        EXPECT_STREQ(text, "ERROR: Writer stream is not initialized");
    }
    EXPECT_EQ(capture.text(), "");
}

TEST(TextMessage, StreamWithoutPluginsRefusesThePush) {
    ScopedLogCapture capture(2);
    WriterStream* stream = WriterStream::create();
    capture.environment().setWriterStream(stream);
    pwr::TextMessage message;
    EXPECT_EQ(message.setMessage("hello"), -1);
    EXPECT_EQ(message.getMessage(), "hello");
    EXPECT_EQ(capture.debug().text(), "WARNING: No plugins setup for stream\n");
    capture.environment().setWriterStream(nullptr);
    WriterStream::destroy(stream);
}

TEST(TextMessage, EachSetSendsTheTextThroughTheStreamOfConstruction) {
    ScopedLogCapture capture(2);
    TextRecorder recorder;
    std::set<WriterPlugin*> plugins{&recorder};
    WriterStream* stream = WriterStream::create(plugins);
    capture.environment().setWriterStream(stream);

    pwr::TextMessage text;
    pwr::HeaderTextMessage header;
    EXPECT_EQ(header.getMessageType(), MessageType::HEADER_TEXT);
    // The stream is taken at construction: unpublishing it afterwards changes nothing.
    capture.environment().setWriterStream(nullptr);
    EXPECT_EQ(text.setMessage("first"), 0);
    EXPECT_EQ(header.setMessage("title"), 0);
    EXPECT_EQ(text.setMessage("second"), 0);

    EXPECT_EQ(recorder.texts, (std::vector<std::string>{"first", "title", "second"}));
    EXPECT_EQ(recorder.types,
              (std::vector<MessageType>{MessageType::TEXT, MessageType::HEADER_TEXT, MessageType::TEXT}));
    EXPECT_EQ(recorder.ids,
              (std::vector<unsigned>{text.getMessageId(), header.getMessageId(), text.getMessageId()}));
    EXPECT_EQ(capture.text(), "");
    WriterStream::destroy(stream);
}

}  // namespace
