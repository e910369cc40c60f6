// SPDX-License-Identifier: Apache-2.0
#include "base/Parse.h"

#include <optional>

#include <gtest/gtest.h>

using namespace qsc;

namespace
{

template <typename Number>
std::optional<Number> whole(std::string_view text, int base = 10)
{
    Number number = 42;
    if (parse_whole(text, number, base)) {
        return number;
    }
    EXPECT_EQ(number, Number{42}) << "'" << text << "' is refused, and must leave the number as it was";
    return std::nullopt;
}

TEST(Parse, ReadsEachTypeToItsLimitsAndNotBeyond)
{
    EXPECT_EQ(whole<i32>("2147483647"), INT32_MAX);
    EXPECT_EQ(whole<i32>("2147483648"), std::nullopt);
    EXPECT_EQ(whole<i32>("-2147483648"), INT32_MIN);
    EXPECT_EQ(whole<i32>("-2147483649"), std::nullopt);
    EXPECT_EQ(whole<u32>("4294967295"), UINT32_MAX);
    EXPECT_EQ(whole<u32>("4294967296"), std::nullopt);
    EXPECT_EQ(whole<i64>("9223372036854775807"), INT64_MAX);
    EXPECT_EQ(whole<i64>("9223372036854775808"), std::nullopt);
    EXPECT_EQ(whole<i64>("-9223372036854775808"), INT64_MIN);
    EXPECT_EQ(whole<i64>("-9223372036854775809"), std::nullopt);
    EXPECT_EQ(whole<u64>("18446744073709551615"), UINT64_MAX);
    EXPECT_EQ(whole<u64>("18446744073709551616"), std::nullopt);
    EXPECT_EQ(whole<u64>("30000000000000000000"), std::nullopt) << "it is no smaller number than it says";
}

TEST(Parse, TakesNothingButDigitsOfTheBaseAndAMinusForWhatCanBeNegative)
{
    for (const char* const text : {"", "-", "+1", " 1", "1 ", "1.", "0x1", "a", "--1", "1-"}) {
        EXPECT_EQ(whole<i32>(text), std::nullopt) << "'" << text << "'";
    }
    EXPECT_EQ(whole<u32>("-1"), std::nullopt);
    EXPECT_EQ(whole<u32>("007"), 7U);
    EXPECT_EQ(whole<i32>("-0"), 0);
    EXPECT_EQ(whole<u32>("fF", 16), 255U);
    EXPECT_EQ(whole<u32>("g", 16), std::nullopt);
    EXPECT_EQ(whole<u32>("17", 8), 15U);
    EXPECT_EQ(whole<u32>("18", 8), std::nullopt);
}

TEST(Parse, ReadsTheNumberThatATextBeginsWith)
{
    i32 number = 42;
    EXPECT_TRUE(parse_leading("-12.5", number));
    EXPECT_EQ(number, -12);
    for (const char* const text : {"", "-", "x1", "99999999999 "}) {
        EXPECT_FALSE(parse_leading(text, number)) << "'" << text << "'";
        EXPECT_EQ(number, -12);
    }
}

TEST(Parse, TakesTheBaseFromHowANumberIsWritten)
{
    const struct {
        const char* text;
        std::optional<i32> number;
    } cases[] = {{"10", 10},
                 {"0x1F", 31},
                 {"0X1f", 31},
                 {"-0x10", -16},
                 {"010", 8},
                 {"+010", 8},
                 {"0", 0},
                 {"-0", 0},
                 {"00", 0},
                 {"2147483647", INT32_MAX},
                 {"-2147483648", INT32_MIN},
                 {"2147483648", {}},
                 {"-2147483649", {}},
                 {"0x80000000", {}},
                 {"-0x80000000", INT32_MIN},
                 {"4294967297", {}},
                 {"08", {}},
                 {"0x", {}},
                 {"x1", {}},
                 {"", {}},
                 {"-", {}},
                 {"--1", {}},
                 {"+-1", {}},
                 {"1 ", {}}};
    for (const auto& [text, expected] : cases) {
        i32 number = 42;
        EXPECT_EQ(parse_any_base(text, number), expected.has_value()) << text;
        EXPECT_EQ(number, expected.value_or(42)) << text;
    }
}

} // namespace
