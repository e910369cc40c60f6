// SPDX-License-Identifier: Apache-2.0
#include "base/Json.h"

#include <cerrno>
#include <cstring>

#include <json-c/json.h>

namespace qsc
{

namespace
{

u32 add(json_object* object, const char* name, json_object* member, unsigned how)
{
    if (member == nullptr) {
        return ENOMEM;
    }
    if (json_object_object_add_ex(object, name, member, how) != 0) {
        json_object_put(member);
        return ENOMEM;
    }
    return 0;
}

} // namespace

bool is_object(json_object* value)
{
    return json_object_is_type(value, json_type_object) != 0;
}

bool find_member(json_object* object, const char* name, json_object*& member)
{
    // Most objects have no or few members, and comparing a few names is faster than hashing one.
    constexpr int kFew = 4;
    if (!is_object(object)) {
        return false;
    }
    if (json_object_object_length(object) > kFew) {
        return json_object_object_get_ex(object, name, &member) != 0;
    }
    json_object_object_foreach(object, other, value)
    {
        if (std::strcmp(other, name) == 0) {
            member = value;
            return true;
        }
    }
    return false;
}

u32 text_of(json_object* member, std::string_view& text)
{
    switch (json_object_get_type(member)) {
    case json_type_string: {
        const std::string_view whole{json_object_get_string(member),
                                     static_cast<std::size_t>(json_object_get_string_len(member))};
        // The configuration and the shell would cut the text at its first NUL.
        if (whole.find('\0') != std::string_view::npos) {
            return EFAULT;
        }
        text = whole;
        return 0;
    }
    case json_type_boolean:
    case json_type_int:
    case json_type_double: {
        const char* const written = json_object_get_string(member);
        if (written == nullptr) {
            return ENOMEM;
        }
        text = written;
        return 0;
    }
    default:
        return EFAULT;
    }
}

u32 add_member(json_object* object, const char* name, json_object* member)
{
    return add(object, name, member, 0);
}

u32 add_new_member(json_object* object, const char* name, json_object* member)
{
    return add(object, name, member, JSON_C_OBJECT_ADD_KEY_IS_NEW);
}

u32 add_named_member(json_object* object, const char* name, json_object* member)
{
    return add(object, name, member, JSON_C_OBJECT_ADD_KEY_IS_NEW | JSON_C_OBJECT_KEY_IS_CONSTANT);
}

} // namespace qsc
