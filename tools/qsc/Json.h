// SPDX-License-Identifier: Apache-2.0
// Putting requests together.
#pragma once

#include <cstddef>

#include <json-c/json.h>

#include "base/Json.h"
#include "tools/qsc/Options.h"

namespace qsc
{

/// Adds a member to an object, which then owns it; false: no memory.
[[nodiscard]] bool add(json_object* object, const char* name, JsonRef member);

/// The object in an object, made if it is not there; null: no memory. The outer one owns it.
[[nodiscard]] json_object* object_in(json_object* object, const char* name);

/// Calls visit(name, value) for each member of an object while it answers kDone.
template <typename Visit>
ExitCode for_each_in(json_object* object, Visit visit)
{
    json_object_object_foreach(object, name, value)
    {
        if (const ExitCode result = visit(name, value)) {
            return result;
        }
    }
    return kDone;
}

/// Calls visit(text) for each text of an array while it answers kDone.
template <typename Visit>
ExitCode for_each_text(json_object* array, Visit visit)
{
    for (std::size_t i = 0; i < json_object_array_length(array); ++i) {
        if (const ExitCode result = visit(json_object_get_string(json_object_array_get_idx(array, i)))) {
            return result;
        }
    }
    return kDone;
}

/// Makes the value that a set hands over: {"ParamValue": VALUE} under the parameter's name. False: no memory.
[[nodiscard]] bool add_value(json_object* request, const char* name, JsonRef value);

/// Adds a package to a commit request; false: no memory.
[[nodiscard]] bool add_package(json_object* request, const char* package);

/// A service request; null: no memory.
[[nodiscard]] JsonRef action_request(const char* action);

/// Reads a text that holds one JSON value and nothing else; null, with what is wrong in `error`: it does not.
[[nodiscard]] JsonRef parse_json(const char* text, std::size_t length, const char*& error);

/// Says so. @return kFailed
ExitCode out_of_memory();

} // namespace qsc
