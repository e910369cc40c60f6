/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * "Device.DHCPv4.Client.1": the DHCPv4 client on the WAN side and the options it sends and requests.
 * qsc_types.h documents the shape of the handlers.
 */
#ifndef QSC_DHCPV4_CLIENT_H
#define QSC_DHCPV4_CLIENT_H

#include "qsc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * The parameters of "Device.DHCPv4.Client.1", in the section network.wan. Texts of at most 126 characters; a
 * longer one is refused with 14. Each set is staged at once and recorded as an event.
 */
QSC_API Qsc_HandlerFunction Qsc_DhcpV4Client_Do_Enable; /**< disabled, inverted: "1" or "0"; else 14 */
/** broadcast, "0" if missing. While proto is not "dhcp", a set deletes it, whatever was sent. */
QSC_API Qsc_HandlerFunction Qsc_DhcpV4Client_Do_Broadcast;
QSC_API Qsc_HandlerFunction Qsc_DhcpV4Client_Do_SentOptionNumberOfEntries; /**< "2", get only */
QSC_API Qsc_HandlerFunction Qsc_DhcpV4Client_Do_ReqOptionNumberOfEntries;  /**< "1", get only */
QSC_API Qsc_HandlerFunction Qsc_DhcpV4Client_Do_XQrnPppoeUsername;         /**< username */
QSC_API Qsc_HandlerFunction
    Qsc_DhcpV4Client_Do_XQrnPppoePassword; /**< password; reads back as the empty text */

/*
 * The options. Each instance is one option tag with a section of the package "qrndhcpopts" of its own. A
 * parameter handler finds its instance in the QSCBase_ParamId that `param` points at; 0 means instance
 * 1, and an instance that does not exist is refused with 22. A change is staged at once, marked in "update",
 * and reaches the DHCP client at the next commit.
 *
 * Tag: the option's number, get only. Value: the value in the form sent. XQrnValueStr: the value as text.
 * Both take at most 510 characters (else 14). Enable: "1" or "0" (else 14).
 */
QSC_API Qsc_HandlerFunction Qsc_DhcpV4ClientSentOption_Do_Tag;          /**< "60" and "61" */
QSC_API Qsc_HandlerFunction Qsc_DhcpV4ClientSentOption_Do_Value;        /**< input */
QSC_API Qsc_HandlerFunction Qsc_DhcpV4ClientSentOption_Do_Enable;       /**< enable */
QSC_API Qsc_HandlerFunction Qsc_DhcpV4ClientSentOption_Do_XQrnValueStr; /**< instr */
QSC_API Qsc_IndexFunction Qsc_DhcpV4ClientSentOption_Do_Index;          /**< one of instances 1 and 2 */
/** Get only (else 22): all instances, as children of the request named by their paths. */
QSC_API Qsc_HandlerFunction Qsc_DhcpV4ClientSentOption_Do_All;

QSC_API Qsc_HandlerFunction Qsc_DhcpV4ClientReqOption_Do_Tag;    /**< "43" */
QSC_API Qsc_HandlerFunction Qsc_DhcpV4ClientReqOption_Do_Value;  /**< input */
QSC_API Qsc_HandlerFunction Qsc_DhcpV4ClientReqOption_Do_Enable; /**< enable */
QSC_API Qsc_IndexFunction Qsc_DhcpV4ClientReqOption_Do_Index;    /**< instance 1 */
QSC_API Qsc_HandlerFunction Qsc_DhcpV4ClientReqOption_Do_All;    /**< as for the sent options */

QSC_API Qsc_HandlerFunction Qsc_DhcpV4ClientXQrnRelaySentOption_Do_Tag;          /**< "82" */
QSC_API Qsc_HandlerFunction Qsc_DhcpV4ClientXQrnRelaySentOption_Do_Enable;       /**< enable */
QSC_API Qsc_HandlerFunction Qsc_DhcpV4ClientXQrnRelaySentOption_Do_Value;        /**< input */
QSC_API Qsc_HandlerFunction Qsc_DhcpV4ClientXQrnRelaySentOption_Do_XQrnValueStr; /**< instr */
QSC_API Qsc_IndexFunction Qsc_DhcpV4ClientXQrnRelaySentOption_Do_Index;          /**< instance 1 */
QSC_API Qsc_HandlerFunction Qsc_DhcpV4ClientXQrnRelaySentOption_Do_All; /**< as for the sent options */

QSC_API Qsc_HandlerFunction Qsc_DhcpV4ClientXQrnRelaySentOption1Subcode_Do_Subcode;      /**< "1", get only */
QSC_API Qsc_HandlerFunction Qsc_DhcpV4ClientXQrnRelaySentOption1Subcode_Do_Tag;          /**< "82" */
QSC_API Qsc_HandlerFunction Qsc_DhcpV4ClientXQrnRelaySentOption1Subcode_Do_Enable;       /**< enable */
QSC_API Qsc_HandlerFunction Qsc_DhcpV4ClientXQrnRelaySentOption1Subcode_Do_Value;        /**< input */
QSC_API Qsc_HandlerFunction Qsc_DhcpV4ClientXQrnRelaySentOption1Subcode_Do_XQrnValueStr; /**< instr */
QSC_API Qsc_IndexFunction Qsc_DhcpV4ClientXQrnRelaySentOption1Subcode_Do_Index; /**< one of 1 and 2 */
QSC_API Qsc_HandlerFunction
    Qsc_DhcpV4ClientXQrnRelaySentOption1Subcode_Do_All; /**< as for the sent options */

/** The table of "Device.DHCPv4.Client.1.SentOption.". */
QSC_API extern const Qsc_ParamEntry g_QscDhcpV4ClientSentOptionCmd[];
/** The table of "Device.DHCPv4.Client.1.ReqOption.". */
QSC_API extern const Qsc_ParamEntry g_QscDhcpV4ClientReqOptionCmd[];
/** The table of "Device.DHCPv4.Client.1.X_QRN_RelaySentOption.". */
QSC_API extern const Qsc_ParamEntry g_QscDhcpV4ClientXQrnRelaySentOptionCmd[];
/** The table of "Device.DHCPv4.Client.1.X_QRN_RelaySentOption.1.Subcode.". */
QSC_API extern const Qsc_ParamEntry g_QscDhcpV4ClientXQrnRelaySentOption1SubcodeCmd[];
/** The table of "Device.DHCPv4.Client.1". */
QSC_API extern const Qsc_ParamEntry g_QscDhcpV4ClientCmd[];

/**
 * Whether a sent option exists.
 *
 * @param[in] instance  1 or 2
 * @param[in] mode      0: its target section is in the configuration; 2: it has a value string
 * @retval 1 it exists
 * @retval 0 it does not, or there is no such instance or mode
 */
QSC_API uint32_t _Qsc_DhcpV4ClientSentOption_CheckExist(uint32_t instance, uint32_t mode);

/**
 * Brings what the DHCP client reads in line with the options that are marked in "update": an enabled one is
 * written to its target, a disabled one taken out, and its mark becomes "0".
 *
 * @param[in] force  0: only if an option has changed since the last commit; otherwise marked or not
 * @retval 0 done, or nothing to do
 * @retval 14 also: an option or the list of requested options is too long to be read whole; it stays as it is
 * @return otherwise the code of the configuration library
 */
QSC_API uint32_t _Qsc_DhcpV4ClientSentOption_Update(uint32_t force);
QSC_API uint32_t _Qsc_DhcpV4ClientReqOption_Update(uint32_t force);              /**< as for sent options */
QSC_API uint32_t _Qsc_DhcpV4ClientRelaySentOption_Update(uint32_t force);        /**< as for sent options */
QSC_API uint32_t _Qsc_DhcpV4ClientRelaySentOptionSubcode_Update(uint32_t force); /**< as for sent options */

/**
 * Updates the targets of all options, then commits the packages of the request's array "package", or
 * "qrndhcpopts". The targets of sent and requested options are in "network", which the caller names too if
 * they are to take effect.
 */
QSC_API Qsc_HandlerFunction Qsc_DhcpV4Client_Commit;

/**
 * Runs the init script "network" with the request's "action".
 *
 * @param[in]     path     not read
 * @param[in,out] request  its text "action" is the script's argument; gets "ParamId"
 * @retval 0  done
 * @retval 22 no request, or not an object
 * @retval 14 "action" is missing, empty, too long, or holds a control character or one of `;|&{}$<>; also:
 * the script could not be run, or its exit code is not 0
 */
QSC_API uint32_t Qsc_DhcpV4Client_Service(const char *path, struct json_object *request);

#ifdef __cplusplus
}
#endif

#endif
