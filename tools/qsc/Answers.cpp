// SPDX-License-Identifier: Apache-2.0
#include "tools/qsc/Answers.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include <json-c/json.h>

#include "tools/qsc/Json.h"
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

/// Calls visit(name, value) for each member: those that the object has as parameters first, in their order.
template <typename Visit>
void for_each_member(const Object& object, json_object* members, Visit visit)
{
    for_each_parameter(object, [&](const Parameter& parameter) {
        json_object* value = nullptr;
        if (json_object_object_get_ex(members, parameter.name, &value) != 0) {
            visit(parameter.name, value);
        }
    });
    json_object_object_foreach(members, name, value)
    {
        Parameter parameter;
        if (!find_parameter(object, name, parameter)) {
            visit(name, value);
        }
    }
}

/// Calls visit(name, answer) for each answer of a request.
template <typename Visit>
void for_each_answer(const char* path, json_object* request, Visit visit)
{
    Target target{};
    (void)find_object(path, target);
    for_each_member(target.object, request, [&](const char* name, json_object* value) {
        if (json_object* const answer = answer_of(value)) {
            visit(name, answer);
        }
    });
}

/// Calls visit(path, name, answer) for what was asked, in that order. A parameter that was named and has no
/// answer comes with null.
template <typename Visit>
void for_each_asked(json_object* asked, json_object* plan, Visit visit)
{
    for (std::size_t i = 0; i < json_object_array_length(asked); ++i) {
        (void)for_each_in(json_object_array_get_idx(asked, i), [&](const char* path, json_object* names) {
            json_object* const request = member_of(plan, path);
            if (json_object_object_length(names) == 0) {
                for_each_answer(path, request,
                                [&](const char* name, json_object* answer) { visit(path, name, answer); });
            }
            return for_each_in(names, [&](const char* name, json_object*) {
                visit(path, name, answer_of(member_of(request, name)));
                return kDone;
            });
        });
    }
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

void print_answers(json_object* asked, json_object* plan, Show show)
{
    const auto dot = [](std::string_view path) { return path.ends_with('.') ? "" : "."; };
    const auto name_width = [&](const char* path, const char* name) {
        return std::strlen(name) +
               (show == Show::kFullNames ? std::strlen(path) + std::strlen(dot(path)) : 0);
    };
    std::size_t width = 0;
    for_each_asked(asked, plan, [&](const char* path, const char* name, json_object* answer) {
        width = std::max(width, answer != nullptr ? name_width(path, name) : 0);
    });
    for_each_asked(asked, plan, [&](const char* path, const char* name, json_object* answer) {
        if (json_object_is_type(answer, json_type_array) != 0) {
            print_list(answer);
            return;
        }
        if (answer == nullptr && show != Show::kValues) {
            return;
        }
        if (show == Show::kFullNames) {
            print_escaped(path);
            print_escaped(dot(path));
        }
        if (show != Show::kValues) {
            print_escaped(name);
            std::printf("%*s = ", static_cast<int>(width - name_width(path, name)), "");
        }
        if (answer != nullptr) {
            print_value(answer);
        }
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

void print_plan(json_object* plan, bool is_single)
{
    json_object* shown = plan;
    if (is_single) {
        (void)for_each_in(plan, [&](const char*, json_object* request) {
            shown = request;
            return kDone;
        });
    }
    print_json(shown);
}

void print_json_values(json_object* plan, bool is_single)
{
    const JsonRef all{json_object_new_object()};
    (void)for_each_in(plan, [&](const char* path, json_object* request) {
        json_object* const values = is_single ? all.get() : object_in(all.get(), path);
        for_each_answer(path, request, [&](const char* name, json_object* answer) {
            (void)add(values, name, JsonRef{json_object_get(answer)});
        });
        return kDone;
    });
    print_json(all.get());
}

const char* failed_parameter(const Object& object, json_object* request)
{
    const char* failed = nullptr;
    for_each_member(object, request, [&](const char* name, json_object* value) {
        if (failed == nullptr && json_object_is_type(value, json_type_object) != 0 &&
            json_object_get_int64(member_of(value, "ParamId")) != 0) {
            failed = name;
        }
    });
    return failed;
}

} // namespace qsc
