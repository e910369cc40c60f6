// SPDX-License-Identifier: Apache-2.0
// The walk over the parameters of an object: those that a request names, or all.
#pragma once

#include "core/Object.h"

namespace qsc
{

/// One walk: whose parameters, and what is done with each.
struct Walk {
    const Object& object;
    json_object* request;
    void* context;
    /// Serves one parameter; its result is that of the parameter.
    u32 (*serve)(void* context, const Parameter& parameter, json_object* value);
    /// Logs a failure. @return whether the walk goes on, to end with this code all the same
    bool (*failed)(void* context, const char* verb, const char* parameter, u32 code);
};

/// Serves the parameters that the request names, in the object's order, up to the first failure.
/// `any_named`: the request named one.
[[nodiscard]] u32 walk_named(const Walk& walk, const char* verb, bool& any_named);

/// Answers every parameter as a new member. What was answered before a failure stays.
[[nodiscard]] u32 walk_all(const Walk& walk, const char* verb);

/// A get: the parameters that are named, or all of them.
[[nodiscard]] u32 walk_get(const Walk& walk, const char* verb, const char* verb_of_all);

} // namespace qsc
