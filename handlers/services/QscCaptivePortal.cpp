// SPDX-License-Identifier: Apache-2.0
// "Device.X_QRN_CaptivePortal": the page that guests see before they get to the Internet.
#include <algorithm>

#include <json-c/json.h>

#include "base/UciOptional.h"
#include "core/JsonList.h"
#include "core/Objects.h"
#include "handlers/network/EthernetPorts.h"
#include "handlers/network/References.h"
#include "handlers/network/Zones.h"
#include "handlers/services/Firewall.h"
#include "handlers/services/Items.h"
#include "handlers/services/Url.h"

using namespace qsc;
using namespace qsc::services;

namespace
{

QSC_MODULE("QscCaptivePortal");

constexpr const char* kAsk[] = {"ndsctl", "json", nullptr};
constexpr Tool kClients{.arguments = kAsk};

constexpr const char* kMechanism = "nodogsplash.@nodogsplash[0].macmechanism";
constexpr const char* kRules = "nodogsplash.@nodogsplash[0].preauthenticated_users";
/// What a rule of ours begins with; those of others are written otherwise.
constexpr std::string_view kRule = "allow all to ";

/// The daemon takes a '#' for the begin of a remark.
u32 check_text(const RowCall&, std::string_view stored)
{
    return stored.find('#') == std::string_view::npos ? 0 : refuse(EFAULT, "it has a '#'");
}

u32 check_page(const RowCall&, std::string_view stored)
{
    return check_url(stored);
}

u32 check_allowed(const RowCall&, std::string_view stored)
{
    return for_each_item(stored, [](std::string_view item) -> u32 {
        network::Network network{};
        return read_remote(item, network)
                   ? 0
                   : refuse(EFAULT, "it holds what is neither an IPv4 address nor a network");
    });
}

/// Ours, with commas between them.
void append_allowed(const Items& rules, RowText& allowed)
{
    for (std::string_view rule : rules.all()) {
        if (rule.starts_with(kRule)) {
            rule.remove_prefix(kRule.size());
            allowed.append(allowed.view().empty() ? "" : ",").append(rule);
        }
    }
}

u32 answer_allowed(const RowCall& call)
{
    Items rules;
    RowText allowed;
    (void)rules.read(kRules);
    append_allowed(rules, allowed);
    return answer_stored(call, allowed.view());
}

/// Ours follow those of others.
u32 set_allowed(const RowCall& call, std::string_view stored)
{
    Items rules;
    RowText before;
    if (!rules.read(kRules)) {
        return refuse(EFAULT, "the rules of the portal cannot be read");
    }
    append_allowed(rules, before);
    if (before.view() == stored) {
        return 0;
    }
    (void)for_each_item(before.view(), [&](std::string_view item) -> u32 {
        rules.remove(kRule, item, "");
        return 0;
    });
    u32 code = for_each_item(stored, [&](std::string_view item) -> u32 {
        return rules.add(kRule, item, "") ? 0 : refuse(EFAULT, "the portal has no room for so many rules");
    });
    code = code != 0 ? code : rules.write(kRules);
    if (code != 0) {
        QSC_LOG_CALL(call, kLogError, "%s not stored, error %u\n", kRules, code);
    }
    return code;
}

/// The zone whose clients meet the portal: it is stored by its device, or by its own name. 0: there is none.
i32 find_zone_on(std::string_view stored, RowText& name)
{
    i32 found = 0;
    (void)network::for_each_zone([&](i32 number, const char* zone) {
        network::DeviceName device;
        if (stored == zone || (network::read_device(zone, device) && device.view() == stored)) {
            found = name.assign(zone) ? number : 0;
        }
    });
    return found;
}

u32 answer_interface(const RowCall& call)
{
    RowText stored;
    RowText zone;
    RowText reference;
    if (const u32 code = read_stored(call.request, call.row, stored)) {
        return code;
    }
    if (find_zone_on(stored.view(), zone) != 0) {
        network::refer_to_interface(zone.view(), reference);
    }
    return answer_stored(call, reference.view());
}

/// The network of a zone that may have a portal. False: it is none.
bool find_zone(std::string_view reference, RowText& zone)
{
    RowText name;
    return network::find_interface(reference, zone) && find_zone_on(zone.view(), name) > network::kFirstZone;
}

u32 check_interface(const RowCall&, std::string_view stored)
{
    RowText zone;
    return find_zone(stored, zone) ? 0 : refuse(EFAULT, "it is no zone, or the first");
}

u32 set_interface(const RowCall& call, std::string_view stored)
{
    RowText zone;
    network::DeviceName device;
    (void)find_zone(stored, zone);
    return write_stored(call, network::read_device(zone.view(), device) ? device.view() : zone.view());
}

/// Administrators must get past it: the first zone never has it.
u32 check_enable(const RowCall& call, std::string_view stored)
{
    RowText interface;
    RowText zone;
    if (stored != "1" || is_named(call, "Interface")) {
        return 0; // that is judged by itself
    }
    const u32 code = read_stored(call.request, *find_row(call.request.object, "Interface"), interface);
    return code == 0 && find_zone_on(interface.view(), zone) <= network::kFirstZone
               ? refuse(EFAULT, "it needs an interface: a zone other than the first")
               : code;
}

u32 answer_timeout(const RowCall& call)
{
    RowText stored;
    i64 minutes = 0;
    const u32 code = read_stored(call.request, call.row, stored);
    (void)parse_leading(stored.view(), minutes);
    return code != 0 ? code : answer_number(call, minutes * 60);
}

u32 check_timeout(const RowCall&, std::string_view stored)
{
    u32 seconds = 0;
    (void)parse_whole(stored, seconds);
    return seconds % 60 == 0 ? 0 : refuse(EFAULT, "%u seconds are no whole minutes", seconds);
}

u32 set_timeout(const RowCall& call, std::string_view stored)
{
    u32 seconds = 0;
    Text<14> minutes;
    (void)parse_whole(stored, seconds);
    return write_stored(call, minutes.append_number(seconds / 60).view());
}

/// No address is trusted and blocked at once.
u32 check_addresses(const RowCall& call, std::string_view stored)
{
    const bool blocks = call.function[0] == 'B';
    RowText others;
    if (const u32 code = read_outcome(call, blocks ? "TrustedList" : "BlockedList", others)) {
        return code;
    }
    const u32 code = for_each_item(stored, [&](std::string_view item) -> u32 {
        return for_each_item(others.view(), [&](std::string_view other) -> u32 {
            return is_same_address(item, other) ? refuse(EFAULT, "it would be trusted and blocked at once")
                                                : 0;
        });
    });
    return code == 0 && blocks && !stored.empty() && uci_holds(kMechanism, "allow")
               ? refuse(EFAULT, "the portal is set up to let in listed devices alone")
               : code;
}

/// The daemon compares addresses as the kernel writes them, in small letters.
u32 set_addresses(const RowCall& call, std::string_view stored)
{
    RowText before;
    RowText lower;
    Text<254> key;
    append_key(call.request, call.row, key);
    u32 code = read_stored(call.request, call.row, before);
    if (code != 0 || is_same_address(before.view(), stored)) {
        return code;
    }
    lower.append(stored);
    std::transform(lower.data(), lower.data() + stored.size(), lower.data(), to_lower);
    code = write_items(key.c_str(), lower);
    const bool blocks = call.function[0] == 'B' && !stored.empty();
    return code != 0 || !blocks || uci_holds(kMechanism, "block") ? code : uci_write(kMechanism, "block");
}

u32 answer_status(const RowCall& call)
{
    if (!is_row_on(call.request)) {
        return answer_stored(call, "Disabled");
    }
    return answer_stored(call, call.request.sources.json(kClients, kModule) != nullptr ? "Enabled" : "Error");
}

/// What the daemon counts in units of 1000 bytes.
i64 read_bytes(json_object* client, const char* member)
{
    json_object* value = nullptr;
    return find_member(client, member, value) ? json_object_get_int64(value) * 1000 : 0;
}

/// The clients by their MAC addresses, in a member of their own or not.
u32 answer_clients(const RowCall& call)
{
    JsonList list;
    json_object* clients = is_row_on(call.request) ? call.request.sources.json(kClients, kModule) : nullptr;
    json_object* member = nullptr;
    clients = find_member(clients, "clients", member) ? member : clients;
    if (is_object(clients)) {
        json_object_object_foreach(clients, name, client)
        {
            RowText address;
            std::string_view ip;
            std::string_view state;
            json_object* value = nullptr;
            if (!is_mac_address(name) || !is_object(client)) {
                continue;
            }
            append_upper(address, name);
            (void)(find_member(client, "ip", value) && text_of(value, ip) == 0);
            (void)(find_member(client, "state", value) && text_of(value, state) == 0);
            JsonRow row;
            row.add("MACAddress", address.view()).add("IPAddress", ip).add("State", state);
            row.add_number("BytesSent", read_bytes(client, "downloaded"));
            row.add_number("BytesReceived", read_bytes(client, "uploaded"));
            if (!list.add(std::move(row))) {
                break;
            }
        }
    }
    return list.answer(call);
}

constexpr Access kReadWrite = Access::kReadWrite;
constexpr Place kFunction = Place::kFunction;

constexpr Row kRows[] = {
    {.name = "URL", .access = kReadWrite, .limits = ":512", .key = "redirecturl", .check = check_page},
    {.name = "AllowedList",
     .access = kReadWrite,
     .place = kFunction,
     .marks = kMany,
     .limits = "1:18",
     .get = answer_allowed,
     .check = check_allowed,
     .set = set_allowed},
    {.name = "GatewayName",
     .access = kReadWrite,
     .limits = "1:126",
     .key = "gatewayname",
     .fallback = "NoDogSplash",
     .check = check_text},
    {.name = "Interface",
     .kind = Kind::kReference,
     .access = kReadWrite,
     .place = kFunction,
     .limits = ":256",
     .key = "gatewayinterface",
     .fallback = "br-lan",
     .get = answer_interface,
     .check = check_interface,
     .set = set_interface},
    {.name = "SessionTimeout",
     .kind = Kind::kUnsigned,
     .access = kReadWrite,
     .place = kFunction,
     .unit = Unit::kSeconds,
     .limits = "0:31536000",
     .key = "sessiontimeout",
     .fallback = "0",
     .get = answer_timeout,
     .check = check_timeout,
     .set = set_timeout},
    {.name = "MaxClients",
     .kind = Kind::kUnsigned,
     .access = kReadWrite,
     .limits = "1:65535",
     .key = "maxclients",
     .fallback = "20"},
    {.name = "TrustedList",
     .kind = Kind::kMacAddress,
     .access = kReadWrite,
     .place = kFunction,
     .marks = kMany,
     .key = "trustedmac",
     .check = check_addresses,
     .set = set_addresses},
    {.name = "BlockedList",
     .kind = Kind::kMacAddress,
     .access = kReadWrite,
     .place = kFunction,
     .marks = kMany,
     .key = "blockedmac",
     .check = check_addresses,
     .set = set_addresses},
    {.name = "Enable",
     .kind = Kind::kBoolean,
     .access = kReadWrite,
     .key = "enabled",
     .fallback = "0",
     .check = check_enable},
    {.name = "Status",
     .kind = Kind::kWord,
     .place = kFunction,
     .limits = "Disabled|Enabled|Error",
     .get = answer_status},
    {.name = "X_QRN_List", .kind = Kind::kJson, .place = kFunction, .get = answer_clients},
};

} // namespace

QSC_OBJECT(kCaptivePortal, "Device.X_QRN_CaptivePortal", kRows, .area = "captive portal",
           .section = "nodogsplash.@nodogsplash[0].", .package = "nodogsplash")
