// SPDX-License-Identifier: Apache-2.0
#include "handlers/services/Firewall.h"

#include <algorithm>

#include "handlers/network/Zones.h"

namespace qsc::services
{

namespace
{

bool is_word(std::string_view text, std::string_view word)
{
    return std::ranges::equal(text, word, {}, to_lower);
}

u32 last_of(const PortRange& ports)
{
    return std::max(ports.first, ports.last);
}

/// Appends a range as people read it.
void describe(const PortRange& ports, ValueText& text)
{
    text.append_number(ports.first);
    if (ports.last > ports.first) {
        text.append(" to ").append_number(ports.last);
    }
}

} // namespace

bool will_be_on(const RowCall& call)
{
    RowText enabled;
    const bool is_said = !call.request.is_new || is_named(call, "Enable");
    return is_said && read_outcome(call, "Enable", enabled) == 0 && is_switched_on(enabled.view());
}

Protocols read_protocols(std::string_view proto)
{
    bool has_tcp = proto.empty();
    bool has_udp = proto.empty();
    (void)for_each_word(proto, [&](std::string_view word) -> u32 {
        const bool is_any =
            is_word(word, "tcpudp") || is_word(word, "all") || is_word(word, "any") || word == "*";
        has_tcp = has_tcp || is_any || is_word(word, "tcp") || word == "6";
        has_udp = has_udp || is_any || is_word(word, "udp") || word == "17";
        return 0;
    });
    return static_cast<Protocols>((has_tcp ? kTcp : 0) | (has_udp ? kUdp : 0));
}

bool read_ports(std::string_view text, PortRange& ports)
{
    const std::size_t mark = std::min(text.find_first_of("-:"), text.size());
    ports = {};
    return parse_whole(text.substr(0, mark), ports.first) && ports.first >= 1 && ports.first <= 65535 &&
           (mark == text.size() || (parse_whole(text.substr(mark + 1), ports.last) &&
                                    ports.last >= ports.first && ports.last <= 65535));
}

bool overlap(const Taken& one, const Taken& other)
{
    return (one.protocols & other.protocols) != 0 && one.ports.first <= last_of(other.ports) &&
           other.ports.first <= last_of(one.ports) && network::overlap(one.remote, other.remote);
}

bool read_remote(std::string_view text, network::Network& remote)
{
    const std::size_t slash = std::min(text.find('/'), text.size());
    u32 length = 32;
    remote = {0, 0};
    if (text.empty()) {
        return true;
    }
    if (!is_ipv4(text.substr(0, slash), remote.address) ||
        (slash < text.size() && (!parse_whole(text.substr(slash + 1), length) || length > 32 ||
                                 (text[slash + 1] == '0' && text.size() > slash + 2)))) {
        return false;
    }
    remote.mask = length == 0 ? 0 : UINT32_MAX << (32 - length);
    return true;
}

u32 walk_own_ports(u32 (*use)(void* context, const OwnPorts& ports), void* context)
{
    Sections rules{kFirewall, "rule"};
    u32 code = 0;
    while (const char* const rule = code == 0 ? rules.next() : nullptr) {
        RowText target;
        RowText proto;
        RowText ports;
        const bool is_from_wan = kFirewall.holds(rule, "src", "wan") || kFirewall.holds(rule, "src", "*");
        if (!kFirewall.is_on(rule, "enabled", true) || !is_from_wan || !kFirewall.holds(rule, "dest", "") ||
            kFirewall.holds(rule, "family", "ipv6") || !kFirewall.read(rule, "target", target) ||
            !is_word(target.view(), "accept") || !kFirewall.read(rule, "proto", proto) ||
            !kFirewall.read(rule, "dest_port", ports)) {
            continue;
        }
        code = for_each_word(ports.view(), [&](std::string_view word) -> u32 {
            OwnPorts own{.rule = rule, .protocols = read_protocols(proto.view()), .ports = {}};
            return own.protocols != 0 && read_ports(word, own.ports) ? use(context, own) : 0;
        });
    }
    return code;
}

bool has_hours()
{
    Sections rules{kFirewall, "rule"};
    const auto has = [](const char* rule, const char* option) {
        RowText text;
        return kFirewall.read(rule, option, text) && !text.view().empty();
    };
    while (const char* const rule = rules.next()) {
        if (kFirewall.is_on(rule, "enabled", true) && (has(rule, "start_time") || has(rule, "stop_time"))) {
            return true;
        }
    }
    return false;
}

u32 check_own_ports(const Taken& wanted)
{
    return for_each_own_port([&](const OwnPorts& own) -> u32 {
        if (!overlap(wanted, {.protocols = own.protocols, .ports = own.ports})) {
            return 0;
        }
        ValueText ports;
        describe(own.ports, ports);
        return refuse(EFAULT, "the router itself serves port %s on the WAN", ports.c_str());
    });
}

bool is_forwarding(const char* section)
{
    std::string_view name = section;
    name.remove_prefix(std::min(name.find('.') + 1, name.size()));
    name = name.substr(0, name.find('.'));
    RowText target;
    return name != kDmzSection && !name.starts_with(kOwnSection) && kFirewall.holds(name, "src", "wan") &&
           kFirewall.read(name, "target", target) && !is_word(target.view(), "snat");
}

u32 check_forwardings(const Taken& wanted, i32 except)
{
    ListedSections sections;
    if (sections.read(kForwardings) != 0) {
        return refuse(EFAULT, "the forwardings cannot be read");
    }
    for (i32 number = sections.next(0); number != 0; number = sections.next(number)) {
        const char* const section = sections.find(number);
        RowText proto;
        RowText ports;
        RowText remote;
        if (number == except || !kFirewall.is_on(section, "enabled", true) ||
            !kFirewall.read(section, "proto", proto) || !kFirewall.read(section, "src_dport", ports) ||
            !kFirewall.read(section, "src_ip", remote)) {
            continue;
        }
        Taken other{.protocols = read_protocols(proto.view())};
        if (!read_ports(ports.view(), other.ports)) {
            other.ports = {1, 65535}; // without ports it takes them all
        }
        (void)read_remote(remote.view(), other.remote);
        if (overlap(wanted, other)) {
            ValueText taken;
            describe(other.ports, taken);
            return refuse(EFAULT, "port forwarding %d takes port %s", number, taken.c_str());
        }
    }
    return 0;
}

u32 check_client(std::string_view text, RowText& zone)
{
    u32 address = 0;
    network::Network network{};
    const int length = static_cast<int>(std::min<std::size_t>(text.size(), 64));
    if (!is_ipv4(text, address)) {
        return refuse(EFAULT, "'%.*s' is no IPv4 address", length, text.data());
    }
    if (network::find_zone_of(address, &zone, &network) == 0 ||
        !network::is_host_address({address, network.mask})) {
        return refuse(EFAULT, "%.*s is no address in a zone of the router", length, text.data());
    }
    return network::is_router_address(address) ? refuse(EFAULT, "it is the address of the router") : 0;
}

bool find_zone_of(std::string_view client, RowText& zone)
{
    u32 address = 0;
    return is_ipv4(client, address) && network::find_zone_of(address, &zone) != 0;
}

namespace
{

u32 read_description(const RowCall& call, RowText& text)
{
    const u32 code = read_stored(call.request, call.row, text);
    if (code == 0 && text.view().empty()) {
        (void)kFirewall.read(section_name(call.request), "name", text);
    }
    return code;
}

/// Letters and digits, with a blank for each run of other characters between them.
Text<60> clean_name(std::string_view text)
{
    Text<60> name;
    bool is_apart = false;
    for (const char& letter : text) {
        const bool is_clean = is_digit(letter) || is_lower(to_lower(letter));
        const std::size_t length = is_apart && !name.view().empty() ? 2 : 1;
        if (is_clean && name.view().size() + length > 60) {
            break;
        }
        if (is_clean) {
            name.append(length == 2 ? " " : "").append({&letter, 1});
        }
        is_apart = !is_clean;
    }
    return name;
}

} // namespace

u32 answer_description(const RowCall& call)
{
    RowText text;
    const u32 code = read_description(call, text);
    return code != 0 ? code : answer_stored(call, text.view());
}

u32 store_description(const RowCall& call, std::string_view stored)
{
    RowText before;
    u32 code = read_description(call, before);
    if (code != 0 || before.view() == stored) {
        return code; // the name that somebody else has given it stays
    }
    code = write_stored(call, stored);
    return code != 0 ? code : kFirewall.keep(section_name(call.request), "name", clean_name(stored).view());
}

} // namespace qsc::services
