// SPDX-License-Identifier: Apache-2.0
// "Device.Ethernet.Interface": the physical ports, how they are set, and what went through them.
#include <array>

#include <pthread.h>

#include "base/MutexLock.h"
#include "core/Objects.h"
#include "handlers/network/EthernetPorts.h"
#include "handlers/network/Networks.h"
#include "include/bacl.h"
#include "include/qsc_handlers.h"

using namespace qsc;
using namespace qsc::network;

namespace
{

QSC_MODULE("QscEthernet");

constexpr const char* kPath = "Device.Ethernet.Interface.{i}";
constexpr const char* kAutomaticRate = "-1";
constexpr const char* kAutomaticDuplex = "auto";

std::string_view own_port(RowRequest& request)
{
    return port_name(request.sources, request.instance);
}

/// The section that names the port. Where none does, a set makes one, whose name no interface has.
void find_port_section(RowRequest& request)
{
    const std::string_view port = own_port(request);
    DeviceName section;
    if (!find_device_section(port, section)) {
        section.clear();
        section.append("qrn_");
        for (const char& letter : port) {
            const bool is_usual = is_digit(letter) || is_lower(to_lower(letter));
            section.append(is_usual ? std::string_view{&letter, 1} : "_");
        }
    }
    request.section.append("network.").append(section.view()).append(".");
}

/// Changes an option of the port's section, if that is there and the option is another.
u32 put_option(const RowCall& call, const char* option, const char* value)
{
    Text<254> key;
    RowText stored;
    key.append(call.request.section.view().substr(0, call.request.section.view().size() - 1));
    if (uci_peek(key.c_str(), stored) != 0) {
        return 0;
    }
    key.append(".").append(option);
    (void)uci_peek(key.c_str(), stored);
    return stored.view() == value ? 0 : uci_write(key.c_str(), value);
}

/// A new section says which port it is about. What is left to the link partners needs negotiation, whatever
/// was stored before.
u32 complete(const RowCall& call, std::string_view)
{
    DeviceName port;
    RowText rate;
    RowText duplex;
    u32 code = port.assign(own_port(call.request)) ? put_option(call, "name", port.c_str()) : EFAULT;
    code = code != 0 ? code : read_outcome(call, "MaxBitRate", rate);
    code = code != 0 ? code : read_outcome(call, "DuplexMode", duplex);
    const bool negotiates = rate.view() == kAutomaticRate || duplex.view() == kAutomaticDuplex;
    return code != 0 || !negotiates ? code : put_option(call, "autoneg", "");
}

bool is_port_on(std::string_view port)
{
    DeviceName section;
    RowText enabled;
    if (!find_device_section(port, section)) {
        return true;
    }
    read_network_option(section.view(), "enabled", enabled);
    return enabled.view().empty() || is_switched_on(enabled.view());
}

u32 check_enable(const RowCall& call, std::string_view stored)
{
    constexpr const char* kLan = "lan";
    if (stored == "1" || !carries(kLan, own_port(call.request))) {
        return 0;
    }
    for (i32 number = 1;; ++number) {
        const std::string_view other = port_name(call.request.sources, number);
        if (other.empty()) {
            return refuse(EFAULT, "it is the LAN's only port");
        }
        if (number != call.request.instance && carries(kLan, other) && is_port_on(other)) {
            return 0;
        }
    }
}

std::string_view own_file(const RowCall& call, const char* file)
{
    return device_file(call.request.sources, own_port(call.request), file);
}

u32 answer_file(const RowCall& call)
{
    return answer_stored(call, own_file(call, call.row.key()));
}

/// Drivers that do not follow the state of a link may still know its carrier.
u32 answer_status(const RowCall& call)
{
    const std::string_view state = own_file(call, "operstate");
    const bool is_known = !state.empty() && state != "unknown" && state != "testing";
    return answer_stored(call, is_known ? state : own_file(call, "carrier") == "1" ? "up" : "unknown");
}

u32 answer_name(const RowCall& call)
{
    return answer_stored(call, own_port(call.request));
}

u32 answer_upstream(const RowCall& call)
{
    return answer_stored(call, carries("wan", own_port(call.request)) ? "1" : "0");
}

/// A link that is down has no rate, or -1.
u32 answer_rate(const RowCall& call)
{
    const std::string_view rate = own_file(call, "speed");
    return answer_stored(call, rate.starts_with('-') ? "0" : rate);
}

/// How often a link had changed when this process last asked, and since when.
struct Link {
    bool is_known = false;
    u64 changes = 0;
    i64 since = 0; ///< monotonic clock, in ms; 0: the start
};

struct Links {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    std::array<Link, kMostPorts> links{};
};

constinit Links g_links;

/// The kernel counts changes and keeps no times: before the first one that this process sees, it is that of
/// the start.
u32 answer_last_change(const RowCall& call)
{
    const auto now = static_cast<i64>(BaCL_GetTimestampMSHQ());
    u64 changes = 0;
    (void)parse_leading(own_file(call, "carrier_changes"), changes);
    const MutexLock lock{g_links.mutex};
    Link& link = g_links.links[static_cast<std::size_t>(call.request.instance - 1)];
    if (!link.is_known || link.changes != changes) {
        link = {true, changes, link.is_known ? now : 0};
    }
    return answer_number(call, (now - link.since) / 1000);
}

constexpr Access kReadWrite = Access::kReadWrite;
constexpr Kind kUnsigned = Kind::kUnsigned;
constexpr Kind kLong = Kind::kUnsignedLong;
constexpr Place kFunction = Place::kFunction;

constexpr Row kRows[] = {
    {.name = "MaxBitRate",
     .kind = Kind::kInteger,
     .access = kReadWrite,
     .unit = Unit::kMbitPerSecond,
     .marks = kOmitted,
     .limits = "-1|10|100|1000|2500|10000",
     .key = "speed",
     .fallback = kAutomaticRate,
     .set = complete},
    {.name = "DuplexMode",
     .kind = Kind::kStoredWord,
     .access = kReadWrite,
     .marks = kOmitted,
     .limits = QSC_STORED_WORDS("Half|Full|Auto", "0|1|auto"),
     .key = "duplex",
     .fallback = kAutomaticDuplex,
     .set = complete},
    {.name = "Enable",
     .kind = Kind::kBoolean,
     .access = kReadWrite,
     .key = "enabled",
     .fallback = "1",
     .check = check_enable,
     .set = complete},
    {.name = "Status",
     .kind = Kind::kStoredWord,
     .place = kFunction,
     .limits = QSC_STORED_WORDS("Up|Down|Unknown|Dormant|NotPresent|LowerLayerDown",
                                "up|down|unknown|dormant|notpresent|lowerlayerdown"),
     .get = answer_status},
    {.name = "Name", .place = kFunction, .get = answer_name},
    {.name = "LastChange",
     .kind = kUnsigned,
     .place = kFunction,
     .unit = Unit::kSeconds,
     .get = answer_last_change},
    {.name = "Upstream", .kind = Kind::kBoolean, .place = kFunction, .get = answer_upstream},
    {.name = "MACAddress",
     .kind = Kind::kMacAddress,
     .place = kFunction,
     .key = "address",
     .get = answer_file},
    {.name = "CurrentBitRate",
     .kind = kUnsigned,
     .place = kFunction,
     .unit = Unit::kMbitPerSecond,
     .get = answer_rate},
};

#define COUNTER(NAME, KIND, UNIT, FILE)                                                                      \
    {                                                                                                        \
        .name = (NAME), .kind = (KIND), .place = kFunction, .unit = (UNIT), .key = "statistics/" FILE,       \
        .get = answer_file                                                                                   \
    }

constexpr Row kStatsRows[] = {
    COUNTER("BytesSent", kLong, Unit::kBytes, "tx_bytes"),
    COUNTER("BytesReceived", kLong, Unit::kBytes, "rx_bytes"),
    COUNTER("PacketsSent", kLong, Unit::kPackets, "tx_packets"),
    COUNTER("PacketsReceived", kLong, Unit::kPackets, "rx_packets"),
    COUNTER("ErrorsSent", kUnsigned, Unit::kPackets, "tx_errors"),
    COUNTER("ErrorsReceived", kUnsigned, Unit::kPackets, "rx_errors"),
    COUNTER("DiscardPacketsSent", kUnsigned, Unit::kPackets, "tx_dropped"),
    COUNTER("DiscardPacketsReceived", kUnsigned, Unit::kPackets, "rx_dropped"),
    COUNTER("MulticastPacketsReceived", kLong, Unit::kPackets, "multicast"),
};

} // namespace

QSC_EXPORTED_OBJECT(kEthernetInterface, kPath, g_QscEthIfaceCmd, kRows, .area = "ethernet port",
                    .section_type = "device", .instances = kMostPorts, .count = count_ports,
                    .package = "network", .locate = find_port_section)
QSC_OBJECT(kEthernetStats, "Device.Ethernet.Interface.{i}.Stats", kStatsRows, .instances = kMostPorts,
           .count = count_ports)
