// SPDX-License-Identifier: Apache-2.0
// Signals end the daemon, or have it reopen its log; no other one kills it. They are caught rather than
// ignored or blocked, so that the tools it starts have theirs as programs expect them.
#pragma once

namespace qscd
{

/// From now on, signals make the descriptor readable.
void catch_signals(int wake_fd);

/// Whether SIGTERM or SIGINT has come.
[[nodiscard]] bool is_end_wanted();

/// Whether SIGHUP has come since the last call.
[[nodiscard]] bool take_reopen();

} // namespace qscd
