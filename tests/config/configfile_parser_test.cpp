// What the collection configuration parser makes of whole files, as the host and the plug-ins see
// it through the queries: platforms, capabilities, messages with their triggers and operations.

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "support/ConfigParserFixture.h"
#include "vantrell/config/ConfigCap.h"

namespace {

using Pairs = vrtest::TestOperation::Pairs;
using Strings = std::vector<std::string>;
using vrtest::ConfigParserTest;

std::string join(Strings const& lines) {
    std::string text;
    for (std::string const& line : lines) {
        text += line + "\n";
    }
    return text;
}

Strings namesOf(std::vector<pwr::InputMsg*> const& messages) {
    Strings names;
    for (pwr::InputMsg const* message : messages) {
        names.push_back(message->getFullName());
    }
    return names;
}

TEST_F(ConfigParserTest, TheLanguageExampleParses) {
    ASSERT_EQ(
        parse({join({"# recognise the platform and describe a feature",
                     "CHIPA_MODEL_FMS_CONSTANT_VALUE=6.85,6.86.4",
                     "ALL_thermal_CAPABILITY_COMMAND-LINE_VALUE=thermal",
                     "ALL_thermal_CAPABILITY_HELP-STRING_VALUE=Temperature of the package",
                     "CHIPA_thermal_tmp_MSG_READ-WHEN=BEGIN,POLL", "CHIPA_thermal_tmp_MSG_READ-WHICH-CPU=ANY",
                     "CHIPA_thermal_tmp_REGISTER_OFFSET=0x19c"})}),
        0);
    EXPECT_EQ(capture.text() + stderrText, "");

    std::string name;
    for (auto const& fact : std::vector<std::pair<std::string, std::string>>{
             {"6.86.4", "CHIPA"}, {"6.85.9", "CHIPA"}, {"6.86.5", ""}, {"6.87", ""}}) {
        EXPECT_EQ(parser().getPlatformName(name, {"FMS", fact.first}), 0);
        EXPECT_EQ(name, fact.second) << fact.first;
    }

    std::vector<pwr::ConfigCap const*> caps;
    ASSERT_EQ(parser().getCapabilitiesFor(caps, "FMS=CHIPA"), 0);
    ASSERT_EQ(caps.size(), 1u);
    EXPECT_EQ(caps[0]->getName(), "thermal");
    EXPECT_EQ(caps[0]->getDescription(), "Temperature of the package");
    EXPECT_EQ(caps[0]->getConfigfilePrefix(), "thermal");

    std::vector<pwr::InputMsg*> messages = messagesFor("FMS=CHIPA", "thermal", {"BEGIN", "POLL", "END"});
    ASSERT_EQ(namesOf(messages), (Strings{"CHIPA_thermal_tmp", "CHIPA_thermal_tmp"}))
        << "once per wanted trigger";
    pwr::InputMsg* tmp = messages[0];
    EXPECT_EQ(tmp->getMsgID(), 1);
    EXPECT_EQ(tmp->getCPUString(), "ANY");
    EXPECT_EQ(tmp->getConfigfilePrefix(), "thermal");
    EXPECT_EQ(tmp->getOperations().at(0)->getName(), "thermal_tmp_REGISTER");
    EXPECT_EQ(valuesOf(tmp), (Pairs{{"OFFSET", "0x19c"}}));
    EXPECT_TRUE(parser().isPlatformPrefixSupported("FMS=CHIPA", "thermal"));
    EXPECT_FALSE(parser().isPlatformPrefixSupported("FMS=CHIPA", "power"));

    std::vector<std::pair<std::string, std::string>> results;
    EXPECT_EQ(tmp->execute(results), 0);
    EXPECT_EQ(hw.calls, Strings{"readMsg tmp"});
    EXPECT_EQ(results, (Pairs{{"thermal_tmp_REGISTER", "REGISTER"}}));
}

TEST_F(ConfigParserTest, ValuesAreCutTrimmedAndKeptWhole) {
    struct Case {
        std::string text;
        std::string value;
    };
    const std::vector<Case> cases = {
        {"X_y_z_REGISTER_OFFSET=1 # note", "1"},
        {"X_y_z_REGISTER_OFFSET=\t 2 \r", "2"},
        {"X_y_z_REGISTER_OFFSET=a=b_c#d=e", "a=b_c"},
        {"X_y_z_REGISTER_OFFSET=", ""},
        {std::string("X_y_z_REGISTER_OFFSET=a\0b", 25), std::string("a\0b", 3)},
        {"X_y_z_REGISTER_OFFSET=" + std::string(1 << 20, '7'), std::string(1 << 20, '7')},
    };
    for (Case const& each : cases) {
        SCOPED_TRACE(each.value.substr(0, 20));
        // The last line ends without a newline.
        ASSERT_EQ(parse({kRootLine + std::string("X_y_z_MSG_READ-WHEN=POLL\n") + each.text}), 0);
        std::vector<pwr::InputMsg*> messages = messagesFor("FMS=X", "y");
        ASSERT_EQ(messages.size(), 1u);
        EXPECT_EQ(valuesOf(messages[0]), (Pairs{{"OFFSET", each.value}}));
    }
}

TEST_F(ConfigParserTest, ParsingAgainReplacesEverythingAndDestroyAnnouncesEachPlatform) {
    ASSERT_EQ(
        parse({kRootLine + std::string("CHIPA_MODEL_FMS_CONSTANT_VALUE=6.85\nCHIPA_p_m_MSG_READ-WHEN=POLL\n"
                                       "CHIPA_p_m_REGISTER_OFFSET=1\n")}),
        0);
    ASSERT_EQ(parse({kRootLine + std::string("CHIPB_MODEL_FMS_CONSTANT_VALUE=6.86\n")}), 0);
    std::string name;
    parser().getPlatformName(name, {"FMS", "6.85"});
    EXPECT_EQ(name, "");
    std::vector<pwr::InputMsg*> messages;
    EXPECT_EQ(parser().getMessagesFor(messages, "FMS=CHIPA", "p", {"POLL"}, pwr::COLLECTION_NORMAL), -1);
    capture.environment().setVerbosity(3);
    capture.clear();
    parser().destroy();
    EXPECT_EQ(capture.debug().text(), "3DEBUG: Deleting platform ALL\n3DEBUG: Deleting platform CHIPB\n");
    parser().destroy();
    parser().getPlatformName(name, {"FMS", "6.86"});
    EXPECT_EQ(name, "") << "no state after destroy";
}

TEST_F(ConfigParserTest, TheCatalogueKeepsTheLastAvailableProvider) {
    vrtest::TestOperation available{"REGISTER", {"OFFSET"}};
    vrtest::TestOperation unavailable{"REGISTER", {"OFFSET"}};
    unavailable.addRequirement(&never);
    vrtest::TestCollector first("first"), second("second"), absent("absent");
    first.publish(&available);
    second.publish(&available);
    absent.publish(&unavailable);
    struct Case {
        std::vector<CollectorPlugin*> order;
        vrtest::TestCollector* reader;  // null: the message has no operation
    };
    for (Case const& each : {Case{{&first, &absent}, &first}, Case{{&absent, &first}, &first},
                             Case{{&first, &second}, &second}, Case{{&absent}, nullptr}}) {
        first.calls.clear();
        second.calls.clear();
        collectors = each.order;
        ASSERT_EQ(parse({kRootLine + std::string("X_p_m_MSG_READ-WHEN=POLL\nX_p_m_REGISTER_OFFSET=1\n")}), 0);
        std::vector<pwr::InputMsg*> messages = messagesFor("FMS=X", "p");
        ASSERT_EQ(messages.size(), each.reader == nullptr ? 0u : 1u);
        if (each.reader != nullptr) {
            std::vector<std::pair<std::string, std::string>> results;
            messages[0]->execute(results);
            EXPECT_EQ(each.reader->calls, Strings{"readMsg m"});
        }
    }
    capture.environment().setVerbosity(4);
    collectors = {&first, &absent};
    parse({kRootLine});
    EXPECT_EQ(
        capture.debug().text(),
        "3DEBUG: Deleting platform ALL\n"
        "3DEBUG: Deleting platform X\n"
        "INFO: requirements for operation REGISTER were met\n"
        "INFO: OK, added collector for op REGISTER\n"
        "DEBUG: Requirement met: 0\n"
        "INFO: requirements for operation REGISTER were NOT met\n"
        "DEBUG: multiple providers found for REGISTER read operation and the current one is not available\n"
        "3DEBUG: found cap! capName = base, platformPrefix = ALL_base\n"
        "3DEBUG: OK, got or created cap with config file prefix = base\n"
        "4INFO: cap has added group : all\n");
}

TEST_F(ConfigParserTest, UnavailableTypesAreAcceptedAndLeaveMessagesEmpty) {
    capture.environment().setVerbosity(4);
    ASSERT_EQ(parse({kRootLine + std::string("X_p_m_MSG_READ-WHEN=POLL\nX_p_m_PCIREG_NOCATEGORY=1\n"
                                             "X_q_n_CONSTANT_k=1\nX_p_s_MSG_SOURCE=m\n")}),
              0);
    EXPECT_NE(capture.debug().text().find("INFO: Didn't add operation p_m_PCIREG to msg m because op is not "
                                          "available on current platform!\n"),
              std::string::npos);
    EXPECT_NE(
        capture.debug().text().find(
            "WARNING: message X_p_m cannot be sourced since it doesn't contain any supported operations!\n"),
        std::string::npos);
    EXPECT_FALSE(parser().isPlatformPrefixSupported("FMS=X", "p"));
    EXPECT_EQ(namesOf(messagesFor("FMS=X", "q", {"POLL", "INIT"})), Strings{"X_q_n"})
        << "only the message of constants, run at INIT without a trigger of its own";
}

TEST_F(ConfigParserTest, OperationLinesFillOneOperationPerType) {
    ASSERT_EQ(parse({kRootLine +
                     join({"X_p_m_REGISTER_OFFSET=0x10", "X_p_m_REGISTER_SIZE= 4 ", "X_p_m_CONSTANT_a=1",
                           "X_p_m_CONSTANT_b=2", "X_p_m_MSG_READ-WHEN=POLL", "X_p_c_MSG_READ-WHEN=POLL",
                           "X_p_c_MSR_ADDRESS=0x1a0", "X_p_c_MSG_ID=0x20"})}),
              0);
    std::vector<pwr::InputMsg*> messages = messagesFor("FMS=X", "p");
    ASSERT_EQ(namesOf(messages), (Strings{"X_p_m", "X_p_c"}));
    ASSERT_EQ(messages[0]->getOperationCount(), 2u);
    EXPECT_EQ(valuesOf(messages[0], 0), (Pairs{{"OFFSET", "0x10"}, {"SIZE", "4"}}));
    EXPECT_EQ(valuesOf(messages[0], 1), (Pairs{{"p_m_a", "1"}, {"p_m_b", "2"}}))
        << "constant keys carry prefix and tag";
    EXPECT_EQ(messages[0]->getMsgID(), 1);
    EXPECT_EQ(messages[1]->getMsgID(), 32);
    EXPECT_EQ(valuesOf(messages[1]), (Pairs{{"ADDRESS", "0x1a0"}}));
}

TEST_F(ConfigParserTest, TriggerLinesChooseCommandDetailAndCpu) {
    ASSERT_EQ(
        parse({kRootLine + join({"X_p_m_REGISTER_OFFSET=1", "X_p_m_MSG_READ-WHEN=TRACEPOINT=a,TRACEPOINT=b",
                                 "X_p_m_MSG_READ-WHEN-MAX-DETAIL=NOTIFIER=n,POLL",
                                 "X_p_m_MSG_READ-WHICH-CPU=3", "X_p_w_REGISTER_OFFSET=2",
                                 "X_p_w_MSG_WRITE-WHEN=END", "X_p_w_MSG_WRITE-WHICH-CPU=ALL"})}),
        0);
    std::vector<pwr::InputMsg*> normal = messagesFor("FMS=X", "p", {"TRACEPOINT", "END"});
    ASSERT_EQ(namesOf(normal), (Strings{"X_p_m", "X_p_w"}));
    pwr::InputMsg* m = normal[0];
    EXPECT_EQ(m->getTriggers(), (pwr::PWSet<std::string>{"TRACEPOINT"}));
    EXPECT_EQ(m->getTracepointNames(), (pwr::PWSet<std::string>{"a", "b"}));
    EXPECT_EQ(m->getCPUString(), "3");
    EXPECT_EQ(m->getCommand(), pwr::VR_OP_READ);
    EXPECT_EQ(normal[1]->getCommand(), pwr::VR_OP_WRITE);
    EXPECT_EQ(normal[1]->getCPUString(), "ALL");

    EXPECT_EQ(namesOf(messagesFor("FMS=X", "p", {"POLL", "NOTIFIER"}, pwr::COLLECTION_MAX_DETAIL)),
              (Strings{"X_p_m", "X_p_m"}));
    EXPECT_EQ(m->getNotifierNames(), (pwr::PWSet<std::string>{"n"})) << "the max-detail group is now active";
    EXPECT_EQ(namesOf(messagesFor("FMS=X", "p", {"END"}, pwr::COLLECTION_FALL_BACK)), Strings{"X_p_w"});

    std::vector<std::pair<std::string, std::string>> results;
    EXPECT_EQ(normal[1]->execute(results), 0);
    EXPECT_EQ(hw.calls, Strings{"writeMsg w"});
}

TEST_F(ConfigParserTest, GroupsAbsorbMembersAndSourcesCloneFromAncestors) {
    ASSERT_EQ(
        parse({kRootLine + join({"A_p_g_MSG_GROUP=a, b", "A_p_a_REGISTER_OFFSET=1", "A_p_b_REGISTER_OFFSET=2",
                                 "A_p_g_MSG_READ-WHEN=POLL", "A_p_g_MSG_GROUP=g", "A_p_n_REGISTER_SIZE=8",
                                 "A-B_p_m_MSG_SOURCE=n", "A-B_p_m_MSG_READ-WHEN=POLL"})}),
        0);
    std::vector<pwr::InputMsg*> parent = messagesFor("FMS=A", "p");
    ASSERT_EQ(namesOf(parent), Strings{"A_p_g"}) << "members fold into their group";
    EXPECT_EQ(parent[0]->getOperationCount(), 2u);
    EXPECT_EQ(valuesOf(parent[0], 1), (Pairs{{"OFFSET", "2"}}));

    std::vector<pwr::InputMsg*> child = messagesFor("FMS=A-B", "p");
    ASSERT_EQ(namesOf(child), Strings{"A-B_p_m"});
    EXPECT_EQ(child[0]->getOperations().at(0)->getName(), "p_m_REGISTER");
    EXPECT_EQ(valuesOf(child[0]), (Pairs{{"SIZE", "8"}}));
}

TEST_F(ConfigParserTest, InheritanceChoosesWhoseMessagesAPrefixYields) {
    const std::string tree =
        kRootLine + join({"ALL_p_r_REGISTER_OFFSET=1", "ALL_p_r_MSG_READ-WHEN=POLL",
                          "A_p_a_REGISTER_OFFSET=1", "A_p_a_MSG_READ-WHEN=POLL", "A-B_p_b_REGISTER_OFFSET=1",
                          "A-B_p_b_MSG_READ-WHEN=POLL", "A-C_q_CAPABILITY_GROUP_VALUE=c"});
    struct Case {
        std::string extra;
        std::string platforms;
        Strings expected;
    };
    const std::vector<Case> cases = {
        {"", "FMS=A-B", {"A-B_p_b"}},
        {"A-B_p_INHERIT_MODE_VALUE=EXTEND\n", "FMS=A-B", {"A-B_p_b", "A_p_a"}},
        {"A-B_p_INHERIT_MODE_VALUE=EXTEND\nA_p_INHERIT_MODE_VALUE=EXTEND\n",
         "FMS=A-B",
         {"A-B_p_b", "A_p_a", "ALL_p_r"}},
        {"A-B_p_INHERIT_MODE_VALUE=EXTEND\nA-B_p_INHERIT_MODE_VALUE=OVERRIDE\n", "FMS=A-B", {"A-B_p_b"}},
        {"", "FMS=A-C", {"A_p_a"}},
        {"", "FMS=A-C,PCI=A-B", {"A_p_a"}},
        {"A-B_p_INHERIT_MODE_VALUE=EXTEND\nA-B_p_a_REGISTER_OFFSET=2\nA-B_p_a_MSG_READ-WHEN=POLL\n",
         "FMS=A-B",
         {"A-B_p_b", "A-B_p_a"}},
    };
    for (Case const& each : cases) {
        SCOPED_TRACE(each.extra + each.platforms);
        ASSERT_EQ(parse({tree + each.extra}), 0);
        EXPECT_EQ(namesOf(messagesFor(each.platforms, "p")), each.expected);
    }
    EXPECT_EQ(capture.errors().text(), "ERROR: Duplicate messages found\n") << "the clash of the last case";
}

TEST_F(ConfigParserTest, ModelLinesRecogniseTheMachine) {
    ASSERT_EQ(
        parse({kRootLine + join({"B_MODEL_FMS_CONSTANT_VALUE=6.85", "A_MODEL_FMS_CONSTANT_VALUE=6.85",
                                 "C_MODEL_FMS_CONSTANT_VALUE=6.86.4", "D_MODEL_FMS_CONSTANT_VALUE=6.86",
                                 "P_MODEL_PCI_CONSTANT_VALUE=VENDOR=0x8086,DEVICE=0x1234",
                                 "T_MODEL_PMT_CONSTANT_VALUE=GUID=0xabc", "V_MODEL_sku_CONSTANT_VALUE=0x10",
                                 "W_MODEL_name_CONSTANT_VALUE=abc", "R_MODEL_cores_CONSTANT_RANGE= 4 , 8"})}),
        0);
    const std::vector<std::pair<std::pair<std::string, std::string>, std::string>> cases = {
        {{"FMS", "6.85.4"}, "A"},
        {{"FMS", "6.86.4"}, "C"},
        {{"FMS", "6.86.5"}, "D"},
        {{"FMS", "6.86"}, "D"},
        {{"FMS", "7.1"}, ""},
        {{"PCI", "VENDOR=0x8086,DEVICE=0x1234"}, "P"},
        {{"PCI", "VENDOR=0x8086,DEVICE=0x1235"}, ""},
        {{"PMT", "GUID=0xABC"}, "T"},
        {{"sku", "16"}, "V"},
        {{"name", "abc"}, "W"},
        {{"name", "ABC"}, ""},
        {{"cores", "8"}, "R"},
        {{"cores", "9"}, ""},
        {{"other", "1"}, ""},
    };
    for (auto const& each : cases) {
        std::string name = "stale";
        EXPECT_EQ(parser().getPlatformName(name, each.first), 0);
        EXPECT_EQ(name, each.second) << each.first.first << "=" << each.first.second;
    }
}

TEST_F(ConfigParserTest, CapabilitiesGatherOverTheTree) {
    ASSERT_EQ(parse({join({"ALL_p_CAPABILITY_COMMAND-LINE_VALUE=  feat  ", "A_p_CAPABILITY_HIDDEN_VALUE=True",
                           "A_p_CAPABILITY_GROUP_VALUE=g2", "A_p_CAPABILITY_GROUP_VALUE=g1",
                           "A_p_CAPABILITY_HIDDEN_VALUE=FALSE", "A-B_q_CAPABILITY_HELP-STRING_VALUE=first",
                           "A-B_q_CAPABILITY_HELP-STRING_VALUE=second"})}),
              0);
    std::vector<pwr::ConfigCap const*> caps;
    ASSERT_EQ(parser().getCapabilitiesFor(caps, "FMS=A-B"), 0);
    ASSERT_EQ(caps.size(), 3u);
    EXPECT_EQ(caps[0]->getDescription(), "second");
    EXPECT_TRUE(caps[1]->isHidden());
    EXPECT_EQ(caps[1]->getGroups(), (pwr::PWSet<std::string>{"g1", "g2"}));
    EXPECT_EQ(caps[2]->getName(), "feat");

    capture.clear();
    EXPECT_EQ(parser().getCapabilitiesFor(caps, "FMS=nope"), -1);
    EXPECT_EQ(parser().getCapabilitiesFor(caps, "FMS"), -1);
    EXPECT_EQ(parser().getCapabilitiesFor(caps, ",,"), 0);
    EXPECT_TRUE(caps.empty());
    EXPECT_EQ(capture.text(),
              "ERROR: no platform \"nope\" defined in config file!"
              "1ERROR: couldn't retrieve valid list of platforms from platform name string = FMS=nope\n"
              "WARNING: invalid platform name entry FMS: MUST be of form <TYPE>=<NAME>!\n"
              "1ERROR: couldn't retrieve valid list of platforms from platform name string = FMS\n");
}

TEST_F(ConfigParserTest, ImmediateDispatchNeedsAParserAndAKnownType) {
    ASSERT_EQ(parse({kRootLine}), 0);
    vrtest::TestOperation known{"REGISTER", {}}, unknown{"NOPE", {}}, untyped{"", {}};
    known.setName("k");
    EXPECT_EQ(pwr::Operation::dispatchRead(&known, "key"), 7);
    EXPECT_EQ(hw.calls, Strings{"read k key"});
    capture.clear();
    EXPECT_EQ(pwr::Operation::dispatchWrite(&unknown, "key"), -1);
    EXPECT_EQ(pwr::Operation::dispatchRead(&untyped, "key"), -1);
    EXPECT_EQ(pwr::Operation::dispatchRead(&known, static_cast<pwr::EntityHandle const*>(nullptr)), -1);
    parser().destroy();
    EXPECT_EQ(pwr::Operation::dispatchRead(&known, "key"), -1);
    EXPECT_EQ(capture.debug().text(),
              "1ERROR: Trying to do immediate write of operation  with invalid type NOPE?!\n"
              "1ERROR: Trying to do immediate read of operation  without a valid packet?!\n"
              "WARNING: pwr::Operation::dispatchRead functionality is TODO!\n"
              "1ERROR: Trying to do immediate read of operation k without a valid parser?!\n");
}

}  // namespace
