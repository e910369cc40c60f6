// SPDX-License-Identifier: Apache-2.0
// "Device.X_QRN_Orvane": what the cloud's agent says of itself.
#include <algorithm>

#include "core/DateTime.h"
#include "core/Objects.h"
#include "handlers/services/Package.h"

using namespace qsc;

namespace
{

QSC_MODULE("QscOrvane");

constexpr const char* kStates = "Disabled|Connecting|Connected|Error";

/// A line "NAME=VALUE" of the agent's status file, which anybody may have written.
std::string_view read_line(const RowCall& call, std::string_view name)
{
    constexpr std::size_t kLongest = 64;
    const std::string_view value = find_line_value(call.request.sources.file("/var/run/orvane.status"), name);
    const bool is_plain =
        value.size() <= kLongest && std::ranges::all_of(value, [](char c) { return c >= ' ' && c <= '~'; });
    return is_plain ? value : std::string_view{};
}

u32 answer_status(const RowCall& call)
{
    const std::string_view state = read_line(call, "status");
    return answer_stored(call, !services::is_row_on(call.request) ? "Disabled"
                               : find_word(kStates, state) < 0    ? "Error"
                                                                  : state);
}

u32 answer_version(const RowCall& call)
{
    return answer_stored(call, read_line(call, "version"));
}

u32 answer_last_contact(const RowCall& call)
{
    constexpr i64 kLatest = 253'402'300'799; // of the year 9999
    i64 moment = 0;
    (void)parse_whole(read_line(call, "last_contact"), moment);
    return answer_stored(call, date_time_of(moment > 0 && moment <= kLatest ? moment : 0).view());
}

constexpr Row kRows[] = {
    {.name = "Enable", .kind = Kind::kBoolean, .key = "enable", .fallback = "0"},
    {.name = "Status",
     .kind = Kind::kWord,
     .place = Place::kFunction,
     .limits = kStates,
     .get = answer_status},
    {.name = "Server", .key = "server"},
    {.name = "DeviceID", .key = "device_id"},
    {.name = "Version", .place = Place::kFunction, .get = answer_version},
    {.name = "LastContact", .kind = Kind::kDateTime, .place = Place::kFunction, .get = answer_last_contact},
};

} // namespace

QSC_OBJECT(kOrvane, "Device.X_QRN_Orvane", kRows, .section = "orvane.config.")
