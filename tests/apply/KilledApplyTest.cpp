// SPDX-License-Identifier: Apache-2.0
// Applies, confirmations and goings-back that are killed before any of their calls to the system: once
// recovered, the packages and files are wholly the old or wholly the new ones, an unconfirmed change still
// waits, and the next apply works.
#include <climits>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <random>
#include <vector>

#include <sys/ptrace.h>
#include <sys/wait.h>

#include "qsc_apply.h"
#include "support/DeviceTest.h"

using namespace test;

namespace
{

constexpr const char* kWriteAhead = "/etc/qsyscmdhal/apply";
constexpr const char* kChanges =
    R"([{"path":"Device.DeviceInfo","set":{"HostName":{"ParamValue":"new"}}},)"
    R"({"path":"Device.DHCPv4.Client.1","set":{"XQrnPppoeUsername":{"ParamValue":"new"}}},)"
    R"({"path":"Device.X_QRN_AutoReboot","set":{"Time":{"ParamValue":"01:02"}}}])";

/// Whether an apply goes well, or fails and goes back.
bool apply(bool goes_well = true, const char* options = "{}")
{
    const Json changes{kChanges};
    const Json how{options};
    json_object* report = nullptr;
    outside().programs["/etc/init.d/network"] = goes_well ? "" : "exit 1";
    const uint32_t code = QSysCmdHal_Apply(changes.get(), how.get(), &report);
    outside().programs["/etc/init.d/network"] = "";
    const Json owner{report};
    EXPECT_EQ(code == 0, goes_well) << owner.text();
    return (code == 0) == goes_well;
}

constexpr const char* kToBeConfirmed = R"({"confirm":300})";

bool restore()
{
    return QSysCmdHal_RestoreCheckpoint("it is tried", 1, nullptr) == 0;
}

/// What is killed.
struct Act {
    const char* what;
    bool (*act)();
    bool is_unconfirmed; ///< what it leaves new has to be confirmed
    bool is_on_open;     ///< a change waits already
};

constexpr Act kActs[] = {
    {"an apply", [] { return apply(); }, false, false},
    {"one that goes back", [] { return apply(false); }, false, false},
    {"one to be confirmed", [] { return apply(true, kToBeConfirmed); }, true, false},
    {"one to be confirmed that goes back", [] { return apply(false, kToBeConfirmed); }, true, false},
    {"a confirmation", [] { return QSysCmdHal_ConfirmWindow(nullptr) == 0; }, false, true},
    {"a going back", restore, true, true},
};

bool has_window()
{
    json_object* window = nullptr;
    const uint32_t code = QSysCmdHal_GetWindow(&window);
    const Json owner{window};
    return code == 0;
}

} // namespace

/// The name has the stress test run these much longer.
class KilledProcessesThatApply : public DeviceTest
{
  protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        outside().keeps_records = false;
        for (const char* script : {"cron", "system", "network"}) {
            outside().programs[std::string{"/etc/init.d/"} + script] = "";
        }
        reset();
        QSysCmdHal_ResumeWindow(); // as a daemon does, which may have changes confirmed
    }

    static void reset()
    {
        std::filesystem::remove_all("/etc/qsyscmdhal");
        std::filesystem::create_directories("/etc/crontabs");
        write_file("/etc/crontabs/root", "1 1 * * * theirs\n");
        put("system", "config system\n\toption hostname 'old'\n");
        put("network", "config interface 'wan'\n\toption proto 'pppoe'\n\toption username 'old'\n");
        put("qrndhcpopts", "config opt 'sent60'\n\toption enable '1'\n");
        put("autoreboot", "config autoreboot 'config'\n\toption enable '1'\n\toption time '04:05'\n"
                          "\toption days '0,6'\n");
        std::filesystem::remove_all("/tmp/.uci");
        std::filesystem::create_directory("/tmp/.uci");
        write_file("/tmp/.uci/network", "network.wan.theirs='staged'\n");
    }

    /// All that an apply writes for good.
    static std::string state()
    {
        std::string all = read_file("/etc/crontabs/root") + read_file("/tmp/.uci/network");
        for (const char* package : {"system", "network", "autoreboot"}) {
            all += read_file(std::string{"/etc/config/"} + package);
        }
        return all;
    }

    /// Acts in a process that is killed at its stop of that number, at the begin or the end of a call; how
    /// many it came to, or -1: the kernel allows no tracing.
    static long stops_before(long stop, const Act& act)
    {
        const pid_t child = fork();
        if (child == 0) {
            if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) {
                _exit(kNoTracing);
            }
            raise(SIGSTOP);
            _exit(act.act() ? 0 : 1);
        }
        int status = 0;
        long stops = 0;
        waitpid(child, &status, 0);
        if (WIFEXITED(status) && WEXITSTATUS(status) == kNoTracing) {
            return -1;
        }
        for (; WIFSTOPPED(status) && stops < stop; ++stops) {
            const int signal = WSTOPSIG(status) == SIGCHLD ? SIGCHLD : 0;
            ptrace(PTRACE_SYSCALL, child, nullptr, signal);
            waitpid(child, &status, 0);
        }
        if (WIFSTOPPED(status)) {
            kill(child, SIGKILL);
            waitpid(child, &status, 0);
        } else {
            EXPECT_EQ(status, 0) << act.what;
        }
        return stops;
    }

    /// What is in memory is gone, and what was interrupted belongs to an earlier boot.
    static void restart_device()
    {
        for (const auto& entry : std::filesystem::directory_iterator{"/var/run"}) {
            std::filesystem::remove_all(entry);
        }
        const std::string boot = read_file("/proc/sys/kernel/random/boot_id").substr(0, 36);
        for (const char* file : {kWriteAhead, "/etc/qsyscmdhal/checkpoint"}) {
            std::string text = read_file(file);
            if (const size_t at = text.find(boot); at != std::string::npos) {
                write_file(file, text.replace(at, boot.size(), "earlier"));
            }
        }
    }

    static void begin(const Act& act)
    {
        reset();
        QSysCmdHal_ResumeWindow();
        ASSERT_TRUE(!act.is_on_open || apply(true, kToBeConfirmed));
    }

    static constexpr int kNoTracing = 77;

    FakeFolder run_{"/var/run"};
};

TEST_F(KilledProcessesThatApply, LeaveTheOldOrTheNewAndAreFinishedByTheNext)
{
    const std::string before = state();
    std::vector<long> all;
    for (const Act& act : kActs) {
        begin(act);
        all.push_back(stops_before(LONG_MAX, act));
        if (all.back() < 0) {
            GTEST_SKIP() << "the kernel allows no tracing here";
        }
    }
    reset();
    ASSERT_TRUE(apply());
    const std::string after = state();
    ASSERT_NE(before, after);
    const char* const factor = std::getenv("QSC_STRESS_ROUNDS");
    const int rounds = factor != nullptr ? 100 * std::atoi(factor) : 48;
    std::mt19937 random{20261122};
    int finished = 0;
    for (int round = 0; round < rounds; ++round) {
        const size_t chosen = static_cast<size_t>(round) % std::size(kActs);
        const Act& act = kActs[chosen];
        begin(act);
        // Most calls look whether somebody is about to commit; the begin and the end have more to lose.
        const double place = std::pow(std::uniform_real_distribution<>{0, 1}(random), 3);
        const bool is_early = random() % 2 == 0;
        const long stop = std::lround(static_cast<double>(all[chosen]) * (is_early ? place : 1 - place));
        (void)stops_before(stop, act);
        const bool is_restarted = random() % 4 == 0;
        const std::string what = std::to_string(stop) + " of " + std::to_string(all[chosen]) + ", " +
                                 act.what + (is_restarted ? ", then a restart" : "");
        if (is_restarted) {
            restart_device();
        }
        ASSERT_EQ(QSysCmdHal_RecoverApply(), 0u) << what;
        ASSERT_EQ(QSysCmdHal_ResumeWindow(), 0u) << what;
        if (has_window() && (is_restarted || act.act == restore)) {
            ASSERT_TRUE(restore()) << what;
        }
        const std::string found = state();
        ASSERT_TRUE(found == before || found == after) << what << "\n" << found;
        finished += found == after ? 1 : 0;
        ASSERT_TRUE(found == before || has_window() || !act.is_unconfirmed) << what << ": it must wait";
        ASSERT_TRUE(found == after || !has_window()) << what << ": what waits is there";
        ASSERT_TRUE(found == after || is_restarted || act.is_unconfirmed || !act.is_on_open)
            << what << ": what was confirmed is there";
        for (const char* file : {"apply", "reserve", "checkpoint.failed"}) {
            ASSERT_FALSE(std::filesystem::exists(std::string{"/etc/qsyscmdhal/"} + file)) << what << file;
        }
        if (has_window()) {
            ASSERT_TRUE(restore()) << what;
            ASSERT_EQ(state(), before) << what;
        }
        ASSERT_TRUE(apply()) << what;
        ASSERT_EQ(state(), after) << what;
        ASSERT_FALSE(has_window()) << what;
    }
    EXPECT_GT(finished, 0);
    EXPECT_LT(finished, rounds);
}
