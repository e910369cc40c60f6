// SPDX-License-Identifier: Apache-2.0
#include "tools/qscd/Signals.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>

#include <unistd.h>

namespace qscd
{

namespace
{

constinit std::atomic<int> g_wake_fd{-1};
constinit std::atomic<bool> g_ends{false};
constinit std::atomic<bool> g_reopens{false};

void take(int signal)
{
    const int kept = errno;
    if (signal == SIGTERM || signal == SIGINT) {
        g_ends = true;
    } else if (signal == SIGHUP) {
        g_reopens = true;
    }
    const std::uint64_t one = 1;
    (void)!write(g_wake_fd, &one, sizeof one);
    errno = kept;
}

/// A write to a closed pipe returns an error.
void take_nothing(int) {}

} // namespace

void catch_signals(int wake_fd)
{
    g_wake_fd = wake_fd;
    struct sigaction action {
    };
    action.sa_flags = SA_RESTART;
    action.sa_handler = take;
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        (void)sigaction(signal, &action, nullptr);
    }
    action.sa_handler = take_nothing;
    for (const int signal :
         {SIGPIPE, SIGALRM, SIGUSR1, SIGUSR2, SIGQUIT, SIGVTALRM, SIGPROF, SIGIO, SIGPWR, SIGXCPU, SIGXFSZ}) {
        (void)sigaction(signal, &action, nullptr);
    }
    for (int signal = SIGRTMIN; signal <= SIGRTMAX; ++signal) {
        (void)sigaction(signal, &action, nullptr);
    }
}

bool is_end_wanted()
{
    return g_ends;
}

bool take_reopen()
{
    return g_reopens.exchange(false);
}

} // namespace qscd
