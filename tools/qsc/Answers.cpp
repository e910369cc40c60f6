// SPDX-License-Identifier: Apache-2.0
#include "tools/qsc/Answers.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include <json-c/json.h>

#include "tools/qsc/Printable.h"
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

/// A list of subtrees, as "help" answers it, reads better as a table; anything else in a list is its JSON.
void print_list(json_object* list)
{
    for (std::size_t i = 0; i < json_object_array_length(list); ++i) {
        json_object* const element = json_object_array_get_idx(list, i);
        json_object* const name = member_of(element, "name");
        if (json_object_is_type(name, json_type_string) != 0) {
            std::printf("%3d  ", json_object_get_int(member_of(element, "id")));
            print_value(name);
        } else {
            print_value(element);
        }
        std::putchar('\n');
    }
}

} // namespace

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
            print_list(answer);
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
    print_json_text(text != nullptr ? text : "null");
    std::putchar('\n');
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
