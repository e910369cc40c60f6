// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cmath>
#include <cstring>

#include <sys/syscall.h>
#include <unistd.h>

#include "qslog.h"
#include "qsyscmdhal.h"
#include "support/Outside.h"

using namespace test;

class Common : public OutsideTest
{
};

TEST_F(Common, MarksAreAddedOrOverwritten)
{
    const struct {
        const char* before;
        uint32_t code;
        const char* after;
    } cases[] = {
        {"{}", 0, R"({"ParamId":61})"},
        {R"({"ParamId":1,"x":2})", 0, R"({"ParamId":61,"x":2})"},
        {R"({"ParamId":"1"})", 14, R"({"ParamId":"1"})"},
        {R"({"ParamId":null})", 14, R"({"ParamId":null})"},
        {"[]", 22, "[]"},
        {"null", 22, "null"},
    };
    for (const auto& [before, code, after] : cases) {
        const Json object{before};
        EXPECT_EQ(Qsc_SetParamId(object.get(), 61), code) << before;
        EXPECT_EQ(object.text(), after);
    }
    const Json flagged{"{}"};
    EXPECT_EQ(Qsc_SetParamFlag(flagged.get(), 0xFFFFFFFF), Succeeds());
    EXPECT_EQ(flagged.text(), R"({"ParamFlag":4294967295})");
}

TEST_F(Common, DebugPrintRunsTheLoggerOnlyWhenSwitchedOn)
{
    EXPECT_EQ(Qsc_Dbg_GetEnableFlag(), Succeeds());
    EXPECT_EQ(Qsc_Dbg_Print("hello", 0), Succeeds());
    EXPECT_TRUE(outside().done.empty());

    Qsc_Dbg_SetEnableFlag(1);
    std::array<char, 32> id{};
    std::snprintf(id.data(), id.size(), "%X", static_cast<unsigned>(syscall(SYS_gettid)));
    const std::string start =
        std::string{"popen /usr/bin/qrnlogger -s qrncommon -t QRNDBG -l n \"(T-"} + id.data();
    EXPECT_EQ(Qsc_Dbg_Print("hello", 1), Succeeds());
    EXPECT_EQ(Qsc_Dbg_Print("a\"; reboot; $(x) `y` \\", 2), Succeeds());
    EXPECT_EQ(Qsc_Dbg_Print("", 3), Succeeds());
    EXPECT_EQ(Qsc_Dbg_Print(nullptr, 0), Succeeds());
    EXPECT_EQ(outside().commands(), (Lines{
                                        start + ")(START) hello\"",
                                        start + ")(END) a\\\"; reboot; \\$(x) \\`y\\` \\\\\"",
                                        start + ") \"",
                                    }));
    const size_t around = start.size() - std::strlen("popen ") + std::strlen(") \"");
    outside().done.clear();
    EXPECT_EQ(Qsc_Dbg_Print(std::string(2047 - around, 'x').c_str(), 0), Fails(EFAULT));
    EXPECT_TRUE(outside().done.empty());
    EXPECT_EQ(Qsc_Dbg_Print(std::string(2046 - around, 'x').c_str(), 0), Succeeds());
    Qsc_Dbg_SetEnableFlag(0);
}

TEST_F(Common, ByteQuantities)
{
    const struct {
        int32_t from, to;
        double value;
        const char* text;
    } cases[] = {
        {0, 2, 1'500'000, "1.5 MB"}, {0, 2, 2'000'000'000, ">999 MB"},
        {0, 0, 999, "999.0 B"},      {0, 0, 999.5, ">999 B"},
        {0, 4, 1000, ">999 B"},      {0, 4, 1001, "1.0 KB"},
        {2, 0, 0.0005, "500.0 B"},   {3, 1, 2, ">999 KB"},
        {4, 4, 12.34, "12.3 TB"},    {0, 4, 0, "0.0 B"},
        {0, 4, 1e300, ">999 TB"},    {0, 4, INFINITY, ">999 TB"},
    };
    for (const auto& [from, to, value, text] : cases) {
        std::array<char, 32> buffer{};
        buffer.fill('#');
        EXPECT_EQ(Qsc_OutputByteString(from, to, buffer.data(), buffer.size(), value), Succeeds());
        EXPECT_STREQ(buffer.data(), text);
        EXPECT_EQ(buffer.back(), '\0') << "the whole buffer is cleared";
    }
}

TEST_F(Common, ByteQuantityRefusals)
{
    std::array<char, 4> buffer{'#', '#', '#', '#'};
    for (const auto& [from, to, size, value] : {std::tuple{-1, 0, 4u, 1.0},
                                                {0, -1, 4u, 1.0},
                                                {5, 0, 4u, 1.0},
                                                {0, 5, 4u, 1.0},
                                                {0, 0, 0u, 1.0},
                                                {0, 0, 1u, 1.0},
                                                {0, 0, 4u, -0.1},
                                                {0, 0, 4u, std::nan("")}}) {
        EXPECT_EQ(Qsc_OutputByteString(from, to, buffer.data(), size, value), Fails(EINVAL));
    }
    EXPECT_EQ(Qsc_OutputByteString(0, 0, nullptr, 9, 1), Fails(EINVAL));
    EXPECT_EQ(buffer, (std::array<char, 4>{'#', '#', '#', '#'}));
    EXPECT_EQ(Qsc_OutputByteString(0, 0, buffer.data(), buffer.size(), 1), Fails(EFAULT))
        << "never a part of a number";
    EXPECT_STREQ(buffer.data(), "");
}

TEST_F(Common, PrintedObjectsGoToTheDebugLog)
{
    EXPECT_EQ(Qsc_PrintJObj(nullptr), Fails(EINVAL));
    const Json object{R"({"Server":"a%sb"})"};
    EXPECT_EQ(Qsc_PrintJObj(object.get()), Succeeds());
    EXPECT_TRUE(outside().logs.empty()) << "debug lines are filtered by default";
    Qslog_SetLogLevel(7);
    EXPECT_EQ(Qsc_PrintJObj(object.get()), Succeeds());
    ASSERT_EQ(outside().logs.size(), 5u);
    EXPECT_EQ(outside().logs[3], (LogLine{7, "[D]   \"Server\":\"a%sb\"\n"}));
    Qslog_SetProperty(QSLOG_LONG_PREFIX);
    EXPECT_EQ(Qsc_PrintJObj(object.get()), Succeeds());
    EXPECT_TRUE(outside().logs.back().text.starts_with("QscCommon:")) << outside().logs.back().text;
}
