// SPDX-License-Identifier: Apache-2.0
// The methods of the protocol: what parameters they take, what rights they need, and what they do.
#pragma once

#include <span>

#include "tools/qscd/Call.h"

namespace qscd
{

/// Whose requests are judged, and by what.
struct Caller {
    const qsc::access::Table& table;
    const qsc::access::Peer& peer;
};

/// Where a request is served.
enum class Lane {
    kFront,   ///< at once, by the thread that reads the sockets
    kGet,     ///< at once; if it turns out to need a tool, by a worker, beside others
    kBeside,  ///< by a worker, beside others
    kOrdered, ///< one after the other, in the order in which they came
};

// A table of them is read in the order in which requests meet the members.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding)
struct Method {
    const char* name;
    Lane lane;
    u32 right;     ///< that it needs of every path; 0: none, or its own care
    u32 operation; ///< of the library
    bool (*prepare)(Call& call, const Caller& caller); ///< reads the parameters; false: the answer is written
    void (*execute)(Call& call);                       ///< writes the answer; null: the server does
    const char* members[8];                            ///< of the parameters
    bool is_apply = false; ///< it is made whole or taken back, so its tools are not ended with the daemon
};

[[nodiscard]] std::span<const Method> methods();

/// Understands a message and checks the rights. False: the answer is written.
[[nodiscard]] bool prepare(Call& call, const Caller& caller);

[[nodiscard]] Lane lane_of(const Call& call);

[[nodiscard]] bool prepare_list(Call& call, const Caller& caller);
[[nodiscard]] bool prepare_set(Call& call, const Caller& caller);

void execute_get(Call& call);
void execute_sample(Call& call);
void execute_set(Call& call);
void execute_commit(Call& call);
void execute_service(Call& call);
void execute_request(Call& call);

/// The methods of changes that are made as one (Applies.h).
[[nodiscard]] std::span<const Method> apply_methods();

/// A get that took so long has waited for a lock. The attempt to serve it at once is given up then, in
/// milliseconds.
inline constexpr u64 kAttemptMs = 20;

/// A dispatcher's call in the request's name, and its code. In an attempt that has taken too long it is
/// refused, as a tool would be.
u32 dispatch(Call& call, const Qsc_CommandEntry& entry, const PathText& object, u32 operation,
             json_object* request);

/// The sentence that the library has for the last failure of this thread; empty: none.
[[nodiscard]] const char* last_sentence();

} // namespace qscd
