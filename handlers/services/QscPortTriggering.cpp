// SPDX-License-Identifier: Apache-2.0
// "Device.X_QRN_Firewall.PortTriggering.": ports that open for a client once it has used another. The
// firewall itself knows no triggers: a program that comes with the device reads them.
#include <unistd.h>

#include "core/Objects.h"
#include "handlers/services/Firewall.h"

using namespace qsc;
using namespace qsc::services;

namespace
{

QSC_MODULE("QscPortTriggering");

constexpr GrowingList kTriggers{.package = "firewall", .type = "trigger"};

/// The names of the rows that make up what a trigger waits for, or what it opens.
struct Names {
    const char* first;
    const char* last;
    const char* protocol;
};
constexpr Names kWaits{"Port", "PortEndRange", "Protocol"};
constexpr Names kOpens{"RulePort", "RulePortEndRange", "RuleProtocol"};

u32 read_next(const RowCall& call, const Names& names, Taken& taken)
{
    RowText text;
    u32 code = read_outcome(call, names.first, text);
    (void)parse_whole(text.view(), taken.ports.first);
    code = code != 0 ? code : read_outcome(call, names.last, text);
    (void)parse_whole(text.view(), taken.ports.last);
    code = code != 0 ? code : read_outcome(call, names.protocol, text);
    taken.protocols = read_protocols(text.view());
    return code != 0 || taken.ports.last == 0 || taken.ports.last >= taken.ports.first
               ? code
               : refuse(EFAULT, "the range ends before it begins");
}

/// Reads what another trigger waits for. False: it is off.
bool read_trigger(const char* section, Taken& taken)
{
    RowText text;
    if (!kFirewall.is_on(section, "enable", false)) {
        return false;
    }
    (void)(kFirewall.read(section, "protocol", text));
    taken.protocols = read_protocols(text.view());
    (void)(kFirewall.read(section, "port", text) && parse_whole(text.view(), taken.ports.first));
    (void)(kFirewall.read(section, "port_end_range", text) && parse_whole(text.view(), taken.ports.last));
    return true;
}

u32 check_others(const Taken& wanted, i32 except)
{
    ListedSections sections;
    if (sections.read(kTriggers) != 0) {
        return refuse(EFAULT, "the triggers cannot be read");
    }
    for (i32 number = sections.next(0); number != 0; number = sections.next(number)) {
        Taken other;
        if (number != except && read_trigger(sections.find(number), other) && overlap(wanted, other)) {
            return refuse(EFAULT, "port trigger %d waits for such a port already", number);
        }
    }
    return 0;
}

u32 check_trigger(const RowCall& call, std::string_view)
{
    Taken waits;
    Taken opens;
    u32 code = read_next(call, kWaits, waits);
    code = code != 0 ? code : read_next(call, kOpens, opens);
    if (code != 0 || !will_be_on(call)) {
        return code;
    }
    code = check_own_ports(opens);
    return code != 0 ? code : check_others(waits, call.request.instance);
}

/// Who reads the triggers.
bool has_reader()
{
    return access("/etc/init.d/qrnporttrigger", X_OK) == 0;
}

u32 answer_status(const RowCall& call)
{
    return answer_stored(call, !is_row_on(call.request) ? "Disabled" : has_reader() ? "Enabled" : "Error");
}

constexpr Access kReadWrite = Access::kReadWrite;
constexpr const char* kEnds = "0:65535";
constexpr const char* kProtocols = QSC_STORED_WORDS("TCP|UDP|X_QRN_Both", "tcp|udp|tcpudp");

constexpr Row kCountRows[] = {
    {.name = "PortTriggerNumberOfEntries", .kind = Kind::kUnsigned, .place = Place::kCount},
    {.name = "X_QRN_Instances", .place = Place::kNumbers, .marks = kMany},
};

constexpr Row kRows[] = {
    kAddRow,
    kDeleteRow,
    {.name = "Description", .access = kReadWrite, .limits = ":256", .key = "description"},
    {.name = "Port",
     .kind = Kind::kPort,
     .access = kReadWrite,
     .marks = kNeeded,
     .key = "port",
     .check = check_trigger},
    {.name = "PortEndRange",
     .kind = Kind::kUnsigned,
     .access = kReadWrite,
     .limits = kEnds,
     .key = "port_end_range",
     .fallback = "0",
     .check = check_trigger},
    {.name = "Protocol",
     .kind = Kind::kStoredWord,
     .access = kReadWrite,
     .marks = kNeeded,
     .limits = kProtocols,
     .key = "protocol",
     .fallback = "tcpudp",
     .check = check_trigger},
    {.name = "AutoDisableDuration",
     .kind = Kind::kUnsigned,
     .access = kReadWrite,
     .unit = Unit::kSeconds,
     .key = "auto_disable_duration",
     .fallback = "0"},
    {.name = "RulePort",
     .kind = Kind::kPort,
     .access = kReadWrite,
     .marks = kNeeded,
     .key = "rule_port",
     .check = check_trigger},
    {.name = "RulePortEndRange",
     .kind = Kind::kUnsigned,
     .access = kReadWrite,
     .limits = kEnds,
     .key = "rule_port_end_range",
     .fallback = "0",
     .check = check_trigger},
    {.name = "RuleProtocol",
     .kind = Kind::kStoredWord,
     .access = kReadWrite,
     .limits = kProtocols,
     .key = "rule_protocol",
     .fallback = "tcpudp",
     .check = check_trigger},
    {.name = "Enable",
     .kind = Kind::kBoolean,
     .access = kReadWrite,
     .key = "enable",
     .fallback = "0",
     .check = check_trigger},
    {.name = "Status",
     .kind = Kind::kWord,
     .place = Place::kFunction,
     .limits = "Disabled|Enabled|Error_Misconfigured|Error",
     .get = answer_status},
};

} // namespace

QSC_OBJECT(kPortTriggers, "Device.X_QRN_Firewall.PortTriggering.", kCountRows, .area = "port trigger",
           .counted = &kTriggers)
QSC_OBJECT(kPortTrigger, "Device.X_QRN_Firewall.PortTriggering.{i}", kRows, .area = "port trigger",
           .list = &kTriggers)
