// SPDX-License-Identifier: Apache-2.0
// Many processes at once, and processes that are killed at any moment.
#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>
#include <vector>

#include <sched.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "qrnuci.h"
#include "uci/PrivateFolders.h"
#include "uci/System.h"

using namespace test;

class Processes : public UciTest
{
  protected:
    static int rounds(int usual)
    {
        const char* const factor = std::getenv("QSC_STRESS_ROUNDS");
        return factor != nullptr ? usual * std::atoi(factor) : usual;
    }

    /// Runs work(0) to work(count - 1), each in a process of its own; all must end with 0.
    template <typename Work>
    static void run_processes(int count, Work work)
    {
        std::vector<pid_t> children;
        for (int i = 0; i < count; ++i) {
            const pid_t child = fork();
            if (child == 0) {
                _exit(work(i) ? 0 : 1);
            }
            children.push_back(child);
        }
        for (const pid_t child : children) {
            int status = 0;
            waitpid(child, &status, 0);
            EXPECT_EQ(status, 0);
        }
    }
};

TEST_F(Processes, NoUpdateIsLost)
{
    constexpr int kWriters = 4;
    put_config("p", "config t s\n\tlist l 'x'\n");
    const int changes = rounds(60);
    run_processes(kWriters, [&](int writer) {
        const std::string key = "p.s.o" + std::to_string(writer);
        for (int i = 1; i <= changes; ++i) {
            const std::string value = std::to_string(i);
            if (QrnUci_SetNewString(key.c_str(), value.c_str(), 0, 1) != 0 || get(key) != value ||
                (i % 3 == writer % 3 && QrnUci_CommitPackage("p") != 0) || get(key) != value) {
                return false;
            }
        }
        return true;
    });
    EXPECT_EQ(QrnUci_CommitPackage("p"), 0u);
    for (int writer = 0; writer < kWriters; ++writer) {
        EXPECT_EQ(get("p.s.o" + std::to_string(writer)), std::to_string(changes));
    }
    EXPECT_EQ(get("p.s.l"), "x");
    EXPECT_EQ(staged("p"), "");
}

TEST_F(Processes, NoReplacementTakesAwayWhatOthersHaveCommittedMeanwhile)
{
    put_config("p", "config t s\n");
    const int changes = rounds(30);
    // Half of them commit, the others replace what they have seen.
    run_processes(4, [&](int writer) {
        const std::string key = "p.s.o" + std::to_string(writer);
        for (int i = 1; i <= changes; ++i) {
            const std::string value = std::to_string(i);
            const uint32_t code = writer % 2 == 0 ? set(key, value.c_str()) | QrnUci_CommitPackage("p")
                                                  : replace_value(key, value.c_str());
            if (code != 0) {
                return false;
            }
        }
        return true;
    });
    for (int writer = 0; writer < 4; ++writer) {
        EXPECT_EQ(get("p.s.o" + std::to_string(writer)), std::to_string(changes));
    }
}

TEST_F(Processes, NoSectionIsAddedTwiceUnderOneNumber)
{
    constexpr int kWriters = 4;
    put_config("p", "config t s\n");
    const int most = rounds(25);
    // Each takes the lowest number that is free, and then gives some of them back.
    run_processes(kWriters, [&](int writer) {
        for (int i = 0; i < most; ++i) {
            if (QrnUci_BeginChange("p") != 0) {
                return false;
            }
            std::array<char, 64> name{};
            int number = 1;
            while (QrnUci_FindSection("p", "rule", "number", std::to_string(number).c_str(), name.data(),
                                      64) == 0) {
                ++number;
            }
            const uint32_t code = QrnUci_AddSection("p", "rule", nullptr, name.data(), name.size());
            const std::string section = std::string{"p."} + name.data();
            if (code != 0 ||
                QrnUci_SetNewString((section + ".number").c_str(), std::to_string(number).c_str(), 0, 1) !=
                    0 ||
                (i % 3 == 0 && QrnUci_DeleteSection("p.@rule[0]") != 0) || QrnUci_EndChange(1) != 0 ||
                (i % 5 == writer && QrnUci_CommitPackage("p") != 0)) {
                return false;
            }
        }
        return true;
    });
    uint32_t count = 0;
    EXPECT_EQ(QrnUci_CountSections("p", "rule", &count), 0u);
    EXPECT_EQ(count, static_cast<uint32_t>(kWriters * (most - (most + 2) / 3)));
    std::set<std::string> numbers;
    for (uint32_t i = 0; i < count; ++i) {
        numbers.insert(get("p.@rule[" + std::to_string(i) + "].number"));
    }
    EXPECT_EQ(numbers.size(), count);
}

TEST_F(Processes, AChildThatIsBornAmidAChangeHoldsNoLock)
{
    put_config("p", "config t s\n");
    pid_t born = -1;
    {
        SystemCalls calls;
        calls.on("fdatasync", 0, [&] { // what a set calls while it holds its locks
            born = fork();
            if (born == 0) {
                prctl(PR_SET_PDEATHSIG, SIGKILL);
                for (;;) {
                    pause();
                }
            }
            return 0;
        });
        EXPECT_EQ(QrnUci_SetNewString("p.s.a", "1", 0, 1), 0u);
    }
    ASSERT_GT(born, 0);
    EXPECT_EQ(QrnUci_SetNewString("p.s.a", "2", 0, 1), 0u);
    EXPECT_EQ(QrnUci_CommitPackage("p"), 0u);
    kill(born, SIGKILL);
    waitpid(born, nullptr, 0);
}

/// On a storage that has room for every commit (false), or for no second copy of the file in every other
/// round.
class KilledProcesses : public Processes, public testing::WithParamInterface<bool>
{
};

TEST_P(KilledProcesses, LoseNothingAcknowledged)
{
    const bool is_sometimes_full = GetParam();
    if (is_sometimes_full && std::system("mount -t tmpfs -o size=64k none /etc/config") != 0) {
        GTEST_SKIP() << "no small file system here";
    }
    // The child tells through shared memory what it has set with success; then it is killed.
    auto* const acknowledged = static_cast<volatile int*>(
        mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    std::mt19937 random{20261121};
    std::uniform_int_distribution<useconds_t> pause{0, 3000};
    put_config("p", "config t s\n\toption n '0'\n\tlist l '0'\n\toption filler '" + std::string(9000, 'f') +
                        "'\n");
    *acknowledged = 0;
    for (int round = 0; round < rounds(150); ++round) {
        const bool is_full = is_sometimes_full && round % 2 == 1;
        if (is_full) {
            std::ofstream{"/etc/config/.ballast"} << std::string(65536, 'b');
        } else {
            std::filesystem::remove("/etc/config/.ballast");
        }
        const int start = *acknowledged;
        const pid_t child = fork();
        if (child == 0) {
            for (int i = start + 1;; ++i) {
                const std::string value = std::to_string(i);
                if (QrnUci_SetListItem("p.s.l", 0, value.c_str()) != 0 ||
                    QrnUci_SetNewString("p.s.n", value.c_str(), 0, 1) != 0) {
                    _exit(1);
                }
                *acknowledged = i;
                const uint32_t code = i % 2 == 0 ? QrnUci_CommitPackage("p") : 0;
                if (code != 0 && !(is_full && code == 14)) {
                    _exit(1);
                }
            }
        }
        usleep(pause(random));
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status)) << "the child failed by itself";
        const int number = std::atoi(get("p.s.n").c_str());
        const int item_number = std::atoi(item("p.s.l", 0).c_str());
        // The step that was under way may have been done; nothing older may be seen, and no second item.
        ASSERT_GE(number, *acknowledged);
        ASSERT_LE(number, *acknowledged + 1);
        ASSERT_GE(item_number, *acknowledged);
        ASSERT_LE(item_number, *acknowledged + 1);
        ASSERT_EQ(item("p.s.l", 1), "code 14");
        *acknowledged = number;
    }
    std::filesystem::remove("/etc/config/.ballast");
    EXPECT_EQ(QrnUci_CommitPackage("p"), 0u);
    EXPECT_EQ(get("p.s.n"), std::to_string(*acknowledged));
    EXPECT_GT(*acknowledged, 0);
    munmap(const_cast<int*>(acknowledged), sizeof(int));
}

INSTANTIATE_TEST_SUITE_P(Storage, KilledProcesses, testing::Bool(),
                         [](const auto& chosen) { return chosen.param ? "SometimesFull" : "WithRoom"; });

/// A call that is killed before each of its steps.
class KilledSteps : public Processes
{
  protected:
    /// Whether the process came to the step before which it was to be killed.
    static bool is_killed(int step, uint32_t (*act)())
    {
        const pid_t child = fork();
        if (child == 0) {
            SystemCalls calls;
            calls.on("", step, [] { return kill(getpid(), SIGKILL); });
            _exit(act() == 0 ? 0 : 1);
        }
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) == 0);
        return WIFSIGNALED(status);
    }

    static void stage_as_others(const std::string& line)
    {
        std::ofstream{"/tmp/.uci/p", std::ios::app} << line;
    }

    /// What the list and the sections of type u hold.
    static std::string seen()
    {
        std::string all = get("p.s.l");
        for (int i = 0; i < 5; ++i) {
            all += " " + get("p.@u[" + std::to_string(i) + "].n");
        }
        return all;
    }

    static std::string seen_by_the_tool()
    {
        std::array<char, 1024> text{};
        FILE* const pipe = popen(QSC_UCI_TOOL " -q export p", "r");
        const size_t size = fread(text.data(), 1, text.size(), pipe);
        pclose(pipe);
        return {text.data(), size};
    }
};

TEST_F(KilledSteps, OfACommitShowEverybodyTheChangesOnceOrNotAtAll)
{
    const std::string after = "base once 2 3 4 code 14 code 14";
    const std::string theirs_before =
        "package p\n\nconfig t 's'\n\tlist l 'base'\n\nconfig u\n\toption n '1'\n\n"
        "config u\n\toption n '2'\n\nconfig u\n\toption n '3'\n\n";
    const std::string theirs_after =
        "package p\n\nconfig t 's'\n\tlist l 'base'\n\tlist l 'once'\n\nconfig u\n"
        "\toption n '2'\n\nconfig u\n\toption n '3'\n\nconfig u\n\toption n '4'\n\n";
    bool is_over = false;
    for (int step = 0; !is_over; ++step) {
        for (const bool others_go_on : {false, true}) {
            SetUp();
            put_config("p",
                       "config t s\n\tlist l 'base'\nconfig u\n\toption n '1'\nconfig u\n\toption n '2'\n"
                       "config u\n\toption n '3'\n");
            ASSERT_EQ(QrnUci_SetListItem("p.s.l", 1, "once"), 0u);
            ASSERT_EQ(QrnUci_DeleteSection("p.@u[0]"), 0u);
            ASSERT_EQ(QrnUci_AddSection("p", "u", nullptr, nullptr, 0), 0u);
            ASSERT_EQ(QrnUci_SetNewString("p.@u[-1].n", "4", 0, 1), 0u);
            is_over = !is_killed(step, [] { return QrnUci_CommitPackage("p"); });
            ASSERT_EQ(seen(), after) << step;
            if (!std::string{QSC_UCI_TOOL}.empty()) {
                const std::string theirs = seen_by_the_tool();
                ASSERT_TRUE(theirs == theirs_before || theirs == theirs_after) << step << theirs;
            }
            if (others_go_on) {
                stage_as_others("p.s.more='" + std::string(step % 2 == 0 ? 1 : 9000, 'm') + "'\n");
                ASSERT_EQ(seen(), after) << step;
            }
            ASSERT_EQ(QrnUci_SetNewString("p.s.last", "1", 0, 1), 0u);
            ASSERT_EQ(QrnUci_CommitPackage("p"), 0u);
            ASSERT_EQ(seen(), after) << step;
            ASSERT_EQ(get("p.s.last"), "1");
            ASSERT_EQ(config("p").find("more") != std::string::npos, others_go_on) << step;
            ASSERT_EQ(staged("p"), "");
            ASSERT_EQ(std::distance(std::filesystem::directory_iterator{"/tmp/.uci"}, {}), 1) << step;
            ASSERT_EQ(std::distance(std::filesystem::directory_iterator{"/etc/config"}, {}), 1) << step;
        }
    }
}

TEST_F(KilledSteps, OfAReplacementLeaveTheOldFileOrTheNewOne)
{
    static const std::string old_text = "# theirs\nconfig t s\n\tlist l 'old'\n";
    static const std::string new_text = "config t s\n\tlist l 'new'\n" + std::string(9000, '#') + "\n";
    static const struct {
        const char* before;
        const char* after;
    } cases[] = {
        {old_text.c_str(), new_text.c_str()}, {nullptr, new_text.c_str()}, {old_text.c_str(), nullptr}};
    static int at = 0;
    const auto replace = [] { return QrnUci_ReplacePackage("p", cases[at].before, cases[at].after); };
    for (at = 0; at < 3; ++at) {
        const auto [before, after] = cases[at];
        bool is_over = false;
        for (int step = 0; !is_over; ++step) {
            SetUp();
            if (before != nullptr) {
                put_config("p", before);
            }
            put_staged("p", "|p.s.l='theirs'\n");
            is_over = !is_killed(step, replace);
            const std::string found = config("p");
            ASSERT_TRUE(found == (after != nullptr ? after : "") ||
                        (found == (before != nullptr ? before : "") && !is_over))
                << at << " " << step << found;
            ASSERT_EQ(replace(), 0u) << at << " " << step;
            ASSERT_EQ(config("p"), after != nullptr ? after : "");
            ASSERT_EQ(staged("p"), "|p.s.l='theirs'\n");
            ASSERT_EQ(get("p.s.l"), after != nullptr ? "new theirs" : "code 14");
            ASSERT_EQ(std::distance(std::filesystem::directory_iterator{"/etc/config"}, {}),
                      after != nullptr ? 1 : 0)
                << at << " " << step;
        }
    }
}

TEST_F(KilledSteps, OfACommitAreNotStagedAnewByAReplacement)
{
    bool is_over = false;
    for (int step = 0; !is_over; ++step) {
        SetUp();
        put_config("p", "config t s\n\tlist l 'base'\n");
        ASSERT_EQ(QrnUci_SetListItem("p.s.l", 1, "once"), 0u);
        is_over = !is_killed(step, [] { return QrnUci_CommitPackage("p"); });
        const std::string found = config("p");
        const bool is_committed = found.find("once") != std::string::npos;
        ASSERT_EQ(QrnUci_ReplacePackage("p", found.c_str(), "config t s\n\tlist l 'other'\n"), 0u) << step;
        ASSERT_EQ(get("p.s.l"), is_committed ? "other" : "other once") << step;
    }
}

TEST_F(KilledSteps, OfAChangeOfManyPartsStageAllOfItOrNothing)
{
    bool is_over = false;
    for (int step = 0; !is_over; ++step) {
        SetUp();
        put_config("p", "config t s\n\tlist l 'base'\nconfig u\n\toption n '1'\nconfig u\n\toption n '2'\n");
        ASSERT_EQ(QrnUci_SetNewString("p.s.before", "1", 0, 1), 0u);
        is_over = !is_killed(step, [] {
            uint32_t code = QrnUci_BeginChange("p");
            code |= QrnUci_DeleteSection("p.@u[0]");
            code |= QrnUci_AddSection("p", "u", "added", nullptr, 0);
            code |= QrnUci_SetNewString("p.added.n", "3", 0, 1);
            code |= QrnUci_SetNewString("p.added.long", std::string(9000, 'x').c_str(), 0, 1);
            code |= QrnUci_SetListItem("p.s.l", 1, "once");
            return code | QrnUci_EndChange(1);
        });
        const std::string all = seen();
        const std::string none_of_it = "base 1 2 code 14 code 14 code 14";
        ASSERT_TRUE(all == "base once 2 3 code 14 code 14 code 14" || (all == none_of_it && !is_over))
            << step << all;
        ASSERT_EQ(get("p.s.before"), "1");
        ASSERT_EQ(QrnUci_SetNewString("p.s.after", "1", 0, 1), 0u);
        ASSERT_EQ(seen(), all) << step;
        ASSERT_EQ(QrnUci_CommitPackage("p"), 0u);
        ASSERT_EQ(seen(), all) << step;
    }
}

TEST_F(KilledSteps, OfAChangeThatWritesTheStagingFileAnewLoseNothing)
{
    std::string long_ago;
    for (int i = 0; i < 800; ++i) {
        long_ago += "p.s.a='" + std::to_string(i) + "'\n" + (i % 100 == 0 ? "|p.s.l='x'\n" : "");
    }
    for (int i = 0; i < 110; ++i) {
        long_ago += "p.s.long" + std::to_string(i) + "='needed, so that several pages are'\n";
    }
    bool is_over = false;
    for (int step = 0; !is_over; ++step) {
        SetUp();
        put_config("p", "config t s\n");
        put_staged("p", long_ago);
        is_over = !is_killed(step, [] { return QrnUci_SetNewString("p.s.a", "new", 0, 1); });
        const std::string value = get("p.s.a");
        ASSERT_TRUE(value == "new" || (value == "799" && !is_over)) << step << value;
        ASSERT_EQ(get("p.s.l"), "x x x x x x x x") << step;
        if (step % 2 == 0) {
            stage_as_others("|p.s.l='others'\n");
            ASSERT_EQ(get("p.s.l"), "x x x x x x x x others") << step;
        }
        ASSERT_EQ(QrnUci_SetNewString("p.s.b", "1", 0, 1), 0u);
        ASSERT_EQ(get("p.s.a"), value);
        ASSERT_EQ(get("p.s.long109"), "needed, so that several pages are");
        ASSERT_EQ(get("p.s.l"), step % 2 == 0 ? "x x x x x x x x others" : "x x x x x x x x") << step;
        ASSERT_LT(staged("p").size(), long_ago.size()) << step;
        ASSERT_EQ(std::distance(std::filesystem::directory_iterator{"/tmp/.uci"}, {}), 1) << step;
    }
}

TEST_F(Processes, AChildOutlivesAKilledCommitWithoutItsLock)
{
    put_config("p", "config t s\n");
    put_staged("p", "p.s.a='1'\n");
    std::array<int, 2> born{};
    ASSERT_EQ(pipe(born.data()), 0);
    const pid_t committer = fork();
    if (committer == 0) {
        SystemCalls calls;
        calls.on("rename", 0, [&] {
            if (fork() == 0) {
                // Once fork() has returned here, the child has given up what it inherited.
                const pid_t child = getpid();
                (void)!write(born[1], &child, sizeof child);
                for (;;) {
                    pause();
                }
            }
            return kill(getpid(), SIGKILL);
        });
        (void)QrnUci_CommitPackage("p");
        _exit(1);
    }
    pid_t child = -1;
    ASSERT_EQ(read(born[0], &child, sizeof child), static_cast<ssize_t>(sizeof child));
    waitpid(committer, nullptr, 0);
    {
        const SystemCalls calls;
        EXPECT_EQ(QrnUci_CommitPackage("p"), 0u);
        EXPECT_EQ(calls.paused_milliseconds(), 0);
    }
    EXPECT_EQ(get("p.s.a"), "1");
    kill(child, SIGKILL);
    close(born[0]);
    close(born[1]);
}

TEST_F(Processes, ACommitWaitsForNobodyWhoseFileOnlyHasTheSameName)
{
    std::array<int, 2> ready{};
    ASSERT_EQ(pipe(ready.data()), 0);
    const pid_t other = fork();
    if (other == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        bool is_ready = unshare(CLONE_NEWNS) == 0 && mount("none", "/etc/config", "tmpfs", 0, nullptr) == 0;
        put_config("p", "");
        is_ready = is_ready && open("/etc/config/p", O_RDWR) >= 0 && unlink("/etc/config/p") == 0;
        (void)!write(ready[1], &is_ready, sizeof is_ready);
        for (;;) {
            pause();
        }
    }
    bool is_ready = false;
    ASSERT_EQ(read(ready[0], &is_ready, sizeof is_ready), static_cast<ssize_t>(sizeof is_ready));
    EXPECT_TRUE(is_ready);
    put_config("p", "config t s\n");
    put_staged("p", "p.s.a='1'\n");
    {
        const SystemCalls calls;
        EXPECT_EQ(QrnUci_CommitPackage("p"), 0u);
        EXPECT_EQ(calls.paused_milliseconds(), 0);
    }
    kill(other, SIGKILL);
    waitpid(other, nullptr, 0);
    close(ready[0]);
    close(ready[1]);
}

TEST_F(Processes, AReaderWaitsForALockOnlySoLongAndReadsWithoutIt)
{
    put_config("p", "config t s\n\toption a '1'\n");
    put_config("q", "config t s\n\toption a '1'\n");
    const std::array<int, 2> holders{open("/etc/config/p", O_RDONLY), open("/etc/config/q", O_RDONLY)};
    for (const int holder : holders) {
        ASSERT_EQ(flock(holder, LOCK_EX), 0);
    }
    {
        const SystemCalls calls;
        EXPECT_EQ(get("p.s.a"), "1");
        EXPECT_EQ(calls.paused_milliseconds(), 200);
        EXPECT_EQ(get("p.s.a"), "1");
        EXPECT_EQ(calls.paused_milliseconds(), 200) << "nothing has changed";
    }
    QrnUci_Close();
    QrnUci_BeginView();
    {
        const SystemCalls calls;
        EXPECT_EQ(get("p.s.a"), "1");
        EXPECT_EQ(get("q.s.a"), "1");
        put_config("p", "config t s\n\toption a '22'\n");
        QrnUci_RenewView();
        EXPECT_EQ(get("p.s.a"), "22");
        EXPECT_EQ(calls.paused_milliseconds(), 200) << "in all";
    }
    QrnUci_EndView();
    // What is written while it is read without the lock is read again.
    put_config("p", "config t s\n\toption a 'old'\n");
    {
        SystemCalls calls;
        calls.on("pread64", 1, [] {
            put_config("p", "config t s\n\toption a 'new'\n");
            return 0;
        });
        EXPECT_EQ(get("p.s.a"), "new");
        EXPECT_TRUE(calls.has_happened());
    }
    for (const int holder : holders) {
        close(holder);
    }
}

TEST_F(Processes, ALockThatIsNeverGivenBackIsACodeAndNoHang)
{
    put_config("p", "config t s\n");
    const int holder = open("/etc/config/p", O_RDWR);
    ASSERT_EQ(flock(holder, LOCK_EX), 0);
    {
        const SystemCalls calls;
        EXPECT_EQ(QrnUci_CommitPackage("p"), 14u);
        EXPECT_EQ(calls.paused_milliseconds(), 5000);
        EXPECT_EQ(calls.log(), "lock /etc/config/p: Connection timed out\n");
    }
    close(holder);
    EXPECT_EQ(QrnUci_CommitPackage("p"), 0u);
}
