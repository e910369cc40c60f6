// SPDX-License-Identifier: Apache-2.0
// "Device.X_QRN_DMZ": the client that gets what comes from the WAN and no one else takes. It is a redirect of
// everything, so the ports that the router serves itself are redirected to the router before it.
#include "base/UciOptional.h"
#include "core/Objects.h"
#include "core/ServiceSteps.h"
#include "handlers/services/Firewall.h"
#include "include/qsc_handlers.h"

using namespace qsc;
using namespace qsc::services;

namespace
{

QSC_MODULE("QscDmz");

constexpr const char* kSection = "dmz";
constexpr const char* kRedirect = "redirect";
constexpr const char* kDestination = "dest_ip";
constexpr const char* kWaiting = "qrn_dest_ip";

bool has_dmz()
{
    return kFirewall.type_of(kSection).view() == kRedirect;
}

bool is_on()
{
    return has_dmz() && kFirewall.is_on(kSection, "enabled", true);
}

/// What the DMZ is made with; the client waits until it is switched on.
u32 make_dmz()
{
    constexpr OptionValue kOptions[] = {{"name", "DMZ"},  {"target", "DNAT"}, {"src", "wan"},
                                        {"proto", "all"}, {"family", "ipv4"}, {"enabled", "0"}};
    if (has_dmz()) {
        return 0;
    }
    const u32 code = kFirewall.make(kSection, kRedirect);
    return code != 0 ? refuse(code, "the section of the DMZ could not be made")
                     : kFirewall.keep(kSection, kOptions);
}

/// Reads where the DMZ leads, or will once it is switched on.
void read_destination(RowText& text)
{
    (void)kFirewall.read(kSection, kDestination, text);
    if (text.view().empty()) {
        (void)kFirewall.read(kSection, kWaiting, text);
    }
}

u32 answer_enable(const RowCall& call)
{
    return answer_stored(call, is_on() ? "1" : "0");
}

u32 answer_destination(const RowCall& call)
{
    RowText text;
    read_destination(text);
    return answer_stored(call, text.view());
}

/// Somebody else may have a section of that name.
u32 check_section()
{
    const ValueText type = kFirewall.type_of(kSection);
    return type.view().empty() || type.view() == kRedirect
               ? 0
               : refuse(EFAULT, "the firewall has a section \"dmz\" that is another");
}

u32 check_prefix(const RowCall&, std::string_view stored)
{
    network::Network remote{};
    return read_remote(stored, remote) ? check_section()
                                       : refuse(EFAULT, "it is no prefix of IPv4 addresses");
}

u32 check_description(const RowCall&, std::string_view)
{
    return check_section();
}

/// Whether the DMZ will be on and where it will lead then, neither of which is stored in one place.
u32 check_outcome(const RowCall& call, std::string_view)
{
    RowText enabled;
    RowText destination;
    RowText zone;
    u32 code = check_section();
    (void)enabled.assign(is_on() ? "1" : "0");
    read_destination(destination);
    if (code == 0 && is_named(call, "Enable")) {
        code = read_outcome(call, "Enable", enabled);
    }
    if (code == 0 && is_named(call, "DestIP")) {
        code = read_outcome(call, "DestIP", destination);
    }
    if (code != 0) {
        return code;
    }
    if (destination.view().empty()) {
        return enabled.view() == "1" ? refuse(EFAULT, "it needs the address of a client") : 0;
    }
    return enabled.view() == "1" || is_named(call, "DestIP") ? check_client(destination.view(), zone) : 0;
}

/// Makes the section for its first value; `is_nothing` is none.
u32 make_for(bool is_nothing)
{
    return is_nothing ? 0 : make_dmz();
}

u32 store_prefix(const RowCall& call, std::string_view stored)
{
    const u32 code = make_for(stored.empty());
    return code != 0 || !has_dmz() ? code : write_stored(call, stored);
}

u32 store_text(const RowCall& call, std::string_view stored)
{
    const u32 code = make_for(stored.empty());
    return code != 0 || !has_dmz() ? code : store_description(call, stored);
}

u32 store_destination(const RowCall&, std::string_view stored)
{
    const u32 code = make_for(stored.empty());
    return code != 0 || !has_dmz() ? code
                                   : kFirewall.keep(kSection, is_on() ? kDestination : kWaiting, stored);
}

u32 store_enable(const RowCall&, std::string_view stored)
{
    RowText destination;
    const bool on = stored == "1";
    read_destination(destination);
    const OptionValue options[] = {{kDestination, on ? destination.c_str() : ""},
                                   {kWaiting, on ? "" : destination.c_str()},
                                   {"enabled", on ? "1" : "0"}};
    u32 code = make_for(!on);
    if (code == 0 && has_dmz()) {
        code = kFirewall.keep(kSection, options);
        code = code != 0 || on ? code : kFirewall.keep(kSection, "dest", "");
    }
    return code;
}

u32 answer_status(const RowCall& call)
{
    RowText destination;
    RowText zone;
    read_destination(destination);
    const bool is_right = find_zone_of(destination.view(), zone);
    return answer_stored(call, !is_on() ? "Disabled" : is_right ? "Enabled" : "Error_Misconfigured");
}

/// The zone that the client is in now, without which its packets would not be let through.
u32 keep_zone()
{
    RowText destination;
    RowText zone;
    (void)kFirewall.read(kSection, kDestination, destination);
    return find_zone_of(destination.view(), zone) ? kFirewall.keep(kSection, "dest", zone.view()) : 0;
}

u32 arrange_all(RowRequest&, bool is_written)
{
    const u32 code = is_written ? keep_zone() : 0;
    return code != 0 || !is_written ? code : arrange_dmz();
}

/// Whether a rule lets in by more than its port and its source: a redirect to the router would let in more,
/// because what is redirected is let in.
bool is_narrower(const char* rule)
{
    constexpr const char* kNarrowing[] = {"src_mac",   "src_port", "dest_ip",    "device",    "ipset",
                                          "limit",     "mark",     "start_date", "stop_date", "start_time",
                                          "stop_time", "weekdays", "monthdays",  "helper",    "extra"};
    return std::ranges::any_of(kNarrowing,
                               [&](const char* option) { return !kFirewall.holds(rule, option, ""); });
}

Text<30> own_section(u32 number)
{
    Text<30> name;
    name.append(kOwnSection).append_number(number);
    return name;
}

/// Has the router keep ports from one source; empty: from all.
u32 keep_own(u32 number, const OwnPorts& own, std::string_view source)
{
    RowText ports;
    RowText from;
    ports.append_number(own.ports.first);
    if (own.ports.last != 0) {
        ports.append("-").append_number(own.ports.last);
    }
    from.append(source);
    const Text<30> name = own_section(number);
    const OptionValue options[] = {
        {"src", "wan"},
        {"proto", own.protocols == kTcp   ? "tcp"
                  : own.protocols == kUdp ? "udp"
                                          : "tcpudp"},
        {"src_dport", ports.c_str()},
        {"src_ip", from.c_str()},
        {"family", "ipv4"},
        {"target", "DNAT"},
    };
    const u32 code = kFirewall.make(name.c_str(), kRedirect);
    return code != 0 ? code : kFirewall.keep(name.view(), options);
}

u32 keep_all_own(u32& count)
{
    return for_each_own_port([&](const OwnPorts& own) -> u32 {
        RowText sources;
        if (is_narrower(own.rule) || !kFirewall.read(own.rule, "src_ip", sources)) {
            return 0;
        }
        if (sources.view().empty()) {
            return keep_own(++count, own, "");
        }
        return for_each_word(sources.view(), [&](std::string_view source) -> u32 {
            network::Network network{};
            // All sources but one cannot be said together with others; IPv6 does not get to the DMZ at all.
            return read_remote(source, network) ? keep_own(++count, own, source) : 0;
        });
    });
}

/// Deletes the sections that are no longer needed.
u32 drop_own_behind(u32 count)
{
    u32 code = 0;
    for (u32 number = count + 1; code == 0; ++number) {
        const Text<30> name = own_section(number);
        if (kFirewall.type_of(name.view()).view().empty()) {
            break;
        }
        code = kFirewall.drop(name.view());
    }
    return code;
}

bool is_last()
{
    Sections redirects{kFirewall, "redirect"};
    std::string_view last;
    while (const char* const name = redirects.next()) {
        last = name;
        if (last == kSection) {
            return redirects.next() == nullptr;
        }
    }
    return true;
}

constexpr Access kReadWrite = Access::kReadWrite;
constexpr Place kFunction = Place::kFunction;

constexpr Row kRows[] = {
    {.name = "Description",
     .access = kReadWrite,
     .place = kFunction,
     .limits = ":256",
     .key = "qrn_description",
     .get = answer_description,
     .check = check_description,
     .set = store_text},
    {.name = "SourcePrefix",
     .kind = Kind::kIPPrefix,
     .access = kReadWrite,
     .place = kFunction,
     .key = "src_ip",
     .check = check_prefix,
     .set = store_prefix},
    {.name = "DestIP",
     .kind = Kind::kIPv4,
     .access = kReadWrite,
     .place = kFunction,
     .get = answer_destination,
     .check = check_outcome,
     .set = store_destination},
    {.name = "Enable",
     .kind = Kind::kBoolean,
     .access = kReadWrite,
     .place = kFunction,
     .get = answer_enable,
     .check = check_outcome,
     .set = store_enable},
    {.name = "Status",
     .kind = Kind::kWord,
     .place = kFunction,
     .limits = "Disabled|Enabled|Error_Misconfigured|Error",
     .get = answer_status},
};

} // namespace

u32 qsc::services::arrange_dmz()
{
    u32 count = 0;
    u32 code = is_on() ? keep_all_own(count) : 0;
    code = code != 0 ? code : drop_own_behind(count);
    return code != 0 || is_last() ? code : call_optional(QrnUci_MoveSection, "firewall.dmz", UINT32_MAX);
}

u32 qsc::services::update_dmz()
{
    if (!has_dmz()) {
        return 0;
    }
    if (const u32 code = call_optional(QrnUci_BeginChange, "firewall")) {
        return code;
    }
    const u32 code = arrange_dmz();
    const u32 ended = call_optional(QrnUci_EndChange, code == 0 ? 1U : 0U);
    return code != 0 ? code : ended;
}

/// Others change rules as well: what no rule lets in any more must not come in by a redirect.
u32 qsc::services::commit_firewall(const char*, json_object* request, u32, u32, i64, u64)
{
    const u32 code = is_object(request) ? update_dmz() : EINVAL;
    return code != 0 ? finish(request, code) : serve_packages(request, "firewall");
}

QSC_EXPORTED_OBJECT(kDmz, "Device.X_QRN_DMZ", g_QscDMZCmd, kRows, .area = "dmz", .section = "firewall.dmz.",
                    .package = "firewall", .arrange = arrange_all)
