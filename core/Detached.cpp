// SPDX-License-Identifier: Apache-2.0
#include "core/Detached.h"

#include <array>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "base/Parse.h"
#include "base/Recording.h"
#include "base/Text.h"
#include "core/RowSource.h"
#include "core/RunTool.h"
#include "log/Log.h"

namespace qsc
{

namespace
{

/// What is locked comes as standard input and is handed to the program as its own; who only waits for its
/// deadline does not keep it. $1 is the lock's path, $2 the delay, $3 the deadline, and the rest the program.
constexpr const char* kScript = "exec 3<&0\n"
                                "(\n"
                                "    lock=$1 delay=$2 deadline=$3; shift 3\n"
                                "    sleep \"$delay\"\n"
                                "    [ \"$deadline\" -gt 0 ] || exec \"$@\"\n"
                                "    (sleep \"$deadline\"; echo late >\"$lock\"; kill -KILL 0) </dev/null &\n"
                                "    \"$@\"; kill $!\n"
                                ") <&3 3<&- >/dev/null 2>&1 &\n"
                                "echo $$\n";

constexpr std::size_t kMostArguments = 6;
constexpr int kPause_ms = 10;

} // namespace

DetachedLock::DetachedLock(const char* path)
    : path_(path), file_(is_planning() ? FileDescriptor{-1}
                                       : open_file(path, O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK, 0600)),
      is_held_(is_planning())
{
    struct stat status {
    };
    if (!file_.is_open() || fstat(file_.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
        status.st_uid != geteuid() || (status.st_mode & 0077) != 0) {
        file_.replace(FileDescriptor{-1});
        return;
    }
    // Who only looks has it for a moment.
    constexpr int kTries = 5;
    for (int i = 0; i < kTries && !try_lock(); ++i) {
        (void)poll(nullptr, 0, kPause_ms);
    }
}

bool DetachedLock::try_lock()
{
    // The number of a group is in the file only as long as that has the lock, so no one else has it.
    is_held_ = flock(file_.get(), LOCK_EX | LOCK_NB) == 0 && ftruncate(file_.get(), 0) == 0;
    return is_held_;
}

u32 DetachedLock::start(const DetachedRun& run, const char* module)
{
    if (u32 code = 0; t_recording != nullptr && t_recording->starts(*t_recording, run.arguments, code)) {
        return code;
    }
    const RecordingScope as_it_is{nullptr};
    Text<14> delay;
    Text<14> deadline;
    delay.append_number(run.delay);
    deadline.append_number(run.deadline);
    std::array<const char*, 7 + kMostArguments + 1> arguments{"sh",  "-c",          kScript,         "sh",
                                                              path_, delay.c_str(), deadline.c_str()};
    for (std::size_t i = 0; i < kMostArguments && run.arguments[i] != nullptr; ++i) {
        // cppcheck-suppress containerOutOfBounds ; the array is longer than its initializers
        arguments[7 + i] = run.arguments[i];
    }
    FileText group;
    const u32 code =
        run_tool({.arguments = arguments.data(), .standard_input = file_.get(), .output = &group}, module);
    const std::string_view text = group.view();
    if (code == 0 && run.may_be_ended && pwrite(file_.get(), text.data(), text.size(), 0) < 0) {
        Qslog_Log(kLogWarning, module, __LINE__, run.arguments[0], "%s cannot be ended\n", run.arguments[0]);
    }
    return code == 0 ? 0 : u32{EFAULT};
}

bool DetachedLock::take_over()
{
    constexpr int kTries = 200;
    for (int i = 0; !is_held_ && file_.is_open() && i < kTries; ++i) {
        char text[16];
        pid_t group = 0;
        const ssize_t size = pread(file_.get(), text, sizeof text, 0);
        if (!parse_whole(first_line({text, size > 0 ? static_cast<std::size_t>(size) : 0}), group) ||
            group <= 1) {
            return try_lock();
        }
        (void)kill(-group, SIGKILL);
        (void)poll(nullptr, 0, kPause_ms);
        (void)try_lock();
    }
    return is_held_;
}

DetachedState look_at_lock(const char* path)
{
    const FileDescriptor file = open_file(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
    char word[4];
    if (!file.is_open()) {
        return DetachedState::kNever;
    }
    if (flock(file.get(), LOCK_SH | LOCK_NB) != 0) {
        return DetachedState::kRuns;
    }
    return pread(file.get(), word, sizeof word, 0) == sizeof word && std::string_view{word, 4} == "late"
               ? DetachedState::kLate
               : DetachedState::kEnded;
}

} // namespace qsc
