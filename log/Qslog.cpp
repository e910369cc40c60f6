// SPDX-License-Identifier: Apache-2.0
// The library log: level, properties and log lines.
#include "include/qslog.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string_view>

#include <syslog.h>

#include "base/FileDescriptor.h"
#include "base/Text.h"
#include "base/Types.h"
#include "base/Utf8.h"

using namespace qsc;

namespace
{

constexpr u32 kHighestLevel = LOG_DEBUG;
constexpr std::string_view kLevelLetters = "MACEWNID";
constexpr std::size_t kLineSize = 4096;

// Atomic, because a thread may change them while another one logs.
constinit std::atomic<u32> g_level{LOG_NOTICE};
constinit std::atomic<u32> g_properties{QSLOG_RESERVED | QSLOG_STDERR};
constinit std::atomic<bool> g_opened{false};

// A copy, because openlog() keeps the pointer.
constinit std::array<char, 256> g_ident{};

/// The first character of the rest of a line, and whether it must be escaped.
struct LineCharacter {
    std::size_t size;
    u32 code;
    bool is_escaped;
};

LineCharacter look_at(std::string_view rest)
{
    const auto byte = static_cast<u8>(rest.front());
    const Utf8Character character = first_character(rest);
    if (character.size == 0) {
        return {1, byte, byte < 0xA0}; // some terminals treat the bytes 0x80 to 0x9F as control characters
    }
    const bool is_last_line_feed = byte == '\n' && rest.size() == 1;
    return {character.size, character.code, character.is_control() && byte != '\t' && !is_last_line_feed};
}

bool is_plain(std::string_view line)
{
    while (!line.empty()) {
        if (line.front() >= ' ' && line.front() < 0x7F) {
            line.remove_prefix(1);
            continue;
        }
        const LineCharacter character = look_at(line);
        if (character.is_escaped) {
            return false;
        }
        line.remove_prefix(character.size);
    }
    return true;
}

void write_line(int priority, const char* line, u32 properties)
{
    {
        const StdioReserve reserve; // syslog() opens its socket when needed
        syslog(priority, "%s", line);
    }
    if ((properties & QSLOG_STDERR) != 0) {
        std::fputs(line, stderr);
    }
}

/// Writes a line with control characters escaped as \n, \r or \xHH, so that a message can neither start a
/// line of its own nor send control sequences to the terminal of whoever reads the log.
[[gnu::noinline]] void write_escaped(int priority, std::string_view line, u32 properties)
{
    char escaped[kLineSize];
    std::size_t length = 0;
    while (!line.empty()) {
        const LineCharacter character = look_at(line);
        char form[8];
        std::string_view text{line.data(), character.size};
        if (character.is_escaped && (character.code == '\n' || character.code == '\r')) {
            text = character.code == '\n' ? "\\n" : "\\r";
        } else if (character.is_escaped) {
            text = {form,
                    static_cast<std::size_t>(std::snprintf(form, sizeof form, "\\x%02X", character.code))};
        }
        if (length + text.size() >= sizeof escaped) {
            break;
        }
        std::copy(text.begin(), text.end(), escaped + length);
        length += text.size();
        line.remove_prefix(character.size);
    }
    escaped[length] = '\0';
    write_line(priority, escaped, properties);
}

} // namespace

uint32_t Qslog_Open(const char* ident, uint32_t options, uint32_t facility)
{
    if (g_opened.exchange(true)) {
        return 0;
    }
    if (ident == nullptr) {
        options |= LOG_PID;
    }
    std::snprintf(g_ident.data(), g_ident.size(), "%s", or_empty(ident));
    const StdioReserve reserve;
    openlog(g_ident.data(), static_cast<int>(options), static_cast<int>(facility));
    Qslog_SetLogLevel(g_level);
    return 0;
}

uint32_t Qslog_Close(void)
{
    closelog();
    g_opened = false;
    return 0;
}

uint32_t Qslog_SetLogLevel(uint32_t level)
{
    level = std::min(level, kHighestLevel);
    const u32 previous = g_level.exchange(level);
    setlogmask(LOG_UPTO(static_cast<int>(level)));
    return previous;
}

uint32_t Qslog_GetLogLevel(void)
{
    return g_level;
}

uint32_t Qslog_GetProperty(void)
{
    return g_properties;
}

uint32_t Qslog_SetProperty(uint32_t bits)
{
    g_properties = bits;
    return bits;
}

uint32_t Qslog_AddProperty(uint32_t bits)
{
    return g_properties |= bits;
}

uint32_t Qslog_SubProperty(uint32_t bits)
{
    return g_properties &= ~bits;
}

uint32_t Qslog_Log(int32_t level, const char* module, int32_t line, const char* function, const char* format,
                   ...)
{
    if (level > static_cast<i32>(g_level.load(std::memory_order_relaxed)) || format == nullptr) {
        return 0;
    }
    const i32 priority = std::clamp<i32>(level, 0, kHighestLevel);
    const char letter = kLevelLetters[static_cast<std::size_t>(priority)];
    const u32 properties = g_properties.load(std::memory_order_relaxed);

    char text[kLineSize];
    const int written = (properties & QSLOG_LONG_PREFIX) != 0
                            ? std::snprintf(text, sizeof text, "%s:%d(%s)[%c] ", or_empty(module), line,
                                            or_empty(function), letter)
                            : std::snprintf(text, sizeof text, "[%c] ", letter);
    const std::size_t prefix =
        std::min<std::size_t>(written < 0 ? 0 : static_cast<std::size_t>(written), sizeof text - 1);
    std::va_list arguments;
    va_start(arguments, format);
    if (std::vsnprintf(text + prefix, sizeof text - prefix, format, arguments) < 0) {
        text[prefix] = '\0';
    }
    va_end(arguments);

    if (is_plain(text)) {
        write_line(priority, text, properties);
    } else {
        write_escaped(priority, text, properties);
    }
    return 0;
}
