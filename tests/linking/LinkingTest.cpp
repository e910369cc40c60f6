// SPDX-License-Identifier: Apache-2.0
// How the library is bound to a host by the dynamic linker. Built as each kind of program that a host can be.
#include <cstring>
#include <string>

#include <gtest/gtest.h>
#include <json-c/json.h>

#include "bacl.h"
#include "qsc_device_time.h"
#include "qsc_dhcpv4_client.h"
#include "qsc_handlers.h"
#include "qsc_wifi.h"
#include "qscbase.h"
#include "qslog.h"
#include "qsyscmdhal.h"

namespace
{

std::string g_logged;

const Qsc_CommandEntry* find_command(const char* path)
{
    for (const Qsc_CommandEntry* entry = QSysCmdHal_GetFunList(); entry->id != QSC_TABLE_END; ++entry) {
        if (std::strcmp(entry->path, path) == 0) {
            return entry;
        }
    }
    return nullptr;
}

Qsc_HandlerFunction* find_handler(const Qsc_ParamEntry* table, const char* name)
{
    for (; table->id != QSC_TABLE_END; ++table) {
        if (std::strcmp(table->name, name) == 0) {
            return table->handler;
        }
    }
    return nullptr;
}

} // namespace

// The host's own definitions of functions that the library exports.
extern "C" {

uint32_t Qslog_Log(int32_t, const char*, int32_t, const char* function, const char*, ...)
{
    g_logged = function;
    return 0;
}

const char* QSysCmdHal_GetCommanderName(int32_t)
{
    return "host";
}

uint32_t BaCL_IsFileExist(const char*)
{
    return 0;
}

} // extern "C"

TEST(Linking, TablesHoldTheAddressesThatTheHostSees)
{
    const struct {
        const char* path;
        QSysCmdHal_Dispatcher dispatcher;
        const Qsc_ParamEntry* table;
    } rows[] = {
        {"Device.Time", &QSysCmdHal_Do_Device_Time, g_QscDeviceTimeCmd},
        {"Device.WiFi.SSID", &QSysCmdHal_Do_Device_WiFi_SSID, g_QscDeviceWiFiSSIDCmd},
        {"help", &QSysCmdHal_Do_FunHelp, g_QscFunHelpCmd},
    };
    for (const auto& [path, dispatcher, table] : rows) {
        const Qsc_CommandEntry* const entry = find_command(path);
        ASSERT_NE(entry, nullptr) << path;
        EXPECT_EQ(entry->dispatcher, dispatcher) << path;
        EXPECT_EQ(entry->params, table) << path;
    }
    EXPECT_EQ(find_handler(g_QscDeviceTimeCmd, "Enable"), &Qsc_DevTime_Do_Enable);
    EXPECT_EQ(QSysCmdHal_GetFunList(), g_QSysCmdHalCmd);
}

TEST(Linking, TheLibraryCallsTheHostsDefinitions)
{
    g_logged.clear();
    EXPECT_EQ(QSCBase_Send_NB(QSCBASE_NO_QUEUE, 1, 0, nullptr, 0, 0, 1, 0), 22u);
    EXPECT_EQ(g_logged, "QSCBase_Send_NB");
    EXPECT_STREQ(QSCBase_GetCommanderName(8), "host");
    // In the same source file as its caller, so that a compiler could inline it.
    EXPECT_EQ(BaCL_CopyFile("/proc/self/status", "/dev/null"), 22u);
}
