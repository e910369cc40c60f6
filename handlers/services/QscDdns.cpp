// SPDX-License-Identifier: Apache-2.0
// "Device.DynamicDNS.Client.1." and its Hostname.1: the service that learns the router's address. A changed
// user name keeps its password: for many services that is a token, which belongs to no name.
#include <unistd.h>

#include "core/Objects.h"
#include "core/Service.h"
#include "core/ServiceSteps.h"
#include "handlers/services/Credentials.h"
#include "handlers/services/DdnsState.h"
#include "handlers/services/Url.h"

using namespace qsc;
using namespace qsc::services;
using namespace qsc::services::ddns;

namespace
{

QSC_MODULE("QscDdns");

constexpr const char* kHostSwitch = "qrn_hostname_enable";
constexpr const char* kHttps = "use_https";

u32 keep(const char* option, std::string_view value)
{
    return kDdns.keep(kClient, option, value);
}

/// The scripts know one switch, which is on when both of ours are. Somebody else may have moved it.
struct Switches {
    bool client;
    bool host;
};

Switches read_switches()
{
    const bool both = is_enabled();
    const bool host = both || kDdns.is_on(kClient, kHostSwitch, true);
    return {both || (kDdns.is_on(kClient, "qrn_enable", false) && !host), host};
}

u32 write_switches(Switches switches)
{
    const auto word = [](bool on) { return on ? "1" : "0"; };
    const OptionValue options[] = {{"qrn_enable", word(switches.client)},
                                   {kHostSwitch, word(switches.host)},
                                   {"enabled", word(switches.client && switches.host)}};
    return kDdns.keep(kClient, options);
}

u32 answer_switch(const RowCall& call)
{
    const Switches switches = read_switches();
    const bool is_host = &call.request.object == &objects::kDdnsHostname;
    return answer_stored(call, (is_host ? switches.host : switches.client) ? "1" : "0");
}

/// What the scripts would not take by themselves, where it is missing.
u32 keep_usual()
{
    constexpr OptionValue kUsual[] = {{kHttps, "1"}, {"interface", "wan"}, {"ip_network", "wan"}};
    u32 code = 0;
    for (const auto& [option, value] : kUsual) {
        code = code != 0 || has(option) ? code : keep(option, value);
    }
    return code;
}

u32 set_switch(const RowCall& call, std::string_view stored)
{
    Switches switches = read_switches();
    bool& own = &call.request.object == &objects::kDdnsHostname ? switches.host : switches.client;
    if (own == (stored == "1")) {
        return 0;
    }
    own = stored == "1";
    u32 code = kDdns.make(kClient, "service");
    code = code != 0 || has(kHostSwitch) ? code : keep_usual();
    return code != 0 ? code : write_switches(switches);
}

/// Completes a section that nobody has completed yet.
u32 complete(RowRequest&, bool is_written)
{
    if (!is_written || !has_client() || has(kHostSwitch)) {
        return 0;
    }
    const u32 code = keep_usual();
    return code != 0 ? code : write_switches(read_switches());
}

/// Without a section it is what a new one would get.
u32 answer_https(const RowCall& call)
{
    return answer_stored(call, kDdns.is_on(kClient, kHttps, !has_client()) ? "1" : "0");
}

u32 set_https(const RowCall& call, std::string_view stored)
{
    return has_client()    ? keep(kHttps, stored == "1" ? "1" : "0")
           : stored == "1" ? 0
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
    RowText stored;
    (void)kDdns.read(kClient, has("ip_network") ? "ip_network" : "interface", stored);
    for (const auto& [path, name] : kInterfaces) {
        if (name == (stored.view().empty() ? "wan" : stored.view())) {
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
    const u32 code = !has_client() && name == "wan" ? 0 : write_stored(call, name);
    return code != 0 || !has_client() ? code : keep("ip_network", name);
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
    return stored.empty() ? 0 : keep("update_url", "");
}

/// The address passes a shell between single quotes.
u32 check_address(const RowCall& call, std::string_view stored)
{
    const u32 code = check_url(stored);
    return code != 0 || stored.empty() ? code : check_other(call, "X_QRN_Service");
}

u32 forget_service(const RowCall&, std::string_view stored)
{
    return stored.empty() ? 0 : keep("service_name", "");
}

u32 set_domain(const RowCall&, std::string_view stored)
{
    return has_client() ? keep("domain", stored) : 0;
}

/// Whether the scripts have something to do, for us or for others.
bool is_any_on()
{
    Sections services{kDdns, "service"};
    const char* name = services.next();
    // Where they cannot be told, nothing that others need is switched off.
    while (name != nullptr && !kDdns.is_on(name, "enabled", false)) {
        name = services.next();
    }
    return name != nullptr || !services.is_read();
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
     .get = answer_status},
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
