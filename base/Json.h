// SPDX-License-Identifier: Apache-2.0
// Helpers for json-c: ownership of values, and members of objects.
#pragma once

#include <memory>
#include <string_view>

#include <json-c/json_object.h>

#include "base/Types.h"

namespace qsc
{

struct ReleaseJson {
    void operator()(json_object* value) const { json_object_put(value); }
};

/// Owns one reference to a JSON value.
using JsonRef = std::unique_ptr<json_object, ReleaseJson>;

/// Whether the value is a JSON object; JSON null is not.
[[nodiscard]] bool is_object(json_object* value);

/// Looks up a member. Returns false if there is none; a member that is JSON null is found as nullptr.
[[nodiscard]] bool find_member(json_object* object, const char* name, json_object*& member);

/// Reads a string, number or boolean as text. EFAULT for any other type.
[[nodiscard]] u32 text_of(json_object* member, std::string_view& text);

/// Adds a member and passes its ownership to the object. A null member counts as a failed allocation: ENOMEM.
[[nodiscard]] u32 add_member(json_object* object, const char* name, json_object* member);

/// The same for a name that the object is known not to have, which saves a lookup.
[[nodiscard]] u32 add_new_member(json_object* object, const char* name, json_object* member);

/// The same for a constant name, which is not copied and must live as long as the library.
[[nodiscard]] u32 add_named_member(json_object* object, const char* name, json_object* member);

} // namespace qsc
