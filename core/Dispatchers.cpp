// SPDX-License-Identifier: Apache-2.0
// The dispatchers: one description for each row of the command table, in its order.
#include "core/Dispatch.h"
#include "core/EmptyTables.h"
#include "include/qsc_device_time.h"
#include "include/qsc_dhcpv4_client.h"
#include "include/qsc_handlers.h"
#include "include/qsc_wifi.h"

using namespace qsc;

/// Defines an exported dispatcher: RESULT is computed from `request`.
#define DISPATCHER(NAME, RESULT)                                                                             \
    uint32_t NAME(const char* path, json_object* object, uint32_t oper, uint32_t argument, int64_t context,  \
                  uint64_t value)                                                                            \
    {                                                                                                        \
        const Request request{#NAME, path, object, oper, argument, context, value};                          \
        return RESULT;                                                                                       \
    }

/// Defines a dispatcher that walks parameter tables, from the fields of its Subtree.
#define SUBTREE(NAME, ...)                                                                                   \
    namespace                                                                                                \
    {                                                                                                        \
    constexpr Subtree k##NAME{__VA_ARGS__};                                                                  \
    }                                                                                                        \
    DISPATCHER(NAME, dispatch(k##NAME, request))

namespace
{

constexpr const char* kUpdateInformation = "/etc/init.d/qrnmsgupd updinfo > /dev/null 2>&1 &";

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

SUBTREE(QSysCmdHal_Do_FunHelp, .labels = {.get = "FunHelp", .unsupported = ""}, .table = g_QscFunHelpCmd,
        .served = QSC_OPER_GET)
SUBTREE(QSysCmdHal_Do_Version, .labels = label("Version"), .table = g_QscVersionCmd, .served = QSC_OPER_GET)
SUBTREE(QSysCmdHal_Do_SysLog, .labels = label("SysLog"), .table = g_QscSysLogCmd)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_2ndStaticIp, .labels = label("X_QRN_2ndStaticIp"),
        .table = g_Qsc2ndStaticIpCmd)
SUBTREE(QSysCmdHal_Do_Device_Time, .labels = label("Device_Time"), .table = g_QscDeviceTimeCmd,
        .commit = Qsc_DevTime_Commit, .service = Qsc_DevTime_Service)
SUBTREE(QSysCmdHal_Do_Device_Leds, .labels = label("Device_Leds"), .table = g_QscDeviceLedsCmd)
DISPATCHER(QSysCmdHal_Do_SysUpg, dispatch_action(g_QscSysUpgCmd, request))
SUBTREE(QSysCmdHal_Do_DevInfo_CPU, .labels = kByPath, .table = g_QscDevInfoCPUCmd, .served = QSC_OPER_GET)
SUBTREE(QSysCmdHal_Do_DevInfo_Mem, .labels = kByPath, .table = g_QscDevInfoMemCmd, .served = QSC_OPER_GET)
SUBTREE(QSysCmdHal_Do_DevInfo_Flash, .labels = kByPath, .table = g_QscDevInfoFlashCmd, .served = QSC_OPER_GET)
SUBTREE(QSysCmdHal_Do_DeviceInfo, .labels = kByPath, .table = g_QscDeviceInfoCmd)
DISPATCHER(QSysCmdHal_Do_Device_DHCPv4_Client_1_SentOption,
           dispatch_list({"Device.DHCPv4.Client.1.SentOption.", Qsc_DhcpV4ClientSentOption_Do_All,
                          Qsc_DhcpV4ClientSentOption_Do_Index},
                         request))
DISPATCHER(QSysCmdHal_Do_Device_DHCPv4_Client_1_ReqOption,
           dispatch_list({"Device.DHCPv4.Client.1.ReqOption.", Qsc_DhcpV4ClientReqOption_Do_All,
                          Qsc_DhcpV4ClientReqOption_Do_Index},
                         request))
DISPATCHER(QSysCmdHal_Do_Device_DHCPv4_Client_1_XQrnRelaySentOption_1_Subcode,
           dispatch_list({"Device.DHCPv4.Client.1.X_QRN_RelaySentOption.1.Subcode.",
                          Qsc_DhcpV4ClientXQrnRelaySentOption1Subcode_Do_All,
                          Qsc_DhcpV4ClientXQrnRelaySentOption1Subcode_Do_Index},
                         request))
DISPATCHER(QSysCmdHal_Do_Device_DHCPv4_Client_1_XQrnRelaySentOption,
           dispatch_list({"Device.DHCPv4.Client.1.X_QRN_RelaySentOption.",
                          Qsc_DhcpV4ClientXQrnRelaySentOption_Do_All,
                          Qsc_DhcpV4ClientXQrnRelaySentOption_Do_Index},
                         request))
SUBTREE(QSysCmdHal_Do_Device_DHCPv4_Client_1, .labels = label("DHCPv4.Client.1"),
        .table = g_QscDhcpV4ClientCmd, .commit = Qsc_DhcpV4Client_Commit, .service = Qsc_DhcpV4Client_Service)
DISPATCHER(QSysCmdHal_Do_Device_DHCPv4_ServerPool_1_StaticAddr,
           dispatch_list({"Device.DHCPv4.Server.Pool.1.StaticAddress."}, request))
SUBTREE(QSysCmdHal_Do_Device_DHCPv4_ServerPool_1, .labels = label("DHCPv4.Server.Pool.1", "DHCPv4.Server"),
        .table = g_QscDhcpV4ServerPoolCmd)
SUBTREE(QSysCmdHal_Do_Device_DNS_Cli_Server, .labels = label("DNS_Client_Server"),
        .table = tables::kDnsServers)
SUBTREE(QSysCmdHal_Do_Device_ETH_Iface, .labels = {.set = "Ethernet.Interface"}, .table = g_QscEthIfaceCmd,
        .choices = kETHIfaceChoices)
SUBTREE(QSysCmdHal_Do_Device_ETH_CustomMac, .labels = label("Ethernet.CustomMac"),
        .table = tables::kEthernetCustomMac)
SUBTREE(QSysCmdHal_Do_Device_WiFi_Radio, .labels = label("Device_WiFi_Radio"),
        .table = g_QscDeviceWiFiRadioCmd)
SUBTREE(QSysCmdHal_Do_Device_WiFi_SSID, .labels = label("Device_WiFi_SSID"), .table = g_QscDeviceWiFiSSIDCmd,
        .choices = kWiFiSSIDChoices)
SUBTREE(QSysCmdHal_Do_Device_WiFi_AP, .labels = label("Device_WiFi_AP"), .table = tables::kWiFiAccessPoint,
        .choices = kWiFiAPChoices)
SUBTREE(QSysCmdHal_Do_Device_WiFi_EP, .labels = label("Device_WiFi_EP"), .table = tables::kWiFiEndPoint)
SUBTREE(QSysCmdHal_Do_Device_WiFi_MultiAP, .labels = label("Device_WiFi_MultiAP"),
        .table = tables::kWiFiMultiAp, .choices = kWiFiMultiAPChoices)
SUBTREE(QSysCmdHal_Do_Device_WiFi, .labels = label("Device_WiFi"), .table = tables::kWiFi)
SUBTREE(QSysCmdHal_Do_Device_IP_Interface, .labels = label("IP_Interface"), .table = g_QscIpv4InterfaceCmd,
        .choices = kIPInterfaceChoices, .after_service = kUpdateInformation)
SUBTREE(QSysCmdHal_Do_Device_LLDP, .labels = {.commit = "Device_LLDP", .service = "Device_LLDP"},
        .table = g_QscDevLLDPCmd)
SUBTREE(QSysCmdHal_Do_Device_MQTT_Client, .labels = kByPath, .table = tables::kMqttClient)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_ORVANE, .labels = kByPath, .table = tables::kOrvane,
        .served = QSC_OPER_GET)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_CaptivePortal, .labels = kByPath, .table = tables::kCaptivePortal)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_Ndsctl, .labels = kByPath, .table = tables::kNdsctl,
        .served = QSC_OPER_SET)
SUBTREE(QSysCmdHal_Do_Device_Throughput, .labels = label("Device throughput"), .table = tables::kThroughput,
        .served = QSC_OPER_GET)
DISPATCHER(QSysCmdHal_Do_Device_Routing_Router_1_Ipv4Fwd,
           dispatch_list({"Device.Routing.Router.1.IPv4Forwarding."}, request))
SUBTREE(QSysCmdHal_Do_Device_Routing_Router_1, .labels = label("Device_Routing Router 1"),
        .table = g_QscDeviceRoutingRouter1Cmd)
SUBTREE(QSysCmdHal_Do_Device_Routing_Rip_IfSetting_1,
        .labels = label("Device_Routing RIP interface setting 1"), .table = g_QscDevRtingRipIfSetting1Cmd)
SUBTREE(QSysCmdHal_Do_Device_Users_User_1, .labels = label("Device Users User 1"),
        .table = g_QscDeviceUsersUser1Cmd)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_SiteSurvey,
        .labels = {.get = "SiteUurvey", .set = "Site Survey", .unsupported = "Site Survey"},
        .table = g_QscSiteSurveyNumcmd)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_NetworkZone, .labels = label("X_QRN_NetworkZone", "NetworkZone"),
        .table = tables::kNetworkZone, .choices = kNetworkZoneChoices, .after_service = kUpdateInformation)
SUBTREE(QSysCmdHal_Do_Device_DDNS, .labels = label("DDNS"), .table = tables::kDynamicDns,
        .choices = kDDNSChoices)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_RemoteLog, .labels = kByPath, .table = g_QscDevXQRNRemoteLogCmd,
        .commit = Qsc_Dev_X_QRN_Remote_Log_Commit, .service = Qsc_Dev_X_QRN_Remote_Log_Service)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_RemoteAccess_Telnet, .labels = kByPath,
        .table = tables::kRemoteAccessTelnet)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_RemoteAccess_SSH, .labels = kByPath, .table = tables::kRemoteAccessSsh)
SUBTREE(QSysCmdHal_Do_PortForwarding, .labels = label("Port forwarding"), .table = tables::kPortForwarding,
        .choices = kPortForwardingChoices)
SUBTREE(QSysCmdHal_Do_PortTrigger, .labels = label("Port Trigger"), .table = tables::kPortTriggering,
        .choices = kPortTriggerChoices)
SUBTREE(QSysCmdHal_Do_Device_NewZone_Config, .labels = label("New zone"), .table = tables::kNewZone,
        .choices = kNewZoneConfigChoices)
SUBTREE(QSysCmdHal_Do_Device_AutoReboot,
        .labels = {.get = "AutoReboot",
                   .set = "AutoReboot",
                   .commit = "Autoreboot",
                   .service = "AutoReboot",
                   .unsupported = "AutoReboot"},
        .table = g_QscAutoRebootCmd)
SUBTREE(QSysCmdHal_Do_Device_Speedtest, .labels = label("Speedtest"), .table = tables::kSpeedtest)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_VPN_1, .labels = label("X_QRN_VPN_1"), .table = g_QscVpn1Cmd)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_VPN_2, .labels = label("X_QRN_VPN_2"), .table = g_QscVpn2Cmd)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_VPN_3, .labels = label("X_QRN_VPN_3"), .table = g_QscVpn3Cmd)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_VPN_4, .labels = label("X_QRN_VPN_4"), .table = g_QscVpn4Cmd)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_VPN_5, .labels = label("X_QRN_VPN_5"), .table = g_QscVpn5Cmd)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_VPN_6, .labels = label("X_QRN_VPN_6"), .table = g_QscVpn6Cmd)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_VPN, .labels = label("X_QRN_VPN"), .table = g_QscVpnMainCmd)
SUBTREE(QSysCmdHal_Do_Device_QoS, .labels = label("Device_QoS"), .table = tables::kQos,
        .choices = kQoSChoices)
SUBTREE(QSysCmdHal_Do_ParentalControl, .labels = label("Parental control"), .table = tables::kParentalControl,
        .choices = kParentalControlChoices)
SUBTREE(QSysCmdHal_Do_SNMP, .labels = label("SNMP"), .table = tables::kSnmp, .choices = kSNMPChoices)
SUBTREE(QSysCmdHal_Do_DMZ, .labels = label("DMZ"), .table = g_QscDMZCmd)
SUBTREE(QSysCmdHal_Do_nDPI, .labels = label("nDPI"), .table = g_QscnDPICmd)
