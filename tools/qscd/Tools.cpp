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
            mark = static_cast<u64>(getpid()) << 32; // still told apart from other processes
        }
    }
    return mark;
}

/// The processes that belong to a run.
class Victims
{
  public:
    explicit Victims(const ToolRun& run) : mark_(&run) {}

    void add(pid_t pid)
    {
        if (count_ < pids_.size() && !has(pid)) {
            pids_[count_++] = pid;
            (void)kill(pid, SIGKILL);
        }
    }

    [[nodiscard]] u32 count() const { return static_cast<u32>(count_); }

    /// Looks at every process once; true: another one was found.
    bool search()
    {
        const std::size_t before = count_;
        DIR* const folder = opendir("/proc");
        if (folder == nullptr) {
            return false;
        }
        while (const dirent* const entry = readdir(folder)) {
            pid_t pid = 0;
            if (parse_whole(std::string_view{entry->d_name}, pid) && pid != getpid() && !has(pid) &&
                (has_kin(pid) || is_marked(pid))) {
                add(pid);
            }
        }
        (void)closedir(folder);
        return count_ != before;
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

    /// Whether its parent or the leader of its group is one of them.
    bool has_kin(pid_t pid)
    {
        const std::string_view stat = read_part(pid, "stat", text_.data(), 512);
        const std::size_t name_end = stat.rfind(')'); // a name may hold anything
        int parent = 0;
        int group = 0;
        return name_end != std::string_view::npos && stat.size() < 512 &&
               (text_[stat.size()] = '\0',
                // NOLINTNEXTLINE(cert-err34-c): the kernel writes numbers there
                std::sscanf(stat.data() + name_end + 1, " %*c %d %d", &parent, &group) == 2) &&
               (has(parent) || has(group));
    }

    bool is_marked(pid_t pid)
    {
        return read_part(pid, "environ", text_.data(), text_.size()).find(mark_.text()) !=
               std::string_view::npos;
    }

    MarkText mark_;
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
        errno = EAGAIN;
        return false;
    }
    // The program alone: what follows may hold somebody's password.
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
        (void)kill(-pid, SIGKILL);
        (void)kill(pid, SIGKILL);
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

u32 end_tools(ToolRun& run, char (&tool)[64])
{
    Victims victims{run};
    {
        // While the table is held, nobody has waited for one of these yet: their numbers are theirs.
        const Locked locked{g_mutex};
        run.is_over = true;
        std::memcpy(tool, run.tool, sizeof tool);
        for (const Tool& each : g_tools) {
            if (each.pid != 0 && each.run == &run) {
                (void)kill(-each.pid, SIGKILL);
                victims.add(each.pid);
            }
        }
    }
    // What starts others while it dies is found when one looks again.
    for (u32 round = 0; round < 8 && victims.search(); ++round) {
    }
    return victims.count();
}

} // namespace qscd
