// SPDX-License-Identifier: Apache-2.0
#include "core/Dispatch.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <json-c/json.h>

#include "base/Parse.h"
#include "base/Text.h"
#include "base/UciOptional.h"
#include "core/Request.h"
#include "include/qscbase.h"

namespace qsc
{

namespace
{

constexpr const char* kModule = "QSysCmdHal";

/// What a dispatcher was called with.
struct Request {
    const char* dispatcher;
    i32 line; ///< of its definition
    const char* path;
    json_object* object;
    u32 oper;
    u32 argument;
    i64 context;
    u64 value;
};

/// Writes an error line in the dispatcher's name.
#define LOG_REQUEST(request, ...)                                                                            \
    Qslog_Log(kLogError, kModule, (request).line, (request).dispatcher, __VA_ARGS__)

/// One kind of line.
using Line = decltype(&Labels::get);

/// The label of one kind of line.
const char* label_of(const Subtree& subtree, Line line)
{
    return subtree.labels != nullptr ? subtree.labels->*line : subtree.label;
}

u32 log_parameter(const Request& request, const char* label, const char* verb, const char* parameter,
                  u32 code)
{
    if (label != nullptr) {
        LOG_REQUEST(request, "%s %s %s, error %d\n", label, verb, parameter, static_cast<i32>(code));
    } else {
        LOG_REQUEST(request, "%s %s %s failed, error %d.\n", or_empty(request.path), verb, parameter,
                    static_cast<i32>(code));
    }
    return code;
}

u32 log_step(const Request& request, const char* label, const char* step, u32 code)
{
    if (label != nullptr) {
        LOG_REQUEST(request, "%s %s, error %d\n", label, step, static_cast<i32>(code));
    } else {
        LOG_REQUEST(request, "%s %s failed, error %d.\n", or_empty(request.path), step,
                    static_cast<i32>(code));
    }
    return code;
}

u32 log_unsupported(const Request& request, const char* label)
{
    if (label == nullptr) {
        LOG_REQUEST(request, "%s operation not support (0x%X).\n", or_empty(request.path), request.oper);
    } else if (*label == '\0') {
        LOG_REQUEST(request, "operation not support (0x%X)\n", request.oper);
    } else {
        LOG_REQUEST(request, "%s operation not support (0x%X)\n", label, request.oper);
    }
    return EINVAL;
}

/// Refuses what is no request at all. A null one is so plain that it is not logged.
bool is_request(const Request& request)
{
    if (request.object != nullptr && !is_object(request.object)) {
        LOG_REQUEST(request, "%s request is not an object\n", or_empty(request.path));
    }
    return is_object(request.object);
}

const Qsc_ParamEntry* choose_table(const Subtree& subtree, const char* path)
{
    const std::string_view requested{or_empty(path)};
    for (const TableChoice& choice : subtree.choices) {
        const bool fits = choice.rule == TableChoice::kPathIs
                              ? requested == choice.text
                              : requested.find(choice.text) != std::string_view::npos;
        if (fits) {
            return choice.table;
        }
    }
    return subtree.table;
}

u32 call_handler(const Subtree& subtree, const Request& request, const Qsc_ParamEntry& entry,
                 json_object* value)
{
    // Subtrees that log by path have no instances in it; their handlers want the parameter's own name.
    const char* const name = label_of(subtree, &Labels::get) != nullptr ? request.path : entry.name;
    return entry.handler(name, value, request.oper, request.argument, request.context, entry.param);
}

/// Calls the handlers of the parameters that the request names, up to the first that fails.
u32 walk_named(const Subtree& subtree, const Request& request, const Qsc_ParamEntry* table, const char* label,
               const char* verb, bool& any_named)
{
    for (const Qsc_ParamEntry* entry = table; entry->id != QSC_TABLE_END; ++entry) {
        json_object* value = nullptr;
        if (!find_member(request.object, entry->name, value)) {
            continue;
        }
        any_named = true;
        if (entry->handler == nullptr) {
            continue;
        }
        if (const u32 code = call_handler(subtree, request, *entry, value)) {
            return log_parameter(request, label, verb, entry->name, code);
        }
    }
    return 0;
}

/// Answers every parameter. What was answered before a failure stays in the request.
u32 get_all(const Subtree& subtree, const Request& request, const Qsc_ParamEntry* table)
{
    const char* const label = label_of(subtree, &Labels::get);
    for (const Qsc_ParamEntry* entry = table; entry->id != QSC_TABLE_END; ++entry) {
        if (entry->handler == nullptr) {
            continue;
        }
        json_object* const value = json_object_new_object();
        if (value == nullptr) {
            return ENOMEM;
        }
        if (const u32 code = call_handler(subtree, request, *entry, value)) {
            json_object_put(value);
            return log_parameter(request, label, label != nullptr ? "all get" : "get", entry->name, code);
        }
        if (const u32 code = add_named_member(request.object, entry->name, value)) {
            return code;
        }
    }
    return 0;
}

u32 get(const Subtree& subtree, const Request& request, const Qsc_ParamEntry* table)
{
    const UciView view;
    // Most requests for everything name nothing at all.
    bool any_named = false;
    const u32 code =
        json_object_object_length(request.object) == 0
            ? 0
            : walk_named(subtree, request, table, label_of(subtree, &Labels::get), "get", any_named);
    return code != 0 || any_named ? code : get_all(subtree, request, table);
}

u32 set(const Subtree& subtree, const Request& request, const Qsc_ParamEntry* table)
{
    bool any_named = false;
    return walk_named(subtree, request, table, label_of(subtree, &Labels::set), "set", any_named);
}

u32 commit(const Subtree& subtree, const Request& request)
{
    const u32 code = subtree.commit(request.path, request.object, request.oper, request.argument,
                                    request.context, request.value);
    return code == 0 ? 0 : log_step(request, label_of(subtree, &Labels::commit), "commit", code);
}

u32 service(const Subtree& subtree, const Request& request)
{
    if (const u32 code = subtree.service(request.path, request.object)) {
        return log_step(request, label_of(subtree, &Labels::service), "service", code);
    }
    // It runs in the background by its own "&", so there is no result to wait for.
    if (subtree.after_service != nullptr && std::system(subtree.after_service) != 0) {
        Qslog_Log(kLogWarning, kModule, request.line, request.dispatcher, "%s not started, ignoring\n",
                  subtree.after_service);
    }
    return 0;
}

/// Reads an instance number: digits alone, within the range of an index. One dot may stand behind it.
bool parse_index(std::string_view text, i32& index)
{
    if (text.ends_with('.')) {
        text.remove_suffix(1);
    }
    u32 number = 0;
    const bool is_index = parse_whole(text, number) && number <= INT32_MAX;
    index = is_index ? static_cast<i32>(number) : index;
    return is_index;
}

u32 serve_list(const InstanceRoutines& routines, const Request& request, std::string_view rest)
{
    const bool is_all = rest.empty() || rest == "*";
    QSCBase_ParamId record;
    (void)QSCBase_ParamId_Init(&record);
    record.context = static_cast<u64>(request.context);
    if (!is_all && !parse_index(rest, record.index[0])) {
        return EINVAL;
    }
    if (routines.all == nullptr) {
        return 0;
    }
    const UciView view;
    return is_all ? routines.all(request.path, request.object, request.oper, request.argument,
                                 request.context, request.value)
                  : routines.index(request.path, request.object, request.oper, request.argument,
                                   request.context, request.value, request.object, &record);
}

} // namespace

u32 dispatch(const char* path, json_object* object, u32 oper, u32 argument, i64 context, u64 value,
             const Subtree& subtree)
{
    const Request request{subtree.name, subtree.line, path, object, oper, argument, context, value};
    if (!is_request(request)) {
        return EINVAL;
    }
    const auto asks_for = [&](u32 operation) { return (request.oper & operation) != 0; };
    if (asks_for(subtree.served & QSC_OPER_GET)) {
        return get(subtree, request, choose_table(subtree, request.path));
    }
    if (asks_for(subtree.served & QSC_OPER_SET)) {
        return set(subtree, request, choose_table(subtree, request.path));
    }
    if (asks_for(QSC_OPER_COMMIT) && subtree.commit != nullptr) {
        return commit(subtree, request);
    }
    if (asks_for(QSC_OPER_SERVICE) && subtree.service != nullptr) {
        return service(subtree, request);
    }
    return log_unsupported(request, label_of(subtree, &Labels::unsupported));
}

u32 dispatch(const char* path, json_object* object, u32 oper, u32 argument, i64 context, u64 value,
             const Actions& actions)
{
    const Request request{actions.name, actions.line, path, object, oper, argument, context, value};
    if (!is_request(request)) {
        return EINVAL;
    }
    json_object* action = nullptr;
    if (!find_member(request.object, "Action", action) || !is_object(action)) {
        LOG_REQUEST(request, "%s, get 1st action object failed.\n", or_empty(request.path));
        return EINVAL;
    }
    std::string_view wanted;
    if (take_text(action, wanted) != 0) {
        LOG_REQUEST(request, "%s, get 1st action parameter failed.\n", or_empty(request.path));
        return EINVAL;
    }
    Qsc_ParamEntry* entry = actions.table;
    while (entry->id != QSC_TABLE_END && wanted != entry->name) {
        ++entry;
    }
    if (entry->id == QSC_TABLE_END || entry->handler == nullptr) {
        return EINVAL;
    }
    entry->param = reinterpret_cast<std::uintptr_t>(request.object);
    const u32 code =
        entry->handler(entry->name, action, request.oper, request.argument, request.context, entry->param);
    if (code != 0) {
        LOG_REQUEST(request, "%s fail, error %d\n", entry->name, static_cast<i32>(code));
    }
    return code;
}

u32 dispatch(const char* path, json_object* object, u32 oper, u32 argument, i64 context, u64 value,
             const InstanceRoutines& routines)
{
    const Request request{routines.name, routines.line, path, object, oper, argument, context, value};
    if (!is_request(request)) {
        return EINVAL;
    }
    if ((request.oper & (QSC_OPER_GET | QSC_OPER_SET)) == 0) {
        return log_unsupported(request, nullptr);
    }
    const char* rest = or_empty(request.path);
    const bool is_below = std::string_view{rest}.starts_with(routines.prefix);
    rest += is_below ? std::strlen(routines.prefix) : 0;
    const u32 code = is_below ? serve_list(routines, request, rest) : EINVAL;
    const char* const verb = (request.oper & QSC_OPER_GET) != 0 ? "get" : "set";
    return code != 0 ? log_parameter(request, nullptr, verb, rest, code) : 0;
}

} // namespace qsc
