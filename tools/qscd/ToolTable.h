// SPDX-License-Identifier: Apache-2.0
// Which processes were started for which request, and which stream reads from which.
#pragma once

#include <cstdio>
#include <string_view>

#include <sys/types.h>

#include "tools/qscd/Tools.h"

namespace qscd
{

/// What children are marked with in their environment: where parents have died, it shows whose they are.
inline constexpr std::string_view kMark = "QSC_REQUEST=";

/// The mark of a run, for an environment.
class MarkText
{
  public:
    explicit MarkText(const ToolRun* run);
    [[nodiscard]] char* text() { return text_; }
    [[nodiscard]] const char* text() const { return text_; }

  private:
    char text_[64];
};

/// Whether the calling thread may start a tool now; false: errno is EAGAIN.
[[nodiscard]] bool may_start(std::string_view command);

/// Notes a process of the calling thread's run. One that came too late is ended at once.
void note_tool(pid_t pid, std::FILE* stream);

/// Ends a process of the calling thread's run that has started although the run is over.
void end_if_late(pid_t pid);

/// Forgets the process that a stream belongs to, before it is waited for. @return it; -1: none
[[nodiscard]] pid_t forget_stream(std::FILE* stream);
void forget_tool(pid_t pid);

} // namespace qscd
