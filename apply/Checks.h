// SPDX-License-Identifier: Apache-2.0
// Checks by which the device itself judges a change: whether it still reaches its gateway, its name servers,
// a server, or whatever a program of the operator's looks at.
#pragma once

#include <string_view>

#include "base/Types.h"

struct json_object;

namespace qsc::apply
{

inline constexpr std::size_t kMostChecks = 8;

/// Whether a text is a check: "gateway", "dns", "url:" with an address of HTTP, or a program with its
/// arguments, with blanks between them. Otherwise refuse() says why. @return 0 or EINVAL
[[nodiscard]] u32 judge_check(std::string_view check);

/// Whether a check runs a program that the caller has named.
[[nodiscard]] bool is_command(std::string_view check);

/// Runs one check, for at most ten seconds. @return 0: it is passed; EFAULT: it is not, and refuse() says why
[[nodiscard]] u32 run_check(std::string_view check);

} // namespace qsc::apply
