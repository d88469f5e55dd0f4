// Constants: the operation kind the library supplies, filled from CONSTANT lines and recorded for the
// result file.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "support/ConfigFiles.h"
#include "support/LogCapture.h"
#include "support/TestCollector.h"
#include "vantrell/config/CONSTANTOperation.h"
#include "vantrell/config/InputMsg.h"
#include "vantrell/config/VRConfigFileParser.h"
#include "vantrell/record/SystemMetadata.h"

namespace {

using pwr::CONSTANTOperation;
using Pairs = CONSTANTOperation::Pairs;

Pairs pairsOf(CONSTANTOperation const& operation) {
    return Pairs(operation.begin(), operation.end());
}

TEST(CONSTANTOperation, KeysAreSetOnceClonesAreIndependentAndTheRecordCarriesThePairs) {
    vrtest::ScopedLogCapture capture(2);
    CONSTANTOperation operation("p_m_CONSTANT");
    EXPECT_EQ(operation.getOperation(), "CONSTANT");
    EXPECT_EQ(operation.set("p_m_b", "2"), 0);
    EXPECT_EQ(operation.set("p_m_a", "1"), 0);
    EXPECT_EQ(operation.set("p_m_b", "3"), -1);
    EXPECT_EQ(capture.text(), "ERROR: key p_m_b already set!\n");
    EXPECT_EQ(pairsOf(operation), (Pairs{{"p_m_b", "2"}, {"p_m_a", "1"}}));

    std::unique_ptr<CONSTANTOperation> copy(static_cast<CONSTANTOperation*>(operation.clone()));
    copy->set("p_m_c", "4");
    EXPECT_EQ(pairsOf(operation).size(), 2u);
    EXPECT_EQ(copy->getName(), "p_m_CONSTANT");

    std::unique_ptr<pwr::OperationMetadata> record(operation.getOperationMetadata());
    const auto* constants = dynamic_cast<pwr::CONSTANTOperationMetadata const*>(record.get());
    ASSERT_NE(constants, nullptr);
    EXPECT_EQ(record->getName() + " " + record->getOperation(), "p_m_CONSTANT CONSTANT");
    EXPECT_EQ(Pairs(constants->begin(), constants->end()), pairsOf(operation));
}

TEST(CONSTANTOperation, ConstantLinesFillOneOperationPerMessageAndARepeatedKeyFailsTheLine) {
    vrtest::ScopedLogCapture capture(2);
    CONSTANTOperation prototype("");
    vrtest::TestCollector collector("constants");
    collector.publish(&prototype);
    pwr::SystemMetadata machine;
    auto& parser = *pwr::VRConfigFileParser::instance();
    const std::string lines =
        "ALL_cap_CAPABILITY_COMMAND-LINE_VALUE=cap\n"
        "ALL_p_m_MSG_READ-WHEN=BEGIN\n"
        "ALL_p_m_CONSTANT_unit= mW \n"
        "ALL_p_m_CONSTANT_scale=1000\n";
    vrtest::ConfigFiles good({lines});
    ASSERT_EQ(parser.parse(good.paths(), {&collector}, machine), 0) << capture.text();
    std::vector<pwr::InputMsg*> messages;
    ASSERT_EQ(parser.getMessagesFor(messages, "FMS=ALL", "p", {"BEGIN"}, pwr::COLLECTION_NORMAL), 0);
    ASSERT_EQ(messages.size(), 1u);
    ASSERT_EQ(messages[0]->getOperations().size(), 1u);
    const auto* filled = dynamic_cast<CONSTANTOperation const*>(messages[0]->getOperations()[0]);
    ASSERT_NE(filled, nullptr);
    EXPECT_EQ(pairsOf(*filled), (Pairs{{"p_m_unit", "mW"}, {"p_m_scale", "1000"}}));

    vrtest::ConfigFiles repeated({lines + "ALL_p_m_CONSTANT_unit=W\n"});
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(parser.parse(repeated.paths(), {&collector}, machine), -1);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "Couldn't add key p_m_unit, value W\nERROR parsing config file " + repeated.paths()[0] + "\n");
    parser.destroy();
}

}  // namespace
