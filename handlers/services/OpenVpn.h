// SPDX-License-Identifier: Apache-2.0
// The file of the OpenVPN client.
#pragma once

#include "core/StagedFile.h"

namespace qsc::services
{

/// The program's own script starts whatever ends in ".conf" in its folder; this file does not.
inline constexpr StagedFile kOpenVpnFile{
    .folder = "/etc/openvpn", .path = "/etc/openvpn/vpn4.ovpn", .staged = "/etc/openvpn/vpn4.ovpn.qrn"};

} // namespace qsc::services
