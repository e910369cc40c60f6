// SPDX-License-Identifier: Apache-2.0
// The dispatchers: one description for each row of the command table, in its order.
#include "core/Dispatch.h"
#include "core/EmptyTables.h"
#include "include/qsc_device_time.h"
#include "include/qsc_dhcpv4_client.h"
#include "include/qsc_handlers.h"
#include "include/qsc_wifi.h"

using namespace qsc;

/// Defines an exported dispatcher from its description: DESCRIPTION k{.name = ..., fields}.
#define DISPATCHER(NAME, DESCRIPTION, ...)                                                                   \
    namespace                                                                                                \
    {                                                                                                        \
    constexpr DESCRIPTION k##NAME{.name = #NAME, .line = __LINE__, __VA_ARGS__};                             \
    }                                                                                                        \
    uint32_t NAME(const char* path, json_object* object, uint32_t oper, uint32_t argument, int64_t context,  \
                  uint64_t value)                                                                            \
    {                                                                                                        \
        return dispatch(path, object, oper, argument, context, value, k##NAME);                              \
    }

#define SUBTREE(NAME, ...) DISPATCHER(NAME, Subtree, __VA_ARGS__)
#define LIST(NAME, ...) DISPATCHER(NAME, InstanceRoutines, __VA_ARGS__)

namespace
{

constexpr const char* kUpdateInformation = "/etc/init.d/qrnmsgupd updinfo > /dev/null 2>&1 &";

constexpr Labels kFunHelpLabels{.get = "FunHelp", .unsupported = ""};
constexpr Labels kDHCPv4ServerPool1Labels = split_label("DHCPv4.Server.Pool.1", "DHCPv4.Server");
constexpr Labels kETHIfaceLabels{.set = "Ethernet.Interface"};
constexpr Labels kLLDPLabels{.commit = "Device_LLDP", .service = "Device_LLDP"};
constexpr Labels kXQRNSiteSurveyLabels{
    .get = "SiteUurvey", .set = "Site Survey", .unsupported = "Site Survey"};
constexpr Labels kXQRNNetworkZoneLabels = split_label("X_QRN_NetworkZone", "NetworkZone");
constexpr Labels kAutoRebootLabels{.get = "AutoReboot",
                                   .set = "AutoReboot",
                                   .commit = "Autoreboot",
                                   .service = "AutoReboot",
                                   .unsupported = "AutoReboot"};

constexpr TableChoice kETHIfaceChoices[] = {
    {TableChoice::kPathHolds, "Stats", tables::kEthernetStatistics},
};
constexpr TableChoice kWiFiSSIDChoices[] = {
    {TableChoice::kPathHolds, "Stats", g_QscDeviceWiFiSSIDStatsCmd},
};
constexpr TableChoice kWiFiAPChoices[] = {
    {TableChoice::kPathHolds, "Security", tables::kWiFiApSecurity},
    {TableChoice::kPathHolds, "Accounting", tables::kWiFiApAccounting},
    {TableChoice::kPathHolds, "WPS", tables::kWiFiApWps},
    {TableChoice::kPathHolds, "X_QRN_ACLNotes", tables::kWiFiApAclNotes},
    {TableChoice::kPathHolds, "AssociatedDevice", tables::kWiFiApAssociatedDevice},
};
constexpr TableChoice kWiFiMultiAPChoices[] = {
    {TableChoice::kPathHolds, "X_QRN_MeshTopo", tables::kWiFiMultiApTopology},
};
constexpr TableChoice kIPInterfaceChoices[] = {
    {TableChoice::kPathHolds, "IPv6", tables::kIpv6Interface},
};
constexpr TableChoice kNetworkZoneChoices[] = {
    {TableChoice::kPathIs, "Device.X_QRN_NetworkZone", tables::kNetworkZoneCount},
    {TableChoice::kPathIs, "Device.X_QRN_NetworkZone.DataVlan", tables::kNetworkZoneDataVlanCount},
    {TableChoice::kPathHolds, "ManagementVlan", tables::kNetworkZoneManagementVlan},
    {TableChoice::kPathHolds, "DataVlan", tables::kNetworkZoneDataVlan},
};
constexpr TableChoice kDDNSChoices[] = {
    {TableChoice::kPathIs, "Device.DynamicDNS.Client.1.Hostname.1", tables::kDynamicDnsHost},
};
constexpr TableChoice kPortForwardingChoices[] = {
    {TableChoice::kPathIs, "Device.X_QRN_Firewall.PortForwarding.", tables::kPortForwardingCount},
};
constexpr TableChoice kPortTriggerChoices[] = {
    {TableChoice::kPathIs, "Device.X_QRN_Firewall.PortTriggering.", tables::kPortTriggeringCount},
};
constexpr TableChoice kNewZoneConfigChoices[] = {
    {TableChoice::kPathHolds, "DHCP", tables::kNewZoneLease},
    {TableChoice::kPathIs, "Device.X_QRN_NewZone.", tables::kNewZoneCount},
};
constexpr TableChoice kQoSChoices[] = {
    {TableChoice::kPathHolds, "X_QRN_NetZone", tables::kQosNetZone},
};
constexpr TableChoice kParentalControlChoices[] = {
    {TableChoice::kPathIs, "Device.X_QRN_Firewall.ParentalControl.", tables::kParentalControlCount},
};
constexpr TableChoice kSNMPChoices[] = {
    {TableChoice::kPathHolds, "trap", tables::kSnmpTrap},
};

} // namespace

SUBTREE(QSysCmdHal_Do_FunHelp, .labels = &kFunHelpLabels, .table = g_QscFunHelpCmd, .served = QSC_OPER_GET)
SUBTREE(QSysCmdHal_Do_Version, .label = "Version", .table = g_QscVersionCmd, .served = QSC_OPER_GET)
SUBTREE(QSysCmdHal_Do_SysLog, .label = "SysLog", .table = g_QscSysLogCmd)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_2ndStaticIp, .label = "X_QRN_2ndStaticIp", .table = g_Qsc2ndStaticIpCmd)
SUBTREE(QSysCmdHal_Do_Device_Time, .label = "Device_Time", .table = g_QscDeviceTimeCmd,
        .commit = Qsc_DevTime_Commit, .service = Qsc_DevTime_Service)
SUBTREE(QSysCmdHal_Do_Device_Leds, .label = "Device_Leds", .table = g_QscDeviceLedsCmd)
DISPATCHER(QSysCmdHal_Do_SysUpg, Actions, .table = g_QscSysUpgCmd)
SUBTREE(QSysCmdHal_Do_DevInfo_CPU, .table = g_QscDevInfoCPUCmd, .served = QSC_OPER_GET)
SUBTREE(QSysCmdHal_Do_DevInfo_Mem, .table = g_QscDevInfoMemCmd, .served = QSC_OPER_GET)
SUBTREE(QSysCmdHal_Do_DevInfo_Flash, .table = g_QscDevInfoFlashCmd, .served = QSC_OPER_GET)
SUBTREE(QSysCmdHal_Do_DeviceInfo, .table = g_QscDeviceInfoCmd)
LIST(QSysCmdHal_Do_Device_DHCPv4_Client_1_SentOption, .prefix = "Device.DHCPv4.Client.1.SentOption.",
     .all = Qsc_DhcpV4ClientSentOption_Do_All, .index = Qsc_DhcpV4ClientSentOption_Do_Index)
LIST(QSysCmdHal_Do_Device_DHCPv4_Client_1_ReqOption, .prefix = "Device.DHCPv4.Client.1.ReqOption.",
     .all = Qsc_DhcpV4ClientReqOption_Do_All, .index = Qsc_DhcpV4ClientReqOption_Do_Index)
LIST(QSysCmdHal_Do_Device_DHCPv4_Client_1_XQrnRelaySentOption_1_Subcode,
     .prefix = "Device.DHCPv4.Client.1.X_QRN_RelaySentOption.1.Subcode.",
     .all = Qsc_DhcpV4ClientXQrnRelaySentOption1Subcode_Do_All,
     .index = Qsc_DhcpV4ClientXQrnRelaySentOption1Subcode_Do_Index)
LIST(QSysCmdHal_Do_Device_DHCPv4_Client_1_XQrnRelaySentOption,
     .prefix = "Device.DHCPv4.Client.1.X_QRN_RelaySentOption.",
     .all = Qsc_DhcpV4ClientXQrnRelaySentOption_Do_All, .index = Qsc_DhcpV4ClientXQrnRelaySentOption_Do_Index)
SUBTREE(QSysCmdHal_Do_Device_DHCPv4_Client_1, .label = "DHCPv4.Client.1", .table = g_QscDhcpV4ClientCmd,
        .commit = Qsc_DhcpV4Client_Commit, .service = Qsc_DhcpV4Client_Service)
LIST(QSysCmdHal_Do_Device_DHCPv4_ServerPool_1_StaticAddr,
     .prefix = "Device.DHCPv4.Server.Pool.1.StaticAddress.")
SUBTREE(QSysCmdHal_Do_Device_DHCPv4_ServerPool_1, .labels = &kDHCPv4ServerPool1Labels,
        .table = g_QscDhcpV4ServerPoolCmd)
SUBTREE(QSysCmdHal_Do_Device_DNS_Cli_Server, .label = "DNS_Client_Server", .table = tables::kDnsServers)
SUBTREE(QSysCmdHal_Do_Device_ETH_Iface, .labels = &kETHIfaceLabels, .table = g_QscEthIfaceCmd,
        .choices = kETHIfaceChoices)
SUBTREE(QSysCmdHal_Do_Device_ETH_CustomMac, .label = "Ethernet.CustomMac",
        .table = tables::kEthernetCustomMac)
SUBTREE(QSysCmdHal_Do_Device_WiFi_Radio, .label = "Device_WiFi_Radio", .table = g_QscDeviceWiFiRadioCmd)
SUBTREE(QSysCmdHal_Do_Device_WiFi_SSID, .label = "Device_WiFi_SSID", .table = g_QscDeviceWiFiSSIDCmd,
        .choices = kWiFiSSIDChoices)
SUBTREE(QSysCmdHal_Do_Device_WiFi_AP, .label = "Device_WiFi_AP", .table = tables::kWiFiAccessPoint,
        .choices = kWiFiAPChoices)
SUBTREE(QSysCmdHal_Do_Device_WiFi_EP, .label = "Device_WiFi_EP", .table = tables::kWiFiEndPoint)
SUBTREE(QSysCmdHal_Do_Device_WiFi_MultiAP, .label = "Device_WiFi_MultiAP", .table = tables::kWiFiMultiAp,
        .choices = kWiFiMultiAPChoices)
SUBTREE(QSysCmdHal_Do_Device_WiFi, .label = "Device_WiFi", .table = tables::kWiFi)
SUBTREE(QSysCmdHal_Do_Device_IP_Interface, .label = "IP_Interface", .table = g_QscIpv4InterfaceCmd,
        .choices = kIPInterfaceChoices, .after_service = kUpdateInformation)
SUBTREE(QSysCmdHal_Do_Device_LLDP, .labels = &kLLDPLabels, .table = g_QscDevLLDPCmd)
SUBTREE(QSysCmdHal_Do_Device_MQTT_Client, .table = tables::kMqttClient)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_ORVANE, .table = tables::kOrvane, .served = QSC_OPER_GET)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_CaptivePortal, .table = tables::kCaptivePortal)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_Ndsctl, .table = tables::kNdsctl, .served = QSC_OPER_SET)
SUBTREE(QSysCmdHal_Do_Device_Throughput, .label = "Device throughput", .table = tables::kThroughput,
        .served = QSC_OPER_GET)
LIST(QSysCmdHal_Do_Device_Routing_Router_1_Ipv4Fwd, .prefix = "Device.Routing.Router.1.IPv4Forwarding.")
SUBTREE(QSysCmdHal_Do_Device_Routing_Router_1, .label = "Device_Routing Router 1",
        .table = g_QscDeviceRoutingRouter1Cmd)
SUBTREE(QSysCmdHal_Do_Device_Routing_Rip_IfSetting_1, .label = "Device_Routing RIP interface setting 1",
        .table = g_QscDevRtingRipIfSetting1Cmd)
SUBTREE(QSysCmdHal_Do_Device_Users_User_1, .label = "Device Users User 1", .table = g_QscDeviceUsersUser1Cmd)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_SiteSurvey, .labels = &kXQRNSiteSurveyLabels,
        .table = g_QscSiteSurveyNumcmd)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_NetworkZone, .labels = &kXQRNNetworkZoneLabels,
        .table = tables::kNetworkZone, .choices = kNetworkZoneChoices, .after_service = kUpdateInformation)
SUBTREE(QSysCmdHal_Do_Device_DDNS, .label = "DDNS", .table = tables::kDynamicDns, .choices = kDDNSChoices)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_RemoteLog, .table = g_QscDevXQRNRemoteLogCmd,
        .commit = Qsc_Dev_X_QRN_Remote_Log_Commit, .service = Qsc_Dev_X_QRN_Remote_Log_Service)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_RemoteAccess_Telnet, .table = tables::kRemoteAccessTelnet)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_RemoteAccess_SSH, .table = tables::kRemoteAccessSsh)
SUBTREE(QSysCmdHal_Do_PortForwarding, .label = "Port forwarding", .table = tables::kPortForwarding,
        .choices = kPortForwardingChoices)
SUBTREE(QSysCmdHal_Do_PortTrigger, .label = "Port Trigger", .table = tables::kPortTriggering,
        .choices = kPortTriggerChoices)
SUBTREE(QSysCmdHal_Do_Device_NewZone_Config, .label = "New zone", .table = tables::kNewZone,
        .choices = kNewZoneConfigChoices)
SUBTREE(QSysCmdHal_Do_Device_AutoReboot, .labels = &kAutoRebootLabels, .table = g_QscAutoRebootCmd)
SUBTREE(QSysCmdHal_Do_Device_Speedtest, .label = "Speedtest", .table = tables::kSpeedtest)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_VPN_1, .label = "X_QRN_VPN_1", .table = g_QscVpn1Cmd)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_VPN_2, .label = "X_QRN_VPN_2", .table = g_QscVpn2Cmd)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_VPN_3, .label = "X_QRN_VPN_3", .table = g_QscVpn3Cmd)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_VPN_4, .label = "X_QRN_VPN_4", .table = g_QscVpn4Cmd)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_VPN_5, .label = "X_QRN_VPN_5", .table = g_QscVpn5Cmd)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_VPN_6, .label = "X_QRN_VPN_6", .table = g_QscVpn6Cmd)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_VPN, .label = "X_QRN_VPN", .table = g_QscVpnMainCmd)
SUBTREE(QSysCmdHal_Do_Device_QoS, .label = "Device_QoS", .table = tables::kQos, .choices = kQoSChoices)
SUBTREE(QSysCmdHal_Do_ParentalControl, .label = "Parental control", .table = tables::kParentalControl,
        .choices = kParentalControlChoices)
SUBTREE(QSysCmdHal_Do_SNMP, .label = "SNMP", .table = tables::kSnmp, .choices = kSNMPChoices)
SUBTREE(QSysCmdHal_Do_DMZ, .label = "DMZ", .table = g_QscDMZCmd)
SUBTREE(QSysCmdHal_Do_nDPI, .label = "nDPI", .table = g_QscnDPICmd)
