#include <gtest/gtest.h>

#include "vantrell/record/VRThread.h"

namespace {

class Echo : public pwr::VRThreadActor {
  public:
    int handleCommand(int command, unsigned, const void*, int& result) override {
        result = command;
        return 0;
    }
    int onKill() override { return 0; }
    int init() override { return 0; }
};

// Message ids are numbered process-wide: this binary sends nothing before.
TEST(VRThreadIds, FirstMessageWithAResponseIsZero) {
    Echo actor;
    pwr::VRThread worker(actor, 0, nullptr);
    ASSERT_EQ(worker.init(), 0);
    ASSERT_EQ(worker.start(), 0);
    EXPECT_EQ(worker.signal(4, false, false), 0) << "no response, no number";
    EXPECT_EQ(worker.signal(4, true, false), 0);
    EXPECT_EQ(worker.signal(5, true, false), 1);
    EXPECT_EQ(worker.readResponse(1), 5);
    EXPECT_EQ(worker.kill(), 0);
    EXPECT_EQ(worker.join(), 0);
}

}  // namespace
