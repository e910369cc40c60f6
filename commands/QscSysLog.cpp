// SPDX-License-Identifier: Apache-2.0
// "syslog": the level and the properties of the library log.
#include "core/Objects.h"
#include "core/Request.h"
#include "include/qsc_handlers.h"

using namespace qsc;

namespace
{

QSC_MODULE("QscSysLog");

/// What one setting of the log differs in from the other. Both take 0 to 7.
struct LogSetting {
    u32 (*read)();
    u32 (*write)(u32 value);
    const char* words; ///< what the event record puts in front of the value, a single digit
};

constexpr LogSetting kLevel{Qslog_GetLogLevel, Qslog_SetLogLevel, "level "};
constexpr LogSetting kProperty{Qslog_GetProperty, Qslog_SetProperty, "property 0x"};

u32 log_setting(const Call& call, const LogSetting& setting)
{
    const auto get = [&] { return answer_int(call.value, static_cast<i32>(setting.read())); };
    const auto set = [&]() -> u32 {
        i32 number = 0;
        if (const u32 code = take_int(call.value, number)) {
            return code;
        }
        if (number < 0 || number >= 8) {
            return EFAULT;
        }
        setting.write(static_cast<u32>(number));
        QSC_EVENT(call, "set log %s%d by %s", setting.words, number, commander(call));
        return 0;
    };
    return serve(call, get, set);
}

} // namespace

QSC_HANDLER(Qsc_SysLog_Do_Level, log_setting(call, kLevel))
QSC_HANDLER(Qsc_SysLog_Do_Property, log_setting(call, kProperty))

namespace
{

constexpr Row kRows[] = {
    handled("level", Kind::kUnsigned, Access::kReadWrite, Qsc_SysLog_Do_Level, "0:7"),
    handled("property", Kind::kUnsigned, Access::kReadWrite, Qsc_SysLog_Do_Property, "0:7"),
};

} // namespace

QSC_DESCRIBED_OBJECT(kSystemLog, "syslog", g_QscSysLogCmd, kRows)
