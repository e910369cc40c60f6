// SPDX-License-Identifier: Apache-2.0
// The exported tables that have no rows yet, and the object of all that is not served. An object moves from
// here to a file of its own when its rows are written.
#include "core/Objects.h"
#include "core/Tables.h"
#include "include/qsc_handlers.h"

using qsc::kTableEnd;

QSC_DEFINE_OBJECT(kUnserved, .path = "")

#define UNSERVED(NAME, PATH, TABLE)                                                                          \
    const Qsc_ParamEntry TABLE[] = {kTableEnd};                                                              \
    QSC_DEFINE_OBJECT(NAME, .path = (PATH), .table = (TABLE))

UNSERVED(kVpn, "Device.X_QRN_VPN", g_QscVpnMainCmd)
UNSERVED(kVpn1, "Device.X_QRN_VPN.1", g_QscVpn1Cmd)
UNSERVED(kVpn2, "Device.X_QRN_VPN.2", g_QscVpn2Cmd)
UNSERVED(kVpn3, "Device.X_QRN_VPN.3", g_QscVpn3Cmd)
UNSERVED(kVpn4, "Device.X_QRN_VPN.4", g_QscVpn4Cmd)
UNSERVED(kVpn5, "Device.X_QRN_VPN.5", g_QscVpn5Cmd)
UNSERVED(kVpn6, "Device.X_QRN_VPN.6", g_QscVpn6Cmd)
