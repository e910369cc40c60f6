// SPDX-License-Identifier: Apache-2.0
// "Device.X_QRN_SNMP" and its trap: who may ask the router about itself, and whom it tells. The communities
// that the package comes with are known to all, so the first set takes them away.
#include "base/UciOptional.h"
#include "core/Objects.h"
#include "core/Service.h"
#include "core/ServiceSteps.h"
#include "handlers/network/Networks.h"
#include "handlers/network/Sockets.h"
#include "handlers/services/Credentials.h"
#include "handlers/services/SnmpSections.h"

using namespace qsc;
using namespace qsc::services;
using namespace qsc::services::snmp;

namespace
{

QSC_MODULE("QscSnmp");

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

/// What attackers try first opens nothing to write.
u32 check_write_community(const RowCall& call, std::string_view stored)
{
    return stored == "public" || stored == "private" ? refuse(EFAULT, "everybody knows it")
                                                     : check_identifier(call, stored);
}

u32 store_read_community(const RowCall&, std::string_view stored)
{
    return kPackage.keep(kReaders.four, kCommunity, stored);
}

/// It waits where no program reads it; what becomes of it, arrange() says.
u32 store_write_community(const RowCall&, std::string_view stored)
{
    return kPackage.keep(kWriters.four, kWaitingCommunity, stored);
}

/// Reads from where communities are let in; the LAN unless told otherwise.
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

u32 arrange(RowRequest& request, bool is_written)
{
    if (!is_written) {
        const u32 code = prepare();
        return code == 0 && brings_text(request, "V3User") ? kPackage.make(kUser, "v3") : code;
    }
    return follow();
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

const char* parts()
{
    return has_had_rule() ? "snmpd firewall" : "snmpd";
}

} // namespace

u32 qsc::services::commit_snmp(const char*, json_object* request, u32, u32, i64, u64)
{
    return serve_packages(request, parts());
}

u32 qsc::services::serve_snmp(const char*, json_object* request)
{
    return serve_scripts(request, parts());
}

QSC_OBJECT(kSnmp, "Device.X_QRN_SNMP", kRows, .area = "snmp", .section = "snmpd.general.", .package = "snmpd",
           .arrange = arrange)
QSC_OBJECT(kSnmpTrap, "Device.X_QRN_SNMP.trap", kTrapRows, .area = "snmp trap", .section = "snmpd.general.",
           .package = "snmpd", .arrange = arrange_trap)
