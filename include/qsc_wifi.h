/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * "Device.WiFi.Radio" and "Device.WiFi.SSID": the radios, their regulatory channel tables, and the virtual
 * access points. qsc_types.h documents the shape of the handlers.
 *
 * The instance number is part of the path, in decimal, with 0x or with a leading 0: radios 1 (2.4 GHz) and
 * 2 (5 GHz), names 1 to 8 on the first and 11 to 18 on the second. No path and instances that do not exist
 * are refused with 22. Settings are in the package "mtkwireless", in the section of the radio's main
 * interface; a set is staged at once and recorded as an event. A missing option reads as 0 or the empty text,
 * and a warning is logged. What was stored stays stored when a later step fails.
 *
 * The MQTT commander gets and sends words: "true" and "false" for switches, "auto" for channel 0, names for
 * bandwidths and standards; on a set it may send the number as well. All other commanders use integers.
 *
 * Further codes: 14 a value that is refused, too long (over 127 characters) or of the wrong type, a read-only
 * parameter, or a command that failed; 12 no memory for the answer.
 */
#ifndef QSC_WIFI_H
#define QSC_WIFI_H

#include "qsc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The parameters of "Device.WiFi.Radio". "Live" ones reach the driver at once while the radio is on. */
QSC_API Qsc_HandlerFunction Qsc_DevWiFiRadio_Do_Enable; /**< radioOn; MQTT true, false */
/** band: "b,g,n" and the like, MQTT "802.11n" on a set and the last word on a get. Live, on all interfaces.
 */
QSC_API Qsc_HandlerFunction Qsc_DevWiFiRadio_Do_OperStandards;
/** Get only: the channels that the stored country allows, such as "1,2,3"; 14 if there is no such country. */
QSC_API Qsc_HandlerFunction Qsc_DevWiFiRadio_Do_PossibleChannels;
/** 1 while the stored channel is 0. Setting 1 stores channel 0; 0 only leaves a record. MQTT true, false. */
QSC_API Qsc_HandlerFunction Qsc_DevWiFiRadio_Do_AutoChannelEnable;
/** The channel that the driver is on; a set stores and drives it. MQTT reads "auto" or, without mesh, 0. */
QSC_API Qsc_HandlerFunction Qsc_DevWiFiRadio_Do_Channel;
/** bandwidth: 0 to 3 for 20, 40, 80 and 160 MHz, MQTT "20MHz" to "160MHz". Live. */
QSC_API Qsc_HandlerFunction Qsc_DevWiFiRadio_Do_OperChannelBandwidth;
QSC_API Qsc_HandlerFunction Qsc_DevWiFiRadio_Do_TransmitPower;     /**< txpower. Live. */
QSC_API Qsc_HandlerFunction Qsc_DevWiFiRadio_Do_IEEE80211hEnabled; /**< doth; MQTT enable, disable. Live. */
/** country: two letters, stored in upper case; 22 if they are not two, 14 if no table row has them. */
QSC_API Qsc_HandlerFunction Qsc_DevWiFiRadio_Do_RegulatoryDomain;
/** channel, while it holds channels separated by ";"; a set always makes the driver choose anew. */
QSC_API Qsc_HandlerFunction Qsc_DevWiFiRadio_Do_XQRNAutoChannelSkipList;
QSC_API Qsc_HandlerFunction Qsc_DevWiFiRadio_Do_XQRNZeroWaitDFS;   /**< zerowaitdfs of 5 GHz; else nothing */
QSC_API Qsc_HandlerFunction Qsc_DevWiFiRadio_Do_XQRNATF;           /**< atf; MQTT true, false. Live. */
QSC_API Qsc_HandlerFunction Qsc_DevWiFiRadio_Do_XQRNRSSIThold;     /**< rssithold */
QSC_API Qsc_HandlerFunction Qsc_DevWiFiRadio_Do_XQRNExBeamforming; /**< etxbfen. Live. */
QSC_API Qsc_HandlerFunction Qsc_DevWiFiRadio_Do_XQRNImBeamforming; /**< itxbfen. Live. */
/** Get only: what `qrnstainfo` prints for the radio; both parameters answer alike. */
QSC_API Qsc_HandlerFunction Qsc_DevWiFiRadio_Do_XQRNAssociatedNumber2G;
QSC_API Qsc_HandlerFunction Qsc_DevWiFiRadio_Do_XQRNAssociatedNumber5G; /**< as the one before */

/** The table of "Device.WiFi.Radio". */
QSC_API extern const Qsc_ParamEntry g_QscDeviceWiFiRadioCmd[];

/* The parameters of "Device.WiFi.SSID". */
QSC_API Qsc_HandlerFunction Qsc_DevWiFiSSID_Do_Enable; /**< the access point's switch; MQTT true, false */
QSC_API Qsc_HandlerFunction Qsc_DevWiFiSSID_Do_Status; /**< succeeds and answers nothing */
QSC_API Qsc_HandlerFunction Qsc_DevWiFiSSID_Do_Name;   /**< succeeds and answers nothing */
/** The radios that carry the access point: their paths, separated by a comma. */
QSC_API Qsc_HandlerFunction Qsc_DevWiFiSSID_Do_LowerLayers;
QSC_API Qsc_HandlerFunction Qsc_DevWiFiSSID_Do_BSSID;      /**< get only: the driver's address */
QSC_API Qsc_HandlerFunction Qsc_DevWiFiSSID_Do_MACAddress; /**< succeeds and answers nothing */
/** The name. With the mesh on it is the mesh's, read from its topology dump; with the mesh off a set reaches
 * the driver of both radios, wherever the access point is enabled. Any bytes that JSON can carry but NUL. */
QSC_API Qsc_HandlerFunction Qsc_DevWiFiSSID_Do_SSID;
QSC_API Qsc_HandlerFunction Qsc_DevWiFiSSID_Do_X_QRN_NetworkZone; /**< the zone of its interface */
QSC_API Qsc_HandlerFunction Qsc_DevWiFiSSID_Do_X_QRN_VLANID;      /**< vid of that zone */

/* "Device.WiFi.SSID.<n>.Stats". Get only: the kernel's counters of the interface, as texts. */
QSC_API Qsc_HandlerFunction Qsc_DevWiFiSSIDStats_Do_BytesSent;
QSC_API Qsc_HandlerFunction Qsc_DevWiFiSSIDStats_Do_BytesReceived;

/** The table of "Device.WiFi.SSID". */
QSC_API extern const Qsc_ParamEntry g_QscDeviceWiFiSSIDCmd[];
/** The table of "Device.WiFi.SSID.<n>.Stats". */
QSC_API extern const Qsc_ParamEntry g_QscDeviceWiFiSSIDStatsCmd[];

/** The channels of a 2.4 GHz region, separated by commas. */
typedef struct {
    uint8_t region[2]; /**< little-endian */
    char channels[36];
} Qsc_BgRegion;

/** The channels of a 5 GHz region, separated by commas. */
typedef struct {
    uint8_t region[2]; /**< little-endian */
    char channels[128];
} Qsc_ARegion;

/** A country and its regions. */
typedef struct {
    char country[8]; /**< two upper-case letters */
    const Qsc_BgRegion *bg;
    const Qsc_ARegion *a;
} Qsc_CountryRegion;

QSC_API extern const Qsc_CountryRegion Country_Region_Table[7];
QSC_API extern const Qsc_BgRegion BG_Region_CH_Table[12]; /**< the last row is all zero */
QSC_API extern const Qsc_ARegion A_Region_CH_Table[16];   /**< the last row is all zero */

#ifdef __cplusplus
}
#endif

#endif
