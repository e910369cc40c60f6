// SPDX-License-Identifier: Apache-2.0
#include "core/RowValue.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <arpa/inet.h>

#include "base/Parse.h"
#include "core/Refusal.h"
#include "include/bacl.h"

namespace qsc
{

namespace
{

constexpr std::string_view kSwitchedOn[] = {"1", "on", "true", "yes", "enabled"};

/// As much of a value as a sentence shows.
constexpr int kShown = 64;

#define SHOWN(text) std::min(static_cast<int>((text).size()), kShown), (text).data()

/// A secret is never shown, whatever is wrong with it.
u32 refuse_value(const PackedRow& row, std::string_view text, const char* why, const char* wanted = "")
{
    return (row.marks & kSecret) != 0 ? refuse(EFAULT, "the value is %s%s", why, wanted)
                                      : refuse(EFAULT, "'%.*s' is %s%s", SHOWN(text), why, wanted);
}

/// Takes what stands before a mark off a text.
std::string_view take_part(std::string_view& rest, char mark)
{
    const std::size_t end = std::min(rest.find(mark), rest.size());
    const std::string_view part = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return part;
}

/// Whether a number lies in one of the ranges "least:most" between "|"; either end may be missing.
bool is_within(std::string_view limits, i64 number)
{
    while (!limits.empty()) {
        std::string_view range = take_part(limits, '|');
        const bool is_single = range.find(':') == std::string_view::npos;
        const std::string_view first = take_part(range, ':');
        i64 least = INT64_MIN;
        i64 most = INT64_MAX;
        (void)parse_whole(first, least);
        (void)parse_whole(is_single ? first : range, most);
        if (number >= least && number <= most) {
            return true;
        }
    }
    return false;
}

/// "0:3" as people read it.
void describe_limits(std::string_view limits, Text<126>& text)
{
    while (!limits.empty()) {
        std::string_view range = take_part(limits, '|');
        const bool is_single = range.find(':') == std::string_view::npos;
        const std::string_view least = take_part(range, ':');
        text.append(text.view().empty() ? "" : " or ");
        if (is_single) {
            text.append(least);
        } else if (range.empty()) {
            text.append(least).append(" or more");
        } else if (least.empty()) {
            text.append("at most ").append(range);
        } else {
            text.append(least).append(" to ").append(range);
        }
    }
}

u32 store_number(const PackedRow& row, std::string_view text, RowText& stored)
{
    const std::string_view limits = limits_of(row);
    std::string_view digits = text;
    digits.remove_prefix(text.starts_with('-') || text.starts_with('+') ? 1 : 0);
    std::string_view decimal = text;
    decimal.remove_prefix(text.starts_with('+') ? 1 : 0);
    const bool is_decimal =
        !digits.empty() && is_digit(digits.front()) && (digits.size() == 1 || digits.front() != '0');
    i64 number = 0;
    if (!is_decimal || !parse_whole(decimal, number)) {
        return refuse_value(row, text, "no whole number");
    }
    if (!is_within(limits, number)) {
        Text<126> wanted;
        describe_limits(limits, wanted);
        return (row.marks & kSecret) != 0
                   ? refuse_value(row, text, "not ", wanted.c_str())
                   : refuse(EFAULT, "%lld is not %s", static_cast<long long>(number), wanted.c_str());
    }
    stored.append_number(number);
    return 0;
}

u32 store_text(const PackedRow& row, std::string_view text, RowText& stored)
{
    const char* const limits = limits_of(row);
    if (!is_within(limits, static_cast<i64>(text.size())) || text.size() > 2000) {
        Text<126> wanted;
        describe_limits(limits, wanted);
        return refuse(EFAULT, "it has %zu characters, not %s", text.size(), wanted.c_str());
    }
    stored.append(text);
    return 0;
}

std::string_view word_at(std::string_view words, int number)
{
    std::string_view word = take_part(words, '|');
    for (; number > 0; --number) {
        word = take_part(words, '|');
    }
    return word;
}

/// The stored spellings follow the words; see QSC_STORED_WORDS.
std::string_view stored_words(const PackedRow& row)
{
    const std::string_view words = row.limits();
    return row.kind == Kind::kStoredWord ? std::string_view{words.data() + words.size() + 1} : words;
}

u32 store_word(const PackedRow& row, std::string_view text, RowText& stored)
{
    const int number = find_word(row.limits(), text);
    if (number < 0) {
        return refuse_value(row, text, "not one of ", row.limits());
    }
    stored.append(word_at(stored_words(row), number));
    return 0;
}

bool is_address(int family, std::string_view text)
{
    std::array<unsigned char, sizeof(in6_addr)> address{};
    Text<62> terminated;
    return terminated.assign(text) && inet_pton(family, terminated.c_str(), address.data()) == 1;
}

bool is_prefix(std::string_view text)
{
    const std::string_view address = take_part(text, '/');
    u32 length = 0;
    // Some readers take "010" for 8.
    const bool is_decimal = text.size() == 1 || !text.starts_with('0');
    return is_decimal && parse_whole(text, length) &&
           ((is_address(AF_INET, address) && length <= 32) ||
            (is_address(AF_INET6, address) && length <= 128));
}

bool is_host_name(std::string_view text)
{
    std::string_view last = text;
    last.remove_prefix(text.rfind('.') + 1);
    // What ends in a number is an address, or nothing.
    if (text.empty() || text.size() > 253 ||
        (last.size() < text.size() && std::ranges::all_of(last, is_digit))) {
        return false;
    }
    while (!text.empty()) {
        const bool is_last = text.find('.') == std::string_view::npos;
        const std::string_view label = take_part(text, '.');
        const bool fits = !label.empty() && label.size() <= 63 && label.front() != '-' &&
                          label.back() != '-' && std::ranges::all_of(label, [](char c) {
                              return is_digit(c) || is_lower(to_lower(c)) || c == '-';
                          });
        if (!fits || (!is_last && text.empty())) {
            return false;
        }
    }
    return true;
}

bool is_hex_binary(const PackedRow& row, std::string_view text)
{
    return text.size() % 2 == 0 && is_within(limits_of(row), static_cast<i64>(text.size() / 2)) &&
           std::ranges::all_of(text, [](char c) { return hex_value(c) >= 0; });
}

bool is_time_of_day(std::string_view text)
{
    u32 hour = 0;
    u32 minute = 0;
    return text.size() == 5 && text[2] == ':' && parse_whole(text.substr(0, 2), hour) && hour < 24 &&
           parse_whole(text.substr(3), minute) && minute < 60;
}

/// Takes a value whose form a function judges; an empty one takes it away, or back to its fallback.
u32 store_form(const PackedRow& row, std::string_view text, bool is_right, const char* why, RowText& stored)
{
    if (!text.empty() && !is_right) {
        return refuse_value(row, text, why);
    }
    stored.append(text);
    return 0;
}

u32 store_switch(const PackedRow& row, std::string_view text, RowText& stored)
{
    const bool is_on = text == "1" || text == "true";
    if (!is_on && text != "0" && text != "false") {
        return refuse_value(row, text, "neither 0 nor 1");
    }
    stored.append(is_on != ((row.marks & kInverted) != 0) ? "1" : "0");
    return 0;
}

u32 store_mac_address(const PackedRow& row, std::string_view text, RowText& stored)
{
    const bool is_right = is_mac_address(text);
    RowText upper;
    append_upper(upper, is_right ? text : "");
    return store_form(row, is_right ? upper.view() : text, is_right, "no MAC address of one device", stored);
}

u32 store_one(const PackedRow& row, std::string_view text, RowText& stored)
{
    u32 number = 0;
    switch (row.kind) {
    case Kind::kBoolean:
    case Kind::kAdd:
    case Kind::kDelete:
        return store_switch(row, text, stored);
    case Kind::kInteger:
    case Kind::kUnsigned:
    case Kind::kUnsignedLong:
    case Kind::kPort:
        return store_number(row, text, stored);
    case Kind::kWord:
    case Kind::kStoredWord:
        return store_word(row, text, stored);
    case Kind::kIPv4:
        return store_form(row, text, is_address(AF_INET, text), "no IPv4 address", stored);
    case Kind::kIPv6:
        return store_form(row, text, is_address(AF_INET6, text), "no IPv6 address", stored);
    case Kind::kIPAddress:
        return store_form(row, text, is_address(AF_INET, text) || is_address(AF_INET6, text), "no IP address",
                          stored);
    case Kind::kIPPrefix:
        return store_form(row, text, is_prefix(text), "no address with a prefix length", stored);
    case Kind::kNetmask:
        return store_form(row, text, is_netmask(text, number), "no contiguous netmask", stored);
    case Kind::kMacAddress:
        return store_mac_address(row, text, stored);
    case Kind::kHostName:
        return store_form(row, text,
                          is_host_name(text) && is_within(limits_of(row), static_cast<i64>(text.size())),
                          "no host name", stored);
    case Kind::kHost:
        return store_form(row, text, is_host(text), "neither a host name nor an address", stored);
    case Kind::kHexBinary:
        return store_form(row, text, is_hex_binary(row, text), "not the wanted number of hexadecimal digits",
                          stored);
    case Kind::kTimeOfDay:
        return store_form(row, text, is_time_of_day(text), "no time of day, such as 03:30", stored);
    case Kind::kText:
    case Kind::kDateTime:
    case Kind::kReference:
    case Kind::kJson:
        return store_text(row, text, stored);
    case Kind::kLines:
        return 0;
    case Kind::kAction:
        break; // its table serves it
    }
    return EFAULT;
}

/// Whether a list may hold such a value only once.
bool is_unique(Kind kind)
{
    return kind == Kind::kIPv4 || kind == Kind::kIPv6 || kind == Kind::kIPAddress ||
           kind == Kind::kIPPrefix || kind == Kind::kMacAddress || kind == Kind::kPort;
}

/// Appends one value of several.
u32 store_item(const PackedRow& row, std::string_view item, RowText& stored)
{
    const std::string_view others = stored.view();
    stored.append(others.empty() ? "" : ",");
    if (const u32 code = store_one(row, item, stored)) {
        return code;
    }
    std::string_view own = stored.view();
    own.remove_prefix(std::min(others.size() + (others.empty() ? 0 : 1), own.size()));
    if (row.place == Place::kOption && own.find(' ') != std::string_view::npos) {
        return refuse_value(row, item, "a value with blanks"); // which stand between the values there
    }
    const auto is_own = [&](std::string_view other) -> u32 { return other == own ? EEXIST : 0; };
    return is_unique(row.kind) && for_each_item(others, is_own) != 0 ? refuse_value(row, item, "named twice")
                                                                     : 0;
}

} // namespace

const char* limits_of(const PackedRow& row)
{
    if (const char* const own = row.limits()) {
        return own;
    }
    switch (row.kind) {
    case Kind::kInteger:
        return "-2147483648:2147483647";
    case Kind::kUnsigned:
        return "0:4294967295";
    case Kind::kUnsignedLong:
        return "0:";
    case Kind::kPort:
        return "1:65535";
    case Kind::kHostName:
        return ":253";
    case Kind::kHexBinary:
        return ":63";
    case Kind::kText:
    case Kind::kDateTime:
    case Kind::kReference:
    case Kind::kJson:
        return ":126";
    default:
        return nullptr;
    }
}

int find_word(std::string_view words, std::string_view word)
{
    for (int i = 0;; ++i) {
        const bool is_last = words.find('|') == std::string_view::npos;
        if (take_part(words, '|') == word) {
            return i;
        }
        if (is_last) {
            return -1;
        }
    }
}

bool is_mac_address(std::string_view text)
{
    if (text.size() != 17) {
        return false;
    }
    bool is_zero = true;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (i % 3 == 2 ? text[i] != ':' : hex_value(text[i]) < 0) {
            return false;
        }
        is_zero = is_zero && (text[i] == ':' || text[i] == '0');
    }
    return !is_zero && hex_value(text[1]) % 2 == 0;
}

bool is_same_address(std::string_view one, std::string_view other)
{
    return std::ranges::equal(one, other, {}, to_upper, to_upper);
}

bool is_host(std::string_view text)
{
    return is_host_name(text) || is_address(AF_INET, text) || is_address(AF_INET6, text);
}

bool is_ipv4(std::string_view text, u32& address)
{
    Text<62> terminated;
    in_addr parsed{};
    if (!terminated.assign(text) || inet_pton(AF_INET, terminated.c_str(), &parsed) != 1) {
        return false;
    }
    address = ntohl(parsed.s_addr);
    return true;
}

bool is_netmask(std::string_view text, u32& mask)
{
    u32 parsed = 0;
    // The bits that are not set are the low ones: adding 1 to them leaves none of theirs.
    if (!is_ipv4(text, parsed) || (~parsed & (~parsed + 1)) != 0) {
        return false;
    }
    mask = parsed;
    return true;
}

bool read_netmask(std::string_view stored, u32& mask)
{
    u32 length = 0;
    if (parse_whole(stored, length) && length <= 32) {
        mask = length == 0 ? 0 : UINT32_MAX << (32 - length);
        return true;
    }
    return is_netmask(stored, mask);
}

bool is_switched_on(std::string_view stored)
{
    return std::ranges::find(kSwitchedOn, stored) != std::end(kSwitchedOn);
}

u32 to_stored(const PackedRow& row, std::string_view text, RowText& stored)
{
    const bool is_list = (row.marks & kMany) != 0;
    stored.clear();
    if (row.kind != Kind::kLines && std::ranges::any_of(text, is_control)) {
        return refuse_value(row, text, "a text with control characters");
    }
    if (text.empty() && (row.marks & kSecret) != 0) {
        return 0; // it stays what it is
    }
    const bool is_nothing = text.find_first_not_of(is_list ? ", " : "") == std::string_view::npos;
    if (is_nothing && (row.marks & kNeeded) != 0 && row.fallback() == nullptr) {
        return refuse(EFAULT, "it is empty");
    }
    const u32 code = is_list ? for_each_item(text, [&](auto item) { return store_item(row, item, stored); })
                             : store_one(row, text, stored);
    return code != 0 ? code : stored.fits() ? 0 : refuse(EFAULT, "it is too long");
}

void to_spoken(const PackedRow& row, std::string_view stored, RowText& spoken)
{
    const int word = row.kind == Kind::kStoredWord ? find_word(stored_words(row), stored) : -1;
    u32 length = 0;
    if (word >= 0) {
        spoken.append(word_at(row.limits(), word));
    } else if (row.kind == Kind::kMacAddress) {
        append_upper(spoken, stored);
    } else if (row.kind == Kind::kNetmask && parse_whole(stored, length) && length <= 32) {
        char mask[INET_ADDRSTRLEN];
        const in_addr bits{.s_addr = QrnNU_IPv4_PrefixToNetmask(static_cast<i32>(length))};
        spoken.append(or_empty(inet_ntop(AF_INET, &bits, mask, sizeof mask)));
    } else {
        spoken.append(stored);
    }
}

const char* type_name(const PackedRow& row)
{
    switch (row.kind) {
    case Kind::kBoolean:
    case Kind::kAdd:
    case Kind::kDelete:
        return "boolean";
    case Kind::kInteger:
        return "int";
    case Kind::kUnsigned:
    case Kind::kPort:
        return "unsignedInt";
    case Kind::kUnsignedLong:
        return "unsignedLong";
    case Kind::kIPv4:
    case Kind::kNetmask:
        return "IPv4Address";
    case Kind::kIPv6:
        return "IPv6Address";
    case Kind::kIPAddress:
        return "IPAddress";
    case Kind::kIPPrefix:
        return "IPPrefix";
    case Kind::kMacAddress:
        return "MACAddress";
    case Kind::kHexBinary:
        return "hexBinary";
    case Kind::kDateTime:
        return "dateTime";
    case Kind::kAction:
        return "action";
    case Kind::kJson:
        return "json";
    default:
        return "string";
    }
}

const char* unit_name(Unit unit)
{
    constexpr const char* kNames[] = {"",    "seconds", "minutes", "milliseconds", "percent", "bytes",
                                      "KiB", "packets", "bit/s",   "kbit/s",       "Mbit/s",  "dBm"};
    return kNames[static_cast<u8>(unit)];
}

} // namespace qsc
