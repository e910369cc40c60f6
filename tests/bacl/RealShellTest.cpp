// SPDX-License-Identifier: Apache-2.0
// The command pipes, with the real shell.
#include <array>
#include <csignal>
#include <string>

#include <gtest/gtest.h>

#include "bacl.h"
#include "qsyscmdhal.h"
#include "support/TemporaryFolder.h"

using namespace test;

TEST(RealShell, ExitCodesAndSignals)
{
    EXPECT_EQ(QrnExeCmdSimple("true"), 0u);
    EXPECT_EQ(QrnExeCmdSimple("exit 3"), 14u);
    EXPECT_EQ(QrnExeCmdSimple("no-such-command 2>/dev/null"), 14u);
    EXPECT_EQ(QrnExeCmdSimple("kill -9 $$"), 0u) << "only the exit code counts";
}

TEST(RealShell, CommandsFailInAHostThatIgnoresSigchld)
{
    signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(QrnExeCmdSimple("true"), 14u);
    signal(SIGCHLD, SIG_DFL);
    EXPECT_EQ(QrnExeCmdSimple("true"), 0u);
}

TEST(RealShell, LongOutputNeitherBlocksNorOverflows)
{
    EXPECT_EQ(QrnExeCmdSimple("seq 200000"), 0u);
    std::array<char, 9> buffer{};
    buffer.back() = '#';
    EXPECT_EQ(QrnExeCmdSimpleGet("printf 'a\\nbcdefghijk'", buffer.data(), 8), 0u);
    EXPECT_STREQ(buffer.data(), "a\nbcdef");
    EXPECT_EQ(buffer.back(), '#');
    EXPECT_EQ(QrnExeCmdSimpleGet("echo x; exit 2", buffer.data(), 8), 14u);
    EXPECT_STREQ(buffer.data(), "x\n") << "captured, whatever the exit code";
}

TEST(RealShell, QuotedTextRunsNothing)
{
    const TemporaryFolder folder;
    const std::string marker = folder / "marker";
    Qsc_Dbg_SetEnableFlag(1);
    const std::string message = "\"; touch " + marker + "; $(touch " + marker + ") `touch " + marker +
                                "` \n touch " + marker + " \\\"; touch " + marker;
    // The command itself fails, because the logger is not installed here.
    EXPECT_EQ(Qsc_Dbg_Print(message.c_str(), 1), 14u);
    EXPECT_EQ(BaCL_IsFileExist(marker.c_str()), 0u);
    Qsc_Dbg_SetEnableFlag(0);
}
