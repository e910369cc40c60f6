// SPDX-License-Identifier: Apache-2.0
#include "core/Instances.h"

#include <cerrno>

#include <json-c/json.h>

#include "base/Json.h"
#include "base/Text.h"
#include "include/qscbase.h"

namespace qsc
{

namespace
{

/// One instance while it is served.
struct Instance {
    const Call& call;
    const InstanceList& list;
    i64 context;
    QSCBase_ParamId* record;

    [[nodiscard]] u32 serve(const Qsc_ParamEntry& entry, json_object* value) const
    {
        return entry.handler(entry.name, value, call.oper, call.argument, context,
                             reinterpret_cast<std::uintptr_t>(record));
    }

    void warn(const char* verb, const Qsc_ParamEntry& entry, u32 code) const
    {
        QSC_LOG_CALL(call, kLogWarning, "%s %d %s %s, error %d\n", list.label, record->index[0], verb,
                     entry.name, static_cast<i32>(code));
    }
};

/// Calls the handlers of the parameters that are named, in table order, up to the first failure; one without
/// data is no reason for a get to stop, but its result stays.
u32 walk_named(const Instance& instance, const char* verb, bool is_get, bool& any_named)
{
    u32 result = 0;
    for (const Qsc_ParamEntry* entry = instance.list.table; entry->id != QSC_TABLE_END; ++entry) {
        json_object* value = nullptr;
        if (!find_member(instance.call.value, entry->name, value)) {
            continue;
        }
        any_named = true;
        if (const u32 code = instance.serve(*entry, value)) {
            instance.warn(verb, *entry, code);
            if (!is_get || code != ENODATA) {
                return code;
            }
            result = code;
        }
    }
    return result;
}

/// Answers every parameter.
u32 fill(const Instance& instance)
{
    u32 result = 0;
    for (const Qsc_ParamEntry* entry = instance.list.table; entry->id != QSC_TABLE_END; ++entry) {
        JsonRef value{json_object_new_object()};
        if (value == nullptr) {
            return ENOMEM;
        }
        const u32 code = instance.serve(*entry, value.get());
        if (code != 0 && code != ENODATA) {
            instance.warn("get", *entry, code);
            return code;
        }
        result |= code;
        if (const u32 added = add_named_member(instance.call.value, entry->name, value.release())) {
            return added;
        }
    }
    return result;
}

u32 get(const Instance& instance)
{
    bool any_named = false;
    const u32 code = walk_named(instance, "get", true, any_named);
    return any_named ? code : fill(instance);
}

u32 set(const Instance& instance)
{
    bool any_named = false;
    return walk_named(instance, "set", false, any_named);
}

} // namespace

u32 serve_instance(const Call& call, const InstanceList& list, i64 context, QSCBase_ParamId* record)
{
    if (!is_object(call.value)) {
        return EINVAL;
    }
    if (record == nullptr || record->index[0] < 1 || record->index[0] > list.count) {
        return finish(call.value, EINVAL);
    }
    const Instance instance{call, list, context, record};
    const auto get_instance = [&] { return get(instance); };
    const auto set_instance = [&] { return set(instance); };
    return serve(call, get_instance, set_instance);
}

namespace
{

/// Answers every instance, up to the first failure.
u32 get_instances(const Call& call, const InstanceList& list, i64 context, Qsc_IndexFunction* index)
{
    QSCBase_ParamId record;
    (void)QSCBase_ParamId_Init(&record);
    record.context = static_cast<u64>(context);
    u32 result = 0;
    for (i32 number = 1; number <= list.count && result == 0; ++number) {
        Text<126> path;
        path.append(list.path).append_number(number);
        json_object* child = nullptr;
        const bool is_new = !find_member(call.value, path.c_str(), child);
        if (is_new) {
            child = json_object_new_object();
            result = add_new_member(call.value, path.c_str(), child);
            if (result != 0) {
                break;
            }
        }
        record.index[0] = number;
        result =
            index(path.c_str(), child, call.oper, call.argument, context, call.param, call.value, &record);
        if (result != 0 && is_new) {
            json_object_object_del(call.value, path.c_str());
        }
    }
    (void)QSCBase_ParamId_Close(&record);
    return result == ENODATA ? 0 : result; // the list ends at the first instance without data
}

} // namespace

u32 serve_instances(const Call& call, const InstanceList& list, i64 context, Qsc_IndexFunction* index)
{
    if (!is_object(call.value)) {
        return EINVAL;
    }
    const bool is_get = (call.oper & QSC_OPER_GET) != 0;
    const u32 code = is_get ? get_instances(call, list, context, index) : refuse_operation(call, EINVAL);
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
