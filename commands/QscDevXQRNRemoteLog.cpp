// SPDX-License-Identifier: Apache-2.0
// "Device.X_QRN_RemoteLog": forwarding of the system log to a remote server.
#include "core/Service.h"
#include "core/Tables.h"
#include "core/UciAccess.h"
#include "include/qsc_handlers.h"

using namespace qsc;

namespace
{

QSC_MODULE("QscDevXQRNRemoteLog");

void record(const Call& call, const char* value)
{
    QSC_EVENT(call, "set Remote Log %s %s by %s", shown(call.name), value, commander(call));
}

constexpr const char* kScripts[] = {"log", "system"};

} // namespace

QSC_HANDLER(Qsc_Dev_X_QRN_Remote_Log_Do_Enable, serve_text(call, "system.@system[0].log_remote", record))
QSC_HANDLER(Qsc_Dev_X_QRN_Remote_Log_Do_Protocol, serve_text(call, "system.@system[0].log_proto", record))
QSC_HANDLER(Qsc_Dev_X_QRN_Remote_Log_Do_Server, serve_text(call, "system.@system[0].log_ip", record))
QSC_HANDLER(Qsc_Dev_X_QRN_Remote_Log_Do_Port, serve_text(call, "system.@system[0].log_port", record))
QSC_HANDLER(Qsc_Dev_X_QRN_Remote_Log_Do_Prefix, serve_text(call, "system.@system[0].log_prefix", record))

QSC_COMMIT(Qsc_Dev_X_QRN_Remote_Log_Commit,
           is_object(request) ? finish(request, QrnUci_CommitPackage("system")) : EINVAL)
QSC_SERVICE(Qsc_Dev_X_QRN_Remote_Log_Service, serve_service(request, kScripts))

constexpr Qsc_ParamEntry g_QscDevXQRNRemoteLogCmd[] = {
    {0, "Enable", Qsc_Dev_X_QRN_Remote_Log_Do_Enable, 0, 0},
    {1, "Protocol", Qsc_Dev_X_QRN_Remote_Log_Do_Protocol, 0, 0},
    {2, "Server", Qsc_Dev_X_QRN_Remote_Log_Do_Server, 0, 0},
    {3, "Port", Qsc_Dev_X_QRN_Remote_Log_Do_Port, 0, 0},
    {4, "Prefix", Qsc_Dev_X_QRN_Remote_Log_Do_Prefix, 0, 0},
    kTableEnd,
};
static_assert(is_sound(g_QscDevXQRNRemoteLogCmd));
