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
#include "base/UciOptional.h"
#include "core/Object.h"
#include "core/Row.h"

namespace qsc::apply
{

namespace
{

constexpr const char* kMask = "***";

bool contains_word(std::string_view name, std::string_view word)
{
    const auto is_same = [](char a, char b) { return to_lower(a) == b; };
    return std::search(name.begin(), name.end(), word.begin(), word.end(), is_same) != name.end();
}

/// Shorter ones are secrets only where they stand alone: a "1" is in everything.
constexpr std::size_t kShort = 4;

bool is_word_character(char c)
{
    return is_lower(to_lower(c)) || is_digit(c);
}

/// The length of a secret that a text has at a place, as it is or escaped for a shell; 0: none.
std::size_t size_of_secret(std::string_view text, std::size_t place, std::string_view secret)
{
    std::size_t at = place;
    for (const char character : secret) {
        at += at + 1 < text.size() && text[at] == '\\' && text[at + 1] == character ? 1 : 0;
        if (at >= text.size() || text[at] != character) {
            return 0;
        }
        ++at;
    }
    const bool is_part = (place > 0 && is_word_character(text[place - 1])) ||
                         (at < text.size() && is_word_character(text[at]));
    return secret.size() < kShort && is_part ? 0 : at - place;
}

/// The longest of all secrets that a text has at a place.
std::size_t size_of_any(const Session& session, std::string_view text, std::size_t place)
{
    std::size_t longest = 0;
    for (std::size_t i = 0; i < json_object_array_length(session.secrets.get()); ++i) {
        json_object* const secret = json_object_array_get_idx(session.secrets.get(), i);
        longest = std::max(longest, size_of_secret(text, place, json_object_get_string(secret)));
    }
    return longest;
}

bool holds_secret(const Session& session, std::string_view text)
{
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (size_of_any(session, text, at) != 0) {
            return true;
        }
    }
    return false;
}

/// The name of an option without the number at its end.
std::string_view stem_of(std::string_view option)
{
    while (!option.empty() && (is_digit(option.back()) || option.back() == '*')) {
        option.remove_suffix(1);
    }
    return option;
}

/// The stems of the options that secret parameters are kept in, of all objects.
JsonRef find_secret_stems()
{
    JsonRef stems{json_object_new_object()};
    Qsc_ObjectInfo object;
    for (u32 i = 0; QSysCmdHal_DescribeObject(i, &object) == 0; ++i) {
        for (const PackedRow& row : static_cast<const Object*>(object.object)->rows()) {
            std::string_view key{or_empty(row.key())};
            key.remove_prefix(key.rfind('.') + 1);
            Text<62> stem;
            if ((row.marks & kSecret) != 0 && stem.assign(stem_of(key)) && !stem.view().empty()) {
                (void)add_member(stems.get(), stem.c_str(), json_object_new_boolean(1));
            }
        }
    }
    return stems;
}

bool is_secret_name(const Session& session, std::string_view option)
{
    constexpr std::array<std::string_view, 7> kNames{"key",       "pass",  "secret",    "psk",
                                                     "community", "token", "credential"};
    Text<62> stem;
    return std::ranges::any_of(kNames, [&](std::string_view name) { return contains_word(option, name); }) ||
           (stem.assign(stem_of(option)) &&
            json_object_object_get_ex(session.stems.get(), stem.c_str(), nullptr) != 0);
}

u32 note_stored(const Qrn_UciDifference* difference, void* context)
{
    auto& session = *static_cast<Session*>(context);
    const std::string_view value{difference->new_value};
    return *difference->option == '\0' || value.size() < kShort ||
                   !is_secret_name(session, difference->option)
               ? 0
               : append_to(session.secrets.get(), make_text(value));
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

u32 note_stored_secrets(Session& session, const char* text)
{
    if (session.stems == nullptr) {
        session.stems = find_secret_stems();
    }
    return text != nullptr ? call_optional(QrnUci_ComparePackages, static_cast<const char*>(nullptr), text,
                                           note_stored, static_cast<void*>(&session))
                           : 0;
}

JsonRef mask_text(const Session& session, std::string_view text)
{
    FileText masked;
    std::size_t kept = 0;
    bool is_made = true;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t size = size_of_any(session, text, at);
        if (size != 0) {
            is_made = is_made && masked.append({text.data() + kept, at - kept}) && masked.append(kMask);
            kept = at + size;
        }
        at += std::max<std::size_t>(size, 1);
    }
    is_made = is_made && masked.append({text.data() + kept, text.size() - kept});
    return JsonRef{is_made ? make_text(masked.view()) : nullptr};
}

u32 show_command(const Session& session, json_object* command, const char* text, json_object* shown)
{
    JsonRef entry{json_object_new_object()};
    u32 code = put_text(entry.get(), "step", member_text(command, "step"));
    code = code != 0 ? code : put_text(entry.get(), "path", member_text(command, "path"));
    code = code != 0 ? code : add_named_member(entry.get(), "command", mask_text(session, text).release());
    return code != 0 ? code : append_to(shown, entry.release());
}

JsonRef show_commands(const Session& session)
{
    JsonRef shown{json_object_new_array()};
    json_object* const commands = session.recorder.commands.get();
    for (std::size_t i = 0; i < json_object_array_length(commands); ++i) {
        json_object* const command = json_object_array_get_idx(commands, i);
        if (show_command(session, command, member_text(command, "command"), shown.get()) != 0) {
            return {};
        }
    }
    return shown;
}

bool is_secret_option(const Session& session, const char* option, std::string_view before,
                      std::string_view after)
{
    return *option != '\0' &&
           (is_secret_name(session, option) || holds_secret(session, before) || holds_secret(session, after));
}

} // namespace qsc::apply
