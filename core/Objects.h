// SPDX-License-Identifier: Apache-2.0
// Every object of the tree, by the file that defines it. core/Dispatchers.cpp says which paths lead to it.
#pragma once

#include "core/Object.h"

namespace qsc::objects
{

// commands/
extern const Object kHelp;
extern const Object kVersion;
extern const Object kSystemLog;

// handlers/system/
extern const Object kRemoteLog;
extern const Object kSysUpg;
extern const Object kTime;
extern const Object kSecondStaticIp;
extern const Object kLeds;
extern const Object kProcessStatus;
extern const Object kMemoryStatus;
extern const Object kFlashStatus;
extern const Object kDeviceInfo;
extern const Object kUser;
extern const Object kAutoReboot;
extern const Object kTelnet;
extern const Object kSsh;
extern const Object kThroughput;
extern const Object kSpeedtest;

// handlers/network/
extern const Object kDhcpV4Client;
extern const Object kDhcpV4SentOption;
extern const Object kDhcpV4ReqOption;
extern const Object kDhcpV4RelaySentOption;
extern const Object kDhcpV4RelaySentOptionSubcode;
extern const Object kDhcpV4Pool;
extern const Object kDhcpV4StaticAddress;
extern const Object kZone;
extern const Object kZoneCount;
extern const Object kManagementVlan;
extern const Object kDataVlan;
extern const Object kDataVlanCount;
extern const Object kNewZone;
extern const Object kNewZoneCount;
extern const Object kNewZoneLeases;
extern const Object kEthernetInterface;
extern const Object kEthernetStats;
extern const Object kDnsServers;
extern const Object kWantedDns;
extern const Object kCustomMac;
extern const Object kWan;
extern const Object kWanIPv6;
extern const Object kLldp;
extern const Object kRouter;
extern const Object kIPv4Forwarding;
extern const Object kRip;

// handlers/wifi/
extern const Object kWiFiRadio;
extern const Object kWiFiSsid;
extern const Object kWiFiSsidStats;
extern const Object kWiFi;
extern const Object kWiFiAccessPoint;
extern const Object kWiFiSecurity;
extern const Object kWiFiAccounting;
extern const Object kWiFiWps;
extern const Object kWiFiAclNotes;
extern const Object kWiFiStations;
extern const Object kWiFiEndPoint;
extern const Object kWiFiMultiAp;
extern const Object kWiFiMeshTopology;
extern const Object kSiteSurvey;

// handlers/services/
extern const Object kMqttClient;
extern const Object kOrvane;
extern const Object kCaptivePortal;
extern const Object kNdsctl;
extern const Object kDdnsClient;
extern const Object kDdnsHostname;
extern const Object kVpn;
extern const Object kVpn1;
extern const Object kVpn2;
extern const Object kVpn3;
extern const Object kVpn4;
extern const Object kVpn5;
extern const Object kVpn6;
extern const Object kDmz;
extern const Object kPortForwardings;
extern const Object kPortForwarding;
extern const Object kParentalControl;
extern const Object kParentalRule;
extern const Object kPortTriggers;
extern const Object kPortTrigger;
extern const Object kQoS;
extern const Object kQoSZone;
extern const Object kSnmp;
extern const Object kSnmpTrap;
extern const Object kNdpi;

/// Subtrees and sub-objects that this library does not serve: a get and a set of them do nothing.
extern const Object kUnserved;

} // namespace qsc::objects
