// SPDX-License-Identifier: Apache-2.0
// The accounts of the device: /etc/passwd, /etc/shadow and /etc/shells.
#pragma once

#include <array>

#include "core/RowSource.h"

namespace qsc::system
{

inline constexpr const char* kPasswd = "/etc/passwd";
inline constexpr const char* kShadow = "/etc/shadow";

/// The fields of a line, which have colons between them.
struct Account {
    static constexpr std::size_t kHash = 1; ///< in the shadow file
    static constexpr std::size_t kId = 2;
    static constexpr std::size_t kShell = 6;
    std::array<std::string_view, 9> fields;
};

/// Finds an account in the text of a file. False: there is none.
[[nodiscard]] bool find_account(std::string_view text, std::string_view name, Account& account);

/// Whether the hash is that of a password, be the account locked or not.
[[nodiscard]] bool has_password(std::string_view hash);

/// Whether /etc/shells lists a shell.
[[nodiscard]] bool is_shell(Sources& sources, std::string_view shell);

/// Whether somebody other than root and `except` can log in: a shell that is listed, a password, not locked.
[[nodiscard]] bool has_other_account(Sources& sources, std::string_view except);

/// Replaces one field of an account in its file, whose other lines stay byte for byte. 0 also when it is that
/// already.
[[nodiscard]] u32 change_account(const char* path, std::string_view name, std::size_t field,
                                 std::string_view value, mode_t mode);

} // namespace qsc::system
