// SPDX-License-Identifier: Apache-2.0
#include "tools/qscd/Parameters.h"

#include <algorithm>

#include <json-c/json.h>
#include <strings.h>

#include "include/qsyscmdhal.h"
#include "tools/qscd/Values.h"

using namespace qsc;

namespace qscd
{

namespace
{

constexpr u32 kMostPaths = 1024;

bool deny(Call& call, const char* right, std::string_view prefix, std::string_view path)
{
    Text<510> name;
    name.append(prefix).append(right);
    Text<1022> sentence;
    sentence.append("you lack the right \"").append(name.view()).append("\" for ").append(path);
    sentence.append("; rules for users and groups stand in the access file");
    Answer data;
    data.text().append(R"({"right":)");
    data.append_text(name.view());
    data.text().append(R"(,"path":)");
    data.append_text(path);
    data.text().append(R"(,"cwmp":9001,"usp":7006})");
    call.answer.fail(kDenied, sentence.view(), data.line());
    return false;
}

} // namespace

bool refuse(Call& call, ErrorCode code, std::string_view first, std::string_view second,
            std::string_view third)
{
    Text<510> sentence;
    sentence.append(first).append(second).append(third);
    call.answer.fail(code, sentence.view());
    return false;
}

bool check_rights(Call& call, const Caller& caller, std::string_view path, u32 rights)
{
    const access::Grant grant = caller.table.grant(caller.peer, path);
    for (u32 right = 1; right <= rights; right <<= 1) {
        if ((rights & right & ~grant.rights) != 0) {
            return deny(call, access::name_of(static_cast<access::Right>(right)), "", path);
        }
    }
    // Everyone may speak as OTHER.
    if (call.commander != QSC_COMMANDER_OTHER && (call.commander & ~grant.commanders) != 0) {
        return deny(call, QSysCmdHal_GetCommanderName(static_cast<i32>(call.commander)), "as:", path);
    }
    return true;
}

bool take_commander(Call& call)
{
    json_object* const given = member(call.params, "commander");
    call.commander = QSC_COMMANDER_OTHER;
    if (given == nullptr) {
        return true;
    }
    if (json_object_is_type(given, json_type_int) != 0) {
        const i64 number = json_object_get_int64(given);
        call.commander = static_cast<u32>(number);
        return (number > 0 && number <= UINT32_MAX) ||
               refuse(call, kBadParams, "commander: a number above 0, or a name");
    }
    for (const Qsc_CommanderName* entry = g_QSCCommander; entry->id != 0; ++entry) {
        if (json_object_is_type(given, json_type_string) != 0 &&
            strcasecmp(entry->name, json_object_get_string(given)) == 0) {
            call.commander = entry->id;
            return true;
        }
    }
    return refuse(call, kBadParams, "commander: there is none of that name, such as \"WEB\"");
}

bool make_items(Call& call, std::size_t count)
{
    if (count > kMostPaths) {
        return refuse(call, kBadParams, "there are more than 1024 paths");
    }
    call.items.reset(static_cast<Item*>(std::malloc(count * sizeof(Item) + 1)));
    call.item_count = 0;
    return call.items != nullptr || refuse(call, kFailed, "out of memory");
}

/// Adds one path; what is wrong with it is added to the failures, what is not allowed ends the request.
bool add_item(Call& call, const Caller& caller, std::string_view path, json_object* value, Failures& failures)
{
    if (!check_rights(call, caller, without_dot(path), call.method->right)) {
        return false;
    }
    Item& item = *std::construct_at(&call.items[call.item_count]);
    item.value = value;
    if (const char* const wrong = find_place(path, item.place)) {
        failures.add(path, kNoSuchParameter, wrong);
    } else {
        ++call.item_count;
    }
    return true;
}

bool finish_items(Call& call, Failures& failures)
{
    if (failures.count() != 0) {
        failures.tell(call.answer);
    }
    return failures.count() == 0;
}

bool take_number(Call& call, const char* name, u32 most, u32& number)
{
    json_object* const given = member(call.params, name);
    if (given == nullptr) {
        return true;
    }
    const i64 value = json_object_get_int64(given);
    if (json_object_is_type(given, json_type_int) == 0 || value < 0 || value > most) {
        Text<30> limit;
        limit.append_number(most);
        return refuse(call, kBadParams, name, ": a number from 0 to ", limit.view());
    }
    number = static_cast<u32>(value);
    return true;
}

bool take_paths(Call& call, const Caller& caller, bool is_needed)
{
    json_object* const one = member(call.params, "path");
    json_object* const many = member(call.params, "paths");
    if (one == nullptr && many == nullptr && !is_needed) {
        return true;
    }
    const std::size_t count = many != nullptr && json_object_is_type(many, json_type_array) != 0
                                  ? json_object_array_length(many)
                                  : 0;
    if ((one == nullptr) == (count == 0) ||
        (one != nullptr && json_object_is_type(one, json_type_string) == 0)) {
        return refuse(call, kBadParams, R"(path: a text such as "Device.Time", or paths: a list of them)");
    }
    if (!make_items(call, std::max<std::size_t>(count, 1))) {
        return false;
    }
    Failures failures;
    for (std::size_t i = 0; i < std::max<std::size_t>(count, 1); ++i) {
        json_object* const path = one != nullptr ? one : json_object_array_get_idx(many, i);
        if (json_object_is_type(path, json_type_string) == 0) {
            return refuse(call, kBadParams, "paths: a list of texts");
        }
        if (!add_item(call, caller, text_of(path), nullptr, failures)) {
            return false;
        }
    }
    return finish_items(call, failures);
}

} // namespace qscd
