// SPDX-License-Identifier: Apache-2.0
// What requests for applies, and decisions on them, have to say, and who may make them.
#include <cstring>

#include <json-c/json.h>

#include "tools/qscd/ApplyParts.h"
#include "tools/qscd/Parameters.h"
#include "tools/qscd/Values.h"

using namespace qsc;

namespace qscd
{

namespace
{

/// Seconds, as the library takes them.
constexpr u32 kMostSeconds = 604'800;

/// Checks one of the changes that were sent in the library's form.
bool take_change(Call& call, const Caller& caller, json_object* change, Failures& failures)
{
    const std::string_view path = text_in(change, "path");
    u32 steps = 0;
    for (const char* step : {"set", "commit", "service"}) {
        steps += json_object_is_type(member(change, step), json_type_object) != 0 ? 1 : 0;
    }
    if (path.empty() || std::strlen(path.data()) != path.size() || steps != 1 ||
        json_object_object_length(change) != 2) {
        return refuse(
            call, kBadParams,
            R"(changes: a list of {"path": text, and one of "set", "commit" and "service": object})");
    }
    if (!check_rights(call, caller, without_dot(path), kApplyRights)) {
        return false;
    }
    Item& item = *std::construct_at(&call.items[call.item_count]);
    item.value = nullptr;
    item.place.entry = entry_for(path);
    if (item.place.entry == nullptr || !item.place.object.assign(path)) {
        failures.add(path, kNoSuchParameter, "there is no such path");
    } else {
        ++call.item_count;
    }
    return true;
}

bool prepare_changes(Call& call, const Caller& caller, json_object* changes)
{
    const std::size_t count =
        json_object_is_type(changes, json_type_array) != 0 ? json_object_array_length(changes) : 0;
    if (count == 0) {
        return refuse(call, kBadParams, R"(values: an object, or changes: a list)");
    }
    Failures failures;
    if (!make_items(call, count)) {
        return false;
    }
    for (std::size_t i = 0; i < count; ++i) {
        if (!take_change(call, caller, json_object_array_get_idx(changes, i), failures)) {
            return false;
        }
    }
    return finish_items(call, failures);
}

/// Programs are run as root: whoever may only set something may not name one.
bool may_check(Call& call, const Caller& caller)
{
    json_object* const checks = member(call.params, "checks");
    const std::size_t count =
        json_object_is_type(checks, json_type_array) != 0 ? json_object_array_length(checks) : 0;
    for (std::size_t i = 0; i < count; ++i) {
        json_object* const each = json_object_array_get_idx(checks, i);
        const std::string_view check =
            json_object_is_type(each, json_type_string) != 0 ? text_of(each) : std::string_view{};
        if (check != "gateway" && check != "dns" && !check.starts_with("url:") &&
            !caller.table.is_master(caller.peer)) {
            return refuse(call, kDenied, "only root may name a program as a check; others may use gateway, ",
                          "dns and url:ADDRESS");
        }
    }
    return true;
}

} // namespace

bool prepare_apply(Call& call, const Caller& caller)
{
    call.wants_word = member(call.params, "confirm") != nullptr || member(call.params, "checks") != nullptr;
    json_object* const changes = member(call.params, "changes");
    const bool is_prepared = changes != nullptr && member(call.params, "values") == nullptr
                                 ? prepare_changes(call, caller, changes)
                                 : prepare_set(call, caller);
    return is_prepared && may_check(call, caller);
}

bool prepare_id(Call& call, const Caller& caller)
{
    u32 seconds = 1;
    const std::string_view id = text_in(call.params, "id");
    call.is_master = caller.table.is_master(caller.peer);
    if (id.empty()) {
        return refuse(call, kBadParams, "id: that of the change, as pending shows it");
    }
    if (std::strcmp(call.method->name, "extend") == 0) {
        if (!take_number(call, "seconds", kMostSeconds, seconds)) {
            return false;
        }
        if (member(call.params, "seconds") == nullptr) {
            return refuse(call, kBadParams, "seconds: counted from now");
        }
    }
    call.wants_word = std::strcmp(call.method->name, "cancel") == 0;
    return name_call(call, id);
}

/// What it will touch is known only when it is done, so it needs the rights to all.
bool prepare_rollback(Call& call, const Caller& caller)
{
    const std::string_view id = text_in(call.params, "undo");
    call.wants_word = member(call.params, "confirm") != nullptr || member(call.params, "checks") != nullptr;
    if (id.empty()) {
        return refuse(call, kBadParams, "undo: the id of an apply, as history shows it");
    }
    return name_call(call, "Device") && check_rights(call, caller, "Device", kApplyRights) &&
           may_check(call, caller);
}

/// Entries of the journal, whose secrets are masked.
bool prepare_journal(Call& call, const Caller& caller)
{
    const std::string_view path = text_in(call.params, "path");
    return name_call(call, path) &&
           check_rights(call, caller, path.empty() ? std::string_view{"Device"} : without_dot(path),
                        access::kGet);
}

bool prepare_pending(Call& call, const Caller&)
{
    return name_call(call, "");
}

} // namespace qscd
