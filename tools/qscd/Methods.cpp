// SPDX-License-Identifier: Apache-2.0
#include "tools/qscd/Methods.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <json-c/json.h>
#include <strings.h>

#include "include/bacl.h"
#include "include/qsc_journal.h"
#include "include/qsyscmdhal.h"
#include "tools/qscd/Parameters.h"
#include "tools/qscd/Values.h"

using namespace qsc;

namespace qscd
{

namespace
{

bool prepare_get(Call& call, const Caller& caller)
{
    u32 number = 0;
    return take_number(call, "limit", kLongestLine, number) && take_number(call, "depth", 64, number) &&
           take_paths(call, caller, true);
}

/// Commit and service: one object, with or without a dot after it.
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
    // What other bits will mean one day is not known.
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
    for (const std::span<const Method> list : {std::span<const Method>{kMethods}, apply_methods()}) {
        const auto found = std::ranges::find(list, name, &Method::name);
        if (found != list.end()) {
            return &*found;
        }
    }
    return nullptr;
}

bool knows_member(const Method& method, const char* name)
{
    return std::ranges::any_of(
        method.members, [&](const char* known) { return known != nullptr && std::strcmp(known, name) == 0; });
}

} // namespace

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

std::span<const Method> methods()
{
    return kMethods;
}

Lane lane_of(const Call& call)
{
    // A get wins over whatever else the library is asked for.
    return (call.operation & QSC_OPER_GET) != 0 ? Lane::kGet : call.method->lane;
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
                      "there is no such method; there are get, set, commit, service, request, plan, apply, ",
                      "rollback, confirm, extend, cancel, pending, history, audit, show, list, log, "
                      "subscribe, unsubscribe and stats");
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
    if (!call.run.may_start && BaCL_GetTimestampMSHQ() > call.came + kAttemptMs) {
        call.run.was_refused = true;
        return call.code = EAGAIN;
    }
    if ((operation & QSC_OPER_SET) != 0) {
        qsc::Text<30> peer;
        if (call.queue == nullptr) {
            peer.append("user ").append_number(call.user);
        }
        QSysCmdHal_SetPeer(peer.c_str());
    }
    call.code = entry.dispatcher(object.c_str(), request, operation, call.commander, 0, 0);
    return call.code;
}

const char* last_sentence()
{
    return QSysCmdHal_LastError();
}

} // namespace qscd
