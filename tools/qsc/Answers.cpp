// SPDX-License-Identifier: Apache-2.0
#include "tools/qsc/Answers.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include <json-c/json.h>

#include "base/Parse.h"
#include "tools/queue/Payload.h"

namespace qsc
{

namespace
{

using queue::member_of;

/// The answer in a parameter's object; null: it holds none.
json_object* answer_of(json_object* value)
{
    for (const char* key : {"ParamValue", "version", "function"}) {
        if (json_object* const answer = member_of(value, key)) {
            return answer;
        }
    }
    return nullptr;
}

/// Calls show(name, value) for each member: those that the table names first, in its order.
template <typename Show>
void for_each_member(const Target& target, json_object* object, Show show)
{
    const auto is_in_table = [&](const char* name) {
        const Qsc_ParamEntry* entry = parameters_of(target);
        while (entry->id != QSC_TABLE_END && std::strcmp(entry->name, name) != 0) {
            ++entry;
        }
        return entry->id != QSC_TABLE_END;
    };
    for (const Qsc_ParamEntry* entry = parameters_of(target); entry->id != QSC_TABLE_END; ++entry) {
        json_object* value = nullptr;
        if (json_object_object_get_ex(object, entry->name, &value) != 0) {
            show(entry->name, value);
        }
    }
    json_object_object_foreach(object, name, value)
    {
        if (!is_in_table(name)) {
            show(name, value);
        }
    }
}

/// Calls show(child, name, answer) for each answer; child is the path of an instance, or empty.
template <typename Show>
void for_each_answer(const Target& target, json_object* request, Show show)
{
    for_each_member(target, request, [&](const char* name, json_object* value) {
        if (json_object_is_type(value, json_type_object) == 0) {
            return;
        }
        if (json_object* const answer = answer_of(value)) {
            show("", name, answer);
            return;
        }
        for_each_member(target, value, [&](const char* inner, json_object* inner_value) {
            if (json_object* const answer = answer_of(inner_value)) {
                show(name, inner, answer);
            }
        });
    });
}

void print_value(json_object* value)
{
    if (json_object_is_type(value, json_type_string) != 0) {
        print_escaped(
            {json_object_get_string(value), static_cast<std::size_t>(json_object_get_string_len(value))});
    } else {
        print_escaped(json_object_to_json_string_ext(value, JSON_C_TO_STRING_PLAIN));
    }
}

/// The list of subtrees that "help" answers reads better as a table.
void print_command_list(json_object* list)
{
    for (std::size_t i = 0; i < json_object_array_length(list); ++i) {
        json_object* const element = json_object_array_get_idx(list, i);
        std::printf("%3d  ", json_object_get_int(member_of(element, "id")));
        print_escaped(json_object_get_string(member_of(element, "name")));
        std::putchar('\n');
    }
}

} // namespace

void print_escaped(std::string_view text)
{
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char character = text[i];
        const auto octet = static_cast<unsigned char>(character);
        // The terminal controls of C1 come as two octets in UTF-8, 0xC2 and 0x80 to 0x9F.
        const bool is_c1 = octet == 0xC2 && i + 1 < text.size() && (text[i + 1] & 0xE0) == 0x80;
        if (character == '\n') {
            std::fputs("\\n", stdout);
        } else if (character == '\\') {
            std::fputs("\\\\", stdout);
        } else if (is_control(character) || is_c1) {
            std::printf("\\x%02X", octet);
            if (is_c1) {
                std::printf("\\x%02X", static_cast<unsigned char>(text[++i]));
            }
        } else {
            std::putchar(character);
        }
    }
}

void print_answers(const Target& target, json_object* request)
{
    const auto name_width = [](const char* child, const char* name) {
        return std::strlen(child) + (*child != '\0' ? 1 : 0) + std::strlen(name);
    };
    std::size_t width = 0;
    for_each_answer(target, request, [&](const char* child, const char* name, json_object*) {
        width = std::max(width, name_width(child, name));
    });
    for_each_answer(target, request, [&](const char* child, const char* name, json_object* answer) {
        if (json_object_is_type(answer, json_type_array) != 0) {
            print_command_list(answer);
            return;
        }
        print_escaped(child);
        if (*child != '\0') {
            std::putchar('.');
        }
        print_escaped(name);
        std::printf("%*s = ", static_cast<int>(width - name_width(child, name)), "");
        print_value(answer);
        std::putchar('\n');
    });
}

void print_json(json_object* request)
{
    const char* const text =
        json_object_to_json_string_ext(request, JSON_C_TO_STRING_PRETTY | JSON_C_TO_STRING_NOSLASHESCAPE);
    std::puts(text != nullptr ? text : "null");
}

const char* failed_parameter(const Target& target, json_object* request)
{
    const char* failed = nullptr;
    for_each_member(target, request, [&](const char* name, json_object* value) {
        if (failed == nullptr && json_object_is_type(value, json_type_object) != 0 &&
            json_object_get_int64(member_of(value, "ParamId")) != 0) {
            failed = name;
        }
    });
    return failed;
}

bool was_served(json_object* value)
{
    return member_of(value, "ParamId") != nullptr;
}

} // namespace qsc
