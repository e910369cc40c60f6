// SPDX-License-Identifier: Apache-2.0
#include "core/Request.h"

#include <utility>

#include <json-c/json.h>

#include "base/Parse.h"
#include "core/Refusal.h"

namespace qsc
{

namespace
{

constexpr const char* kParamValue = "ParamValue";

constexpr const char* kNoValue = "the value is missing";

/// Whether a get could not read what is stored.
constinit thread_local bool t_is_starved = false;

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
    if (!find_member(value, kParamValue, member)) {
        return refuse(EINVAL, "%s", kNoValue);
    }
    const u32 code = text_of(member, text);
    return code != 0 ? refuse(code, "the value has no text") : 0;
}

u32 take_string(json_object* value, std::string_view& text)
{
    json_object* member = nullptr;
    if (!find_member(value, kParamValue, member)) {
        return refuse(EINVAL, "%s", kNoValue);
    }
    return json_object_is_type(member, json_type_string) != 0 ? text_of(member, text) : EFAULT;
}

u32 take_int(json_object* value, i32& number)
{
    json_object* member = nullptr;
    if (!find_member(value, kParamValue, member)) {
        return refuse(EINVAL, "%s", kNoValue);
    }
    i64 wide = 0;
    std::string_view text;
    bool is_number = false;
    switch (json_object_get_type(member)) {
    case json_type_boolean:
        wide = json_object_get_boolean(member) != 0 ? 1 : 0;
        is_number = true;
        break;
    case json_type_int:
        wide = json_object_get_int64(member);
        is_number = wide >= INT32_MIN && wide <= INT32_MAX;
        break;
    case json_type_string: {
        i32 parsed = 0;
        is_number = text_of(member, text) == 0 && parse_decimal(text, parsed);
        wide = parsed;
        break;
    }
    default:
        break;
    }
    if (!is_number) {
        return refuse(EFAULT, "the value is no whole number of 32 bits");
    }
    number = static_cast<i32>(wide);
    return 0;
}

u32 answer_text(json_object* value, const char* text, const char* member)
{
    return answer(value, member, json_type_string, text, json_object_set_string, json_object_new_string);
}

u32 answer_int(json_object* value, i32 number)
{
    return answer(value, kParamValue, json_type_int, number, json_object_set_int, json_object_new_int);
}

u32 answer_int64(json_object* value, i64 number)
{
    return answer(value, kParamValue, json_type_int, number, json_object_set_int64, json_object_new_int64);
}

u32 refuse_operation(const Call& call, u32 code)
{
    QSC_LOG_CALL(call, kLogError, "operation not support (0x%X)\n", call.oper);
    return refuse(code, "%s",
                  (call.oper & QSC_OPER_SET) != 0 ? "it cannot be set" : "the operation is not served");
}

void tell_host()
{
    if (g_QSysCmdHalCb != nullptr) {
        g_QSysCmdHalCb(4, 0);
    }
}

void note_read(u32 code)
{
    t_is_starved = t_is_starved || code == ENOMEM;
}

u32 finish_get(const Call& call, u32 code)
{
    if (!std::exchange(t_is_starved, false) || code != 0) {
        return code;
    }
    QSC_LOG_CALL(call, kLogError, "the configuration cannot be read, error %d\n", ENOMEM);
    return ENOMEM;
}

u32 record_result(json_object* value, u32 code)
{
    t_is_starved = false;
    // An object whose "ParamId" is not a number cannot carry the code; the caller still gets it.
    (void)Qsc_SetParamId(value, code);
    if (code != 0) {
        add_refusal(value, code);
    }
    return code;
}

u32 finish(json_object* value, u32 code)
{
    (void)record_result(value, code);
    tell_host();
    return code;
}

} // namespace qsc
