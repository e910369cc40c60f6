// SPDX-License-Identifier: Apache-2.0
#include "handlers/system/AuthorizedKeys.h"

#include <algorithm>
#include <cerrno>

#include "base/Parse.h"
#include "core/Refusal.h"
#include "core/RowSource.h"
#include "core/StagedFile.h"

namespace qsc::system
{

namespace
{

constexpr StagedFile kKeys{.folder = "/etc/dropbear",
                           .path = "/etc/dropbear/authorized_keys",
                           .staged = "/etc/dropbear/authorized_keys.qrn"};

constexpr std::string_view kTypes[] = {"ssh-ed25519",
                                       "ssh-rsa",
                                       "ecdsa-sha2-nistp256",
                                       "ecdsa-sha2-nistp384",
                                       "ecdsa-sha2-nistp521",
                                       "sk-ssh-ed25519@openssh.com",
                                       "sk-ecdsa-sha2-nistp256@openssh.com"};

/// The six bits of a base64 character, or -1.
int base64_value(char c)
{
    return is_upper(c)   ? c - 'A'
           : is_lower(c) ? c - 'a' + 26
           : is_digit(c) ? c - '0' + 52
           : c == '+'    ? 62
           : c == '/'    ? 63
                         : -1;
}

/// Whether base64 is well formed and is of a key: it begins with the length and the name of its type.
bool is_key_of(std::string_view base64, std::string_view type)
{
    const std::size_t digits = std::min(base64.find('='), base64.size());
    const std::size_t padding = base64.size() - digits;
    constexpr std::size_t kLength = 4;
    if (base64.size() % 4 != 0 || padding > 2 || digits * 3 / 4 <= kLength + type.size() ||
        base64.substr(digits) != std::string_view{"=="}.substr(0, padding)) {
        return false;
    }
    u32 bits = 0;
    u32 count = 0;
    std::size_t place = 0;
    for (const char c : base64.substr(0, digits)) {
        const int value = base64_value(c);
        if (value < 0) {
            return false;
        }
        bits = bits << 6 | static_cast<u32>(value);
        count += 6;
        if (count < 8) {
            continue;
        }
        count -= 8;
        const auto byte = static_cast<u8>(bits >> count);
        const u32 expected = place < kLength - 1             ? 0
                             : place == kLength - 1          ? static_cast<u32>(type.size())
                             : place < kLength + type.size() ? static_cast<u8>(type[place - kLength])
                                                             : byte;
        if (byte != expected) {
            return false;
        }
        ++place;
    }
    return true;
}

bool is_key(std::string_view line)
{
    const std::string_view type = line.substr(0, line.find(' '));
    line.remove_prefix(std::min(type.size() + 1, line.size()));
    return std::ranges::find(kTypes, type) != std::end(kTypes) &&
           is_key_of(line.substr(0, line.find(' ')), type);
}

/// Calls use(line) for each line that is not empty, up to the first that answers with a code.
template <typename Use>
u32 for_each_line(std::string_view text, Use use)
{
    while (!text.empty()) {
        const std::string_view line = first_line(text);
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        if (const u32 code = line.empty() ? 0 : use(line)) {
            return code;
        }
    }
    return 0;
}

} // namespace

bool read_keys(FileText& keys)
{
    return read_staged(kKeys, keys);
}

bool has_key(std::string_view keys)
{
    // Others may have written options before a key.
    return for_each_line(keys, [](std::string_view line) -> u32 {
               for (const std::string_view type : kTypes) {
                   const std::size_t place = line.find(type);
                   if (!line.starts_with('#') && place != std::string_view::npos &&
                       is_key(line.substr(place))) {
                       return 1;
                   }
               }
               return 0;
           }) != 0;
}

u32 take_keys(std::string_view text, FileText& keys)
{
    if (text.size() > kMostKeys) {
        return refuse(EFAULT, "the keys have %zu characters, not at most %zu", text.size(), kMostKeys);
    }
    u32 number = 0;
    return for_each_line(text, [&](std::string_view line) -> u32 {
        ++number;
        if (std::ranges::any_of(line, is_control) || !is_key(line)) {
            return refuse(EFAULT, "key %u is none: a type, base64 and a comment are wanted", number);
        }
        return keys.append(line) && keys.append("\n") ? 0 : u32{ENOMEM};
    });
}

u32 stage_keys(std::string_view keys)
{
    return stage_file(kKeys, keys);
}

u32 use_staged_keys()
{
    return use_staged(kKeys);
}

} // namespace qsc::system
