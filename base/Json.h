// SPDX-License-Identifier: Apache-2.0
// JSON values of json-c: owning them, and the members of objects.
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

/// Whether this is a JSON object: null and every other JSON type are not.
[[nodiscard]] bool is_object(json_object* value);

/// Looks a member up; false: there is none. A member may be there and be JSON null, which is nullptr.
[[nodiscard]] bool find_member(json_object* object, const char* name, json_object*& member);

/// Takes a text; a number or boolean is taken as its text. EFAULT: it has no text.
[[nodiscard]] u32 text_of(json_object* member, std::string_view& text);

/// Adds a new member, which the object then owns; a null one is the failure to make it. ENOMEM.
[[nodiscard]] u32 add_member(json_object* object, const char* name, json_object* member);

/// The same for a name that the object is known not to have, which need not be searched for.
[[nodiscard]] u32 add_new_member(json_object* object, const char* name, json_object* member);

/// The same for a name of the library's own, which is not copied: it must live as long as the library.
[[nodiscard]] u32 add_named_member(json_object* object, const char* name, json_object* member);

} // namespace qsc
