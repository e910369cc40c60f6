// SPDX-License-Identifier: Apache-2.0
#include "base/FileDescriptor.h"

#include <array>
#include <atomic>
#include <optional>

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>

#include "base/Types.h"

namespace qsc
{

namespace
{

constexpr int kFirstFree = STDERR_FILENO + 1;

/// What stands in for the closed ones of descriptors 0 to 2, shared by all threads that need it.
struct Standins {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    u32 users = 0;
    std::array<int, kFirstFree> descriptors{-1, -1, -1};
    /// Grows when they come and when they leave: odd while they are there.
    std::atomic<u32> turn{0};
};

constinit Standins g_standins;

u32 count_closed()
{
    std::array<pollfd, kFirstFree> low{{{.fd = 0, .events = 0, .revents = 0},
                                        {.fd = 1, .events = 0, .revents = 0},
                                        {.fd = 2, .events = 0, .revents = 0}}};
    (void)poll(low.data(), low.size(), 0);
    u32 closed = 0;
    for (const pollfd& each : low) {
        closed += (each.revents & POLLNVAL) != 0 ? 1 : 0;
    }
    return closed;
}

/// Whether all three are open, and not only because of the stand-ins of another thread.
bool are_all_open()
{
    const u32 turn = g_standins.turn;
    return turn % 2 == 0 && count_closed() == 0 && g_standins.turn == turn;
}

/// Moves a descriptor out of the range that the host's standard streams use.
FileDescriptor above_stdio(int descriptor)
{
    if (descriptor < 0 || descriptor >= kFirstFree) {
        return FileDescriptor{descriptor};
    }
    const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, kFirstFree);
    const int error = errno;
    (void)close(descriptor);
    errno = error;
    return FileDescriptor{moved};
}

} // namespace

StdioReserve::StdioReserve() : is_needed_(!are_all_open())
{
    if (!is_needed_) {
        return;
    }
    (void)pthread_mutex_lock(&g_standins.mutex);
    if (g_standins.users++ == 0) {
        ++g_standins.turn;
    }
    u32 closed = count_closed();
    for (int& descriptor : g_standins.descriptors) {
        if (descriptor < 0 && closed > 0) {
            // The lowest free number is taken, and with O_PATH nothing can be written or read there.
            descriptor = open("/", O_PATH | O_DIRECTORY | O_CLOEXEC);
            --closed;
        }
    }
    (void)pthread_mutex_unlock(&g_standins.mutex);
}

StdioReserve::~StdioReserve()
{
    if (!is_needed_) {
        return;
    }
    const int error = errno;
    (void)pthread_mutex_lock(&g_standins.mutex);
    if (--g_standins.users == 0) {
        for (int& descriptor : g_standins.descriptors) {
            if (descriptor >= 0) {
                (void)close(std::exchange(descriptor, -1));
            }
        }
        ++g_standins.turn;
    }
    (void)pthread_mutex_unlock(&g_standins.mutex);
    errno = error;
}

FileDescriptor open_file(const char* path, int flags, mode_t mode)
{
    // What is open for reading only can be moved afterwards: nobody can have written to it meanwhile.
    std::optional<StdioReserve> reserve;
    if ((flags & O_ACCMODE) != O_RDONLY) {
        reserve.emplace();
    }
    return above_stdio(open(path, flags | O_CLOEXEC | O_NOCTTY, mode));
}

} // namespace qsc
