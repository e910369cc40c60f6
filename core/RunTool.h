// SPDX-License-Identifier: Apache-2.0
// Running a program with an argument vector: no shell, a deadline, bounded output.
#pragma once

#include <cstddef>
#include <string_view>

#include "base/SafeFile.h"
#include "base/Types.h"

namespace qsc
{

inline constexpr std::size_t kToolOutput = std::size_t{256} * 1024;

/// No program ends with this code.
inline constexpr u32 kNotInstalled = 256;

struct ToolRun {
    const char* const* arguments; ///< the program first, null last
    u32 deadline = 5000;          ///< milliseconds; 0: none
    std::string_view input{};     ///< what it reads from its standard input
    int standard_input = -1;      ///< a file that it gets as its standard input, without an input
    FileText* output = nullptr;   ///< gets what it prints, up to kToolOutput bytes; null: that is thrown away
    bool is_optional = false;     ///< not being installed is no error, is not logged, and gives kNotInstalled
};

/// Runs a program in a process group of its own and waits for it; where its output is wanted, also for all
/// that it leaves behind with that open. At its deadline the whole group is ended.
/// @return its exit code; EFAULT: it could not be run, was ended, or a signal ended it; refuse() says which,
/// and one line is logged in the module's name
u32 run_tool(const ToolRun& run, const char* module);

} // namespace qsc
