// SPDX-License-Identifier: Apache-2.0
// Commits and services that do more than write packages and run init scripts, each defined beside its object.
#pragma once

#include "base/Types.h"

struct json_object;

namespace qsc::system
{

u32 serve_auto_reboot(const char* path, json_object* request);
u32 serve_leds(const char* path, json_object* request);
u32 serve_ssh(const char* path, json_object* request);
u32 serve_user(const char* path, json_object* request);

} // namespace qsc::system

namespace qsc::network
{

u32 serve_lldp(const char* path, json_object* request);
/// Brings bridges in line with the zones that interfaces have moved to since.
u32 commit_zones(const char* path, json_object* request, u32 oper, u32 argument, i64 context, u64 value);

} // namespace qsc::network

namespace qsc::wifi
{

/// Commits nothing while an enabled access point has no whole security.
u32 commit(const char* path, json_object* request, u32 oper, u32 argument, i64 context, u64 value);
u32 serve_wifi(const char* path, json_object* request);

} // namespace qsc::wifi

namespace qsc::services
{

/// Commits the package as well, since the subtree has no commit of its own.
u32 serve_ddns(const char* path, json_object* request);
u32 serve_mqtt(const char* path, json_object* request);
/// For the tunnels. What a device has not installed is passed over.
u32 commit_vpn(const char* path, json_object* request, u32 oper, u32 argument, i64 context, u64 value);
u32 serve_vpn(const char* path, json_object* request);

/// Commits the redirects with those that belong to the DMZ as they are to be now.
u32 commit_firewall(const char* path, json_object* request, u32 oper, u32 argument, i64 context, u64 value);

u32 serve_qos(const char* path, json_object* request);

/// The firewall has its part once the agent has had a port of its own.
u32 commit_snmp(const char* path, json_object* request, u32 oper, u32 argument, i64 context, u64 value);
u32 serve_snmp(const char* path, json_object* request);

/// Ends the connections of devices that have no way out now, too.
u32 serve_parental_control(const char* path, json_object* request);

} // namespace qsc::services
