// SPDX-License-Identifier: Apache-2.0
#include "core/Refusal.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include "base/Text.h"
#include "base/Utf8.h"
#include "core/Request.h"
#include "include/qsc_describe.h"

namespace qsc
{

namespace
{

struct Sentence {
    char reason[256];
    char whole[512];
};

constinit thread_local Sentence t_sentence{};

constinit std::atomic<bool> g_wanted{false};

/// What a code means where nothing closer to the cause said more.
const char* meaning_of(u32 code)
{
    switch (code) {
    case EINVAL:
        return "the value, the instance or the operation is missing or not served";
    case EFAULT:
        return "the value is refused, or a command or file that it needs failed";
    case ENOMEM:
        return "out of memory";
    case ENODATA:
        return "no data";
    default:
        return nullptr;
    }
}

/// A sentence shows what others sent: it must be a text all the same, and none that a terminal would obey.
void make_printable(char* text)
{
    std::string_view rest{text};
    rest.remove_suffix(rest.size() - size_of_whole_characters(rest));
    char* end = text;
    while (!rest.empty()) {
        const Utf8Character character = first_character(rest);
        const std::size_t size = std::max<std::size_t>(character.size, 1);
        if (character.size == 0 || character.is_control()) {
            *end++ = '?';
        } else {
            end = std::copy_n(rest.begin(), size, end);
        }
        rest.remove_prefix(size);
    }
    *end = '\0';
}

/// A refusal that has no sentence of its own is explained by its code.
void give_reason(u32 code)
{
    const char* const meaning = meaning_of(code);
    (void)(meaning != nullptr ? refuse(code, "%s", meaning) : refuse(code, "it failed with code %u", code));
}

} // namespace

u32 refuse(u32 code, const char* format, ...)
{
    if (t_sentence.reason[0] == '\0') {
        std::va_list arguments;
        va_start(arguments, format);
        (void)std::vsnprintf(t_sentence.reason, sizeof t_sentence.reason, format, arguments);
        va_end(arguments);
        make_printable(t_sentence.reason);
    }
    return code;
}

const char* refusal()
{
    return t_sentence.reason;
}

void forget_refusal()
{
    t_sentence.reason[0] = '\0';
    t_sentence.whole[0] = '\0';
}

void name_refusal(const char* path, const char* parameter, u32 code)
{
    if (t_sentence.whole[0] != '\0') {
        return; // an object inside has named itself
    }
    give_reason(code);
    const bool is_whole = parameter == nullptr || *parameter == '\0';
    (void)std::snprintf(t_sentence.whole, sizeof t_sentence.whole, "%s: %s%s%s", or_empty(path),
                        is_whole ? "" : parameter, is_whole ? "" : ": ", t_sentence.reason);
    make_printable(t_sentence.whole);
}

void add_refusal(json_object* value, u32 code)
{
    if (g_wanted) {
        give_reason(code);
        (void)answer_text(value, t_sentence.reason, "Error");
    }
}

void want_refusals(bool wanted)
{
    g_wanted = wanted;
}

} // namespace qsc

const char* QSysCmdHal_LastError(void)
{
    return qsc::t_sentence.whole;
}
