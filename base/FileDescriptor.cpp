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

/// Descriptors that occupy closed ones of 0 to 2; shared by all threads that hold a StdioReserve.
struct Placeholders {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    u32 users = 0;
    std::array<int, kFirstFree> descriptors{-1, -1, -1};
    /// Incremented when the placeholders are opened and when they are closed: odd while they exist.
    std::atomic<u32> generation{0};
};

constinit Placeholders g_placeholders;

u32 count_closed()
{
    std::array<pollfd, kFirstFree> low{};
    for (std::size_t i = 0; i < low.size(); ++i) {
        low[i].fd = static_cast<int>(i);
    }
    (void)poll(low.data(), low.size(), 0);
    u32 closed = 0;
    for (const pollfd& each : low) {
        closed += (each.revents & POLLNVAL) != 0 ? 1 : 0;
    }
    return closed;
}

/// Whether the host has all three open. The placeholders of another thread do not count.
bool are_all_open()
{
    const u32 before = g_placeholders.generation;
    return before % 2 == 0 && count_closed() == 0 && g_placeholders.generation == before;
}

/// Moves a descriptor above those of the standard streams.
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
    (void)pthread_mutex_lock(&g_placeholders.mutex);
    if (g_placeholders.users++ == 0) {
        ++g_placeholders.generation;
    }
    u32 closed = count_closed();
    for (int& descriptor : g_placeholders.descriptors) {
        if (descriptor < 0 && closed > 0) {
            // Gets the lowest free number. With O_PATH, it can be neither read nor written.
            descriptor = open("/", O_PATH | O_DIRECTORY | O_CLOEXEC);
            --closed;
        }
    }
    (void)pthread_mutex_unlock(&g_placeholders.mutex);
}

StdioReserve::~StdioReserve()
{
    if (!is_needed_) {
        return;
    }
    const int error = errno;
    (void)pthread_mutex_lock(&g_placeholders.mutex);
    if (--g_placeholders.users == 0) {
        for (int& descriptor : g_placeholders.descriptors) {
            if (descriptor >= 0) {
                (void)close(std::exchange(descriptor, -1));
            }
        }
        ++g_placeholders.generation;
    }
    (void)pthread_mutex_unlock(&g_placeholders.mutex);
    errno = error;
}

FileDescriptor open_file(const char* path, int flags, mode_t mode)
{
    // A read-only descriptor can be moved afterwards: no one can have written to it meanwhile.
    std::optional<StdioReserve> reserve;
    if ((flags & O_ACCMODE) != O_RDONLY) {
        reserve.emplace();
    }
    return above_stdio(open(path, flags | O_CLOEXEC | O_NOCTTY, mode));
}

} // namespace qsc
