// SPDX-License-Identifier: Apache-2.0
// Serving parameters that are rows, and what the functions of rows are made of.
#pragma once

#include <string_view>

#include "core/Object.h"
#include "core/Refusal.h"
#include "core/Request.h"
#include "core/RowSource.h"
#include "core/RowValue.h"
#include "core/UciAccess.h"

namespace qsc
{

/// What the keys of an instance's options begin with, such as "network.cfg02f1a3.".
using SectionText = Text<190>;

/// One request to an object, and what has been found out for it so far.
struct RowRequest {
    const Object& object;
    const char* path;
    json_object* root; ///< the named parameters; null: a handler was called by itself
    u32 oper;
    u32 argument;
    i32 instance = 0; ///< 0: the object has none
    SectionText section{};
    Text<14> suffix{};       ///< what the keys of its options end in
    u32 found = 0;           ///< EINVAL: there is no such instance
    bool is_new = false;     ///< the instance is added by this request
    bool is_checked = false; ///< every named value is known to be right
    bool is_trial = false;   ///< judged, not done
    bool is_change = false;  ///< what is written is staged at the end, and recorded then
    Sources sources{};
};

/// A call for one row. Log lines about it name the object's module, the parameter, and the row's line.
struct RowCall : Call {
    RowRequest& request;
    const PackedRow& row;
};

/// Finds the instance that a get is about.
void begin_get(RowRequest& request);

/// Serves one parameter, and ends the call as every handler ends.
u32 serve_row(RowRequest& request, const PackedRow& row, json_object* value);

/// Begins a set: judges it as a whole before its first write. `refused` is the parameter that it fails for;
/// its object has the result, and the host has been told, as if the parameter's handler had refused it.
[[nodiscard]] u32 begin_set(RowRequest& request, const char*& refused);

/// Ends a set that began, after a walk that ended with a code. @return the code of the whole
[[nodiscard]] u32 end_set(RowRequest& request, u32 code, const char*& refused);

/// Judges a set, of which nothing is done then.
[[nodiscard]] u32 check_set(RowRequest& request, const char*& refused);

/// Answers with a value in the spelling in which it is stored; empty is 0 for a number or a switch.
[[nodiscard]] u32 answer_stored(const RowCall& call, std::string_view stored);

/// Answers with a number.
[[nodiscard]] u32 answer_number(const RowCall& call, i64 number);

/// The full key of a row that is kept in the configuration.
void append_key(const RowRequest& request, const PackedRow& row, Text<254>& key);

/// Reads what a row of the request's object holds now, as it is stored, or its fallback. Items of lists have
/// commas between them. @return 0, or what the configuration failed with other than for a missing option
[[nodiscard]] u32 read_stored(RowRequest& request, const PackedRow& row, RowText& stored);

/// Reads what a row of the same object will hold after the request: what it sets, else what is stored.
/// EFAULT: what it sets is refused.
[[nodiscard]] u32 read_outcome(const RowCall& call, const char* name, RowText& stored);

/// Whether the request names a parameter of the object.
[[nodiscard]] bool is_named(const RowCall& call, const char* name);

/// Stores the items of a list, which have commas between them; the text is used up.
[[nodiscard]] u32 write_items(const char* key, RowText& items);

/// Stores a row's value in the configuration, unless it is there already.
[[nodiscard]] u32 write_stored(const RowCall& call, std::string_view stored);

} // namespace qsc
