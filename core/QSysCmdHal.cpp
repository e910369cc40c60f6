// SPDX-License-Identifier: Apache-2.0
// Start and stop of the library, and the registry of operations and commanders.
#include "include/qsyscmdhal.h"

#include <cerrno>

#include "core/Refusal.h"
#include "core/SetJournal.h"
#include "include/bacl.h"
#include "include/qrnuci.h"
#include "log/Log.h"

using namespace qsc;

const Qsc_OperName g_QscCmdList[] = {
    {0x0, "idle"},          {0x1, "get"},
    {0x2, "set"},           {0x4, "init"},
    {0x8, "uninit"},        {0x10, "notify"},
    {0x20, "factoryreset"}, {0x40, "backup"},
    {0x80, "reboot"},       {0x100, "fwupgrade"},
    {0x200, "rollback"},    {0x400, "nooper"},
    {0x800, "logset"},      {0x1000, "timeraction"},
    {0x2000, "activate"},   {0x4000, "message"},
    {0x8000, "prewatch"},   {0x10000, "postwatch"},
    {0x20000, "comtree"},   {0x40000, "commit"},
    {0x80000, "service"},   {QSC_TABLE_END, nullptr},
};

const Qsc_CommanderName g_QSCCommander[] = {
    {QSC_COMMANDER_TR69, "TR69"},
    {QSC_COMMANDER_WEB, "WEB"},
    {QSC_COMMANDER_SERVD, "SERVD"},
    {QSC_COMMANDER_CLI, "CLI"},
    {QSC_COMMANDER_POLLD, "POLLD"},
    {QSC_COMMANDER_OTHER, "OTHER"},
    {QSC_COMMANDER_VOIP, "VOIP"},
    {QSC_COMMANDER_MQTT, "MQTT"},
    {QSC_COMMANDER_DHCP, "DHCP"},
    {QSC_COMMANDER_ORVANE_CLI, "orvane_cli"},
    {QSC_COMMANDER_ORVANE_ACCPWD, "orvane_accpwd"},
    {0, "UNKNOWN"},
};

QSysCmdHal_Callback g_QSysCmdHalCb = nullptr;

namespace
{

constexpr const char* kModule = "QSysCmdHal";

constinit bool g_initialised = false;
constinit u32 g_options = 0;

void raise_event(u64 event)
{
    if (g_QSysCmdHalCb != nullptr) {
        g_QSysCmdHalCb(event, 0);
    }
}

} // namespace

uint32_t QSysCmdHal_Init(QSysCmdHal_Callback callback, uint32_t options)
{
    if (g_initialised) {
        return 0;
    }
    g_initialised = true;
    if ((options & QSC_INIT_LOG) != 0) {
        // Process id in each line, the console when the system log is away, open at once; user messages.
        Qslog_Open("QSCH", 11, 8);
    }
    if ((options & QSC_INIT_FOUNDATION) != 0) {
        BaCL_Init();
    }
    if ((options & QSC_INIT_UCI) != 0) {
        QrnUci_Init();
    }
    if ((options & QSC_INIT_EVENTS) != 0) {
        if (const u32 code = QEvtLog_Init("/etc/zlog.conf", "qrnevent", "QSCD")) {
            QSC_LOG(kLogError, "QEvtLog_Init, error %d\n", static_cast<i32>(code));
        }
    }
    want_refusals((options & QSC_INIT_ERRORS) != 0);
    want_journal((options & QSC_INIT_JOURNAL) != 0);
    g_options = options;
    g_QSysCmdHalCb = callback;
    raise_event(0);
    return 0;
}

uint32_t QSysCmdHal_Close(void)
{
    if (!g_initialised) {
        return 0;
    }
    raise_event(1);
    if ((g_options & QSC_INIT_EVENTS) != 0) {
        QEvtLog_Close();
    }
    if ((g_options & QSC_INIT_UCI) != 0) {
        QrnUci_Close();
    }
    if ((g_options & QSC_INIT_FOUNDATION) != 0) {
        BaCL_Close();
    }
    if ((g_options & QSC_INIT_LOG) != 0) {
        Qslog_Close();
    }
    want_refusals(false);
    want_journal(false);
    g_initialised = false;
    g_options = 0;
    return 0;
}

Qsc_CommandEntry* QSysCmdHal_GetFunList(void)
{
    raise_event(2);
    return g_QSysCmdHalCmd;
}

const char* QSysCmdHal_GetCommanderName(int32_t commander)
{
    const Qsc_CommanderName* entry = g_QSCCommander;
    while (entry->id != 0 && entry->id != static_cast<u32>(commander)) {
        ++entry;
    }
    return entry->name;
}

uint32_t QSysCmdHal_SysLog(int32_t which, int32_t set, uint32_t* value)
{
    if (value == nullptr) {
        return EINVAL;
    }
    u32 code = 0;
    switch (which) {
    case 0:
        if (set != 0) {
            Qslog_SetLogLevel(*value);
        } else {
            *value = Qslog_GetLogLevel();
        }
        break;
    case 1:
        if (set != 0) {
            Qslog_SetProperty(*value);
        } else {
            *value = Qslog_GetProperty();
        }
        break;
    default:
        code = EINVAL;
    }
    raise_event(3);
    return code;
}

uint32_t QSysCmdHal_IsNumber(const char* text)
{
    constexpr u32 kSignedInteger = 7;
    return BaCL_IsStringType(text, kSignedInteger);
}
