// SPDX-License-Identifier: Apache-2.0
// Programs that lock as libuci does, at the same time. They may lose their own changes, because they give up
// their lock before they rename their new file; ours they must not lose.
#include <array>
#include <cstdlib>
#include <filesystem>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "qrnuci.h"
#include "support/TemporaryFolder.h"
#include "uci/PrivateFolders.h"
#include "uci/System.h"

using namespace test;

class Foreign : public UciTest
{
  protected:
    static std::string read_all(int file)
    {
        std::array<char, 4096> text{};
        return {text.data(), static_cast<size_t>(pread(file, text.data(), text.size(), 0))};
    }
};

TEST_F(Foreign, ACommitThatHasGivenUpItsLockIsWaitedFor)
{
    constexpr const char* kNewFile = "/etc/config/.p.uci-aBcDeF";
    const auto set = [] { return QrnUci_SetNewString("p.s.a", "1", 0, 1); };
    const auto commit = [] { return QrnUci_CommitPackage("p"); };
    put_config("p", "config t s\n\toption a '1'\n");
    put_config(".p.uci-aBcDeF", "config t s\n\toption a '2'\n");
    {
        SystemCalls calls;
        calls.on("nanosleep", 1, [&] {
            std::filesystem::rename(kNewFile, "/etc/config/p");
            return 0;
        });
        EXPECT_EQ(set(), 0u);
        EXPECT_TRUE(calls.has_happened());
    }
    EXPECT_EQ(staged("p"), "p.s.a='1'\n") << "which was the old value, but is not any more";

    put_config(".p.uci-aBcDeF", "config t s\n\toption a '3'\n\toption b '3'\n");
    {
        SystemCalls calls;
        calls.on("nanosleep", 0, [&] {
            std::filesystem::rename(kNewFile, "/etc/config/p");
            return 0;
        });
        EXPECT_EQ(commit(), 0u);
    }
    EXPECT_EQ(config("p"), "\nconfig t 's'\n\toption a '1'\n\toption b '3'\n\n");

    // One that never comes to its end is waited for once, an old one not at all.
    put_config(".p.uci-aBcDeF", "");
    EXPECT_EQ(QrnUci_SetNewString("p.s.b", "4", 0, 1), 0u);
    {
        const SystemCalls calls;
        EXPECT_EQ(commit(), 0u);
        EXPECT_EQ(calls.paused_milliseconds(), 200);
    }
    for (const int seconds : {-20, 20}) {
        const timespec times[2] = {{.tv_sec = time(nullptr) + seconds, .tv_nsec = 0},
                                   {.tv_sec = time(nullptr) + seconds, .tv_nsec = 0}};
        ASSERT_EQ(utimensat(AT_FDCWD, kNewFile, times, 0), 0);
        const SystemCalls calls;
        EXPECT_EQ(set(), 0u);
        EXPECT_EQ(calls.paused_milliseconds(), 0);
    }
}

TEST_F(Foreign, WhoWaitsForTheLockOfAFileThatIsReplacedReadsTheNewText)
{
    const std::string filler(6000, 'f');
    for (const auto& [before, after] : {std::pair{filler, std::string{"x"}}, {"x", filler}, {"x", "y"}}) {
        put_config("p", "config t s\n\toption a '" + before + "'\n");
        const int file = open("/etc/config/p", O_RDONLY);
        EXPECT_EQ(QrnUci_SetNewString("p.s.a", after.c_str(), 0, 1), 0u);
        EXPECT_EQ(QrnUci_CommitPackage("p"), 0u);
        EXPECT_EQ(read_all(file), config("p").substr(0, 4096));
        struct stat status = {};
        EXPECT_EQ(fstat(file, &status), 0);
        EXPECT_EQ(static_cast<size_t>(status.st_size), config("p").size());
        close(file);
    }
    put_config("p", "config t s\n");
    std::filesystem::create_hard_link("/etc/config/p", "/etc/copy");
    EXPECT_EQ(QrnUci_SetNewString("p.s.a", "1", 0, 1), 0u);
    EXPECT_EQ(QrnUci_CommitPackage("p"), 0u);
    EXPECT_EQ(read_file("/etc/copy"), "config t s\n") << "under another name it is somebody's copy";
}

TEST_F(Foreign, WhoGoesOnWithAReplacedFileIsWaitedFor)
{
    put_config("p", "config t s\n");
    const int reader = open("/etc/config/p", O_RDONLY); // does no harm
    std::array<int, 2> opened{};
    ASSERT_EQ(pipe(opened.data()), 0);
    const pid_t writer = fork();
    if (writer == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const int file = open("/etc/config/p", O_RDWR);
        (void)!write(opened[1], "", file >= 0 ? 1 : 0);
        pause();
    }
    char byte = 0;
    ASSERT_EQ(read(opened[0], &byte, 1), 1);
    EXPECT_EQ(QrnUci_SetNewString("p.s.a", "1", 0, 1), 0u);
    EXPECT_EQ(QrnUci_CommitPackage("p"), 0u);
    {
        SystemCalls calls;
        calls.on("nanosleep", 0, [&] {
            kill(writer, SIGKILL);
            waitpid(writer, nullptr, 0);
            return 0;
        });
        EXPECT_EQ(QrnUci_SetNewString("p.s.a", "2", 0, 1), 0u);
        EXPECT_TRUE(calls.has_happened());
        EXPECT_LT(calls.paused_milliseconds(), 200) << "and no longer than that";
    }
    close(reader);
    close(opened[0]);
    close(opened[1]);
}

namespace
{

struct Mix {
    int ours;
    int tools;
};

} // namespace

class ProcessesBesideTheTool : public UciTest, public testing::WithParamInterface<Mix>
{
  protected:
    void SetUp() override
    {
        if (std::string{QSC_UCI_TOOL}.empty()) {
            GTEST_SKIP() << "the uci tool is not installed: what it and the library do at once is not tried";
        }
        UciTest::SetUp();
    }

    /// In all, over our writers.
    static int commits()
    {
        const char* const factor = std::getenv("QSC_STRESS_ROUNDS");
        return factor != nullptr ? 75 * std::atoi(factor) : 75;
    }

    template <typename Work>
    static pid_t start(Work work)
    {
        const pid_t child = fork();
        if (child == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            _exit(work());
        }
        return child;
    }

    /// How many of our commits were lost, or 255 when one failed.
    static int commit_often(int writer, int count)
    {
        const std::string key = "p.s.ours" + std::to_string(writer);
        int lost = 0;
        for (int i = 1; i <= count; ++i) {
            const std::string value = std::to_string(i);
            const uint32_t code = i % 3 == 0 ? replace_value(key, value.c_str())
                                             : set(key, value.c_str()) | QrnUci_CommitPackage("p");
            if (code != 0) {
                return 255;
            }
            usleep(static_cast<useconds_t>(i % 4) * 300);
            lost += get(key) != value ? 1 : 0;
        }
        return std::min(lost, 254);
    }

    static int commit_with_the_tool(int writer)
    {
        const std::string tool = QSC_UCI_TOOL " -q ";
        const std::string key = "p.s.theirs" + std::to_string(writer);
        for (int i = 1;; ++i) {
            const std::string line = tool + "set " + key + "=" + std::to_string(i) + "; " + tool + "commit p";
            (void)!std::system(line.c_str());
        }
    }
};

TEST_P(ProcessesBesideTheTool, LoseNoneOfOurCommits)
{
    const auto [ours, tools] = GetParam();
    put_config("p", "config t s\n\toption filler '" + std::string(3000, 'f') + "'\n");
    std::vector<pid_t> writers;
    std::vector<pid_t> others;
    for (int i = 0; i < tools; ++i) {
        others.push_back(start([i] { return commit_with_the_tool(i); }));
    }
    for (int i = 0; i < ours; ++i) {
        writers.push_back(start([i, count = commits() / ours] { return commit_often(i, count); }));
    }
    for (const pid_t writer : writers) {
        int status = 0;
        waitpid(writer, &status, 0);
        EXPECT_EQ(WEXITSTATUS(status), 0) << "commits of ours were lost";
    }
    for (const pid_t other : others) {
        kill(other, SIGKILL);
        waitpid(other, nullptr, 0);
    }
}

INSTANTIATE_TEST_SUITE_P(Mixes, ProcessesBesideTheTool,
                         testing::Values(Mix{1, 1}, Mix{2, 1}, Mix{4, 1}, Mix{8, 1}), [](const auto& chosen) {
                             return std::to_string(chosen.param.ours) + "And" +
                                    std::to_string(chosen.param.tools);
                         });
