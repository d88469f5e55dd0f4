#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "support/LogCapture.h"
#include "vantrell/plugin/Logger.h"
#include "vantrell/plugin/Logging.h"

namespace {

using vrtest::ScopedLogCapture;

void logOneOfEachLevel() {
    VR_LOG(0, "always\n");
    VR_LOG(0, "FATAL: fatal\n");
    VR_LOG(1, "ERROR: error\n");
    VR_LOG(2, "WARNING: warning\n");
    VR_LOG(3, "DEBUG: debug\n");
    VR_LOG(4, "INFO: info\n");
}

TEST(Logging, VerbosityOpensLevelsUpToItself) {
    struct Case {
        uint16_t verbosity;
        const char* errors;
        const char* debug;
    };
    const Case cases[] = {
        {0, "FATAL: fatal\n", "always\n"},
        {1, "FATAL: fatal\nERROR: error\n", "always\n"},
        {2, "FATAL: fatal\nERROR: error\n", "always\nWARNING: warning\n"},
        {3, "FATAL: fatal\nERROR: error\n", "always\nWARNING: warning\nDEBUG: debug\n"},
        {4, "FATAL: fatal\nERROR: error\n", "always\nWARNING: warning\nDEBUG: debug\nINFO: info\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.verbosity);
        ScopedLogCapture capture(c.verbosity);
        logOneOfEachLevel();
        EXPECT_EQ(capture.errors().text(), c.errors);
        EXPECT_EQ(capture.debug().text(), c.debug);
    }
}

TEST(Logging, DefaultVerbosityIsOne) {
    PluginEnvironment env;
    EXPECT_EQ(env.getVerbosity(), 1);
}

TEST(Logging, ClosedSiteEvaluatesNoArgument) {
    ScopedLogCapture capture(1);
    int evaluations = 0;
    auto costly = [&evaluations]() {
        ++evaluations;
        return 7;
    };
    VR_LOG(2, "WARNING: %d\n", costly());
    VR_LOG_AREA(3, "config-parser", "DEBUG: %d\n", costly());
    EXPECT_EQ(evaluations, 0);
    EXPECT_EQ(capture.text(), "");
    VR_LOG(1, "ERROR: %d\n", costly());
    EXPECT_EQ(evaluations, 1);
    EXPECT_EQ(capture.errors().text(), "ERROR: 7\n");
}

TEST(Logging, DebugAreaOpensItsMessagesAtAnyVerbosityByExactName) {
    ScopedLogCapture capture(1);
    capture.environment().addPrefixForDebugLogging("config-parser");
    VR_LOG_AREA(4, "config-parser", "INFO: parser %s\n", "on");
    VR_LOG_AREA(2, "config-parser", "WARNING: parser\n");
    VR_LOG_AREA(3, "vrthread", "DEBUG: thread\n");
    VR_LOG(3, "DEBUG: no area\n");
    EXPECT_EQ(capture.debug().text(), "INFO: parser on\nWARNING: parser\n");

    ScopedLogCapture prefixOnly(1);
    prefixOnly.environment().addPrefixForDebugLogging("config");
    EXPECT_FALSE(prefixOnly.environment().isDebugLoggingEnabledFor("config-parser"));
    EXPECT_TRUE(prefixOnly.environment().isDebugLoggingEnabledFor(std::string("config")));
    VR_LOG_AREA(3, "config-parser", "DEBUG: shut\n");
    EXPECT_EQ(prefixOnly.text(), "");
}

TEST(Logging, LongMessageComesOutWhole) {
    ScopedLogCapture capture(2);
    std::string longText(100000, 'x');
    VR_LOG(2, "WARNING: %s|\n", longText.c_str());
    ASSERT_EQ(capture.debug().messages().size(), 1u);
    EXPECT_EQ(capture.debug().messages()[0], "WARNING: " + longText + "|\n");
}

TEST(Logging, StreamFormHeadsOpenLinesWithDigitAndWord) {
    ScopedLogCapture capture(3);
    VR_LOG_STREAM(3) << "value " << 42 << std::endl;
    VR_LOG_STREAM(4) << "shut " << 1 << std::endl;
    EXPECT_EQ(capture.debug().text(), "3DEBUG: value 42\n");
    EXPECT_EQ(capture.discarded().text(), "shut 1\n");
    VR_LOG_STREAM(2) << "w" << std::endl;
    EXPECT_EQ(capture.debug().messages().back(), "2WARNING: w\n");
}

TEST(Logger, StreamedTextLeavesWithTheNextMessage) {
    vrtest::CapturingLogger logger;
    logger << "streamed ";
    EXPECT_TRUE(logger.hasDirtyText());
    EXPECT_TRUE(logger.messages().empty());
    logger.logMessage(2, "message\n");
    ASSERT_EQ(logger.messages().size(), 1u);
    EXPECT_EQ(logger.messages()[0], "streamed message\n");
    EXPECT_FALSE(logger.hasDirtyText());
}

TEST(Logger, EmptyTextFlushesAndNullDoesNothing) {
    vrtest::CapturingLogger logger;
    logger.writeMessage(nullptr);
    EXPECT_TRUE(logger.messages().empty());
    logger << "pending";
    logger.writeMessage(nullptr);
    EXPECT_TRUE(logger.messages().empty());
    EXPECT_TRUE(logger.hasDirtyText());
    logger.writeMessage("");
    ASSERT_EQ(logger.messages().size(), 1u);
    EXPECT_EQ(logger.messages()[0], "pending");
    logger.writeMessage("");
    ASSERT_EQ(logger.messages().size(), 2u);
    EXPECT_EQ(logger.messages()[1], "");
    EXPECT_EQ(logger.getSinkStatus(), 0);
}

std::string readFile(const std::string& path) {
    std::ifstream in(path);
    std::stringstream content;
    content << in.rdbuf();
    return content.str();
}

TEST(FileLogger, TruncatesAndWritesEachMessageAtOnce) {
    std::string path = ::testing::TempDir() + "vr_filelogger_test.txt";
    {
        std::ofstream old(path);
        old << "old content that must vanish";
    }
    pwr::FileLogger logger(path.c_str());
    EXPECT_EQ(readFile(path), "");
    logger.writeMessage("first\n");
    EXPECT_EQ(readFile(path), "first\n");
    logger << "second " << 2 << std::endl;
    EXPECT_EQ(readFile(path), "first\nsecond 2\n");
    logger.closeOutput();
    logger.writeMessage("after close\n");
    EXPECT_EQ(readFile(path), "first\nsecond 2\n");
    std::remove(path.c_str());
}

TEST(FileLogger, UnopenableFileStaysSilent) {
    const char* path = "/nonexistent-directory/for/sure/log.txt";
    pwr::FileLogger logger(path);
    logger.writeMessage("dropped\n");
    logger << "dropped too" << std::endl;
    logger.closeOutput();
    EXPECT_FALSE(std::ifstream(path).good());
    // The logger itself, as a stream, stays usable.
    EXPECT_TRUE(logger.good());
}

TEST(PluginEnvironment, FileOutputHandle) {
    PluginEnvironment env;
    EXPECT_EQ(env.getFileOutputHandle(nullptr), nullptr);

    std::string path = ::testing::TempDir() + "vr_fileoutput_test.txt";
    std::remove(path.c_str());
    std::unique_ptr<pwr::Logger> made(env.getFileOutputHandle(path.c_str()));
    ASSERT_NE(made, nullptr);
    made->writeMessage("made\n");
    EXPECT_EQ(readFile(path), "made\n");

    vrtest::CapturingLogger handle;
    env.setFileOutputHandle(&handle);
    std::string other = ::testing::TempDir() + "vr_fileoutput_never_made.txt";
    std::remove(other.c_str());
    EXPECT_EQ(env.getFileOutputHandle(other.c_str()), &handle);
    EXPECT_FALSE(std::ifstream(other).good());
    EXPECT_EQ(env.getFileOutputHandle(nullptr), nullptr);
    std::remove(path.c_str());
}

TEST(PluginEnvironment, QueuedMessagesKeepTheirOrder) {
    PluginEnvironment env;
    env.queueMessage("one");
    env.queueMessage(nullptr);
    env.queueMessage("two");
    ASSERT_EQ(env.getQueuedMessages().size(), 2u);
    EXPECT_EQ(env.getQueuedMessages().front(), "one");
    EXPECT_EQ(env.getQueuedMessages().back(), "two");
    env.getQueuedMessages().clear();
    EXPECT_TRUE(env.getQueuedMessages().empty());
}

}  // namespace
