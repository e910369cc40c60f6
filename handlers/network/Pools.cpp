// SPDX-License-Identifier: Apache-2.0
#include "handlers/network/Pools.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "base/UciOptional.h"
#include "handlers/network/SectionNames.h"

namespace qsc::network
{

namespace
{

constexpr const char* kPackage = "dhcp";
constexpr i64 kUsualLeaseTime = 43'200;

struct Unit {
    char letter;
    i64 seconds;
};
constexpr Unit kUnits[] = {{'w', 604'800}, {'d', 86'400}, {'h', 3'600}, {'m', 60}, {'s', 1}};

Text<254> pool_key(std::string_view zone, const char* option)
{
    return option_key(kPackage, zone, option);
}

u32 read_number(std::string_view zone, const char* option, u32 fallback)
{
    RowText text;
    u32 number = fallback;
    read_option(kPackage, zone, option, text);
    (void)parse_whole(text.view(), number);
    return number;
}

/// The items of a zone's dhcp_option, each with its end, and how many. A plain option has them as words.
struct Options {
    std::array<char, 4096> text;
    std::array<const char*, 64> items;
    u32 count = 0;

    [[nodiscard]] u32 read(std::string_view zone)
    {
        u32 stored = 0;
        const u32 code = call_optional(QrnUci_GetList, pool_key(zone, "dhcp_option").c_str(), text.data(),
                                       static_cast<u32>(text.size()), &stored);
        if (code != 0) {
            return code == EFAULT && uci_is_missing(pool_key(zone, "dhcp_option").c_str()) ? 0 : code;
        }
        if (stored == 1 && is_several(text.data())) {
            for (char* end = text.data(); (end = std::strchr(end, ' ')) != nullptr;) {
                *end++ = '\0';
                ++stored;
            }
        }
        const char* item = text.data();
        for (; count < stored && count < items.size(); item += std::strlen(item) + 1) {
            items[count++] = item;
        }
        return count == stored ? 0 : EFAULT;
    }

    /// Whether a text is several options with blanks between them, and not one that has some.
    static bool is_several(std::string_view text)
    {
        return text.find(' ') != std::string_view::npos &&
               for_each_word(text, [](std::string_view word) -> u32 {
                   u32 number = 0;
                   return parse_whole(word.substr(0, word.find(',')), number) ? 0 : EINVAL;
               }) == 0;
    }
};

/// "6," of a row whose key is that option's number.
Text<14> prefix_of(const RowCall& call)
{
    Text<14> prefix;
    prefix.append(call.row.key()).append(",");
    return prefix;
}

/// The servers that the options name; without, the router itself.
u32 read_servers(const RowCall& call, RowText& servers)
{
    Options options;
    const Text<14> prefix = prefix_of(call);
    if (const u32 code = options.read(zone_of(call.request))) {
        return code;
    }
    for (u32 i = 0; i < options.count; ++i) {
        std::string_view item = options.items[i];
        if (item.starts_with(prefix.view())) {
            item.remove_prefix(prefix.view().size());
            return servers.assign(item) ? 0 : EFAULT;
        }
    }
    Network network{};
    if (read_network(zone_of(call.request), network)) {
        append_ipv4(servers, network.address);
    }
    return 0;
}

/// Reads the end that a request names; otherwise it stays.
u32 read_end(const RowCall& call, const char* name, u32& address)
{
    RowText text;
    if (!is_named(call, name)) {
        return 0;
    }
    if (const u32 code = read_outcome(call, name, text)) {
        return code;
    }
    return is_ipv4(text.view(), address) ? 0 : refuse(EFAULT, "a pool has two ends");
}

/// The pool that a zone's options make in a network.
Pool place_pool(std::string_view zone, const Network& network)
{
    Pool pool{.network = network, .has_network = true};
    RowText text;
    u32 start = 0;
    read_option(kPackage, zone, "start", text);
    // An address counts by its place in the network.
    const u32 first = is_ipv4(text.view(), start) ? start & ~network.mask : read_number(zone, "start", 100);
    const u32 count = std::max(read_number(zone, "limit", 150), 1U);
    pool.first = (network.address & network.mask) + first;
    // The server cuts it off at the end of the network.
    const u32 most = std::max(broadcast_of(network) - 1, pool.first);
    pool.last = most - pool.first < count ? most : pool.first + count - 1;
    return pool;
}

u32 answer_end(const RowCall& call, u32 Pool::*end)
{
    const Pool pool = read_pool(zone_of(call.request));
    RowText text;
    if (pool.has_network) {
        append_ipv4(text, pool.*end);
    }
    return answer_stored(call, text.view());
}

} // namespace

Pool read_pool(std::string_view zone)
{
    Network network{};
    return read_network(zone, network) ? place_pool(zone, network) : Pool{};
}

bool is_pool_on(std::string_view zone)
{
    RowText mode;
    read_option(kPackage, zone, "dhcpv4", mode);
    return has_section(kPackage, zone) && !is_option_on(kPackage, zone, "ignore") &&
           mode.view() != "disabled";
}

u32 check_pool(const RowCall& call, const Network& network, Pool& pool)
{
    const std::string_view zone = zone_of(call.request);
    const Pool stored = read_pool(zone);
    pool = place_pool(zone, network);
    if (stored.has_network) {
        // A network that moves takes its pool along.
        pool.first = (network.address & network.mask) + (stored.first & ~stored.network.mask);
        pool.last = pool.first + (stored.last - stored.first);
    }
    u32 code = read_end(call, "MinAddress", pool.first);
    code = code != 0 ? code : read_end(call, "MaxAddress", pool.last);
    if (code != 0) {
        return code;
    }
    if (pool.first > pool.last) {
        return refuse(EFAULT, "the pool ends before it begins");
    }
    const bool fits = is_host_address({pool.first, network.mask}) &&
                      is_host_address({pool.last, network.mask}) && is_within(pool.first, network) &&
                      is_within(pool.last, network);
    if (!fits) {
        Text<62> ends;
        append_ipv4(ends, pool.first);
        ends.append(" to ");
        append_ipv4(ends, pool.last);
        return refuse(EFAULT, "the pool %s does not fit into the network", ends.c_str());
    }
    return network.address >= pool.first && network.address <= pool.last
               ? refuse(EFAULT, "the pool holds the address of the router")
               : 0;
}

namespace
{

/// What is named in the request, else what is stored.
u32 read_part(const RowCall& call, const char* name, u32 stored, u32& part)
{
    RowText text;
    part = stored;
    if (!is_named(call, name)) {
        return 0;
    }
    part = 0;
    const u32 code = read_outcome(call, name, text);
    (void)(is_ipv4(text.view(), part));
    return code;
}

/// Judges the ends of the pool in the network that there will be.
u32 judge_ends(const RowCall& call, Pool& pool)
{
    Network network{};
    const u32 code = read_next_network(call, network);
    return code != 0              ? code
           : network.address == 0 ? refuse(EFAULT, "the zone has no address")
                                  : check_pool(call, network, pool);
}

} // namespace

u32 read_next_network(const RowCall& call, Network& network)
{
    Network stored{};
    (void)read_network(zone_of(call.request), stored);
    const u32 code = read_part(call, "IPAddress", stored.address, network.address);
    return code != 0 ? code : read_part(call, "SubnetMask", stored.mask, network.mask);
}

u32 check_end(const RowCall& call, std::string_view)
{
    Pool pool;
    return judge_ends(call, pool);
}

u32 store_end(const RowCall& call, std::string_view)
{
    Pool pool;
    const u32 code = judge_ends(call, pool);
    return code != 0 ? code : store_ends(call, pool);
}

u32 check_pool_enable(const RowCall& call, std::string_view stored)
{
    return stored == "1" ? check_end(call, stored) : 0;
}

u32 make_pool(std::string_view zone)
{
    RowText text;
    if (has_section(kPackage, zone)) {
        return 0;
    }
    text.append(zone);
    constexpr const char* kOptions[][2] = {
        {"start", "100"}, {"limit", "150"}, {"leasetime", "12h"}, {"dhcpv4", "disabled"}, {"ignore", "1"}};
    u32 code = add_section(kPackage, kPackage, text.c_str());
    code = code != 0 ? code : uci_write(pool_key(zone, "interface").c_str(), text.c_str());
    for (const auto& [option, value] : kOptions) {
        code = code != 0 ? code : uci_write(pool_key(zone, option).c_str(), value);
    }
    return code;
}

u32 answer_pool_enable(const RowCall& call)
{
    return answer_stored(call, is_pool_on(zone_of(call.request)) ? "1" : "0");
}

u32 store_pool_enable(const RowCall& call, std::string_view stored)
{
    const bool is_on = stored == "1";
    const std::string_view zone = zone_of(call.request);
    u32 code = make_pool(zone);
    code = code != 0 ? code : uci_write(pool_key(zone, "dhcpv4").c_str(), is_on ? "server" : "disabled");
    return code != 0 ? code : uci_write(pool_key(zone, "ignore").c_str(), is_on ? "" : "1");
}

u32 answer_first(const RowCall& call)
{
    return answer_end(call, &Pool::first);
}

u32 answer_last(const RowCall& call)
{
    return answer_end(call, &Pool::last);
}

u32 store_ends(const RowCall& call, const Pool& pool)
{
    const std::string_view zone = zone_of(call.request);
    const Pool before = read_pool(zone);
    if (before.has_network && before.first == pool.first && before.last == pool.last) {
        return 0;
    }
    const u32 start = pool.first & ~pool.network.mask;
    u32 code = make_pool(zone);
    code = code != 0 ? code : uci_write_int(pool_key(zone, "start").c_str(), static_cast<i32>(start));
    return code != 0
               ? code
               : uci_write_int(pool_key(zone, "limit").c_str(), static_cast<i32>(pool.last - pool.first + 1));
}

u32 answer_servers(const RowCall& call)
{
    RowText servers;
    const u32 code = read_servers(call, servers);
    return code != 0 ? code : answer_stored(call, servers.view());
}

u32 check_servers(const RowCall&, std::string_view stored)
{
    constexpr std::size_t kMost = 4;
    return std::ranges::count(stored, ',') < static_cast<std::ptrdiff_t>(kMost)
               ? 0
               : refuse(EFAULT, "there are more than %zu", kMost);
}

u32 store_servers(const RowCall& call, std::string_view stored)
{
    RowText before;
    Options options;
    const std::string_view zone = zone_of(call.request);
    u32 code = read_servers(call, before);
    if (code != 0 || before.view() == stored) {
        return code;
    }
    code = make_pool(zone);
    code = code != 0 ? code : options.read(zone);
    const Text<14> prefix = prefix_of(call);
    RowText own;
    own.append(prefix.view()).append(stored);
    std::array<const char*, 65> items;
    u32 count = 0;
    bool is_placed = stored.empty();
    for (u32 i = 0; i < options.count; ++i) {
        if (!std::string_view{options.items[i]}.starts_with(prefix.view())) {
            items[count++] = options.items[i];
        } else if (!std::exchange(is_placed, true)) {
            items[count++] = own.c_str();
        }
    }
    if (!is_placed) {
        items[count++] = own.c_str();
    }
    return code != 0
               ? code
               : call_optional(QrnUci_SetList, pool_key(zone, "dhcp_option").c_str(), items.data(), count);
}

i64 parse_lease_time(std::string_view text)
{
    if (text == "infinite") {
        return -1;
    }
    const bool has_unit = !text.empty() && !is_digit(text.back());
    const auto unit = std::ranges::find(kUnits, has_unit ? text.back() : 's', &Unit::letter);
    text.remove_suffix(has_unit ? 1 : 0);
    u32 number = 0;
    if (unit == std::end(kUnits) || !parse_whole(text, number)) {
        return kUsualLeaseTime;
    }
    constexpr i64 kLeast = 120; // the server takes nothing shorter
    return std::clamp(i64{number} * unit->seconds, kLeast, i64{INT32_MAX});
}

void append_lease_time(i64 seconds, RowText& text)
{
    if (seconds < 0) {
        text.append("infinite");
        return;
    }
    // Hours are the largest that every server knows.
    const auto* unit = std::ranges::find(kUnits, 'h', &Unit::letter);
    while (seconds % unit->seconds != 0) {
        ++unit;
    }
    text.append_number(seconds / unit->seconds)
        .append(unit->letter == 's' ? "" : std::string_view{&unit->letter, 1});
}

u32 answer_lease_time(const RowCall& call)
{
    RowText text;
    const u32 code = read_stored(call.request, call.row, text);
    return code != 0 ? code : answer_number(call, parse_lease_time(text.view()));
}

u32 store_lease_time(const RowCall& call, std::string_view stored)
{
    RowText before;
    RowText after;
    i64 seconds = kUsualLeaseTime;
    (void)parse_whole(stored, seconds);
    u32 code = read_stored(call.request, call.row, before);
    if (code != 0 || parse_lease_time(before.view()) == seconds) {
        return code;
    }
    code = make_pool(zone_of(call.request));
    append_lease_time(seconds, after);
    Text<254> key;
    append_key(call.request, call.row, key);
    return code != 0 ? code : uci_write(key.c_str(), after.c_str());
}

} // namespace qsc::network
