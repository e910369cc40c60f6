// SPDX-License-Identifier: Apache-2.0
// "Device.DynamicDNS.Client.1." and its Hostname.1: the service that learns the router's address. A changed
// user name keeps its password: for many services that is a token, which belongs to no name.
#include <cerrno>
#include <ctime>

#include <unistd.h>

#include "base/UciOptional.h"
#include "core/DateTime.h"
#include "core/Objects.h"
#include "core/Service.h"
#include "core/ServiceSteps.h"
#include "handlers/services/Credentials.h"
#include "handlers/services/Url.h"

using namespace qsc;
using namespace qsc::services;

namespace
{

QSC_MODULE("QscDdns");

constexpr const char* kSection = "ddns.client1";
constexpr const char* kEnabled = "ddns.client1.enabled";
constexpr const char* kClientSwitch = "ddns.client1.qrn_enable";
constexpr const char* kHostSwitch = "ddns.client1.qrn_hostname_enable";
constexpr const char* kHttps = "ddns.client1.use_https";
constexpr const char* kInterface = "ddns.client1.interface";
constexpr const char* kNetwork = "ddns.client1.ip_network";
constexpr const char* kService = "ddns.client1.service_name";
constexpr const char* kAddress = "ddns.client1.update_url";
constexpr const char* kHost = "ddns.client1.lookup_host";
constexpr const char* kDomain = "ddns.client1.domain";

bool is_there(const char* key)
{
    RowText text;
    return uci_peek(key, text) == 0;
}

bool is_on(const char* key, bool fallback)
{
    ValueText text;
    return uci_peek(key, text) == 0 ? is_switched_on(text.view()) : fallback;
}

/// Stores an option, unless it holds that already.
u32 keep(const char* key, const char* value)
{
    return uci_holds(key, value) ? 0 : uci_write(key, value);
}

/// The scripts know one switch, which is on when both of ours are. Somebody else may have moved it.
struct Switches {
    bool client;
    bool host;
};

Switches read_switches()
{
    const bool is_enabled = is_on(kEnabled, false);
    const bool host = is_enabled || is_on(kHostSwitch, true);
    return {is_enabled || (is_on(kClientSwitch, false) && !host), host};
}

u32 write_switches(Switches switches)
{
    const auto word = [](bool on) { return on ? "1" : "0"; };
    u32 code = keep(kClientSwitch, word(switches.client));
    code = code != 0 ? code : keep(kHostSwitch, word(switches.host));
    return code != 0 ? code : keep(kEnabled, word(switches.client && switches.host));
}

u32 answer_switch(const RowCall& call)
{
    const Switches switches = read_switches();
    const bool is_host = &call.request.object == &objects::kDdnsHostname;
    return answer_stored(call, (is_host ? switches.host : switches.client) ? "1" : "0");
}

u32 set_switch(const RowCall& call, std::string_view stored)
{
    Switches switches = read_switches();
    bool& own = &call.request.object == &objects::kDdnsHostname ? switches.host : switches.client;
    if (own == (stored == "1")) {
        return 0;
    }
    own = stored == "1";
    if (!is_there(kSection)) {
        (void)call_optional(QrnUci_AddSection, "ddns", "service", "client1", static_cast<char*>(nullptr), 0U);
    }
    return write_switches(switches);
}

/// A section that we have not seen yet gets what the scripts would not take by themselves.
u32 complete(RowRequest&, bool is_written)
{
    if (!is_written || !is_there(kSection) || is_there(kHostSwitch)) {
        return 0;
    }
    constexpr const char* kUsual[][2] = {{kHttps, "1"}, {kInterface, "wan"}, {kNetwork, "wan"}};
    u32 code = 0;
    for (const auto& [key, value] : kUsual) {
        code = code != 0 || is_there(key) ? code : uci_write(key, value);
    }
    return code != 0 ? code : write_switches(read_switches());
}

/// Without a section it is what a new one would get.
u32 answer_https(const RowCall& call)
{
    return answer_stored(call, is_on(kHttps, !is_there(kSection)) ? "1" : "0");
}

u32 set_https(const RowCall& call, std::string_view stored)
{
    return is_there(kSection) ? keep(kHttps, stored == "1" ? "1" : "0")
           : stored == "1"    ? 0
                              : write_stored(call, stored);
}

/// The interfaces that have an address of their own towards the Internet.
constexpr std::string_view kInterfaces[][2] = {
    {"Device.IP.Interface.1", "wan"}, {"Device.X_QRN_VPN.1", "vpn1"},     {"Device.X_QRN_VPN.2", "vpn2"},
    {"Device.X_QRN_VPN.4", "vpn4"},   {"Device.X_QRN_VPN.5", "vpn5addr"},
};

std::string_view find_interface(std::string_view reference)
{
    reference.remove_suffix(reference.ends_with('.') ? 1 : 0);
    for (const auto& [path, name] : kInterfaces) {
        if (path == reference) {
            return name;
        }
    }
    return {};
}

u32 answer_interface(const RowCall& call)
{
    ValueText stored;
    const bool is_missing = uci_peek(kNetwork, stored) != 0 && uci_peek(kInterface, stored) != 0;
    for (const auto& [path, name] : kInterfaces) {
        if (name == (is_missing ? "wan" : stored.view())) {
            return answer_stored(call, path);
        }
    }
    return answer_stored(call, "");
}

u32 check_interface(const RowCall&, std::string_view stored)
{
    return find_interface(stored).empty()
               ? refuse(EFAULT, "it is neither the WAN nor a tunnel with an address")
               : 0;
}

u32 set_interface(const RowCall& call, std::string_view stored)
{
    const std::string_view name = find_interface(stored);
    const u32 code = !is_there(kSection) && name == "wan" ? 0 : write_stored(call, name);
    return code != 0 || !is_there(kSection) ? code : keep(kNetwork, name.data());
}

/// What the request names of the other way to say whom to tell.
u32 check_other(const RowCall& call, const char* name)
{
    RowText other;
    return is_named(call, name) && read_outcome(call, name, other) == 0 && !other.view().empty()
               ? refuse(EFAULT, "a service comes with an address of its own")
               : 0;
}

/// A name is that of a file, so nothing may lead out of the folders.
u32 check_service(const RowCall& call, std::string_view stored)
{
    if (stored.empty()) {
        return 0;
    }
    for (const char* const folder : {"custom", "default"}) {
        Text<254> path;
        path.append("/usr/share/ddns/").append(folder).append("/").append(stored).append(".json");
        if (stored.find('/') == std::string_view::npos && path.fits() && access(path.c_str(), R_OK) == 0) {
            return check_other(call, "X_QRN_UpdateURL");
        }
    }
    return refuse(EFAULT, "the device knows no such service");
}

u32 forget_address(const RowCall&, std::string_view stored)
{
    return !stored.empty() && is_there(kAddress) ? uci_write(kAddress, "") : 0;
}

/// The address passes a shell between single quotes.
u32 check_address(const RowCall& call, std::string_view stored)
{
    const u32 code = check_url(stored);
    return code != 0 || stored.empty() ? code : check_other(call, "X_QRN_Service");
}

u32 forget_service(const RowCall&, std::string_view stored)
{
    return !stored.empty() && is_there(kService) ? uci_write(kService, "") : 0;
}

u32 set_domain(const RowCall&, std::string_view stored)
{
    RowText name;
    return is_there(kSection) && name.assign(stored) && (!stored.empty() || is_there(kDomain))
               ? keep(kDomain, name.c_str())
               : 0;
}

/// A file that the scripts keep for the section.
std::string_view read_file(const RowCall& call, const char* suffix)
{
    Text<254> path;
    ValueText folder;
    const bool is_own = uci_peek("ddns.global.ddns_rundir", folder) == 0 && folder.view().starts_with('/');
    path.append(is_own ? folder.view() : "/var/run/ddns").append("/client1").append(suffix);
    return call.request.sources.file(path.c_str());
}

/// Known words of a text that providers and programs have written, and what they mean.
struct Known {
    const char* word;
    const char* error;
};

constexpr Known kAnswers[] = {
    {"badauth", "AUTHENTICATION_ERROR"},
    {"abuse", "AUTHENTICATION_ERROR"},
    {"notfqdn", "MISCONFIGURATION_ERROR"},
    {"nohost", "MISCONFIGURATION_ERROR"},
    {"numhost", "MISCONFIGURATION_ERROR"},
    {"!donator", "MISCONFIGURATION_ERROR"},
    {"badagent", "MISCONFIGURATION_ERROR"},
    {"dnserr", "DNS_ERROR"},
    {"911", "PROTOCOL_ERROR"},
};
constexpr Known kProgramErrors[] = {
    {"resolve", "DNS_ERROR"},        {"timed out", "TIMEOUT_ERROR"},  {"timeout", "TIMEOUT_ERROR"},
    {"401", "AUTHENTICATION_ERROR"}, {"403", "AUTHENTICATION_ERROR"}, {"certificate", "PROTOCOL_ERROR"},
    {"SSL", "PROTOCOL_ERROR"},
};

const char* find_error(const RowCall& call)
{
    const auto find = [](std::string_view text, std::span<const Known> known, const char* other) {
        for (const Known& each : known) {
            if (text.find(each.word) != std::string_view::npos) {
                return each.error;
            }
        }
        return other;
    };
    const std::string_view failed = read_file(call, ".err");
    return !failed.empty() ? find(failed, kProgramErrors, "CONNECTION_ERROR")
                           : find(read_file(call, ".dat"), kAnswers, "NO_ERROR");
}

u32 answer_error(const RowCall& call)
{
    return answer_stored(call, is_on(kEnabled, false) ? find_error(call) : "NO_ERROR");
}

/// When the service was last updated, in seconds of uptime; 0: not yet.
i64 read_update(const RowCall& call)
{
    i64 uptime = 0;
    (void)parse_leading(read_file(call, ".update"), uptime);
    return uptime;
}

/// Whether the script for this section runs.
bool is_running(const RowCall& call)
{
    u32 process = 0;
    Text<62> path;
    (void)parse_leading(read_file(call, ".pid"), process);
    path.append("/proc/").append_number(process);
    return process > 0 && access(path.c_str(), F_OK) == 0;
}

/// The words for each state; the client's and the host's differ.
struct Words {
    const char* updated;
    const char* under_way;
    const char* idle;
    const char* misconfigured;
};

u32 answer_state(const RowCall& call, const Words& words)
{
    const bool is_complete = (is_there(kService) || is_there(kAddress)) && is_there(kHost);
    const bool has_failed = std::string_view{find_error(call)} != "NO_ERROR";
    return answer_stored(call, !is_on(kEnabled, false) ? "Disabled"
                               : !is_complete          ? words.misconfigured
                               : has_failed            ? "Error"
                               : read_update(call) > 0 ? words.updated
                               : is_running(call)      ? words.under_way
                                                       : words.idle);
}

u32 answer_client_status(const RowCall& call)
{
    return answer_state(call, {"Updated", "Connecting", "Error", "Error_Misconfigured"});
}

u32 answer_host_status(const RowCall& call)
{
    return answer_state(call, {"Registered", "Updating", "UpdateNeeded", "Error"});
}

u32 answer_address(const RowCall& call)
{
    u32 address = 0;
    const std::string_view text = first_line(read_file(call, ".ip"));
    return answer_stored(call, is_ipv4(text, address) ? text : "");
}

/// The scripts know no date, only how long the device had been up.
u32 answer_last_update(const RowCall& call)
{
    constexpr i64 kSet = 1'704'067'200; // 2024: before, the clock was not set
    i64 uptime = 0;
    const i64 now = time(nullptr);
    const i64 updated = read_update(call);
    (void)parse_leading(call.request.sources.file("/proc/uptime"), uptime);
    const bool is_known = updated > 0 && updated <= uptime && now >= kSet;
    return answer_stored(call, date_time_of(is_known ? now - uptime + updated : 0).view());
}

/// Whether the scripts have something to do, for us or for others.
bool is_any_on()
{
    std::array<char, 2048> names;
    u32 count = 0;
    if (call_optional(QrnUci_ListSections, "ddns", "service", names.data(), static_cast<u32>(names.size()),
                      &count) != 0) {
        return true; // nothing that others need is switched off
    }
    const char* name = names.data();
    for (u32 i = 0; i < count; ++i, name += std::string_view{name}.size() + 1) {
        Text<254> key;
        if (is_on(key.append("ddns.").append(name).append(".enabled").c_str(), false)) {
            return true;
        }
    }
    return false;
}

u32 commit_and_start(std::string_view action)
{
    if (const u32 code = QrnUci_CommitPackage("ddns")) {
        QSC_LOG(kLogError, "ddns is not committed, error %u\n", code);
        return is_installed("ddns") ? refuse(code, "ddns could not be committed")
                                    : refuse(code, "ddns is not installed");
    }
    // An interface that comes up starts it only when it is enabled as a service.
    const u32 code = start_init_script("ddns", is_any_on() ? "enable" : "disable");
    return code != 0 ? code : start_init_script("ddns", action);
}

} // namespace

u32 qsc::services::serve_ddns(const char*, json_object* request)
{
    return serve_action(request, commit_and_start);
}

namespace
{

constexpr Access kReadWrite = Access::kReadWrite;
constexpr Place kFunction = Place::kFunction;

constexpr Row kClientRows[] = {
    {.name = "Interface",
     .kind = Kind::kReference,
     .access = kReadWrite,
     .place = kFunction,
     .limits = ":256",
     .key = "interface",
     .get = answer_interface,
     .check = check_interface,
     .set = set_interface},
    {.name = "X_QRN_Service",
     .access = kReadWrite,
     .limits = ":64",
     .key = "service_name",
     .check = check_service,
     .set = forget_address},
    {.name = "X_QRN_UpdateURL",
     .access = kReadWrite,
     .limits = ":512",
     .key = "update_url",
     .check = check_address,
     .set = forget_service},
    {.name = "X_QRN_UseHTTPS",
     .kind = Kind::kBoolean,
     .access = kReadWrite,
     .place = kFunction,
     .key = "use_https",
     .fallback = "1",
     .get = answer_https,
     .set = set_https},
    {.name = "Username", .access = kReadWrite, .limits = ":256", .key = "username"},
    {.name = "Password",
     .access = kReadWrite,
     .marks = kSecret,
     .limits = ":256",
     .key = "password",
     .check = check_password},
    {.name = "Enable",
     .kind = Kind::kBoolean,
     .access = kReadWrite,
     .place = kFunction,
     .get = answer_switch,
     .set = set_switch},
    {.name = "Status",
     .kind = Kind::kWord,
     .place = kFunction,
     .limits = "Connecting|Authenticating|Updated|Error_Misconfigured|Error|Disabled",
     .get = answer_client_status},
    {.name = "LastError",
     .kind = Kind::kWord,
     .place = kFunction,
     .limits = "NO_ERROR|MISCONFIGURATION_ERROR|DNS_ERROR|CONNECTION_ERROR|AUTHENTICATION_ERROR|"
               "TIMEOUT_ERROR|PROTOCOL_ERROR",
     .get = answer_error},
    {.name = "HostnameNumberOfEntries", .kind = Kind::kUnsigned, .place = Place::kConstant, .key = "1"},
    {.name = "X_QRN_IPAddress", .kind = Kind::kIPv4, .place = kFunction, .get = answer_address},
};

constexpr Row kHostRows[] = {
    {.name = "Name", .kind = Kind::kHostName, .access = kReadWrite, .key = "lookup_host", .set = set_domain},
    {.name = "Enable",
     .kind = Kind::kBoolean,
     .access = kReadWrite,
     .place = kFunction,
     .get = answer_switch,
     .set = set_switch},
    {.name = "Status",
     .kind = Kind::kWord,
     .place = kFunction,
     .limits = "Registered|UpdateNeeded|Updating|Error|Disabled",
     .get = answer_host_status},
    {.name = "LastUpdate", .kind = Kind::kDateTime, .place = kFunction, .get = answer_last_update},
};

} // namespace

QSC_OBJECT(kDdnsClient, "Device.DynamicDNS.Client.1.", kClientRows, .area = "dynamic dns",
           .section = "ddns.client1.", .section_type = "service", .package = "ddns", .arrange = complete)
QSC_OBJECT(kDdnsHostname, "Device.DynamicDNS.Client.1.Hostname.1", kHostRows, .area = "dynamic dns host",
           .section = "ddns.client1.", .section_type = "service", .package = "ddns", .arrange = complete)
