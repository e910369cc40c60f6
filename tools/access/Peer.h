// SPDX-License-Identifier: Apache-2.0
// Who speaks: the user and the groups, from the kernel or from the user database.
#pragma once

#include <array>
#include <span>

#include <sys/types.h>

#include "base/Types.h"

namespace qsc::access
{

struct Peer {
    uid_t user = static_cast<uid_t>(-1);
    pid_t process = 0;
    std::array<gid_t, 64> groups{}; ///< the main one first
    u32 group_count = 0;

    [[nodiscard]] std::span<const gid_t> all_groups() const { return {groups.data(), group_count}; }
};

/// The other end of a connected Unix socket, at the time when it connected. False: the kernel does not say.
[[nodiscard]] bool peer_of_socket(int socket, Peer& peer);

/// A user by name or number; false: there is none.
[[nodiscard]] bool peer_of_user(const char* name, Peer& peer);

} // namespace qsc::access
