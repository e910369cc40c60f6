// SPDX-License-Identifier: Apache-2.0
// "Device.Time": the NTP client, the local time and the time zone.
#include <algorithm>
#include <ctime>

#include "base/Parse.h"
#include "base/Recording.h"
#include "base/SafeFile.h"
#include "core/Objects.h"
#include "core/Service.h"
#include "core/UciAccess.h"
#include "handlers/services/Firewall.h"
#include "include/bacl.h"
#include "include/qsc_device_time.h"

using namespace qsc;

namespace
{

QSC_MODULE("QscDeviceTime");

constexpr const char* kNtpEnabled = "system.ntp.enabled";
constexpr const char* kNtpServers = "system.ntp.server";
constexpr const char* kDstDisabled = "system.ntp.dstdisable";
constexpr const char* kZone = "system.@system[0].timezone";
constexpr const char* kLocation = "system.@system[0].tzlocation";

constexpr i32 kNtpServerCount = 5;

/// The time zone has changed since "system" was restarted.
constinit RememberedSwitch g_needs_restart{0};

/// Takes the first word of a text, after any white space. Empty: there is none, or it is too long for a
/// value.
void take_word(std::string_view text, ValueText& word)
{
    const auto begin = std::ranges::find_if_not(text, is_space);
    const auto end = std::find_if(begin, text.end(), is_space);
    (void)word.assign({begin, end});
}

/// Answers with the status that the NTP service has written.
u32 answer_ntp_status(const Call& call)
{
    ValueText word;
    (void)uci_read(call, kNtpEnabled, word);
    if (word.view() != "1") {
        return answer_text(call.value, "Disabled");
    }
    FileText text;
    switch (const u32 code = read_safe_file("/tmp/.ntpstatus", text)) {
    case 0:
    case EINVAL: // not a regular file
    case EFBIG:
    case EIO:
        take_word(text.view(), word);
        return answer_text(call.value, is_empty(word.c_str()) ? "Error_FailedToSynchronize" : word.c_str());
    case ENOMEM:
        return code;
    default:
        return answer_text(call.value, "Unsynchronized");
    }
}

u32 ntp_server(const Call& call, i32 index)
{
    if (index < 0 || index >= kNtpServerCount) {
        return EINVAL;
    }
    const auto item = static_cast<u32>(index);
    Text<126, 256> server;
    const auto get = [&] {
        const u32 code = server.fill([&](char* buffer, std::size_t size) {
            return QrnUci_GetListItem(kNtpServers, item, buffer, static_cast<u32>(size));
        });
        if (code != 0) {
            note_read(code);
            QSC_LOG_CALL(call, kLogWarning, "%s not found\n", kNtpServers);
            server.clear();
        }
        return answer_text(call.value, server.c_str());
    };
    const auto set = [&]() -> u32 {
        if (const u32 code = take_value(call, server)) {
            return code;
        }
        if (const u32 code = QrnUci_SetListItem(kNtpServers, item, server.c_str())) {
            return code;
        }
        QSC_EVENT(call, "set NTP server %d %s by %s", index, shown(server.c_str()), commander(call));
        return 0;
    };
    return serve(call, get, set);
}

u32 answer_local_time(const Call& call)
{
    const std::time_t now = std::time(nullptr);
    std::tm it = {};
    tzset(); // localtime_r() alone need not read the zone again
    if (localtime_r(&now, &it) == nullptr) {
        return EFAULT;
    }
    // Not strftime(), which would read the zone once more.
    ValueText text;
    text.append_number(it.tm_year + 1900);
    const auto append_two_digits = [&](char mark, int number) {
        const char part[] = {mark, static_cast<char>('0' + number / 10),
                             static_cast<char>('0' + number % 10)};
        text.append({part, sizeof part});
    };
    append_two_digits('-', it.tm_mon + 1);
    append_two_digits('-', it.tm_mday);
    append_two_digits('T', it.tm_hour);
    append_two_digits(':', it.tm_min);
    append_two_digits(':', it.tm_sec);
    return answer_text(call.value, text.c_str());
}

u32 set_local_time(const Call& call)
{
    std::string_view text;
    if (const u32 code = take_text(call.value, text)) {
        return code;
    }
    ValueText time;
    if (!time.assign(text) || std::ranges::count(text, '-') > 2) {
        return refuse(EINVAL, "a time has at most 126 characters and two dashes");
    }
    if (std::ranges::any_of(text, is_shell_special)) {
        return refuse(EFAULT, "a time holds none of `;|&{}$<>");
    }
    CommandText command;
    command.append("date -s \"").append_quoted(text).append("\"");
    if (const u32 code = QrnExeCmdSimple(command.c_str())) {
        return refuse(code, "the clock could not be set");
    }
    QSC_EVENT(call, "set %s %s by %s", shown(call.name), shown(time.c_str()), commander(call));
    return 0;
}

u32 local_time(const Call& call)
{
    const auto get = [&] { return answer_local_time(call); };
    const auto set = [&] { return set_local_time(call); };
    return serve(call, get, set);
}

u32 time_zone_location(const Call& call)
{
    const auto get = [&] { return uci_answer_text(call, kLocation); };
    const auto set = [&]() -> u32 {
        ValueText location;
        if (const u32 code = take_value(call, location)) {
            return code;
        }
        char zone[128];
        if (Qsc_TZ_FindTimeZone(location.c_str(), zone, sizeof zone) == 0) {
            QSC_LOG_CALL(call, kLogError, "time zone location not found\n");
            return refuse(EFAULT, "there is no time zone '%.60s'", location.c_str());
        }
        if (const u32 code = uci_write(kLocation, location.c_str())) {
            return code;
        }
        g_needs_restart = true;
        QSC_EVENT(call, "set time zone location %s by %s", location.c_str(), commander(call));
        return 0;
    };
    return serve(call, get, set);
}

void record_enabled(const Call& call, i32 flag)
{
    QSC_EVENT(call, "set NTP server enabled flag %d by %s", flag, commander(call));
}

void record_zone(const Call& call, const char* zone)
{
    QSC_EVENT(call, "set time zone %s by %s", shown(zone), commander(call));
}

void record_daylight_saving(const Call& call, i32 flag)
{
    g_needs_restart = true;
    QSC_EVENT(call, "set daylight saving time disabled flag %d by %s", flag, commander(call));
}

/// Derives the zone string from the location. An unknown location leaves `is_known` false: nothing is
/// committed.
u32 update_zone(bool& is_known)
{
    Text<130> location;
    if (const u32 code = uci_peek(kLocation, location)) {
        return code;
    }
    ValueText zone;
    const u32 found = zone.fill([&](char* buffer, std::size_t size) {
        return Qsc_TZ_FindTimeZone(location.c_str(), buffer, static_cast<u32>(size));
    });
    is_known = found != 0;
    if (!is_known) {
        return 0;
    }
    if (found == 2) {
        if (const u32 code = uci_peek(kZone, zone)) {
            return code;
        }
    }
    if (uci_holds(kDstDisabled, "1")) {
        const std::size_t length = zone.view().size();
        if (const u32 code = zone.edit(Qsc_TZ_RemoveDaylightSavingTime)) {
            return code;
        }
        g_needs_restart = g_needs_restart || zone.view().size() != length;
    }
    return g_needs_restart ? uci_write(kZone, zone.c_str()) : 0;
}

u32 commit(json_object* request)
{
    bool is_known = false;
    const u32 code = update_zone(is_known);
    return code != 0 || !is_known ? code : commit_packages(request, "system");
}

/// Restarts "system" if the time zone has changed, and loads the firewall's rules anew if any has hours,
/// which would stay those of the zone of before. Then runs the action on the NTP service.
u32 restart(std::string_view action)
{
    if (g_needs_restart) {
        if (const u32 code = run_init_script("system", "restart")) {
            return code;
        }
        if (const u32 code = services::has_hours() ? run_init_script("firewall", "reload") : 0) {
            return code;
        }
        g_needs_restart = false;
    }
    return run_init_script("sysntpd", action);
}

} // namespace

QSC_HANDLER(Qsc_DevTime_Do_Enable, serve_int(call, kNtpEnabled, record_enabled))
QSC_HANDLER(Qsc_DevTime_Do_Status, serve_get(call, [&] { return answer_ntp_status(call); }))
QSC_HANDLER(Qsc_DevTime_Do_NtpServer1, ntp_server(call, 0))
QSC_HANDLER(Qsc_DevTime_Do_NtpServer2, ntp_server(call, 1))
QSC_HANDLER(Qsc_DevTime_Do_NtpServer3, ntp_server(call, 2))
QSC_HANDLER(Qsc_DevTime_Do_NtpServer4, ntp_server(call, 3))
QSC_HANDLER(Qsc_DevTime_Do_NtpServer5, ntp_server(call, 4))
QSC_HANDLER(Qsc_DevTime_Do_CurrentLocalTime, local_time(call))
QSC_HANDLER(Qsc_DevTime_Do_LocalTimeZone, serve_text(call, kZone, record_zone))
QSC_HANDLER(Qsc_DevTime_Do_XQrnTimeZoneLocation, time_zone_location(call))
QSC_HANDLER(Qsc_DevTime_Do_XQrnDSTDisable, serve_int(call, kDstDisabled, record_daylight_saving))

QSC_COMMIT(Qsc_DevTime_Commit, serve_commit(request, commit))
QSC_SERVICE(Qsc_DevTime_Service, serve_action(request, restart))

namespace
{

constexpr Row kRows[] = {
    handled("Enable", Kind::kBoolean, Access::kReadWrite, Qsc_DevTime_Do_Enable),
    handled("Status", Kind::kText, Access::kRead, Qsc_DevTime_Do_Status),
    handled("NTPServer1", Kind::kText, Access::kReadWrite, Qsc_DevTime_Do_NtpServer1, ":126"),
    handled("NTPServer2", Kind::kText, Access::kReadWrite, Qsc_DevTime_Do_NtpServer2, ":126"),
    handled("NTPServer3", Kind::kText, Access::kReadWrite, Qsc_DevTime_Do_NtpServer3, ":126"),
    handled("NTPServer4", Kind::kText, Access::kReadWrite, Qsc_DevTime_Do_NtpServer4, ":126"),
    handled("NTPServer5", Kind::kText, Access::kReadWrite, Qsc_DevTime_Do_NtpServer5, ":126"),
    handled("CurrentLocalTime", Kind::kDateTime, Access::kReadWrite, Qsc_DevTime_Do_CurrentLocalTime),
    handled("LocalTimeZone", Kind::kText, Access::kReadWrite, Qsc_DevTime_Do_LocalTimeZone, ":126"),
    handled("XQrnTimeZoneLocation", Kind::kText, Access::kReadWrite, Qsc_DevTime_Do_XQrnTimeZoneLocation,
            ":126"),
    handled("XQrnDSTDisable", Kind::kBoolean, Access::kReadWrite, Qsc_DevTime_Do_XQrnDSTDisable),
};

} // namespace

QSC_DESCRIBED_OBJECT(kTime, "Device.Time", g_QscDeviceTimeCmd, kRows)
