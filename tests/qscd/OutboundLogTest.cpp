// SPDX-License-Identifier: Apache-2.0
// The daemon's own log, however soon it is stopped.
#include "tools/qscd/OutboundLog.h"

#include <gtest/gtest.h>

TEST(OutboundLog, WritesEverythingAndEndsHoweverSoon)
{
    constexpr int kRounds = 12;
    testing::internal::CaptureStderr();
    for (int round = 0; round < kRounds; ++round) {
        qscd::OutboundLog log;
        ASSERT_EQ(log.start(), 0u);
        log.add("round %d", round);
        EXPECT_EQ(log.stop(), 0u) << "the thread acknowledged in round " << round;
    }
    const std::string written = testing::internal::GetCapturedStderr();
    for (int round = 0; round < kRounds; ++round) {
        EXPECT_NE(written.find("qscd: round " + std::to_string(round) + "\n"), std::string::npos) << written;
    }
}
