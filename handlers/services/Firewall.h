// SPDX-License-Identifier: Apache-2.0
// What the firewall does with connections from the WAN: ports that the router serves itself, and ports that
// it forwards to clients. And what the sections of ours in the package "firewall" have in common.
#pragma once

#include <string_view>

#include "core/GrowingList.h"
#include "handlers/network/Networks.h"
#include "handlers/services/Package.h"

namespace qsc::services
{

inline constexpr Package kFirewall{"firewall"};

/// Whether the instance of a request will be on: a new one is not until it is switched on.
[[nodiscard]] bool will_be_on(const RowCall& call);

/// TCP, UDP or both.
using Protocols = u8;
inline constexpr Protocols kTcp = 1;
inline constexpr Protocols kUdp = 2;

/// The protocols that a section's "proto" means, which is both where it is missing.
[[nodiscard]] Protocols read_protocols(std::string_view proto);

struct PortRange {
    u32 first = 0; ///< 0: none
    u32 last = 0;  ///< 0: the first alone

    bool operator==(const PortRange&) const = default;
};

/// Reads "80", "80-90" or "80:90".
[[nodiscard]] bool read_ports(std::string_view text, PortRange& ports);

/// What a forwarding, a server or a trigger takes of what comes in.
struct Taken {
    Protocols protocols = 0;
    PortRange ports{};
    network::Network remote{0, 0}; ///< from where
};

[[nodiscard]] bool overlap(const Taken& one, const Taken& other);

/// Reads the address or the prefix that something is taken from; empty: from anywhere.
[[nodiscard]] bool read_remote(std::string_view text, network::Network& remote);

/// Ports that the router serves on the WAN, by one of the firewall's rules.
struct OwnPorts {
    const char* rule;
    Protocols protocols;
    PortRange ports;
};

/// Calls use(ports) for each of them, until it answers non-zero.
u32 walk_own_ports(u32 (*use)(void* context, const OwnPorts& ports), void* context);

template <typename Use>
u32 for_each_own_port(Use use)
{
    return walk_own_ports(
        [](void* context, const OwnPorts& ports) { return (*static_cast<Use*>(context))(ports); }, &use);
}

/// Judges ports that are not to stay with the router. EFAULT: it serves one of them itself.
[[nodiscard]] u32 check_own_ports(const Taken& wanted);

/// The forwardings: redirects from the WAN but for those of the DMZ.
[[nodiscard]] bool is_forwarding(const char* section);
inline constexpr GrowingList kForwardings{
    .package = "firewall", .type = "redirect", .limit = 128, .is_ours = is_forwarding};

/// Judges ports that are to be taken, beside the forwardings that are switched on, but for one. EFAULT: one
/// of those takes one of them.
[[nodiscard]] u32 check_forwardings(const Taken& wanted, i32 except = 0);

/// Judges the address of a client: one of a zone's, and not the router's own. `zone` is that zone's name
/// then.
[[nodiscard]] u32 check_client(std::string_view text, RowText& zone);

/// Finds the zone of a client. False: it has none.
[[nodiscard]] bool find_zone_of(std::string_view client, RowText& zone);

/// The section of the DMZ, and what the names of those begin with that keep the router's ports from it.
inline constexpr std::string_view kDmzSection = "dmz";
inline constexpr std::string_view kOwnSection = "qrn_own_";

/// Keeps the DMZ after all other redirects, and the ports that the router serves from it. To be called where
/// the caller has the package to itself.
[[nodiscard]] u32 arrange_dmz();

/// The same for others.
[[nodiscard]] u32 update_dmz();

/// Whether a rule that is on has hours. The kernel counts by its own clock: they are those of the zone that
/// the device was in when the rules were loaded.
[[nodiscard]] bool has_hours();

/// Serve a description as the caller has written it, from which the section's name is made that the firewall
/// shows: one wrong character there would break its whole rule set. Where there is none, that name answers.
[[nodiscard]] u32 answer_description(const RowCall& call);
[[nodiscard]] u32 store_description(const RowCall& call, std::string_view stored);

inline constexpr Row kDescriptionRow{.name = "Description",
                                     .access = Access::kReadWrite,
                                     .place = Place::kFunction,
                                     .limits = ":256",
                                     .key = "qrn_description",
                                     .get = answer_description,
                                     .set = store_description};

} // namespace qsc::services
