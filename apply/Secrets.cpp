// SPDX-License-Identifier: Apache-2.0
// What is not shown: values that are secrets by their parameter's description, and options that are by their
// name.
#include <algorithm>
#include <array>
#include <cerrno>

#include <json-c/json.h>

#include "apply/Apply.h"
#include "base/Parse.h"
#include "base/SafeFile.h"
#include "core/Object.h"
#include "core/Row.h"

namespace qsc::apply
{

namespace
{

constexpr const char* kMask = "***";

bool contains_word(std::string_view name, std::string_view word)
{
    return std::ranges::search(name, word, {}, to_lower).size() == word.size();
}

/// The length of a secret that a text begins with, as it is or escaped for a shell; 0: none.
std::size_t size_of_secret(std::string_view text, std::string_view secret)
{
    const char* at = text.begin();
    for (const char character : secret) {
        if (at != text.end() && *at == '\\' && at + 1 != text.end() && at[1] == character) {
            ++at;
        }
        if (at == text.end() || *at != character) {
            return 0;
        }
        ++at;
    }
    return static_cast<std::size_t>(at - text.begin());
}

/// The name of an option without the number at its end.
std::string_view stem_of(std::string_view option)
{
    while (!option.empty() && (is_digit(option.back()) || option.back() == '*')) {
        option.remove_suffix(1);
    }
    return option;
}

/// Whether a secret parameter of any object is kept in an option of that name.
bool keeps_secret_parameter(std::string_view option)
{
    Qsc_ObjectInfo object;
    for (u32 i = 0; QSysCmdHal_DescribeObject(i, &object) == 0; ++i) {
        for (const PackedRow& row : static_cast<const Object*>(object.object)->rows()) {
            std::string_view key{or_empty(row.key())};
            key.remove_prefix(key.rfind('.') + 1);
            if ((row.marks & kSecret) != 0 && !stem_of(key).empty() && stem_of(key) == stem_of(option)) {
                return true;
            }
        }
    }
    return false;
}

bool holds_secret(const Session& session, std::string_view text)
{
    for (std::size_t i = 0; i < json_object_array_length(session.secrets.get()); ++i) {
        const char* const secret =
            json_object_get_string(json_object_array_get_idx(session.secrets.get(), i));
        if (text.find(secret) != std::string_view::npos) {
            return true;
        }
    }
    return false;
}

} // namespace

bool is_secret_parameter(const Qsc_ObjectInfo& object, const char* name)
{
    Qsc_ParameterInfo parameter;
    for (u32 i = 0; QSysCmdHal_DescribeParameter(&object, i, &parameter) == 0; ++i) {
        if (std::string_view{parameter.name} == name) {
            return (parameter.flags & QSC_PARAM_SECRET) != 0 || std::string_view{parameter.type} == "lines";
        }
    }
    return false;
}

u32 note_secrets(Session& session, const Qsc_ObjectInfo& object, json_object* request)
{
    json_object_object_foreach(request, name, value)
    {
        json_object* given = nullptr;
        std::string_view text;
        if (is_secret_parameter(object, name) && find_member(value, "ParamValue", given) &&
            text_of(given, text) == 0 && !text.empty()) {
            if (const u32 code = append_to(session.secrets.get(), make_text(text))) {
                return code;
            }
        }
    }
    return 0;
}

JsonRef mask_text(const Session& session, std::string_view text)
{
    FileText masked;
    std::size_t kept = 0;
    bool is_made = true;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t longest = 0;
        for (std::size_t i = 0; i < json_object_array_length(session.secrets.get()); ++i) {
            json_object* const secret = json_object_array_get_idx(session.secrets.get(), i);
            longest = std::max(longest, size_of_secret({text.data() + at, text.size() - at},
                                                       json_object_get_string(secret)));
        }
        if (longest != 0) {
            is_made = is_made && masked.append({text.data() + kept, at - kept}) && masked.append(kMask);
            kept = at + longest;
        }
        at += std::max<std::size_t>(longest, 1);
    }
    is_made = is_made && masked.append({text.data() + kept, text.size() - kept});
    return JsonRef{is_made ? make_text(masked.view()) : nullptr};
}

bool is_secret_option(const Session& session, const char* option, std::string_view before,
                      std::string_view after)
{
    constexpr std::array<std::string_view, 7> kNames{"key",       "pass",  "secret",    "psk",
                                                     "community", "token", "credential"};
    return *option != '\0' &&
           (std::ranges::any_of(kNames, [&](std::string_view name) { return contains_word(option, name); }) ||
            holds_secret(session, before) || holds_secret(session, after) || keeps_secret_parameter(option));
}

} // namespace qsc::apply
