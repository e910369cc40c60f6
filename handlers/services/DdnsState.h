// SPDX-License-Identifier: Apache-2.0
// What is known of the dynamic name: what its section says, and the files that the scripts keep for it, in
// which strangers have written.
#pragma once

#include "handlers/services/Package.h"

namespace qsc::services::ddns
{

inline constexpr Package kDdns{"ddns"};
inline constexpr const char* kClient = "client1";

/// Whether there is a section of ours, whether it has an option, and whether the scripts use it.
[[nodiscard]] bool has_client();
[[nodiscard]] bool has(const char* option);
[[nodiscard]] bool is_enabled();

/// Answer rows of both objects.
[[nodiscard]] u32 answer_status(const RowCall& call);
[[nodiscard]] u32 answer_error(const RowCall& call);
[[nodiscard]] u32 answer_address(const RowCall& call);
[[nodiscard]] u32 answer_host_status(const RowCall& call);
[[nodiscard]] u32 answer_last_update(const RowCall& call);

} // namespace qsc::services::ddns
