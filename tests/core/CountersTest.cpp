// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <thread>

#include <json-c/json.h>

#include "bacl.h"
#include "qsc_stats.h"
#include "support/Outside.h"

using namespace test;

namespace
{

/// The lines of a list, "NAME CALLS FAILURES CODE ERROR", with what failed if anything has.
Lines counted(const char* list, const char* key)
{
    json_object* stats = nullptr;
    EXPECT_EQ(QSysCmdHal_GetStats(&stats), 0u);
    const Json owner{stats};
    Lines lines;
    json_object* const rows = json_object_object_get(stats, list);
    for (size_t i = 0; i < json_object_array_length(rows); ++i) {
        json_object* const row = json_object_array_get_idx(rows, i);
        const auto text = [&](const char* name) {
            const char* const member = json_object_get_string(json_object_object_get(row, name));
            return member != nullptr ? " " + std::string{member} : "";
        };
        EXPECT_LE(json_object_get_int64(json_object_object_get(row, "longest")),
                  json_object_get_int64(json_object_object_get(row, "total")));
        lines.push_back(text(key).substr(1) + text("calls") + text("failures") + text("code") +
                        text("error"));
    }
    return lines;
}

using Counters = OutsideTest;

} // namespace

TEST_F(Counters, TellCallsFailuresAndTheLastError)
{
    json_object* stats = nullptr;
    EXPECT_EQ(QSysCmdHal_GetStats(&stats), Fails(EFAULT)) << "nothing is counted before someone asks";
    EXPECT_EQ(QSysCmdHal_GetStats(nullptr), Fails(EINVAL));
    send("version", kGet, "{}");
    QrnExeCmdSimple("uncounted");
    EXPECT_EQ(QSysCmdHal_CountStats(1), 0u);

    outside().wait_statuses = {{"fails --password secret", 3 << 8}, {"missing", -1}};
    send("version", kGet, "{}");
    set("Device.WiFi.Radio.2", "OperatingChannelBandwidth", "9");
    set("Device.WiFi.Radio.7", "Channel", "9");
    QrnExeCmdSimple("works well");
    QrnExeCmdSimple("works");
    QrnExeCmdSimple("fails --password secret");
    QrnExeCmdSimple("missing");
    EXPECT_EQ(QSysCmdHal_CountStats(0), 0u);
    send("version", kGet, "{}");
    QrnExeCmdSimple("works");

    EXPECT_EQ(counted("subtrees", "path"),
              (Lines{"version 1 0",
                     "Device.WiFi.Radio 2 2 22 Device.WiFi.Radio.7: Channel: there is no such instance"}));
    EXPECT_EQ(counted("tools", "program"),
              (Lines{"works 2 0", "fails 1 1 3 ended with code 3", "missing 1 1 14 could not be started"}));
}

TEST_F(Counters, HoldManyThreadsAndMoreProgramsThanTheyHaveRoomFor)
{
    EXPECT_EQ(QSysCmdHal_CountStats(1), 0u);
    const size_t known = counted("tools", "program").size();
    for (int i = 0; i < 100; ++i) {
        QrnExeCmdSimple(("program" + std::to_string(i) + std::string(90, 'x')).c_str());
    }
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int k = 0; k < 500; ++k) {
                const Json object{"{\"level\":{}}"};
                request("syslog", kGet, object.get());
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(QSysCmdHal_CountStats(0), 0u);
    const Lines tools = counted("tools", "program");
    ASSERT_EQ(tools.size(), 64u);
    EXPECT_EQ(tools[known], "program0" + std::string(55, 'x') + " 1 0");
    EXPECT_EQ(tools.back(), "others " + std::to_string(100 - (63 - known)) + " 0");
    const Lines subtrees = counted("subtrees", "path");
    EXPECT_NE(std::find(subtrees.begin(), subtrees.end(), "syslog 2000 0"), subtrees.end());
}
