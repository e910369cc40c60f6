// SPDX-License-Identifier: Apache-2.0
// list: the objects of the tree with their parameters and types, from the rows.
#include <utility>

#include <json-c/json.h>

#include "tools/qscd/Parameters.h"
#include "tools/qscd/Values.h"

using namespace qsc;

namespace qscd
{

namespace
{

/// Writes one object and its parameters.
void list_object(Answer& answer, const Qsc_ObjectInfo& object)
{
    constexpr const char* kAccess[] = {"", "readOnly", "writeOnly", "readWrite"};
    answer.text().append(R"({"path":)");
    answer.append_text(object.path);
    answer.text().append(R"(,"parameters":[)");
    Qsc_ParameterInfo parameter{};
    for (u32 number = 0; QSysCmdHal_DescribeParameter(&object, number, &parameter) == 0; ++number) {
        answer.text().append(number == 0 ? "{" : ",{");
        const struct {
            std::string_view name;
            const char* text;
        } members[] = {{R"("name":)", parameter.name},
                       {R"(,"type":)", parameter.type},
                       {R"(,"access":)", kAccess[parameter.access & 3]},
                       {R"(,"values":)", parameter.values},
                       {R"(,"units":)", parameter.units}};
        for (const auto& [name, text] : members) {
            if (*text != '\0') {
                answer.text().append(name);
                answer.append_text(text);
            }
        }
        answer.text().append("}");
    }
    answer.text().append("]}");
}

} // namespace

/// Shows what the library serves and the caller may do anything with.
bool prepare_list(Call& call, const Caller& caller)
{
    json_object* const path = member(call.params, "path");
    if (path != nullptr && json_object_is_type(path, json_type_string) == 0) {
        return refuse(call, kBadParams, "path: a text");
    }
    call.answer.start_result();
    call.answer.text().append(R"({"tables":[)");
    Qsc_ObjectInfo object{};
    bool is_first = true;
    for (u32 number = 0; QSysCmdHal_DescribeObject(number, &object) == 0; ++number) {
        if (object.parameters != 0 && has_own_path(object) &&
            (path == nullptr || is_at_or_below(without_dot(object.path), text_of(path))) &&
            caller.table.grant(caller.peer, without_dot(object.entry->path)).rights != 0) {
            call.answer.text().append(std::exchange(is_first, false) ? "" : ",");
            list_object(call.answer, object);
        }
    }
    call.answer.text().append("]}");
    call.answer.end();
    return false;
}

} // namespace qscd
