// SPDX-License-Identifier: Apache-2.0
// A plan, or the report of an apply, for people.
#pragma once

struct json_object;

namespace qsc
{

/// Prints what a plan says would be done, or a report was.
void print_changes(json_object* plan);

} // namespace qsc
