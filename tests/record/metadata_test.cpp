#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "support/RecordBytes.h"
#include "vantrell/record/Metadata.h"
#include "vantrell/record/Serializer.h"

namespace {

using pwr::CollectorMetadata;
using pwr::Metadata;
using pwr::MetricMetadata;
using pwr::MsgMetadata;
using pwr::OperationMetadata;
using pwr::Serializer;
using vrtest::bytesOf;

OperationMetadata* operation(const std::string& name, const std::string& tag) {
    auto* op = new OperationMetadata(name, "CONSTANT", 8);
    op->setOrgMsgTag(tag);
    return op;
}

MsgMetadata sampleMessage() {
    MsgMetadata msg(7, -2, 300);
    msg.setCapName("CSTATE");
    msg.setCapGroups({"residency", "power"});
    msg.setMsgName("CSTATE_CORE");
    msg.addMetaValue(operation("op_a", "TAG_A"));
    msg.addMetaValue(operation("op_b", "TAG_B"));
    msg.setTriggers({"BEGIN", "POLL"});
    msg.setTracepointNames({"tp_1"});
    return msg;
}

// A message record up to its operation count, written by hand: ids 1, 2, 3, no groups.
void beginMessage(Serializer& out, uint16_t operations) {
    out.write_uint32(pwr::MSG_METADATA);
    for (int32_t id : {1, 2, 3}) {
        out.write_int32(id);
    }
    out.write_string("c");
    out.write_count(0);
    out.write_string("m");
    out.write_count(operations);
}

TEST(Metadata, EveryKindReadsBackWhollyAndEveryPrefixFails) {
    vrtest::ScopedLogCapture capture(1);
    MsgMetadata msg = sampleMessage();
    MsgMetadata bare(1, 2, 3);  // no operations, groups, triggers or tracepoints
    bare.setCapName("c");
    bare.setMsgName("m");
    MetricMetadata metric(4, 9);
    metric.addValue("k1", "v1");
    metric.addValue("k1", "repeated keys stay");
    CollectorMetadata collector("kestrel");
    collector.addValue("rate", "100");
    // Read whole and every prefix failing means the reader takes exactly the bytes written.
    for (const Metadata* record : std::vector<const Metadata*>{&msg, &bare, &metric, &collector}) {
        SCOPED_TRACE(record->getType());
        std::vector<char> bytes = bytesOf(*record);
        auto back = vrtest::readRecord(bytes);
        ASSERT_NE(back, nullptr);
        EXPECT_EQ(bytesOf(*back), bytes) << "writing again gives the same bytes";
        for (size_t length = 0; length < bytes.size(); ++length) {
            EXPECT_EQ(vrtest::readRecord(bytes, length), nullptr) << length;
        }
    }
    EXPECT_EQ(capture.text(), "") << "a cut message says nothing";

    std::ostringstream text;
    text << msg << metric << collector;
    EXPECT_EQ(text.str(),
              "Msg Metadata Plugin ID: 7\nMsg Metadata Metric ID: -2\nMsg Metadata MSG ID: 300\n"
              "Msg Metadata Switch name: CSTATE\nMsg Metadata group names: power residency\n"
              "Msg Metadata Msg name: CSTATE_CORE\n"
              "\tOperation Meta: Name = op_a, Operation = CONSTANT, Size = 8, Org msg tag = TAG_A\n"
              "\tOperation Meta: Name = op_b, Operation = CONSTANT, Size = 8, Org msg tag = TAG_B\n"
              "Msg Metadata triggers: \tBEGIN\tPOLL\n"
              "Metric Metadata plugin ID: 4\nMetric Metadata metric ID: 9\n"
              "\tMetric Metadata payload[0]: key = k1, value = v1\n"
              "\tMetric Metadata payload[1]: key = k1, value = repeated keys stay\n"
              "Collector Meta: Name = kestrel\n\tCollector Metadata payload[0]: key = rate, value = 100\n");
}

TEST(Metadata, EnvelopeIsTagThenBody) {
    std::vector<char> expected = {3,   0,   0,   0,   1,   0, 'n', 8, 0, 'C', 'O', 'N',
                                  'S', 'T', 'A', 'N', 'T', 4, 3,   2, 1, 1,   0,   't'};
    OperationMetadata op("n", "CONSTANT", 0x01020304);
    op.setOrgMsgTag("t");
    EXPECT_EQ(bytesOf(op), expected);
}

TEST(Metadata, UnknownTagsAndShortEnvelopesGiveNull) {
    for (uint32_t tag : {5u, 6u, 0xffffffffu}) {
        Serializer out;
        out.write_uint32(tag);
        out.write_uint32(0);
        testing::internal::CaptureStderr();
        EXPECT_EQ(vrtest::readRecord(out.get_buffer()), nullptr);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "ERROR: unsupported Metadata Data Type " + std::to_string(tag) + "\n");
    }
    testing::internal::CaptureStderr();
    for (size_t length = 0; length < 4; ++length) {
        EXPECT_EQ(vrtest::readRecord(std::vector<char>(length, 0)), nullptr);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(Metadata, EmptyRequiredTextsFailTheRecord) {
    for (void (*spoil)(MsgMetadata&) : {
             +[](MsgMetadata& m) { m.setCapName(""); },
             +[](MsgMetadata& m) { m.setMsgName(""); },
             +[](MsgMetadata& m) {
                 m.setCapGroups({"", "x"});
             },
             +[](MsgMetadata& m) { m.setTriggers({""}); },
             +[](MsgMetadata& m) { m.setTracepointNames({""}); },
         }) {
        MsgMetadata msg = sampleMessage();
        spoil(msg);
        EXPECT_EQ(vrtest::readRecord(bytesOf(msg)), nullptr);
    }
    EXPECT_EQ(vrtest::readRecord(bytesOf(OperationMetadata("", "MSR", 4))), nullptr);
    EXPECT_EQ(vrtest::readRecord(bytesOf(CollectorMetadata(""))), nullptr);
    MetricMetadata metric(1, 2);
    metric.addValue("k", "");
    EXPECT_EQ(vrtest::readRecord(bytesOf(metric)), nullptr);
}

TEST(Metadata, MessageKeepsOnlyNestedOperations) {
    // A collector record in the operation list is read past and dropped; the fields behind still read.
    Serializer out;
    beginMessage(out, 2);
    CollectorMetadata("stranger").serialize(out);
    std::unique_ptr<OperationMetadata>(operation("op", "T"))->serialize(out);
    out.write_strings(std::vector<std::string>{"END"});
    out.write_count(0);
    auto back = vrtest::readRecord(out.get_buffer());
    ASSERT_NE(back, nullptr);
    auto& msg = dynamic_cast<MsgMetadata&>(*back);
    ASSERT_EQ(msg.getMetaValues().size(), 1u);
    EXPECT_EQ(msg.getMetaValues()[0]->getName(), "op");
    EXPECT_EQ(msg.getTriggers(), (pwr::PWSet<std::string>{"END"}));
}

TEST(Metadata, NestedMessagesBeyondTheBoundFail) {
    // Each level is a message whose single operation is the next message.
    auto nested = [](unsigned levels) {
        Serializer out;
        for (unsigned i = 0; i < levels; ++i) {
            beginMessage(out, i + 1 < levels ? 1 : 0);
        }
        for (unsigned i = 0; i < 2 * levels; ++i) {
            out.write_count(0);  // triggers and tracepoints
        }
        return out.get_buffer();
    };
    vrtest::ScopedLogCapture capture(1);
    EXPECT_NE(vrtest::readRecord(nested(Metadata::kMaxNesting)), nullptr);
    EXPECT_EQ(capture.text(), "");
    EXPECT_EQ(vrtest::readRecord(nested(Metadata::kMaxNesting + 1)), nullptr);
    EXPECT_EQ(capture.text(), "ERROR: Metadata records nested deeper than 32 -- giving up\n");
    EXPECT_EQ(vrtest::readRecord(nested(100000)), nullptr) << "a deep file must not exhaust the stack";
}

TEST(Metadata, OperationTagIsOptional) {
    std::vector<char> bytes = bytesOf(OperationMetadata("name", "MSR", 4));
    for (size_t length : {bytes.size() - 2, bytes.size()}) {  // without the tag's length field, or empty
        SCOPED_TRACE(length);
        vrtest::ScopedLogCapture capture(3);
        auto back = vrtest::readRecord(bytes, length);
        ASSERT_NE(back, nullptr);
        EXPECT_EQ(bytesOf(*back), bytes);
        EXPECT_EQ(capture.text(), "WARNING: couldn't extract org msg tag!\n");
    }
    for (size_t length = 0; length < bytes.size() - 2; ++length) {
        EXPECT_EQ(vrtest::readRecord(bytes, length), nullptr) << length;
    }
    vrtest::ScopedLogCapture capture(3);
    std::unique_ptr<OperationMetadata> tagged(operation("name", "TAG"));
    ASSERT_NE(vrtest::readRecord(bytesOf(*tagged)), nullptr);
    EXPECT_EQ(capture.text(), "3DEBUG: OK, read org msg tag = TAG\n");
}

// Every prefix of a record with one pair "k" => "v" fails; `cuts` gives, in order, the length up to which
// each warning is logged.
void expectCuts(const Metadata& record, const std::string& kind,
                const std::vector<std::pair<size_t, const char*>>& cuts) {
    std::vector<char> bytes = bytesOf(record);
    ASSERT_EQ(cuts.back().first, bytes.size());
    size_t next = 0;
    for (size_t length = 0; length < bytes.size(); ++length) {
        SCOPED_TRACE(length);
        next += cuts[next].first <= length ? 1 : 0;
        vrtest::ScopedLogCapture capture(2);
        EXPECT_EQ(vrtest::readRecord(bytes, length), nullptr);
        EXPECT_EQ(capture.text(), length < 4 ? ""
                                             : std::string("WARNING: ERROR reading ") + cuts[next].second +
                                                   " while deserializing " + kind + " metadata message!\n");
    }
}

TEST(Metadata, TruncatedFreeFormRecordsNameWhatIsMissing) {
    MetricMetadata metric(1, 2);
    metric.addValue("k", "v");
    expectCuts(metric, "metric",
               {{8, "plugin ID"}, {12, "metric ID"}, {14, "map size"}, {17, "key"}, {20, "value"}});
    CollectorMetadata collector("c");
    collector.addValue("k", "v");
    expectCuts(collector, "collector", {{7, "name"}, {9, "map size"}, {12, "key"}, {15, "value"}});
}

TEST(Metadata, MovedMessageOwnsItsOperationsOnce) {
    MsgMetadata first = sampleMessage();
    MsgMetadata second(std::move(first));
    EXPECT_TRUE(first.getMetaValues().empty());  // NOLINT(bugprone-use-after-move)
    MsgMetadata third(0, 0, 0);
    third.addMetaValue(operation("gone", ""));
    third = std::move(second);
    EXPECT_TRUE(second.getMetaValues().empty());  // NOLINT(bugprone-use-after-move)
    ASSERT_EQ(third.getMetaValues().size(), 2u);
    EXPECT_EQ(third.getMetaValues()[0]->getName(), "op_a");
    third.addMetaValue(nullptr);
    EXPECT_EQ(third.getMetaValues().size(), 2u);
}

}  // namespace
