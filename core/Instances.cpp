// SPDX-License-Identifier: Apache-2.0
#include "core/Instances.h"

#include <cerrno>

#include <json-c/json.h>

#include "base/Json.h"
#include "base/Text.h"
#include "core/ServeRow.h"
#include "core/Walk.h"
#include "include/qscbase.h"

namespace qsc
{

namespace
{

constexpr const char* kGet = "get";

/// Answering everything, where one without data is no failure to speak of.
constexpr const char* kFill = "fill";

/// One instance while it is served.
struct Instance {
    const Call& call;
    const Object& list;
    i64 context;
    QSCBase_ParamId* record;
    RowRequest* rows; ///< null: no parameter is a row

    [[nodiscard]] u32 serve(const Parameter& parameter, json_object* value) const
    {
        return parameter.handler == nullptr
                   ? serve_row(*rows, *parameter.row, value)
                   : parameter.handler(parameter.name, value, call.oper, call.argument, context,
                                       reinterpret_cast<std::uintptr_t>(record));
    }

    /// One without data is no reason for a get to stop, but its result stays.
    [[nodiscard]] bool failed(const char* verb, const char* parameter, u32 code) const
    {
        const bool goes_on = code == ENODATA && (call.oper & QSC_OPER_GET) != 0;
        name_refusal(call.name, parameter, code);
        if (verb != kFill || !goes_on) {
            QSC_LOG_CALL(call, kLogWarning, "%s %d %s %s, error %d\n", or_empty(list.area()),
                         record->index[0], verb == kFill ? kGet : verb, parameter, static_cast<i32>(code));
        }
        return goes_on;
    }

    [[nodiscard]] Walk walk()
    {
        return {list, call.value, this,
                [](void* self, const Parameter& parameter, json_object* value) {
                    return static_cast<const Instance*>(self)->serve(parameter, value);
                },
                [](void* self, const char* verb, const char* parameter, u32 code) {
                    return static_cast<const Instance*>(self)->failed(verb, parameter, code);
                }};
    }
};

u32 get(Instance& instance)
{
    if (instance.rows != nullptr) {
        begin_get(*instance.rows);
    }
    return walk_get(instance.walk(), kGet, kFill);
}

u32 set(Instance& instance)
{
    bool any_named = false;
    if (instance.rows == nullptr) {
        return walk_named(instance.walk(), "set", any_named);
    }
    const char* refused = nullptr;
    u32 code = begin_set(*instance.rows, refused);
    if (code == 0) {
        const u32 walked = walk_named(instance.walk(), "set", any_named);
        code = end_set(*instance.rows, walked, refused);
        if (walked != 0) {
            return walked; // logged by the walk
        }
    }
    return code != 0 && !instance.failed("set", or_empty(refused), code) ? code : 0;
}

} // namespace

u32 serve_instance(const Call& call, const Object& list, i64 context, QSCBase_ParamId* record)
{
    if (!is_object(call.value)) {
        return EINVAL;
    }
    const bool grows = list.list() != nullptr;
    if (record == nullptr || record->index[0] < 1 || (!grows && record->index[0] > list.instances)) {
        return finish(call.value, refuse(EINVAL, "there is no such instance"));
    }
    RowRequest rows{.object = list,
                    .path = call.name,
                    .root = call.value,
                    .oper = call.oper,
                    .argument = call.argument,
                    .instance = record->index[0]};
    Instance instance{call, list, context, record, has_rows(list) ? &rows : nullptr};
    return serve(
        call, [&] { return get(instance); }, [&] { return set(instance); });
}

namespace
{

/// Answers one instance as a child of the request, which it has already or gets now.
u32 get_child(const Call& call, const Object& list, Qsc_IndexFunction* index, QSCBase_ParamId& record)
{
    const std::string_view pattern = list.path;
    Text<126> path;
    path.append(pattern.substr(0, pattern.find('{'))).append_number(record.index[0]);
    json_object* child = nullptr;
    const bool is_new = !find_member(call.value, path.c_str(), child);
    if (is_new) {
        child = json_object_new_object();
        if (const u32 code = add_new_member(call.value, path.c_str(), child)) {
            return code;
        }
    }
    Call one = call;
    one.name = path.c_str();
    one.value = child;
    const u32 code = index != nullptr
                         ? index(path.c_str(), child, call.oper, call.argument,
                                 static_cast<i64>(record.context), call.param, call.value, &record)
                         : serve_instance(one, list, static_cast<i64>(record.context), &record);
    if (code != 0 && is_new) {
        json_object_object_del(call.value, path.c_str());
    }
    return code;
}

/// Answers every instance, up to the first failure.
u32 get_children(const Call& call, const Object& list, i64 context, Qsc_IndexFunction* index)
{
    QSCBase_ParamId record;
    (void)QSCBase_ParamId_Init(&record);
    record.context = static_cast<u64>(context);
    std::array<u32, kMostInstances> numbers;
    u32 count = 0;
    u32 result = find_instances(list, numbers, count);
    for (u32 i = 0; i < count && result == 0; ++i) {
        record.index[0] = static_cast<i32>(numbers[i]);
        result = get_child(call, list, index, record);
    }
    (void)QSCBase_ParamId_Close(&record);
    return result == ENODATA ? 0 : result; // the list ends at the first instance without data
}

} // namespace

u32 serve_instances(const Call& call, const Object& list, i64 context, Qsc_IndexFunction* index)
{
    if (!is_object(call.value)) {
        return EINVAL;
    }
    const bool is_get = (call.oper & QSC_OPER_GET) != 0;
    const u32 code = is_get ? get_children(call, list, context, index) : refuse_operation(call, EINVAL);
    tell_host(); // the results stand in the instances
    return code;
}

i32 instance_of(const Call& call)
{
    const auto* const record =
        reinterpret_cast<const QSCBase_ParamId*>(static_cast<std::uintptr_t>(call.param));
    return record != nullptr ? record->index[0] : 1;
}

} // namespace qsc
