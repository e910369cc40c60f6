// SPDX-License-Identifier: Apache-2.0
// What the daemon has done so far, for the method "stats" and for the system log.
#include <algorithm>
#include <cinttypes>

#include <json-c/json.h>

#include "include/bacl.h"
#include "include/qsc_stats.h"
#include "include/qslog.h"
#include "tools/qscd/Server.h"

using namespace qsc;

namespace qscd
{

void Server::write_stats(Call& call)
{
    const auto clients =
        std::ranges::count_if(clients_, [](const Client& client) { return client.is_open(); });
    const struct {
        const char* name;
        u64 number;
    } rows[] = {
        {"uptime", (BaCL_GetTimestampMSHQ() - started_) / 1000},
        {"clients", static_cast<u64>(clients)},
        {"connections", counters_.connections},
        {"refused", counters_.refused},
        {"disconnected", counters_.dropped},
        {"requests", counters_.requests},
        {"direct", counters_.direct},
        {"failed", counters_.failed},
        {"late", counters_.late},
        {"running", workers_.running()},
        {"waiting", workers_.waiting()},
        {"subscriptions", watch_.count()},
        {"bytesIn", counters_.bytes_in},
        {"bytesOut", counters_.bytes_out},
        {"queueServed", queue_.served()},
        {"queueDropped", queue_.dropped()},
        {"queueExpired", queue_.expired()},
    };
    call.answer.start_result();
    for (const auto& [name, number] : rows) {
        call.answer.text().append(name == rows[0].name ? "{\"" : ",\"").append(name).append("\":");
        call.answer.append_number(static_cast<i64>(number));
    }
    // What the library has counted goes into the same object.
    json_object* counted = nullptr;
    if (QSysCmdHal_GetStats(&counted) == 0) {
        const JsonRef owner{counted};
        json_object_object_foreach(counted, name, list)
        {
            call.answer.text().append(",\"").append(name).append("\":");
            call.answer.append_value(list);
        }
    }
    call.answer.text().append("}");
    call.answer.end();
}

void Server::report()
{
    const auto clients =
        std::ranges::count_if(clients_, [](const Client& client) { return client.is_open(); });
    Qslog_Log(6, "qscd", __LINE__, __func__,
              "alive: %td clients, %" PRIu64 " requests, %" PRIu64
              " failed; queue: %u served, %u dropped, %u expired\n",
              clients, counters_.requests, counters_.failed, queue_.served(), queue_.dropped(),
              queue_.expired());
}

} // namespace qscd
