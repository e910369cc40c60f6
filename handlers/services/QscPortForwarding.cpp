// SPDX-License-Identifier: Apache-2.0
// "Device.X_QRN_Firewall.PortForwarding.": ports of the WAN that lead to clients.
#include "core/Objects.h"
#include "handlers/services/Firewall.h"

using namespace qsc;
using namespace qsc::services;

namespace
{

QSC_MODULE("QscPortForwarding");

/// The ports of a forwarding, as its rows have them.
struct Ports {
    PortRange external;
    u32 internal = 0; ///< 0: the external one

    bool operator==(const Ports&) const = default;
};

/// What the request says of a number, else what it is.
u32 next_number(const RowCall& call, const char* name, u32& number)
{
    RowText text;
    const u32 code = is_named(call, name) ? read_outcome(call, name, text) : 0;
    (void)parse_whole(text.view(), number);
    return code;
}

Ports read_stored_ports(const RowRequest& request)
{
    Ports ports;
    PortRange internal;
    RowText text;
    const std::string_view section = section_name(request);
    (void)(kFirewall.read(section, "src_dport", text) && read_ports(text.view(), ports.external));
    (void)(kFirewall.read(section, "dest_port", text) && read_ports(text.view(), internal));
    ports.internal = internal.first;
    return ports;
}

u32 read_next_ports(const RowCall& call, Ports& ports)
{
    ports = call.request.is_new ? Ports{} : read_stored_ports(call.request);
    u32 code = next_number(call, "ExternalPort", ports.external.first);
    code = code != 0 ? code : next_number(call, "ExternalPortEndRange", ports.external.last);
    return code != 0 ? code : next_number(call, "InternalPort", ports.internal);
}

u32 check_ports(const Ports& ports)
{
    const PortRange& external = ports.external;
    if (external.first == 0) {
        return refuse(EFAULT, "all ports together are the business of the DMZ");
    }
    if (external.last != 0 && external.last < external.first) {
        return refuse(EFAULT, "the range ends before it begins");
    }
    return external.last > external.first && ports.internal != 0 && ports.internal != external.first
               ? refuse(EFAULT, "a range keeps its ports: InternalPort is 0 or ExternalPort")
               : 0;
}

u32 check_mapping(const RowCall& call, std::string_view)
{
    Ports ports;
    RowText text;
    u32 code = read_next_ports(call, ports);
    code = code != 0 ? code : check_ports(ports);
    if (code != 0 || !will_be_on(call)) {
        return code;
    }
    Taken wanted{.protocols = 0, .ports = ports.external};
    code = read_outcome(call, "RemoteHost", text);
    (void)read_remote(text.view(), wanted.remote);
    code = code != 0 ? code : read_outcome(call, "Protocol", text);
    std::replace(text.data(), text.data() + text.view().size(), ',', ' ');
    wanted.protocols = read_protocols(text.view());
    code = code != 0 ? code : check_own_ports(wanted);
    return code != 0 ? code : check_forwardings(wanted, call.request.instance);
}

u32 check_enable(const RowCall& call, std::string_view stored)
{
    return stored == "1" ? check_mapping(call, stored) : 0;
}

u32 check_remote(const RowCall& call, std::string_view stored)
{
    network::Network remote{};
    return read_remote(stored, remote) ? check_mapping(call, stored)
                                       : refuse(EFAULT, "it is neither an IPv4 address nor a prefix of some");
}

u32 answer_first_port(const RowCall& call)
{
    const Ports ports = read_stored_ports(call.request);
    const bool is_internal = std::string_view{call.row.key()} == "dest_port";
    return answer_number(call, is_internal ? ports.internal : ports.external.first);
}

u32 answer_last_port(const RowCall& call)
{
    return answer_number(call, read_stored_ports(call.request).external.last);
}

/// A range has its length on both sides.
void append_ports(RowText& text, u32 first, u32 length, bool is_range)
{
    text.append_number(first);
    if (is_range) {
        text.append("-").append_number(first + length);
    }
}

u32 store_ports(const RowCall& call, std::string_view)
{
    Ports ports;
    const u32 refused = read_next_ports(call, ports);
    if (refused != 0 || ports == read_stored_ports(call.request)) {
        return refused;
    }
    const bool is_range = ports.external.last != 0;
    const u32 length = is_range ? ports.external.last - ports.external.first : 0;
    RowText external;
    RowText internal;
    append_ports(external, ports.external.first, length, is_range);
    if (ports.internal != 0) {
        append_ports(internal, ports.internal, length, is_range && length != 0);
    }
    const std::string_view section = section_name(call.request);
    const u32 code = kFirewall.keep(section, "src_dport", external.view());
    return code != 0 ? code : kFirewall.keep(section, "dest_port", internal.view());
}

u32 answer_protocol(const RowCall& call)
{
    RowText proto;
    (void)kFirewall.read(section_name(call.request), "proto", proto);
    constexpr const char* kStored[] = {"", "tcp", "udp", "tcp,udp"};
    return answer_stored(call, kStored[read_protocols(proto.view())]);
}

u32 check_internal_client(const RowCall&, std::string_view stored)
{
    RowText zone;
    return check_client(stored, zone);
}

/// The firewall wants the zone of the client.
u32 store_zone(const RowCall& call, std::string_view stored)
{
    RowText zone;
    const u32 code = check_client(stored, zone);
    return code != 0 ? code : kFirewall.keep(section_name(call.request), "dest", zone.view());
}

u32 answer_status(const RowCall& call)
{
    RowText text;
    RowText zone;
    if (!is_row_on(call.request)) {
        return answer_stored(call, "Disabled");
    }
    const bool is_right =
        kFirewall.read(section_name(call.request), "dest_ip", text) && find_zone_of(text.view(), zone);
    return answer_stored(call, is_right ? "Enabled" : "Error_Misconfigured");
}

u32 arrange(RowRequest& request, bool is_written)
{
    constexpr OptionValue kOptions[] = {{"target", "DNAT"}, {"src", "wan"}};
    return is_written ? arrange_dmz() : request.is_new ? kFirewall.keep(section_name(request), kOptions) : 0;
}

constexpr Access kReadWrite = Access::kReadWrite;
constexpr Place kFunction = Place::kFunction;
constexpr const char* kPorts = "0:65535";

constexpr Row kCountRows[] = {
    {.name = "PortMappingNumberOfEntries", .kind = Kind::kUnsigned, .place = Place::kCount},
    {.name = "X_QRN_Instances", .place = Place::kNumbers, .marks = kMany},
};

/// One of the numbers that are kept together in two options.
consteval Row port_row(RowName name, RowGet get, const char* key = nullptr, Marks marks = 0)
{
    Row row{.name = name};
    row.kind = Kind::kUnsigned;
    row.access = kReadWrite;
    row.place = kFunction;
    row.marks = marks;
    row.limits = kPorts;
    row.key = key;
    row.get = get;
    row.check = check_mapping;
    row.set = store_ports;
    return row;
}

constexpr Row kRows[] = {
    kAddRow,
    kDeleteRow,
    kDescriptionRow,
    {.name = "RemoteHost", .access = kReadWrite, .limits = ":18", .key = "src_ip", .check = check_remote},
    port_row("ExternalPort", answer_first_port, "src_dport", kNeeded),
    port_row("ExternalPortEndRange", answer_last_port),
    port_row("InternalPort", answer_first_port, "dest_port"),
    {.name = "Protocol",
     .kind = Kind::kStoredWord,
     .access = kReadWrite,
     .place = Place::kList,
     .marks = kNeeded,
     .limits = QSC_STORED_WORDS("TCP|UDP|X_QRN_Both", "tcp|udp|tcp,udp"),
     .key = "proto",
     .fallback = "tcp,udp",
     .get = answer_protocol,
     .check = check_mapping},
    {.name = "InternalClient",
     .access = kReadWrite,
     .marks = kNeeded,
     .limits = "1:15",
     .key = "dest_ip",
     .check = check_internal_client,
     .set = store_zone},
    {.name = "Enable",
     .kind = Kind::kBoolean,
     .access = kReadWrite,
     .key = "enabled",
     .fallback = "1",
     .check = check_enable},
    {.name = "Status",
     .kind = Kind::kWord,
     .place = kFunction,
     .limits = "Disabled|Enabled|Error_Misconfigured|Error",
     .get = answer_status},
};

} // namespace

QSC_OBJECT(kPortForwardings, "Device.X_QRN_Firewall.PortForwarding.", kCountRows, .area = "port forwarding",
           .counted = &kForwardings)
QSC_OBJECT(kPortForwarding, "Device.X_QRN_Firewall.PortForwarding.{i}", kRows, .area = "port forwarding",
           .list = &kForwardings, .arrange = arrange)
