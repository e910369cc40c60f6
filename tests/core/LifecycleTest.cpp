// SPDX-License-Identifier: Apache-2.0
#include <cstring>

#include "bacl.h"
#include "qslog.h"
#include "qsyscmdhal.h"
#include "support/Outside.h"

using namespace test;

namespace
{

uint64_t first_host(uint64_t event, uint64_t argument)
{
    EXPECT_EQ(argument, 0u);
    outside().done.push_back("first " + std::to_string(event));
    return 1;
}

uint64_t second_host(uint64_t event, uint64_t)
{
    outside().done.push_back("second " + std::to_string(event));
    return 1;
}

} // namespace

// The library reaches its foundation through the dynamic linker, as it does everything that it exports.
uint32_t BaCL_Init(void)
{
    outside().done.emplace_back("foundation init");
    return 0;
}

uint32_t BaCL_Close(void)
{
    outside().done.emplace_back("foundation close");
    return 0;
}

class Lifecycle : public OutsideTest
{
  protected:
    void SetUp() override
    {
        OutsideTest::SetUp();
        QEvtLog_Close();
        g_PtrZlCategory = nullptr;
    }
};

TEST_F(Lifecycle, OpensInOrderAndClosesInReverse)
{
    EXPECT_EQ(QSysCmdHal_Init(first_host, 0xF), 0u);
    EXPECT_EQ(outside().done, (Lines{"openlog QSCH 11 8", "setlogmask 63", "foundation init", "uci init",
                                     "zlog_init /etc/zlog.conf", "zlog_get_category qrnevent",
                                     "zlog_put_mdc tag=QSCD", "first 0"}));
    outside().done.clear();
    EXPECT_EQ(QSysCmdHal_Close(), 0u);
    EXPECT_EQ(outside().done, (Lines{"first 1", "zlog_fini", "uci close", "foundation close", "closelog"}));
    EXPECT_EQ(g_QSysCmdHalCb, first_host) << "the callback outlives Close";
}

TEST_F(Lifecycle, OpensOnlyWhatTheOptionsAsk)
{
    const std::pair<uint32_t, Lines> cases[] = {
        {QSC_INIT_LOG, {"openlog QSCH 11 8", "setlogmask 63", "closelog"}},
        {QSC_INIT_FOUNDATION, {"foundation init", "foundation close"}},
        {QSC_INIT_UCI, {"uci init", "uci close"}},
        {0, {}}};
    for (const auto& [options, done] : cases) {
        QSysCmdHal_Init(nullptr, options);
        QSysCmdHal_Close();
        EXPECT_EQ(outside().done, done);
        outside().done.clear();
    }
    QSysCmdHal_Init(first_host, 0x8);
    EXPECT_EQ(outside().done.back(), "first 0") << "a second start may ask for something else";
}

TEST_F(Lifecycle, SecondInitChangesNothing)
{
    QSysCmdHal_Init(first_host, 0);
    outside().done.clear();
    EXPECT_EQ(QSysCmdHal_Init(second_host, 0xF), 0u);
    EXPECT_TRUE(outside().done.empty());
    QSysCmdHal_Close();
    EXPECT_EQ(outside().done, Lines{"first 1"});
    outside().done.clear();
    EXPECT_EQ(QSysCmdHal_Close(), 0u);
    EXPECT_TRUE(outside().done.empty()) << "Close without Init is nothing";
}

TEST_F(Lifecycle, EventLogThatDoesNotStartIsLoggedAndIgnored)
{
    outside().zlog_init_result = -1;
    EXPECT_EQ(QSysCmdHal_Init(first_host, 0x8), 0u);
    EXPECT_EQ(outside().logs, (std::vector<LogLine>{{3, "[E] QEvtLog_Init, error 14\n"}}));
    EXPECT_EQ(outside().done.back(), "first 0");
    QEvtLog_Log("f", 2, "g", 2, 1, 'n', "nothing");
    EXPECT_TRUE(outside().events.empty());

    QSysCmdHal_Close();
    outside().zlog_init_result = 0;
    outside().zlog_has_category = false;
    EXPECT_EQ(QEvtLog_Init(nullptr, "", nullptr), Fails(EFAULT));
    EXPECT_EQ(outside().done.back(), "zlog_fini");
}

TEST_F(Lifecycle, SysLogReadsAndWritesLevelAndProperties)
{
    g_QSysCmdHalCb = first_host;
    uint32_t value = 3;
    EXPECT_EQ(QSysCmdHal_SysLog(0, 0, nullptr), Fails(EINVAL));
    EXPECT_TRUE(outside().done.empty()) << "no event for a null value";
    EXPECT_EQ(QSysCmdHal_SysLog(2, 0, &value), Fails(EINVAL));
    EXPECT_EQ(outside().done, Lines{"first 3"});

    EXPECT_EQ(QSysCmdHal_SysLog(0, 1, &value), Succeeds());
    value = 2;
    EXPECT_EQ(QSysCmdHal_SysLog(1, 5, &value), Succeeds());
    EXPECT_EQ(QSysCmdHal_SysLog(0, 0, &value), Succeeds());
    EXPECT_EQ(value, 3u);
    EXPECT_EQ(QSysCmdHal_SysLog(1, 0, &value), Succeeds());
    EXPECT_EQ(value, 2u);
}

TEST_F(Lifecycle, CommandersAreNamedByExactId)
{
    EXPECT_STREQ(QSysCmdHal_GetCommanderName(0x80), "MQTT");
    for (const int32_t nobody : {0, 0x3, 0x800, -1}) {
        EXPECT_STREQ(QSysCmdHal_GetCommanderName(nobody), "UNKNOWN") << nobody;
    }
}

TEST_F(Lifecycle, IsNumberTakesSignedDecimalIntegers)
{
    for (const char* number : {"0", "-1", "+7", "07", "99999999999999999999"}) {
        EXPECT_EQ(QSysCmdHal_IsNumber(number), 1u) << number;
    }
    for (const char* other : {"", "-", "+", "1a", " 1", "1.0", "--1", "0x1"}) {
        EXPECT_EQ(QSysCmdHal_IsNumber(other), 0u) << other;
    }
    EXPECT_EQ(QSysCmdHal_IsNumber(nullptr), 0u);
}

TEST_F(Lifecycle, CommandTableKeepsLongerPathsFirst)
{
    g_QSysCmdHalCb = first_host;
    const Qsc_CommandEntry* const table = QSysCmdHal_GetFunList();
    EXPECT_EQ(outside().done, Lines{"first 2"});
    uint32_t count = 0;
    uint64_t ids = 0;
    for (; table[count].id != QSC_TABLE_END; ++count) {
        ids |= uint64_t{1} << table[count].id;
        EXPECT_NE(table[count].dispatcher, nullptr);
        EXPECT_EQ(table[count].reserved, 0u);
        for (uint32_t later = count + 1; table[later].id != QSC_TABLE_END; ++later) {
            EXPECT_NE(std::strncmp(table[later].path, table[count].path, std::strlen(table[count].path)), 0)
                << table[count].path << " hides " << table[later].path;
        }
    }
    EXPECT_EQ(count, 61u);
    EXPECT_EQ(ids, (uint64_t{1} << 61) - 1) << "ids are 0 to 60, each once";
}

TEST_F(OutsideTest, ErrorsAreInTheObjectsOfHostsThatAskForThem)
{
    const auto refused = [](uint32_t options) {
        (void)QSysCmdHal_Init(nullptr, options);
        const Json object{R"({"Enable":{"ParamValue":"on"}})"};
        EXPECT_EQ(request("Device.Time", kSet, object.get()), Fails(EFAULT));
        (void)QSysCmdHal_Close();
        const Json later{R"({"Enable":{"ParamValue":"on"}})"};
        EXPECT_EQ(request("Device.Time", kSet, later.get()), Fails(EFAULT));
        EXPECT_EQ(later.text(), R"({"Enable":{"ParamValue":"on","ParamId":14}})") << "Close ends it";
        return object.text();
    };
    EXPECT_EQ(refused(0), R"({"Enable":{"ParamValue":"on","ParamId":14}})");
    EXPECT_EQ(
        refused(QSC_INIT_ERRORS),
        R"({"Enable":{"ParamValue":"on","ParamId":14,"Error":"the value is no whole number of 32 bits"}})");
}
