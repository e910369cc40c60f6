// SPDX-License-Identifier: Apache-2.0
// "Device.DHCPv4.Client.1": the client's parameters, and commit and service of the client and its options.
#include "core/Objects.h"
#include "core/Service.h"
#include "core/UciAccess.h"
#include "handlers/network/DhcpV4Options.h"
#include "include/qsc_dhcpv4_client.h"

using namespace qsc;

namespace
{

QSC_MODULE("QscDhcpV4Client");
// Stored inverted: a client that is not disabled is enabled.
constexpr const char* kDisabled = "network.wan.disabled";
constexpr const char* kBroadcast = "network.wan.broadcast";

u32 client_enable(const Call& call)
{
    const auto get = [&] { return answer_text(call.value, uci_read_int(call, kDisabled) == 0 ? "1" : "0"); };
    const auto set = [&]() -> u32 {
        i32 flag = 0;
        if (const u32 code = take_int(call.value, flag)) {
            return code;
        }
        if (flag != 0 && flag != 1) {
            return refuse(EFAULT, "%d is neither 0 nor 1", flag);
        }
        if (const u32 code = uci_write(kDisabled, flag == 1 ? "0" : "1")) {
            return code;
        }
        QSC_EVENT(call, "set wan client enable %s by %s", flag == 1 ? "1" : "0", commander(call));
        return 0;
    };
    return serve(call, get, set);
}

u32 client_broadcast(const Call& call)
{
    const auto get = [&] {
        ValueText value;
        (void)uci_read(call, kBroadcast, value);
        return answer_text(call.value, value.view().empty() ? "0" : value.c_str());
    };
    const auto set = [&]() -> u32 {
        ValueText value; // empty without DHCP, whatever was sent
        bool is_dhcp = false;
        if (const u32 code = uci_compare("network.wan.proto", "dhcp", is_dhcp)) {
            return code;
        }
        if (is_dhcp) {
            if (const u32 code = take_value(call, value)) {
                return code;
            }
            if (value.view().empty()) {
                return refuse(EFAULT, "it must not be empty");
            }
        }
        if (const u32 code = uci_write(kBroadcast, value.c_str())) {
            return code;
        }
        QSC_EVENT(call, "set wan client broadcast %s by %s", shown(value.c_str()), commander(call));
        return 0;
    };
    return serve(call, get, set);
}

void record_username(const Call& call, const char* username)
{
    QSC_EVENT(call, "set wan client pppoe username %s by %s", shown(username), commander(call));
}

u32 pppoe_password(const Call& call)
{
    const auto get = [&] { return answer_text(call.value, ""); };
    const auto set = [&]() -> u32 {
        ValueText password;
        if (const u32 code = take_value(call, password)) {
            return code;
        }
        if (const u32 code = uci_write("network.wan.password", password.c_str())) {
            return code;
        }
        QSC_EVENT(call, "set wan client pppoe password by %s", commander(call));
        return 0;
    };
    return serve(call, get, set);
}

u32 commit(json_object* request)
{
    const u32 code = update_dhcp_options();
    return code != 0 ? code : commit_packages(request, "qrndhcpopts");
}

} // namespace

QSC_HANDLER(Qsc_DhcpV4Client_Do_Enable, client_enable(call))
QSC_HANDLER(Qsc_DhcpV4Client_Do_Broadcast, client_broadcast(call))
QSC_HANDLER(Qsc_DhcpV4Client_Do_SentOptionNumberOfEntries,
            serve_get(call, [&] { return answer_text(call.value, "2"); }))
QSC_HANDLER(Qsc_DhcpV4Client_Do_ReqOptionNumberOfEntries,
            serve_get(call, [&] { return answer_text(call.value, "1"); }))
QSC_HANDLER(Qsc_DhcpV4Client_Do_XQrnPppoeUsername, serve_text(call, "network.wan.username", record_username))
QSC_HANDLER(Qsc_DhcpV4Client_Do_XQrnPppoePassword, pppoe_password(call))

QSC_COMMIT(Qsc_DhcpV4Client_Commit, serve_commit(request, commit))
QSC_SERVICE(Qsc_DhcpV4Client_Service, serve_shell_scripts(request, "network"))

namespace
{

constexpr Row kRows[] = {
    handled("Enable", Kind::kBoolean, Access::kReadWrite, Qsc_DhcpV4Client_Do_Enable),
    handled("Broadcast", Kind::kText, Access::kReadWrite, Qsc_DhcpV4Client_Do_Broadcast, ":126"),
    handled("SentOptionNumberOfEntries", Kind::kUnsigned, Access::kRead,
            Qsc_DhcpV4Client_Do_SentOptionNumberOfEntries),
    handled("ReqOptionNumberOfEntries", Kind::kUnsigned, Access::kRead,
            Qsc_DhcpV4Client_Do_ReqOptionNumberOfEntries),
    handled("XQrnPppoeUsername", Kind::kText, Access::kReadWrite, Qsc_DhcpV4Client_Do_XQrnPppoeUsername,
            ":126"),
    handled("XQrnPppoePassword", Kind::kText, Access::kReadWrite, Qsc_DhcpV4Client_Do_XQrnPppoePassword,
            ":126", kSecret),
};

} // namespace

QSC_DESCRIBED_OBJECT(kDhcpV4Client, "Device.DHCPv4.Client.1", g_QscDhcpV4ClientCmd, kRows)
