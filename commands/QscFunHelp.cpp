// SPDX-License-Identifier: Apache-2.0
// "help": lists the subtrees, or finds the id of a path and the path of an id.
#include <json-c/json.h>

#include "base/Json.h"
#include "core/CommandTable.h"
#include "core/Objects.h"
#include "core/Request.h"
#include "include/qsc_handlers.h"

using namespace qsc;

namespace
{

QSC_MODULE("QscFunHelp");

u32 add_id(json_object* element, const Qsc_CommandEntry& entry)
{
    return add_member(element, "id", json_object_new_int64(entry.id));
}

u32 add_name(json_object* element, const Qsc_CommandEntry& entry)
{
    return add_member(element, "name", json_object_new_string(entry.path));
}

u32 append_every_command(json_object* list)
{
    for (const Qsc_CommandEntry* entry = g_QSysCmdHalCmd; entry->id != QSC_TABLE_END; ++entry) {
        JsonRef element{json_object_new_object()};
        if (element == nullptr || add_id(element.get(), *entry) != 0 ||
            add_name(element.get(), *entry) != 0 || json_object_array_add(list, element.get()) != 0) {
            return ENOMEM;
        }
        (void)element.release(); // the list owns it
    }
    return 0;
}

/// Gives one element the half that it lacks; complete says whether it has both afterwards.
u32 complete_element(json_object* element, bool& complete)
{
    json_object* name = nullptr;
    json_object* id = nullptr;
    const bool has_name = find_member(element, "name", name) && json_object_get_string_len(name) > 0;
    // Only an id of -1 counts as none; any other that no subtree has is an error of the caller.
    const bool has_id = find_member(element, "id", id) && id != nullptr &&
                        !(json_object_is_type(id, json_type_int) && json_object_get_int64(id) == -1);
    complete = has_name || has_id;
    if (!complete || (has_name && has_id)) {
        return 0;
    }
    const Qsc_CommandEntry* entry = nullptr;
    if (has_name) {
        json_object_object_del(element, "id");
        entry = find_command_for(json_object_get_string(name));
        return entry != nullptr ? add_id(element, *entry) : EFAULT;
    }
    json_object_object_del(element, "name");
    const i64 wanted = json_object_is_type(id, json_type_int) ? json_object_get_int64(id) : -1;
    entry = find_command([&](const Qsc_CommandEntry& candidate) { return i64{candidate.id} == wanted; });
    return entry != nullptr ? add_name(element, *entry) : EFAULT;
}

u32 complete_list(json_object* list)
{
    bool any_complete = false;
    for (std::size_t i = 0; i < json_object_array_length(list); ++i) {
        json_object* const element = json_object_array_get_idx(list, i);
        if (!is_object(element)) {
            continue;
        }
        bool complete = false;
        if (const u32 code = complete_element(element, complete)) {
            return code;
        }
        any_complete |= complete;
    }
    return any_complete ? 0 : append_every_command(list);
}

u32 list_commands(json_object* object)
{
    json_object* list = nullptr;
    if (find_member(object, "function", list)) {
        return json_object_is_type(list, json_type_array) ? complete_list(list) : EINVAL;
    }
    JsonRef fresh{json_object_new_array()};
    if (fresh == nullptr || append_every_command(fresh.get()) != 0) {
        return ENOMEM;
    }
    return add_member(object, "function", fresh.release());
}

u32 help(const Call& call)
{
    if (!is_object(call.value)) {
        return EINVAL;
    }
    const bool is_get = (call.oper & QSC_OPER_GET) != 0;
    return finish(call.value, is_get ? list_commands(call.value) : refuse_operation(call, EINVAL));
}

} // namespace

QSC_HANDLER(Qsc_FunHelp_Do_List, help(call))

namespace
{

constexpr Row kRows[] = {
    handled("list", Kind::kJson, Access::kRead, Qsc_FunHelp_Do_List),
};

} // namespace

QSC_DESCRIBED_OBJECT(kHelp, "help", g_QscFunHelpCmd, kRows)
