// Its own process: no message may be made before this test.

#include <gtest/gtest.h>

#include "vantrell/writer/WriterMessage.h"

TEST(MessageIdFirst, TheFirstMessageOfTheProcessIsOneAndTheNextTwo) {
    pwr::IdMessage first;
    pwr::MetricContainerInfoMessage second;
    EXPECT_EQ(first.getMessageId(), 1u);
    EXPECT_EQ(second.getMessageId(), 2u);
}
