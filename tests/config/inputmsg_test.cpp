// Input messages on their own: the trigger vocabulary, the one-command rule, the exclusive triggers,
// and the names derived from the prefix.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "support/TestCollector.h"
#include "vantrell/config/InputMsg.h"

namespace {

using pwr::InputMsg;

TEST(InputMsg, TriggerWordsMapToMasksAndCpuStringsToNumbers) {
    EXPECT_EQ(pwr::getTriggerMask({"BEGIN", "POLL", "END"}), 19);
    EXPECT_EQ(pwr::getTriggerMask({"INIT"}), 16);
    EXPECT_EQ(pwr::getTriggerMask({}), 0);
    EXPECT_EQ(pwr::getTriggerMask({"NOTIFIER", "TRACEPOINT"}), 12);
    for (auto const& each : std::vector<std::pair<char const*, int>>{
             {"ALL", -2}, {"ANY", -1}, {"3", 3}, {"0x10", 16}, {"x3", -3}, {"any", -3}}) {
        EXPECT_EQ(pwr::getCPUMaskFromString(each.first), each.second) << each.first;
    }
}

TEST(InputMsg, NamesComeFromThePlatformPrefix) {
    InputMsg message("tmp", "CHIPA_thermal");
    EXPECT_EQ(message.getFullName(), "CHIPA_thermal_tmp");
    EXPECT_EQ(message.getPlatformName(), "CHIPA");
    EXPECT_EQ(message.getConfigfilePrefix(), "thermal");
    EXPECT_EQ(message.getCPUString(), "ANY");
    EXPECT_EQ(message.getCommand(), pwr::VR_OP_NOT_SET);
    message.setPlatformPrefix("___");
    EXPECT_EQ(message.getConfigfilePrefix(), "<N/A>");
    EXPECT_EQ(message.getPlatformName(), "CHIPA") << "kept when the prefix isn't of the form";
    EXPECT_EQ(InputMsg("m").getConfigfilePrefix(), "<N/A>");
    EXPECT_EQ(message.setCPUString("any"), -1);
    EXPECT_EQ(message.setCPUString("7"), 0);
    EXPECT_EQ(message.getCPUString(), "7");
}

TEST(InputMsg, OneCommandAndExclusiveTriggersStandAlone) {
    vrtest::ScopedLogCapture capture(1);
    InputMsg reader("r");
    EXPECT_EQ(reader.addReadTrigger("BEGIN"), 0);
    EXPECT_EQ(reader.addWriteTrigger("END"), -1) << "the first trigger settled the command";
    EXPECT_EQ(reader.addReadTrigger("INIT"), -1);

    InputMsg init("i");
    EXPECT_EQ(init.addReadTrigger("INIT"), 0);
    EXPECT_EQ(init.addReadTrigger("INIT"), 0);
    EXPECT_EQ(init.addReadTrigger("POLL"), -1);
    InputMsg fini("f");
    EXPECT_EQ(fini.addReadTrigger("FINI"), 0);
    EXPECT_EQ(fini.addReadTrigger("INIT"), -1);
    EXPECT_EQ(
        capture.debug().text(),
        "1ERROR: Trying to add Trigger INIT to message r which already has other triggers; \"INIT\", "
        "\"FINI\" "
        "and \"REQUIREMENTS\" messages CANNOT be mixed with other messages!\n"
        "1ERROR: Trying to add Trigger POLL to message i which already has an \"INIT\" or \"REQUIREMENTS\" "
        "Trigger; \"INIT\" and \"REQUIREMENTS\" messages cannot be mixed with other messages!\n"
        "1ERROR: Trying to add Trigger INIT to message f which already has other triggers; \"INIT\", "
        "\"FINI\" "
        "and \"REQUIREMENTS\" messages CANNOT be mixed with other messages!\n");

    InputMsg readOnly("w");
    readOnly.addOperation(new vrtest::TestOperation("REGISTER", {}));
    EXPECT_EQ(readOnly.addWriteTrigger("BEGIN"), -1) << "an operation that can't write refuses";
    EXPECT_EQ(readOnly.getTriggers().size(), 0u);
}

TEST(InputMsg, SetTriggerChoosesTheGroupAndFallsBack) {
    InputMsg message("m");
    message.addReadTrigger("POLL");
    message.setTrigger(true, false);
    EXPECT_TRUE(message.getTriggers().empty());
    message.setTrigger(true, true);
    EXPECT_EQ(message.getTriggers(), (pwr::PWSet<std::string>{"POLL"}));
}

}  // namespace
