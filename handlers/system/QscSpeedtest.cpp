// SPDX-License-Identifier: Apache-2.0
// "Device.IP.Diagnostics.X_QRN_Speedtest.": a measurement that runs in the background. The device's script
// gets the server, or nothing, as its argument, and writes "download=KBIT", "upload=KBIT", "latency=MS" and
// "state=Complete" lines to /tmp/qrn_speedtest/result.
#include <algorithm>
#include <cerrno>
#include <ctime>

#include <sys/stat.h>
#include <unistd.h>

#include "base/ReplaceFile.h"
#include "core/DateTime.h"
#include "core/Detached.h"
#include "core/Objects.h"
#include "core/ServeRow.h"

using namespace qsc;

namespace
{

QSC_MODULE("QscSpeedtest");

constexpr const char* kScript = "/usr/bin/qrn_speedtest.sh";
constexpr const char* kFolder = "/tmp/qrn_speedtest";
constexpr const char* kLock = "/tmp/qrn_speedtest/lock";
constexpr const char* kServer = "/tmp/qrn_speedtest/server";
constexpr const char* kResult = "/tmp/qrn_speedtest/result";

bool has_folder(bool makes_it)
{
    return has_own_folder(kFolder, makes_it);
}

std::string_view result_of(const RowCall& call)
{
    return has_folder(false) ? call.request.sources.file(kResult) : std::string_view{};
}

/// What the script says it came to is believed only if it is one of the words for that.
const char* read_state(const RowCall& call)
{
    if (!has_folder(false)) {
        return "None";
    }
    constexpr const char* kEnds[] = {"Complete", "Canceled", "Error_Internal", "Error_Timeout"};
    const DetachedState state = look_at_lock(kLock);
    const std::string_view word = find_line_value(result_of(call), "state");
    const auto* const end = std::ranges::find(kEnds, word);
    return state == DetachedState::kNever  ? "None"
           : state == DetachedState::kRuns ? "Requested"
           : state == DetachedState::kLate ? "Error_Timeout"
           : end != std::end(kEnds)        ? *end
                                           : "Error_Internal";
}

u32 answer_state(const RowCall& call)
{
    return answer_stored(call, read_state(call));
}

u32 check_state(const RowCall&, std::string_view stored)
{
    return stored == "Requested" || stored == "Canceled"
               ? 0
               : refuse(EFAULT, "only Requested and Canceled can be set");
}

u32 keep_result(const char* result)
{
    return replace_file(kResult, result, 0600) == 0 ? 0 : refuse(EFAULT, "%s cannot be written", kResult);
}

u32 set_state(const RowCall& call, std::string_view stored)
{
    constexpr u32 kDeadline_s = 120;
    if (!has_folder(true)) {
        return refuse(EFAULT, "%s is not a folder of ours alone", kFolder);
    }
    if (stored == "Canceled" && look_at_lock(kLock) == DetachedState::kNever) {
        return 0; // a lock alone would be the trace of a measurement
    }
    DetachedLock lock{kLock};
    if (stored == "Canceled") {
        const bool was_running = !lock.is_held();
        if (was_running && !lock.take_over()) {
            return refuse(EFAULT, "it could not be ended");
        }
        return was_running ? keep_result("state=Canceled\n") : 0;
    }
    if (!lock.is_held()) {
        return refuse(EFAULT, "a measurement is under way");
    }
    if (access(kScript, X_OK) != 0) {
        QSC_LOG_CALL(call, kLogWarning, "%s is not installed\n", kScript);
        return keep_result("state=Error_Internal\n");
    }
    RowText server;
    (void)read_places(call.request.sources, kServer, kModule, server);
    const char* const arguments[] = {kScript, server.view().empty() ? nullptr : server.c_str(), nullptr};
    const u32 code = keep_result("");
    return code != 0
               ? code
               : lock.start({.arguments = arguments, .deadline = kDeadline_s, .may_be_ended = true}, kModule);
}

u32 answer_server(const RowCall& call)
{
    return answer_stored(call, has_folder(false) ? first_line(call.request.sources.file(kServer))
                                                 : std::string_view{});
}

u32 set_server(const RowCall&, std::string_view stored)
{
    return has_folder(true) && replace_file(kServer, stored, 0600) == 0
               ? 0
               : refuse(EFAULT, "%s cannot be written", kServer);
}

/// A number of a measurement that is complete; anything else is 0.
u32 answer_result(const RowCall& call)
{
    const std::string_view name = call.function;
    const char* const word = name == "DownloadRate" ? "download"
                             : name == "UploadRate" ? "upload"
                                                    : "latency";
    u32 number = 0;
    const bool is_complete = std::string_view{read_state(call)} == "Complete";
    (void)(is_complete && parse_whole(find_line_value(result_of(call), word), number));
    return answer_number(call, number);
}

u32 answer_time(const RowCall& call)
{
    struct stat status {
    };
    const bool is_complete = std::string_view{read_state(call)} == "Complete" && lstat(kResult, &status) == 0;
    return answer_stored(call, date_time_of(is_complete ? status.st_mtime : 0).view());
}

constexpr Access kReadWrite = Access::kReadWrite;
constexpr Kind kUnsigned = Kind::kUnsigned;
constexpr Place kFunction = Place::kFunction;

constexpr Row kRows[] = {
    {.name = "Server",
     .kind = Kind::kHost,
     .access = kReadWrite,
     .place = kFunction,
     .outside = kServer,
     .get = answer_server,
     .set = set_server},
    {.name = "DiagnosticsState",
     .kind = Kind::kWord,
     .access = kReadWrite,
     .place = kFunction,
     .limits = "None|Requested|Canceled|Complete|Error_Internal|Error_Timeout",
     .outside = kResult,
     .get = answer_state,
     .check = check_state,
     .set = set_state},
    {.name = "DownloadRate",
     .kind = kUnsigned,
     .place = kFunction,
     .unit = Unit::kKbitPerSecond,
     .get = answer_result},
    {.name = "UploadRate",
     .kind = kUnsigned,
     .place = kFunction,
     .unit = Unit::kKbitPerSecond,
     .get = answer_result},
    {.name = "Latency",
     .kind = kUnsigned,
     .place = kFunction,
     .unit = Unit::kMilliseconds,
     .get = answer_result},
    {.name = "CompleteTime", .kind = Kind::kDateTime, .place = kFunction, .get = answer_time},
};

} // namespace

QSC_OBJECT(kSpeedtest, "Device.IP.Diagnostics.X_QRN_Speedtest.", kRows, .area = "speedtest")
