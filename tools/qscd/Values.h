// SPDX-License-Identifier: Apache-2.0
// The values in an answered request of the library.
#pragma once

#include <string_view>

#include <json-c/json.h>

#include "tools/qscd/Model.h"

namespace qscd
{

/// A member of an object; null: there is none.
inline json_object* member(json_object* object, const char* name)
{
    json_object* value = nullptr;
    return json_object_object_get_ex(object, name, &value) != 0 ? value : nullptr;
}

/// A text of a message, or what json-c makes of another type.
inline std::string_view text_of(json_object* value)
{
    return {json_object_get_string(value), static_cast<std::size_t>(json_object_get_string_len(value))};
}

/// What the answer to one parameter is, out of its object; null: nothing.
inline json_object* value_of(json_object* parameter)
{
    for (const char* key : {"ParamValue", "version", "function"}) {
        json_object* value = nullptr;
        if (json_object_object_get_ex(parameter, key, &value) != 0) {
            return value;
        }
    }
    return nullptr;
}

/// The code that a handler left in a parameter's object; -1: none was there for it.
inline qsc::i64 code_of(json_object* parameter)
{
    json_object* code = nullptr;
    return json_object_object_get_ex(parameter, "ParamId", &code) != 0 ? json_object_get_int64(code) : -1;
}

/// Calls visit(path, name, value) for each value of an answered request, in its order; path is the object's
/// that holds it. False ends it.
template <typename Visit>
bool for_each_value(std::string_view object, json_object* request, Visit& visit)
{
    json_object_object_foreach(request, key, inner)
    {
        if (json_object_is_type(inner, json_type_object) == 0) {
            continue;
        }
        if (json_object* const value = value_of(inner)) {
            if (!visit(object, std::string_view{key}, value)) {
                return false;
            }
            continue;
        }
        // An instance, under its whole path or under what follows the object's.
        const std::string_view name{key};
        PathText path;
        path.append(name.starts_with("Device.") ? std::string_view{} : object);
        path.append(path.view().empty() || path.view().ends_with('.') ? "" : ".").append(name);
        if (!for_each_value(path.view(), inner, visit)) {
            return false;
        }
    }
    return true;
}

} // namespace qscd
