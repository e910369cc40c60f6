// SPDX-License-Identifier: Apache-2.0
#include "uci/View.h"

#include <array>
#include <cerrno>

namespace qrnuci
{

namespace
{

/// More packages than one request asks for; those beyond are looked at every time.
constexpr u32 kMostSeen = 16;

struct View {
    u32 depth;
    u32 count;
    std::array<Seen, kMostSeen> seen;
    Patience patience = kReaderPatience;
};

constinit thread_local View t_view{};

} // namespace

void begin_view()
{
    if (t_view.depth++ == 0) {
        t_view.patience = kReaderPatience;
    }
}

u32 end_view()
{
    if (t_view.depth == 0) {
        return EFAULT;
    }
    if (--t_view.depth == 0) {
        renew_view();
    }
    return 0;
}

bool is_in_view()
{
    return t_view.depth > 0;
}

void renew_view()
{
    if (t_view.count == 0) {
        return;
    }
    CacheLock cache;
    while (t_view.count > 0) {
        cache.give_back(*t_view.seen[--t_view.count].package);
    }
}

Patience& view_patience(Patience& alone)
{
    return t_view.depth > 0 ? t_view.patience : alone;
}

const Seen* find_in_view(const CacheLock&, std::string_view name)
{
    for (u32 at = 0; at < t_view.count; ++at) {
        if (t_view.seen[at].package->name.view() == name) {
            return &t_view.seen[at];
        }
    }
    return nullptr;
}

void keep_in_view(const CacheLock&, CachedPackage& package, u32 code)
{
    if (t_view.depth > 0 && t_view.count < kMostSeen) {
        ++package.views;
        t_view.seen[t_view.count++] = {&package, code};
    }
}

} // namespace qrnuci
