// SPDX-License-Identifier: Apache-2.0
// The command line: options, and the words that remain.
#pragma once

#include <array>
#include <span>

#include "base/Types.h"
#include "include/qsc_types.h"

namespace qsc
{

/// What the program ends with.
enum ExitCode : int { kDone = 0, kFailed = 1, kUsage = 2 };

struct Options {
    u32 commander = QSC_COMMANDER_CLI;
    bool by_queue = false; ///< requests go through the service daemon's queue
    u32 queue = 0;
    const char* socket = nullptr; ///< of the service daemon that requests go through; null: they do not
    u32 count = 0;                ///< of events, after which a watch ends; 0: it does not
    const char* hash = nullptr;   ///< of the plan that an apply is to be
    const char* id = nullptr;     ///< of an apply
    u32 confirm = 0;              ///< seconds in which it has to be confirmed; 0: it has not
    std::array<const char*, 8> checks{}; ///< that the device makes of it
    u32 check_count = 0;
    u32 retries = 0; ///< of the checks
    bool as_json = false;
    bool apply = false;
    bool quiet = false;
    bool verbose = false;
    bool help = false;
    // NOLINTNEXTLINE(readability-redundant-member-init): so that options can be made by name
    std::span<const char* const> words{}; ///< the command and its arguments
};

/// Reads the command line; false: it is wrong, which has been said.
[[nodiscard]] bool parse_options(int count, char** arguments, Options& options);

} // namespace qsc
