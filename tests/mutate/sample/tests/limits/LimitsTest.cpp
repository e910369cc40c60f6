// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

extern "C" int limited(int value);
extern "C" unsigned last_digit(unsigned value);

TEST(Limits, Hold)
{
    EXPECT_EQ(limited(7), 7);
    EXPECT_EQ(limited(100), 100);
    EXPECT_EQ(limited(101), 100);
}

TEST(Limits, LastDigit)
{
    EXPECT_EQ(last_digit(7), 7U);
    EXPECT_EQ(last_digit(10), 0U);
    EXPECT_EQ(last_digit(13), 3U);
}
