// SPDX-License-Identifier: Apache-2.0
// "Device.X_QRN_AutoReboot": reboots at a time of some weekdays, by a line of ours in root's crontab.
#include <algorithm>
#include <ctime>

#include <sys/stat.h>

#include "base/ReplaceFile.h"
#include "base/SafeFile.h"
#include "core/DateTime.h"
#include "core/Objects.h"
#include "core/ServeRow.h"
#include "core/Service.h"
#include "core/ServiceSteps.h"
#include "handlers/system/ZoneRule.h"
#include "include/qsc_handlers.h"

using namespace qsc;
using namespace qsc::system;

namespace
{

QSC_MODULE("QscAutoReboot");

constexpr const char* kFolder = "/etc/crontabs";
constexpr const char* kCrontab = "/etc/crontabs/root";
constexpr std::string_view kMarker = "# qrn_autoreboot";
constexpr const char* kEveryDay = "*";
constexpr const char* kUsualTime = "03:00";

struct Plan {
    bool is_on;
    u32 minute; ///< of the day
    u32 days;   ///< a bit each, Sunday the lowest
};

/// The days of a list such as "0,6", or "*"; 0: it is none.
u32 read_days(std::string_view text)
{
    constexpr u32 kAll = 0x7F;
    u32 days = 0;
    const u32 code = for_each_item(text, [&](std::string_view item) -> u32 {
        u32 day = 7;
        (void)parse_whole(item, day);
        days |= day < 7 ? 1U << day : 0;
        return day < 7 ? 0 : EINVAL;
    });
    return text == kEveryDay ? kAll : code == 0 ? days : 0;
}

void write_days(u32 days, Text<14>& text)
{
    for (u32 day = 0; day < 7; ++day) {
        if ((days >> day & 1) != 0) {
            text.append(text.view().empty() ? "" : ",").append_number(day);
        }
    }
}

Plan read_plan()
{
    ValueText enabled;
    ValueText time;
    ValueText days;
    const bool is_on = uci_peek("autoreboot.config.enable", enabled) == 0 && is_switched_on(enabled.view());
    if (uci_peek("autoreboot.config.time", time) != 0 || time.view().empty()) {
        (void)time.assign(kUsualTime);
    }
    if (uci_peek("autoreboot.config.days", days) != 0 || days.view().empty()) {
        (void)days.assign(kEveryDay);
    }
    Plan plan{is_on, 0, read_days(days.view())};
    u32 hour = 24;
    u32 minute = 60;
    const std::string_view text = time.view();
    const bool is_time = text.size() == 5 && text[2] == ':' && parse_whole(text.substr(0, 2), hour) &&
                         parse_whole(text.substr(3), minute) && hour < 24 && minute < 60;
    plan.minute = hour * 60 + minute;
    plan.is_on = plan.is_on && is_time && plan.days != 0;
    return plan;
}

u32 check_days(const RowCall&, std::string_view stored)
{
    return read_days(stored) != 0 ? 0 : refuse(EFAULT, "it is neither * nor days from 0, Sunday, to 6");
}

u32 answer_days(const RowCall& call)
{
    RowText days;
    const u32 code = read_stored(call.request, call.row, days);
    return code != 0 ? code : answer_stored(call, days.view());
}

u32 store_days(const RowCall& call, std::string_view stored)
{
    Text<14> days;
    write_days(read_days(stored), days);
    return write_stored(call, stored == kEveryDay ? stored : days.view());
}

/// The moment of the next reboot; 0: never.
i64 find_next(const Plan& plan, const ZoneRule& zone, i64 now)
{
    constexpr i64 kDay = 86'400;
    constexpr i64 kThursday = 4; // 1970-01-01
    constexpr i64 kLookahead = 15;
    i64 next = 0;
    const i64 today = (now + zone.ahead_at(now)) / kDay;
    // A time that summer time leaves out does not come; one that it repeats comes twice.
    for (i64 day = today; plan.is_on && day < today + kLookahead; ++day) {
        for (const i64 ahead : zone.ahead) {
            const i64 moment = day * kDay + i64{plan.minute} * 60 - ahead;
            if ((plan.days >> ((day + kThursday) % 7) & 1) != 0 && moment > now &&
                zone.ahead_at(moment) == ahead && (next == 0 || moment < next)) {
                next = moment;
            }
        }
    }
    return next;
}

u32 answer_next(const RowCall& call)
{
    constexpr i64 kClockIsSet = 1'704'067'200; // 2024-01-01
    ValueText zone;
    (void)uci_peek("system.@system[0].timezone", zone);
    const std::time_t now = std::time(nullptr);
    const i64 next = now < kClockIsSet ? 0 : find_next(read_plan(), read_zone_rule(zone.view()), now);
    return answer_stored(call, date_time_of(next).view());
}

/// The reboot waits until its minute is over and leaves a trace of the time: a device without a clock of its
/// own comes back at the time of its newest file, and would reboot for ever.
void append_line(const Plan& plan, Text<254>& line)
{
    constexpr u32 kAll = 0x7F;
    Text<14> days;
    write_days(plan.days, days);
    line.append_number(plan.minute % 60).append(" ").append_number(plan.minute / 60).append(" * * ");
    line.append(plan.days == kAll ? kEveryDay : days.view());
    line.append(" sleep 70 && touch /etc/banner && reboot ").append(kMarker).append("\n");
}

/// Writes the crontab anew, with the lines of others byte for byte.
u32 write_crontab()
{
    FileText before;
    FileText after;
    const u32 code = read_safe_file(kCrontab, before);
    if (code != 0 && code != ENOENT) {
        return code;
    }
    std::string_view rest = before.view();
    while (!rest.empty()) {
        const std::size_t size = std::min(rest.find('\n'), rest.size() - 1) + 1;
        const std::string_view line = rest.substr(0, size);
        rest.remove_prefix(size);
        if (line.find(kMarker) == std::string_view::npos && !after.append(line)) {
            return ENOMEM;
        }
    }
    Text<254> line;
    if (const Plan plan = read_plan(); plan.is_on) {
        const bool is_open = !after.view().empty() && after.view().back() != '\n';
        line.append(is_open ? "\n" : "");
        append_line(plan, line);
    }
    if (!after.append(line.view())) {
        return ENOMEM;
    }
    if (after.view() == before.view()) {
        return 0;
    }
    make_folder(kFolder, 0755);
    return replace_file(kCrontab, after.view(), 0600);
}

} // namespace

u32 qsc::system::serve_auto_reboot(const char*, json_object* request)
{
    if (const u32 code = write_crontab()) {
        QSC_LOG(kLogError, "%s is not written, error %u\n", kCrontab, code);
        (void)refuse(EFAULT, "%s could not be written", kCrontab);
        return finish(request, EFAULT);
    }
    return serve_scripts(request, "cron");
}

namespace
{

constexpr Access kReadWrite = Access::kReadWrite;

constexpr Row kRows[] = {
    {.name = "Time", .kind = Kind::kTimeOfDay, .access = kReadWrite, .key = "time", .fallback = kUsualTime},
    {.name = "Days",
     .access = kReadWrite,
     .place = Place::kFunction,
     .limits = "1:13",
     .key = "days",
     .fallback = kEveryDay,
     .get = answer_days,
     .check = check_days,
     .set = store_days},
    {.name = "Enable", .kind = Kind::kBoolean, .access = kReadWrite, .key = "enable", .fallback = "0"},
    {.name = "NextReboot", .kind = Kind::kDateTime, .place = Place::kFunction, .get = answer_next},
};

} // namespace

QSC_EXPORTED_OBJECT(kAutoReboot, "Device.X_QRN_AutoReboot", g_QscAutoRebootCmd, kRows, .area = "auto reboot",
                    .section = "autoreboot.config.", .section_type = "autoreboot")
