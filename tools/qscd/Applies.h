// SPDX-License-Identifier: Apache-2.0
// The methods of changes that are planned, made as one, and confirmed or taken back; and what the daemon does
// by itself for a change that waits.
#pragma once

#include "tools/qscd/Methods.h"

namespace qscd
{

/// What the daemon does by itself, as calls without a client.
enum class Errand {
    kResume,   ///< it has started: what was interrupted is finished, what waits is looked after
    kTimeOut,  ///< the time of a change may be over
    kCheck,    ///< the checks of a change are run
    kPassed,   ///< they are passed
    kRejected, ///< one is not
};

/// A call for an errand; null: there is no memory. `what` is what the errand is about, such as the check that
/// has failed.
[[nodiscard]] Call* new_errand(Errand errand, std::string_view what);

/// Whether a call is an errand, or a certain one; what it is about; and of checks that were run the one that
/// is not passed.
[[nodiscard]] bool is_errand(const Call& call);
[[nodiscard]] bool is_errand(const Call& call, Errand errand);
[[nodiscard]] std::string_view subject_of(const Call& call);
[[nodiscard]] std::string_view failed_check(const Call& call);

/// Whether the state of a change that waits may be another one after a call.
[[nodiscard]] bool may_move_window(const Call& call);

/// Writes the early answer of a call.
void tell_accepted(const Call& call, Answer& answer);

/// Has the calling thread's call answered before the services of an apply are restarted.
void watch_applies(void (*announce)(void* owner, Call& call), void* owner);

} // namespace qscd
