// SPDX-License-Identifier: Apache-2.0
#include "tools/qsc/Json.h"

#include <cstring>

#include "tools/qsc/Report.h"

namespace qsc
{

bool add(json_object* object, const char* name, JsonRef member)
{
    if (object == nullptr || member == nullptr || json_object_object_add(object, name, member.get()) != 0) {
        return false;
    }
    (void)member.release();
    return true;
}

json_object* object_in(json_object* object, const char* name)
{
    json_object* inner = nullptr;
    if (json_object_object_get_ex(object, name, &inner) == 0 &&
        add(object, name, JsonRef{json_object_new_object()})) {
        json_object_object_get_ex(object, name, &inner);
    }
    return inner;
}

bool add_value(json_object* request, const char* name, JsonRef value)
{
    json_object* const parameter = object_in(request, name);
    // JSON null is a null pointer, which is a value here and no failure.
    if (parameter == nullptr || json_object_object_add(parameter, "ParamValue", value.get()) != 0) {
        return false;
    }
    (void)value.release();
    return true;
}

bool add_package(json_object* request, const char* package)
{
    json_object* packages = nullptr;
    if (json_object_object_get_ex(request, "package", &packages) == 0) {
        packages = json_object_new_array();
        if (!add(request, "package", JsonRef{packages})) {
            return false;
        }
    }
    JsonRef name{json_object_new_string(package)};
    if (name == nullptr || json_object_array_add(packages, name.get()) != 0) {
        return false;
    }
    (void)name.release();
    return true;
}

JsonRef action_request(const char* action)
{
    JsonRef object{json_object_new_object()};
    return add(object.get(), "action", JsonRef{json_object_new_string(action)}) ? std::move(object) : nullptr;
}

JsonRef parse_json(const char* text, std::size_t length, const char*& error)
{
    json_tokener* const tokener = json_tokener_new();
    if (tokener == nullptr) {
        error = "out of memory";
        return nullptr;
    }
    JsonRef value{json_tokener_parse_ex(tokener, text, static_cast<int>(length) + 1)};
    const json_tokener_error result = json_tokener_get_error(tokener);
    error = result != json_tokener_success ? json_tokener_error_desc(result) : nullptr;
    // The text ends at its terminator; anything left before that is not part of the value.
    const std::size_t end = json_tokener_get_parse_end(tokener);
    if (error == nullptr && end < length && std::strspn(text + end, " \t\r\n") < length - end) {
        error = "more text after the value";
    }
    json_tokener_free(tokener);
    return error == nullptr ? std::move(value) : nullptr;
}

ExitCode out_of_memory()
{
    return failure("out of memory");
}

} // namespace qsc
