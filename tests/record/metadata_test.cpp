#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "vantrell/record/Metadata.h"
#include "vantrell/record/Serializer.h"

namespace {

using pwr::CollectorMetadata;
using pwr::Metadata;
using pwr::MetricMetadata;
using pwr::MsgMetadata;
using pwr::OperationMetadata;
using pwr::Serializer;

std::vector<char> bytesOf(const Metadata& record) {
    Serializer out;
    record.serialize(out);
    return out.get_buffer();
}

std::vector<char> bytesOf(Serializer out) {
    return out.get_buffer();
}

// Reads one record from `bytes`; `consumed` tells how far the reader got.
std::unique_ptr<Metadata> readBack(const std::vector<char>& bytes, size_t* consumed = nullptr) {
    Serializer in(bytes);
    std::unique_ptr<Metadata> record(Metadata::deserialize(in, 0));
    if (consumed != nullptr) {
        *consumed = 0;
        char byte = 0;
        while (in.read_from(&byte, 1) == 1) {
            ++*consumed;
        }
        *consumed = bytes.size() - *consumed;
    }
    return record;
}

std::vector<char> prefix(const std::vector<char>& bytes, size_t length) {
    return std::vector<char>(bytes.begin(), bytes.begin() + static_cast<long>(length));
}

std::unique_ptr<OperationMetadata> operation(const std::string& name, const std::string& tag) {
    auto op = std::make_unique<OperationMetadata>(name, "CONSTANT", 8);
    op->setOrgMsgTag(tag);
    return op;
}

MsgMetadata sampleMessage() {
    MsgMetadata msg(7, -2, 300);
    msg.setCapName("CSTATE");
    msg.setCapGroups({"residency", "power"});
    msg.setMsgName("CSTATE_CORE");
    msg.addMetaValue(operation("op_a", "TAG_A").release());
    msg.addMetaValue(operation("op_b", "TAG_B").release());
    msg.setTriggers({"BEGIN", "POLL"});
    msg.setTracepointNames({"tp_1"});
    return msg;
}

TEST(Metadata, EveryKindReadsBackEqualAndWholly) {
    vrtest::ScopedLogCapture capture(4);
    MsgMetadata msg = sampleMessage();
    MetricMetadata metric(4, 9);
    metric.addValue("k1", "v1");
    metric.addValue("k1", "repeated keys stay");
    CollectorMetadata collector("kestrel");
    collector.addValue("rate", "100");
    const Metadata* records[] = {&msg, &metric, &collector};

    for (const Metadata* record : records) {
        SCOPED_TRACE(record->getType());
        std::vector<char> bytes = bytesOf(*record);
        size_t consumed = 0;
        std::unique_ptr<Metadata> back = readBack(bytes, &consumed);
        ASSERT_NE(back, nullptr);
        EXPECT_EQ(consumed, bytes.size());
        EXPECT_EQ(back->getType(), record->getType());
        EXPECT_EQ(back->getPluginID(), record->getPluginID());
        EXPECT_EQ(bytesOf(*back), bytes) << "writing again gives the same bytes";
    }

    // The bytes written again prove every field; these show that the getters see them.
    auto msgBack = readBack(bytesOf(msg));
    auto& m = dynamic_cast<MsgMetadata&>(*msgBack);
    EXPECT_EQ(m.getCapGroups(), (pwr::PWSet<std::string>{"power", "residency"}));
    ASSERT_EQ(m.getMetaValues().size(), 2u);
    EXPECT_EQ(m.getMetaValues()[1]->getOrgMsgTag(), "TAG_B");
    auto metricBack = readBack(bytesOf(metric));
    EXPECT_EQ(dynamic_cast<MetricMetadata&>(*metricBack).getValues(), metric.getValues());
    auto collectorBack = readBack(bytesOf(collector));
    EXPECT_EQ(collectorBack->getPluginID(), -1);
}

TEST(Metadata, EnvelopeIsTagThenBody) {
    OperationMetadata op("n", "CONSTANT", 0x01020304);
    op.setOrgMsgTag("t");
    std::vector<char> expected = {3,   0,   0,   0,   1,   0, 'n', 8, 0, 'C', 'O', 'N',
                                  'S', 'T', 'A', 'N', 'T', 4, 3,   2, 1, 1,   0,   't'};
    EXPECT_EQ(bytesOf(op), expected);
}

TEST(Metadata, UnknownTagsAndShortEnvelopesGiveNull) {
    for (uint32_t tag : {5u, 6u, 0xffffffffu}) {
        Serializer out;
        out.write_uint32(tag);
        out.write_uint32(0);
        testing::internal::CaptureStderr();
        EXPECT_EQ(readBack(bytesOf(out)), nullptr);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "ERROR: unsupported Metadata Data Type " + std::to_string(tag) + "\n");
    }
    for (size_t length = 0; length < 4; ++length) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(readBack(std::vector<char>(length, 0)), nullptr);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    }
}

TEST(Metadata, EveryTruncatedMessageFailsSilently) {
    std::vector<char> bytes = bytesOf(sampleMessage());
    for (size_t length = 0; length < bytes.size(); ++length) {
        SCOPED_TRACE(length);
        vrtest::ScopedLogCapture capture(2);
        EXPECT_EQ(readBack(prefix(bytes, length)), nullptr);
        // Only a nested operation cut behind its size speaks (the tag came later); the message fails.
        EXPECT_EQ(capture.errors().text(), "");
    }
}

TEST(Metadata, MessageWithoutOperationsOrSetsReadsBack) {
    MsgMetadata msg(1, 2, 3);
    msg.setCapName("c");
    msg.setMsgName("m");
    std::vector<char> bytes = bytesOf(msg);
    EXPECT_EQ(bytes.size(), 4u + 12 + 3 + 2 + 3 + 2 + 2 + 2);
    auto back = readBack(bytes);
    ASSERT_NE(back, nullptr);
    EXPECT_TRUE(dynamic_cast<MsgMetadata&>(*back).getMetaValues().empty());
    EXPECT_EQ(bytesOf(*back), bytes);
}

TEST(Metadata, EmptyRequiredTextsFailAMessage) {
    struct Case {
        const char* what;
        void (*spoil)(MsgMetadata&);
    } cases[] = {
        {"capName", [](MsgMetadata& m) { m.setCapName(""); }},
        {"msgName", [](MsgMetadata& m) { m.setMsgName(""); }},
        {"capGroups",
         [](MsgMetadata& m) {
             m.setCapGroups({"", "x"});
         }},
        {"triggers", [](MsgMetadata& m) { m.setTriggers({""}); }},
        {"tracepointNames", [](MsgMetadata& m) { m.setTracepointNames({""}); }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        MsgMetadata msg = sampleMessage();
        c.spoil(msg);
        EXPECT_EQ(readBack(bytesOf(msg)), nullptr);
    }
}

TEST(Metadata, MessageKeepsOnlyNestedOperations) {
    // A message whose operation list holds a collector record and an operation: the collector record
    // is read past and dropped, the operation kept, and the fields behind still read.
    Serializer out;
    out.write_uint32(0);
    for (int32_t id : {1, 2, 3}) {
        out.write_int32(id);
    }
    out.write_string("cap");
    out.write_count(0);
    out.write_string("msg");
    out.write_count(2);
    CollectorMetadata("stranger").serialize(out);
    operation("op", "T")->serialize(out);
    out.write_strings(std::vector<std::string>{"END"});
    out.write_count(0);
    auto back = readBack(bytesOf(out));
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
            out.write_uint32(0);
            for (int32_t id : {1, 2, 3}) {
                out.write_int32(id);
            }
            out.write_string("c");
            out.write_count(0);
            out.write_string("m");
            out.write_count(i + 1 < levels ? 1 : 0);
        }
        for (unsigned i = 0; i < levels; ++i) {
            out.write_count(0);
            out.write_count(0);
        }
        return bytesOf(out);
    };
    vrtest::ScopedLogCapture capture(1);
    EXPECT_NE(readBack(nested(Metadata::kMaxNesting)), nullptr);
    EXPECT_EQ(capture.errors().text(), "");
    EXPECT_EQ(readBack(nested(Metadata::kMaxNesting + 1)), nullptr);
    EXPECT_EQ(capture.errors().text(), "ERROR: Metadata records nested deeper than 32 -- giving up\n");
    EXPECT_EQ(readBack(nested(100000)), nullptr) << "a deep file must not exhaust the stack";
}

TEST(Metadata, OperationTagIsOptional) {
    OperationMetadata op("name", "MSR", 4);
    std::vector<char> withoutTag = bytesOf(op);
    withoutTag.resize(withoutTag.size() - 2);  // the empty tag's length field

    for (const auto& bytes : {withoutTag, bytesOf(op)}) {
        vrtest::ScopedLogCapture capture(3);
        auto back = readBack(bytes);
        ASSERT_NE(back, nullptr);
        auto& read = dynamic_cast<OperationMetadata&>(*back);
        EXPECT_EQ(read.getName(), "name");
        EXPECT_EQ(read.getOperation(), "MSR");
        EXPECT_EQ(read.getSize(), 4u);
        EXPECT_EQ(read.getOrgMsgTag(), "");
        EXPECT_EQ(capture.debug().text(), "WARNING: couldn't extract org msg tag!\n");
    }

    op.setOrgMsgTag("TAG");
    vrtest::ScopedLogCapture capture(3);
    ASSERT_NE(readBack(bytesOf(op)), nullptr);
    EXPECT_EQ(capture.debug().text(), "3DEBUG: OK, read org msg tag = TAG\n");

    std::vector<char> bytes = bytesOf(OperationMetadata("name", "MSR", 4));
    for (size_t length = 0; length < bytes.size() - 2; ++length) {
        SCOPED_TRACE(length);
        EXPECT_EQ(readBack(prefix(bytes, length)), nullptr);
    }
    OperationMetadata noName("", "MSR", 4);
    EXPECT_EQ(readBack(bytesOf(noName)), nullptr);
}

// Cut positions and the warning each must give, for a record with one pair "k" => "v".
struct Cut {
    size_t length;
    const char* warning;
};

void expectCuts(const Metadata& record, const std::vector<Cut>& cuts) {
    std::vector<char> bytes = bytesOf(record);
    ASSERT_EQ(cuts.back().length, bytes.size());
    size_t next = 0;
    for (size_t length = 0; length < bytes.size(); ++length) {
        while (cuts[next].length <= length) {
            ++next;
        }
        SCOPED_TRACE(length);
        vrtest::ScopedLogCapture capture(2);
        EXPECT_EQ(readBack(prefix(bytes, length)), nullptr);
        EXPECT_EQ(capture.debug().text(), length < 4 ? "" : cuts[next].warning);
    }
}

TEST(Metadata, TruncatedFreeFormRecordsNameWhatIsMissing) {
    MetricMetadata metric(1, 2);
    metric.addValue("k", "v");
    expectCuts(metric,
               {{8, "WARNING: ERROR reading plugin ID while deserializing metric metadata message!\n"},
                {12, "WARNING: ERROR reading metric ID while deserializing metric metadata message!\n"},
                {14, "WARNING: ERROR reading map size while deserializing metric metadata message!\n"},
                {17, "WARNING: ERROR reading key while deserializing metric metadata message!\n"},
                {20, "WARNING: ERROR reading value while deserializing metric metadata message!\n"}});

    CollectorMetadata collector("c");
    collector.addValue("k", "v");
    expectCuts(collector,
               {{7, "WARNING: ERROR reading name while deserializing collector metadata message!\n"},
                {9, "WARNING: ERROR reading map size while deserializing collector metadata message!\n"},
                {12, "WARNING: ERROR reading key while deserializing collector metadata message!\n"},
                {15, "WARNING: ERROR reading value while deserializing collector metadata message!\n"}});

    vrtest::ScopedLogCapture capture(2);
    MetricMetadata emptyValue(1, 2);
    emptyValue.addValue("k", "");
    EXPECT_EQ(readBack(bytesOf(emptyValue)), nullptr);
    EXPECT_EQ(capture.debug().text(),
              "WARNING: ERROR reading value while deserializing metric metadata message!\n");
    EXPECT_EQ(readBack(bytesOf(CollectorMetadata(""))), nullptr);
}

TEST(Metadata, DumpForms) {
    std::ostringstream text;
    text << sampleMessage();
    EXPECT_EQ(text.str(),
              "Msg Metadata Plugin ID: 7\n"
              "Msg Metadata Metric ID: -2\n"
              "Msg Metadata MSG ID: 300\n"
              "Msg Metadata Switch name: CSTATE\n"
              "Msg Metadata group names: power residency\n"
              "Msg Metadata Msg name: CSTATE_CORE\n"
              "\tOperation Meta: Name = op_a, Operation = CONSTANT, Size = 8, Org msg tag = TAG_A\n"
              "\tOperation Meta: Name = op_b, Operation = CONSTANT, Size = 8, Org msg tag = TAG_B\n"
              "Msg Metadata triggers: \tBEGIN\tPOLL\n");

    MetricMetadata metric(4, 9);
    metric.addValue("a", "1");
    metric.addValue("b", "2");
    text.str("");
    text << metric;
    EXPECT_EQ(text.str(),
              "Metric Metadata plugin ID: 4\n"
              "Metric Metadata metric ID: 9\n"
              "\tMetric Metadata payload[0]: key = a, value = 1\n"
              "\tMetric Metadata payload[1]: key = b, value = 2\n");

    CollectorMetadata collector("kestrel");
    collector.addValue("rate", "100");
    text.str("");
    text << collector;
    EXPECT_EQ(text.str(),
              "Collector Meta: Name = kestrel\n"
              "\tCollector Metadata payload[0]: key = rate, value = 100\n");
}

TEST(Metadata, MovedMessageOwnsItsOperationsOnce) {
    MsgMetadata first = sampleMessage();
    MsgMetadata second(std::move(first));
    EXPECT_TRUE(first.getMetaValues().empty());
    ASSERT_EQ(second.getMetaValues().size(), 2u);
    MsgMetadata third(0, 0, 0);
    third.addMetaValue(operation("gone", "").release());
    third = std::move(second);
    EXPECT_EQ(third.getMetaValues()[0]->getName(), "op_a");
    third.addMetaValue(nullptr);
    EXPECT_EQ(third.getMetaValues().size(), 2u);
}

}  // namespace
