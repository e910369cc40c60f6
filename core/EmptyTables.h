// SPDX-License-Identifier: Apache-2.0
// The tables of subtrees and sub-objects whose handlers do not exist yet: each holds only its end, so that
// its dispatcher is complete. A table moves to its handlers' file when they are written.
#pragma once

#include "core/Tables.h"

namespace qsc::tables
{

inline constexpr Qsc_ParamEntry kEthernetStatistics[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kEthernetCustomMac[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kDnsServers[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kWiFiAccessPoint[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kWiFiApSecurity[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kWiFiApAccounting[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kWiFiApWps[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kWiFiApAclNotes[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kWiFiApAssociatedDevice[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kWiFiEndPoint[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kWiFiMultiAp[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kWiFiMultiApTopology[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kWiFi[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kIpv6Interface[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kMqttClient[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kOrvane[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kCaptivePortal[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kNdsctl[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kThroughput[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kNetworkZone[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kNetworkZoneCount[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kNetworkZoneManagementVlan[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kNetworkZoneDataVlan[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kNetworkZoneDataVlanCount[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kDynamicDns[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kDynamicDnsHost[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kRemoteAccessTelnet[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kRemoteAccessSsh[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kPortForwarding[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kPortForwardingCount[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kPortTriggering[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kPortTriggeringCount[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kNewZone[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kNewZoneLease[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kNewZoneCount[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kSpeedtest[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kQos[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kQosNetZone[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kParentalControl[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kParentalControlCount[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kSnmp[] = {kTableEnd};
inline constexpr Qsc_ParamEntry kSnmpTrap[] = {kTableEnd};

} // namespace qsc::tables
