// SPDX-License-Identifier: Apache-2.0
// The library and the `uci` tool commit the same package at the same time. The tool may lose its own changes,
// because it gives up its lock before it renames its new file; ours it must not lose.
#include <cstdlib>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/PrivateFolders.h"
#include "qrnuci.h"

using namespace test;

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
            if (QrnUci_SetNewString(key.c_str(), value.c_str(), 0, 1) != 0 ||
                QrnUci_CommitPackage("p") != 0) {
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
