// SPDX-License-Identifier: Apache-2.0
// The event log: one JSON-safe record a call, written through zlog.
#include "include/qslog.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <string_view>

#include <zlog.h>

#include "base/Text.h"
#include "base/Types.h"

zlog_category_t* g_PtrZlCategory = nullptr;

using namespace qsc;

namespace
{

constexpr std::size_t kMessageSize = 4096;
// zlog's own name for it, ZLOG_LEVEL_NOTICE, is missing from some releases' headers.
constexpr int kNotice = 60;

constinit bool g_opened = false;

const char* or_default(const char* text, const char* otherwise)
{
    return is_empty(text) ? otherwise : text;
}

/// Writes the message as the inside of a JSON text, so that it cannot end that text and forge a record.
/// An escape that does not fit any more is left out whole.
void escape_json(std::string_view message, char* out, std::size_t size)
{
    const char* const end = out + size - 1;
    for (const char character : message) {
        char escape[8];
        const auto octet = static_cast<unsigned char>(character);
        const std::size_t short_form = std::string_view{"\"\\\b\f\n\r\t"}.find(character);
        int length = 1;
        if (short_form != std::string_view::npos) {
            escape[0] = '\\';
            escape[1] = "\"\\bfnrt"[short_form];
            length = 2;
        } else if (octet < ' ' || octet == 0x7F) {
            length = std::snprintf(escape, sizeof escape, "\\u%04x", octet);
        } else {
            escape[0] = character;
        }
        if (end - out < length) {
            break;
        }
        out = std::copy_n(escape, length, out);
    }
    *out = '\0';
}

} // namespace

uint32_t QEvtLog_Init(const char* config, const char* category, const char* tag)
{
    if (g_opened) {
        return 0;
    }
    if (zlog_init(or_default(config, "/etc/zlog.conf")) != 0) {
        return EFAULT;
    }
    g_PtrZlCategory = zlog_get_category(or_default(category, "qrnevent"));
    if (g_PtrZlCategory == nullptr) {
        zlog_fini();
        return EFAULT;
    }
    // Fails only without memory; a record without its tag is still worth more than no record.
    (void)zlog_put_mdc("tag", or_default(tag, "QRN"));
    g_opened = true;
    return 0;
}

uint32_t QEvtLog_Close(void)
{
    if (g_opened) {
        g_PtrZlCategory = nullptr;
        zlog_fini();
        g_opened = false;
    }
    return 0;
}

uint32_t QEvtLog_Log(const char* file, size_t fileSize, const char* function, size_t functionSize, long line,
                     char status, const char* format, ...)
{
    if (g_PtrZlCategory == nullptr || format == nullptr) {
        return 0;
    }
    char message[kMessageSize];
    std::va_list arguments;
    va_start(arguments, format);
    const int written = std::vsnprintf(message, sizeof message, format, arguments);
    va_end(arguments);
    if (written < 0) {
        message[0] = '\0';
    }

    char escaped[2 * kMessageSize];
    escape_json(message, escaped, sizeof escaped);
    const auto length = [](const char* text, size_t size) {
        return text == nullptr || size == 0 ? 0 : size - 1;
    };
    zlog(g_PtrZlCategory, or_empty(file), length(file, fileSize), or_empty(function),
         length(function, functionSize), line, kNotice, "\"Status\":\"%c\",\"Msg\":\"%s\"", status, escaped);
    return 0;
}
