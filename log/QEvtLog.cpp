// SPDX-License-Identifier: Apache-2.0
// The event log: one record of valid JSON per call, written through zlog.
#include "include/qslog.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include <zlog.h>

#include "base/FileDescriptor.h"
#include "base/Recording.h"
#include "base/Text.h"
#include "base/Types.h"
#include "base/Utf8.h"

zlog_category_t* g_PtrZlCategory = nullptr;

using namespace qsc;

namespace
{

constexpr std::size_t kMessageSize = 4096;
// ZLOG_LEVEL_NOTICE; the headers of some releases do not define it.
constexpr int kNotice = 60;

constinit bool g_opened = false;

const char* or_default(const char* text, const char* otherwise)
{
    return is_empty(text) ? otherwise : text;
}

/// The first character of a text as it is written inside a JSON string. Removes it from the text. Invalid
/// bytes become the replacement character U+FFFD.
class JsonCharacter
{
  public:
    explicit JsonCharacter(std::string_view& text)
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
    JsonCharacter(const JsonCharacter&) = delete;
    JsonCharacter& operator=(const JsonCharacter&) = delete;

    [[nodiscard]] std::string_view view() const { return form_; }

  private:
    char own_[8];
    std::string_view form_;
};

/// A text escaped for the inside of a JSON string, so that it cannot end the string and forge a record.
/// Memory is allocated only if it does not fit into the object; without memory, it is cut between characters.
class JsonString
{
  public:
    explicit JsonString(std::string_view text)
    {
        std::size_t size = 1;
        for (std::string_view rest = text; !rest.empty();) {
            size += JsonCharacter{rest}.view().size();
        }
        if (size > sizeof own_) {
            memory_ = static_cast<char*>(std::malloc(size));
        }
        char* out = memory_ != nullptr ? memory_ : own_;
        const char* const end = out + (memory_ != nullptr ? size : sizeof own_) - 1;
        while (!text.empty()) {
            const JsonCharacter character{text};
            if (static_cast<std::size_t>(end - out) < character.view().size()) {
                break;
            }
            out = std::copy(character.view().begin(), character.view().end(), out);
        }
        *out = '\0';
    }
    JsonString(const JsonString&) = delete;
    JsonString& operator=(const JsonString&) = delete;
    ~JsonString() { std::free(memory_); }

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
    // Fails only without memory, and records without the tag are better than none.
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
    if (t_recording != nullptr &&
        t_recording->tells(*t_recording, {file, fileSize, function, functionSize, line, status}, text)) {
        return 0;
    }
    std::string_view status_text{&status, 1};
    const JsonCharacter shown_status{status_text};
    const StdioReserve reserve; // zlog opens its file for every record
    zlog(g_PtrZlCategory, or_empty(file), length(file, fileSize), or_empty(function),
         length(function, functionSize), line, kNotice, "\"Status\":\"%.*s\",\"Msg\":\"%s\"",
         static_cast<int>(shown_status.view().size()), shown_status.view().data(), JsonString{text}.c_str());
    return 0;
}
