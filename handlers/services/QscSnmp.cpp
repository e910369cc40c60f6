// SPDX-License-Identifier: Apache-2.0
// "Device.X_QRN_SNMP" and its trap: who may ask the router about itself, and whom it tells. The communities
// that the package comes with are known to everybody, so they go with the first set.
#include <bit>

#include "base/UciOptional.h"
#include "core/Objects.h"
#include "handlers/network/Networks.h"
#include "handlers/network/Sockets.h"
#include "handlers/services/Credentials.h"
#include "handlers/services/Firewall.h"

using namespace qsc;
using namespace qsc::services;

namespace
{

QSC_MODULE("QscSnmp");

constexpr Package kPackage{"snmpd"};
constexpr const char* kGeneral = "general";
constexpr const char* kUser = "v3";
constexpr const char* kTrap = "qrn_trap";
constexpr const char* kRule = "qrn_snmp";
constexpr const char* kFirewallPackage = "firewall";
constexpr u32 kUsualPort = 161;
constexpr const char* kSession = "trapsess";
constexpr const char* kCommunity = "community";
constexpr const char* kWaitingCommunity = "qrn_community";

/// One set of the package's sections says who may read, another who may write, for IPv4 and for IPv6.
struct Access4And6 {
    const char* four;
    const char* six;
    const char* name;
};
constexpr Access4And6 kReaders{"public", "public6", "ro"};
constexpr Access4And6 kWriters{"private", "private6", "rw"};

bool is_option_on(const char* option)
{
    RowText text;
    return kPackage.read(kGeneral, option, text) && is_switched_on(text.view());
}

bool is_on()
{
    return is_installed(kPackage.name) &&
           (kPackage.holds(kGeneral, "enabled", "") || is_option_on("enabled"));
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

u32 answer_port(const RowCall& call)
{
    return answer_number(call, port_of_agent());
}

u32 store_port(const RowCall&, std::string_view stored)
{
    u32 port = 0;
    (void)parse_whole(stored, port);
    if (port == port_of_agent()) {
        return 0;
    }
    Text<62> address;
    address.append("UDP:").append(stored).append(",UDP6:").append(stored);
    return kPackage.keep("@agent[0]", "agentaddress", address.view());
}

u32 answer_nothing(const RowCall& call)
{
    return answer_stored(call, "");
}

/// What everybody tries first opens nothing to write.
u32 check_write_community(const RowCall& call, std::string_view stored)
{
    return stored == "public" || stored == "private" ? refuse(EFAULT, "everybody knows it")
                                                     : check_identifier(call, stored);
}

u32 store_read_community(const RowCall&, std::string_view stored)
{
    return kPackage.keep(kReaders.four, kCommunity, stored);
}

/// It waits where nobody reads it; what becomes of it, arrange() says.
u32 store_write_community(const RowCall&, std::string_view stored)
{
    return kPackage.keep(kWriters.four, kWaitingCommunity, stored);
}

/// Appends the LAN as a prefix.
void append_lan(RowText& text)
{
    network::Network lan{};
    if (network::read_network("lan", lan)) {
        network::append_ipv4(text, lan.address & lan.mask);
        text.append("/").append_number(std::popcount(lan.mask));
    }
}

/// Reads from where communities are let in; the LAN if nobody has said.
u32 read_source(const RowCall& call, RowText& source)
{
    const u32 code = read_stored(call.request, call.row, source);
    if (source.view().empty()) {
        append_lan(source);
    }
    return code;
}

u32 answer_source(const RowCall& call)
{
    RowText source;
    const u32 code = read_source(call, source);
    return code != 0 ? code : answer_stored(call, source.view());
}

/// The LAN that is sent back as it was read stays whatever the LAN will be.
u32 store_source(const RowCall& call, std::string_view stored)
{
    RowText source;
    const u32 code = read_source(call, source);
    return code != 0 || source.view() == stored ? code : write_stored(call, stored);
}

u32 check_source(const RowCall&, std::string_view stored)
{
    return stored.ends_with("/0") ? refuse(EFAULT, "it would let in everybody") : 0;
}

/// What a user will be after the request: without a password he would be anybody.
u32 check_user(const RowCall& call, std::string_view)
{
    RowText name;
    RowText password;
    u32 code = read_outcome(call, "V3User", name);
    if (code == 0 && name.view().empty() && is_option_on("qrn_trap") &&
        kPackage.holds(kGeneral, "qrn_Type", "3")) {
        return refuse(EFAULT, "traps of version 3 are sent as this user");
    }
    code = code != 0 || name.view().empty() ? code : check_identifier(call, name.view());
    code = code != 0 ? code : read_outcome(call, "V3AuthPassword", password);
    return code == 0 && !name.view().empty() && password.view().empty()
               ? refuse(EFAULT, "a user needs a password")
               : code;
}

/// What there is of a user needs one.
u32 check_owner(const RowCall& call, std::string_view)
{
    RowText name;
    const u32 code = read_outcome(call, "V3User", name);
    return code == 0 && name.view().empty() ? refuse(EFAULT, "it needs V3User") : code;
}

u32 check_user_password(const RowCall& call, std::string_view stored)
{
    const u32 code = check_password(call, stored);
    return code != 0 ? code : check_owner(call, stored);
}

u32 answer_enable(const RowCall& call)
{
    return answer_stored(call, is_on() ? "1" : "0");
}

u32 answer_status(const RowCall& call)
{
    const bool is_up =
        network::has_socket(call.request.sources, network::kUnconnected, network::SocketEnd::kOwn,
                            port_of_agent(), network::Transport::kUdp);
    return answer_stored(call, !is_on() ? "Disabled" : is_up ? "Enabled" : "Error");
}

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

bool has_user()
{
    return !kPackage.holds(kUser, "username", "") && !kPackage.holds(kUser, "auth_pass", "");
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
    std::array<const char*, 32> items;
    u32 count = 0;
    bool has_wan = false;
    (void)kPackage.read(kGeneral, "network", networks);
    (void)for_each_word(networks.view(), [&](std::string_view network) -> u32 {
        has_wan = has_wan || network.starts_with("wan");
        if (!network.starts_with("wan") && count < items.size()) {
            items[count++] = left.c_str() + left.view().size() + (left.view().empty() ? 0 : 1);
            left.append(left.view().empty() ? "" : " ").append(network);
        }
        return 0;
    });
    std::replace(left.data(), left.data() + left.view().size(), ' ', '\0');
    return has_wan ? call_optional(QrnUci_SetList, "snmpd.general.network", items.data(), count) : 0;
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

u32 keep_trap()
{
    const RowText version = kPackage.get(kGeneral, "qrn_Type");
    const bool is_on = is_option_on("qrn_trap");
    const bool is_user = version.view() == "3";
    const u32 code = keep_sink(is_on && !is_user, version.view() == "1");
    return code != 0 ? code : keep_session(is_on && is_user);
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
    // It is staged together with what this package is told.
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
    return code != 0 ? code : kFirewall.keep(kRule, options);
}

u32 prepare()
{
    const u32 code = make_sections();
    return code != 0 ? code : forget_usual_communities();
}

u32 arrange(RowRequest& request, bool is_written)
{
    if (!is_written) {
        json_object* value = nullptr;
        const u32 code = prepare();
        return code == 0 && find_member(request.root, "V3User", value) ? kPackage.make(kUser, "v3") : code;
    }
    const bool may_write = is_option_on("qrn_write_enable");
    u32 code = keep_communities(may_write);
    code = code != 0 ? code : keep_user(may_write);
    code = code != 0 ? code : keep_networks();
    code = code != 0 ? code : keep_trap();
    return code != 0 ? code : keep_rule();
}

u32 arrange_trap(RowRequest&, bool is_written)
{
    return is_written ? keep_trap() : prepare();
}

u32 check_trap(const RowCall& call, std::string_view)
{
    RowText text;
    u32 code = read_outcome(call, "Enable", text);
    if (code != 0 || !is_switched_on(text.view())) {
        return code;
    }
    code = read_outcome(call, "Address", text);
    if (code != 0 || text.view().empty()) {
        return code != 0 ? code : refuse(EFAULT, "it needs an address");
    }
    code = read_outcome(call, "Version", text);
    if (code != 0 || text.view() == "3") {
        const bool is_foreign =
            !kPackage.type_of(kSession).view().empty() && !kPackage.holds(kSession, "qrn", "1");
        return code != 0     ? code
               : !has_user() ? refuse(EFAULT, "version 3 needs the user of version 3")
               : is_foreign  ? refuse(EFAULT, "there is a session for traps that is somebody else's")
                             : 0;
    }
    code = read_outcome(call, "Community", text);
    return code == 0 && text.view().empty() ? refuse(EFAULT, "versions 1 and 2c need a community") : code;
}

u32 check_trap_community(const RowCall& call, std::string_view stored)
{
    const u32 code = check_identifier(call, stored);
    return code != 0 ? code : check_trap(call, stored);
}

constexpr Access kReadWrite = Access::kReadWrite;
constexpr Place kFunction = Place::kFunction;
constexpr const char* kWordSize = ":32";
constexpr const char* kPasswordSize = "8:64";
constexpr const char* kSystemSize = ":64";

constexpr Row kRows[] = {
    {.name = "Port",
     .kind = Kind::kPort,
     .access = kReadWrite,
     .place = kFunction,
     .get = answer_port,
     .set = store_port},
    {.name = "AllowedSource",
     .kind = Kind::kIPPrefix,
     .access = kReadWrite,
     .place = kFunction,
     .key = "qrn_source",
     .get = answer_source,
     .check = check_source,
     .set = store_source},
    {.name = "SystemName", .access = kReadWrite, .limits = kSystemSize, .key = "snmpd.@system[0].sysName"},
    {.name = "SystemLocation",
     .access = kReadWrite,
     .limits = kSystemSize,
     .key = "snmpd.@system[0].sysLocation"},
    {.name = "SystemContact",
     .access = kReadWrite,
     .limits = kSystemSize,
     .key = "snmpd.@system[0].sysContact"},
    {.name = "ReadCommunity",
     .access = kReadWrite,
     .place = kFunction,
     .marks = kSecret,
     .limits = kWordSize,
     .get = answer_nothing,
     .check = check_identifier,
     .set = store_read_community},
    {.name = "WriteCommunity",
     .access = kReadWrite,
     .place = kFunction,
     .marks = kSecret,
     .limits = kWordSize,
     .get = answer_nothing,
     .check = check_write_community,
     .set = store_write_community},
    {.name = "WriteEnable",
     .kind = Kind::kBoolean,
     .access = kReadWrite,
     .key = "qrn_write_enable",
     .fallback = "0"},
    {.name = "V3User",
     .access = kReadWrite,
     .limits = kWordSize,
     .key = "snmpd.v3.username",
     .check = check_user},
    {.name = "V3AuthProtocol",
     .kind = Kind::kStoredWord,
     .access = kReadWrite,
     .limits = QSC_STORED_WORDS("SHA|SHA256", "SHA|SHA-256"),
     .key = "snmpd.v3.auth_type",
     .fallback = "SHA",
     .check = check_owner},
    {.name = "V3AuthPassword",
     .access = kReadWrite,
     .marks = kSecret,
     .limits = kPasswordSize,
     .key = "snmpd.v3.auth_pass",
     .check = check_user_password},
    {.name = "V3PrivProtocol",
     .kind = Kind::kWord,
     .access = kReadWrite,
     .limits = "AES",
     .key = "snmpd.v3.privacy_type",
     .fallback = "AES",
     .check = check_owner},
    {.name = "V3PrivPassword",
     .access = kReadWrite,
     .marks = kSecret,
     .limits = kPasswordSize,
     .key = "snmpd.v3.privacy_pass",
     .check = check_user_password},
    {.name = "Enable",
     .kind = Kind::kBoolean,
     .access = kReadWrite,
     .key = "enabled",
     .fallback = "1",
     .get = answer_enable},
    {.name = "Status",
     .kind = Kind::kWord,
     .place = kFunction,
     .limits = "Disabled|Enabled|Error",
     .get = answer_status},
};

constexpr Row kTrapRows[] = {
    {.name = "Address",
     .kind = Kind::kIPAddress,
     .access = kReadWrite,
     .key = "qrn_HostIP",
     .check = check_trap},
    {.name = "Port", .kind = Kind::kPort, .access = kReadWrite, .key = "qrn_Port", .fallback = "162"},
    {.name = "Community",
     .access = kReadWrite,
     .marks = kSecret,
     .limits = kWordSize,
     .key = "qrn_Community",
     .check = check_trap_community},
    {.name = "Version",
     .kind = Kind::kWord,
     .access = kReadWrite,
     .limits = "1|2c|3",
     .key = "qrn_Type",
     .fallback = "2c",
     .check = check_trap},
    {.name = "Enable",
     .kind = Kind::kBoolean,
     .access = kReadWrite,
     .key = "qrn_trap",
     .fallback = "0",
     .check = check_trap},
};

} // namespace

QSC_OBJECT(kSnmp, "Device.X_QRN_SNMP", kRows, .area = "snmp", .section = "snmpd.general.", .package = "snmpd",
           .arrange = arrange)
QSC_OBJECT(kSnmpTrap, "Device.X_QRN_SNMP.trap", kTrapRows, .area = "snmp trap", .section = "snmpd.general.",
           .package = "snmpd", .arrange = arrange_trap)
