// SPDX-License-Identifier: Apache-2.0
// "Device.X_QRN_SiteSurvey": the networks of the neighbourhood. A survey takes the radio away from its
// stations for seconds, so only a set starts one. "qrnsitesurvey INTERFACE" prints its table
//   CHANNEL SSID BSSID SIGNAL MODE SECURITY
// with signals in dBm, and ends with 2 while the radio looks out for radar. The last one is kept with its
// state and the second it ended, by the clock that runs since the start of the device.
#include <algorithm>
#include <ctime>

#include "base/ReplaceFile.h"
#include "core/Detached.h"
#include "core/JsonList.h"
#include "core/Objects.h"
#include "core/RunTool.h"
#include "handlers/wifi/AccessPoint.h"
#include "handlers/wifi/Survey.h"
#include "include/qsc_handlers.h"

using namespace qsc;
using namespace qsc::wifi;

namespace
{

QSC_MODULE("QscSiteSurvey");

constexpr const char* kFolder = "/tmp/qrn_survey";
constexpr const char* kLock = "/tmp/qrn_survey/lock";
constexpr const char* kRadio = "/tmp/qrn_survey/radio";
constexpr const char* kResult = "/tmp/qrn_survey/result";
constexpr const char* kRequested = "Requested";

constexpr i64 kPause_s = 5;
/// 5 GHz has some 25 channels.
constexpr u32 kDeadline_ms = 10'000;
constexpr u32 kRadarCheck = 2;
constexpr const char* kUnderWay = "a survey is under way";

std::string_view read_own(const RowCall& call, const char* file)
{
    return has_own_folder(kFolder, false) ? call.request.sources.file(file) : std::string_view{};
}

i64 now_s()
{
    timespec now{};
    (void)clock_gettime(CLOCK_BOOTTIME, &now);
    return now.tv_sec;
}

u32 keep_result(const char* state, std::string_view table)
{
    Text<62> line;
    line.append(state).append(" ").append_number(now_s()).append("\n");
    FileText text;
    return text.append(line.view()) && text.append(table) && replace_file(kResult, text.view(), 0600) == 0
               ? 0
               : refuse(EFAULT, "%s cannot be written", kResult);
}

u32 answer_radio(const RowCall& call)
{
    return answer_stored(call, first_line(read_own(call, kRadio)) == "2" ? "2" : "1");
}

u32 set_radio(const RowCall&, std::string_view stored)
{
    return has_own_folder(kFolder, true) && replace_file(kRadio, stored, 0600) == 0
               ? 0
               : refuse(EFAULT, "%s cannot be written", kRadio);
}

u32 answer_state(const RowCall& call)
{
    std::string_view result = read_own(call, kResult);
    const std::string_view state = take_word(result);
    const bool runs = has_own_folder(kFolder, false) && look_at_lock(kLock) == DetachedState::kRuns;
    return answer_stored(call, runs                  ? kRequested
                               : state == "Complete" ? "Complete"
                               : state == "Error"    ? "Error"
                                                     : "None");
}

/// Refuses to take the radio away from its stations again so soon.
u32 check_pause()
{
    FileText text;
    i64 then = 0;
    (void)read_safe_file(kResult, text);
    std::string_view rest = text.view();
    (void)take_word(rest);
    const bool is_read = parse_whole(take_word(rest), then);
    return is_read && now_s() >= then && now_s() - then < kPause_s
               ? refuse(EFAULT, "the last survey is less than %lld s ago", static_cast<long long>(kPause_s))
               : 0;
}

/// The radio that the request chooses, or that somebody has chosen before.
const Radio& radio_of(const RowCall& call)
{
    FileText before;
    RowText chosen;
    if (is_named(call, "Radio")) {
        (void)read_outcome(call, "Radio", chosen);
    } else if (has_own_folder(kFolder, false) && read_safe_file(kRadio, before) == 0) {
        chosen.append(before.view().substr(0, 1));
    }
    return kRadios[chosen.view() == "2" ? 1 : 0];
}

u32 check_state(const RowCall& call, std::string_view stored)
{
    if (stored != kRequested) {
        return refuse(EFAULT, "only Requested can be set");
    }
    if (!is_stored_on(option_key(radio_of(call), "radioOn"))) {
        return refuse(EFAULT, "the radio is off");
    }
    if (has_own_folder(kFolder, false) && look_at_lock(kLock) == DetachedState::kRuns) {
        return refuse(EFAULT, kUnderWay);
    }
    return check_pause();
}

u32 survey(const RowCall& call, std::string_view)
{
    if (!has_own_folder(kFolder, true)) {
        return refuse(EFAULT, "%s is not a folder of ours alone", kFolder);
    }
    const DetachedLock lock{kLock};
    if (!lock.is_held()) {
        return refuse(EFAULT, kUnderWay);
    }
    // Another may have ended since it was judged.
    if (const u32 code = check_pause()) {
        return code;
    }
    const Radio& radio = radio_of(call);
    const char* const arguments[] = {"/usr/bin/qrnsitesurvey", radio.interface, nullptr};
    FileText table;
    const u32 code = run_tool({.arguments = arguments, .deadline = kDeadline_ms, .output = &table}, kModule);
    if (code == 0) {
        return keep_result("Complete", table.view());
    }
    if (code == kRadarCheck) {
        return refuse(EFAULT, "the radio looks out for radar");
    }
    (void)refuse(EFAULT, "the survey failed");
    (void)keep_result("Error", "");
    return EFAULT;
}

u32 answer_list(const RowCall& call)
{
    std::string_view result = read_own(call, kResult);
    std::string_view state;
    (void)take_line(result, state);
    Survey neighbours{result};
    JsonList list;
    for (Neighbour each; neighbours.next(each);) {
        JsonRow row;
        row.add_number("Channel", each.channel).add("SSID", each.ssid).add("BSSID", each.bssid.view());
        row.add_number("SignalStrength", each.signal).add("Mode", each.mode).add("Security", each.security);
        if (!list.add(std::move(row))) {
            break;
        }
    }
    return list.answer(call);
}

constexpr Access kReadWrite = Access::kReadWrite;
constexpr Place kFunction = Place::kFunction;

constexpr Row kRows[] = {
    {.name = "Radio",
     .kind = Kind::kUnsigned,
     .access = kReadWrite,
     .place = kFunction,
     .limits = "1:2",
     .outside = kRadio,
     .get = answer_radio,
     .set = set_radio},
    {.name = "DiagnosticsState",
     .kind = Kind::kWord,
     .access = kReadWrite,
     .place = kFunction,
     .limits = "None|Requested|Complete|Error",
     .outside = kResult,
     .get = answer_state,
     .check = check_state,
     .set = survey},
    {.name = "X_QRN_List", .kind = Kind::kJson, .place = kFunction, .get = answer_list},
};

} // namespace

QSC_EXPORTED_OBJECT(kSiteSurvey, "Device.X_QRN_SiteSurvey", g_QscSiteSurveyNumcmd, kRows,
                    .area = "site survey")
