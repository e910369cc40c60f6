// SPDX-License-Identifier: Apache-2.0
#include "core/Request.h"

#include <json-c/json.h>

#include "base/Parse.h"

namespace qsc
{

namespace
{

constexpr const char* kParamValue = "ParamValue";

/// "-5", "+5", "5": with 0x or a leading 0 some readers would read it otherwise, so it is no decimal number.
bool parse_decimal(std::string_view text, i32& number)
{
    std::string_view digits = text;
    digits.remove_prefix(text.starts_with('-') || text.starts_with('+') ? 1 : 0);
    return !(digits.size() > 1 && digits.front() == '0') && parse_any_base(text, number);
}

/// Puts a value into a member: an existing one of the same type is changed, otherwise a new one is added.
template <typename Value, typename Change, typename Make>
u32 answer(json_object* value, const char* member, json_type type, Value content, Change change, Make make)
{
    json_object* existing = nullptr;
    if (!find_member(value, member, existing)) {
        return add_named_member(value, member, make(content));
    }
    if (json_object_is_type(existing, type) == 0) {
        return add_member(value, member, make(content));
    }
    return change(existing, content) != 0 ? 0 : EFAULT;
}

} // namespace

u32 take_text(json_object* value, std::string_view& text)
{
    json_object* member = nullptr;
    return find_member(value, kParamValue, member) ? text_of(member, text) : EINVAL;
}

u32 take_string(json_object* value, std::string_view& text)
{
    json_object* member = nullptr;
    if (!find_member(value, kParamValue, member)) {
        return EINVAL;
    }
    return json_object_is_type(member, json_type_string) != 0 ? text_of(member, text) : EFAULT;
}

u32 take_int(json_object* value, i32& number)
{
    json_object* member = nullptr;
    if (!find_member(value, kParamValue, member)) {
        return EINVAL;
    }
    switch (json_object_get_type(member)) {
    case json_type_boolean:
        number = json_object_get_boolean(member) != 0 ? 1 : 0;
        return 0;
    case json_type_int: {
        const i64 wide = json_object_get_int64(member);
        if (wide < INT32_MIN || wide > INT32_MAX) {
            return EFAULT;
        }
        number = static_cast<i32>(wide);
        return 0;
    }
    case json_type_string: {
        std::string_view text;
        const u32 code = text_of(member, text);
        return code != 0 ? code : parse_decimal(text, number) ? 0 : EFAULT;
    }
    default:
        return EFAULT;
    }
}

u32 answer_text(json_object* value, const char* text, const char* member)
{
    return answer(value, member, json_type_string, text, json_object_set_string, json_object_new_string);
}

u32 answer_int(json_object* value, i32 number)
{
    return answer(value, kParamValue, json_type_int, number, json_object_set_int, json_object_new_int);
}

u32 refuse_operation(const Call& call, u32 code)
{
    QSC_LOG_CALL(call, kLogError, "operation not support (0x%X)\n", call.oper);
    return code;
}

void tell_host()
{
    if (g_QSysCmdHalCb != nullptr) {
        g_QSysCmdHalCb(4, 0);
    }
}

u32 finish(json_object* value, u32 code)
{
    // An object whose "ParamId" is not a number cannot carry the code; the caller still gets it.
    (void)Qsc_SetParamId(value, code);
    tell_host();
    return code;
}

} // namespace qsc
