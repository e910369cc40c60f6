// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <string>

#include "qslog.h"
#include "support/Outside.h"

using namespace test;

class Log : public OutsideTest
{
  protected:
    static std::string written(int32_t level, const char* text)
    {
        outside().logs.clear();
        Qslog_Log(level, "Module", 7, "work", "%s", text);
        return outside().logs.empty() ? "nothing" : outside().logs[0].text;
    }
};

TEST_F(Log, LevelFiltersAndSetsTheMaskOfTheSystemLog)
{
    EXPECT_EQ(Qslog_SetLogLevel(3), 5u) << "5 is the default, and the previous level is returned";
    EXPECT_EQ(written(4, "warning\n"), "nothing");
    EXPECT_EQ(written(3, "error\n"), "[E] error\n");
    EXPECT_EQ(Qslog_SetLogLevel(9), 3u);
    EXPECT_EQ(Qslog_GetLogLevel(), 7u);
    EXPECT_EQ(Qslog_SetLogLevel(0), 7u);
    EXPECT_EQ(written(1, "alert\n"), "nothing");
    EXPECT_EQ(outside().done, (Lines{"setlogmask 15", "setlogmask 255", "setlogmask 1"}));
}

TEST_F(Log, EachLevelHasItsLetterAndPriority)
{
    Qslog_SetLogLevel(7);
    const std::string letters = "MACEWNID";
    for (int32_t level = 0; level < 8; ++level) {
        EXPECT_EQ(written(level, "x"), std::string{"["} + letters[static_cast<size_t>(level)] + "] x");
        EXPECT_EQ(outside().logs[0].priority, level);
    }
    EXPECT_EQ(written(8, "x"), "nothing");
    EXPECT_EQ(written(-5, "x"), "[M] x");
    EXPECT_EQ(outside().logs[0].priority, 0);
}

TEST_F(Log, PropertiesSelectPrefixAndCopy)
{
    testing::internal::CaptureStderr();
    EXPECT_EQ(Qslog_AddProperty(2), 3u);
    EXPECT_EQ(written(3, "x\n"), "Module:7(work)[E] x\n");
    EXPECT_EQ(Qslog_SubProperty(1), 2u);
    EXPECT_EQ(Qslog_SetProperty(4), 4u);
    EXPECT_EQ(written(3, "%s%n\n"), "[E] %s%n\n");
    EXPECT_EQ(Qslog_GetProperty(), 4u);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "[E] %s%n\n");
}

TEST_F(Log, LongLinesAreTruncated)
{
    const std::string line = written(3, std::string(5000, 'x').c_str());
    EXPECT_EQ(line, "[E] " + std::string(4091, 'x'));
    Qslog_SetProperty(2);
    const std::string module(9000, 'm');
    outside().logs.clear();
    EXPECT_EQ(Qslog_Log(3, module.c_str(), 1, nullptr, "lost"), 0u);
    EXPECT_EQ(outside().logs[0].text, std::string(4095, 'm'));
}

TEST_F(Log, ControlCharactersAreEscaped)
{
    const struct {
        const char* message;
        const char* shown;
    } cases[] = {
        {"tab\tend\n", "tab\tend\n"},
        {"x\n[E] forged\n", "x\\n[E] forged\n"},
        {"two\n\n", "two\\n\n"},
        {"\r\x1B[2J\x01\x7F", "\\r\\x1B[2J\\x01\\x7F"},
        {"gr\u00fc\u00df \u20ac \U0001F600", "gr\u00fc\u00df \u20ac \U0001F600"},
        {"\xC2\x9B"
         "2J \xC2\x80 \xC2\xA0",
         "\\x9B2J \\x80 \xC2\xA0"},
        {"\x9B \xFF \xE2\x82", "\\x9B \xFF \xE2\\x82"}, // invalid UTF-8
    };
    for (const auto& [message, shown] : cases) {
        EXPECT_EQ(written(3, message), std::string{"[E] "} + shown);
    }
    outside().logs.clear();
    const wchar_t impossible[] = {0x110000, 0};
    Qslog_Log(3, "M", 1, "f", "x%ls\n", impossible);
    EXPECT_EQ(outside().logs, (std::vector<LogLine>{{3, "[E] "}})) << "what cannot be formatted";
    const std::string many = written(3, std::string(4000, '\x01').c_str());
    EXPECT_EQ(many.size(), 4u + 4 * 1022);
    EXPECT_TRUE(many.ends_with("\\x01")) << "escapes are never split";
}

TEST_F(Log, OpensOnceUntilClosed)
{
    EXPECT_EQ(Qslog_Close(), 0u);
    outside().done.clear();
    EXPECT_EQ(Qslog_Open(nullptr, 8, 16), 0u);
    EXPECT_EQ(Qslog_Open("again", 8, 16), 0u);
    Qslog_Close();
    Qslog_Open(std::string(300, 'n').c_str(), 2, 8);
    Qslog_Close();
    EXPECT_EQ(outside().done,
              (Lines{"openlog  9 16", "setlogmask 63", "closelog",
                     "openlog " + std::string(255, 'n') + " 2 8", "setlogmask 63", "closelog"}));
}

TEST_F(Log, HexDumpLayout)
{
    std::array<uint8_t, 17> data{'A', 0, 0x7E, 0x7F, 0xFF, ' ', '%', 's', 'h'};
    EXPECT_EQ(Qslog_HexDump(3, "M", 1, "f", "Title", data.data(), data.size(), 0), 0u);
    const std::string rule(76, '=');
    EXPECT_EQ(outside().logs,
              (std::vector<LogLine>{
                  {3, "[E] Title (17)\n"},
                  {3, "[E] " + rule + "\n"},
                  {3, "[E] 00000000: 41 00 7E 7F FF 20 25 73-68 00 00 00 00 00 00 00   A.~.. %sh.......\n"},
                  {3, "[E] 00000010: 00" + std::string(48, ' ') + ".\n"},
              }));
}

TEST_F(Log, DumpsStopAtTheLineCountOrTheEnd)
{
    const std::array<uint8_t, 40> data{};
    const struct {
        int32_t level;
        const void* data;
        uint32_t length, lines;
        size_t logged;
        const char* last;
    } cases[] = {
        {3, data.data(), 40, 2, 4, "[E] 00000010:"}, {3, data.data(), 40, 9, 5, "[E] 00000020:"},
        {3, data.data(), 32, 9, 4, "[E] 00000010:"}, {5, data.data(), 0, 0, 3, "[E] No data\\n\n"},
        {5, nullptr, 4, 1, 3, "[E] No data\\n\n"},   {6, data.data(), 40, 0, 0, ""},
    };
    for (const auto& [level, bytes, length, lines, logged, last] : cases) {
        outside().logs.clear();
        EXPECT_EQ(Qslog_HexDump(level, "M", 1, "f", nullptr, bytes, length, lines), 0u);
        ASSERT_EQ(outside().logs.size(), logged);
        if (logged != 0) {
            EXPECT_EQ(outside().logs[0].text.substr(4), "Data (" + std::to_string(length) + "):\n");
            EXPECT_TRUE(outside().logs.back().text.starts_with(last)) << outside().logs.back().text;
        }
    }
}

TEST_F(Log, StringDumpBreaksAtLineFeedsAndWidth)
{
    const std::string text = "one\n\ntwo\x1B[2J\n" + std::string(80, 'x') + "\n";
    EXPECT_EQ(Qslog_StringDump(3, "M", 1, "f", "T", text.data(), static_cast<uint32_t>(text.size())), 0u);
    Lines lines;
    for (const LogLine& line : outside().logs) {
        lines.push_back(line.text.substr(4));
    }
    lines.erase(lines.begin(), lines.begin() + 2);
    EXPECT_EQ(lines, (Lines{"one\n", "\n", "two.[2J\n", std::string(76, 'x') + "\n", "xxxx\n"}));
}

TEST_F(Log, EventRecordsAreAlwaysValidJson)
{
    const auto record = [](char status, const std::string& message) {
        outside().events.clear();
        QEvtLog_Log("file.cpp", sizeof "file.cpp", "work", sizeof "work", 3, status, "%s", message.c_str());
        return outside().events.at(0);
    };
    const auto expected = [](const std::string& status, const std::string& message) {
        return R"("Status":")" + status + R"(","Msg":")" + message + "\"";
    };
    const auto repeat = [](const std::string& text, size_t times) {
        std::string all;
        while (times-- > 0) {
            all += text;
        }
        return all;
    };
    const struct {
        char status;
        std::string message, status_shown, shown;
    } cases[] = {
        {'n', "set it by CLI", "n", "set it by CLI"},
        {'n', "a\",\"Status\":\"x\\\b\f\n\r\t\x01", "n", R"(a\",\"Status\":\"x\\\b\f\n\r\t\u0001)"},
        {'"', "\x7F", "\\\"", "\\u007f"},
        {'\0', "\xC2\x9B", "\\u0000", "\\u009b"},
        {'\xE9', "\u00e9 \U0010FFFF", "\uFFFD", "\u00e9 \U0010FFFF"},
        // Incomplete and overlong sequences, surrogates, code points that are too high, impossible bytes.
        {'n', "\xE2\x82", "n", "\uFFFD\uFFFD"},
        {'n', "\xC0\xAF \xE0\x9F\xBF \xF0\x8F\xBF\xBF", "n",
         repeat("\uFFFD", 2) + " " + repeat("\uFFFD", 3) + " " + repeat("\uFFFD", 4)},
        {'n', "\xED\xA0\x80 \xF4\x90\x80\x80 \xFF", "n",
         repeat("\uFFFD", 3) + " " + repeat("\uFFFD", 4) + " \uFFFD"},
        // Truncated before escaping, between characters.
        {'n', std::string(4095, '\x01'), "n", repeat("\\u0001", 4095)},
        {'n', std::string(5000, 'x'), "n", std::string(4095, 'x')},
        {'n', repeat("\u20ac", 2000), "n", repeat("\u20ac", 1365)},
        {'n', "x" + repeat("\u20ac", 2000), "n", "x" + repeat("\u20ac", 1364)},
        {'n', "xy" + repeat("\u20ac", 2000), "n", "xy" + repeat("\u20ac", 1364)},
        {'n', "xyz" + repeat("\U0001F600", 2000), "n", "xyz" + repeat("\U0001F600", 1023)},
        {'n', std::string(4094, 'x') + "\xFFy", "n", std::string(4094, 'x') + "\uFFFD"},
    };
    const wchar_t impossible[] = {0x110000, 0};
    EXPECT_EQ(QEvtLog_Log("", 1, "", 1, 3, 'n', "x%ls", impossible), 0u);
    EXPECT_EQ(outside().events, Lines{expected("n", "")}) << "what cannot be formatted";
    for (const auto& [status, message, status_shown, shown] : cases) {
        EXPECT_EQ(record(status, message), expected(status_shown, shown));
    }
}

TEST_F(Log, EventLogStartsOnceWithItsDefaults)
{
    QEvtLog_Close();
    g_PtrZlCategory = nullptr;
    EXPECT_EQ(QEvtLog_Init("", nullptr, ""), 0u);
    EXPECT_EQ(QEvtLog_Init("/other", "x", "y"), 0u);
    EXPECT_EQ(QEvtLog_Close(), 0u);
    EXPECT_EQ(QEvtLog_Close(), 0u);
    EXPECT_EQ(outside().done, (Lines{"zlog_init /etc/zlog.conf", "zlog_get_category qrnevent",
                                     "zlog_put_mdc tag=QRN", "zlog_fini"}));
    EXPECT_EQ(g_PtrZlCategory, nullptr);
    EXPECT_EQ(QEvtLog_Log(nullptr, 0, nullptr, 0, 0, 'n', "closed"), 0u);
    EXPECT_TRUE(outside().events.empty());
}
