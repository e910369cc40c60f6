// SPDX-License-Identifier: Apache-2.0
#include "tools/qsc/Lookup.h"

#include "tools/qsc/Suggestion.h"

#include <string>

#include <gtest/gtest.h>

using namespace qsc;

TEST(Lookup, EditDistanceIgnoresCaseAndBoundsLength)
{
    EXPECT_EQ(edit_distance("", "abc"), 3u);
    EXPECT_EQ(edit_distance("Server", "sErver"), 0u);
    EXPECT_EQ(edit_distance("Servr", "Server"), 1u);
    EXPECT_EQ(edit_distance("kitten", "sitting"), 3u);
    EXPECT_EQ(edit_distance("gte", "get"), 1u);
    EXPECT_EQ(edit_distance("tge", "get"), 2u);
    EXPECT_EQ(edit_distance(std::string(5000, 'x'), std::string(5000, 'y')), 255u);
}

TEST(Lookup, OnlyWhatIsNearIsSuggested)
{
    const auto best = [](std::string_view given) {
        Suggestion suggestion{given};
        for (const char* word : {"Enable", "Server", "Port", "Protocol", "Prefix"}) {
            suggestion.consider(word);
        }
        return suggestion.best();
    };
    EXPECT_EQ(best("Foo"), "");
    EXPECT_EQ(best("Sever"), "Server");
    EXPECT_EQ(best("enabel"), "Enable");
    EXPECT_EQ(best("Por"), "Port");
    EXPECT_EQ(best("Proto"), "Protocol");
    EXPECT_EQ(best("P"), "");
    EXPECT_EQ(best("Endbale"), "Enable");
    EXPECT_EQ(best("Emdbale"), "");
}

TEST(Lookup, SubtreesMatchWholeNames)
{
    const struct {
        const char* path;
        const char* entry; ///< null: wrong usage
        const char* handed_on;
    } cases[] = {
        {"Device.Time", "Device.Time", "Device.Time"},
        {"Device.WiFi.Radio.2", "Device.WiFi.Radio", "Device.WiFi.Radio.2"},
        {"Device.WiFi.Foo", "Device.WiFi", "Device.WiFi.Foo"},
        {"Device.X_QRN_VPN.3", "Device.X_QRN_VPN.3", "Device.X_QRN_VPN.3"},
        {"Device.DHCPv4.Client.1.SentOption", "Device.DHCPv4.Client.1.SentOption.",
         "Device.DHCPv4.Client.1.SentOption."},
        {"Device.DHCPv4.Client.1.SentOption.*", "Device.DHCPv4.Client.1.SentOption.",
         "Device.DHCPv4.Client.1.SentOption.*"},
        {"Device.WiFiFoo", nullptr, nullptr},
        {"Device.Foo", nullptr, nullptr},
        {"version2", nullptr, nullptr},
        {"", nullptr, nullptr},
    };
    for (const auto& [path, entry, handed_on] : cases) {
        Target target{};
        EXPECT_EQ(find_subtree(path, target), entry != nullptr) << path;
        if (entry != nullptr) {
            ASSERT_NE(target.object.entry, nullptr) << path;
            EXPECT_STREQ(target.object.entry->path, entry);
            EXPECT_STREQ(target.path.c_str(), handed_on);
        }
    }
    Target target{};
    EXPECT_FALSE(find_subtree(std::string(5000, 'x').c_str(), target));
}

TEST(Lookup, NumbersAreWholeTexts)
{
    u32 number = 7;
    EXPECT_TRUE(parse_number("10", number) && number == 10);
    EXPECT_TRUE(parse_number("0xfF", number) && number == 255);
    for (const char* wrong : {"", "0x", "1x", "-1", "+1", " 1", "4294967296", "0x1FFFFFFFF"}) {
        EXPECT_FALSE(parse_number(wrong, number)) << wrong;
        EXPECT_EQ(number, 255u);
    }
}
