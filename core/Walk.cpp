// SPDX-License-Identifier: Apache-2.0
#include "core/Walk.h"

#include <cerrno>

#include <json-c/json.h>

#include "base/Json.h"
#include "core/Refusal.h"

namespace qsc
{

namespace
{

bool is_served(const Parameter& parameter)
{
    return parameter.handler != nullptr || parameter.row != nullptr;
}

u32 serve(const Walk& walk, const Parameter& parameter, json_object* value)
{
    forget_refusal(); // what went wrong before this parameter is not why it is refused
    return walk.serve(walk.context, parameter, value);
}

} // namespace

u32 walk_named(const Walk& walk, const char* verb, bool& any_named)
{
    u32 result = 0;
    Parameter parameter;
    for (std::size_t i = 0; parameter_at(walk.object, i, parameter); ++i) {
        json_object* value = nullptr;
        if (!find_member(walk.request, parameter.name, value)) {
            continue;
        }
        any_named = true;
        const u32 code = is_served(parameter) ? serve(walk, parameter, value) : 0;
        if (code != 0) {
            if (!walk.failed(walk.context, verb, parameter.name, code)) {
                return code;
            }
            result = code;
        }
    }
    return result;
}

u32 walk_all(const Walk& walk, const char* verb)
{
    u32 result = 0;
    Parameter parameter;
    for (std::size_t i = 0; parameter_at(walk.object, i, parameter); ++i) {
        if (!is_served(parameter)) {
            continue;
        }
        JsonRef value{json_object_new_object()};
        if (value == nullptr) {
            return ENOMEM;
        }
        const u32 code = serve(walk, parameter, value.get());
        if (code != 0) {
            if (!walk.failed(walk.context, verb, parameter.name, code)) {
                return code;
            }
            result = code;
        }
        if (const u32 added = add_named_member(walk.request, parameter.name, value.release())) {
            return added;
        }
    }
    return result;
}

u32 walk_get(const Walk& walk, const char* verb, const char* verb_of_all)
{
    // Most requests for everything name nothing at all.
    bool any_named = false;
    const u32 code = json_object_object_length(walk.request) == 0 ? 0 : walk_named(walk, verb, any_named);
    return code != 0 || any_named ? code : walk_all(walk, verb_of_all);
}

} // namespace qsc
