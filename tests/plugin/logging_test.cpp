#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "support/VirtualSlot.h"
#include "vantrell/plugin/Logger.h"
#include "vantrell/plugin/Logging.h"

namespace {

using vrtest::ScopedLogCapture;

TEST(Logging, VerbosityOpensLevelsUpToItselfAndFatalGoesToErrors) {
    EXPECT_EQ(PluginEnvironment().getVerbosity(), 1);
    const char* const debugTexts[] = {"always\n", "WARNING: warning\n", "DEBUG: debug\n", "INFO: info\n"};
    for (uint16_t verbosity = 0; verbosity <= 4; ++verbosity) {
        SCOPED_TRACE(verbosity);
        ScopedLogCapture capture(verbosity);
        VR_LOG(0, "always\n");
        VR_LOG(0, "FATAL: fatal\n");
        VR_LOG(1, "ERROR: error\n");
        VR_LOG(2, "WARNING: warning\n");
        VR_LOG(3, "DEBUG: debug\n");
        VR_LOG(4, "INFO: info\n");
        EXPECT_EQ(capture.errors().text(),
                  verbosity == 0 ? "FATAL: fatal\n" : "FATAL: fatal\nERROR: error\n");
        std::string debug;
        for (int i = 0; i < std::max(1, int{verbosity}); ++i) {
            debug += debugTexts[i];
        }
        EXPECT_EQ(capture.debug().text(), debug);
    }
}

TEST(Logging, ClosedSiteEvaluatesNothingAndAnAreaOpensByExactName) {
    ScopedLogCapture capture(1);
    int evaluations = 0;
    auto costly = [&evaluations]() { return ++evaluations; };
    capture.environment().addPrefixForDebugLogging("config");
    VR_LOG(2, "WARNING: %d\n", costly());
    VR_LOG_AREA(4, "config-parser", "INFO: %d, config is no prefix\n", costly());
    EXPECT_EQ(evaluations, 0);
    EXPECT_TRUE(capture.environment().isDebugLoggingEnabledFor(std::string("config")));
    capture.environment().addPrefixForDebugLogging("config-parser");
    VR_LOG_AREA(4, "config-parser", "INFO: parser %d\n", costly());
    VR_LOG_AREA(2, "config-parser", "WARNING: parser\n");
    VR_LOG_AREA(3, "vrthread", "DEBUG: thread\n");
    VR_LOG(3, "DEBUG: no area\n");
    EXPECT_EQ(capture.debug().text(), "INFO: parser 1\nWARNING: parser\n");
}

TEST(Logging, LongMessageComesOutWholeAndStreamFormHeadsLinesWithLevel) {
    ScopedLogCapture capture(3);
    std::string longText(100000, 'x');
    VR_LOG(2, "WARNING: %s|\n", longText.c_str());
    VR_LOG_STREAM(3) << "value " << 42 << std::endl;
    VR_LOG_STREAM(4) << "shut " << 1 << std::endl;
    EXPECT_EQ(capture.debug().messages(),
              (std::vector<std::string>{"WARNING: " + longText + "|\n", "3DEBUG: value 42\n"}));
    EXPECT_EQ(capture.discarded().text(), "shut 1\n");
}

TEST(Logger, StreamedTextLeavesWithTheNextMessageAndEmptyTextFlushes) {
    vrtest::CapturingLogger logger;
    logger << "streamed ";
    logger.writeMessage(nullptr);
    EXPECT_TRUE(logger.messages().empty()) << "a null text does nothing";
    EXPECT_TRUE(logger.hasDirtyText());
    logger.logMessage(2, "message\n");
    EXPECT_FALSE(logger.hasDirtyText());
    logger << "pending";
    logger.writeMessage("");
    logger.writeMessage("");
    EXPECT_EQ(logger.messages(), (std::vector<std::string>{"streamed message\n", "pending", ""}));
    EXPECT_EQ(logger.getSinkStatus(), 0);
}

std::string readFile(const std::string& path) {
    std::ifstream in(path);
    std::stringstream content;
    content << in.rdbuf();
    return content.str();
}

// Loggers built elsewhere against the contract call these slots by position.
struct SlotLogger : pwr::Logger {
    void flushPending() override {}
    static std::ptrdiff_t flushSlot() { return vrtest::virtualSlot(&SlotLogger::flushPending); }
    // The last of the stream buffer's own slots, after which a derived class's new slots begin.
    static std::ptrdiff_t lastBufferSlot() {
        return std::max(vrtest::virtualSlot(&SlotLogger::sync), vrtest::virtualSlot(&SlotLogger::overflow));
    }
};

TEST(Logger, OwnOperationsFollowTheStreamBufferSlotsInContractOrder) {
    using vrtest::virtualSlot;
    const std::ptrdiff_t own[] = {virtualSlot(&pwr::Logger::logMessage),
                                  virtualSlot(&pwr::Logger::writeMessage),
                                  virtualSlot(&pwr::Logger::getSinkStatus), SlotLogger::flushSlot(),
                                  virtualSlot(&pwr::Logger::closeOutput)};
    EXPECT_EQ(own[0], SlotLogger::lastBufferSlot() + 1);
    for (std::size_t i = 1; i < std::size(own); ++i) {
        EXPECT_EQ(own[i], own[i - 1] + 1) << "operation " << i;
    }
}

TEST(FileLogger, TruncatesAndWritesEachMessageAtOnce) {
    std::string path = ::testing::TempDir() + "vr_filelogger_test.txt";
    std::ofstream(path) << "old content that must vanish";
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

    const char* unopenable = "/nonexistent-directory/for/sure/log.txt";
    pwr::FileLogger silent(unopenable);
    silent << "dropped" << std::endl;
    EXPECT_FALSE(std::ifstream(unopenable).good());
    EXPECT_TRUE(silent.good()) << "the logger itself, as a stream, stays usable";
}

TEST(PluginEnvironment, FileOutputHandleAndQueuedMessages) {
    PluginEnvironment env;
    std::string path = ::testing::TempDir() + "vr_fileoutput_test.txt";
    std::remove(path.c_str());
    std::unique_ptr<pwr::Logger> made(env.getFileOutputHandle(path.c_str()));
    EXPECT_NE(dynamic_cast<pwr::FileLogger*>(made.get()), nullptr);
    std::remove(path.c_str());

    vrtest::CapturingLogger handle;
    env.setFileOutputHandle(&handle);
    EXPECT_EQ(env.getFileOutputHandle(path.c_str()), &handle);
    EXPECT_FALSE(std::ifstream(path).good()) << "no file is made when a handle is set";
    EXPECT_EQ(env.getFileOutputHandle(nullptr), nullptr);

    env.queueMessage("one");
    env.queueMessage(nullptr);
    env.queueMessage("two");
    EXPECT_EQ(std::vector<std::string>(env.getQueuedMessages().begin(), env.getQueuedMessages().end()),
              (std::vector<std::string>{"one", "two"}));
}

}  // namespace
