// SPDX-License-Identifier: Apache-2.0
// The event log, with the real zlog.
#include <gtest/gtest.h>

#include "qslog.h"
#include "support/TemporaryFolder.h"

using namespace test;

TEST(RealEventLog, WritesRecordsAsConfigured)
{
    const TemporaryFolder folder;
    write_file(folder / "zlog.conf",
               "[formats]\nplain = \"%M(tag) %F %U {%m}%n\"\n[rules]\nqrnevent.NOTICE \"" +
                   (folder / "events") + "\"; plain\n");
    ASSERT_EQ(QEvtLog_Init((folder / "zlog.conf").c_str(), nullptr, "QSCD"), 0u);
    QEvtLog_Log("a.cpp", sizeof "a.cpp", "work", sizeof "work", 1, 'n', "set %s by %s", "a\"b", "CLI");
    QEvtLog_Log(nullptr, 0, nullptr, 0, 1, 'e', "%s", "");
    EXPECT_EQ(QEvtLog_Close(), 0u);
    EXPECT_EQ(read_file(folder / "events"),
              "QSCD a.cpp work {\"Status\":\"n\",\"Msg\":\"set a\\\"b by CLI\"}\n"
              "QSCD   {\"Status\":\"e\",\"Msg\":\"\"}\n");
}

TEST(RealEventLog, BrokenConfigurationsAreRejectedAndCanBeFixed)
{
    const TemporaryFolder folder;
    EXPECT_EQ(QEvtLog_Init((folder / "missing").c_str(), nullptr, nullptr), 14u);
    write_file(folder / "zlog.conf", "[rules]\nthis is no rule\n[nonsense\n");
    EXPECT_EQ(QEvtLog_Init((folder / "zlog.conf").c_str(), nullptr, nullptr), 14u);
    QEvtLog_Log("a", 2, "b", 2, 1, 'n', "nothing happens");
    write_file(folder / "zlog.conf", "[rules]\nqrnevent.* \"" + (folder / "events") + "\"\n");
    EXPECT_EQ(QEvtLog_Init((folder / "zlog.conf").c_str(), nullptr, nullptr), 0u);
    EXPECT_EQ(QEvtLog_Close(), 0u);
}
