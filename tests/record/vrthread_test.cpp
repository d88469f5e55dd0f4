#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include "support/LogCapture.h"
#include "vantrell/plugin/Logger.h"
#include "vantrell/record/VRThread.h"

namespace {

using pwr::VRThread;

// Commands of the test actor.
enum : int { kSum = 1, kSlow = 3, kExit = 9 };
constexpr int kKillAnswer = 42;

// Answers kSum with the sum of the payload bytes plus the payload size, kSlow after a pause, and ends
// the thread on kExit.
class Actor : public pwr::VRThreadActor {
  public:
    int handleCommand(int command, unsigned size, const void* payload, int& result) override {
        ++handled;
        if (command == kSlow) {
            slowStarted = true;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        const auto* bytes = static_cast<const unsigned char*>(payload);
        result = command * 1000 + static_cast<int>(size);
        for (unsigned i = 0; i < size; ++i) {
            result += bytes[i];
        }
        return command == kExit ? 1 : 0;
    }
    int onKill() override {
        ++kills;
        return kKillAnswer;
    }
    int init() override { return initResult; }

    int initResult = 0;
    std::atomic<int> handled{0};
    std::atomic<int> kills{0};
    std::atomic<bool> slowStarted{false};
};

// Both threads log; the test's loggers take a lock so that they may.
class LockedLogger : public pwr::Logger {
  public:
    void logMessage(unsigned int level, const char* text) override {
        std::lock_guard<std::mutex> guard(lock);
        Logger::logMessage(level, text);
    }
    std::string text() {
        std::lock_guard<std::mutex> guard(lock);
        return all;
    }
    size_t count(const std::string& line) {
        std::string copy = text();
        size_t n = 0;
        for (size_t at = copy.find(line); at != std::string::npos; at = copy.find(line, at + 1)) {
            ++n;
        }
        return n;
    }

  protected:
    void flushPending() override { all.append(pending.begin(), pending.end()); }

  private:
    std::mutex lock;
    std::string all;
};

std::atomic<int> g_exitCalls{0};
void onExit() {
    ++g_exitCalls;
}

class VRThreadTest : public ::testing::Test {
  protected:
    explicit VRThreadTest(uint16_t verbosity = 1) : capture(verbosity) {
        capture.environment().setDebugLogger(&log);
        capture.environment().setErrorLogger(&log);
    }
    void startWorker() {
        ASSERT_EQ(worker.init(), 0);
        ASSERT_EQ(worker.start(), 0);
        ASSERT_TRUE(worker.isRunning());
    }
    vrtest::ScopedLogCapture capture;
    LockedLogger log;
    Actor actor;
    VRThread worker{actor, 7, &onExit};
};

class VRThreadLogTest : public VRThreadTest {
  protected:
    VRThreadLogTest() : VRThreadTest(3) {}
};

int expectedSum(int command, const std::vector<unsigned char>& payload) {
    return command * 1000 + static_cast<int>(payload.size()) +
           std::accumulate(payload.begin(), payload.end(), 0);
}

TEST_F(VRThreadTest, AnswersAThousandCommandsBlockedAndUnblockedThenDies) {
    startWorker();
    for (int i = 0; i < 1000; ++i) {
        std::vector<unsigned char> payload(static_cast<size_t>(i % 37), static_cast<unsigned char>(i));
        ASSERT_EQ(worker.signal(kSum, payload.size(), payload.data(), true, true), expectedSum(kSum, payload))
            << i;
    }
    std::vector<int> ids;
    for (int i = 0; i < 1000; ++i) {
        ids.push_back(worker.signal(i % 2 == 0 ? kSum : kSum + 1, true, false));
        ASSERT_GE(ids.back(), 0);
        if (i > 0) {
            ASSERT_EQ(ids[i], ids[i - 1] + 1) << "consecutive ids";
        }
    }
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(worker.readResponse(ids[i]), (i % 2 == 0 ? kSum : kSum + 1) * 1000);
    }
    VRThread copy(worker);  // shares the queues
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(copy.signal(kSum, false, false), 0) << "no response, no id";
    }
    EXPECT_EQ(worker.kill(), kKillAnswer);
    EXPECT_EQ(worker.join(), 0);
    EXPECT_TRUE(worker.isDead());
    EXPECT_EQ(actor.handled.load(), 2010);
    EXPECT_EQ(actor.kills.load(), 1);
    EXPECT_EQ(g_exitCalls.load(), 0) << "a kill doesn't call the exit callback";
    EXPECT_EQ(copy.join(), 0) << "the copy's thread is gone too";
    EXPECT_EQ(log.text(), "");
}

TEST_F(VRThreadTest, KilledMidCommandFinishesTheCommandFirst) {
    startWorker();
    int slow = worker.signal(kSlow, true, false);
    while (!actor.slowStarted) {
        std::this_thread::yield();
    }
    EXPECT_EQ(worker.kill(), kKillAnswer) << "drops the slow command's answer on the way";
    EXPECT_EQ(worker.join(), 0);
    EXPECT_EQ(actor.handled.load(), 1);
    EXPECT_GE(slow, 0);
}

TEST_F(VRThreadLogTest, PayloadLimitIsOneMebibyte) {
    startWorker();
    std::vector<unsigned char> payload(VRThread::kMaxPayloadSize + 1, 1);
    EXPECT_EQ(worker.signal(kSum, VRThread::kMaxPayloadSize, payload.data(), true, true),
              kSum * 1000 + 2 * static_cast<int>(VRThread::kMaxPayloadSize));
    EXPECT_EQ(worker.signal(kSum, payload.size(), payload.data(), false, false), 0);
    EXPECT_EQ(worker.join(), 0) << "the worker ends at the oversized payload";
    EXPECT_EQ(log.count("WARNING: invalid payload size 1048577 received!\n"), 1u);
    EXPECT_TRUE(worker.isRunning()) << "the state stays at running";
    EXPECT_EQ(worker.kill(), -1) << "nobody answers any more, and nobody waits for ever";
    EXPECT_EQ(
        log.count("WARNING: couldn't read response message header!\nWARNING: couldn't read response!\n"), 1u);
    EXPECT_EQ(actor.handled.load(), 1);
}

TEST_F(VRThreadLogTest, BlockingWithoutResponseAndResponsesReadOutOfOrder) {
    startWorker();
    EXPECT_EQ(worker.signal(5, false, true), 0);
    EXPECT_EQ(log.count("WARNING: cannot block if you don't require a response!\n"), 1u);
    EXPECT_EQ(log.count("DEBUG: waiting for response!\n"), 0u);

    int first = worker.signal(5, true, false);
    int second = worker.signal(6, true, false);
    EXPECT_EQ(second, first + 1);
    EXPECT_EQ(worker.readResponse(second), 6000);
    const std::string dropped = "DEBUG: received msg id = " + std::to_string(first) +
                                " (looking for id = " + std::to_string(second) +
                                ") in pwr::VRThread::readResponse\n";
    EXPECT_EQ(log.count(dropped), 1u);
    EXPECT_EQ(worker.kill(), kKillAnswer);
    worker.join();
    for (const char* line :
         {"DEBUG: Inside pwr::VRThread::Channel::writeRequest_i, new socket pair size is ",
          "DEBUG: Inside pwr::VRThread::Channel::writeResponse_i, new socket pair size is 1\n",
          "DEBUG: OK, read payload size = 0\n", "DEBUG: received command = 6\n", "DEBUG: SYNC!\n",
          "DEBUG: OK, wrote response header\n", "DEBUG: OK, told to die\n", "DEBUG: Thread has pid = "}) {
        EXPECT_GE(log.count(line), 1u) << line;
    }
}

TEST_F(VRThreadLogTest, StatesRefuseWhatTheyCantDo) {
    EXPECT_EQ(worker.start(), -1);
    EXPECT_EQ(worker.kill(), -1);
    EXPECT_EQ(worker.signal(1, true, true), -1) << "no queues before init";
    EXPECT_EQ(log.text(),
              "WARNING: invalid thread state 0!\nWARNING: killing a thread that isn't running?!\n"
              "WARNING: couldn't write request message header!\nWARNING: write error\n");

    actor.initResult = 3;
    EXPECT_EQ(worker.init(), -1);
    EXPECT_EQ(worker.getState(), pwr::VRTHREAD_NOT_INITIALIZED);
    actor.initResult = 0;
    ASSERT_EQ(worker.init(), 0);
    EXPECT_EQ(worker.kill(), -1) << "initialised but not running";
    EXPECT_EQ(worker.join(), 0);
    EXPECT_EQ(worker.signal(1, 1, nullptr, false, false), -1) << "a payload with no bytes behind it";
}

TEST_F(VRThreadLogTest, ActorEndsTheThreadAndStillAnswers) {
    startWorker();
    g_exitCalls = 0;
    EXPECT_EQ(worker.signal(kExit, true, true), kExit * 1000);
    EXPECT_EQ(worker.join(), 0);
    EXPECT_TRUE(worker.isDead());
    EXPECT_EQ(g_exitCalls.load(), 1);
    EXPECT_EQ(log.count("DEBUG: OK, thread exiting\n"), 1u);
    EXPECT_EQ(worker.kill(), -1);
    EXPECT_EQ(worker.signal(kSum, true, true), -1) << "a dead thread answers nothing, without a hang";
    EXPECT_EQ(log.count("WARNING: couldn't read response!\n"), 1u);
}

TEST_F(VRThreadTest, StartedAgainWithoutAJoinTheOldThreadIsLetGo) {
    startWorker();
    EXPECT_EQ(worker.signal(kExit, true, true), kExit * 1000);  // the actor ends the first thread
    startWorker();                                              // no join in between: no abort
    EXPECT_EQ(worker.signal(kSum, true, true), kSum * 1000);
    EXPECT_EQ(worker.kill(), kKillAnswer);
    EXPECT_EQ(worker.join(), 0);
}

}  // namespace
