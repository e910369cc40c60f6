// SPDX-License-Identifier: Apache-2.0
// set, commit, service, and the library's own form of a request.
#include "tools/qscd/Methods.h"
#include "tools/qscd/Values.h"

using namespace qsc;

namespace qscd
{

namespace
{

json_object* member(json_object* object, const char* name)
{
    json_object* value = nullptr;
    return json_object_object_get_ex(object, name, &value) != 0 ? value : nullptr;
}

PathText full_path(const Place& place)
{
    PathText path;
    path.append(without_dot(place.object.view())).append(".").append(place.name.view());
    return path;
}

/// Sets the parameters of one object, which stand one after the other; answers where the next object begins.
u32 set_object(Call& call, u32 first, Failures& failures)
{
    const Place& place = call.items[first].place;
    const JsonRef request{json_object_new_object()};
    u32 end = first;
    for (; end < call.item_count && call.items[end].place.object.view() == place.object.view(); ++end) {
        json_object* const parameter = json_object_new_object();
        json_object_object_add(parameter, "ParamValue", json_object_get(call.items[end].value));
        json_object_object_add(request.get(), call.items[end].place.name.c_str(), parameter);
    }
    const u32 code = dispatch(call, *place.entry, place.object, QSC_OPER_SET, request.get());
    const u32 before = failures.count();
    for (u32 i = first; i < end; ++i) {
        const Place& each = call.items[i].place;
        const i64 own = code_of(member(request.get(), each.name.c_str()));
        if (own > 0) {
            failures.add(full_path(each).view(), fault_of(static_cast<u32>(own), true), last_sentence());
        } else if (own < 0 && code == 0) {
            failures.add(full_path(each).view(), kNoSuchParameter);
        }
    }
    if (code != 0 && failures.count() == before) {
        failures.add(place.object.view(), fault_of(code, true), last_sentence());
    }
    for (u32 i = first; i < end && code != 0; ++i) {
        if (code_of(member(request.get(), call.items[i].place.name.c_str())) < 0) {
            failures.add(full_path(call.items[i].place).view(), kNotTried);
        }
    }
    return end;
}

/// Runs one operation of an object whose request has one member.
void operate(Call& call, const char* name, json_object* value)
{
    const Place& place = call.items[0].place;
    const JsonRef request{json_object_new_object()};
    if (value != nullptr) {
        json_object_object_add(request.get(), name, json_object_get(value));
    }
    if (const u32 code = dispatch(call, *place.entry, place.object, call.operation, request.get())) {
        Failures failures;
        Fault fault = fault_of(code, true);
        fault.usp = 7022;
        failures.add(place.object.view(), fault, last_sentence());
        failures.tell(call.answer);
        return;
    }
    call.answer.start_result();
    call.answer.text().append("{}");
    call.answer.end();
}

} // namespace

void execute_set(Call& call)
{
    Failures failures;
    u32 next = 0;
    while (next < call.item_count && failures.count() == 0) {
        next = set_object(call, next, failures);
    }
    for (; next < call.item_count; ++next) {
        failures.add(full_path(call.items[next].place).view(), kNotTried);
    }
    if (failures.count() != 0) {
        failures.tell(call.answer);
        return;
    }
    call.answer.start_result();
    call.answer.text().append(R"({"set":)");
    call.answer.append_number(call.item_count);
    call.answer.text().append("}");
    call.answer.end();
}

void execute_commit(Call& call)
{
    operate(call, "package", member(call.params, "packages"));
}

void execute_service(Call& call)
{
    operate(call, "action", member(call.params, "action"));
}

void execute_request(Call& call)
{
    const Place& place = call.items[0].place;
    // The message stays as it is: an attempt may have to be made again.
    json_object* copied = nullptr;
    json_object* const given = member(call.params, "request");
    if (given != nullptr && json_object_deep_copy(given, &copied, nullptr) != 0) {
        call.answer.fail(kFailed, "out of memory");
        return;
    }
    const JsonRef request{copied};
    const u32 code = dispatch(call, *place.entry, place.object, call.operation, request.get());
    call.answer.start_result();
    call.answer.text().append(R"({"code":)");
    call.answer.append_number(code);
    if (code != 0 && *last_sentence() != '\0') {
        call.answer.text().append(R"(,"message":)");
        call.answer.append_text(last_sentence());
    }
    call.answer.text().append(R"(,"request":)");
    call.answer.append_value(request.get());
    call.answer.text().append("}");
    call.answer.end();
}

} // namespace qscd
