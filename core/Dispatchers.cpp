// SPDX-License-Identifier: Apache-2.0
// The dispatchers: one description for each row of the command table, in its order.
#include <array>
#include <utility>

#include "core/Dispatch.h"
#include "core/Objects.h"
#include "core/ServiceSteps.h"
#include "include/qsc_device_time.h"
#include "include/qsc_dhcpv4_client.h"
#include "include/qsc_handlers.h"

using namespace qsc;
using namespace qsc::objects;

namespace
{

/// The subtrees by their place in this file, which is that in the command table.
template <int Number>
constexpr SubtreeDescription kDescription{};

constexpr int kFirst = __COUNTER__ + 1;

} // namespace

/// Defines an exported dispatcher from its description.
#define SUBTREE(NAME, ...) SUBTREE_NUMBER(NAME, __COUNTER__ - kFirst, __VA_ARGS__)
#define SUBTREE_NUMBER(NAME, NUMBER, ...)                                                                    \
    namespace                                                                                                \
    {                                                                                                        \
    constexpr int k##NAME = NUMBER;                                                                          \
    template <>                                                                                              \
    constexpr SubtreeDescription kDescription<k##NAME>{.name = #NAME, .line = __LINE__, __VA_ARGS__};        \
    }                                                                                                        \
    uint32_t NAME(const char* path, json_object* object, uint32_t oper, uint32_t argument, int64_t context,  \
                  uint64_t value)                                                                            \
    {                                                                                                        \
        return dispatch(path, object, oper, argument, context, value, k##NAME);                              \
    }

namespace
{

constexpr const char* kUpdateInformation = "/etc/init.d/qrnmsgupd updinfo > /dev/null 2>&1 &";

constexpr const char* kWanPath = "Device.IP.Interface.1";
constexpr const char* kDhcpV4ClientPath = "Device.DHCPv4.Client.1";

constexpr const char* kZonePackages = "qrnnetworkzone network dhcp firewall";
constexpr const char* kWiFiPath = "Device.WiFi";

constexpr ListRoutines kSentOptionRoutines{Qsc_DhcpV4ClientSentOption_Do_All,
                                           Qsc_DhcpV4ClientSentOption_Do_Index};
constexpr ListRoutines kReqOptionRoutines{Qsc_DhcpV4ClientReqOption_Do_All,
                                          Qsc_DhcpV4ClientReqOption_Do_Index};
constexpr ListRoutines kRelaySentOptionRoutines{Qsc_DhcpV4ClientXQrnRelaySentOption_Do_All,
                                                Qsc_DhcpV4ClientXQrnRelaySentOption_Do_Index};
constexpr ListRoutines kSubcodeRoutines{Qsc_DhcpV4ClientXQrnRelaySentOption1Subcode_Do_All,
                                        Qsc_DhcpV4ClientXQrnRelaySentOption1Subcode_Do_Index};

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

constexpr ObjectChoice kDNSChoices[] = {
    {ObjectChoice::kPathHolds, "X_QRN_Custom", &kWantedDns},
};
constexpr ObjectChoice kETHIfaceChoices[] = {
    {ObjectChoice::kPathHolds, "Stats", &kEthernetStats},
};
constexpr ObjectChoice kWiFiSSIDChoices[] = {
    {ObjectChoice::kPathHolds, "Stats", &kWiFiSsidStats},
};
constexpr ObjectChoice kWiFiAPChoices[] = {
    {ObjectChoice::kPathHolds, "Security", &kWiFiSecurity},
    {ObjectChoice::kPathHolds, "Accounting", &kWiFiAccounting},
    {ObjectChoice::kPathHolds, "WPS", &kWiFiWps},
    {ObjectChoice::kPathHolds, "X_QRN_ACLNotes", &kWiFiAclNotes},
    {ObjectChoice::kPathHolds, "AssociatedDevice", &kWiFiStations},
};
constexpr ObjectChoice kWiFiMultiAPChoices[] = {
    {ObjectChoice::kPathHolds, "X_QRN_MeshTopo", &kWiFiMeshTopology},
};
constexpr ObjectChoice kIPInterfaceChoices[] = {
    {ObjectChoice::kPathHolds, "IPv6", &kWanIPv6},
};
constexpr ObjectChoice kNetworkZoneChoices[] = {
    {ObjectChoice::kPathIs, "Device.X_QRN_NetworkZone", &kZoneCount},
    {ObjectChoice::kPathIs, "Device.X_QRN_NetworkZone.DataVlan", &kDataVlanCount},
    {ObjectChoice::kPathHolds, "ManagementVlan", &kManagementVlan},
    {ObjectChoice::kPathHolds, "DataVlan", &kDataVlan},
};
constexpr ObjectChoice kDDNSChoices[] = {
    {ObjectChoice::kPathIs, "Device.DynamicDNS.Client.1.Hostname.1", &kDdnsHostname},
};
constexpr ObjectChoice kPortForwardingChoices[] = {
    {ObjectChoice::kPathIs, "Device.X_QRN_Firewall.PortForwarding.", &kPortForwardings},
};
constexpr ObjectChoice kPortTriggerChoices[] = {
    {ObjectChoice::kPathIs, "Device.X_QRN_Firewall.PortTriggering.", &kPortTriggers},
};
constexpr ObjectChoice kNewZoneConfigChoices[] = {
    {ObjectChoice::kPathHolds, "DHCP", &kNewZoneLeases},
    {ObjectChoice::kPathIs, "Device.X_QRN_NewZone.", &kNewZoneCount},
};
constexpr ObjectChoice kQoSChoices[] = {
    {ObjectChoice::kPathHolds, "X_QRN_NetZone", &kQoSZone},
};
constexpr ObjectChoice kParentalControlChoices[] = {
    {ObjectChoice::kPathIs, "Device.X_QRN_Firewall.ParentalControl.", &kParentalControl},
};
constexpr ObjectChoice kSNMPChoices[] = {
    {ObjectChoice::kPathHolds, "trap", &kSnmpTrap},
};

} // namespace

SUBTREE(QSysCmdHal_Do_FunHelp, .labels = &kFunHelpLabels, .object = &kHelp, .served = QSC_OPER_GET)
SUBTREE(QSysCmdHal_Do_Version, .label = "Version", .object = &kVersion, .served = QSC_OPER_GET)
SUBTREE(QSysCmdHal_Do_SysLog, .label = "SysLog", .object = &kSystemLog)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_2ndStaticIp, .label = "X_QRN_2ndStaticIp", .object = &kSecondStaticIp,
        .packages = "network", .scripts = "network")
SUBTREE(QSysCmdHal_Do_Device_Time, .label = "Device_Time", .object = &kTime, .packages = "system",
        .commit = Qsc_DevTime_Commit, .service = Qsc_DevTime_Service)
SUBTREE(QSysCmdHal_Do_Device_Leds, .label = "Device_Leds", .object = &kLeds, .packages = "system",
        .service = system::serve_leds)
SUBTREE(QSysCmdHal_Do_SysUpg, .object = &kSysUpg, .served = QSC_OPER_SET, .actions = g_QscSysUpgCmd)
SUBTREE(QSysCmdHal_Do_DevInfo_CPU, .object = &kProcessStatus, .served = QSC_OPER_GET)
SUBTREE(QSysCmdHal_Do_DevInfo_Mem, .object = &kMemoryStatus, .served = QSC_OPER_GET)
SUBTREE(QSysCmdHal_Do_DevInfo_Flash, .object = &kFlashStatus, .served = QSC_OPER_GET)
SUBTREE(QSysCmdHal_Do_DeviceInfo, .object = &kDeviceInfo, .packages = "system", .scripts = "system")
SUBTREE(QSysCmdHal_Do_Device_DHCPv4_Client_1_SentOption, .object = &kDhcpV4SentOption,
        .applied_by = kDhcpV4ClientPath, .list = "Device.DHCPv4.Client.1.SentOption.",
        .routines = &kSentOptionRoutines)
SUBTREE(QSysCmdHal_Do_Device_DHCPv4_Client_1_ReqOption, .object = &kDhcpV4ReqOption,
        .applied_by = kDhcpV4ClientPath, .list = "Device.DHCPv4.Client.1.ReqOption.",
        .routines = &kReqOptionRoutines)
SUBTREE(QSysCmdHal_Do_Device_DHCPv4_Client_1_XQrnRelaySentOption_1_Subcode,
        .object = &kDhcpV4RelaySentOptionSubcode, .applied_by = kDhcpV4ClientPath,
        .list = "Device.DHCPv4.Client.1.X_QRN_RelaySentOption.1.Subcode.", .routines = &kSubcodeRoutines)
SUBTREE(QSysCmdHal_Do_Device_DHCPv4_Client_1_XQrnRelaySentOption, .object = &kDhcpV4RelaySentOption,
        .applied_by = kDhcpV4ClientPath, .list = "Device.DHCPv4.Client.1.X_QRN_RelaySentOption.",
        .routines = &kRelaySentOptionRoutines)
SUBTREE(QSysCmdHal_Do_Device_DHCPv4_Client_1, .label = "DHCPv4.Client.1", .object = &kDhcpV4Client,
        .packages = "qrndhcpopts network", .commit = Qsc_DhcpV4Client_Commit,
        .service = Qsc_DhcpV4Client_Service)
SUBTREE(QSysCmdHal_Do_Device_DHCPv4_ServerPool_1_StaticAddr, .object = &kDhcpV4StaticAddress,
        .applied_by = "Device.DHCPv4.Server.Pool.1", .list = "Device.DHCPv4.Server.Pool.1.StaticAddress.")
SUBTREE(QSysCmdHal_Do_Device_DHCPv4_ServerPool_1, .labels = &kDHCPv4ServerPool1Labels, .object = &kDhcpV4Pool,
        .packages = "dhcp", .scripts = "dnsmasq")
SUBTREE(QSysCmdHal_Do_Device_DNS_Cli_Server, .label = "DNS_Client_Server", .object = &kDnsServers,
        .choices = kDNSChoices, .packages = "network", .scripts = "network")
SUBTREE(QSysCmdHal_Do_Device_ETH_Iface, .labels = &kETHIfaceLabels, .object = &kEthernetInterface,
        .choices = kETHIfaceChoices, .served = QSC_OPER_GET | QSC_OPER_SET | kGetsAll, .applied_by = kWanPath)
SUBTREE(QSysCmdHal_Do_Device_ETH_CustomMac, .label = "Ethernet.CustomMac", .object = &kCustomMac,
        .packages = "network", .scripts = "network")
SUBTREE(QSysCmdHal_Do_Device_WiFi_Radio, .label = "Device_WiFi_Radio", .object = &kWiFiRadio,
        .applied_by = kWiFiPath)
SUBTREE(QSysCmdHal_Do_Device_WiFi_SSID, .label = "Device_WiFi_SSID", .object = &kWiFiSsid,
        .choices = kWiFiSSIDChoices, .packages = "mtkwireless qrnnetworkzone", .applied_by = kWiFiPath)
SUBTREE(QSysCmdHal_Do_Device_WiFi_AP, .label = "Device_WiFi_AP", .object = &kWiFiAccessPoint,
        .choices = kWiFiAPChoices, .applied_by = kWiFiPath)
SUBTREE(QSysCmdHal_Do_Device_WiFi_EP, .label = "Device_WiFi_EP", .object = &kWiFiEndPoint,
        .applied_by = kWiFiPath)
SUBTREE(QSysCmdHal_Do_Device_WiFi_MultiAP, .label = "Device_WiFi_MultiAP", .object = &kWiFiMultiAp,
        .choices = kWiFiMultiAPChoices, .applied_by = kWiFiPath)
SUBTREE(QSysCmdHal_Do_Device_WiFi, .label = "Device_WiFi", .object = &kWiFi, .packages = "mtkwireless",
        .commit = wifi::commit, .service = wifi::serve_wifi)
SUBTREE(QSysCmdHal_Do_Device_IP_Interface, .label = "IP_Interface", .object = &kWan,
        .choices = kIPInterfaceChoices, .packages = "network", .scripts = "network",
        .after_service = kUpdateInformation)
SUBTREE(QSysCmdHal_Do_Device_LLDP, .labels = &kLLDPLabels, .object = &kLldp, .packages = "lldpd",
        .service = network::serve_lldp)
SUBTREE(QSysCmdHal_Do_Device_MQTT_Client, .object = &kMqttClient, .packages = "mqtt",
        .service = services::serve_mqtt)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_ORVANE, .object = &kOrvane, .served = QSC_OPER_GET)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_CaptivePortal, .object = &kCaptivePortal, .packages = "nodogsplash",
        .scripts = "nodogsplash")
SUBTREE(QSysCmdHal_Do_Device_X_QRN_Ndsctl, .object = &kNdsctl, .served = QSC_OPER_SET)
SUBTREE(QSysCmdHal_Do_Device_Throughput, .label = "Device throughput", .object = &kThroughput,
        .served = QSC_OPER_GET)
SUBTREE(QSysCmdHal_Do_Device_Routing_Router_1_Ipv4Fwd, .object = &kIPv4Forwarding,
        .applied_by = "Device.Routing.Router.1", .list = "Device.Routing.Router.1.IPv4Forwarding.")
SUBTREE(QSysCmdHal_Do_Device_Routing_Router_1, .label = "Device_Routing Router 1", .object = &kRouter,
        .packages = "network", .scripts = "network")
SUBTREE(QSysCmdHal_Do_Device_Routing_Rip_IfSetting_1, .label = "Device_Routing RIP interface setting 1",
        .object = &kRip, .packages = "ripd", .scripts = "ripd")
SUBTREE(QSysCmdHal_Do_Device_Users_User_1, .label = "Device Users User 1", .object = &kUser,
        .packages = "users", .service = system::serve_user)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_SiteSurvey, .labels = &kXQRNSiteSurveyLabels, .object = &kSiteSurvey)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_NetworkZone, .labels = &kXQRNNetworkZoneLabels, .object = &kZone,
        .choices = kNetworkZoneChoices, .packages = kZonePackages,
        .scripts = "qrnnetworkzone network dnsmasq firewall", .commit = network::commit_zones,
        .after_service = kUpdateInformation)
SUBTREE(QSysCmdHal_Do_Device_DDNS, .label = "DDNS", .object = &kDdnsClient, .choices = kDDNSChoices,
        .service = services::serve_ddns)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_RemoteLog, .object = &kRemoteLog, .packages = "system",
        .commit = Qsc_Dev_X_QRN_Remote_Log_Commit, .service = Qsc_Dev_X_QRN_Remote_Log_Service)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_RemoteAccess_Telnet, .object = &kTelnet, .packages = "telnetd",
        .scripts = "telnetd")
SUBTREE(QSysCmdHal_Do_Device_X_QRN_RemoteAccess_SSH, .object = &kSsh, .packages = "dropbear firewall",
        .service = system::serve_ssh)
SUBTREE(QSysCmdHal_Do_PortForwarding, .label = "Port forwarding", .object = &kPortForwarding,
        .choices = kPortForwardingChoices, .packages = "firewall", .scripts = "firewall",
        .commit = services::commit_firewall)
SUBTREE(QSysCmdHal_Do_PortTrigger, .label = "Port Trigger", .object = &kPortTrigger,
        .choices = kPortTriggerChoices, .packages = "firewall", .scripts = "firewall")
SUBTREE(QSysCmdHal_Do_Device_NewZone_Config, .label = "New zone", .object = &kNewZone,
        .choices = kNewZoneConfigChoices, .packages = kZonePackages, .commit = network::commit_zones,
        .applied_by = "Device.X_QRN_NetworkZone")
SUBTREE(QSysCmdHal_Do_Device_AutoReboot, .labels = &kAutoRebootLabels, .object = &kAutoReboot,
        .packages = "autoreboot", .service = system::serve_auto_reboot)
SUBTREE(QSysCmdHal_Do_Device_Speedtest, .label = "Speedtest", .object = &kSpeedtest)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_VPN_1, .label = "X_QRN_VPN_1", .object = &kVpn1,
        .packages = "network firewall", .scripts = "network firewall")
SUBTREE(QSysCmdHal_Do_Device_X_QRN_VPN_2, .label = "X_QRN_VPN_2", .object = &kVpn2,
        .packages = "network firewall", .scripts = "network firewall")
SUBTREE(QSysCmdHal_Do_Device_X_QRN_VPN_3, .label = "X_QRN_VPN_3", .object = &kVpn3,
        .packages = "ipsec firewall", .service = services::serve_vpn)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_VPN_4, .label = "X_QRN_VPN_4", .object = &kVpn4,
        .commit = services::commit_vpn, .service = services::serve_vpn)
SUBTREE(QSysCmdHal_Do_Device_X_QRN_VPN_5, .label = "X_QRN_VPN_5", .object = &kVpn5,
        .packages = "network firewall", .scripts = "network firewall")
SUBTREE(QSysCmdHal_Do_Device_X_QRN_VPN_6, .label = "X_QRN_VPN_6", .object = &kVpn6,
        .packages = "network firewall", .scripts = "network firewall")
SUBTREE(QSysCmdHal_Do_Device_X_QRN_VPN, .label = "X_QRN_VPN", .object = &kVpn, .commit = services::commit_vpn,
        .service = services::serve_vpn)
SUBTREE(QSysCmdHal_Do_Device_QoS, .label = "Device_QoS", .object = &kQoS, .choices = kQoSChoices,
        .packages = "sqm", .service = services::serve_qos)
SUBTREE(QSysCmdHal_Do_ParentalControl, .label = "Parental control", .object = &kParentalRule,
        .choices = kParentalControlChoices, .packages = "firewall dhcp",
        .service = services::serve_parental_control)
SUBTREE(QSysCmdHal_Do_SNMP, .label = "SNMP", .object = &kSnmp, .choices = kSNMPChoices,
        .packages = "snmpd firewall", .scripts = "snmpd firewall", .commit = services::commit_snmp,
        .service = services::serve_snmp)
SUBTREE(QSysCmdHal_Do_DMZ, .label = "DMZ", .object = &kDmz, .packages = "firewall", .scripts = "firewall",
        .commit = services::commit_firewall)
SUBTREE(QSysCmdHal_Do_nDPI, .label = "nDPI", .object = &kNdpi, .packages = "ndpi", .scripts = "ndpi")

namespace
{

template <int... Number>
constexpr auto all_descriptions(std::integer_sequence<int, Number...>)
{
    return std::array{kDescription<Number>...};
}

constexpr auto kDescriptions = all_descriptions(std::make_integer_sequence<int, __COUNTER__ - kFirst>{});

} // namespace

std::span<const Subtree> qsc::subtrees()
{
    return kPacked<Subtree, kDescriptions>;
}
