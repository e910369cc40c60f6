// SPDX-License-Identifier: Apache-2.0
#include "tools/qscd/Tools.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include "base/FileDescriptor.h"
#include "base/Parse.h"
#include "tools/qscd/Mutex.h"
#include "tools/qscd/ToolTable.h"

using namespace qsc;

namespace qscd
{

namespace
{

struct Tool {
    pid_t pid = 0; ///< 0: free
    std::FILE* stream = nullptr;
    ToolRun* run = nullptr;
};

constexpr std::size_t kMostTools = 256;
constexpr std::size_t kMostProcesses = 512;

constinit pthread_mutex_t g_mutex = PTHREAD_MUTEX_INITIALIZER;
constinit std::array<Tool, kMostTools> g_tools{};
constinit thread_local ToolRun* t_run = nullptr;

/// Tells marks of this daemon from those of one that had its process number before.
u64 mark_of_daemon()
{
    static constinit u64 mark = 0;
    if (mark == 0) {
        if (getentropy(&mark, sizeof mark) != 0) {
            mark = static_cast<u64>(getpid()) << 32; // still different from other processes
        }
    }
    return mark;
}

void kill_group(pid_t leader)
{
    (void)kill(-leader, SIGKILL);
    (void)kill(leader, SIGKILL);
}

/// The processes that belong to runs.
class Victims
{
  public:
    explicit Victims(std::span<ToolRun* const> runs) : runs_(runs) {}

    void add(pid_t pid)
    {
        if (count_ < pids_.size() && !has(pid)) {
            pids_[count_++] = pid;
            (void)kill(pid, SIGKILL);
        }
    }

    /// Looks at every process once; true: there may be more, so look again.
    bool search()
    {
        const std::size_t before = count_;
        is_unsure_ = false;
        DIR* const folder = opendir("/proc");
        if (folder == nullptr) {
            return false;
        }
        while (const dirent* const entry = readdir(folder)) {
            pid_t pid = 0;
            if (parse_whole(std::string_view{entry->d_name}, pid) && pid != getpid() && !has(pid) &&
                belongs(pid)) {
                add(pid);
            }
        }
        (void)closedir(folder);
        return count_ != before || is_unsure_;
    }

  private:
    [[nodiscard]] bool has(pid_t pid) const
    {
        const auto end = pids_.begin() + static_cast<std::ptrdiff_t>(count_);
        return std::find(pids_.begin(), end, pid) != end;
    }

    /// Reads a file of a process; the text's end is where it was cut.
    static std::string_view read_part(pid_t pid, const char* name, char* text, std::size_t size)
    {
        char path[64];
        (void)std::snprintf(path, sizeof path, "/proc/%d/%s", static_cast<int>(pid), name);
        const FileDescriptor file{open(path, O_RDONLY | O_CLOEXEC)};
        std::size_t length = 0;
        ssize_t count = 0;
        while (file.is_open() && length < size &&
               (count = read(file.get(), text + length, size - length)) > 0) {
            length += static_cast<std::size_t>(count);
        }
        return {text, length};
    }

    /// Whether its parent or the leader of its group is one of them, or it bears the mark of a run.
    bool belongs(pid_t pid)
    {
        constexpr unsigned kKernelThread = 0x0020'0000;
        const std::string_view stat = read_part(pid, "stat", text_.data(), 512);
        const std::size_t name_end = stat.rfind(')'); // a name may hold anything
        char state = 0;
        int parent = 0;
        int group = 0;
        unsigned flags = 0;
        text_[stat.size()] = '\0';
        if (name_end == std::string_view::npos ||
            // NOLINTNEXTLINE(cert-err34-c): the kernel writes numbers there
            std::sscanf(stat.data() + name_end + 1, " %c %d %d %*d %*d %*d %u", &state, &parent, &group,
                        &flags) != 4 ||
            (flags & kKernelThread) != 0 || state == 'Z' || state == 'X') {
            return false;
        }
        if (has(parent) || has(group)) {
            return true;
        }
        const std::string_view environment = read_part(pid, "environ", text_.data(), text_.size());
        // Between two programs a process has none: what it is about to run may be ours.
        is_unsure_ = is_unsure_ || (environment.empty() && may_read(pid));
        return std::ranges::any_of(runs_, [&](const ToolRun* run) {
            return environment.find(MarkText{run}.text()) != std::string_view::npos;
        });
    }

    /// Whether a process is one whose environment we may read.
    static bool may_read(pid_t pid)
    {
        char path[64];
        (void)std::snprintf(path, sizeof path, "/proc/%d/environ", static_cast<int>(pid));
        return FileDescriptor{open(path, O_RDONLY | O_CLOEXEC)}.is_open();
    }

    std::span<ToolRun* const> runs_;
    bool is_unsure_ = false;
    std::array<pid_t, kMostProcesses> pids_{};
    std::size_t count_ = 0;
    std::array<char, std::size_t{16} * 1024> text_;
};

} // namespace

ToolScope::ToolScope(ToolRun& run)
{
    t_run = &run;
}

ToolScope::~ToolScope()
{
    t_run = nullptr;
}

ToolRun* current_run()
{
    return t_run;
}

void copy_tool(ToolRun& run, char (&tool)[64])
{
    const Locked locked{g_mutex};
    std::memcpy(tool, run.tool, sizeof tool);
}

MarkText::MarkText(const ToolRun* run)
{
    (void)std::snprintf(text_, sizeof text_, "%s%016llx.%llu.", kMark.data(),
                        static_cast<unsigned long long>(mark_of_daemon()),
                        static_cast<unsigned long long>(run != nullptr ? run->number : 0));
}

bool may_start(std::string_view command)
{
    ToolRun* const run = t_run;
    if (run == nullptr) {
        return true;
    }
    const Locked locked{g_mutex};
    if (!run->may_start || run->is_over) {
        run->was_refused = true;
        errno = run->is_over ? EAGAIN : ECANCELED; // put off, which the library does not count
        return false;
    }
    // The program alone: its arguments may hold a password.
    const std::size_t length =
        std::min({command.find_first_of(" \t;|&<>"), command.size(), sizeof run->tool - 1});
    command.copy(run->tool, length);
    run->tool[length] = '\0';
    return true;
}

void note_tool(pid_t pid, std::FILE* stream)
{
    const Locked locked{g_mutex};
    Tool* const free = std::ranges::find(g_tools, 0, &Tool::pid);
    if (free != g_tools.end()) {
        *free = {pid, stream, t_run};
    }
    if (free == g_tools.end() || (t_run != nullptr && t_run->is_over)) {
        kill_group(pid);
    }
}

void end_if_late(pid_t pid)
{
    if (t_run != nullptr && t_run->is_over) {
        kill_group(pid);
    }
}

pid_t forget_stream(std::FILE* stream)
{
    const Locked locked{g_mutex};
    Tool* const tool = std::ranges::find(g_tools, stream, &Tool::stream);
    return tool != g_tools.end() && stream != nullptr ? std::exchange(*tool, Tool{}).pid : -1;
}

void forget_tool(pid_t pid)
{
    const Locked locked{g_mutex};
    if (Tool* const tool = std::ranges::find(g_tools, pid, &Tool::pid); tool != g_tools.end()) {
        *tool = {};
    }
}

void end_tools(std::span<ToolRun* const> runs)
{
    Victims victims{runs};
    {
        // While the table is locked, no one has waited for one of these yet: their numbers are theirs.
        const Locked locked{g_mutex};
        for (ToolRun* const run : runs) {
            run->is_over = true;
        }
        for (const Tool& each : g_tools) {
            if (each.pid != 0 && std::ranges::find(runs, each.run) != runs.end()) {
                kill_group(each.pid);
                victims.add(each.pid);
            }
        }
    }
    // What starts others while it dies is found when one looks again.
    constexpr u32 kMostRounds = 8;
    constexpr useconds_t kPause = 1'000;
    for (u32 round = 0; round < kMostRounds && victims.search(); ++round) {
        (void)usleep(kPause);
    }
}

} // namespace qscd
