// SPDX-License-Identifier: Apache-2.0
// How handlers read and write the device configuration.
#pragma once

#include <cerrno>

#include "base/Text.h"
#include "core/Request.h"
#include "include/qrnuci.h"

namespace qsc
{

/// Reads an option. A missing one is logged as a warning and leaves the text empty.
template <std::size_t Longest, std::size_t Size>
u32 uci_read(const Call& call, const char* key, Text<Longest, Size>& value)
{
    const u32 code = value.fill([&](char* buffer, std::size_t size) {
        return QrnUci_GetString(key, buffer, static_cast<u32>(size));
    });
    if (code != 0) {
        QSC_LOG_CALL(call, kLogWarning, "%s not found\n", key);
        value.clear();
    }
    return code;
}

/// Answers with an option's text; a missing option is no error of the request and reads as empty.
[[nodiscard]] u32 uci_answer_text(const Call& call, const char* key);

/// Stores one value.
[[nodiscard]] u32 uci_write(const char* key, const char* value);

/// Takes the caller's text and stores it. EFAULT: it is too long.
template <std::size_t Longest, std::size_t Size>
[[nodiscard]] u32 uci_take_text(const Call& call, const char* key, Text<Longest, Size>& value)
{
    std::string_view text;
    if (const u32 code = take_text(call.value, text)) {
        return code;
    }
    return value.assign(text) ? uci_write(key, value.c_str()) : EFAULT;
}

} // namespace qsc
