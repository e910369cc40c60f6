// SPDX-License-Identifier: Apache-2.0
#include "tools/qscd/Methods.h"

#include <algorithm>
#include <cstring>

#include <json-c/json.h>
#include <strings.h>

#include "include/qsyscmdhal.h"

using namespace qsc;

namespace qscd
{

namespace
{

constexpr u32 kMostPaths = 1024;

json_object* member(json_object* object, const char* name)
{
    json_object* value = nullptr;
    return json_object_object_get_ex(object, name, &value) != 0 ? value : nullptr;
}

std::string_view text_of(json_object* value)
{
    return {json_object_get_string(value), static_cast<std::size_t>(json_object_get_string_len(value))};
}

bool refuse(Call& call, ErrorCode code, std::string_view first, std::string_view second = {},
            std::string_view third = {})
{
    Text<510> sentence;
    sentence.append(first).append(second).append(third);
    call.answer.fail(code, sentence.view());
    return false;
}

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

bool check_rights(Call& call, const Caller& caller, std::string_view path, u32 rights)
{
    const access::Grant grant = caller.table.grant(caller.peer, path);
    for (u32 right = 1; right <= rights; right <<= 1) {
        if ((rights & right & ~grant.rights) != 0) {
            return deny(call, access::name_of(static_cast<access::Right>(right)), "", path);
        }
    }
    // Everybody may speak as nobody in particular.
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

/// Adds one path; what is wrong with it goes to the failures, what is not allowed ends the request.
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

bool prepare_get(Call& call, const Caller& caller)
{
    u32 number = 0;
    return take_number(call, "limit", kLongestLine, number) && take_number(call, "depth", 64, number) &&
           take_paths(call, caller, true);
}

bool prepare_set(Call& call, const Caller& caller)
{
    json_object* const values = member(call.params, "values");
    if (json_object_is_type(values, json_type_object) == 0 || json_object_object_length(values) == 0) {
        return refuse(call, kBadParams, R"(values: an object such as {"Device.X_QRN_RemoteLog.Port": 514})");
    }
    if (!make_items(call, static_cast<std::size_t>(json_object_object_length(values)))) {
        return false;
    }
    Failures failures;
    json_object_object_foreach(values, path, value)
    {
        const u32 before = call.item_count;
        if (!add_item(call, caller, path, value, failures)) {
            return false;
        }
        if (call.item_count != before && call.items[before].place.name.view().empty()) {
            failures.add(path, kNoSuchParameter, "this is an object; name one of its parameters");
        }
    }
    return finish_items(call, failures);
}

/// Commit and service: one object, with or without a dot behind it.
bool prepare_object(Call& call, const Caller& caller)
{
    json_object* const path = member(call.params, "path");
    if (json_object_is_type(path, json_type_string) == 0) {
        return refuse(call, kBadParams, R"(path: the path of a subtree, such as "Device.Time")");
    }
    Failures failures;
    if (!make_items(call, 1) || !add_item(call, caller, without_dot(text_of(path)), nullptr, failures)) {
        return false;
    }
    if (failures.count() == 0 && !call.items[0].place.name.view().empty()) {
        failures.add(text_of(path), kNoSuchParameter, "this is a parameter; name its object");
    }
    return finish_items(call, failures);
}

bool prepare_service(Call& call, const Caller& caller)
{
    json_object* const action = member(call.params, "action");
    if (json_object_is_type(action, json_type_string) == 0) {
        return refuse(call, kBadParams, R"(action: what the init scripts are to do, such as "restart")");
    }
    return prepare_object(call, caller);
}

bool prepare_commit(Call& call, const Caller& caller)
{
    json_object* const packages = member(call.params, "packages");
    if (packages != nullptr && json_object_is_type(packages, json_type_array) == 0) {
        return refuse(call, kBadParams, "packages: a list of the names of configuration packages");
    }
    return prepare_object(call, caller);
}

/// The library's own form of a request, for those who speak it: operation bits and the object as it is.
bool prepare_request(Call& call, const Caller& caller)
{
    json_object* const path = member(call.params, "path");
    json_object* const operation = member(call.params, "operation");
    const i64 bits = json_object_get_int64(operation);
    if (json_object_is_type(path, json_type_string) == 0 ||
        std::strlen(json_object_get_string(path)) != text_of(path).size()) {
        return refuse(call, kBadParams, "path: a text");
    }
    if (json_object_is_type(operation, json_type_int) == 0 || bits <= 0 || bits > UINT32_MAX) {
        return refuse(call, kBadParams, "operation: the library's operation bits");
    }
    if (member(call.params, "request") == nullptr) {
        return refuse(call, kBadParams, "request: the object of the request is missing");
    }
    call.operation = static_cast<u32>(bits);
    constexpr struct {
        u32 bit;
        u32 right;
    } kNeeds[] = {{QSC_OPER_GET, access::kGet},
                  {QSC_OPER_SET, access::kSet},
                  {QSC_OPER_COMMIT, access::kCommit},
                  {QSC_OPER_SERVICE, access::kService}};
    u32 rights = 0;
    u32 known = 0;
    for (const auto& [bit, right] : kNeeds) {
        rights |= (call.operation & bit) != 0 ? right : 0;
        known |= bit;
    }
    // Nobody knows what an operation of another name will do one day.
    rights |= (call.operation & ~known) != 0 ? u32{access::kAllRights} : 0;
    if (!make_items(call, 1) || !check_rights(call, caller, without_dot(text_of(path)), rights)) {
        return false;
    }
    Item& item = *std::construct_at(&call.items[0]);
    item.place.entry = entry_for(text_of(path));
    if (item.place.entry == nullptr || !item.place.object.assign(text_of(path))) {
        Failures failures;
        failures.add(text_of(path), kNoSuchParameter, "there is no such path");
        return finish_items(call, failures);
    }
    call.item_count = 1;
    return true;
}

bool prepare_log(Call& call, const Caller& caller)
{
    u32 number = 0;
    const bool is_set =
        member(call.params, "level") != nullptr || member(call.params, "properties") != nullptr;
    return check_rights(call, caller, "syslog", is_set ? access::kSet : access::kGet) &&
           take_number(call, "level", 7, number) && take_number(call, "properties", 7, number);
}

void execute_log(Call& call)
{
    constexpr const char* kNames[] = {"level", "properties"};
    call.answer.start_result();
    for (i32 which = 0; which < 2; ++which) {
        u32 value = 0;
        if (json_object* const given = member(call.params, kNames[which])) {
            value = static_cast<u32>(json_object_get_int(given));
            (void)QSysCmdHal_SysLog(which, 1, &value);
        }
        (void)QSysCmdHal_SysLog(which, 0, &value);
        call.answer.text().append(which == 0 ? R"({"level":)" : R"(,"properties":)");
        call.answer.append_number(value);
    }
    call.answer.text().append("}");
    call.answer.end();
}

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

bool prepare_subscribe(Call& call, const Caller& caller)
{
    return take_paths(call, caller, true);
}

bool prepare_nothing(Call&, const Caller&)
{
    return true;
}

constexpr Method kMethods[] = {
    {"get",
     Lane::kGet,
     access::kGet,
     QSC_OPER_GET,
     prepare_get,
     execute_get,
     {"path", "paths", "depth", "types", "limit", "from", "commander"}},
    {"set", Lane::kOrdered, access::kSet, QSC_OPER_SET, prepare_set, execute_set, {"values", "commander"}},
    {"commit",
     Lane::kOrdered,
     access::kCommit,
     QSC_OPER_COMMIT,
     prepare_commit,
     execute_commit,
     {"path", "packages", "commander"}},
    {"service",
     Lane::kOrdered,
     access::kService,
     QSC_OPER_SERVICE,
     prepare_service,
     execute_service,
     {"path", "action", "commander"}},
    {"request",
     Lane::kOrdered,
     0,
     0,
     prepare_request,
     execute_request,
     {"path", "operation", "request", "commander"}},
    {"list", Lane::kFront, 0, 0, prepare_list, nullptr, {"path"}},
    {"log", Lane::kFront, 0, 0, prepare_log, execute_log, {"level", "properties"}},
    {"subscribe",
     Lane::kGet,
     access::kGet | access::kWatch,
     QSC_OPER_GET,
     prepare_subscribe,
     execute_sample,
     {"path", "paths", "interval"}},
    {"unsubscribe", Lane::kFront, 0, 0, prepare_nothing, nullptr, {"subscription"}},
    {"stats", Lane::kFront, 0, 0, prepare_nothing, nullptr, {}},
};

const Method* find_method(std::string_view name)
{
    const auto* const found = std::ranges::find(kMethods, name, &Method::name);
    return found != std::end(kMethods) ? found : nullptr;
}

bool knows_member(const Method& method, const char* name)
{
    return std::ranges::any_of(
        method.members, [&](const char* known) { return known != nullptr && std::strcmp(known, name) == 0; });
}

} // namespace

std::span<const Method> methods()
{
    return kMethods;
}

Lane lane_of(const Call& call)
{
    // A get wins over whatever else the library is asked for.
    return (call.operation & QSC_OPER_GET) != 0 ? Lane::kGet : call.method->lane;
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

bool prepare(Call& call, const Caller& caller)
{
    json_object* const root = call.message.get();
    json_object* const version = member(root, "jsonrpc");
    json_object* const name = member(root, "method");
    if (json_object_is_type(version, json_type_string) == 0 || text_of(version) != "2.0" ||
        json_object_is_type(name, json_type_string) == 0) {
        return refuse(call, kInvalidRequest,
                      R"(a request is {"jsonrpc":"2.0","id":1,"method":"get","params":{...}})");
    }
    call.method = find_method(text_of(name));
    if (call.method == nullptr) {
        return refuse(call, kNoSuchMethod,
                      "there is no such method; there are get, set, commit, service, request, ",
                      "list, log, subscribe, unsubscribe and stats");
    }
    call.operation = call.method->operation;
    call.params = member(root, "params");
    if (json_object_object_get_ex(root, "params", nullptr) != 0 &&
        json_object_is_type(call.params, json_type_object) == 0) {
        return refuse(call, kBadParams, "params: an object");
    }
    if (call.params != nullptr) {
        json_object_object_foreach(call.params, each, value)
        {
            (void)value;
            if (!knows_member(*call.method, each)) {
                return refuse(call, kBadParams, "there is no parameter \"", each, "\" of this method");
            }
        }
    }
    return take_commander(call) && call.method->prepare(call, caller);
}

u32 dispatch(Call& call, const Qsc_CommandEntry& entry, const PathText& object, u32 operation,
             json_object* request)
{
    call.code = entry.dispatcher(object.c_str(), request, operation, call.commander, 0, 0);
    return call.code;
}

const char* last_sentence()
{
    return QSysCmdHal_LastError();
}

} // namespace qscd
