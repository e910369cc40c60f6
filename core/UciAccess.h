// SPDX-License-Identifier: Apache-2.0
// How handlers read and write the device configuration: the building blocks of every parameter that is
// an option, and the commit of packages.
#pragma once

#include <cerrno>

#include "base/Text.h"
#include "core/Refusal.h"
#include "core/Request.h"
#include "include/qrnuci.h"

namespace qsc
{

/// Reads an option quietly. A missing one leaves the text empty.
template <std::size_t Longest, std::size_t Size>
u32 uci_peek(const char* key, Text<Longest, Size>& value)
{
    const u32 code = value.fill([&](char* buffer, std::size_t size) {
        return QrnUci_GetString(key, buffer, static_cast<u32>(size));
    });
    if (code != 0) {
        note_read(code);
        value.clear();
    }
    return code;
}

/// Whether there is no option of that name, asked after a read that failed with EFAULT: that code also stands
/// for a value that is too long.
[[nodiscard]] bool uci_is_missing(const char* key);

/// Reads an option that is to be changed or compared: only a missing one is empty. Otherwise the code of the
/// read; EFAULT: the value is too long.
template <std::size_t Longest, std::size_t Size>
[[nodiscard]] u32 uci_read_whole(const char* key, Text<Longest, Size>& value)
{
    const u32 code = uci_peek(key, value);
    return code == EFAULT && uci_is_missing(key) ? 0 : code;
}

/// Whether a package has a file at all. Without one it cannot be read, and nothing can be stored in it.
[[nodiscard]] bool is_installed(std::string_view package);

/// Whether an option holds exactly this text.
[[nodiscard]] bool uci_holds(const char* key, std::string_view text);

/// The same where "no" has consequences: a failure to read is none. @return the code of the read; 0: missing
[[nodiscard]] u32 uci_compare(const char* key, std::string_view text, bool& is_equal);

/// Reads an option for an answer: a missing one is logged as a warning and leaves the text empty.
template <std::size_t Longest, std::size_t Size>
u32 uci_read(const Call& call, const char* key, Text<Longest, Size>& value)
{
    const u32 code = uci_peek(key, value);
    if (code != 0) {
        QSC_LOG_CALL(call, kLogWarning, "%s not found\n", key);
    }
    return code;
}

/// A stored number, by its leading digits, with 0x and 0 as in C; 0: it is none.
[[nodiscard]] i32 to_number(const char* text);

/// Reads a number for an answer; 0: missing, or no number.
[[nodiscard]] i32 uci_read_int(const Call& call, const char* key);

/// Answers with an option's text; a missing option is no error of the request and reads as empty.
template <typename Value = ValueText>
[[nodiscard]] u32 uci_answer_text(const Call& call, const char* key)
{
    Value value;
    (void)uci_read(call, key, value);
    return answer_text(call.value, value.c_str());
}

/// Stores one value.
[[nodiscard]] u32 uci_write(const char* key, const char* value);
[[nodiscard]] u32 uci_write_int(const char* key, i32 value);

/// Takes the caller's text. EFAULT: it is too long.
template <std::size_t Longest, std::size_t Size>
[[nodiscard]] u32 take_value(const Call& call, Text<Longest, Size>& value)
{
    std::string_view text;
    if (const u32 code = take_text(call.value, text)) {
        return code;
    }
    return value.assign(text) ? 0 : refuse(EFAULT, "it is longer than %zu characters", Longest);
}

/// Serves a parameter that is an option's text. record() writes the event of a successful set.
u32 serve_text(const Call& call, const char* key, void (*record)(const Call& call, const char* text));

/// Serves a parameter that is an option's number. record() follows a successful set.
u32 serve_int(const Call& call, const char* key, void (*record)(const Call& call, i32 number));

/// Commits the packages that the request's array "package" names, in its order, up to the first failure;
/// without names it commits, and adds, the given ones, which have blanks between them. EINVAL: "package" is
/// no array.
[[nodiscard]] u32 commit_packages(json_object* request, const char* packages);

/// Serves a commit with run(request): records the result, tells the host, and has everything written to the
/// flash.
u32 serve_commit(json_object* request, u32 (*run)(json_object* request));

/// Serves a commit of packages that has nothing else to do.
u32 serve_packages(json_object* request, const char* packages);

} // namespace qsc
