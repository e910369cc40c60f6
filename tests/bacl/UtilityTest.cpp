// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include "bacl.h"

TEST(Hex, WritesUpperCasePairsIntoAClearedBuffer)
{
    const std::array<uint8_t, 3> data{0x0A, 0x1B, 0xFF};
    std::array<char, 8> text;
    text.fill('#');
    EXPECT_EQ(BaCL_Binary2HexString(text.data(), 6, data.data(), 3), 22u);
    EXPECT_EQ(text[0], '#');
    EXPECT_EQ(BaCL_Binary2HexString(text.data(), 7, data.data(), 3), 0u);
    EXPECT_STREQ(text.data(), "0A1BFF");
    EXPECT_EQ(text[7], '#') << "beyond the given size";
    EXPECT_EQ(BaCL_Binary2HexString(text.data(), 8, data.data(), 0), 0u);
    EXPECT_EQ(std::string(text.data(), 8), std::string(8, '\0'));
    EXPECT_EQ(BaCL_Binary2HexString(text.data(), 1, data.data(), 0), 0u);

    EXPECT_EQ(BaCL_Binary2HexString(nullptr, 7, data.data(), 3), 22u);
    EXPECT_EQ(BaCL_Binary2HexString(text.data(), 0, data.data(), 0), 22u);
    EXPECT_EQ(BaCL_Binary2HexString(text.data(), -1, data.data(), 0), 22u);
    EXPECT_EQ(BaCL_Binary2HexString(text.data(), 7, nullptr, 0), 22u);
    EXPECT_EQ(BaCL_Binary2HexString(text.data(), 7, data.data(), -1), 22u);
    EXPECT_EQ(BaCL_Binary2HexString(text.data(), 7, data.data(), INT32_MAX), 22u);
}

TEST(Hex, ConvertsPairsWithoutValidation)
{
    const struct {
        const char* text;
        int32_t capacity;
        uint32_t code;
        std::vector<uint8_t> bytes;
    } cases[] = {
        {"0a1B", 2, 0, {0x0A, 0x1B}},
        {"", 2, 0, {}},
        {"0a1", 2, 22, {}},
        {"0a1B2c", 2, 22, {}},
        {"g1", 4, 0, {0}},
        {"1g", 4, 0, {1}},
        {"0x", 4, 0, {0}},
        {"+5", 4, 0, {0}},
        {" 5", 4, 0, {0}},
        {"\xC3\xA9", 4, 0, {0}},
        {"fF00", 9, 0, {255, 0}},
    };
    for (const auto& [text, capacity, code, bytes] : cases) {
        std::vector<uint8_t> data(static_cast<size_t>(capacity) + 1, '#');
        int32_t length = capacity;
        EXPECT_EQ(BaCL_HexString2Binary(data.data(), &length, text), code) << text;
        std::vector<uint8_t> expected = bytes;
        expected.resize(static_cast<size_t>(capacity), 0);
        expected.push_back('#');
        EXPECT_EQ(data, expected) << text << ": cleared up to its capacity";
        EXPECT_EQ(length, code == 0 ? static_cast<int32_t>(bytes.size()) : capacity) << text;
    }
    uint8_t untouched = '#';
    int32_t none = 0;
    int32_t one = 1;
    EXPECT_EQ(BaCL_HexString2Binary(&untouched, &none, ""), 22u);
    EXPECT_EQ(BaCL_HexString2Binary(&untouched, nullptr, ""), 22u);
    EXPECT_EQ(BaCL_HexString2Binary(&untouched, &one, nullptr), 22u);
    EXPECT_EQ(BaCL_HexString2Binary(nullptr, &one, ""), 22u);
    EXPECT_EQ(untouched, '#');
}

TEST(StringType, AllCharactersMustBelongToTheClass)
{
    const struct {
        uint32_t type;
        std::vector<const char*> members, others;
    } cases[] = {
        {0, {"aZ09"}, {"a b", "é", "a_"}},
        {1, {"aZ"}, {"a1"}},
        {2, {"0123456789"}, {"-1", "1.", "٣"}},
        {3, {"az"}, {"aZ", "`", "{"}},
        {4, {" ~"}, {"\x1F", "\x7F", "é"}},
        {5, {"AZ"}, {"Az", "@", "["}},
        {6, {"09afAF"}, {"g", "0x1"}},
        {7, {"-12", "+0", "5"}, {"-", "+", "--1", "1-", "0x1"}},
        {8, {"0x1f", "0XAb"}, {"0x", "1f", "x1", "0xg", "-0x1"}},
    };
    for (const auto& [type, members, others] : cases) {
        for (const char* text : members) {
            EXPECT_EQ(BaCL_IsStringType(text, type), 1u) << type << " " << text;
        }
        for (const char* text : others) {
            EXPECT_EQ(BaCL_IsStringType(text, type), 0u) << type << " " << text;
        }
        EXPECT_EQ(BaCL_IsStringType("", type), 0u);
        EXPECT_EQ(BaCL_IsStringType(nullptr, type), 0u);
    }
    EXPECT_EQ(BaCL_IsStringType("a", 9), 0u);
}

TEST(Trim, LineFeedsAtTheEndWithinTheBuffer)
{
    const struct {
        const char* text;
        int32_t size;
        const char* result;
    } cases[] = {
        {"a\r\n", 8, "a\r"}, {"a\n\n\n", 8, "a"}, {"\n\n", 8, ""},   {"", 8, ""},
        {"a\nb", 8, "a\nb"}, {"ab\n", 2, "ab\n"}, {"a\n\n", 2, "a"},
    };
    for (const auto& [text, size, result] : cases) {
        std::array<char, 8> buffer{};
        std::strcpy(buffer.data(), text);
        EXPECT_EQ(BaCL_RemoveLineFeed(buffer.data(), size), 0u);
        EXPECT_STREQ(buffer.data(), result);
    }
    char text[] = "\n";
    EXPECT_EQ(BaCL_RemoveLineFeed(nullptr, 1), 22u);
    EXPECT_EQ(BaCL_RemoveLineFeed(text, 0), 22u);
    EXPECT_EQ(BaCL_RemoveLineFeed(text, -1), 22u);
    EXPECT_STREQ(text, "\n");
}

TEST(Trim, WhiteSpaceAtBothEnds)
{
    for (const auto& [text, result] :
         {std::pair{" \t\n\v\f\ra b\r\n ", "a b"}, {" \t ", ""}, {"", ""}, {"x", "x"}}) {
        std::string buffer = text;
        EXPECT_EQ(BaCL_TrimLTWhiteSpace(buffer.data()), 0u);
        EXPECT_STREQ(buffer.c_str(), result);
    }
    EXPECT_EQ(BaCL_TrimLTWhiteSpace(nullptr), 22u);
}

TEST(Version, ComparesNumberByNumber)
{
    const struct {
        std::string first, second;
        const char* separators;
        int32_t result;
    } cases[] = {
        {"1.10", "1.9", nullptr, 1}, {"2", "2.0.1", "", 0},
        {"1.2", "1.3", ".", -1},     {"1-2.3", "1.2-4", ".-", -1},
        {"1a.5", "1b.4", ".", 1},    {"x", "0", ".", 0},
        {"", "1", ".", 0},           {"...", "1", ".", 0},
        {"1..2", "1.1", ".", 1},     {"-1", "0", ".", -1},
        {"1.5", "1.4", ",", 0},      {"99999999999", "5", ".", 1},
    };
    for (auto [first, second, separators, result] : cases) {
        EXPECT_EQ(BaCL_VersionCompare(first.data(), second.data(), separators), result)
            << first << " " << second;
    }
    char one[] = "1";
    EXPECT_EQ(BaCL_VersionCompare(nullptr, one, "."), 0);
    EXPECT_EQ(BaCL_VersionCompare(one, nullptr, "."), 0);
}

TEST(Clock, AgreesWithTheKernel)
{
    const auto read = [](clockid_t clock) {
        timespec time{};
        clock_gettime(clock, &time);
        return static_cast<uint64_t>(time.tv_sec) * 1000 + static_cast<uint64_t>(time.tv_nsec) / 1000000;
    };
    const uint64_t before = read(CLOCK_MONOTONIC);
    const uint64_t reading = BaCL_GetTimestampMSHQ();
    const uint32_t narrow = BaCL_GetTimestampMS();
    const int64_t seconds = BaCL_GetTimestampSecHQ();
    const uint32_t narrow_seconds = BaCL_GetTimestampSec();
    const uint64_t after = read(CLOCK_MONOTONIC);
    EXPECT_LE(before, reading);
    EXPECT_LE(reading, after);
    EXPECT_LE(narrow - static_cast<uint32_t>(before), after - before);
    EXPECT_GE(seconds, static_cast<int64_t>(before / 1000));
    EXPECT_LE(seconds, static_cast<int64_t>(after / 1000));
    EXPECT_LE(narrow_seconds, after / 1000);
    EXPECT_GE(narrow_seconds, before / 1000);

    const uint64_t wall_before = read(CLOCK_REALTIME);
    const uint64_t wall = BaCL_GetTimestampRTMSHQ();
    const int64_t wall_seconds = BaCL_GetTimestampRTSecHQ();
    const uint64_t wall_after = read(CLOCK_REALTIME);
    EXPECT_LE(wall_before, wall);
    EXPECT_LE(wall, wall_after);
    EXPECT_GE(wall_seconds, static_cast<int64_t>(wall_before / 1000));
    EXPECT_LE(wall_seconds, static_cast<int64_t>(wall_after / 1000));
}

TEST(Octet, ByteOrderIsExplicitAndAlignmentIrrelevant)
{
    std::array<uint8_t, 5> data{0, 0x81, 0x02, 0x03, 0xF4};
    EXPECT_EQ(BaCL_GetUint16Be(&data[1]), 0x8102);
    EXPECT_EQ(BaCL_GetUint16Le(&data[1]), 0x0281);
    EXPECT_EQ(BaCL_GetUint32Be(&data[1]), 0x810203F4u);
    EXPECT_EQ(BaCL_GetUint32Le(&data[1]), 0xF4030281u);
    EXPECT_EQ(BaCL_PutUint32Be(&data[1], 0xA1B2C3D4u), 0u);
    EXPECT_EQ(data, (std::array<uint8_t, 5>{0, 0xA1, 0xB2, 0xC3, 0xD4}));
    EXPECT_EQ(BaCL_PutUint32Le(&data[1], 0xA1B2C3D4u), 0u);
    EXPECT_EQ(data, (std::array<uint8_t, 5>{0, 0xD4, 0xC3, 0xB2, 0xA1}));
    EXPECT_EQ(BaCL_PutUint16Be(&data[1], 0x1234), 0u);
    EXPECT_EQ(BaCL_PutUint16Le(&data[3], 0x1234), 0u);
    EXPECT_EQ(data, (std::array<uint8_t, 5>{0, 0x12, 0x34, 0x34, 0x12}));
    EXPECT_EQ(BaCL_GetUint16Be(nullptr) + BaCL_GetUint16Le(nullptr) + BaCL_GetUint32Be(nullptr) +
                  BaCL_GetUint32Le(nullptr),
              0u);
    EXPECT_EQ(BaCL_PutUint16Be(nullptr, 1), 22u);
    EXPECT_EQ(BaCL_PutUint16Le(nullptr, 1), 22u);
    EXPECT_EQ(BaCL_PutUint32Be(nullptr, 1), 22u);
    EXPECT_EQ(BaCL_PutUint32Le(nullptr, 1), 22u);
    for (const auto& [value, bits] :
         {std::pair{0u, 0u}, {0xFFu, 4u}, {0xF0u, 0u}, {0x5u, 2u}, {0xFFFFFFF8u, 1u}}) {
        EXPECT_EQ(BaCL_GetBitNumber(value), bits);
    }
}

TEST(Ipv4, PrefixesAndMasks)
{
    const struct {
        int32_t prefix;
        const char* mask;
        const char* broadcast; // of 192.0.2.77
    } cases[] = {
        {24, "255.255.255.0", "192.0.2.255"},   {0, "0.0.0.0", "255.255.255.255"},
        {-3, "0.0.0.0", "255.255.255.255"},     {1, "128.0.0.0", "255.255.255.255"},
        {26, "255.255.255.192", "192.0.2.127"}, {31, "255.255.255.254", "192.0.2.77"},
        {32, "255.255.255.255", "192.0.2.77"},  {40, "255.255.255.255", "192.0.2.77"},
    };
    for (const auto& [prefix, mask, broadcast] : cases) {
        EXPECT_STREQ(QrnNU_IPv4_PrefixToNetmaskString(prefix), mask);
        EXPECT_EQ(QrnNU_IPv4_PrefixToNetmaskValue(prefix), inet_addr(mask));
        EXPECT_EQ(QrnNU_IPv4_PrefixToNetmask(prefix), inet_addr(mask));
        EXPECT_EQ(QrnNU_IPv4_GetBroadcast(inet_addr("192.0.2.77"), prefix), inet_addr(broadcast));
    }
}
