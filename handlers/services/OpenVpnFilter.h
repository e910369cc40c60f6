// SPDX-License-Identifier: Apache-2.0
// What may stand in the configuration file of an OpenVPN client. The program can be told to run others, to
// load plugins, and to read and write any file; none of that is taken.
#pragma once

#include <string_view>

#include "base/SafeFile.h"

namespace qsc::services
{

inline constexpr std::size_t kMostOpenVpn = std::size_t{32} * 1024;

struct OpenVpnFault {
    const char* why = nullptr; ///< null: there is none
    u32 line = 0;              ///< 0: it is the file's as a whole
};

/// Takes a file, and writes anew what it says: nothing that was not understood gets through.
[[nodiscard]] OpenVpnFault filter_openvpn(std::string_view text, FileText& file);

} // namespace qsc::services
