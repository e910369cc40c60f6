// SPDX-License-Identifier: Apache-2.0
// The JSON header of message payloads, and clearing a JSON object.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include <json-c/json.h>

#include "base/Json.h"
#include "include/qscbase.h"

using namespace qsc;

namespace
{

struct FreeTokener {
    void operator()(json_tokener* tokener) const { json_tokener_free(tokener); }
};

/// Parses a JSON object in a buffer of this size. Returns null if there is none.
JsonRef parse_object(const char* text, std::size_t size)
{
    const std::unique_ptr<json_tokener, FreeTokener> tokener{json_tokener_new()};
    if (tokener == nullptr) {
        return nullptr;
    }
    JsonRef root{json_tokener_parse_ex(tokener.get(), text, static_cast<int>(strnlen(text, size)))};
    return is_object(root.get()) ? std::move(root) : nullptr;
}

/// Sets a number in the header. EFAULT if the member has another type.
u32 set_number(json_object* header, const char* name, u32 number)
{
    json_object* existing = nullptr;
    if (!find_member(header, name, existing)) {
        return add_new_member(header, name, json_object_new_int64(number));
    }
    return json_object_set_int64(existing, number) != 0 ? 0 : EFAULT;
}

/// Finds or creates the header object. EINVAL if it is not an object; ENOMEM.
u32 find_or_add_header(json_object* root, json_object*& header)
{
    constexpr const char* kHeader = "MsgHeader";
    if (find_member(root, kHeader, header)) {
        return is_object(header) ? 0 : EINVAL;
    }
    header = json_object_new_object();
    return add_new_member(root, kHeader, header);
}

} // namespace

uint32_t QSCBase_ModifyMsgHeader(char* text, uint16_t size, uint32_t mainOper, uint32_t subOper,
                                 uint32_t owner, uint32_t flag)
{
    if (text == nullptr || size <= 2 || *text == '\0') {
        return EINVAL;
    }
    const JsonRef root = parse_object(text, size);
    if (root == nullptr) {
        return EINVAL;
    }
    json_object* header = nullptr;
    if (const u32 code = find_or_add_header(root.get(), header)) {
        return code;
    }
    const struct {
        const char* name;
        u32 number;
    } members[] = {{"MainOper", mainOper}, {"SubOper", subOper}, {"Owner", owner}, {"Flag", flag}};
    for (const auto& [name, number] : members) {
        if (const u32 code = set_number(header, name, number)) {
            return code;
        }
    }
    const char* const written = json_object_to_json_string_ext(root.get(), JSON_C_TO_STRING_PLAIN);
    if (written == nullptr) {
        return EFAULT;
    }
    std::memset(text, 0, size);
    const int length = std::snprintf(text, size, "%s", written);
    return length < 0 || length == size - 1 ? EFAULT : 0;
}

uint32_t QSCBase_DeleteallObjects(json_object* object)
{
    if (!is_object(object)) {
        return EINVAL;
    }
    json_object_object_foreach(object, name, value)
    {
        (void)value;
        json_object_object_del(object, name);
    }
    return 0;
}
