// SPDX-License-Identifier: Apache-2.0
// The command pipes, with fake commands.
#include <array>
#include <string>

#include "bacl.h"
#include "qslog.h"
#include "support/Outside.h"

using namespace test;

// Calling it after the first read would be undefined; the library has no need to call it.
extern "C" int setvbuf(FILE*, char*, int, size_t) noexcept
{
    ADD_FAILURE() << "the buffer of a stream is replaced";
    return -1;
}

class Pipe : public OutsideTest
{
  protected:
    void SetUp() override
    {
        OutsideTest::SetUp();
        Qslog_SetLogLevel(7);
        outside().done.clear();
        Qslog_SetProperty(2);
    }

    /// The logged texts without line numbers.
    static Lines logged()
    {
        Lines result;
        for (const auto& [priority, text] : outside().logs) {
            EXPECT_EQ(priority, 7);
            result.push_back(text.substr(0, text.find(':') + 1) + text.substr(text.find('(')));
        }
        return result;
    }
};

TEST_F(Pipe, OnlyTheExitCodeCounts)
{
    const struct {
        int status;
        uint32_t code;
    } cases[] = {{0, 0}, {9, 0}, {1 << 8, 14}, {3 << 8, 14}, {255 << 8, 14}, {0x8B, 0}};
    for (const auto& [status, code] : cases) {
        outside() = Outside{};
        outside().wait_statuses["cmd"] = status;
        EXPECT_EQ(QrnExeCmdSimple("cmd"), code) << status;
        EXPECT_EQ(outside().done, (Lines{"popen cmd", "sync"}));
        EXPECT_EQ(outside().renewals, 1) << "commands may change the configuration";
        EXPECT_EQ(logged(), code == 0 ? Lines{} : Lines{"BaCL_POpen:(QrnExeCmdSimple)[D] ERROR: Cmd cmd\n"});

        std::array<char, 8> buffer{};
        outside().done.clear();
        outside().logs.clear();
        EXPECT_EQ(QrnExeCmdSimpleGet("cmd", buffer.data(), buffer.size()), code) << status;
        EXPECT_EQ(outside().done, (Lines{"popen cmd", "sync", "sync"}));
        EXPECT_EQ(outside().renewals, 2);
        EXPECT_EQ(logged(), code == 0 ? Lines{} : Lines{"BaCL_POpen:(QrnPClose)[D] ERROR: QrnPClose\n"});
    }
}

TEST_F(Pipe, CommandsWhoseExitCodeIsLostFail)
{
    outside().loses_children = true;
    std::array<char, 8> buffer{};
    EXPECT_EQ(QrnExeCmdSimple("cmd"), 14u);
    EXPECT_EQ(QrnExeCmdSimpleGet("cmd", buffer.data(), buffer.size()), 14u);
    EXPECT_EQ(QrnPClose(QrnPOpen("cmd", "r")), 14u);
    EXPECT_EQ(outside().logs.size(), 3u);
}

TEST_F(Pipe, CommandsThatCannotBeStarted)
{
    outside().wait_statuses["cmd"] = -1;
    std::array<char, 8> buffer{'x', 'y'};
    EXPECT_EQ(QrnExeCmdSimple("cmd"), 14u);
    EXPECT_EQ(QrnExeCmdSimpleGet("cmd", buffer.data(), buffer.size()), 14u);
    EXPECT_EQ(buffer, (std::array<char, 8>{})) << "cleared first";
    EXPECT_EQ(QrnPOpen("cmd", "r"), nullptr);
    EXPECT_EQ(outside().done, (Lines{"popen cmd", "popen cmd", "popen cmd"})) << "and no sync";
    EXPECT_EQ(logged(), (Lines{"BaCL_POpen:(QrnExeCmdSimple)[D] ERROR: popen read\\ncmd\n",
                               "BaCL_POpen:(QrnExeCmdSimpleGet)[D] ERROR: QrnPOpen\\ncmd\n"}));
}

TEST_F(Pipe, BadArgumentsStartNothing)
{
    std::array<char, 2> buffer{'x', 'y'};
    EXPECT_EQ(QrnExeCmdSimple(nullptr), 22u);
    EXPECT_EQ(QrnExeCmdSimple(""), 22u);
    EXPECT_EQ(QrnExeCmdSimpleGet("", buffer.data(), 2), 22u);
    EXPECT_EQ(QrnExeCmdSimpleGet("cmd", nullptr, 2), 22u);
    EXPECT_EQ(QrnExeCmdSimpleGet("cmd", buffer.data(), 0), 22u);
    EXPECT_EQ(QrnPOpen("cmd", ""), nullptr);
    EXPECT_EQ(QrnPOpen(nullptr, "r"), nullptr);
    const std::string simple = "BaCL_POpen:(QrnExeCmdSimple)[D] ERROR: parameter\n";
    const std::string get = "BaCL_POpen:(QrnExeCmdSimpleGet)[D] ERROR: parameter\n";
    const std::string open = "BaCL_POpen:(QrnPOpen)[D] ERROR: parameter\n";
    EXPECT_EQ(logged(), (Lines{simple, simple, get, get, get, open, open}));
    outside().logs.clear();
    EXPECT_EQ(QrnPClose(nullptr), 22u);
    EXPECT_EQ(QrnPReadLn(nullptr, buffer.data(), 2), 22u);
    EXPECT_TRUE(outside().logs.empty());
    EXPECT_EQ(buffer, (std::array<char, 2>{'x', 'y'}));
    EXPECT_TRUE(outside().done.empty());
}

TEST_F(Pipe, CapturedOutputIsTruncatedToTheBuffer)
{
    const struct {
        std::string output;
        uint32_t size;
        std::string kept;
    } cases[] = {
        {"", 8, ""},
        {"a\nb\n", 8, "a\nb\n"},
        {"abcdefgh\nij", 8, "abcdefg"},
        {"abc\ndefgh", 8, "abc\ndef"},
        {"ab\ncd", 5, "ab\nc"},
        {"abc", 1, ""},
        {"abc", 2, "a"},
    };
    for (const auto& [output, size, kept] : cases) {
        outside().outputs["cmd"] = output;
        std::string buffer(size + 1, '#');
        EXPECT_EQ(QrnExeCmdSimpleGet("cmd", buffer.data(), size), 0u);
        EXPECT_EQ(buffer, kept + std::string(size - kept.size(), '\0') + '#') << output;
    }
}

TEST_F(Pipe, LongLinesAreReadInParts)
{
    outside().outputs["cmd"] = "abc\nd";
    FILE* const pipe = QrnPOpen("cmd", "r");
    std::array<char, 3> buffer{};
    Lines parts;
    while (QrnPReadLn(pipe, buffer.data(), buffer.size()) == 0) {
        parts.emplace_back(buffer.data());
    }
    EXPECT_EQ(parts, (Lines{"ab", "c\n", "d"}));
    EXPECT_EQ(QrnPReadLn(pipe, buffer.data(), 0), 22u);
    EXPECT_EQ(QrnPClose(pipe), 0u);
}
