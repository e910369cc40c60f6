// SPDX-License-Identifier: Apache-2.0
#include "core/Dispatch.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>

#include <json-c/json.h>

#include "base/Parse.h"
#include "base/Recording.h"
#include "base/Text.h"
#include "base/ToolTime.h"
#include "base/UciOptional.h"
#include "core/Counters.h"
#include "core/Instances.h"
#include "core/Refusal.h"
#include "core/Request.h"
#include "core/ServeRow.h"
#include "core/Service.h"
#include "core/SetJournal.h"
#include "core/Walk.h"
#include "core/WindowNote.h"
#include "include/qscbase.h"

namespace qsc
{

namespace
{

QSC_MODULE("QSysCmdHal");

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
    const Labels* const labels = subtree.labels();
    return labels != nullptr ? labels->*line : subtree.label();
}

u32 log_parameter(const Request& request, const char* label, const char* verb, const char* parameter,
                  u32 code)
{
    name_refusal(request.path, parameter, code);
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
    return refuse(EINVAL, "the operation 0x%X is not served", request.oper);
}

/// Refuses what is no request at all. A null one is so plain that it is not logged.
bool is_request(const Request& request)
{
    if (request.object != nullptr && !is_object(request.object)) {
        LOG_REQUEST(request, "%s request is not an object\n", or_empty(request.path));
    }
    return is_object(request.object);
}

/// One walk through an object's parameters, in a dispatcher's name.
struct ObjectWalk {
    const Subtree& subtree;
    const Request& request;
    const Object& object;
    const char* label;
    RowRequest* rows; ///< null: no parameter is a row

    u32 serve(const Parameter& parameter, json_object* value) const
    {
        if (parameter.handler == nullptr) {
            return serve_row(*rows, *parameter.row, value);
        }
        // Subtrees that log by path have no instances in it; their handlers want the parameter's own name.
        const char* const name = label_of(subtree, &Labels::get) != nullptr ? request.path : parameter.name;
        return parameter.handler(name, value, request.oper, request.argument, request.context,
                                 parameter.param);
    }

    [[nodiscard]] Walk walk()
    {
        return {object, request.object, this,
                [](void* context, const Parameter& parameter, json_object* value) {
                    return static_cast<const ObjectWalk*>(context)->serve(parameter, value);
                },
                [](void* context, const char* verb, const char* parameter, u32 code) {
                    const auto& self = *static_cast<const ObjectWalk*>(context);
                    (void)log_parameter(self.request, self.label, verb, parameter, code);
                    return false;
                }};
    }
};

u32 get(const Subtree& subtree, const Request& request, const Object& object, RowRequest* rows)
{
    if (rows != nullptr) {
        begin_get(*rows);
    }
    const char* const label = label_of(subtree, &Labels::get);
    ObjectWalk walk{subtree, request, object, label, rows};
    return walk_get(walk.walk(), "get", label != nullptr ? "all get" : "get");
}

u32 set(const Subtree& subtree, const Request& request, const Object& object, RowRequest* rows)
{
    const char* const label = label_of(subtree, &Labels::set);
    ObjectWalk walk{subtree, request, object, label, rows};
    bool any_named = false;
    if (rows == nullptr) {
        return walk_named(walk.walk(), "set", any_named);
    }
    const char* refused = nullptr;
    u32 code = begin_set(*rows, refused);
    if (code == 0) {
        const u32 walked = walk_named(walk.walk(), "set", any_named);
        code = end_set(*rows, walked, refused);
        if (walked != 0) {
            return walked; // logged by the walk
        }
    }
    return code != 0 ? log_parameter(request, label, "set", or_empty(refused), code) : 0;
}

/// Whether a path has a digit where the object's has its instance number.
bool names_instance(const Object& object, std::string_view path)
{
    const std::size_t place = std::string_view{object.path}.find('{');
    return place < path.size() && is_digit(path[place]);
}

u32 get_all(const Request& request, const Object& object)
{
    const Call call{kSource,        request.dispatcher, request.line,     request.path,
                    request.object, request.oper,       request.argument, request.value};
    const u32 code = serve_instances(call, object, request.context, nullptr);
    return code != 0 ? log_parameter(request, nullptr, "get", "", code) : 0;
}

/// Serves a get or a set of the object that the path leads to.
u32 serve_object(const Subtree& subtree, const Request& request, u32 oper)
{
    // A get answers from one version of each package. A set looks anew at each step.
    std::optional<UciView> view;
    if (oper == QSC_OPER_GET) {
        view.emplace();
    }
    const Object& object = object_at(subtree, request.path);
    if (oper == QSC_OPER_GET && (subtree.served & kGetsAll) != 0 &&
        !names_instance(object, or_empty(request.path))) {
        return get_all(request, object);
    }
    const auto serve_with = [&](RowRequest* rows) {
        return oper == QSC_OPER_GET ? get(subtree, request, object, rows)
                                    : set(subtree, request, object, rows);
    };
    if (!has_rows(object)) {
        return serve_with(nullptr);
    }
    RowRequest rows{.object = object,
                    .path = or_empty(request.path),
                    .root = request.object,
                    .oper = oper,
                    .argument = request.argument};
    return serve_with(&rows);
}

u32 commit(const Subtree& subtree, const Request& request)
{
    auto* const own = subtree.commit();
    const u32 code = own != nullptr ? own(request.path, request.object, request.oper, request.argument,
                                          request.context, request.value)
                                    : serve_packages(request.object, subtree.packages());
    return code == 0 ? 0 : log_step(request, label_of(subtree, &Labels::commit), "commit", code);
}

u32 service(const Subtree& subtree, const Request& request)
{
    const ServiceStep own = subtree.service();
    const u32 code =
        own != nullptr ? own(request.path, request.object) : serve_scripts(request.object, subtree.scripts());
    if (code != 0) {
        return log_step(request, label_of(subtree, &Labels::service), "service", code);
    }
    // It runs in the background by its own "&", so there is no result to wait for.
    const char* const next = subtree.after_service();
    if (u32 result = 0; next != nullptr && is_recorded(next, result)) {
        return result;
    }
    const ToolTime time{or_empty(next)};
    const int status = next != nullptr ? std::system(next) : 0;
    if (next != nullptr) {
        time.end(status == 0 ? 0 : u32{EFAULT});
    }
    if (status != 0) {
        Qslog_Log(kLogWarning, kModule, request.line, request.dispatcher, "%s not started, ignoring\n", next);
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

u32 serve_rest(const Subtree& subtree, const Request& request, std::string_view rest)
{
    const bool is_all = rest.empty() || rest == "*";
    QSCBase_ParamId record;
    (void)QSCBase_ParamId_Init(&record);
    record.context = static_cast<u64>(request.context);
    if (!is_all && !parse_index(rest, record.index[0])) {
        return refuse(EINVAL, "'%.*s' is no instance number",
                      static_cast<int>(std::min<std::size_t>(rest.size(), 40)), rest.data());
    }
    if (const ListRoutines* const routines = subtree.routines()) {
        return is_all ? routines->all(request.path, request.object, request.oper, request.argument,
                                      request.context, request.value)
                      : routines->index(request.path, request.object, request.oper, request.argument,
                                        request.context, request.value, request.object, &record);
    }
    if (subtree.object->list() == nullptr) {
        return 0; // nothing to answer
    }
    const Call call{kSource,        request.dispatcher, request.line,     request.path,
                    request.object, request.oper,       request.argument, request.value};
    return is_all ? serve_instances(call, *subtree.object, request.context, nullptr)
                  : serve_instance(call, *subtree.object, request.context, &record);
}

u32 serve_list(const Subtree& subtree, const Request& request)
{
    if ((request.oper & (QSC_OPER_GET | QSC_OPER_SET)) == 0) {
        return log_unsupported(request, nullptr);
    }
    std::optional<UciView> view;
    if ((request.oper & QSC_OPER_GET) != 0) {
        view.emplace();
    }
    const char* rest = or_empty(request.path);
    const char* const list = subtree.list();
    const bool is_below = std::string_view{rest}.starts_with(list);
    rest += is_below ? std::strlen(list) : 0;
    const u32 code =
        is_below ? serve_rest(subtree, request, rest) : refuse(EINVAL, "it does not begin with %s", list);
    const char* const verb = (request.oper & QSC_OPER_GET) != 0 ? "get" : "set";
    return code != 0 ? log_parameter(request, nullptr, verb, rest, code) : 0;
}

u32 run_action(const Subtree& subtree, const Request& request)
{
    json_object* action = nullptr;
    if (!find_member(request.object, "Action", action) || !is_object(action)) {
        LOG_REQUEST(request, "%s, get 1st action object failed.\n", or_empty(request.path));
        return refuse(EINVAL, "the request has no object \"Action\"");
    }
    std::string_view wanted;
    if (take_text(action, wanted) != 0) {
        LOG_REQUEST(request, "%s, get 1st action parameter failed.\n", or_empty(request.path));
        return EINVAL;
    }
    Qsc_ParamEntry* entry = subtree.actions();
    while (entry->id != QSC_TABLE_END && wanted != entry->name) {
        ++entry;
    }
    if (entry->id == QSC_TABLE_END || entry->handler == nullptr) {
        return refuse(EINVAL, "there is no action of that name");
    }
    entry->param = reinterpret_cast<std::uintptr_t>(request.object);
    const u32 code =
        entry->handler(entry->name, action, request.oper, request.argument, request.context, entry->param);
    if (code != 0) {
        LOG_REQUEST(request, "%s fail, error %d\n", entry->name, static_cast<i32>(code));
    }
    return code;
}

u32 serve(const Subtree& subtree, const Request& request)
{
    const auto asks_for = [&](u32 operation) { return (request.oper & operation) != 0; };
    const bool is_change = asks_for(QSC_OPER_SET | QSC_OPER_COMMIT) && !asks_for(QSC_OPER_GET);
    if (const u32 code = is_change ? refuse_in_window(request.argument) : 0) {
        return log_parameter(request, nullptr, "change", "", code);
    }
    if (subtree.actions() != nullptr) {
        return run_action(subtree, request);
    }
    if (subtree.list() != nullptr) {
        return serve_list(subtree, request);
    }
    if (asks_for(subtree.served & QSC_OPER_GET)) {
        return serve_object(subtree, request, QSC_OPER_GET);
    }
    if (asks_for(subtree.served & QSC_OPER_SET)) {
        return serve_object(subtree, request, QSC_OPER_SET);
    }
    const bool is_own = subtree.applied_by() == nullptr;
    if (asks_for(QSC_OPER_COMMIT) &&
        (subtree.commit() != nullptr || (is_own && subtree.packages() != nullptr))) {
        return commit(subtree, request);
    }
    if (asks_for(QSC_OPER_SERVICE) &&
        (subtree.service() != nullptr || (is_own && subtree.scripts() != nullptr))) {
        return service(subtree, request);
    }
    return log_unsupported(request, label_of(subtree, &Labels::unsupported));
}

} // namespace

const Object& object_at(const Subtree& subtree, const char* path)
{
    const std::string_view requested{or_empty(path)};
    for (const ObjectChoice& choice : subtree.choices()) {
        const bool fits = choice.rule == ObjectChoice::kPathIs
                              ? requested == choice.text
                              : requested.find(choice.text) != std::string_view::npos;
        if (fits) {
            return *choice.object;
        }
    }
    return *subtree.object;
}

u32 dispatch(const char* path, json_object* object, u32 oper, u32 argument, i64 context, u64 value,
             const Subtree& subtree)
{
    const Request request{subtree.name, subtree.line, path, object, oper, argument, context, value};
    struct Asked {
        const Subtree& subtree;
        const Request& request;
    } asked{subtree, request};
    const auto get = [](void* what, json_object* before) {
        const auto& self = *static_cast<Asked*>(what);
        Request same = self.request;
        same.object = before;
        same.oper = QSC_OPER_GET;
        return serve(self.subtree, same);
    };
    SetJournal journal{subtree, path, object, oper, get, &asked};
    const RequestCount count;
    forget_refusal();
    const u32 code =
        is_request(request) ? serve(subtree, request) : refuse(EINVAL, "the request is not a JSON object");
    if (code != 0) {
        name_refusal(path, nullptr, code);
    } else {
        forget_refusal();
    }
    count.end(static_cast<u32>(&subtree - subtrees().data()), code);
    journal.finish(argument, code);
    return code;
}

u32 dispatch(const char* path, json_object* object, u32 oper, u32 argument, i64 context, u64 value,
             std::size_t number)
{
    return dispatch(path, object, oper, argument, context, value, subtrees()[number]);
}

u32 check_only(const Subtree& subtree, const char* path, json_object* object, u32 argument)
{
    if (!is_object(object)) {
        return refuse(EINVAL, "the request is not a JSON object");
    }
    if (subtree.actions() == nullptr && (subtree.served & QSC_OPER_SET) == 0) {
        return refuse(EINVAL, "it cannot be set");
    }
    const Object& chosen = object_at(subtree, path);
    json_object_object_foreach(object, name, value)
    {
        const PackedRow* const row = find_row(chosen, name);
        const char* const why = subtree.actions() != nullptr ? nullptr
                                : row == nullptr             ? "there is no such parameter"
                                : row->place == Place::kHandler && row->access == Access::kRead
                                    ? "it cannot be set"
                                    : nullptr;
        if (why != nullptr) {
            const u32 code = refuse(row == nullptr ? EINVAL : EFAULT, "%s", why);
            name_refusal(path, name, code);
            return is_object(value) ? record_result(value, code) : code;
        }
    }
    if (!has_rows(chosen) || subtree.actions() != nullptr) {
        return 0;
    }
    RowRequest rows{
        .object = chosen, .path = path, .root = object, .oper = QSC_OPER_SET, .argument = argument};
    const char* refused = nullptr;
    const u32 code = check_set(rows, refused);
    if (code != 0) {
        name_refusal(path, refused, code);
    }
    return code;
}

} // namespace qsc
