// SPDX-License-Identifier: Apache-2.0
// The kinds of values: what a set of each takes, how it is stored, and how a stored one is spoken.
#include "core/RowValue.h"

#include <cerrno>

#include "core/Refusal.h"
#include "qsc_describe.h"

using namespace qsc;

namespace
{

constexpr const char* kStates = QSC_STORED_WORDS("None|Open|WPA2-PSK", "|open|psk2");

/// A row as the library keeps it.
struct Packed {
    std::vector<RowCell> cells;
    PackedRow row;

    explicit Packed(const Row& plain)
    {
        plain.for_each_cell([&](u32, RowCell cell) { cells.push_back(cell); });
        row = {plain, cells.data()};
    }
};

/// What the caller sent becomes, or "! SENTENCE".
std::string stored(const Row& row, std::string_view sent)
{
    RowText text;
    forget_refusal();
    const u32 code = to_stored(Packed{row}.row, sent, text);
    EXPECT_EQ(code, code == 0 ? 0u : u32{EFAULT}) << sent;
    EXPECT_EQ(std::string_view{refusal()}.empty(), code == 0) << sent;
    return code == 0 ? std::string{text.view()} : std::string{"! "} + refusal();
}

std::string spoken(const Row& row, std::string_view value)
{
    RowText text;
    to_spoken(Packed{row}.row, value, text);
    return std::string{text.view()};
}

} // namespace

TEST(RowValue, EachKindTakesItsFormsAndNoOther)
{
    using K = Kind;
    const struct {
        Row row;
        std::vector<std::pair<std::string, std::string>> taken; ///< and what is stored
        std::vector<std::string> refused;
    } cases[] = {
        {{.name = "text"},
         {{"", ""}, {"a, b 'c' \"d\"", "a, b 'c' \"d\""}, {std::string(126, 'x'), std::string(126, 'x')}},
         {std::string(127, 'x'), "a\nb", "\t", "\x7f", std::string("a\0b", 3)}},
        {{.name = "limited", .limits = "2:4"}, {{"ab", "ab"}, {"abcd", "abcd"}}, {"", "a", "abcde"}},
        {{.name = "long", .limits = ":1000"}, {{std::string(1000, 'x'), std::string(1000, 'x')}}, {}},
        {{.name = "longest", .limits = ":9000"}, {}, {std::string(2047, 'x')}},
        {{.name = "switch", .kind = K::kBoolean},
         {{"1", "1"}, {"0", "0"}, {"true", "1"}, {"false", "0"}},
         {"", "2", "on", "yes", "True", " 1", "1 "}},
        {{.name = "inverted", .kind = K::kBoolean, .marks = kInverted},
         {{"1", "0"}, {"0", "1"}, {"true", "0"}, {"false", "1"}},
         {""}},
        {{.name = "int", .kind = K::kInteger},
         {{"0", "0"}, {"-0", "0"}, {"+7", "7"}, {"-2147483648", "-2147483648"}},
         {"", "-", "+", "+-1", "--1", "2147483648", "1.0", "1e3", "0x1", "010", "-01", "1 ", " 1", "true"}},
        {{.name = "ranges", .kind = K::kInteger, .limits = "-1|10:20|100:"},
         {{"-1", "-1"}, {"10", "10"}, {"20", "20"}, {"9223372036854775807", "9223372036854775807"}},
         {"-2", "0", "9", "21", "99", "9223372036854775808"}},
        {{.name = "unsigned", .kind = K::kUnsigned}, {{"4294967295", "4294967295"}}, {"-1", "4294967296"}},
        {{.name = "wide", .kind = K::kUnsignedLong},
         {{"9223372036854775807", "9223372036854775807"}},
         {"-1", "18446744073709551616"}},
        {{.name = "port", .kind = K::kPort}, {{"1", "1"}, {"65535", "65535"}}, {"0", "65536", ""}},
        {{.name = "any port", .kind = K::kPort, .limits = "0:65535"}, {{"0", "0"}}, {"65536"}},
        {{.name = "word", .kind = K::kWord, .limits = "One|Two"},
         {{"Two", "Two"}},
         {"", "one", "One|Two", "Tw"}},
        {{.name = "stored word", .kind = K::kStoredWord, .limits = kStates},
         {{"None", ""}, {"Open", "open"}, {"WPA2-PSK", "psk2"}},
         {"open", "psk2", ""}},
        {{.name = "v4", .kind = K::kIPv4},
         {{"", ""}, {"192.168.1.1", "192.168.1.1"}},
         {"192.168.1", "192.168.1.256", "192.168.01.1", "1.2.3.4 ", "fe80::1", "1.2.3.4.5",
          std::string("1.2.3.4\0x", 9)}},
        {{.name = "needed", .kind = K::kIPv4, .marks = kNeeded}, {{"1.2.3.4", "1.2.3.4"}}, {""}},
        {{.name = "needed text", .marks = kNeeded}, {{"a", "a"}}, {""}},
        {{.name = "v6", .kind = K::kIPv6},
         {{"FE80::1", "FE80::1"}},
         {"1.2.3.4", "fe80::1%eth0", "fe80:::1", "::1/64"}},
        {{.name = "either", .kind = K::kIPAddress}, {{"::1", "::1"}, {"1.2.3.4", "1.2.3.4"}}, {"localhost"}},
        {{.name = "prefix", .kind = K::kIPPrefix},
         {{"10.0.0.0/8", "10.0.0.0/8"}, {"::/0", "::/0"}, {"2001:db8::/128", "2001:db8::/128"}},
         {"10.0.0.0", "10.0.0.0/", "10.0.0.0/33", "::/129", "/8", "10.0.0.0/-1", "10.0.0.0/08",
          "10.0.0.0/8/8", std::string("10.0.0.0\0/8", 11)}},
        {{.name = "mask", .kind = K::kNetmask},
         {{"255.255.255.0", "255.255.255.0"}, {"0.0.0.0", "0.0.0.0"}, {"255.255.255.255", "255.255.255.255"}},
         {"255.0.255.0", "0.0.0.255", "255.255.255.1", "24", "/24"}},
        {{.name = "mac", .kind = K::kMacAddress},
         {{"", ""}, {"0a:1b:2C:3d:4e:5f", "0A:1B:2C:3D:4E:5F"}},
         {"01:00:5e:00:00:01", "ff:ff:ff:ff:ff:ff", "00:00:00:00:00:00", "0a-1b-2c-3d-4e-5f",
          "0a:1b:2c:3d:4e", "0a:1b:2c:3d:4e:5g", "0a:1b:2c:3d:4e:5f:"}},
        {{.name = "host name", .kind = K::kHostName},
         {{"a", "a"}, {"Router-1", "Router-1"}, {"3com.example", "3com.example"}, {"123", "123"}},
         {"-a", "a-", "a_b", "a..b", "a.", ".a", "a b", std::string(64, 'a'), "1.2.3.4", "a.1"}},
        {{.name = "short name", .kind = K::kHostName, .limits = "1:3"}, {{"abc", "abc"}}, {"abcd"}},
        {{.name = "host", .kind = K::kHost},
         {{"time.example.net", "time.example.net"}, {"::1", "::1"}, {"1.2.3.4", "1.2.3.4"}},
         {"1.2.3.256", "a b", "a/b"}},
        {{.name = "hex", .kind = K::kHexBinary, .limits = "2:3"},
         {{"", ""}, {"0aF9", "0aF9"}, {"012345", "012345"}},
         {"00", "0a0", "00112233", "0x11", "zz00"}},
        {{.name = "passphrase", .marks = kSecret, .limits = "8:63"},
         {{"", ""}, {"8letters", "8letters"}},
         {"7letter"}},
        {{.name = "time", .kind = K::kTimeOfDay},
         {{"00:00", "00:00"}, {"23:59", "23:59"}},
         {"24:00", "12:60", "1:00", "12:3", "12-30", "12:30:00", "+1:00"}},
        {{.name = "macs", .kind = K::kMacAddress, .marks = kMany},
         {{"", ""},
          {"0a:00:00:00:00:01 ,0a:00:00:00:00:02", "0A:00:00:00:00:01,0A:00:00:00:00:02"},
          {",0a:00:00:00:00:01,,", "0A:00:00:00:00:01"}},
         {"0a:00:00:00:00:01;0a:00:00:00:00:02", "0a:00:00:00:00:01,x",
          "0a:00:00:00:00:01,0A:00:00:00:00:01"}},
        {{.name = "words", .kind = K::kStoredWord, .marks = kMany, .limits = kStates},
         {{"Open,WPA2-PSK", "open,psk2"}},
         {"Open,None,open"}},
        {{.name = "needed list", .kind = K::kIPv4, .marks = kMany | kNeeded},
         {{"1.2.3.4", "1.2.3.4"}},
         {"", " , "}},
        {{.name = "texts in an option", .marks = kMany, .key = "ifname"}, {{"a, b", "a,b"}}, {"a b,c"}},
        {{.name = "texts in a list", .place = Place::kList, .marks = kMany}, {{"a b,c", "a b,c"}}, {}},
        {{.name = "too many", .kind = K::kUnsigned, .marks = kMany}, {}, {[] {
             std::string all;
             for (int i = 10000; i < 10400; ++i) {
                 all += std::to_string(i) + ",";
             }
             return all;
         }()}},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.row.name.text);
        for (const auto& [sent, result] : one.taken) {
            EXPECT_EQ(stored(one.row, sent), result) << sent;
        }
        for (const std::string& sent : one.refused) {
            EXPECT_TRUE(stored(one.row, sent).starts_with("! ")) << sent;
        }
    }
}

TEST(RowValue, StoredValuesAreSpokenAsTheStandardHasThem)
{
    const struct {
        Row row;
        const char* stored;
        const char* spoken;
    } cases[] = {
        {{.name = "text"}, "as it is", "as it is"},
        {{.name = "mac", .kind = Kind::kMacAddress}, "0a:1b:2c:3d:4e:5f", "0A:1B:2C:3D:4E:5F"},
        {{.name = "word", .kind = Kind::kStoredWord, .limits = kStates}, "psk2", "WPA2-PSK"},
        {{.name = "none", .kind = Kind::kStoredWord, .limits = kStates}, "", "None"},
        {{.name = "none last", .kind = Kind::kStoredWord, .limits = QSC_STORED_WORDS("On|Off", "on|")},
         "",
         "Off"},
        {{.name = "foreign", .kind = Kind::kStoredWord, .limits = kStates}, "sae", "sae"},
        {{.name = "mask", .kind = Kind::kNetmask}, "255.255.0.0", "255.255.0.0"},
        {{.name = "length", .kind = Kind::kNetmask}, "24", "255.255.255.0"},
        {{.name = "no length", .kind = Kind::kNetmask}, "0", "0.0.0.0"},
        {{.name = "bad length", .kind = Kind::kNetmask}, "33", "33"},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(spoken(one.row, one.stored), one.spoken) << one.row.name.text;
    }
    for (const char* on : {"1", "on", "true", "yes", "enabled"}) {
        EXPECT_TRUE(is_switched_on(on)) << on;
    }
    for (const char* off : {"", "0", "off", "false", "no", "disabled", "ON", "11"}) {
        EXPECT_FALSE(is_switched_on(off)) << off;
    }
}

TEST(RowValue, RefusalsSayWhatIsWantedButNeverASecret)
{
    const struct {
        Row row;
        const char* sent;
        const char* sentence;
    } cases[] = {
        {{.name = "number", .kind = Kind::kInteger, .limits = "-1|1:10|100:"},
         "0",
         "0 is not -1 or 1 to 10 or 100 or more"},
        {{.name = "most", .kind = Kind::kInteger, .limits = ":9"}, "10", "10 is not at most 9"},
        {{.name = "word", .kind = Kind::kWord, .limits = "One|Two"},
         "Three",
         "'Three' is not one of One|Two"},
        {{.name = "digits", .kind = Kind::kInteger}, "1x", "'1x' is no whole number"},
        {{.name = "text", .limits = "2:4"}, "x", "it has 1 characters, not 2 to 4"},
        {{.name = "address", .kind = Kind::kIPv4}, "here", "'here' is no IPv4 address"},
        {{.name = "PIN", .kind = Kind::kUnsigned, .marks = kSecret, .limits = ":9999"},
         "12345670",
         "the value is not at most 9999"},
        {{.name = "secret word", .kind = Kind::kWord, .marks = kSecret, .limits = "a|b"},
         "hush",
         "the value is not one of a|b"},
        {{.name = "key", .kind = Kind::kIPv4, .marks = kSecret}, "hush", "the value is no IPv4 address"},
        {{.name = "phrase", .marks = kSecret}, "hush\n", "the value is a text with control characters"},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(stored(one.row, one.sent), std::string{"! "} + one.sentence);
    }
}

TEST(RowValue, KindsAndUnitsHaveTheirNames)
{
    using K = Kind;
    const std::pair<const char*, std::vector<Kind>> types[] = {
        {"boolean", {K::kBoolean, K::kAdd, K::kDelete}},
        {"int", {K::kInteger}},
        {"unsignedInt", {K::kUnsigned, K::kPort}},
        {"unsignedLong", {K::kUnsignedLong}},
        {"IPv4Address", {K::kIPv4, K::kNetmask}},
        {"IPv6Address", {K::kIPv6}},
        {"IPAddress", {K::kIPAddress}},
        {"IPPrefix", {K::kIPPrefix}},
        {"MACAddress", {K::kMacAddress}},
        {"dateTime", {K::kDateTime}},
        {"action", {K::kAction}},
        {"json", {K::kJson}},
        {"hexBinary", {K::kHexBinary}},
        {"string",
         {K::kText, K::kWord, K::kStoredWord, K::kHostName, K::kHost, K::kTimeOfDay, K::kReference,
          K::kLines}},
    };
    for (const auto& [name, kinds] : types) {
        for (const Kind kind : kinds) {
            EXPECT_STREQ(type_name(Packed{{.name = "x", .kind = kind}}.row), name);
        }
    }
    const char* const units[] = {"",    "seconds", "minutes", "milliseconds", "percent", "bytes",
                                 "KiB", "packets", "bit/s",   "kbit/s",       "Mbit/s",  "dBm"};
    for (u8 unit = 0; unit < std::size(units); ++unit) {
        EXPECT_STREQ(unit_name(static_cast<Unit>(unit)), units[unit]);
    }
}
