// SPDX-License-Identifier: Apache-2.0
// Showing answered requests to a person or a script.
#pragma once

#include <string_view>

#include "tools/qsc/Lookup.h"

struct json_object;

namespace qsc
{

/// What is shown of an answer.
enum class Show {
    kNames,     ///< "NAME = VALUE", aligned
    kFullNames, ///< the same, with the object's path before the name
    kValues     ///< values alone, one a line; an empty line for one that was named and has no answer
};

/// Prints the answers in a plan, which is an object with the requests by their paths, in the order in which
/// they were asked for: an array of objects {PATH: {NAME: ...}}, where no names mean all.
void print_answers(json_object* asked, json_object* plan, Show show);

/// Prints JSON.
void print_json(json_object* value);

/// Prints a plan as JSON, or its only request if `is_single`.
void print_plan(json_object* plan, bool is_single);

/// Prints a plan, or its only request if `is_single`, as JSON with nothing but the values.
void print_json_values(json_object* plan, bool is_single);

/// The parameter whose handler failed, by its recorded code; null: none did.
[[nodiscard]] const char* failed_parameter(const Object& object, json_object* request);

} // namespace qsc
