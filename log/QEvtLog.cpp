// SPDX-License-Identifier: Apache-2.0
// The event log: one JSON-safe record a call, written through zlog.
#include "include/qslog.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include <zlog.h>

#include "base/FileDescriptor.h"
#include "base/Text.h"
#include "base/Types.h"
#include "base/Utf8.h"

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

/// The form in which the first character of a text stands inside a JSON text; it is taken off the text. Bytes
/// that are no character become the replacement character.
class JsonForm
{
  public:
    explicit JsonForm(std::string_view& text)
    {
        const Utf8Character character = first_character(text);
        const std::size_t short_form = std::string_view{"\"\\\b\f\n\r\t"}.find(text.front());
        if (character.size == 0) {
            form_ = "\uFFFD";
        } else if (short_form != std::string_view::npos) {
            own_[0] = '\\';
            own_[1] = "\"\\bfnrt"[short_form];
            form_ = {own_, 2};
        } else if (character.is_control()) {
            form_ = {own_,
                     static_cast<std::size_t>(std::snprintf(own_, sizeof own_, "\\u%04x", character.code))};
        } else {
            form_ = {text.data(), character.size};
        }
        text.remove_prefix(std::max<std::size_t>(character.size, 1));
    }
    JsonForm(const JsonForm&) = delete;
    JsonForm& operator=(const JsonForm&) = delete;

    [[nodiscard]] std::string_view view() const { return form_; }

  private:
    char own_[8];
    std::string_view form_;
};

/// A text as the inside of a JSON text, so that it cannot end that text and forge a record. Few need more
/// room than they had before; without memory for those, what does not fit is left out, between characters.
class JsonText
{
  public:
    explicit JsonText(std::string_view text)
    {
        std::size_t size = 1;
        for (std::string_view rest = text; !rest.empty();) {
            size += JsonForm{rest}.view().size();
        }
        if (size > sizeof own_) {
            memory_ = static_cast<char*>(std::malloc(size));
        }
        char* out = memory_ != nullptr ? memory_ : own_;
        const char* const end = out + (memory_ != nullptr ? size : sizeof own_) - 1;
        while (!text.empty()) {
            const JsonForm form{text};
            if (static_cast<std::size_t>(end - out) < form.view().size()) {
                break;
            }
            out = std::copy(form.view().begin(), form.view().end(), out);
        }
        *out = '\0';
    }
    JsonText(const JsonText&) = delete;
    JsonText& operator=(const JsonText&) = delete;
    ~JsonText() { std::free(memory_); }

    [[nodiscard]] const char* c_str() const { return memory_ != nullptr ? memory_ : own_; }

  private:
    char own_[kMessageSize];
    char* memory_ = nullptr;
};

} // namespace

uint32_t QEvtLog_Init(const char* config, const char* category, const char* tag)
{
    if (g_opened) {
        return 0;
    }
    const StdioReserve reserve;
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
    std::string_view text{message, std::min<std::size_t>(written < 0 ? 0 : static_cast<std::size_t>(written),
                                                         sizeof message - 1)};
    if (written >= static_cast<int>(sizeof message)) {
        text = {text.data(), size_of_whole_characters(text)};
    }
    const auto length = [](const char* name, size_t size) {
        return name == nullptr || size == 0 ? 0 : size - 1;
    };
    std::string_view status_text{&status, 1};
    const JsonForm status_form{status_text};
    const StdioReserve reserve; // zlog opens its file for each record
    zlog(g_PtrZlCategory, or_empty(file), length(file, fileSize), or_empty(function),
         length(function, functionSize), line, kNotice, "\"Status\":\"%.*s\",\"Msg\":\"%s\"",
         static_cast<int>(status_form.view().size()), status_form.view().data(), JsonText{text}.c_str());
    return 0;
}
