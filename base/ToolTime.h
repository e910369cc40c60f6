// SPDX-License-Identifier: Apache-2.0
// How long programs run, for whoever counts that.
#pragma once

#include <atomic>
#include <string_view>

#include "base/Types.h"

namespace qsc
{

/// CLOCK_MONOTONIC in nanoseconds.
[[nodiscard]] u64 monotonic_ns();

/// One run of a program that has ended.
struct EndedTool {
    std::string_view program; ///< without its arguments
    u64 took_ns;
    u32 code;        ///< 0: it succeeded
    const char* why; ///< a constant that says why it failed; null: the code does
};

/// Is told of each program that has ended; null: nobody counts.
using CountTool = void (*)(const EndedTool& tool);
extern std::atomic<CountTool> g_count_tool;

/// Measures one run of a program.
class ToolTime
{
  public:
    constexpr ToolTime() = default;

    /// `command`: the program, or a command line that begins with it; it must live until end().
    explicit ToolTime(std::string_view command)
        : command_(command),
          begun_ns_(g_count_tool.load(std::memory_order_relaxed) != nullptr ? monotonic_ns() : 0)
    {
    }

    /// Has the program's name in a buffer of the caller's from now on, for a command that does not live.
    template <std::size_t Size>
    void keep_name(char (&buffer)[Size])
    {
        if (begun_ns_ != 0) {
            command_ = {buffer, command_.copy(buffer, Size)};
        }
    }

    /// It has ended. Keeps errno.
    void end(u32 code, const char* why = nullptr) const
    {
        if (begun_ns_ != 0) {
            tell(code, why);
        }
    }

  private:
    void tell(u32 code, const char* why) const;

    std::string_view command_;
    u64 begun_ns_ = 0; ///< 0: nobody counts
};

} // namespace qsc
