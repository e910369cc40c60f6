// SPDX-License-Identifier: Apache-2.0
#include "uci/System.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <utility>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

namespace test
{

namespace
{

SystemCalls* g_watcher = nullptr;

} // namespace

SystemCalls::SystemCalls()
{
    g_watcher = this;
}

SystemCalls::~SystemCalls()
{
    g_watcher = nullptr;
}

void SystemCalls::on(std::string call, int after, std::function<int()> action)
{
    call_ = std::move(call);
    after_ = after;
    action_ = std::move(action);
}

void SystemCalls::fail(std::string call, int after, int error)
{
    on(std::move(call), after, [error] { return error; });
}

std::string SystemCalls::sequence(std::initializer_list<std::string_view> names) const
{
    std::string all;
    for (const std::string_view call : calls_) {
        if (std::find(names.begin(), names.end(), call) != names.end()) {
            all.append(all.empty() ? "" : " ").append(call);
        }
    }
    return all;
}

long SystemCalls::count(std::string_view call) const
{
    return std::count(calls_.begin(), calls_.end(), call);
}

int SystemCalls::enter(std::string_view call)
{
    SystemCalls* const watcher = g_watcher;
    if (watcher == nullptr) {
        return 0;
    }
    std::function<int()> action;
    {
        const std::lock_guard lock{watcher->mutex_};
        watcher->calls_.push_back(call);
        // There are as many folders to look through as there are processes.
        const bool is_meant = watcher->call_.empty() ? call != "opendir" : watcher->call_ == call;
        if (watcher->action_ != nullptr && is_meant && watcher->after_-- == 0) {
            action = std::exchange(watcher->action_, nullptr);
        }
    }
    return action != nullptr ? action() : 0;
}

void SystemCalls::add_line(const std::string& line)
{
    if (g_watcher != nullptr) {
        const std::lock_guard lock{g_watcher->mutex_};
        g_watcher->log_ += line;
    }
}

bool SystemCalls::add_pause(long milliseconds)
{
    if (g_watcher == nullptr) {
        return false;
    }
    const std::lock_guard lock{g_watcher->mutex_};
    g_watcher->paused_ += milliseconds;
    return true;
}

} // namespace test

// A call is what the library calls it: with 64-bit file sizes, which changes some names.
#define WATCHED(Result, failure, name, parameters, arguments, ...)                                           \
    extern "C" Result name parameters __VA_ARGS__                                                            \
    {                                                                                                        \
        if (const int error = test::SystemCalls::enter(#name)) {                                             \
            errno = error;                                                                                   \
            return failure;                                                                                  \
        }                                                                                                    \
        static const auto real = reinterpret_cast<Result(*) parameters>(dlsym(RTLD_NEXT, #name));            \
        return real arguments;                                                                               \
    }

WATCHED(int, -1, mkdir, (const char* path, mode_t mode), (path, mode), noexcept)
WATCHED(int, -1, flock, (int file, int operation), (file, operation), noexcept)
WATCHED(ssize_t, -1, pread64, (int file, void* buffer, size_t size, off64_t offset),
        (file, buffer, size, offset))
WATCHED(ssize_t, -1, write, (int file, const void* buffer, size_t size), (file, buffer, size))
WATCHED(ssize_t, -1, pwrite64, (int file, const void* buffer, size_t size, off64_t offset),
        (file, buffer, size, offset))
WATCHED(off64_t, -1, lseek64, (int file, off64_t offset, int whence), (file, offset, whence), noexcept)
WATCHED(int, -1, ftruncate64, (int file, off64_t size), (file, size), noexcept)
WATCHED(int, -1, fsync, (int file), (file))
WATCHED(int, -1, fdatasync, (int file), (file))
WATCHED(int, -1, fchown, (int file, uid_t user, gid_t group), (file, user, group), noexcept)
WATCHED(int, -1, fchmod, (int file, mode_t mode), (file, mode), noexcept)
WATCHED(int, -1, mkostemp64, (char* path, int flags), (path, flags))
WATCHED(FILE*, nullptr, fdopen, (int file, const char* mode), (file, mode), noexcept)
WATCHED(int, EOF, fflush, (FILE * file), (file))
WATCHED(int, -1, unlink, (const char* path), (path), noexcept)
WATCHED(int, -1, rename, (const char* from, const char* to), (from, to), noexcept)
WATCHED(int, -1, link, (const char* from, const char* to), (from, to), noexcept)
WATCHED(DIR*, nullptr, opendir, (const char* path), (path))
WATCHED(char*, nullptr, realpath, (const char* path, char* resolved), (path, resolved), noexcept)

extern "C" int open64(const char* path, int flags, ...)
{
    if (const int error = test::SystemCalls::enter("open64")) {
        errno = error;
        return -1;
    }
    if ((flags & O_ACCMODE) != O_RDONLY && std::string_view{path} == "/etc/config/p") {
        (void)test::SystemCalls::enter("writing /etc/config/p");
    }
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    static const auto real = reinterpret_cast<int (*)(const char*, int, ...)>(dlsym(RTLD_NEXT, "open64"));
    return real(path, flags, mode);
}

extern "C" int nanosleep(const timespec* time, timespec* left)
{
    (void)test::SystemCalls::enter("nanosleep");
    if (test::SystemCalls::add_pause(time->tv_sec * 1000 + time->tv_nsec / 1'000'000)) {
        return 0;
    }
    static const auto real = reinterpret_cast<decltype(&nanosleep)>(dlsym(RTLD_NEXT, "nanosleep"));
    return real(time, left);
}

extern "C" void vsyslog(int, const char* format, va_list arguments)
{
    std::array<char, 1024> line{};
    (void)std::vsnprintf(line.data(), line.size(), format, arguments);
    test::SystemCalls::add_line(line.data());
}

extern "C" void syslog(int priority, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    vsyslog(priority, format, arguments);
    va_end(arguments);
}
