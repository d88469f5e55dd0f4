// How the collection configuration parser fails: the chain of rule names, the words of each fault,
// the statuses, and that nothing crashes or hangs on what users write.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/ConfigParserFixture.h"

namespace {

using vrtest::ConfigParserTest;

std::string chainText(std::vector<char const*> const& chain) {
    std::string text;
    for (char const* rule : chain) {
        text += std::string("WARNING: ERROR calling function \"") + rule + "\"\n";
    }
    return text;
}

struct BadLine {
    std::string before;  // lines that parse, ahead of the bad one
    std::string line;
    std::vector<char const*> chain;  // innermost first; "platformSub", "platformRule" are added
    std::string ownDebug;            // what the failing rules say to the debug logger first
    std::string errors;              // what goes to the error logger
    std::string ownStderr;           // what goes to standard error ahead of the file's failure
};

TEST_F(ConfigParserTest, BadLinesLogTheChainOfRuleNames) {
    const char* kMixed = "\"INIT\" and \"REQUIREMENTS\" messages cannot be mixed with other messages!";
    const std::vector<BadLine> cases = {
        {"", "X_p_m_MSG_ID=abc", {"msgIDValue", "msgID", "msgSub", "tagSub", "metricRule"}, "", "", ""},
        {"", "X_p_m_MSG_ID=", {"msgIDValue", "msgID", "msgSub", "tagSub", "metricRule"}, "", "", ""},
        {"", "X_p_m_MSG_READ-WHEN-MAX=POLL", {"msgSub", "tagSub", "metricRule"}, "", "", ""},
        {"", "X_p_1m_MSG_ID=1", {"tag", "tagSub", "metricRule"}, "", "", ""},
        {"", "X_p__REGISTER_OFFSET=1", {"tag", "tagSub", "metricRule"}, "", "", ""},
        {"",
         "X_p_m_MSG_READ-WHEN=INIT,POLL",
         {"trigger", "triggers", "msgReadWhen", "msgSub", "tagSub", "metricRule"},
         std::string("1ERROR: Trying to add Trigger POLL to message m which already has an \"INIT\" or "
                     "\"REQUIREMENTS\" Trigger; ") +
             kMixed + "\n",
         "",
         ""},
        {"X_p_m_MSG_READ-WHEN=BEGIN,POLL\n",
         "X_p_m_MSG_WRITE-WHEN=END",
         {"trigger", "triggers", "msgWriteWhen", "msgSub", "tagSub", "metricRule"},
         "",
         "",
         "Commands are not compatible!\n"},
        {"",
         "X_p_m_MSG_READ-WHEN=NOTIFIERX=a",
         {"notifierTrigger", "trigger", "triggers", "msgReadWhen", "msgSub", "tagSub", "metricRule"},
         "",
         "",
         ""},
        {"",
         "X_p_m_MSG_READ-WHEN=SOMETIMES",
         {"trigger", "triggers", "msgReadWhen", "msgSub", "tagSub", "metricRule"},
         "",
         "",
         ""},
        {"",
         "X_p_m_MSG_READ-WHICH-CPU=any",
         {"readWriteCPU", "msgReadWhere", "msgSub", "tagSub", "metricRule"},
         "",
         "",
         ""},
        {"",
         "X_p_m_MSG_SOURCE=n",
         {"msgSourceRule", "msgSource", "msgSub", "tagSub", "metricRule"},
         "WARNING: CANNOT source from non-existant msg n!\n",
         "",
         ""},
        {"X_p_a_MSG_READ-WHEN=POLL\n",
         "X_p_g_MSG_GROUP=a",
         {"msgGroupList", "msgGroup", "msgSub", "tagSub", "metricRule"},
         "1ERROR: Msg X_p_g and X_p_a have incompatible read capabilities!\n"
         "WARNING: couldn't append message X_p_a to message X_p_g!\n",
         "",
         ""},
        {"",
         "X_p_g_MSG_GROUP=a,,b",
         {"name", "msgGroupList", "msgGroup", "msgSub", "tagSub", "metricRule"},
         "",
         "",
         ""},
        {"",
         "X_p_m_NOPE_OFFSET=1",
         {"hwMechRule", "tagSub", "metricRule"},
         "",
         "ERROR: unknown collector type NOPE",
         ""},
        {"",
         "CHIPA_x_y_REGISTER_OFFSET_EXTRA=1",
         {"hwCatRule", "tagSub", "metricRule"},
         "",
         "ERROR: unknown hardware category OFFSET_EXTRA for operation REGISTER",
         ""},
        {"X_p_m_REGISTER_OFFSET=1\n",
         "X_p_m_REGISTER_OFFSET=2",
         {"value", "directValue", "tagSub", "metricRule"},
         "WARNING: Couldn't add key OFFSET, value 2 to operation p_m_REGISTER\n",
         "",
         ""},
        {"X_p_m_REGISTER_OFFSET=1\n",
         "X_p_m_MSR_ADDRESS=2",
         {"hwMechRule", "tagSub", "metricRule"},
         "1ERROR: Cannot add operation MSR to message X_p_m because the collectors are different!\n"
         "1ERROR: ERROR creating packet with key = X_p_m_MSR\n",
         "",
         ""},
        {"X_p_m_CONSTANT_k=1\n",
         "X_p_m_CONSTANT_k=2",
         {"constantAnyValue", "constantAny", "constantSub", "tagSub", "metricRule"},
         "",
         "",
         "Couldn't add key p_m_k, value 2\n"},
        {"", "X_p_CAPABILITY_NAME_VALUE=x", {"capSub", "capRule", "metricRule"}, "", "", ""},
        {"",
         "X_p_CAPABILITY_GROUP_OTHER=x",
         {"capSubGroup", "capSub", "capRule", "metricRule"},
         "WARNING: invalid token OTHER; expected \"VALUE\"\n",
         "",
         ""},
        {"",
         "X_p_CAPABILITY_HIDDEN_VALUE=maybe",
         {"capSubHidden", "capSub", "capRule", "metricRule"},
         "",  // its own warning belongs to the area "config-parser", shut below INFO
         "",
         ""},
        {"",
         "X_p_INHERIT_MODE_VALUE=extend",
         {"inheritValue", "inheritMode", "inheritSub", "inheritRule", "metricRule"},
         "",
         "ERROR: Invalid \"inherit\" value extend -- MUST be one of \"OVERRIDE\" or \"EXTEND\"\n",
         ""},
        {"",
         "X_MODEL_FMS_CONSTANT_VALUE=6.85,6",
         {"fmsValue", "fmsValues", "modelFMSRule", "modelRule"},
         "",
         "ERROR: 6 is NOT a valid FMS specifier!",
         ""},
        {"",
         "ALL_MODEL_FMS_CONSTANT_VALUE=6.85",
         {"modelFMSRule", "modelRule"},
         "",
         "ERROR: \"ALL\" is NOT allowed to have \"FMS\" as a model specifier!",
         ""},
        {"", "X_MODEL_FMS_OTHER_VALUE=6.85", {"modelFMSRule", "modelRule"}, "", "", ""},
        {"",
         "X_MODEL_PCI_CONSTANT_VALUE=VENDOR=0,DEVICE=0x1",
         {"pciValue", "modelPCIRule", "modelRule"},
         "",
         "ERROR: Invalid syntax for \"PCI\" model specifier\n",
         ""},
        {"",
         "X_MODEL_PMT_CONSTANT_VALUE=0x12",
         {"PMTValue", "modelPMTRule", "modelRule"},
         "",
         "ERROR: Invalid syntax for \"PMT\" GUID specifier\n",
         ""},
        {"",
         "X_MODEL_cores_CONSTANT_RANGE=5",
         {"modelRangeSub", "modelRange", "modelSpec", "modelOtherRule", "modelRule"},
         "",
         "",
         ""},
        {"",
         "X_MODEL_cores_CONSTANT_RANGE=1,x",
         {"modelRangeSub", "modelRange", "modelSpec", "modelOtherRule", "modelRule"},
         "",
         "",
         ""},
        {"", "X_MODEL_cores_CONSTANT_LIST=1", {"modelSpec", "modelOtherRule", "modelRule"}, "", "", ""},
        {"", "X_MODEL_7_CONSTANT_VALUE=1", {"tag", "modelOtherRule", "modelRule"}, "", "", ""},
    };
    for (BadLine const& bad : cases) {
        SCOPED_TRACE(bad.line);
        ASSERT_EQ(parse({kRootLine + bad.before + bad.line + "\n" + kRootLine}), -1);
        std::string const path = files->paths()[0];
        std::vector<char const*> chain = bad.chain;
        chain.insert(chain.end(), {"platformSub", "platformRule"});
        EXPECT_EQ(capture.debug().text(), bad.ownDebug + chainText(chain) + "1ERROR: ERROR parsing line " +
                                              bad.line + "\n0FATAL: ERROR parsing config file " + path +
                                              "!\n");
        EXPECT_EQ(capture.errors().text(), bad.errors);
        EXPECT_EQ(stderrText, bad.ownStderr + "ERROR parsing config file " + path + "\n");
    }
}

TEST_F(ConfigParserTest, TheParserAreaOpensItsSitesAtAnyVerbosity) {
    capture.environment().addPrefixForDebugLogging("config-parser");
    ASSERT_EQ(parse({"X_p_CAPABILITY_HIDDEN_VALUE=Maybe\n"}), -1);
    std::string const own =
        "INFO: HIDDEN attribute = maybe\nWARNING: invalid value maybe passed to \"HIDDEN\" "
        "attribute; must be one of \"TRUE\" or \"FALSE\"\n";
    EXPECT_EQ(capture.debug().text().substr(0, own.size()), own);
}

TEST_F(ConfigParserTest, AnEmptyPlatformHeadFailsTheFirstRule) {
    for (char const* line : {"-X_p_m_MSG_ID=1", "_p_m_MSG_ID=1"}) {
        SCOPED_TRACE(line);
        ASSERT_EQ(parse({std::string(line) + "\n"}), -1);
        EXPECT_EQ(capture.debug().text(),
                  chainText({"platformHead", "platformRule"}) + "1ERROR: ERROR parsing line " + line +
                      "\n0FATAL: ERROR parsing config file " + files->paths()[0] + "!\n");
    }
}

// Lines that don't split into T0_T1_T2_T3_T4=T5 are refused by the exception path, whatever bytes
// they hold.
TEST_F(ConfigParserTest, LinesThatDontSplitAreCaughtAsExceptions) {
    const std::vector<std::string> lines = {
        "A_B_C_D_E",
        "A_B_C_D=1",
        "A=B_C_D_E_F",
        "=",
        "no underscores here",
        "\x01\x02\xff=",
        std::string("A_B_C\0_D=1", 10),
        std::string(1 << 20, 'x') + "_=",
    };
    for (std::string const& line : lines) {
        SCOPED_TRACE(line.substr(0, 40));
        ASSERT_EQ(parse({line + "\n" + kRootLine}), -1);
        std::string const path = files->paths()[0];
        EXPECT_EQ(capture.debug().text(), "1ERROR: EXCEPTION CAUGHT:ERROR parsing line " + line +
                                              "\n0FATAL: ERROR parsing config file " + path + "!\n");
        EXPECT_EQ(stderrText, "ERROR parsing config file " + path + "\n");
    }
}

TEST_F(ConfigParserTest, FilesThatCantBeReadFailAndStopTheParse) {
    vrtest::ConfigFiles good({kRootLine, "X_p_1m_MSG_ID=1\n"});
    std::string const missing = good.directory() + "/missing.txt";
    EXPECT_EQ(parsePaths({good.paths()[0], missing, good.paths()[1]}), -1);
    EXPECT_EQ(stderrText, "Error opening config file " + missing + "\n");
    EXPECT_EQ(capture.debug().text(), "0FATAL: ERROR parsing config file " + missing + "!\n")
        << "the file behind the missing one isn't read";

    EXPECT_EQ(parsePaths({good.directory()}), -1);
    EXPECT_EQ(stderrText, "ERROR parsing config file " + good.directory() + "\n");
}

TEST_F(ConfigParserTest, TheSanityCheckListsParentsThatWereNeverDefined) {
    struct Case {
        std::vector<std::string> files;
        std::string missing;  // empty: the check passes
    };
    const std::vector<Case> cases = {
        {{"CHIPA_p_CAPABILITY_GROUP_VALUE=g\n"}, "ALL\n"},
        {{"A-B-C_p_m_MSG_ID=1\nA-X_p_m_MSG_ID=1\n", kRootLine}, "A\nA-B\n"},
        {{"A-B_p_m_MSG_ID=1\n", "A_p_m_MSG_ID=1\n", kRootLine}, ""},
        {{"# nothing but a comment\n\n   \t\r\n", "", "\n\n"}, ""},
    };
    for (Case const& each : cases) {
        SCOPED_TRACE(each.missing);
        EXPECT_EQ(parse(each.files), each.missing.empty() ? 0 : -1);
        if (each.missing.empty()) {
            EXPECT_EQ(capture.text(), "");
        } else {
            EXPECT_EQ(capture.debug().text(),
                      "1ERROR: the following \"parent\" platforms have not been defined:\n" + each.missing +
                          "0FATAL: config file parser sanity checks did NOT pass -- config "
                          "files are invalid!\n");
        }
        EXPECT_EQ(stderrText, "");
    }
}

TEST_F(ConfigParserTest, AZeroPciOrPmtIdentityLeavesParseAsACString) {
    struct Case {
        char const* line;
        char const* thrown;
    };
    for (Case const& each : {Case{"X_MODEL_PCI_CONSTANT_VALUE=VENDOR=0x0,DEVICE=0x1",
                                  "Invalid version and/or device passed to PCI specifier"},
                             Case{"X_MODEL_PMT_CONSTANT_VALUE=GUID=0x0",
                                  "Invalid version and/or device passed to PMT specifier"}}) {
        SCOPED_TRACE(each.line);
        vrtest::ConfigFiles file({std::string(each.line) + "\n"});
        char const* thrown = nullptr;
        try {
            parser().parse(file.paths(), collectors, system);
        } catch (char const* text) {
            thrown = text;
        }
        EXPECT_STREQ(thrown, each.thrown);
    }
}

TEST(ConfigParserDeathTest, InheritLinesWithOtherWordsEndInTheAssertion) {
    vrtest::ConfigFiles files({"X_y_INHERIT_OTHER_VALUE=EXTEND\n"});
    vrtest::TestCollector none("none");
    pwr::SystemMetadata system;
    EXPECT_DEATH(pwr::VRConfigFileParser::instance()->parse(files.paths(), {&none}, system),
                 "Assertion failed: match\\(tokens, currToken, \"MODE\"\\)");
}

}  // namespace
