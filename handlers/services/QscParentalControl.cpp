// SPDX-License-Identifier: Apache-2.0
// "Device.X_QRN_Firewall.ParentalControl.": when devices of the LAN have no way out, and names that nobody
// finds. A rule of the firewall cannot run over midnight, so such a one is two sections: the second has no
// number, but names that of the first.
#include <ctime>

#include "base/UciOptional.h"
#include "core/Objects.h"
#include "core/RunTool.h"
#include "core/Service.h"
#include "core/ServiceSteps.h"
#include "handlers/network/Leases.h"
#include "handlers/services/Firewall.h"
#include "handlers/services/Items.h"
#include "handlers/services/RuleTimes.h"
#include "handlers/system/ZoneRule.h"

using namespace qsc;
using namespace qsc::services;

namespace
{

QSC_MODULE("QscParentalControl");

constexpr const char* kMark = "qrn";
constexpr const char* kOfFirst = "qrn_of";
constexpr const char* kSecond = "parental2";

bool is_first(const char* section)
{
    Text<254> key;
    key.append(section).append(kMark);
    return uci_holds(key.c_str(), "parental");
}

constexpr GrowingList kRules{.package = "firewall", .type = "rule", .is_ours = is_first};

constexpr OptionValue kFixed[] = {{"src", "lan"}, {"dest", "*"}, {"proto", "all"}, {"target", "REJECT"}};

/// The section that continues after midnight; empty: there is none.
Text<126> find_second(i32 number)
{
    Text<126> name;
    Text<14> index;
    index.append_number(number);
    const u32 code = name.fill([&](char* buffer, std::size_t size) {
        return call_optional(QrnUci_FindSection, "firewall", "rule", kOfFirst, index.c_str(), buffer,
                             static_cast<u32>(size));
    });
    if (code != 0) {
        name.clear();
    }
    return name;
}

RuleTimes read_times(std::string_view section, i32 number)
{
    RowText days;
    RowText start;
    RowText stop;
    (void)(kFirewall.read(section, "weekdays", days) && kFirewall.read(section, "start_time", start));
    const Text<126> second = find_second(number);
    (void)kFirewall.read(second.view().empty() ? section : second.view(), "stop_time", stop);
    return {parse_day_names(days.view()), parse_time(start.view()), parse_stop_time(stop.view())};
}

/// What the request says of the times, beside what they are.
u32 read_next_times(const RowCall& call, RuleTimes& times)
{
    RowText text;
    u32 code = 0;
    times = call.request.is_new ? RuleTimes{} : read_times(section_name(call.request), call.request.instance);
    if (is_named(call, "Days")) {
        code = read_outcome(call, "Days", text);
        times.days = parse_day_numbers(text.view());
    }
    if (code == 0 && is_named(call, "StartTime")) {
        code = read_outcome(call, "StartTime", text);
        times.start = parse_time(text.view());
    }
    if (code == 0 && is_named(call, "EndTime")) {
        code = read_outcome(call, "EndTime", text);
        times.end = parse_time(text.view());
    }
    return code;
}

u32 check_times(const RowCall& call, std::string_view)
{
    RuleTimes times;
    const u32 code = read_next_times(call, times);
    return code != 0                                      ? code
           : times.start == times.end && times.start != 0 ? refuse(EFAULT, "it ends when it starts")
                                                          : 0;
}

/// Writes when a section counts: within one day, or whole days.
u32 keep_times(std::string_view section, Weekdays days, u32 start, u32 end)
{
    Text<30> names;
    Text<14> from;
    Text<14> to;
    append_day_names(names, days);
    if (start != end) {
        append_time(from, start);
        append_time(to, (end + kMinutesOfDay - 1) % kMinutesOfDay);
        to.append(":59");
    }
    const OptionValue options[] = {
        {"weekdays", names.c_str()}, {"start_time", from.c_str()}, {"stop_time", to.c_str()}};
    return kFirewall.keep(section, options);
}

u32 make_second(i32 number, Text<126>& name)
{
    Text<14> index;
    index.append_number(number);
    const u32 code = name.fill([](char* buffer, std::size_t size) {
        return call_optional(QrnUci_AddSection, "firewall", "rule", static_cast<const char*>(nullptr), buffer,
                             static_cast<u32>(size));
    });
    const OptionValue options[] = {{kMark, kSecond}, {kOfFirst, index.c_str()}};
    const u32 marked = code != 0 ? code : kFirewall.keep(name.view(), options);
    return marked != 0 ? marked : kFirewall.keep(name.view(), kFixed);
}

u32 store_times(const RowCall& call, std::string_view)
{
    RuleTimes times;
    if (const u32 code = read_next_times(call, times)) {
        return code;
    }
    const bool runs_over = times.end != 0 && times.end < times.start;
    Text<126> second = find_second(call.request.instance);
    u32 code = keep_times(section_name(call.request), times.days, times.start, runs_over ? 0 : times.end);
    if (!runs_over) {
        return code != 0 || second.view().empty() ? code : kFirewall.drop(second.view());
    }
    if (code == 0 && second.view().empty()) {
        code = make_second(call.request.instance, second);
    }
    return code != 0 ? code : keep_times(second.view(), day_after(times.days), 0, times.end);
}

u32 answer_days(const RowCall& call)
{
    RowText text;
    append_day_numbers(text, read_times(section_name(call.request), call.request.instance).days);
    return answer_stored(call, text.view());
}

u32 answer_time(const RowCall& call)
{
    const RuleTimes times = read_times(section_name(call.request), call.request.instance);
    Text<14> text;
    append_time(text, std::string_view{call.row.key()} == "start_time" ? times.start : times.end);
    return answer_stored(call, text.view());
}

u32 answer_status(const RowCall& call)
{
    return answer_stored(call, is_row_on(call.request) ? "Enabled" : "Disabled");
}

/// A second section is as its first one is, and is deleted with it.
u32 follow_first(const char* second, const ListedSections& rules)
{
    RowText text;
    i32 number = 0;
    (void)(kFirewall.read(second, kOfFirst, text) && parse_whole(text.view(), number));
    const char* const first = rules.find(number);
    if (first == nullptr) {
        return kFirewall.drop(second);
    }
    u32 code = 0;
    for (const char* const option : {"name", "src_mac", "enabled"}) {
        if (code == 0 && kFirewall.read(first, option, text)) {
            code = kFirewall.keep(second, option, text.view());
        }
    }
    return code;
}

u32 arrange(RowRequest& request, bool is_written)
{
    constexpr OptionValue kFirst[] = {{kMark, "parental"}};
    if (!is_written) {
        const u32 code = request.is_new ? kFirewall.keep(section_name(request), kFirst) : 0;
        return code != 0 || !request.is_new ? code : kFirewall.keep(section_name(request), kFixed);
    }
    ListedSections rules;
    u32 code = rules.read(kRules);
    Sections sections{kFirewall, "rule"};
    while (const char* const section = code == 0 ? sections.next() : nullptr) {
        code = kFirewall.holds(section, kMark, kSecond) ? follow_first(section, rules) : 0;
    }
    return code;
}

/// The name server answers that there is no such name. Items that others have put there stay.
u32 store_blocked(const RowCall& call, std::string_view stored)
{
    constexpr const char* kAddresses = "dhcp.@dnsmasq[0].address";
    constexpr const char* kBlocked = "dhcp.@dnsmasq[0].qrn_blocked";
    RowText before;
    Items addresses;
    Items names;
    if (read_stored(call.request, call.row, before) != 0 || !addresses.read(kAddresses)) {
        return refuse(EFAULT, "the addresses of the name server cannot be read");
    }
    if (before.view() == stored) {
        return 0;
    }
    (void)for_each_item(before.view(), [&](std::string_view name) -> u32 {
        addresses.remove("/", name, "/");
        return 0;
    });
    u32 code = for_each_item(stored, [&](std::string_view name) -> u32 {
        return addresses.add("/", name, "/") && names.add("", name, "")
                   ? 0
                   : refuse(EFAULT, "there are more names than can be blocked");
    });
    code = code != 0 ? code : addresses.write(kAddresses);
    code = code != 0 ? code : names.write(kBlocked);
    return code != 0 ? refuse(code, "the names could not be stored") : 0;
}

/// The local minute of the week, which begins with Sunday.
u32 minute_of_week()
{
    constexpr u32 kThursday = 4; // 1970-01-01
    ValueText zone;
    (void)uci_peek("system.@system[0].timezone", zone);
    const i64 now = std::time(nullptr);
    const i64 minutes = (now + system::read_zone_rule(zone.view()).ahead_at(now)) / 60;
    return static_cast<u32>((minutes + i64{kThursday} * kMinutesOfDay) % (i64{7} * kMinutesOfDay));
}

/// Ends the connections of a device: the firewall lets go on what has begun.
void cut_off(Sources& sources, std::string_view mac_address)
{
    network::Lease lease;
    Text<62> address;
    if (network::find_lease(sources, mac_address, lease) && address.assign(lease.ip_address)) {
        const char* const arguments[] = {"conntrack", "-D", "-s", address.c_str(), nullptr};
        (void)run_tool({.arguments = arguments, .is_optional = true}, kModule); // there may be none
    }
}

constexpr Access kReadWrite = Access::kReadWrite;
constexpr Place kFunction = Place::kFunction;

constexpr Row kCountRows[] = {
    {.name = "RuleNumberOfEntries", .kind = Kind::kUnsigned, .place = Place::kCount},
    {.name = "X_QRN_Instances", .place = Place::kNumbers, .marks = kMany},
    {.name = "BlockedNames",
     .kind = Kind::kHostName,
     .access = kReadWrite,
     .place = kFunction,
     .marks = kMany,
     .key = "dhcp.@dnsmasq[0].qrn_blocked",
     .set = store_blocked},
};

/// What is kept together in one section or two; the key tells them apart.
consteval Row time_row(RowName name, const char* key)
{
    Row row{.name = name};
    row.kind = Kind::kTimeOfDay;
    row.access = kReadWrite;
    row.place = kFunction;
    row.key = key;
    row.get = answer_time;
    row.check = check_times;
    row.set = store_times;
    return row;
}

constexpr Row kRows[] = {
    kAddRow,
    kDeleteRow,
    kDescriptionRow,
    {.name = "MACAddress",
     .kind = Kind::kMacAddress,
     .access = kReadWrite,
     .marks = kNeeded,
     .key = "src_mac"},
    {.name = "Days",
     .kind = Kind::kUnsigned,
     .access = kReadWrite,
     .place = kFunction,
     .marks = kMany,
     .limits = "0:6",
     .get = answer_days,
     .check = check_times,
     .set = store_times},
    time_row("StartTime", "start_time"),
    time_row("EndTime", "stop_time"),
    {.name = "Enable", .kind = Kind::kBoolean, .access = kReadWrite, .key = "enabled", .fallback = "1"},
    {.name = "Status",
     .kind = Kind::kWord,
     .place = kFunction,
     .limits = "Disabled|Enabled",
     .get = answer_status},
};

} // namespace

u32 qsc::services::serve_parental_control(const char*, json_object* request)
{
    if (const u32 code = serve_scripts(request, "firewall dnsmasq")) {
        return code;
    }
    Sources sources;
    ListedSections rules;
    const u32 now = minute_of_week();
    for (i32 number = rules.read(kRules) == 0 ? rules.next(0) : 0; number != 0; number = rules.next(number)) {
        const char* const section = rules.find(number);
        RowText mac_address;
        if (kFirewall.is_on(section, "enabled", true) && kFirewall.read(section, "src_mac", mac_address) &&
            is_within(read_times(section, number), now)) {
            cut_off(sources, mac_address.view());
        }
    }
    return 0;
}

QSC_OBJECT(kParentalControl, "Device.X_QRN_Firewall.ParentalControl.", kCountRows, .area = "parental control",
           .counted = &kRules, .package = "dhcp")
QSC_OBJECT(kParentalRule, "Device.X_QRN_Firewall.ParentalControl.{i}", kRows, .area = "parental control",
           .list = &kRules, .arrange = arrange)
