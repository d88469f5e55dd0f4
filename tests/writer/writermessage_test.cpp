#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "vantrell/writer/TextNotes.h"
#include "vantrell/writer/WriterMessage.h"

namespace {

using vrtest::ScopedLogCapture;
using Strings = std::vector<std::string>;

// What constructing a `Message` throws, caught as the plain char* it is documented to be.
template <typename Message>
std::string thrownByConstruction() {
    try {
        Message message;
    } catch (char* text) {
        return text;
    }
    return "nothing thrown";
}

TEST(WriterMessage, IdsAreConsecutiveAndCopiesAreTheSameMessage) {
    pwr::IdMessage a;
    pwr::IdMessage b;
    EXPECT_EQ(b.getMessageId(), a.getMessageId() + 1);
    a.addParentMessage(7);
    a.addParentMessage(7);
    EXPECT_EQ(a.setMetricContainerId(42), 0);
    EXPECT_FALSE(a.isChildOf(8));
    pwr::IdMessage copy(a);
    b = a;
    for (const pwr::IdMessage* same : {&a, &copy, &b}) {
        EXPECT_EQ(same->getMessageId(), a.getMessageId());
        EXPECT_TRUE(same->isChildOf(7));
        EXPECT_EQ(same->getMetricContainerId(), 42u);
    }
    // Copies took no number: the next message follows b's original id.
    pwr::IdMessage next;
    EXPECT_EQ(next.getMessageId(), a.getMessageId() + 2);
    EXPECT_EQ(next.getMetricContainerId(), 0u);
}

TEST(MetricContainerInfoMessage, HeaderIsABannerOfOneRulePerByte) {
    pwr::MetricContainerInfoMessage info;
    const std::pair<std::string, std::string> cases[] = {
        {"ab", "==\nab\n=="}, {"", "\n\n"}, {"\xc3\xa9", "==\n\xc3\xa9\n=="}};
    for (const auto& c : cases) {
        EXPECT_EQ(info.setContainerHeader(c.first), 0);
        EXPECT_EQ(info.getContainerHeader(), c.second);
    }
}

TEST(TextNotes, KeepsPreAndPostNotesApartInOrder) {
    pwr::TextNotes notes;
    Strings out{"untouched"};
    EXPECT_FALSE(notes.getPreTableNotes(out));
    EXPECT_FALSE(notes.getPostTableNotes(out));
    EXPECT_EQ(out, Strings{"untouched"});

    EXPECT_EQ(notes.addPreTableNote("one"), 0);
    EXPECT_EQ(notes.addPreTableNote("two"), 0);
    EXPECT_FALSE(notes.getPostTableNotes(out));
    EXPECT_TRUE(notes.getPreTableNotes(out));
    EXPECT_EQ(out, (Strings{"one", "two"}));  // replaced, not appended

    // A copy is independent of its source.
    pwr::TextNotes copy(notes);
    EXPECT_EQ(copy.addPostTableNote("after"), 0);
    EXPECT_FALSE(notes.getPostTableNotes(out));
    EXPECT_TRUE(copy.getPostTableNotes(out));
    EXPECT_EQ(out, Strings{"after"});
}

TEST(TextMessage, WithoutAStreamTheConstructorThrowsAPlainCString) {
    ScopedLogCapture capture;  // a fresh environment: no writer stream
    EXPECT_EQ(thrownByConstruction<pwr::TextMessage>(), "ERROR: Writer stream is not initialized");
    EXPECT_EQ(thrownByConstruction<pwr::HeaderTextMessage>(), "ERROR: Writer stream is not initialized");
    EXPECT_EQ(capture.text(), "");
}

}  // namespace
