// EtwSession's steps, statuses and messages, with a facility that answers what each case needs.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <tuple>

#include "support/LogCapture.h"
#include "trace/TraceFakes.h"

namespace {

using ::testing::ElementsAre;
using vrtest::RecordingSession;
using vrtest::ScratchDir;
using vrtest::ScriptedFacility;

const _GUID kUnknown = {0x01020304, 0x0506, 0x0708, {1, 2, 3, 4, 5, 6, 7, 8}};
const _GUID kPowerData = {0xe4383c64, 0x17ab, 0x455d, {0x81, 0x26, 0x63, 0xa0, 0xd2, 0x8e, 0x9f, 0xa3}};

TEST(EtwSession, ConstructorInsertsTheSuffixAheadOfEtl) {
    // The file the session writes, or what the constructor throws.
    auto fileOf = [](const char* result) -> std::string {
        try {
            return RecordingSession(result, "_user", "s").file();
        } catch (const std::runtime_error& e) {
            return std::string("throws ") + e.what();
        }
    };
    const std::pair<const char*, const char*> cases[] = {{"out.etl", "out_user.etl"},
                                                         {"dir.v2/run.etl", "dir.v2/run_user.etl"},
                                                         {"out", nullptr},
                                                         {"a.etl.txt", nullptr},
                                                         {"out.txt", nullptr}};
    for (const auto& [result, expected] : cases) {
        EXPECT_EQ(fileOf(result), expected != nullptr ? expected : "throws Issue with result file name");
    }
}

// Numbers separated by blanks, as a facility's queue of answers.
std::deque<unsigned long> answers(const std::string& text) {
    std::istringstream in(text);
    return std::deque<unsigned long>(std::istream_iterator<unsigned long>(in), {});
}

std::vector<std::string> words(const std::string& text) {
    std::istringstream in(text);
    return std::vector<std::string>(std::istream_iterator<std::string>(in), {});
}

// A facility that "starts" a session of two providers without touching the system.
struct ScriptedStart : ScriptedFacility {
    ScriptedStart() { start = answers("0"), enable = answers("0 0"), capture = answers("0 0"); }
};

TEST(EtwSession, PropertiesBlockAndMergedProviderMasks) {
    vrtest::ScopedLogCapture capture(2);
    ScriptedStart facility;
    RecordingSession session("/tmp/props.etl", "_k", "props");
    EXPECT_FALSE(session.hasAnyProvider());
    session.addProvider(kUnknown, 1);
    session.addProvider(kPowerData, 2);
    session.addProvider(kUnknown, 4);
    EXPECT_TRUE(session.hasAnyProvider());
    ASSERT_TRUE(session.begin());

    const EVENT_TRACE_PROPERTIES& p = facility.startedWith;
    size_t nameLength = std::string("props_" + std::to_string(getpid())).size();
    EXPECT_EQ(p.Wnode.Guid, kUnknown);
    EXPECT_EQ(std::vector<uint64_t>({p.Wnode.BufferSize, p.Wnode.Flags, p.Wnode.ClientContext, p.LogFileMode,
                                     p.MaximumFileSize, p.BufferSize, p.MaximumBuffers, p.MinimumBuffers,
                                     p.LoggerNameOffset, p.LogFileNameOffset}),
              std::vector<uint64_t>({122 + nameLength + session.file().size(), 0x20000, 1, 1, 0, 1024, 400, 2,
                                     120, 121 + nameLength}));
    EXPECT_EQ(facility.startedFile, "/tmp/props_k.etl");
    EXPECT_THAT(facility.enableMasks, ElementsAre(5u, 2u));
    EXPECT_EQ(facility.calls, words("start enable capture enable capture"));
    EXPECT_EQ(capture.text(), "");
    session.dropBlock();
}

TEST(EtwSession, ProviderMessagesOpenAtVerbosityFourOrInTheirArea) {
    for (bool byArea : {false, true}) {
        SCOPED_TRACE(byArea);
        vrtest::ScopedLogCapture capture(byArea ? 1 : 4);
        if (byArea) {
            capture.environment().addPrefixForDebugLogging("etw-session");
        }
        ScriptedStart facility;
        RecordingSession session("/tmp/m.etl", "", "messages");
        session.addProvider(kPowerData, 1);
        session.addProvider(kUnknown, 1);
        ASSERT_TRUE(session.begin());
        EXPECT_EQ(
            capture.text(),
            "INFO: Starting trace for provider DorvexPowerDataProvider "
            "(e4383c64-17ab-455d-8126-63a0d28e9fa3).\n"
            "INFO: Starting trace for unknown provider (01020304-0506-0708-0102-030405060708). Use \"xperf "
            "-providers I\" to look up the provider name from the guid.\n");
        session.dropBlock();
    }
}

TEST(EtwSession, BeginFailuresLogStopAndFreeTheBlock) {
    const std::string enableRefused =
        "Cannot enable ETW event provider in the trace file F. Access is denied.\n";
    // Answers to start, enable and capture; the calls; the log and the queued message, F for the file.
    const std::array<std::string, 6> cases[] = {
        {"183 183", "", "", "start stop start",
         "WARNING: Cannot start the trace F. Cannot create a file when that file already exists.\n", ""},
        {"112", "", "", "start",
         "WARNING: Cannot start the trace F. There is not enough space on the disk.\n ETW requires at least "
         "200MB disk space to start a trace.",
         ""},
        {"8", "", "", "start",
         "WARNING: Cannot start the trace F. Not enough memory resources are available to process this "
         "command.\n Try to use smaller buffer size using --etw-user[kernel]-buffers [size] [min] [max] "
         "option.\n",
         ""},
        {"0", "5", "", "start enable stop", enableRefused + "\n", enableRefused},
        {"0", "0", "87", "start enable capture stop",
         "WARNING: Cannot capture state of provider in the trace file F. The parameter is incorrect.\n", ""},
    };
    for (const auto& [start, enable, captured, calls, log, queued] : cases) {
        SCOPED_TRACE(calls + " " + start);
        vrtest::ScopedLogCapture capture(2);
        ScriptedFacility facility;
        facility.start = answers(start), facility.enable = answers(enable),
        facility.capture = answers(captured);
        RecordingSession session("/tmp/fail.etl", "_x", "fail");
        session.addProvider(kUnknown, 1);
        EXPECT_FALSE(session.begin());
        EXPECT_EQ(session.block(), nullptr);
        EXPECT_EQ(facility.calls, words(calls));
        auto named = [&session](std::string text) { return text.replace(text.find('F'), 1, session.file()); };
        EXPECT_EQ(capture.text(), named(log));
        auto& queue = capture.environment().getQueuedMessages();
        EXPECT_EQ(std::vector<std::string>(queue.begin(), queue.end()),
                  queued.empty() ? words("") : std::vector<std::string>{named(queued)});
        EXPECT_FALSE(session.end());
    }
}

TEST(EtwSession, StaleSessionOfTheSameNameIsStoppedAndStartedAgain) {
    vrtest::ScopedLogCapture capture(2);
    ScratchDir dir;
    RecordingSession stale(dir.file("stale.etl"), "", "stale");
    stale.addProvider(kUnknown, 1);
    ASSERT_TRUE(stale.begin());  // left running, as by a crashed collection

    ScriptedFacility facility;
    RecordingSession fresh(dir.file("fresh.etl"), "", "stale");
    fresh.addProvider(kUnknown, 1);
    ASSERT_TRUE(fresh.begin());
    EXPECT_THAT(facility.calls, ElementsAre("start", "stop", "start", "enable", "capture"));
    EXPECT_TRUE(fresh.end());
    EXPECT_EQ(capture.text(), "");
    stale.dropBlock();  // its session was stopped by the fresh one
}

TEST(EtwSession, EndFailuresLeaveTheSessionToBeEndedAgain) {
    // Answers to control (flush, stop) and disable; the log.
    const std::array<std::string, 3> cases[] = {
        {"4201", "", "WARNING: Unable verify that Test end is buffering events properly."},
        {"", "87", "WARNING: Cannot disable the trace. The parameter is incorrect.\n"},
        {"0 4201", "",
         "WARNING: Cannot stop the trace. The instance name passed was not recognized as valid by a WMI data "
         "provider.\n"},
    };
    ScratchDir dir;
    for (const auto& [control, disable, log] : cases) {
        SCOPED_TRACE(log);
        vrtest::ScopedLogCapture capture(2);
        RecordingSession session(dir.file("end.etl"), "", "end");
        session.addProvider(kUnknown, 1);
        ASSERT_TRUE(session.begin());
        {
            ScriptedFacility facility;
            facility.control = answers(control), facility.disable = answers(disable);
            EXPECT_FALSE(session.end());
            EXPECT_NE(session.block(), nullptr);
        }
        EXPECT_EQ(capture.text(), log);
        EXPECT_TRUE(session.end());
        EXPECT_EQ(session.block(), nullptr) << "a session that ended frees its block";
        EXPECT_FALSE(session.end());
    }
}

TEST(EtwSession, QueryLostEventsIsAllOnesWhenTheSessionCannotBeAsked) {
    ScratchDir dir;
    RecordingSession session(dir.file("q.etl"), "", "query");
    session.addProvider(kUnknown, 1);
    EXPECT_EQ(session.queryLostEvents(), ULONG_MAX);
    ASSERT_TRUE(session.begin());
    EXPECT_EQ(session.queryLostEvents(), 0u);
    ASSERT_TRUE(session.end());
    EXPECT_EQ(session.queryLostEvents(), ULONG_MAX);
}

TEST(EtwSession, ReplayFailuresNameTheFileAndTheReason) {
    ScratchDir dir;
    RecordingSession written(dir.file("r.etl"), "", "replay");
    written.addProvider(kUnknown, 1);
    ASSERT_TRUE(written.begin());
    ASSERT_TRUE(written.end());

    vrtest::ScopedLogCapture capture(2);
    {
        ScriptedFacility facility;
        facility.openFails = {true};
        EXPECT_FALSE(written.postProcessLog());
        EXPECT_THAT(facility.calls, ElementsAre("open"));
    }
    const std::string processing = " Processing ETW data for Test replay.\n";
    EXPECT_EQ(capture.debug().text(), processing);
    EXPECT_EQ(capture.errors().text(), "FATAL: Cannot open the ETW data file for Test replay: " +
                                           written.file() + ". No such file or directory");
    capture.clear();
    {
        ScriptedFacility facility;
        facility.process = {1392};
        EXPECT_FALSE(written.postProcessLog());
        EXPECT_THAT(facility.calls, ElementsAre("open", "process", "close"));
    }
    EXPECT_EQ(capture.text(), processing +
                                  "WARNING: Cannot process the trace file Test replay. "
                                  "The file or directory is corrupted and unreadable.\n");
    capture.clear();
    RecordingSession missing(dir.file("none.etl"), "", "replay");
    EXPECT_FALSE(missing.postProcessLog());
    EXPECT_EQ(capture.errors().text(), "FATAL: Cannot open the ETW data file for Test replay: " +
                                           missing.file() + ". No such file or directory");
    EXPECT_TRUE(written.postProcessLog());
    EXPECT_TRUE(written.events.empty());
}

TEST(EtwSession, ProviderLookupByName) {
    const _GUID named = {0xabcdef01, 0x2345, 0x6789, {9, 8, 7, 6, 5, 4, 3, 2}};
    pwr::platform::registerProviderName(named, u"Vantrell-Test-Provider");
    _GUID out{};
    EXPECT_TRUE(EtwSession::getGuidForProvider(u"Vantrell-Test-Provider", &out));
    EXPECT_EQ(out, named);
    EXPECT_TRUE(EtwSession::getGuidForProvider(u"Microsoft-Windows-Kernel-Power", &out));
    EXPECT_EQ(out, pwr::platform::kKernelPowerProvider);
    EXPECT_FALSE(EtwSession::getGuidForProvider(u"Vantrell-Test-provider", &out));  // exact comparison

    // Answers to enumerate, the size it asks for, the log.
    const std::tuple<const char*, unsigned long, const char*> cases[] = {
        {"87", 0, "WARNING: TdhEnumerateProviders failed with 87.\n"},
        {"0", 0, "WARNING: TdhEnumerateProvider PROVIDER_ENUMERATION_INFO is NULL.\n"},
        {"122 122 4201", 64, "WARNING: TdhEnumerateProviders failed with 4201.\n"},
    };
    for (const auto& [enumerate, size, log] : cases) {
        SCOPED_TRACE(log);
        vrtest::ScopedLogCapture capture(2);
        ScriptedFacility facility;
        facility.enumerate = answers(enumerate), facility.enumerateSize = size;
        EXPECT_FALSE(EtwSession::getGuidForProvider(u"Vantrell-Test-Provider", &out));
        EXPECT_EQ(facility.calls.size(), answers(enumerate).size());
        EXPECT_EQ(capture.text(), log);
    }
}

}  // namespace
