// SPDX-License-Identifier: Apache-2.0
#include "core/RunTool.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "base/FileDescriptor.h"
#include "base/Recording.h"
#include "base/ToolTime.h"
#include "core/Refusal.h"
#include "log/Log.h"

extern "C" char** environ;

namespace qsc
{

namespace
{

/// How a program starts: in a process group of its own, with no signal blocked or ignored, and with none of
/// the host's files.
class Start
{
  public:
    Start()
    {
        (void)posix_spawn_file_actions_init(&actions_);
        (void)posix_spawnattr_init(&attributes_);
        sigset_t signals;
        (void)sigemptyset(&signals);
        (void)posix_spawnattr_setsigmask(&attributes_, &signals);
        (void)sigfillset(&signals);
        (void)posix_spawnattr_setsigdefault(&attributes_, &signals);
        (void)posix_spawnattr_setpgroup(&attributes_, 0);
        (void)posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK |
                                                         POSIX_SPAWN_SETSIGDEF);
    }
    Start(const Start&) = delete;
    Start& operator=(const Start&) = delete;
    ~Start()
    {
        (void)posix_spawnattr_destroy(&attributes_);
        (void)posix_spawn_file_actions_destroy(&actions_);
    }

    /// Gives it a file, or nothing at all, as one of its standard streams.
    void use(const FileDescriptor& file, int as)
    {
        const int error = file.is_open()
                              ? posix_spawn_file_actions_adddup2(&actions_, file.get(), as)
                              : posix_spawn_file_actions_addopen(&actions_, as, "/dev/null", O_RDWR, 0);
        failed_ = failed_ || error != 0;
    }

    /// -1: it could not be started, and errno says why.
    [[nodiscard]] pid_t start(const char* const* arguments)
    {
        close_the_rest();
        pid_t process = -1;
        // The program gets the texts of its own; it does not write to ours.
        auto* const words =
            const_cast<char* const*>(arguments); // NOLINT(cppcoreguidelines-pro-type-const-cast)
        const int error =
            failed_ ? ENOMEM : posix_spawnp(&process, arguments[0], &actions_, &attributes_, words, environ);
        errno = error;
        return error == 0 ? process : -1;
    }

  private:
    /// Our own files close themselves; a host's may not.
    void close_the_rest()
    {
#if defined(__GLIBC__) && __GLIBC_PREREQ(2, 34)
        failed_ = failed_ || posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1) != 0;
#else
        constexpr int kUsual = 256;
        for (int descriptor = STDERR_FILENO + 1; descriptor < kUsual; ++descriptor) {
            failed_ = failed_ || posix_spawn_file_actions_addclose(&actions_, descriptor) != 0;
        }
#endif
    }

    posix_spawn_file_actions_t actions_;
    posix_spawnattr_t attributes_;
    bool failed_ = false;
};

i64 now_ms()
{
    timespec now{};
    (void)clock_gettime(CLOCK_MONOTONIC, &now);
    return i64{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

/// The time that is left, in milliseconds as poll() takes it; 0: none.
class Deadline
{
  public:
    explicit Deadline(u32 ms) : end_(ms == 0 ? INT64_MAX : now_ms() + ms) {}

    [[nodiscard]] int left() const
    {
        constexpr i64 kLongest = 60'000;
        const i64 left = end_ == INT64_MAX ? kLongest : end_ - now_ms();
        return static_cast<int>(left < 0 ? 0 : left < kLongest ? left : kLongest);
    }

  private:
    i64 end_;
};

enum class Outcome : u8 { kDone, kLate, kTooMuch, kNoMemory };

/// Keeps what a program will read where it needs nobody to feed it, nor to notice that it stopped reading.
FileDescriptor hold(std::string_view input)
{
    FileDescriptor memory{memfd_create("input", MFD_CLOEXEC)};
    const bool is_held =
        memory.is_open() && write_all(memory.get(), input) && lseek(memory.get(), 0, SEEK_SET) == 0;
    return is_held ? std::move(memory) : FileDescriptor{-1};
}

/// Reads what a program prints until all that it has started have closed that.
Outcome read_output(const Deadline& deadline, const FileDescriptor& output, FileText& text)
{
    while (const int left = deadline.left()) {
        pollfd readable{.fd = output.get(), .events = POLLIN, .revents = 0};
        if (poll(&readable, 1, left) <= 0) {
            continue;
        }
        char chunk[4096];
        const ssize_t count = read(output.get(), chunk, sizeof chunk);
        if (count == 0 || (count < 0 && errno != EINTR)) {
            return Outcome::kDone;
        }
        const std::size_t size = count > 0 ? static_cast<std::size_t>(count) : 0;
        if (text.view().size() + size > kToolOutput) {
            return Outcome::kTooMuch;
        }
        if (!text.append({chunk, size})) {
            return Outcome::kNoMemory;
        }
    }
    return Outcome::kLate;
}

/// A file that can be read once a process has ended; not open: older kernels have none.
FileDescriptor watch(pid_t process)
{
#ifdef SYS_pidfd_open
    const StdioReserve reserve;
    return FileDescriptor{static_cast<int>(syscall(SYS_pidfd_open, process, 0))};
#else
    return FileDescriptor{-1};
#endif
}

/// Waits for the end of a program; false: it did not end in time.
bool wait_for(pid_t process, const Deadline& deadline, int& status)
{
    const FileDescriptor end = watch(process);
    pollfd ended_file{.fd = end.get(), .events = POLLIN, .revents = 0};
    int pause = 1;
    for (;;) {
        const pid_t ended = waitpid(process, &status, WNOHANG);
        if (ended == process) {
            return true;
        }
        if (ended < 0 && errno != EINTR) {
            status = -1; // the host has taken the status, or ignores its children
            return true;
        }
        if (deadline.left() == 0) {
            return false;
        }
        (void)(end.is_open() ? poll(&ended_file, 1, deadline.left()) : poll(nullptr, 0, pause));
        pause = pause < 16 ? pause * 2 : pause;
    }
}

u32 fail(const ToolRun& run, const ToolTime& time, const char* module, const char* why)
{
    time.end(EFAULT, why);
    Qslog_Log(kLogError, module, __LINE__, run.arguments[0], "%s %s\n", run.arguments[0], why);
    return refuse(EFAULT, "%s %s", run.arguments[0], why);
}

} // namespace

u32 run_tool(const ToolRun& run, const char* module)
{
    if (u32 code = 0; t_recording != nullptr && t_recording->starts(*t_recording, run.arguments, code)) {
        return code;
    }
    int printed[2] = {-1, -1};
    pid_t process = -1;
    int error = 0;
    const ToolTime time{run.arguments[0]};
    {
        const StdioReserve reserve;
        const FileDescriptor nothing{-1};
        const bool is_fed = !run.input.empty() || run.standard_input >= 0;
        const FileDescriptor input = !run.input.empty() ? hold(run.input)
                                     : is_fed ? FileDescriptor{fcntl(run.standard_input, F_DUPFD_CLOEXEC, 3)}
                                              : FileDescriptor{-1};
        const bool is_ready =
            (!is_fed || input.is_open()) && (run.output == nullptr || pipe2(printed, O_CLOEXEC) == 0);
        const FileDescriptor their_output{printed[1]};
        if (is_ready) {
            Start start;
            start.use(input, STDIN_FILENO);
            start.use(their_output, STDOUT_FILENO);
            start.use(nothing, STDERR_FILENO);
            process = start.start(run.arguments);
            error = errno;
        }
    }
    const FileDescriptor output{printed[0]};
    if (process < 0) {
        if (error == ENOENT && run.is_optional) {
            return kNotInstalled;
        }
        if (error == ECANCELED) {
            time.end(ECANCELED);
        }
        return fail(run, time, module, error == ENOENT ? "is not installed" : "could not be started");
    }
    const Deadline deadline{run.deadline};
    const Outcome outcome =
        run.output != nullptr ? read_output(deadline, output, *run.output) : Outcome::kDone;
    int status = 0;
    if (outcome != Outcome::kDone || !wait_for(process, deadline, status)) {
        (void)kill(-process, SIGKILL);
        while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
        }
        return fail(run, time, module,
                    outcome == Outcome::kTooMuch    ? "printed too much"
                    : outcome == Outcome::kNoMemory ? "was ended for want of memory"
                                                    : "was ended because it took too long");
    }
    if (status == -1 || !WIFEXITED(status)) {
        return fail(run, time, module,
                    status == -1 ? "ended, but the host has its result" : "was ended by a signal");
    }
    const auto code = static_cast<u32>(WEXITSTATUS(status));
    time.end(code);
    return code;
}

} // namespace qsc
