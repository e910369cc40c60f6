// SPDX-License-Identifier: Apache-2.0
#include "base/Parse.h"

namespace qsc
{

std::size_t parse_number(std::string_view text, const NumberForm& form, u64& number)
{
    const std::size_t sign = form.least < 0 && text.starts_with('-') ? 1 : 0;
    const u64 most = sign != 0 ? 0 - static_cast<u64>(form.least) : form.most;
    u64 magnitude = 0;
    std::size_t length = sign;
    for (; length < text.size(); ++length) {
        const int digit = hex_value(text[length]);
        if (digit < 0 || digit >= form.base) {
            break;
        }
        if (__builtin_mul_overflow(magnitude, static_cast<u64>(form.base), &magnitude) ||
            __builtin_add_overflow(magnitude, static_cast<u64>(digit), &magnitude) || magnitude > most) {
            return 0;
        }
    }
    if (length == sign) {
        return 0;
    }
    number = sign != 0 ? 0 - magnitude : magnitude;
    return length;
}

bool parse_any_base(std::string_view text, i32& number)
{
    const bool is_negative = text.starts_with('-');
    if (is_negative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    const bool is_hex = text.starts_with("0x") || text.starts_with("0X");
    text.remove_prefix(is_hex ? 2 : 0);
    u32 magnitude = 0;
    if (!parse_whole(text, magnitude,
                     is_hex                                     ? 16
                     : text.size() > 1 && text.starts_with('0') ? 8
                                                                : 10) ||
        magnitude > u32{INT32_MAX} + (is_negative ? 1 : 0)) {
        return false;
    }
    number = static_cast<i32>(is_negative ? -i64{magnitude} : i64{magnitude});
    return true;
}

} // namespace qsc
