// SPDX-License-Identifier: Apache-2.0
// set, commit, service, and the library's own form of a request.
#include <cerrno>
#include <utility>

#include "tools/qscd/Methods.h"
#include "tools/qscd/Values.h"

using namespace qsc;

namespace qscd
{

namespace
{

PathText full_path(const Place& place)
{
    PathText path;
    path.append(without_dot(place.object.view())).append(".").append(place.name.view());
    return path;
}

/// Where the items of the next object begin.
u32 end_of_object(const Call& call, u32 first)
{
    u32 end = first;
    while (end < call.item_count &&
           call.items[end].place.object.view() == call.items[first].place.object.view()) {
        ++end;
    }
    return end;
}

JsonRef set_request(const Call& call, u32 first, u32 end)
{
    JsonRef request{json_object_new_object()};
    for (u32 i = first; i < end; ++i) {
        json_object* const parameter = json_object_new_object();
        json_object_object_add(parameter, "ParamValue", json_object_get(call.items[i].value));
        json_object_object_add(request.get(), call.items[i].place.name.c_str(), parameter);
    }
    return request;
}

/// Finds everything that speaks against the values, before the first is stored.
void check_all(Call& call, Failures& failures)
{
    for (u32 first = 0, end = 0; first < call.item_count; first = end) {
        end = end_of_object(call, first);
        const char* const object = call.items[first].place.object.c_str();
        const JsonRef all = set_request(call, first, end);
        if (QSysCmdHal_Check(object, all.get(), call.commander) == 0) {
            continue;
        }
        const u32 before = failures.count();
        for (u32 i = first; i < end; ++i) {
            const Place& place = call.items[i].place;
            const JsonRef alone = set_request(call, i, i + 1);
            const u32 code = QSysCmdHal_Check(object, alone.get(), call.commander);
            Qsc_ParameterInfo info{};
            const bool is_read_only =
                describe(place.object, place.name.view(), info) && (info.access & QSC_OPER_SET) == 0;
            if (code != 0) {
                failures.add(full_path(place).view(), is_read_only ? kReadOnly : fault_of(code, true),
                             last_sentence());
            }
        }
        if (failures.count() == before) {
            // Each is fine, but not together.
            const JsonRef again = set_request(call, first, end);
            const u32 code = QSysCmdHal_Check(object, again.get(), call.commander);
            failures.add(object, fault_of(code, true), last_sentence());
        }
    }
}

/// Sets the parameters of one object.
void set_object(Call& call, u32 first, u32 end, Failures& failures)
{
    const Place& place = call.items[first].place;
    const JsonRef request = set_request(call, first, end);
    const u32 code = dispatch(call, *place.entry, place.object, QSC_OPER_SET, request.get());
    Text<510> sentence;
    sentence.append(last_sentence());
    const u32 before = failures.count();
    for (u32 i = first; i < end; ++i) {
        const Place& each = call.items[i].place;
        const i64 own = code_of(member(request.get(), each.name.c_str()));
        if (own > 0) {
            failures.add(full_path(each).view(), fault_of(static_cast<u32>(own), true), sentence.view());
        } else if (own < 0 && code == 0) {
            failures.add(full_path(each).view(), kNoSuchParameter);
        }
    }
    if (code != 0 && failures.count() == before) {
        failures.add(place.object.view(), fault_of(code, true), sentence.view());
    }
    for (u32 i = first; i < end && code != 0; ++i) {
        if (code_of(member(request.get(), call.items[i].place.name.c_str())) < 0) {
            failures.add(full_path(call.items[i].place).view(), kNotTried);
        }
    }
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
    check_all(call, failures);
    if (failures.count() != 0) {
        call.code = EFAULT;
        failures.tell(call.answer);
        return;
    }
    while (next < call.item_count && failures.count() == 0) {
        const u32 first = std::exchange(next, end_of_object(call, next));
        set_object(call, first, next, failures);
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
