// SPDX-License-Identifier: Apache-2.0
#include "base/ProcessLock.h"

#include <cerrno>
#include <string>

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/TemporaryFolder.h"

using namespace test;

namespace
{

pthread_mutex_t g_mutex = PTHREAD_MUTEX_INITIALIZER;
long g_slept_ms = 0;

} // namespace

// Time passes only while somebody sleeps, and then at once.
extern "C" int nanosleep(const timespec* time, timespec*)
{
    g_slept_ms += time->tv_sec * 1000 + time->tv_nsec / 1'000'000;
    return 0;
}

extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    static auto* const next = reinterpret_cast<decltype(clock_gettime)*>(dlsym(RTLD_NEXT, "clock_gettime"));
    const int result = next(clock, time);
    time->tv_sec += g_slept_ms / 1000;
    return result;
}

class ProcessLock : public testing::Test
{
  protected:
    /// Locks in another process. @return the code there
    static uint32_t code_in_a_child(const std::string& path)
    {
        const pid_t child = fork();
        if (child == 0) {
            // The child's copy of the mutex is locked by a thread that does not exist there.
            pthread_mutex_t own = PTHREAD_MUTEX_INITIALIZER;
            _exit(static_cast<int>(qsc::ProcessLock{own, path.c_str()}.code()));
        }
        int status = -1;
        waitpid(child, &status, 0);
        return static_cast<uint32_t>(WEXITSTATUS(status));
    }

    TemporaryFolder folder_;
};

TEST_F(ProcessLock, KeepsOtherProcessesAndThreadsOut)
{
    const std::string path = folder_ / "lock";
    {
        const qsc::ProcessLock lock{g_mutex, path.c_str()};
        ASSERT_EQ(lock.code(), 0u);
        EXPECT_EQ(code_in_a_child(path), uint32_t{ETIMEDOUT});
        EXPECT_NE(pthread_mutex_trylock(&g_mutex), 0);
    }
    EXPECT_EQ(code_in_a_child(path), 0u);
    ASSERT_EQ(pthread_mutex_trylock(&g_mutex), 0) << "released";
    pthread_mutex_unlock(&g_mutex);
    struct stat status = {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << "the file stays";
}

TEST_F(ProcessLock, FilesOfOthersAreNoLocks)
{
    const std::string readable = folder_ / "readable";
    write_file(readable, "");
    chmod(readable.c_str(), 0640);
    const std::string link = folder_ / "link";
    ASSERT_EQ(symlink((folder_ / "target").c_str(), link.c_str()), 0);
    const std::string pipe = folder_ / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const struct {
        std::string path;
        int code;
    } cases[] = {
        {readable, EPERM}, {link, ELOOP}, {pipe, EPERM}, {folder_ / "", EISDIR}, {"/none/lock", ENOENT}};
    for (const auto& [path, code] : cases) {
        EXPECT_EQ((qsc::ProcessLock{g_mutex, path.c_str()}.code()), static_cast<uint32_t>(code)) << path;
        ASSERT_EQ(pthread_mutex_trylock(&g_mutex), 0) << "released";
        pthread_mutex_unlock(&g_mutex);
    }
}

TEST_F(ProcessLock, WithoutTheMutexNothingIsOpened)
{
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK);
    pthread_mutex_t own;
    pthread_mutex_init(&own, &attributes);
    pthread_mutex_lock(&own);
    const std::string path = folder_ / "lock";
    EXPECT_EQ((qsc::ProcessLock{own, path.c_str()}.code()), uint32_t{EDEADLK});
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_EQ(pthread_mutex_unlock(&own), 0) << "it is not given back";
    pthread_mutex_destroy(&own);
    pthread_mutexattr_destroy(&attributes);
}
