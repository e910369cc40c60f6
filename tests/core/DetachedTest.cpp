// SPDX-License-Identifier: Apache-2.0
// Programs that go on without the library: real ones, which hold their lock for as long as they run.
#include "core/Detached.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "core/RowsTest.h"

using namespace test;
using qsc::DetachedLock;
using qsc::DetachedState;

namespace
{

constexpr const char* kLock = "/tmp/lock";
/// Runs until somebody writes to the pipe.
constexpr const char* kWaits[] = {"sh", "-c", "read line </tmp/pipe; echo $line >/tmp/ran", nullptr};

class Detached : public RowsTest
{
  protected:
    void SetUp() override
    {
        RowsTest::SetUp();
        ASSERT_EQ(mkfifo("/tmp/pipe", 0600), 0);
    }

    static uint32_t start(const qsc::DetachedRun& run)
    {
        DetachedLock lock{kLock};
        EXPECT_TRUE(lock.is_held());
        return lock.start(run, "Module");
    }

    /// Waits until the lock is free.
    static DetachedState state_at_the_end()
    {
        const int file = open(kLock, O_RDONLY);
        EXPECT_EQ(flock(file, LOCK_SH), 0);
        close(file);
        return qsc::look_at_lock(kLock);
    }
};

} // namespace

TEST_F(Detached, AProgramHoldsItsLockForAsLongAsItRuns)
{
    EXPECT_EQ(qsc::look_at_lock(kLock), DetachedState::kNever);
    for (const bool may_be_ended : {false, true}) {
        EXPECT_EQ(start({.arguments = kWaits, .may_be_ended = may_be_ended}), 0u);
        EXPECT_EQ(qsc::look_at_lock(kLock), DetachedState::kRuns);
        EXPECT_FALSE(DetachedLock{kLock}.is_held());
        EXPECT_EQ(read_file(kLock).empty(), !may_be_ended);
        if (!may_be_ended) {
            EXPECT_FALSE(DetachedLock{kLock}.take_over());
        }
        write_file("/tmp/pipe", "it has\n");
        EXPECT_EQ(state_at_the_end(), DetachedState::kEnded);
        EXPECT_EQ(read_file("/tmp/ran"), "it has\n");
    }
    struct stat status = {};
    ASSERT_EQ(stat(kLock, &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
    EXPECT_EQ(outside().logs, std::vector<LogLine>{});
}

TEST_F(Detached, OneThatMayBeEndedIsEndedWithItsWholeGroup)
{
    EXPECT_EQ(start({.arguments = kWaits, .deadline = 30, .may_be_ended = true}), 0u);
    {
        DetachedLock lock{kLock};
        EXPECT_TRUE(lock.take_over());
        EXPECT_TRUE(lock.is_held());
        EXPECT_EQ(read_file(kLock), "");
    }
    EXPECT_EQ(qsc::look_at_lock(kLock), DetachedState::kEnded);
    EXPECT_FALSE(std::filesystem::exists("/tmp/ran"));
}

TEST_F(Detached, ADeadlineEndsItAndIsSeenToHaveDone)
{
    EXPECT_EQ(start({.arguments = kWaits, .deadline = 1}), 0u);
    EXPECT_EQ(state_at_the_end(), DetachedState::kLate);
    EXPECT_FALSE(std::filesystem::exists("/tmp/ran"));
    // One that ends before is not late, and the next begins anew.
    const char* const at_once[] = {"sh", "-c", "echo $0 $* >/tmp/ran", "1", "2", "3", nullptr};
    EXPECT_EQ(start({.arguments = at_once, .deadline = 30}), 0u);
    EXPECT_EQ(state_at_the_end(), DetachedState::kEnded);
    EXPECT_EQ(read_file("/tmp/ran"), "1 2 3\n");
}

TEST_F(Detached, WhatIsNoLockOfOursIsNone)
{
    const auto make_link = [] { std::filesystem::create_symlink("/tmp/elsewhere", kLock); };
    const std::pair<const char*, std::function<void()>> cases[] = {
        {"readable by others", [] { write_file(kLock, ""), chmod(kLock, 0604); }},
        {"writable by a group", [] { write_file(kLock, ""), chmod(kLock, 0620); }},
        {"a link", make_link},
        {"a pipe", [] { mkfifo(kLock, 0600); }},
        {"a folder", [] { mkdir(kLock, 0700); }},
    };
    for (const auto& [what, make] : cases) {
        SCOPED_TRACE(what);
        make();
        DetachedLock lock{kLock};
        EXPECT_FALSE(lock.is_held());
        EXPECT_FALSE(lock.take_over());
        std::filesystem::remove(kLock);
    }
    EXPECT_FALSE(std::filesystem::exists("/tmp/elsewhere"));
    // Numbers that are none of a group end no process.
    write_file(kLock, "");
    chmod(kLock, 0600);
    const int holder = open(kLock, O_RDONLY);
    ASSERT_EQ(flock(holder, LOCK_EX), 0);
    for (const char* text : {"1", "0", "-1", "x", "", "99999999999999999999"}) {
        write_file(kLock, text);
        EXPECT_FALSE(DetachedLock{kLock}.take_over()) << text;
    }
    close(holder);
    write_file(kLock, "late");
    EXPECT_EQ(qsc::look_at_lock(kLock), DetachedState::kLate);
    write_file(kLock, "lat");
    EXPECT_EQ(qsc::look_at_lock(kLock), DetachedState::kEnded);
}
