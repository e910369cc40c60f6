/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * "Device.Time": the NTP client, the local time and the time zone. qsc_types.h documents the shape of the
 * handlers.
 */
#ifndef QSC_DEVICE_TIME_H
#define QSC_DEVICE_TIME_H

#include "qsc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * The parameters of "Device.Time". A missing option reads as the empty text, or 0, and a warning is logged.
 * Texts of at most 126 characters; a longer one is refused with 14, a longer time with 22. Each set is staged
 * at once and recorded as an event.
 */
QSC_API Qsc_HandlerFunction Qsc_DevTime_Do_Enable; /**< system.ntp.enabled, an integer; 1 is on */
/** Get only. "Disabled", "Unsynchronized", or the word that the NTP service left in /tmp/.ntpstatus
 *  ("Error_FailedToSynchronize" if it left none). */
QSC_API Qsc_HandlerFunction Qsc_DevTime_Do_Status;
QSC_API Qsc_HandlerFunction Qsc_DevTime_Do_NtpServer1; /**< first item of the list system.ntp.server */
QSC_API Qsc_HandlerFunction Qsc_DevTime_Do_NtpServer2; /**< second item */
QSC_API Qsc_HandlerFunction Qsc_DevTime_Do_NtpServer3; /**< third item */
QSC_API Qsc_HandlerFunction Qsc_DevTime_Do_NtpServer4; /**< fourth item */
QSC_API Qsc_HandlerFunction Qsc_DevTime_Do_NtpServer5; /**< fifth item */
/** The local time, YYYY-MM-DDTHH:MM:SS. A set runs "date -s" and stores nothing; 22 for more than two dashes,
 *  14 for one of `;|&{}$<>. */
QSC_API Qsc_HandlerFunction Qsc_DevTime_Do_CurrentLocalTime;
QSC_API Qsc_HandlerFunction
    Qsc_DevTime_Do_LocalTimeZone; /**< system.@system[0].timezone, a POSIX TZ string */
/** system.@system[0].tzlocation: a location of g_QscTZData in any letter case, or "UserDefined"; else 14. */
QSC_API Qsc_HandlerFunction Qsc_DevTime_Do_XQrnTimeZoneLocation;
/** system.ntp.dstdisable, an integer; 1 takes the daylight-saving rules off the zone at the next commit. */
QSC_API Qsc_HandlerFunction Qsc_DevTime_Do_XQrnDSTDisable;

/** The table of "Device.Time". */
QSC_API extern const Qsc_ParamEntry g_QscDeviceTimeCmd[];

/**
 * Brings the zone string in line with the location, then commits the packages of the request's array
 * "package", or "system". An unknown or empty location commits nothing and is no error.
 */
QSC_API Qsc_HandlerFunction Qsc_DevTime_Commit;

/**
 * Restarts "system" if the zone has changed since it was restarted last, then runs the init script "sysntpd"
 * with the request's "action". A failed restart ends the service and is tried again by the next one.
 *
 * @param[in]     path     not read
 * @param[in,out] request  its text "action" is the script's argument; gets "ParamId"
 * @retval 0  done
 * @retval 22 no request, or not an object
 * @retval 14 "action" is missing, empty, too long, or holds a control character or one of `;|&{}$<>, and
 * nothing runs; or a script failed
 */
QSC_API uint32_t Qsc_DevTime_Service(const char *path, struct json_object *request);

/** A location and the POSIX TZ string of its current rule. */
typedef struct {
    const char *location; /**< the name in the IANA database, with blanks for underscores */
    const char *rule;
} Qsc_TimeZone;

/** All locations, sorted by their bytes; a row of two nulls ends them. */
QSC_API extern const Qsc_TimeZone g_QscTZData[];

/**
 * Looks up a location's zone string, whatever its letter case.
 *
 * @param[in]  location  null and empty are unknown
 * @param[out] buffer    gets the zone string, cut to size - 1 characters; cleared if it is "UserDefined" or
 *                       unknown
 * @param[in]  size      in bytes; below 8 nothing is done
 * @retval 1 found
 * @retval 2 "UserDefined": the zone string is whatever the user has set
 * @retval 0 unknown, or no buffer; without location or room the buffer is left alone
 */
QSC_API uint32_t Qsc_TZ_FindTimeZone(const char *location, char *buffer, uint32_t size);

/**
 * Cuts the daylight-saving part off a POSIX TZ string whose rules have the month form (",M"). A string
 * without such rules is left as it is.
 *
 * @param[in,out] zone  edited in place
 * @retval 0  done, or nothing to do
 * @retval 14 no standard time precedes the daylight-saving part
 * @retval 22 null, empty, or the rules come first
 */
QSC_API uint32_t Qsc_TZ_RemoveDaylightSavingTime(char *zone);

#ifdef __cplusplus
}
#endif

#endif
