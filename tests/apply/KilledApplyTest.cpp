// SPDX-License-Identifier: Apache-2.0
// Applies that are killed before any of their calls to the system: once recovered, the packages and files are
// wholly the old or wholly the new ones, and the next apply works.
#include <climits>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <random>

#include <json-c/json.h>
#include <sys/ptrace.h>
#include <sys/wait.h>

#include "qsc_apply.h"
#include "support/DeviceTest.h"

using namespace test;

namespace
{

constexpr const char* kWriteAhead = "/etc/qsyscmdhal/apply";
constexpr const char* kCheckpoint = "/etc/qsyscmdhal/checkpoint";
constexpr const char* kChanges =
    R"([{"path":"Device.DeviceInfo","set":{"HostName":{"ParamValue":"new"}}},)"
    R"({"path":"Device.DHCPv4.Client.1","set":{"XQrnPppoeUsername":{"ParamValue":"new"}}},)"
    R"({"path":"Device.X_QRN_AutoReboot","set":{"Time":{"ParamValue":"01:02"}}}])";

/// Whether an apply goes well, or fails and goes back.
bool apply(bool goes_well = true, const char* options = "{}")
{
    const Json changes{kChanges};
    const Json wanted{options};
    json_object* report = nullptr;
    const uint32_t code = QSysCmdHal_Apply(changes.get(), wanted.get(), &report);
    const Json owner{report};
    EXPECT_EQ(code == 0, goes_well) << owner.text();
    return (code == 0) == goes_well;
}

constexpr const char* kInWindow = R"({"confirm":600})";

/// What a process does that is killed.
enum Act { kApply, kFail, kOpen, kConfirm, kTakeBack };

bool do_it(Act act)
{
    switch (act) {
    case kConfirm:
        return QSysCmdHal_ConfirmWindow(nullptr) == 0;
    case kTakeBack:
        return QSysCmdHal_RestoreCheckpoint("cancelled", 1, nullptr) == 0;
    default:
        return apply(act != kFail, act == kOpen ? kInWindow : "{}");
    }
}

/// The state of what waits; "" where nothing does.
std::string window()
{
    json_object* found = nullptr;
    const uint32_t code = QSysCmdHal_GetWindow(&found);
    const Json owner{found};
    return code == 0 ? json_object_get_string(json_object_object_get(found, "state")) : "";
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

    /// Acts in a process that is killed at its stop of that number, at the begin or the end of a call;
    /// how many it came to, or -1: the kernel allows no tracing.
    static long stops_before(long stop, Act act)
    {
        const pid_t child = fork();
        if (child == 0) {
            outside().programs["/etc/init.d/network"] = act == kFail ? "exit 1" : "";
            if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) {
                _exit(kNoTracing);
            }
            raise(SIGSTOP);
            _exit(do_it(act) ? 0 : 1);
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
            EXPECT_EQ(status, 0);
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
        for (const char* file : {kWriteAhead, kCheckpoint}) {
            std::string text = read_file(file);
            if (const size_t at = text.find(boot); at != std::string::npos) {
                write_file(file, text.replace(at, boot.size(), "earlier"));
            }
        }
    }

    static constexpr int kNoTracing = 77;

    FakeFolder run_{"/var/run"};
};

TEST_F(KilledProcessesThatApply, LeaveTheOldOrTheNewAndAreFinishedByTheNext)
{
    const std::string before = state();
    const long all_back = stops_before(LONG_MAX, kFail);
    if (all_back < 0) {
        GTEST_SKIP() << "the kernel allows no tracing here";
    }
    ASSERT_EQ(state(), before);
    const long all = stops_before(LONG_MAX, kApply);
    const std::string after = state();
    ASSERT_NE(before, after);
    const char* const factor = std::getenv("QSC_STRESS_ROUNDS");
    const int rounds = factor != nullptr ? 100 * std::atoi(factor) : 40;
    std::mt19937 random{20261122};
    int finished = 0;
    for (int round = 0; round < rounds; ++round) {
        reset();
        const bool goes_well = round % 3 != 0;
        // Most calls look whether somebody is about to commit; the begin and the end have more to lose.
        const double place = std::pow(std::uniform_real_distribution<>{0, 1}(random), 3);
        const long stop = std::lround(static_cast<double>(goes_well ? all : all_back) *
                                      (round % 2 == 0 ? place : 1 - place));
        const std::string what = std::to_string(stop) + (goes_well ? "" : " of one that goes back");
        (void)stops_before(stop, goes_well ? kApply : kFail);
        if (round % 5 == 0) {
            restart_device();
        }
        ASSERT_EQ(QSysCmdHal_RecoverApply(), 0u) << what;
        const std::string found = state();
        ASSERT_TRUE(found == before || found == after) << what << "\n" << found;
        finished += found == after ? 1 : 0;
        ASSERT_FALSE(std::filesystem::exists(kWriteAhead)) << what;
        ASSERT_FALSE(std::filesystem::exists("/etc/qsyscmdhal/reserve")) << what;
        ASSERT_TRUE(apply()) << what;
        ASSERT_EQ(state(), after) << what;
    }
    EXPECT_GT(finished, 0);
    EXPECT_LT(finished, rounds);
}

TEST_F(KilledProcessesThatApply, LeaveAChangeThatWaitsOrIsConfirmedOrIsTakenBack)
{
    const std::string before = state();
    ASSERT_EQ(QSysCmdHal_ResumeWindow(), 0u);
    std::map<Act, long> all;
    for (const Act act : {kOpen, kConfirm, kTakeBack}) {
        reset();
        ASSERT_TRUE(act == kOpen || apply(true, kInWindow));
        all[act] = stops_before(LONG_MAX, act);
        if (all[act] < 0) {
            GTEST_SKIP() << "the kernel allows no tracing here";
        }
    }
    reset();
    ASSERT_TRUE(apply());
    const std::string after = state();
    const char* const factor = std::getenv("QSC_STRESS_ROUNDS");
    const int rounds = factor != nullptr ? 100 * std::atoi(factor) : 45;
    std::mt19937 random{20261123};
    std::map<std::string, int> ends;
    for (int round = 0; round < rounds; ++round) {
        const Act act = round % 3 == 0 ? kOpen : round % 3 == 1 ? kConfirm : kTakeBack;
        const bool is_restarted = round % 4 == 0;
        reset();
        ASSERT_TRUE(act == kOpen || apply(true, kInWindow));
        const long stop = std::uniform_int_distribution<long>{1, all[act]}(random);
        const std::string what = std::to_string(stop) + " of act " + std::to_string(act);
        (void)stops_before(stop, act);
        if (is_restarted) {
            restart_device();
        }
        // What a daemon does when it comes back, or what is done before the network starts.
        ASSERT_EQ(QSysCmdHal_RecoverApply(), 0u) << what;
        if (!is_restarted) {
            ASSERT_EQ(QSysCmdHal_ResumeWindow(), 0u) << what;
        }
        if (window() == "returning" || (is_restarted && !window().empty())) {
            ASSERT_EQ(QSysCmdHal_RestoreCheckpoint("interrupted", is_restarted ? 0 : 1, nullptr), 0u) << what;
        }
        const bool is_open = window() == "open";
        ASSERT_EQ(window().empty(), !is_open) << what;
        const std::string found = state();
        ++ends[is_open ? "open" : found == after ? "after" : "before"];
        ASSERT_TRUE(found == before || (found == after && (is_open || act == kConfirm))) << what << "\n"
                                                                                         << found;
        if (is_open) {
            ASSERT_EQ(found, after) << what;
            ASSERT_EQ(QSysCmdHal_RestoreCheckpoint("cancelled", 1, nullptr), 0u) << what;
            ASSERT_EQ(state(), before) << what;
        } else if (act == kConfirm && !is_restarted) {
            ASSERT_EQ(found, after) << what;
        }
        ASSERT_TRUE(apply(true, kInWindow)) << what;
        ASSERT_EQ(QSysCmdHal_ConfirmWindow(nullptr), 0u) << what;
        ASSERT_EQ(state(), after) << what;
    }
    EXPECT_EQ(ends.size(), 3u);
}
