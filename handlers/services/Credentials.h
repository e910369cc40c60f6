// SPDX-License-Identifier: Apache-2.0
// User names, identifiers and passwords, which scripts copy into lines of other programs' configuration.
#pragma once

#include "core/ServeRow.h"

namespace qsc::services
{

/// Whether a text holds none of these characters.
[[nodiscard]] inline bool is_free_of(std::string_view text, std::string_view characters)
{
    return text.find_first_of(characters) == std::string_view::npos;
}

/// Judges such a line by itself.
[[nodiscard]] u32 check_identifier(const RowCall& call, std::string_view stored);

/// Judges what is between quotes, or ends its line.
[[nodiscard]] u32 check_password(const RowCall& call, std::string_view stored);

/// Judges a user name whose password is of no use to another: another name comes with its own.
[[nodiscard]] u32 check_user_name(const RowCall& call, std::string_view stored);

/// Whether the request brings a value, which a secret is left without to stay as it is.
[[nodiscard]] bool brings_text(const RowRequest& request, const char* name);

/// Stores the user name that belongs to "Password": when the name is taken away, so is the password.
[[nodiscard]] u32 set_user_name(const RowCall& call, std::string_view stored);

} // namespace qsc::services
