// SPDX-License-Identifier: Apache-2.0
// The calls that start tools, as the library finds them at the dynamic linker in this program. They do what
// the C library's do; besides, a tool gets a process group of its own, the signals that a program expects,
// and a mark in its environment, and the daemon knows which request it runs for.
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <dlfcn.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include "base/FileDescriptor.h"
#include "tools/qscd/ToolTable.h"

using namespace qsc;
using namespace qscd;

namespace
{

using Spawn = int (*)(pid_t*, const char*, const posix_spawn_file_actions_t*, const posix_spawnattr_t*,
                      char* const*, char* const*);

/// The C library's own call of a name.
Spawn real_spawn(const char* name)
{
    return reinterpret_cast<Spawn>(dlsym(RTLD_NEXT, name));
}

/// An environment with the mark of the calling thread's request.
class MarkedEnvironment
{
  public:
    explicit MarkedEnvironment(char* const* environment) : mark_(current_run())
    {
        std::size_t count = 0;
        while (environment != nullptr && environment[count] != nullptr) {
            ++count;
        }
        entries_ = static_cast<char**>(std::malloc((count + 2) * sizeof(char*)));
        if (entries_ != nullptr) {
            entries_[0] = mark_.text();
            if (count != 0) {
                std::memcpy(entries_ + 1, environment, count * sizeof(char*));
            }
            entries_[count + 1] = nullptr;
        }
    }
    MarkedEnvironment(const MarkedEnvironment&) = delete;
    MarkedEnvironment& operator=(const MarkedEnvironment&) = delete;
    ~MarkedEnvironment() { std::free(entries_); }

    /// Null: no memory.
    [[nodiscard]] char* const* entries() const { return entries_; }

  private:
    MarkText mark_;
    char** entries_;
};

int spawn(const char* function, pid_t* pid, const char* file, const posix_spawn_file_actions_t* actions,
          const posix_spawnattr_t* attributes, char* const* arguments, char* const* environment)
{
    if (!may_start(file)) {
        return errno;
    }
    const Spawn real = real_spawn(function);
    const MarkedEnvironment marked{environment};
    if (real == nullptr || marked.entries() == nullptr) {
        return real == nullptr ? ENOSYS : ENOMEM;
    }
    pid_t process = -1;
    const int code = real(&process, file, actions, attributes, arguments, marked.entries());
    if (code == 0) {
        end_if_late(process);
        if (pid != nullptr) {
            *pid = process;
        }
    }
    return code;
}

/// Starts the shell on a command, with one of its standard streams on a descriptor; -1: with ours.
pid_t start_shell(const char* command, int descriptor, int becomes)
{
    const Spawn real = real_spawn("posix_spawn");
    const MarkedEnvironment marked{environ};
    if (real == nullptr || marked.entries() == nullptr) {
        errno = ENOMEM;
        return -1;
    }
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    (void)posix_spawn_file_actions_init(&actions);
    (void)posix_spawnattr_init(&attributes);
    if (descriptor >= 0) {
        (void)posix_spawn_file_actions_adddup2(&actions, descriptor, becomes);
    }
    sigset_t signals;
    (void)sigfillset(&signals);
    (void)posix_spawnattr_setsigdefault(&attributes, &signals);
    (void)sigemptyset(&signals);
    (void)posix_spawnattr_setsigmask(&attributes, &signals);
    (void)posix_spawnattr_setpgroup(&attributes, 0);
    (void)posix_spawnattr_setflags(&attributes,
                                   POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);
    char shell[] = "sh";
    char option[] = "-c";
    char* const arguments[] = {shell, option, const_cast<char*>(command), nullptr};
    pid_t pid = -1;
    const int code = real(&pid, "/bin/sh", &actions, &attributes, arguments, marked.entries());
    (void)posix_spawnattr_destroy(&attributes);
    (void)posix_spawn_file_actions_destroy(&actions);
    errno = code;
    return code == 0 ? pid : -1;
}

int wait_for(pid_t pid)
{
    int status = 0;
    pid_t waited = 0;
    do {
        waited = waitpid(pid, &status, 0);
    } while (waited < 0 && errno == EINTR);
    return waited == pid ? status : -1;
}

} // namespace

#define QSC_TOOL_CALL extern "C" [[gnu::visibility("default")]]

QSC_TOOL_CALL std::FILE* popen(const char* command, const char* mode)
{
    const bool is_read = mode[0] == 'r';
    int ends[2];
    if (!may_start(command) || pipe2(ends, O_CLOEXEC) != 0) {
        return nullptr;
    }
    FileDescriptor ours{ends[is_read ? 0 : 1]};
    const FileDescriptor theirs{ends[is_read ? 1 : 0]};
    std::FILE* const stream = fdopen(ours.get(), is_read ? "r" : "w");
    if (stream == nullptr) {
        return nullptr;
    }
    ours.forget();
    const pid_t pid = start_shell(command, theirs.get(), is_read ? STDOUT_FILENO : STDIN_FILENO);
    if (pid < 0) {
        (void)std::fclose(stream);
        return nullptr;
    }
    note_tool(pid, stream);
    return stream;
}

QSC_TOOL_CALL int pclose(std::FILE* stream)
{
    const pid_t pid = forget_stream(stream);
    (void)std::fclose(stream);
    if (pid < 0) {
        errno = ECHILD;
        return -1;
    }
    return wait_for(pid);
}

QSC_TOOL_CALL int system(const char* command)
{
    if (command == nullptr) {
        return 1;
    }
    const pid_t pid = may_start(command) ? start_shell(command, -1, -1) : -1;
    if (pid < 0) {
        return -1;
    }
    note_tool(pid, nullptr);
    siginfo_t info{};
    while (waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT) != 0 && errno == EINTR) {
    }
    forget_tool(pid);
    return wait_for(pid);
}

QSC_TOOL_CALL int posix_spawn(pid_t* pid, const char* path, const posix_spawn_file_actions_t* actions,
                              const posix_spawnattr_t* attributes, char* const* arguments,
                              char* const* environment)
{
    return spawn("posix_spawn", pid, path, actions, attributes, arguments, environment);
}

QSC_TOOL_CALL int posix_spawnp(pid_t* pid, const char* file, const posix_spawn_file_actions_t* actions,
                               const posix_spawnattr_t* attributes, char* const* arguments,
                               char* const* environment)
{
    return spawn("posix_spawnp", pid, file, actions, attributes, arguments, environment);
}

/// What an attempt logs after it was refused a tool is no failure.
QSC_TOOL_CALL void syslog(int priority, const char* format, ...)
{
    const ToolRun* const run = current_run();
    if (run != nullptr && !run->may_start && run->was_refused) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    vsyslog(priority, format, arguments);
    va_end(arguments);
}
