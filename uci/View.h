// SPDX-License-Identifier: Apache-2.0
// What a thread has seen of the packages since its view began: each is looked at once and answered from that
// version, whatever others change meanwhile.
#pragma once

#include <string_view>

#include "uci/Cache.h"

namespace qrnuci
{

/// Begins and ends the thread's view; they nest. EFAULT: there is none to end.
void begin_view();
[[nodiscard]] u32 end_view();

/// Whether the thread is in a view.
[[nodiscard]] bool is_in_view();

/// Forgets what the thread has seen: it has changed something itself, or had it changed.
void renew_view();

/// How long the view may still wait for locks; without a view, the given patience.
[[nodiscard]] Patience& view_patience(Patience& alone);

/// A package in a view.
struct Seen {
    CachedPackage* package;
    u32 code; ///< not 0: it could not be read
};

/// What the thread has seen of a package; null: nothing yet.
[[nodiscard]] const Seen* find_in_view(const CacheLock& cache, std::string_view name);

/// Keeps a package, or what kept it from being read, for the rest of the view.
void keep_in_view(const CacheLock& cache, CachedPackage& package, u32 code);

} // namespace qrnuci
