// SPDX-License-Identifier: Apache-2.0
// How the last applies that had an id from their caller ended, so that one that is sent again is answered and
// not made again. Kept where a reboot empties the folder.
#pragma once

#include <string_view>

#include "base/Json.h"
#include "base/Types.h"

namespace qsc::apply
{

/// What is kept of one apply.
struct Result {
    u32 code = 0;
    JsonRef report;
};

/// The number of a change's content, so that two changes of one id can be told apart.
[[nodiscard]] u64 number_of(json_object* changes);

/// @return 0: it is known; ENOENT: it is not; EEXIST: the id is that of another change, and refuse() says so
[[nodiscard]] u32 find_result(std::string_view id, u64 change, Result& result);

/// Keeps one, in the place of an older one of that id.
void keep_result(std::string_view id, u64 change, u32 code, json_object* report);

/// Notes what became of one afterwards, as "outcome" in its report. One that is not known is added.
void note_outcome(std::string_view id, const char* outcome);

/// The newest with an outcome, as {"id", "outcome"}; null: none.
[[nodiscard]] JsonRef last_outcome();

} // namespace qsc::apply
