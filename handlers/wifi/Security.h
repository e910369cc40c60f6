// SPDX-License-Identifier: Apache-2.0
// What makes the security of an access point whole.
#pragma once

#include "handlers/wifi/AccessPoint.h"

namespace qsc::wifi
{

/// What the security of an access point lacks, or has too much, as the end of a sentence that begins with its
/// mode; null: it is whole.
[[nodiscard]] const char* find_security_fault(i32 instance);

/// Whether an access point lets in anyone, and encrypts nothing.
[[nodiscard]] bool is_open(const Vap& vap);

/// Whether devices can be paired with an access point of its mode by a button or a number.
[[nodiscard]] bool takes_pairing(const Vap& vap);

/// Refuses to commit while an enabled access point has no whole security.
[[nodiscard]] u32 check_all_security();

/// Whether it is a passphrase from which WPA makes keys: 8 to 63 characters of ASCII.
[[nodiscard]] bool is_passphrase(std::string_view text);

/// Whether it is a passphrase or a key of 64 hexadecimal digits.
[[nodiscard]] bool is_pre_shared_key(std::string_view text);

} // namespace qsc::wifi
