// SPDX-License-Identifier: Apache-2.0
// Showing an answered request to a person: "NAME = value", aligned, in the order of the table.
#pragma once

#include <string_view>

#include "tools/qsc/Lookup.h"

struct json_object;

namespace qsc
{

/// Prints every answer that a request holds.
void print_answers(const Target& target, json_object* request);

/// Prints a request as JSON.
void print_json(json_object* request);

/// The parameter whose handler failed, by its recorded code; null: none did.
[[nodiscard]] const char* failed_parameter(const Target& target, json_object* request);

/// Whether a parameter's handler left its code in its object, that is, whether it was called.
[[nodiscard]] bool was_served(json_object* value);

} // namespace qsc
