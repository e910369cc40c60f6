// SPDX-License-Identifier: Apache-2.0
#include "tools/qscd/UbusMessage.h"

#include <cstdint>
#include <string_view>
#include <utility>

#include <json-c/json.h>

extern "C" {
#include <libubox/blobmsg.h>
}

#include "base/Utf8.h"

using namespace qsc;

namespace qscd
{

namespace
{

/// As deep as a line of the socket may be.
constexpr u32 kDepth = 32;

bool is_utf8(std::string_view text)
{
    while (!text.empty()) {
        const std::size_t size = first_character(text).size;
        if (size == 0) {
            return false;
        }
        text.remove_prefix(size);
    }
    return true;
}

bool add_all(json_object* container, bool is_object, void* data, std::size_t size, u32 depth);

/// Turns one value into JSON; false: it is malformed.
bool take_value(blob_attr* attribute, u32 depth, JsonRef& value)
{
    void* const data = blobmsg_data(attribute);
    const std::size_t size = blobmsg_data_len(attribute);
    switch (blobmsg_type(attribute)) {
    case BLOBMSG_TYPE_UNSPEC:
        return true;
    case BLOBMSG_TYPE_BOOL:
        value.reset(json_object_new_boolean(static_cast<json_bool>(blobmsg_get_bool(attribute))));
        break;
    case BLOBMSG_TYPE_INT16:
        value.reset(json_object_new_int(static_cast<std::int16_t>(blobmsg_get_u16(attribute))));
        break;
    case BLOBMSG_TYPE_INT32:
        value.reset(json_object_new_int(static_cast<i32>(blobmsg_get_u32(attribute))));
        break;
    case BLOBMSG_TYPE_INT64:
        value.reset(json_object_new_int64(static_cast<i64>(blobmsg_get_u64(attribute))));
        break;
    case BLOBMSG_TYPE_DOUBLE:
        value.reset(json_object_new_double(blobmsg_get_double(attribute)));
        break;
    case BLOBMSG_TYPE_STRING: {
        const std::string_view text{static_cast<const char*>(data), size - 1};
        if (!is_utf8(text)) {
            return false;
        }
        value.reset(json_object_new_string_len(text.data(), static_cast<int>(text.size())));
        break;
    }
    case BLOBMSG_TYPE_TABLE:
        value.reset(json_object_new_object());
        return value != nullptr && add_all(value.get(), true, data, size, depth + 1);
    case BLOBMSG_TYPE_ARRAY:
        value.reset(json_object_new_array());
        return value != nullptr && add_all(value.get(), false, data, size, depth + 1);
    default:
        return false;
    }
    return value != nullptr;
}

bool add_all(json_object* container, bool is_object, void* data, std::size_t size, u32 depth)
{
    if (depth > kDepth) {
        return false;
    }
    auto* attribute = static_cast<blob_attr*>(data);
    std::size_t left = size;
    __blob_for_each_attr(attribute, data, left)
    {
        JsonRef value;
        if (!blobmsg_check_attr_len(attribute, is_object, left) || !take_value(attribute, depth, value)) {
            return false;
        }
        const char* const name = blobmsg_name(attribute);
        if (is_object && !is_utf8(name)) {
            return false;
        }
        json_object* const added = value.release();
        if ((is_object ? json_object_object_add(container, name, added)
                       : json_object_array_add(container, added)) != 0) {
            json_object_put(added);
            return false;
        }
    }
    return left == 0;
}

} // namespace

JsonRef parameters_of(blob_attr* message)
{
    JsonRef parameters{json_object_new_object()};
    const bool is_whole =
        parameters != nullptr &&
        (message == nullptr || add_all(parameters.get(), true, blob_data(message), blob_len(message), 0));
    return is_whole ? std::move(parameters) : JsonRef{};
}

} // namespace qscd
