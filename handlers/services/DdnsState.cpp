// SPDX-License-Identifier: Apache-2.0
#include "handlers/services/DdnsState.h"

#include <ctime>

#include <unistd.h>

#include "core/DateTime.h"

namespace qsc::services::ddns
{

namespace
{

/// A file that the scripts keep for the section.
std::string_view read_file(const RowCall& call, const char* suffix)
{
    Text<254> path;
    RowText folder;
    const bool is_own = kDdns.read("global", "ddns_rundir", folder) && folder.view().starts_with('/');
    path.append(is_own ? folder.view() : "/var/run/ddns").append("/client1").append(suffix);
    return call.request.sources.file(path.c_str());
}

/// Known words of a text that providers and programs have written, and what they mean.
struct Known {
    const char* word;
    const char* error;
};

constexpr Known kAnswers[] = {
    {"badauth", "AUTHENTICATION_ERROR"},
    {"abuse", "AUTHENTICATION_ERROR"},
    {"notfqdn", "MISCONFIGURATION_ERROR"},
    {"nohost", "MISCONFIGURATION_ERROR"},
    {"numhost", "MISCONFIGURATION_ERROR"},
    {"!donator", "MISCONFIGURATION_ERROR"},
    {"badagent", "MISCONFIGURATION_ERROR"},
    {"dnserr", "DNS_ERROR"},
    {"911", "PROTOCOL_ERROR"},
};
constexpr Known kProgramErrors[] = {
    {"resolve", "DNS_ERROR"},        {"timed out", "TIMEOUT_ERROR"},  {"timeout", "TIMEOUT_ERROR"},
    {"401", "AUTHENTICATION_ERROR"}, {"403", "AUTHENTICATION_ERROR"}, {"certificate", "PROTOCOL_ERROR"},
    {"SSL", "PROTOCOL_ERROR"},
};

const char* find_error(const RowCall& call)
{
    const auto find = [](std::string_view text, std::span<const Known> known, const char* other) {
        for (const Known& each : known) {
            if (text.find(each.word) != std::string_view::npos) {
                return each.error;
            }
        }
        return other;
    };
    const std::string_view failed = read_file(call, ".err");
    return !failed.empty() ? find(failed, kProgramErrors, "CONNECTION_ERROR")
                           : find(read_file(call, ".dat"), kAnswers, "NO_ERROR");
}

/// When the service was last updated, in seconds of uptime; 0: not yet.
i64 read_update(const RowCall& call)
{
    i64 uptime = 0;
    (void)parse_leading(read_file(call, ".update"), uptime);
    return uptime;
}

/// Whether the script for this section runs.
bool is_running(const RowCall& call)
{
    u32 process = 0;
    Text<62> path;
    (void)parse_leading(read_file(call, ".pid"), process);
    path.append("/proc/").append_number(process);
    return process > 0 && access(path.c_str(), F_OK) == 0;
}

/// The words for each state; the client's and the host's differ.
struct Words {
    const char* updated;
    const char* under_way;
    const char* idle;
    const char* misconfigured;
};

u32 answer_state(const RowCall& call, const Words& words)
{
    const bool is_complete = (has("service_name") || has("update_url")) && has("lookup_host");
    const bool has_failed = std::string_view{find_error(call)} != "NO_ERROR";
    return answer_stored(call, !is_enabled()           ? "Disabled"
                               : !is_complete          ? words.misconfigured
                               : has_failed            ? "Error"
                               : read_update(call) > 0 ? words.updated
                               : is_running(call)      ? words.under_way
                                                       : words.idle);
}

/// The scripts know no date, only how long the device had been up.
} // namespace

bool has_client()
{
    return !kDdns.type_of(kClient).view().empty();
}

bool has(const char* option)
{
    return !kDdns.holds(kClient, option, "");
}

bool is_enabled()
{
    return kDdns.is_on(kClient, "enabled", false);
}

u32 answer_error(const RowCall& call)
{
    return answer_stored(call, is_enabled() ? find_error(call) : "NO_ERROR");
}

u32 answer_status(const RowCall& call)
{
    return answer_state(call, {"Updated", "Connecting", "Error", "Error_Misconfigured"});
}

u32 answer_host_status(const RowCall& call)
{
    return answer_state(call, {"Registered", "Updating", "UpdateNeeded", "Error"});
}

u32 answer_address(const RowCall& call)
{
    u32 address = 0;
    const std::string_view text = first_line(read_file(call, ".ip"));
    return answer_stored(call, is_ipv4(text, address) ? text : "");
}

u32 answer_last_update(const RowCall& call)
{
    constexpr i64 kSet = 1'704'067'200; // 2024: before, the clock was not set
    i64 uptime = 0;
    const i64 now = time(nullptr);
    const i64 updated = read_update(call);
    (void)parse_leading(call.request.sources.file("/proc/uptime"), uptime);
    const bool is_known = updated > 0 && updated <= uptime && now >= kSet;
    return answer_stored(call, date_time_of(is_known ? now - uptime + updated : 0).view());
}

} // namespace qsc::services::ddns
