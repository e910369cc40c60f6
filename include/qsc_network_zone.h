/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * Network zones: which interfaces belong together. They are the sections of type "zone" in the package
 * "qrnnetworkzone", each named after its zone, with its "name", its VLAN "vid" and the list "iface".
 */
#ifndef QSC_NETWORK_ZONE_H
#define QSC_NETWORK_ZONE_H

#include "qsc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Finds the zone of an interface.
 *
 * @param[in]  iface  the interface's name
 * @param[out] zone   gets the zone's name; cleared when there is none
 * @param[in]  size   of the buffer, in bytes
 * @retval 0  found
 * @retval 14 it is in no zone, or the zone's name does not fit
 * @retval 22 a null argument, an empty name, or no room
 */
QSC_API uint32_t QscGetNetworkZoneByIface(const char *iface, char *zone, uint32_t size);

/**
 * Moves an interface to a zone: it is added there, then taken out of every other.
 *
 * @param[in] iface  the interface's name
 * @param[in] zone   the zone's name
 * @retval 0  done, or it was there
 * @retval 14 there is no such zone; nothing moves
 * @retval 22 a null argument, or an empty interface
 * @return otherwise the code of the configuration library
 */
QSC_API uint32_t QscSwitchIfaceNetworkZone(const char *iface, const char *zone);

#ifdef __cplusplus
}
#endif

#endif
