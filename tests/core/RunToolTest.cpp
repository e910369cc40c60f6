// SPDX-License-Identifier: Apache-2.0
// Programs with an argument vector: real scripts, and a host that is as unhelpful as a host can be.
#include "core/RunTool.h"

#include <array>
#include <csignal>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "core/Refusal.h"
#include "support/ClosedStdio.h"
#include "support/Outside.h"
#include "support/TemporaryFolder.h"

using namespace test;

namespace
{

class RunTool : public OutsideTest
{
  protected:
    void SetUp() override
    {
        OutsideTest::SetUp();
        outside().has_real_commands = true;
    }

    struct Options {
        std::string input{};
        uint32_t deadline = 5000;
        bool wants_output = true;
    };

    /// Runs a script of the shell, which gets the folder's name as $1.
    uint32_t run(const std::string& script, const Options& options)
    {
        const std::string name = folder_ / "";
        const std::array<const char*, 6> arguments{"sh", "-c", script.c_str(), "sh", name.c_str(), nullptr};
        qsc::forget_refusal();
        qsc::FileText text;
        const uint32_t code = qsc::run_tool({.arguments = arguments.data(),
                                             .deadline = options.deadline,
                                             .input = options.input,
                                             .output = options.wants_output ? &text : nullptr},
                                            "Module");
        output_ = text.view();
        return code;
    }
    uint32_t run(const std::string& script) { return run(script, {}); }

    /// The process whose number a script has left in a file, once it is gone or dead; false: it never is.
    [[nodiscard]] bool is_ended(const std::string& file) const
    {
        const std::string process = "/proc/" + std::to_string(std::stoi(read_file(folder_ / file)));
        for (int i = 0; i < 2000; ++i) {
            const std::string status = read_file(process + "/stat");
            if (status.empty() || status.find(") Z") != std::string::npos) {
                return true;
            }
            poll(nullptr, 0, 5);
        }
        return false;
    }

    TemporaryFolder folder_;
    std::string output_;
};

} // namespace

TEST_F(RunTool, GivesExitCodesOutputAndArgumentsAsTheyAre)
{
    EXPECT_EQ(run("echo one; echo two >&2; exit 7"), 7u);
    EXPECT_EQ(output_, "one\n");
    EXPECT_EQ(run("exit 3", {.wants_output = false}), 3u);
    const char* const arguments[] = {"printf", "%s|", "$(id)", "a b", "", "`x`;\"'", nullptr};
    qsc::FileText text;
    EXPECT_EQ(qsc::run_tool({.arguments = arguments, .output = &text}, "Module"), 0u);
    EXPECT_EQ(text.view(), "$(id)|a b||`x`;\"'|");
    EXPECT_EQ(outside().logs, std::vector<LogLine>{});
}

TEST_F(RunTool, FeedsItsInputWhetherOrNotThatIsRead)
{
    const std::string large(1 << 20, 'x');
    EXPECT_EQ(run("cat", {.input = "secret\n"}), 0u);
    EXPECT_EQ(output_, "secret\n");
    EXPECT_EQ(run("wc -c </dev/stdin", {.input = large}), 0u);
    EXPECT_EQ(std::stoi(output_), 1 << 20);
    EXPECT_EQ(run("true", {.input = large}), 0u); // and no SIGPIPE
    EXPECT_EQ(run("exec >&-; cat >$1/read", {.input = large}), 0u);
    EXPECT_EQ(read_file(folder_ / "read"), large);
    EXPECT_EQ(run("cat"), 0u); // without an input there is nothing to read, and nobody to wait for
    EXPECT_EQ(output_, "");
}

TEST_F(RunTool, NothingOfTheHostIsHandedOn)
{
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    const auto old = std::signal(SIGPIPE, SIG_IGN);
    const int low = fcntl(STDERR_FILENO, F_DUPFD, 50);
    const int high = fcntl(STDERR_FILENO, F_DUPFD, 300);
    EXPECT_EQ(run("d=3; while [ $d -lt 400 ]; do [ ! -e /proc/$$/fd/$d ] || echo $d; d=$((d + 1)); done;"
                  "sed -nE 's/Sig(Blk|Ign).*(.{7})/\\2/p' /proc/self/status;"
                  "cut -d' ' -f5 /proc/$$/stat | grep -qx $$ && echo leads"),
              0u);
    // The last digits of the masks: libc ignores two signals beyond those, which are its own.
    EXPECT_EQ(output_, "0000000\n0000000\nleads\n");
    close(high);
    close(low);
    std::signal(SIGPIPE, old);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST_F(RunTool, AtItsDeadlineTheWholeGroupEnds)
{
    for (const bool wants_output : {true, false}) {
        const Options late{.deadline = 200, .wants_output = wants_output};
        EXPECT_EQ(run("sleep 1000 & echo $! >$1/child; echo $$ >$1/self; wait", late), uint32_t{EFAULT});
        EXPECT_TRUE(is_ended("child"));
        EXPECT_TRUE(is_ended("self"));
        EXPECT_STREQ(qsc::refusal(), "sh was ended because it took too long");
        // One that never stops printing is as late as one that never prints.
        EXPECT_EQ(run("echo $$ >$1/self; while :; do echo; sleep 0.01; done", late), uint32_t{EFAULT});
        EXPECT_TRUE(is_ended("self"));
        // Nor does closing its output keep it.
        EXPECT_EQ(run("echo $$ >$1/self; exec >&-; sleep 1000", late), uint32_t{EFAULT});
        EXPECT_TRUE(is_ended("self"));
    }
    EXPECT_EQ(outside().logs.size(), 6u);
}

TEST_F(RunTool, OneThatIsStartedToStayKeepsNobodyWaiting)
{
    EXPECT_EQ(run("sleep 1000 & echo $! >$1/child", {.deadline = 0, .wants_output = false}), 0u);
    const pid_t child = std::stoi(read_file(folder_ / "child"));
    EXPECT_EQ(kill(child, 0), 0); // what a script starts in the background goes on
    kill(child, SIGKILL);
}

TEST_F(RunTool, FailuresAreLoggedOnceAndSayWhy)
{
    const auto fails = [](uint32_t code, const std::string& tool, const std::string& why) {
        EXPECT_EQ(code, uint32_t{EFAULT}) << why;
        EXPECT_EQ(qsc::refusal(), tool + " " + why);
        ASSERT_EQ(outside().logs.size(), 1u) << why;
        EXPECT_NE(outside().logs[0].text.find(tool + " " + why), std::string::npos) << outside().logs[0].text;
        EXPECT_EQ(outside().logs[0].priority, 3);
        outside().logs.clear();
    };
    fails(run("kill -9 $$"), "sh", "was ended by a signal");
    fails(run("yes | head -c 300000"), "sh", "printed too much");
    EXPECT_EQ(run("yes | head -c 262144"), 0u);
    EXPECT_EQ(output_.size(), 262144u);
    const char* const missing[] = {"/nowhere/tool", nullptr};
    qsc::forget_refusal();
    fails(qsc::run_tool({.arguments = missing}, "Module"), "/nowhere/tool", "is not installed");
    const char* const no_program[] = {"/etc", nullptr};
    qsc::forget_refusal();
    fails(qsc::run_tool({.arguments = no_program}, "Module"), "/etc", "could not be started");
    qsc::forget_refusal();
    EXPECT_EQ(qsc::run_tool({.arguments = missing, .is_optional = true}, "Module"), qsc::kNotInstalled);
    EXPECT_STREQ(qsc::refusal(), "");
    EXPECT_EQ(outside().logs, std::vector<LogLine>{});
    // A host that wants to know nothing of its children lets nobody know.
    const auto old = std::signal(SIGCHLD, SIG_IGN);
    fails(run("exit 0"), "sh", "ended, but the host has its result");
    std::signal(SIGCHLD, old);
}

TEST_F(RunTool, WorksInAHostWithoutStandardStreams)
{
    EXPECT_TRUE(holds_without_stdio([&] {
        return run("cat; echo heard; echo lost >&2", {.input = "said "}) == 0 && output_ == "said heard\n" &&
               run("exit 5", {.wants_output = false}) == 5 && is_stdio_closed();
    }));
}

TEST_F(RunTool, LeavesNoDescriptorOpen)
{
    const auto count = [] {
        int open = 0;
        for (int descriptor = 0; descriptor < 100; ++descriptor) {
            open += fcntl(descriptor, F_GETFD) >= 0 ? 1 : 0;
        }
        return open;
    };
    const int before = count();
    const char* const missing[] = {"/nowhere/tool", nullptr};
    EXPECT_EQ(run("cat", {.input = "x"}), 0u);
    EXPECT_EQ(run("sleep 1000", {.deadline = 50}), uint32_t{EFAULT});
    EXPECT_EQ(qsc::run_tool({.arguments = missing, .input = "x"}, "Module"), uint32_t{EFAULT});
    EXPECT_EQ(count(), before);
}
