// SPDX-License-Identifier: Apache-2.0
// Reading the parameters of a request. A function that refuses one has written the answer.
#pragma once

#include "tools/qscd/Methods.h"

namespace qscd
{

/// Answers with an error, whose sentence may come in parts. Always false.
bool refuse(Call& call, ErrorCode code, std::string_view first, std::string_view second = {},
            std::string_view third = {});

/// Whether the caller has all of these rights for a path, and may speak as the commander of the request.
[[nodiscard]] bool check_rights(Call& call, const Caller& caller, std::string_view path, u32 rights);

/// The name or number that the request speaks for.
[[nodiscard]] bool take_commander(Call& call);

/// Makes room for so many items.
[[nodiscard]] bool make_items(Call& call, std::size_t count);

/// Adds one path; what is wrong with it is added to the failures, what is not allowed ends the request.
[[nodiscard]] bool add_item(Call& call, const Caller& caller, std::string_view path, json_object* value,
                            Failures& failures);

/// Answers with the failures, if there are any.
[[nodiscard]] bool finish_items(Call& call, Failures& failures);

/// Reads "path" or "paths" into the items, and checks them. Needed tells whether there must be one.
[[nodiscard]] bool take_paths(Call& call, const Caller& caller, bool is_needed);

/// A number of the parameters; the default where there is none.
[[nodiscard]] bool take_number(Call& call, const char* name, u32 most, u32& number);

} // namespace qscd
