// SPDX-License-Identifier: Apache-2.0
// The command line of the daemon.
#pragma once

#include "base/Types.h"
#include "tools/access/Access.h"
#include "tools/qscd/Workers.h"

namespace qscd
{

inline constexpr const char* kDefaultSocket = "/var/run/qscd.sock";

struct Options {
    const char* socket = kDefaultSocket;
    int descriptor = -1; ///< an inherited socket, in the place of `socket`
    const char* access_file = qsc::access::kDefaultFile;
    const char* ubus = "";          ///< its socket; empty: its own default; "-": none
    const char* log_file = nullptr; ///< null: standard error
    Deadlines deadlines;
    bool has_queue = false;
    u32 key = 0;
    const char* folder = "/var/run"; ///< where the queue's lock is
    u32 mode = 0600;
    u32 watchdog_seconds = 60;
    u32 patience_seconds = 30; ///< how long an answer may wait to be taken
    bool has_journal = true;   ///< sets are recorded in it
    bool is_verbose = false;
    bool is_restore = false; ///< only takes back what nobody has confirmed
    bool is_help = false;
};

/// Reads the command line; false: it is wrong, which has been said.
[[nodiscard]] bool parse_options(int count, char** arguments, Options& options);

void print_help();

} // namespace qscd
