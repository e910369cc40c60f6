// SPDX-License-Identifier: Apache-2.0
// What rows take apart: values of every kind, lines of files, paths into JSON. A byte chooses the routine,
// the text follows.
#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>

#include <json-c/json.h>

#include "core/Refusal.h"
#include "core/RowSource.h"
#include "core/RowValue.h"
#include "handlers/network/Leases.h"
#include "handlers/network/Pools.h"

using namespace qsc;

namespace
{

void expect(bool holds)
{
    if (!holds) {
        std::abort();
    }
}

constexpr Row kRows[] = {
    {.name = "Text", .key = "a"},
    {.name = "Short", .limits = "1:8", .key = "a"},
    {.name = "Boolean", .kind = Kind::kBoolean, .key = "a"},
    {.name = "Inverted", .kind = Kind::kBoolean, .marks = kInverted, .key = "a"},
    {.name = "Integer", .kind = Kind::kInteger, .key = "a"},
    {.name = "Ranges", .kind = Kind::kInteger, .limits = "-1|0:9|1000:", .key = "a"},
    {.name = "Unsigned", .kind = Kind::kUnsigned, .key = "a"},
    {.name = "UnsignedLong", .kind = Kind::kUnsignedLong, .key = "a"},
    {.name = "Word", .kind = Kind::kWord, .limits = "None|Open|WPA2-PSK", .key = "a"},
    {.name = "StoredWord", .kind = Kind::kStoredWord, .limits = QSC_STORED_WORDS("A|B", "one|"), .key = "a"},
    {.name = "IPv4", .kind = Kind::kIPv4, .key = "a"},
    {.name = "IPv6", .kind = Kind::kIPv6, .key = "a"},
    {.name = "IPAddress", .kind = Kind::kIPAddress, .key = "a"},
    {.name = "IPPrefix", .kind = Kind::kIPPrefix, .key = "a"},
    {.name = "Netmask", .kind = Kind::kNetmask, .key = "a"},
    {.name = "MacAddress", .kind = Kind::kMacAddress, .key = "a"},
    {.name = "Port", .kind = Kind::kPort, .key = "a"},
    {.name = "HostName", .kind = Kind::kHostName, .key = "a"},
    {.name = "Host", .kind = Kind::kHost, .key = "a"},
    {.name = "TimeOfDay", .kind = Kind::kTimeOfDay, .key = "a"},
    {.name = "Secret", .marks = kSecret, .key = "a"},
    {.name = "Texts", .place = Place::kList, .marks = kMany, .key = "a"},
    {.name = "Words", .kind = Kind::kWord, .marks = kMany, .limits = "0|1|2|3", .key = "a"},
    {.name = "Ports", .kind = Kind::kPort, .marks = kMany, .key = "a"},
    {.name = "MacAddresses", .kind = Kind::kMacAddress, .place = Place::kList, .marks = kMany, .key = "a"},
};
constexpr auto kPackedRows = kPacked<PackedRow, kRows>;

/// What is taken is free of control characters, and what is spoken of it is taken again as the same. What is
/// refused has a sentence.
void take(const PackedRow& row, std::string_view text)
{
    RowText stored;
    forget_refusal();
    if (to_stored(row, text, stored) != 0) {
        expect(*refusal() != '\0');
        return;
    }
    expect(std::ranges::none_of(stored.view(), is_control));
    if ((row.marks & kMany) != 0 || row.kind == Kind::kBoolean) {
        RowText again;
        expect(row.kind == Kind::kBoolean ||
               (to_stored(row, stored.view(), again) == 0 && again.view() == stored.view()));
        return;
    }
    RowText spoken;
    RowText again;
    to_spoken(row, stored.view(), spoken);
    expect(to_stored(row, spoken.view(), again) == 0 && again.view() == stored.view());
}

/// The first line is the name that is looked for.
void find_line(std::string_view text)
{
    const std::string_view name = first_line(text);
    text.remove_prefix(std::min(name.size() + 1, text.size()));
    const std::string_view value = find_line_value(text, name);
    expect(value.empty() ||
           (value.data() >= text.data() && value.data() + value.size() <= text.data() + text.size()));
}

/// The first line is the path.
void find_json(const std::string& text)
{
    const std::string_view path = first_line(text);
    json_object* const root = json_tokener_parse(text.c_str() + std::min(path.size() + 1, text.size()));
    json_object* const found = find_in_json(root, path);
    expect(found == nullptr || root != nullptr);
    json_object_put(root);
}

void read_text(std::string_view places)
{
    Sources sources;
    RowText text;
    // Files are named by the library alone.
    const bool names_file = places.find('/') != std::string_view::npos;
    (void)(!names_file && read_places(sources, places, "Fuzz", text));
}

/// Leases, whose names are the clients' own, and the times that they last.
void take_leases(std::string_view text)
{
    std::string_view rest = text;
    network::Lease lease;
    while (network::take_lease(rest, lease)) {
        expect(is_mac_address(lease.mac_address) && lease.host_name.find('\n') == std::string_view::npos);
    }
    expect(rest.empty());
    RowText stored;
    const i64 seconds = network::parse_lease_time(first_line(text));
    network::append_lease_time(seconds, stored);
    expect((seconds == -1 || seconds >= 120) && network::parse_lease_time(stored.view()) == seconds);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0) {
        return 0;
    }
    const std::string text{reinterpret_cast<const char*>(data + 1), size - 1};
    const std::size_t choice = data[0];
    if (choice < kPackedRows.size()) {
        take(kPackedRows[choice], text);
    } else if (choice >= 0xF0) {
        take_leases(text);
    } else if (choice % 4 == 0) {
        find_line(text);
    } else if (choice % 4 == 1) {
        find_json(text);
    } else if (choice % 4 == 2) {
        read_text(text);
    } else {
        u32 count = 0;
        (void)for_each_item(text, [&](std::string_view item) -> u32 {
            expect(!item.empty() && item.front() != ' ' && item.back() != ' ');
            return ++count > 1000 ? 1 : 0;
        });
    }
    return 0;
}
