/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * What the command table points at: dispatchers, parameter tables and parameter handlers. Hosts reach
 * them through the table; the names are exported for tests, tracing and device builds.
 * qsc_types.h documents the shape they share (Qsc_HandlerFunction) with its arguments and results.
 */
#ifndef QSC_HANDLERS_H
#define QSC_HANDLERS_H

#include "qsc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Dispatchers, one for each row of g_QSysCmdHalCmd, each named with its path. A get that names
 * parameters of the subtree answers those; one that names none answers all, each under its name, and
 * leaves what it had answered in the request when one fails. A set calls the handlers of the parameters
 * that the request names, in table order, and stops at the first failure. Commit and service call the
 * subtree's own function once.
 */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_FunHelp;                  /**< "help" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Version;                  /**< "version" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_SysLog;                   /**< "syslog" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_X_QRN_2ndStaticIp; /**< "Device.X_QRN_2ndStaticIp" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_Time;              /**< "Device.Time" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_Leds;              /**< "Device.LEDs" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_SysUpg;                   /**< "SysUpg" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_DevInfo_CPU;              /**< "Device.DeviceInfo.ProcessStatus" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_DevInfo_Mem;              /**< "Device.DeviceInfo.MemoryStatus" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_DevInfo_Flash; /**< "Device.DeviceInfo.X_QRN_FlashStatus" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_DeviceInfo;    /**< "Device.DeviceInfo" */
/** "Device.DHCPv4.Client.1.SentOption." */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_DHCPv4_Client_1_SentOption;
/** "Device.DHCPv4.Client.1.ReqOption." */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_DHCPv4_Client_1_ReqOption;
/** "Device.DHCPv4.Client.1.X_QRN_RelaySentOption.1.Subcode." */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_DHCPv4_Client_1_XQrnRelaySentOption_1_Subcode;
/** "Device.DHCPv4.Client.1.X_QRN_RelaySentOption." */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_DHCPv4_Client_1_XQrnRelaySentOption;
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_DHCPv4_Client_1; /**< "Device.DHCPv4.Client.1" */
/** "Device.DHCPv4.Server.Pool.1.StaticAddress." */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_DHCPv4_ServerPool_1_StaticAddr;
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_DHCPv4_ServerPool_1; /**< "Device.DHCPv4.Server.Pool.1" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_DNS_Cli_Server;      /**< "Device.DNS.Client.Server." */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_ETH_Iface;           /**< "Device.Ethernet.Interface" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_ETH_CustomMac; /**< "Device.Ethernet.X_QRN_Custommac." */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_WiFi_Radio;    /**< "Device.WiFi.Radio" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_WiFi_SSID;     /**< "Device.WiFi.SSID" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_WiFi_AP;       /**< "Device.WiFi.AccessPoint" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_WiFi_EP;       /**< "Device.WiFi.EndPoint." */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_WiFi_MultiAP;  /**< "Device.WiFi.MultiAP" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_WiFi;          /**< "Device.WiFi" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_IP_Interface;  /**< "Device.IP.Interface.1" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_LLDP;          /**< "Device.LLDP" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_MQTT_Client;   /**< "Device.MQTT.Client" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_X_QRN_ORVANE;  /**< "Device.X_QRN_Orvane" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_X_QRN_CaptivePortal; /**< "Device.X_QRN_CaptivePortal" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_X_QRN_Ndsctl;        /**< "Device.X_QRN_Ndsctl" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_Throughput;          /**< "Device.X_QRN_Throughput." */
/** "Device.Routing.Router.1.IPv4Forwarding." */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_Routing_Router_1_Ipv4Fwd;
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_Routing_Router_1; /**< "Device.Routing.Router.1" */
/** "Device.Routing.Rip.InterfaceSetting.1" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_Routing_Rip_IfSetting_1;
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_Users_User_1;      /**< "Device.Users.User.1" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_X_QRN_SiteSurvey;  /**< "Device.X_QRN_SiteSurvey" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_X_QRN_NetworkZone; /**< "Device.X_QRN_NetworkZone" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_DDNS;              /**< "Device.DynamicDNS.Client.1." */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_X_QRN_RemoteLog;   /**< "Device.X_QRN_RemoteLog" */
/** "Device.X_QRN_RemoteAccess.Telnet" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_X_QRN_RemoteAccess_Telnet;
/** "Device.X_QRN_RemoteAccess.SSH" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_X_QRN_RemoteAccess_SSH;
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_PortForwarding; /**< "Device.X_QRN_Firewall.PortForwarding." */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_PortTrigger;    /**< "Device.X_QRN_Firewall.PortTriggering." */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_NewZone_Config; /**< "Device.X_QRN_NewZone." */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_AutoReboot;     /**< "Device.X_QRN_AutoReboot" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_Speedtest;   /**< "Device.IP.Diagnostics.X_QRN_Speedtest." */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_X_QRN_VPN_1; /**< "Device.X_QRN_VPN.1" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_X_QRN_VPN_2; /**< "Device.X_QRN_VPN.2" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_X_QRN_VPN_3; /**< "Device.X_QRN_VPN.3" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_X_QRN_VPN_4; /**< "Device.X_QRN_VPN.4" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_X_QRN_VPN_5; /**< "Device.X_QRN_VPN.5" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_X_QRN_VPN_6; /**< "Device.X_QRN_VPN.6" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_X_QRN_VPN;   /**< "Device.X_QRN_VPN" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_Device_QoS;         /**< "Device.QoS" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_ParentalControl;    /**< "Device.X_QRN_Firewall.ParentalControl." */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_SNMP;               /**< "Device.X_QRN_SNMP" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_DMZ;                /**< "Device.X_QRN_DMZ" */
QSC_API Qsc_HandlerFunction QSysCmdHal_Do_nDPI;               /**< "Device.X_QRN_nDPI" */

/*
 * Parameter tables, each named with its subtree; a table that holds only its end has no handlers yet. Those
 * of larger subtrees are in headers of their own. g_QscSysUpgCmd is writable because its dispatcher hands
 * each request over in the entry's `param`.
 */
QSC_API extern const Qsc_ParamEntry g_QscFunHelpCmd[];          /**< "help" */
QSC_API extern const Qsc_ParamEntry g_QscVersionCmd[];          /**< "version" */
QSC_API extern const Qsc_ParamEntry g_QscSysLogCmd[];           /**< "syslog" */
QSC_API extern const Qsc_ParamEntry g_Qsc2ndStaticIpCmd[];      /**< "Device.X_QRN_2ndStaticIp" */
QSC_API extern const Qsc_ParamEntry g_QscDeviceLedsCmd[];       /**< "Device.LEDs" */
QSC_API extern Qsc_ParamEntry g_QscSysUpgCmd[];                 /**< "SysUpg" */
QSC_API extern const Qsc_ParamEntry g_QscDevInfoCPUCmd[];       /**< "Device.DeviceInfo.ProcessStatus" */
QSC_API extern const Qsc_ParamEntry g_QscDevInfoMemCmd[];       /**< "Device.DeviceInfo.MemoryStatus" */
QSC_API extern const Qsc_ParamEntry g_QscDevInfoFlashCmd[];     /**< "Device.DeviceInfo.X_QRN_FlashStatus" */
QSC_API extern const Qsc_ParamEntry g_QscDeviceInfoCmd[];       /**< "Device.DeviceInfo" */
QSC_API extern const Qsc_ParamEntry g_QscDhcpV4ServerPoolCmd[]; /**< "Device.DHCPv4.Server.Pool.1" */
QSC_API extern const Qsc_ParamEntry g_QscEthIfaceCmd[];         /**< "Device.Ethernet.Interface" */
QSC_API extern const Qsc_ParamEntry g_QscIpv4InterfaceCmd[];    /**< "Device.IP.Interface.1" */
QSC_API extern const Qsc_ParamEntry g_QscDevLLDPCmd[];          /**< "Device.LLDP" */
QSC_API extern const Qsc_ParamEntry g_QscDeviceRoutingRouter1Cmd[]; /**< "Device.Routing.Router.1" */
/** "Device.Routing.Rip.InterfaceSetting.1" */
QSC_API extern const Qsc_ParamEntry g_QscDevRtingRipIfSetting1Cmd[];
QSC_API extern const Qsc_ParamEntry g_QscDeviceUsersUser1Cmd[]; /**< "Device.Users.User.1" */
QSC_API extern const Qsc_ParamEntry g_QscSiteSurveyNumcmd[];    /**< "Device.X_QRN_SiteSurvey" */
QSC_API extern const Qsc_ParamEntry g_QscAutoRebootCmd[];       /**< "Device.X_QRN_AutoReboot" */
QSC_API extern const Qsc_ParamEntry g_QscVpn1Cmd[];             /**< "Device.X_QRN_VPN.1" */
QSC_API extern const Qsc_ParamEntry g_QscVpn2Cmd[];             /**< "Device.X_QRN_VPN.2" */
QSC_API extern const Qsc_ParamEntry g_QscVpn3Cmd[];             /**< "Device.X_QRN_VPN.3" */
QSC_API extern const Qsc_ParamEntry g_QscVpn4Cmd[];             /**< "Device.X_QRN_VPN.4" */
QSC_API extern const Qsc_ParamEntry g_QscVpn5Cmd[];             /**< "Device.X_QRN_VPN.5" */
QSC_API extern const Qsc_ParamEntry g_QscVpn6Cmd[];             /**< "Device.X_QRN_VPN.6" */
QSC_API extern const Qsc_ParamEntry g_QscVpnMainCmd[];          /**< "Device.X_QRN_VPN" */
QSC_API extern const Qsc_ParamEntry g_QscDMZCmd[];              /**< "Device.X_QRN_DMZ" */
QSC_API extern const Qsc_ParamEntry g_QscnDPICmd[];             /**< "Device.X_QRN_nDPI" */
QSC_API extern const Qsc_ParamEntry g_QscDevXQRNRemoteLogCmd[]; /**< "Device.X_QRN_RemoteLog" */

/**
 * "help", "list": completes a list of subtrees. Get only (otherwise 22).
 *
 * Works on the array "function" of its object, elements of {"id", "name"}: a missing or empty array is
 * filled with every subtree; otherwise each element that has only one of the two gets the other.
 *
 * @retval 14 an id or a name that no subtree has
 * @retval 22 "function" is not an array
 */
QSC_API Qsc_HandlerFunction Qsc_FunHelp_Do_List;

/*
 * "version". Each answers a text under "version", get only. The program and firmware versions come from
 * the entry's `param` (a text's address) or, where that is 0 or empty, from the host's Qsc_VersionRecord.
 */
QSC_API Qsc_HandlerFunction Qsc_Version_Do_HalVer;  /**< "halver": this library's version */
QSC_API Qsc_HandlerFunction Qsc_Version_Do_ProgVer; /**< "progver": the host program's version */
QSC_API Qsc_HandlerFunction Qsc_Version_Do_FwVer;   /**< "fwver": the firmware's version */

/* "syslog". Integers of 0 to 7; a set of anything else is refused with 14. */
QSC_API Qsc_HandlerFunction Qsc_SysLog_Do_Level;    /**< "level": the library log's level */
QSC_API Qsc_HandlerFunction Qsc_SysLog_Do_Property; /**< "property": the library log's QSLOG_ bits */

/* "Device.X_QRN_RemoteLog". Texts of at most 126 characters; a longer one is refused with 14. */
QSC_API Qsc_HandlerFunction Qsc_Dev_X_QRN_Remote_Log_Do_Enable;   /**< system.@system[0].log_remote */
QSC_API Qsc_HandlerFunction Qsc_Dev_X_QRN_Remote_Log_Do_Protocol; /**< system.@system[0].log_proto */
QSC_API Qsc_HandlerFunction Qsc_Dev_X_QRN_Remote_Log_Do_Server;   /**< system.@system[0].log_ip */
QSC_API Qsc_HandlerFunction Qsc_Dev_X_QRN_Remote_Log_Do_Port;     /**< system.@system[0].log_port */
QSC_API Qsc_HandlerFunction Qsc_Dev_X_QRN_Remote_Log_Do_Prefix;   /**< system.@system[0].log_prefix */

/** Commits the package "system", once. */
QSC_API Qsc_HandlerFunction Qsc_Dev_X_QRN_Remote_Log_Commit;

/**
 * Runs the init scripts "log", then "system", with the action that the request names.
 *
 * @param[in]     path     not read
 * @param[in,out] request  its text "action" is the scripts' argument; gets "ParamId"
 * @retval 0  both ran
 * @retval 22 no request, or not an object
 * @retval 14 "action" is missing, empty, too long, or holds a control character or one of `;|&{}$<>;
 *            nothing runs. Also: a script failed.
 */
QSC_API uint32_t Qsc_Dev_X_QRN_Remote_Log_Service(const char *path, struct json_object *request);

#ifdef __cplusplus
}
#endif

#endif
