// SPDX-License-Identifier: Apache-2.0
// Every change by others is noticed before the next answer, however alike the files are before and after.
#include <array>
#include <atomic>
#include <filesystem>
#include <random>
#include <thread>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "qrnuci.h"
#include "support/TemporaryFolder.h"
#include "uci/PrivateFolders.h"
#include "uci/System.h"

using namespace test;

namespace
{

bool g_keeps_whole_seconds = false;

// Where times are wider than the CPU's words, the headers rename what is called and what is defined below.
constexpr bool kHasWideTimes = sizeof(time_t) > sizeof(long);
constexpr const char* kStat = kHasWideTimes ? "__stat64_time64" : "stat64";
constexpr const char* kFstat = kHasWideTimes ? "__fstat64_time64" : "fstat64";

template <typename... Arguments>
int marks(const char* name, struct stat64* status, Arguments... arguments)
{
    auto* const real = reinterpret_cast<int (*)(Arguments..., struct stat64*)>(dlsym(RTLD_NEXT, name));
    const int result = real(arguments..., status);
    if (result == 0 && g_keeps_whole_seconds) {
        status->st_mtim.tv_nsec = status->st_ctim.tv_nsec = 0;
    }
    return result;
}

} // namespace

// A file system that keeps the times of its files in whole seconds, if it is told to.
extern "C" int stat64(const char* path, struct stat64* status) noexcept
{
    return marks(kStat, status, path);
}
extern "C" int fstat64(int file, struct stat64* status) noexcept
{
    return marks(kFstat, status, file);
}

class Cache : public UciTest
{
  protected:
    static std::string text(char value) { return std::string{"config t s\n\toption a '"} + value + "'\n"; }
};

TEST_F(Cache, ChangesInPlaceInTheSameTick)
{
    for (int round = 0; round < 300; ++round) {
        const char value = static_cast<char>('a' + round % 26);
        put_config("p", text(value));
        ASSERT_EQ(get("p.s.a"), std::string(1, value)) << round;
    }
}

TEST_F(Cache, ChangesOfAnyByteInTheSameSecond)
{
    g_keeps_whole_seconds = true;
    for (std::size_t offset = 0; offset < 80; ++offset) {
        for (const char value : std::string{"ab"}) {
            put_config("p", "# " + std::string(offset, '.') + "\n" + text(value) + "# " +
                                std::string(offset % 3 * 20, '.'));
            EXPECT_EQ(get("p.s.a"), std::string(1, value)) << offset;
        }
    }
    g_keeps_whole_seconds = false;
}

TEST_F(Cache, WhatNobodyChangesIsReadOnceAndThenOnlyLookedAt)
{
    put_config("p", text('a'));
    put_config("q", text('a'));
    put_staged("q", "p.s.b='1'\n");
    const auto read_both = [] { return get("p.s.a") + get("q.s.a"); };
    EXPECT_EQ(read_both(), "aa");
    usleep(100'000); // now the files' times are old enough to tell every change
    EXPECT_EQ(read_both(), "aa");
    const SystemCalls calls;
    EXPECT_EQ(read_both(), "aa");
    EXPECT_EQ(calls.count("open64"), 0);
    EXPECT_EQ(calls.count("pread64"), 0);
}

TEST_F(Cache, ChangesInPlaceInTheSameSecond)
{
    g_keeps_whole_seconds = true;
    put_config("p", text('a'));
    EXPECT_EQ(get("p.s.a"), "a");
    // Long enough for a clock that ticks as usual, and still the same second on most attempts.
    usleep(100'000);
    EXPECT_EQ(get("p.s.a"), "a");
    put_config("p", text('b'));
    EXPECT_EQ(get("p.s.a"), "b");
    g_keeps_whole_seconds = false;
}

TEST_F(Cache, FilesSwappedForOthersOfEqualSize)
{
    for (int round = 0; round < 300; ++round) {
        const char value = static_cast<char>('a' + round % 26);
        write_file("/etc/config/.new", text(value));
        std::filesystem::rename("/etc/config/.new", "/etc/config/p");
        ASSERT_EQ(get("p.s.a"), std::string(1, value)) << round;
    }
}

TEST_F(Cache, ChangesThatForgeTheFilesTimes)
{
    const timespec times[2] = {{.tv_sec = 1000, .tv_nsec = 0}, {.tv_sec = 1000, .tv_nsec = 0}};
    for (const char value : std::string{"abcabc"}) {
        put_config("p", text(value));
        ASSERT_EQ(utimensat(AT_FDCWD, "/etc/config/p", times, 0), 0);
        ASSERT_EQ(get("p.s.a"), std::string(1, value));
    }
}

TEST_F(Cache, StagingFilesThatComeChangeAndGo)
{
    put_config("p", text('a'));
    for (int round = 0; round < 100; ++round) {
        const char value = static_cast<char>('a' + round % 26);
        put_staged("p", std::string{"p.s.a='"} + value + "'\n");
        ASSERT_EQ(get("p.s.a"), std::string(1, value)) << round;
        if (round % 3 == 0) {
            std::filesystem::remove("/tmp/.uci/p");
            ASSERT_EQ(get("p.s.a"), "a") << round;
        }
    }
}

TEST_F(Cache, AnyChangesInAnyOrder)
{
    put_config("p", text('?'));
    std::string configured = "?";
    std::string staged;
    std::minstd_rand random; // the same every time
    for (int round = 0; round < 4000; ++round) {
        const std::string value{static_cast<char>('a' + round % 26)};
        switch (random() % 6) {
        case 0:
            put_config("p", text(value[0]));
            configured = value;
            break;
        case 1:
            write_file("/etc/config/.new", text(value[0]));
            std::filesystem::rename("/etc/config/.new", "/etc/config/p");
            configured = value;
            break;
        case 2:
            put_staged("p", "p.s.a='" + value + "'\n");
            staged = value;
            break;
        case 3:
            std::filesystem::remove("/tmp/.uci/p");
            staged.clear();
            break;
        case 4:
            std::filesystem::remove_all("/tmp/.uci");
            staged.clear();
            break;
        default:
            usleep(random() % 64 == 0 ? 50'000 : 0); // now and then the marks become old enough
        }
        ASSERT_EQ(get("p.s.a"), staged.empty() ? configured : staged) << round;
    }
}

TEST_F(Cache, PackagesThatAppearBreakAndGo)
{
    EXPECT_EQ(get("p.s.a"), "code 14");
    put_config("p", text('a'));
    EXPECT_EQ(get("p.s.a"), "a");
    put_config("p", "nonsense\n");
    EXPECT_EQ(get("p.s.a"), "code 14");
    put_config("p", text('b'));
    EXPECT_EQ(get("p.s.a"), "b");
    std::filesystem::remove("/etc/config/p");
    EXPECT_EQ(get("p.s.a"), "code 14");
}

TEST_F(Cache, NamesAsLongAsAFileCanHave)
{
    const std::string name(255, 'n');
    for (const char value : std::string{"ab"}) {
        put_config(name, text(value));
        EXPECT_EQ(get(name + ".s.a"), std::string(1, value));
        EXPECT_EQ(get(name + ".s.a"), std::string(1, value)) << "from memory";
    }
    EXPECT_EQ(get(name + "n.s.a"), "code 14");
}

TEST_F(Cache, MorePackagesThanItHolds)
{
    QrnUci_Close();
    const long before = open_descriptors();
    put_config("often", text('o'));
    EXPECT_EQ(get("often.s.a"), "o");
    usleep(100'000);
    for (int round = 0; round < 3; ++round) {
        for (char package = 'a'; package <= 'z'; ++package) {
            put_config(std::string(1, package), text(package));
            ASSERT_EQ(get(std::string(1, package) + ".s.a"), std::string(1, package));
            const SystemCalls calls;
            ASSERT_EQ(get("often.s.a"), "o");
            EXPECT_EQ(calls.count("open64"), 0) << "the one that is asked for most stays";
        }
        EXPECT_EQ(open_descriptors(), before + 16) << "a file of each";
    }
    QrnUci_Close();
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(Cache, AChildGetsItUnlockedWhateverOtherThreadsDo)
{
    put_config("p", text('a'));
    std::atomic<bool> is_over = false;
    std::thread reader{[&] {
        while (!is_over) {
            (void)get("p.s.a");
        }
    }};
    for (int round = 0; round < 100; ++round) {
        const pid_t child = fork();
        if (child == 0) {
            alarm(20);
            _exit(get("p.s.a") == "a" ? 0 : 1);
        }
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    is_over = true;
    reader.join();
}

TEST_F(Cache, LargePackagesAreSearchedRight)
{
    std::string large;
    for (int section = 0; section < 60; ++section) {
        large += "config t" + std::to_string(section % 3) + " s" + std::to_string(section) + "\n";
        for (int option = 0; option < 20; ++option) {
            large +=
                "\toption o" + std::to_string(option) + " '" + std::to_string(section * 100 + option) + "'\n";
        }
    }
    put_config("p", large);
    for (int section = 0; section < 60; ++section) {
        const std::string number = std::to_string(section);
        EXPECT_EQ(get("p.s" + number + ".o7"), std::to_string(section * 100 + 7));
        const std::string by_type = "p.@t" + std::to_string(section % 3);
        EXPECT_EQ(get(by_type + "[" + std::to_string(section / 3) + "].o19"),
                  std::to_string(section * 100 + 19));
        EXPECT_EQ(get(by_type + "[" + std::to_string(section / 3 - 20) + "].o0"),
                  std::to_string(section * 100));
        EXPECT_EQ(get("p.@[" + number + "]"), "t" + std::to_string(section % 3));
    }
    EXPECT_EQ(get("p.@t0[20]"), "code 14");
    EXPECT_EQ(get("p.@t0[-21]"), "code 14");
    EXPECT_EQ(get("p.@t3[0]"), "code 14");
    EXPECT_EQ(get("p.s1.o20"), "code 14");
}

TEST_F(Cache, ADescriptorThatTheHostClosedIsNotClosedAgain)
{
    put_config("p", text('a'));
    EXPECT_EQ(get("p.s.a"), "a");
    for (int descriptor = 3; descriptor < 64; ++descriptor) {
        close(descriptor); // as a daemon does that knows nothing of libraries
    }
    std::array<int, 2> pipes{};
    ASSERT_EQ(pipe(pipes.data()), 0);
    put_config("p", text('b'));
    EXPECT_EQ(get("p.s.a"), "b");
    QrnUci_Close();
    EXPECT_NE(fcntl(pipes[0], F_GETFD), -1) << "the host's own descriptor";
    EXPECT_NE(fcntl(pipes[1], F_GETFD), -1);
}
