// SPDX-License-Identifier: Apache-2.0
// The kinds of values: reading what a caller sent into the spelling in which it is stored, and back.
#pragma once

#include <algorithm>
#include <string_view>

#include "base/Parse.h"
#include "base/Text.h"
#include "core/PackedRow.h"

struct json_object;

namespace qsc
{

/// A value of a row. Longer ones are served by functions of their rows.
using RowText = Text<2046>;

/// Takes a caller's text as one value of a row, or as several with commas between them, in the spelling in
/// which each is stored (several: still with commas). EFAULT: refused, and refuse() said why.
[[nodiscard]] u32 to_stored(const PackedRow& row, std::string_view text, RowText& stored);

/// How a stored value, or one of several, is spoken.
void to_spoken(const PackedRow& row, std::string_view stored, RowText& spoken);

/// Which of the words between "|" this is, from 0; -1: none.
[[nodiscard]] int find_word(std::string_view words, std::string_view word);

/// Whether a stored switch is on, as the configuration's readers take it.
[[nodiscard]] bool is_switched_on(std::string_view stored);

/// What a set of a row takes: its own limits, or those that its kind has; null: none.
[[nodiscard]] const char* limits_of(const PackedRow& row);

/// What a value is called in listings.
[[nodiscard]] const char* type_name(const PackedRow& row);
[[nodiscard]] const char* unit_name(Unit unit);

/// Reads an IPv4 address, in host byte order.
[[nodiscard]] bool is_ipv4(std::string_view text, u32& address);

/// Reads a contiguous netmask; 0.0.0.0 is one.
[[nodiscard]] bool is_netmask(std::string_view text, u32& mask);

/// Whether this is the name of a host or an address of either kind.
[[nodiscard]] bool is_host(std::string_view text);

/// Reads a stored mask, which others may have written as a length. False: it is none, and `mask` stays.
[[nodiscard]] bool read_netmask(std::string_view stored, u32& mask);

/// Whether this is the address of one device: neither of several nor all zero.
[[nodiscard]] bool is_mac_address(std::string_view text);

/// Whether two MAC addresses are the same, in either case.
[[nodiscard]] bool is_same_address(std::string_view one, std::string_view other);

/// Appends letters as capitals.
template <typename Text>
void append_upper(Text& text, std::string_view letters)
{
    for (const char& letter : letters) {
        const char capital = to_upper(letter);
        text.append({&capital, 1});
    }
}

} // namespace qsc
