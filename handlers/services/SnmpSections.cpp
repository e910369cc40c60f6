// SPDX-License-Identifier: Apache-2.0
#include "handlers/services/SnmpSections.h"

#include <algorithm>
#include <bit>

#include "base/UciOptional.h"
#include "handlers/network/Networks.h"
#include "handlers/services/Firewall.h"

namespace qsc::services::snmp
{

namespace
{

constexpr const char* kTrap = "qrn_trap";
constexpr const char* kRule = "qrn_snmp";
constexpr const char* kHadRule = "qrn_rule";
constexpr const char* kFirewallPackage = "firewall";
constexpr u32 kUsualPort = 161;

} // namespace

bool is_option_on(const char* option)
{
    return kPackage.is_on(kGeneral, option, false);
}

bool is_on()
{
    return is_installed(kPackage.name) && kPackage.is_on(kGeneral, "enabled", true);
}

bool has_had_rule()
{
    return is_option_on(kHadRule);
}

u32 port_of_agent()
{
    RowText address;
    u32 port = kUsualPort;
    (void)kPackage.read("@agent[0]", "agentaddress", address);
    const std::size_t colon = address.view().find(':');
    if (colon != std::string_view::npos) {
        std::string_view rest = address.view();
        rest.remove_prefix(colon + 1);
        (void)parse_leading(rest, port);
    }
    return port;
}

void append_lan(RowText& text)
{
    network::Network lan{};
    if (network::read_network("lan", lan)) {
        network::append_ipv4(text, lan.address & lan.mask);
        text.append("/").append_number(std::popcount(lan.mask));
    }
}

bool has_user()
{
    return !kPackage.holds(kUser, "username", "") && !kPackage.holds(kUser, "auth_pass", "");
}

namespace
{

/// The sections that the package comes with, wherever somebody has taken one away.
u32 make_sections()
{
    constexpr const char* kSections[][2] = {
        {kGeneral, "snmpd"},        {kReaders.four, "com2sec"}, {kReaders.six, "com2sec6"},
        {kWriters.four, "com2sec"}, {kWriters.six, "com2sec6"},
    };
    u32 code = 0;
    for (const auto& [section, type] : kSections) {
        code = code != 0 ? code : kPackage.make(section, type);
    }
    for (const char* const type : {"agent", "system"}) {
        Text<30> first;
        first.append("@").append(type).append("[0]");
        code = code != 0 || !kPackage.type_of(first.view()).view().empty() ? code : kPackage.make(type, type);
    }
    return code;
}

/// Takes away the communities that the package comes with.
u32 forget_usual_communities()
{
    constexpr const char* kMark = "qrn_managed";
    if (is_option_on(kMark)) {
        return 0;
    }
    u32 code = kPackage.keep(kGeneral, kMark, "1");
    for (const char* const section : {kReaders.four, kReaders.six, kWriters.four, kWriters.six}) {
        code = code != 0 ? code : kPackage.keep(section, kCommunity, "");
    }
    return code;
}

/// Lets a community in from where it may come.
u32 keep_access(const Access4And6& access, const char* community, const char* four, const char* six)
{
    const OptionValue for_four[] = {{"secname", access.name}, {"source", four}, {kCommunity, community}};
    const OptionValue for_six[] = {{"secname", access.name}, {"source", six}, {kCommunity, community}};
    const u32 code = kPackage.keep(access.four, for_four);
    return code != 0 ? code : kPackage.keep(access.six, for_six);
}

u32 keep_communities(bool may_write)
{
    RowText source;
    RowText readers;
    RowText writers;
    (void)(kPackage.read(kGeneral, "qrn_source", source) &&
           kPackage.read(kReaders.four, kCommunity, readers) &&
           kPackage.read(kWriters.four, kWaitingCommunity, writers));
    if (source.view().empty()) {
        append_lan(source);
    }
    const bool is_six = source.view().find(':') != std::string_view::npos;
    const char* const four = is_six || source.view().empty() ? "localhost" : source.c_str();
    const char* const six = is_six ? source.c_str() : "::1";
    const u32 code = keep_access(kReaders, readers.c_str(), four, six);
    return code != 0 ? code : keep_access(kWriters, may_write ? writers.c_str() : "", four, six);
}

u32 drop_if_there(const char* section)
{
    return kPackage.type_of(section).view().empty() ? 0 : kPackage.drop(section);
}

u32 keep_user(bool may_write)
{
    if (!has_user()) {
        const u32 code = drop_if_there(kUser);
        return code != 0 ? code : kPackage.keep(kGeneral, "snmp_version", "v1/v2c");
    }
    RowText digest;
    (void)kPackage.read(kUser, "auth_type", digest);
    const bool is_private = !kPackage.holds(kUser, "privacy_pass", "");
    const OptionValue options[] = {{"auth_type", digest.view().empty() ? "SHA" : digest.c_str()},
                                   {"privacy_type", is_private ? "AES" : ""},
                                   {"allow_write", may_write ? "1" : "0"}};
    const u32 code = kPackage.keep(kUser, options);
    return code != 0 ? code : kPackage.keep(kGeneral, "snmp_version", "v1/v2c/v3");
}

/// The package opens its port to the networks of a list: never to the WAN's.
u32 keep_networks()
{
    RowText networks;
    RowText left;
    bool has_wan = false;
    (void)kPackage.read(kGeneral, "network", networks);
    (void)for_each_word(networks.view(), [&](std::string_view network) -> u32 {
        const bool is_wan = network.starts_with("wan");
        has_wan = has_wan || is_wan;
        left.append(is_wan || left.view().empty() ? "" : ",").append(is_wan ? "" : network);
        return 0;
    });
    return has_wan ? write_items("snmpd.general.network", left) : 0;
}

/// Where traps go, as the agent writes it.
RowText trap_host()
{
    const RowText host = kPackage.get(kGeneral, "qrn_HostIP");
    const bool is_six = host.view().find(':') != std::string_view::npos;
    RowText place;
    place.append(is_six ? "udp6:[" : "").append(host.view()).append(is_six ? "]" : "");
    return place;
}

RowText trap_port()
{
    RowText port = kPackage.get(kGeneral, "qrn_Port");
    port.append(port.view().empty() ? "162" : "");
    return port;
}

/// Traps by a community.
u32 keep_sink(bool is_wanted, bool is_first_version)
{
    if (!is_wanted) {
        return drop_if_there(kTrap);
    }
    const RowText host = trap_host();
    const RowText port = trap_port();
    const RowText community = kPackage.get(kGeneral, "qrn_Community");
    const OptionValue options[] = {{"HostIP", host.c_str()},
                                   {"Port", port.c_str()},
                                   {"Community", community.c_str()},
                                   {"Type", is_first_version ? "trapsink" : "trap2sink"}};
    const u32 code = kPackage.make(kTrap, "trap_HostIP");
    return code != 0 ? code : kPackage.keep(kTrap, options);
}

/// Traps as the user.
u32 keep_session(bool is_wanted)
{
    if (!is_wanted || !has_user()) {
        return kPackage.holds(kSession, "qrn", "1") ? kPackage.drop(kSession) : 0;
    }
    RowText line;
    const auto add = [&](const char* before, const char* option) {
        line.append(before).append(kPackage.get(kUser, option).view());
    };
    add("-v 3 -u ", "username");
    add(" -a ", "auth_type");
    add(" -A \"", "auth_pass");
    if (kPackage.holds(kUser, "privacy_pass", "")) {
        line.append("\" -l authNoPriv ");
    } else {
        add("\" -x AES -X \"", "privacy_pass");
        line.append("\" -l authPriv ");
    }
    line.append(trap_host().view()).append(":").append(trap_port().view());
    const OptionValue options[] = {{"qrn", "1"}, {"trapsess", line.c_str()}};
    const u32 code = kPackage.make(kSession, "trapsess");
    return code != 0 ? code : kPackage.keep(kSession, options);
}

/// The package lets in its usual port alone; another needs a rule of the firewall's, for the LAN.
u32 keep_rule()
{
    const u32 port = port_of_agent();
    const bool is_there = !kFirewall.type_of(kRule).view().empty();
    const bool is_wanted = port != kUsualPort && is_installed(kFirewallPackage);
    if (!is_there && !is_wanted) {
        return 0;
    }
    // It is staged together with this package's changes.
    u32 code = call_optional(QrnUci_BeginChange, kFirewallPackage);
    if (code != 0 || !is_wanted) {
        return code != 0 ? refuse(code, "the firewall could not be changed") : kFirewall.drop(kRule);
    }
    Text<14> number;
    number.append_number(port);
    const OptionValue options[] = {{"name", "SNMP from LAN"},
                                   {"src", "lan"},
                                   {"proto", "udp"},
                                   {"dest_port", number.c_str()},
                                   {"target", "ACCEPT"}};
    code = kFirewall.make(kRule, "rule");
    code = code != 0 ? code : kFirewall.keep(kRule, options);
    return code != 0 ? code : kPackage.keep(kGeneral, kHadRule, "1");
}

} // namespace

u32 prepare()
{
    const u32 code = make_sections();
    return code != 0 ? code : forget_usual_communities();
}

u32 keep_trap()
{
    const RowText version = kPackage.get(kGeneral, "qrn_Type");
    const bool is_on = is_option_on("qrn_trap");
    const bool is_user = version.view() == "3";
    const u32 code = keep_sink(is_on && !is_user, version.view() == "1");
    return code != 0 ? code : keep_session(is_on && is_user);
}

u32 follow()
{
    const bool may_write = is_option_on("qrn_write_enable");
    u32 code = keep_communities(may_write);
    code = code != 0 ? code : keep_user(may_write);
    code = code != 0 ? code : keep_networks();
    code = code != 0 ? code : keep_trap();
    return code != 0 ? code : keep_rule();
}

} // namespace qsc::services::snmp
