// SPDX-License-Identifier: Apache-2.0
// The sections of the package "snmpd": what the agent reads beside what one parameter stores.
#pragma once

#include "handlers/services/Package.h"

namespace qsc::services::snmp
{

inline constexpr Package kPackage{"snmpd"};
inline constexpr const char* kGeneral = "general";
inline constexpr const char* kUser = "v3";
inline constexpr const char* kSession = "trapsess";
inline constexpr const char* kCommunity = "community";
inline constexpr const char* kWaitingCommunity = "qrn_community";

/// One set of the package's sections says who may read, another who may write, for IPv4 and for IPv6.
struct Access4And6 {
    const char* four;
    const char* six;
    const char* name;
};
inline constexpr Access4And6 kReaders{"public", "public6", "ro"};
inline constexpr Access4And6 kWriters{"private", "private6", "rw"};

/// Whether an option of the section "general" is switched on.
[[nodiscard]] bool is_option_on(const char* option);

/// Whether the agent is to run.
[[nodiscard]] bool is_on();

[[nodiscard]] u32 port_of_agent();

/// Whether the agent has ever had a port that needs a rule of the firewall's.
[[nodiscard]] bool has_had_rule();

/// Appends the LAN as a prefix.
void append_lan(RowText& text);

/// Whether there is a user of version 3 with a password.
[[nodiscard]] bool has_user();

/// Makes the sections that a set needs, without the communities that the package comes with.
[[nodiscard]] u32 prepare();

/// Has all that depends on several options follow them.
[[nodiscard]] u32 follow();

/// The same for what is to be done with traps.
[[nodiscard]] u32 keep_trap();

} // namespace qsc::services::snmp
