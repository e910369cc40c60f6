// SPDX-License-Identifier: Apache-2.0
#include "handlers/network/ZoneSections.h"

#include <span>

#include "base/UciOptional.h"
#include "handlers/network/Pools.h"
#include "handlers/network/SectionNames.h"

namespace qsc::network
{

namespace
{

constexpr const char* kNetwork = "network";
constexpr const char* kFirewall = "firewall";
constexpr std::string_view kWan = "wan";

/// An option of a section that is made, and its value; "*" means the zone's name.
struct Option {
    const char* name;
    const char* value;
};

/// Makes a section of that name unless there is one.
u32 make_section(const char* package, const char* type, std::string_view section, std::string_view zone,
                 std::span<const Option> options)
{
    Text<62> name;
    name.append(section);
    if (has_section(package, section)) {
        return 0;
    }
    u32 code = add_section(package, type, name.c_str());
    for (const auto& [option, value] : options) {
        Text<126> whole;
        const std::string_view text = value;
        const std::size_t star = std::min(text.find('*'), text.size());
        whole.append(text.substr(0, star));
        if (star < text.size()) {
            whole.append(zone).append(text.substr(star + 1));
        }
        code = code != 0 ? code : uci_write(option_key(package, section, option).c_str(), whole.c_str());
    }
    return code;
}

Text<62> rule_section(std::string_view zone)
{
    Text<62> section;
    section.append("qrn_").append(zone);
    return section;
}

u32 delete_section(const char* package, std::string_view section)
{
    return has_section(package, section)
               ? call_optional(QrnUci_DeleteSection, option_key(package, section).c_str())
               : 0;
}

bool has_value(std::string_view section, const char* option, std::string_view value)
{
    RowText stored;
    read_option(kFirewall, section, option, stored);
    return stored.view() == value;
}

/// Calls use(section) for each forwarding between two zones.
template <typename Use>
u32 for_each_forwarding(std::string_view from, std::string_view to, Use use)
{
    SectionNames names;
    const u32 code = names.read(kFirewall, "forwarding");
    return code != 0 ? code : names.for_each([&](std::string_view section) -> u32 {
        return has_value(section, "src", from) && has_value(section, "dest", to) ? use(section) : 0;
    });
}

/// Takes the last ones first, as the names of those after one change with it.
u32 delete_forwardings(std::string_view zone)
{
    SectionNames names;
    Text<62> found;
    u32 code = 0;
    do {
        found.clear();
        code = names.read(kFirewall, "forwarding");
        code = code != 0 ? code : names.for_each([&](std::string_view section) -> u32 {
            const bool is_ours = has_value(section, "src", zone) || has_value(section, "dest", zone);
            (void)(is_ours && found.assign(section));
            return 0;
        });
        code = code != 0 || found.view().empty() ? code : delete_section(kFirewall, found.view());
    } while (code == 0 && !found.view().empty());
    return code;
}

/// Whether the ways from a zone are looked after here: also those of a zone that others have made, once
/// somebody says whether it is isolated.
bool is_arranged(std::string_view zone)
{
    RowText isolation;
    read_option(kZonePackage, zone, "isolation", isolation);
    return zone != kLanZone && (is_managed(zone) || !isolation.view().empty());
}

} // namespace

bool find_firewall_zone(std::string_view zone, Text<62>& section)
{
    Text<62> name;
    name.append(zone);
    return find_section(kFirewall, "zone", "name", name.c_str(), section);
}

bool is_managed(std::string_view zone)
{
    return zone != kLanZone && has_section(kNetwork, bridge_section(zone).view());
}

Text<62> bridge_section(std::string_view zone)
{
    Text<62> section;
    section.append("br_").append(zone);
    return section;
}

Text<62> bridge_device(std::string_view zone)
{
    Text<62> device;
    device.append("br-").append(zone);
    return device;
}

u32 make_zone(std::string_view zone)
{
    constexpr Option kInterface[] = {{"proto", "static"}, {"device", "br-*"}, {"disabled", "1"}};
    constexpr Option kBridge[] = {{"name", "br-*"}, {"type", "bridge"}, {"bridge_empty", "1"}};
    constexpr Option kZone[] = {
        {"name", "*"}, {"input", "ACCEPT"}, {"output", "ACCEPT"}, {"forward", "REJECT"}};
    // What a client needs of the router even where it may do nothing else.
    constexpr Option kRule[] = {{"name", "DNS and DHCP of *"},
                                {"src", "*"},
                                {"proto", "tcp udp"},
                                {"dest_port", "53 67"},
                                {"target", "ACCEPT"}};
    if (zone == kLanZone || (has_section(kNetwork, zone) && !is_managed(zone))) {
        return 0; // somebody else looks after it
    }
    u32 code = make_section(kNetwork, "interface", zone, zone, kInterface);
    code = code != 0 ? code : make_section(kNetwork, "device", bridge_section(zone).view(), zone, kBridge);
    code = code != 0 ? code : make_pool(zone);
    Text<62> section;
    if (code != 0 || find_firewall_zone(zone, section)) {
        return code;
    }
    code = make_section(kFirewall, "zone", zone, zone, kZone);
    section.append(zone);
    const char* const network = section.c_str();
    code = code != 0
               ? code
               : call_optional(QrnUci_SetList, option_key(kFirewall, zone, "network").c_str(), &network, 1U);
    code = code != 0 ? code : make_section(kFirewall, "rule", rule_section(zone).view(), zone, kRule);
    return code != 0 ? code : forward(zone, kWan, true);
}

u32 make_arranged_zone(std::string_view zone)
{
    const bool was_managed = is_managed(zone);
    const u32 code = make_zone(zone);
    return code != 0 || was_managed == is_managed(zone) ? code : arrange_isolation();
}

u32 delete_zone(std::string_view zone)
{
    if (!is_managed(zone)) {
        return 0; // what others have made stays theirs
    }
    Text<62> section;
    u32 code = delete_section(kNetwork, zone);
    code = code != 0 ? code : delete_section(kNetwork, bridge_section(zone).view());
    code = code != 0 ? code : delete_section("dhcp", zone);
    code = code != 0 ? code : delete_section(kFirewall, rule_section(zone).view());
    code = code != 0 ? code : delete_forwardings(zone);
    return code != 0 || !find_firewall_zone(zone, section) ? code : delete_section(kFirewall, section.view());
}

bool is_forwarded(std::string_view from, std::string_view to)
{
    bool is_on = false;
    (void)for_each_forwarding(from, to, [&](std::string_view section) -> u32 {
        RowText enabled;
        read_option(kFirewall, section, "enabled", enabled);
        is_on = is_on || enabled.view().empty() || is_switched_on(enabled.view());
        return 0;
    });
    return is_on;
}

u32 forward(std::string_view from, std::string_view to, bool is_on)
{
    if (is_forwarded(from, to) == is_on) {
        return 0;
    }
    bool is_found = false;
    const auto write = [&](std::string_view section) {
        is_found = true;
        return uci_write(option_key(kFirewall, section, "enabled").c_str(), is_on ? "1" : "0");
    };
    const u32 code = for_each_forwarding(from, to, write);
    if (code != 0 || is_found) {
        return code;
    }
    Text<62> section;
    const u32 added = section.fill([&](char* buffer, std::size_t size) {
        return call_optional(QrnUci_AddSection, kFirewall, "forwarding", static_cast<const char*>(nullptr),
                             buffer, static_cast<u32>(size));
    });
    Text<62> zone;
    zone.append(from);
    u32 written =
        added != 0 ? added : uci_write(option_key(kFirewall, section.view(), "src").c_str(), zone.c_str());
    zone.clear();
    zone.append(to);
    written = written != 0 ? written
                           : uci_write(option_key(kFirewall, section.view(), "dest").c_str(), zone.c_str());
    return written;
}

u32 arrange_isolation()
{
    ListedSections zones;
    u32 code = zones.read(kZones);
    for (i32 one = zones.next(0); code == 0 && one != 0; one = zones.next(one)) {
        const std::string_view zone = zones.find(one);
        const bool is_closed = is_option_on(kZonePackage, zone, "isolation");
        Text<62> section;
        if (is_arranged(zone) && find_firewall_zone(zone, section)) {
            code = uci_write(option_key(kFirewall, section.view(), "input").c_str(),
                             is_closed ? "REJECT" : "ACCEPT");
        }
        for (i32 two = zones.next(one); code == 0 && two != 0; two = zones.next(two)) {
            const std::string_view other = zones.find(two);
            if (!is_arranged(zone) && !is_arranged(other)) {
                continue;
            }
            const bool is_open = !is_closed && !is_option_on(kZonePackage, other, "isolation");
            code = forward(zone, other, is_open);
            code = code != 0 ? code : forward(other, zone, is_open);
        }
    }
    return code;
}

} // namespace qsc::network
