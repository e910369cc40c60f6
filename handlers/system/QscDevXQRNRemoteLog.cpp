// SPDX-License-Identifier: Apache-2.0
// "Device.X_QRN_RemoteLog": forwarding of the system log to a remote server.
#include "core/Objects.h"
#include "core/Service.h"
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

} // namespace

QSC_HANDLER(Qsc_Dev_X_QRN_Remote_Log_Do_Enable, serve_text(call, "system.@system[0].log_remote", record))
QSC_HANDLER(Qsc_Dev_X_QRN_Remote_Log_Do_Protocol, serve_text(call, "system.@system[0].log_proto", record))
QSC_HANDLER(Qsc_Dev_X_QRN_Remote_Log_Do_Server, serve_text(call, "system.@system[0].log_ip", record))
QSC_HANDLER(Qsc_Dev_X_QRN_Remote_Log_Do_Port, serve_text(call, "system.@system[0].log_port", record))
QSC_HANDLER(Qsc_Dev_X_QRN_Remote_Log_Do_Prefix, serve_text(call, "system.@system[0].log_prefix", record))

QSC_COMMIT(Qsc_Dev_X_QRN_Remote_Log_Commit,
           is_object(request) ? finish(request, QrnUci_CommitPackage("system")) : EINVAL)
QSC_SERVICE(Qsc_Dev_X_QRN_Remote_Log_Service, serve_shell_scripts(request, "log system"))

namespace
{

constexpr Row kRows[] = {
    handled("Enable", Kind::kBoolean, Access::kReadWrite, Qsc_Dev_X_QRN_Remote_Log_Do_Enable),
    handled("Protocol", Kind::kText, Access::kReadWrite, Qsc_Dev_X_QRN_Remote_Log_Do_Protocol, ":126"),
    handled("Server", Kind::kText, Access::kReadWrite, Qsc_Dev_X_QRN_Remote_Log_Do_Server, ":126"),
    handled("Port", Kind::kText, Access::kReadWrite, Qsc_Dev_X_QRN_Remote_Log_Do_Port, ":126"),
    handled("Prefix", Kind::kText, Access::kReadWrite, Qsc_Dev_X_QRN_Remote_Log_Do_Prefix, ":126"),
};

} // namespace

QSC_DESCRIBED_OBJECT(kRemoteLog, "Device.X_QRN_RemoteLog", g_QscDevXQRNRemoteLogCmd, kRows)
