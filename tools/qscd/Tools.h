// SPDX-License-Identifier: Apache-2.0
// The tools that requests start. The library runs them with popen(), system() and posix_spawn(), which it
// finds at the dynamic linker; the daemon puts its own in their place (ToolCalls.cpp). So it knows which
// request started what, gives each tool a process group and clean signals, and can end all of them at a
// deadline.
#pragma once

#include <atomic>
#include <span>

#include "base/Types.h"

namespace qscd
{

using qsc::u32;
using qsc::u64;

/// What one request does with tools.
struct ToolRun {
    bool may_start = true; ///< false: none is started, and `was_refused` is set
    bool was_refused = false;
    std::atomic<bool> is_over{false}; ///< ended: it starts none any more
    u64 number = 0;                   ///< unique while the daemon runs
    char tool[64] = "";               ///< the program that was started last
};

/// The program that a run has started last; empty: none.
void copy_tool(ToolRun& run, char (&tool)[64]);

/// Makes a run the calling thread's for as long as it lives.
class ToolScope
{
  public:
    explicit ToolScope(ToolRun& run);
    ToolScope(const ToolScope&) = delete;
    ToolScope& operator=(const ToolScope&) = delete;
    ~ToolScope();
};

/// The run of the calling thread; null: it serves no request.
[[nodiscard]] ToolRun* current_run();

/// Kills every process that these runs have started and that still runs, with its group and its descendants,
/// also those that have left the group. They start none any more. Any thread.
void end_tools(std::span<ToolRun* const> runs);

} // namespace qscd
