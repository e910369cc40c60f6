// SPDX-License-Identifier: Apache-2.0
// The access file: one rule a line, "WHO PATH RIGHTS".
//
//   user:www-data   Device.WiFi             get,set,commit,service,watch,as:WEB
//   group:monitor   *                       get
//   *               Device.Time             get
//
// WHO is user:NAME, group:NAME (or their numbers), or * for everyone. PATH is a path with everything below
// it, or
// * for all. RIGHTS are get, set, commit, service, watch, secrets, as:COMMANDER and all. What several rules
// say of one path adds up. Root and the daemon's own user may do everything without a rule; no one else
// may do anything.
#pragma once

#include <array>
#include <string_view>

#include "base/Text.h"
#include "base/Types.h"
#include "tools/access/Peer.h"

namespace qsc::access
{

inline constexpr const char* kDefaultFile = "/etc/qscd.access";

enum Right : u32 {
    kGet = 0x1,
    kSet = 0x2,
    kCommit = 0x4,
    kService = 0x8,
    kWatch = 0x10,
    kSecrets = 0x20,
    kAllRights = 0x3F,
};

/// The name of one right, as the file has it.
[[nodiscard]] const char* name_of(Right right);

/// What a peer may do with a path.
struct Grant {
    u32 rights = 0;     ///< Right bits
    u32 commanders = 0; ///< the commanders that it may speak as
};

class Table
{
  public:
    /// The user who may do everything besides root.
    explicit Table(uid_t owner) : owner_(owner) {}

    /// Reads the file in place of what was read before. A file that is not there has no rules. False: it
    /// cannot be used, `error` says why, and only root and the owner have rights.
    [[nodiscard]] bool load(const char* file, Text<254>& error);

    [[nodiscard]] Grant grant(const Peer& peer, std::string_view path) const;

    /// Whether any rule names a peer.
    [[nodiscard]] bool knows(const Peer& peer) const;

    [[nodiscard]] bool is_master(const Peer& peer) const { return peer.user == 0 || peer.user == owner_; }

    struct Rule {
        enum { kUser, kGroup, kEveryone } who = kEveryone;
        u32 id = 0; ///< of the user or group
        u32 line = 0;
        Text<126> path; ///< empty: all
        Grant grant;
    };

    /// Calls show(rule) for each rule that gives a peer a right at a path.
    template <typename Show>
    void explain(const Peer& peer, std::string_view path, Show show) const
    {
        for (u32 i = 0; i < count_; ++i) {
            if (fits(rules_[i], peer) && covers(rules_[i], path)) {
                show(rules_[i]);
            }
        }
    }

  private:
    [[nodiscard]] static bool fits(const Rule& rule, const Peer& peer);
    [[nodiscard]] static bool covers(const Rule& rule, std::string_view path);
    [[nodiscard]] bool add(std::string_view line, Text<254>& error);

    uid_t owner_;
    std::array<Rule, 128> rules_;
    u32 count_ = 0;
};

} // namespace qsc::access
