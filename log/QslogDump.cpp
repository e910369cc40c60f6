// SPDX-License-Identifier: Apache-2.0
// Dumps of a buffer to the library log, as hexadecimal digits or as lines of text.
#include <algorithm>
#include <array>
#include <string_view>

#include "base/Text.h"
#include "log/Log.h"

using namespace qsc;

namespace
{

constexpr std::size_t kBytesPerLine = 16;
constexpr std::size_t kCharacterColumn = 60;
constexpr std::size_t kLineWidth = kCharacterColumn + kBytesPerLine;

struct Origin {
    i32 level;
    const char* module;
    i32 line;
    const char* function;
};

void log_line(const Origin& origin, const char* text)
{
    Qslog_Log(origin.level, origin.module, origin.line, origin.function, "%s\n", text);
}

/// Logs the header and a rule. Returns false if there is no data, after logging that.
bool log_header(const Origin& origin, const char* title, const void* data, u32 length)
{
    if (title != nullptr) {
        Qslog_Log(origin.level, origin.module, origin.line, origin.function, "%s (%u)\n", title, length);
    } else {
        Qslog_Log(origin.level, origin.module, origin.line, origin.function, "Data (%u):\n", length);
    }
    std::array<char, kLineWidth + 1> rule{};
    std::fill_n(rule.begin(), kLineWidth, '=');
    log_line(origin, rule.data());

    if (data != nullptr && length != 0) {
        return true;
    }
    Qslog_Log(kLogError, origin.module, origin.line, origin.function, "No data\n\n");
    return false;
}

constexpr char printable(u8 octet)
{
    return octet >= ' ' && octet <= '~' ? static_cast<char>(octet) : '.';
}

/// "OFFSET: XX XX XX XX XX XX XX XX-XX XX XX XX XX XX XX XX   CHARACTERS"
void log_hex_line(const Origin& origin, const u8* octets, std::size_t count, u32 offset)
{
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::array<char, kLineWidth + 1> text{};
    std::fill_n(text.begin(), kCharacterColumn + count, ' ');

    char* out = text.data();
    for (int shift = 28; shift >= 0; shift -= 4) {
        *out++ = kDigits[(offset >> shift) & 0xF];
    }
    *out++ = ':';
    for (std::size_t i = 0; i < count; ++i) {
        *out++ = i == kBytesPerLine / 2 ? '-' : ' ';
        *out++ = kDigits[octets[i] >> 4];
        *out++ = kDigits[octets[i] & 0xF];
        text[kCharacterColumn + i] = printable(octets[i]);
    }
    log_line(origin, text.data());
}

bool is_filtered(i32 level)
{
    return level > static_cast<i32>(Qslog_GetLogLevel());
}

} // namespace

uint32_t Qslog_HexDump(int32_t level, const char* module, int32_t line, const char* function,
                       const char* title, const void* data, uint32_t length, uint32_t lines)
{
    const Origin origin{level, module, line, function};
    if (is_filtered(level) || !log_header(origin, title, data, length)) {
        return 0;
    }
    const auto* octets = static_cast<const u8*>(data);
    const u64 limit = lines != 0 ? lines : (u64{length} + kBytesPerLine - 1) / kBytesPerLine;
    u64 shown = 0;
    for (u64 offset = 0; offset < length && shown < limit; offset += kBytesPerLine, ++shown) {
        const auto count = static_cast<std::size_t>(std::min<u64>(kBytesPerLine, length - offset));
        log_hex_line(origin, octets + offset, count, static_cast<u32>(offset));
    }
    return 0;
}

uint32_t Qslog_StringDump(int32_t level, const char* module, int32_t line, const char* function,
                          const char* title, const char* data, uint32_t length)
{
    const Origin origin{level, module, line, function};
    if (is_filtered(level) || !log_header(origin, title, data, length)) {
        return 0;
    }
    std::string_view rest{data, length};
    while (!rest.empty()) {
        const std::size_t size = std::min({rest.find('\n'), rest.size(), kLineWidth});
        std::array<char, kLineWidth + 1> text{};
        std::transform(rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(size), text.begin(),
                       [](char character) { return printable(static_cast<u8>(character)); });
        log_line(origin, text.data());
        rest.remove_prefix(size);
        if (rest.starts_with('\n')) {
            rest.remove_prefix(1);
        }
    }
    return 0;
}
