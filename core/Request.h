// SPDX-License-Identifier: Apache-2.0
// What a handler is made of: taking the caller's value, putting the answer, and ending the way every
// handler, commit and service ends. A handler is one QSC_HANDLER line over these and the configuration
// access of UciAccess.h.
#pragma once

#include <cerrno>
#include <cstring>
#include <string_view>

#include "base/Json.h"
#include "base/Types.h"
#include "core/Refusal.h"
#include "include/qsyscmdhal.h"
#include "log/Log.h"

namespace qsc
{

/// A source file of handlers, as log lines and event records name it.
struct Source {
    const char* module;
    const char* file;
    u32 file_size; ///< of its name, with the terminator
};

/// One call of a handler. Where it is defined is what its log lines and event records are prefixed with.
struct Call {
    const Source& source;
    const char* function;
    i32 line;
    const char* name;
    json_object* value;
    u32 oper;
    u32 argument;
    u64 param;
};

/// Takes "ParamValue" as a text. EINVAL: missing; EFAULT: it has no text.
[[nodiscard]] u32 take_text(json_object* value, std::string_view& text);

/// Takes "ParamValue" if it is a text by its type. EINVAL: missing; EFAULT: it is none.
[[nodiscard]] u32 take_string(json_object* value, std::string_view& text);

/// Takes "ParamValue" as a number: an integer, a boolean, or a text that is a whole decimal number.
/// EINVAL: missing; EFAULT: anything else, or out of range.
[[nodiscard]] u32 take_int(json_object* value, i32& number);

/// Answers with a text, replacing a member of another type. The member's name must be the library's own.
/// EFAULT: not replaced; ENOMEM: not added.
[[nodiscard]] u32 answer_text(json_object* value, const char* text, const char* member = "ParamValue");

/// Answers with an integer, as answer_text().
[[nodiscard]] u32 answer_int(json_object* value, i32 number);

/// Answers with an integer of 64 bits, as answer_text().
[[nodiscard]] u32 answer_int64(json_object* value, i64 number);

/// Logs that a handler was asked for an operation that it does not serve.
u32 refuse_operation(const Call& call, u32 code = EFAULT);

/// Tells the host that a handler has ended.
void tell_host();

/// Records the result and tells the host; returns it.
u32 finish(json_object* value, u32 code);

/// The same without telling the host: of what has only been looked at.
u32 record_result(json_object* value, u32 code);

/// Remembers for the get that is under way that it could not read what is stored, for want of memory or
/// descriptors (ENOMEM). A missing option is no error of a get, but of this it knows nothing.
void note_read(u32 code);

/// The result of a get, which is no success after such a read.
[[nodiscard]] u32 finish_get(const Call& call, u32 code);

/// Serves a call with the handler's get or set; get wins.
template <typename Get, typename Set>
u32 serve(const Call& call, Get get, Set set)
{
    if (!is_object(call.value)) {
        return EINVAL;
    }
    const bool is_get = (call.oper & QSC_OPER_GET) != 0;
    const bool is_set = (call.oper & QSC_OPER_SET) != 0;
    return finish(call.value, is_get ? finish_get(call, get()) : is_set ? set() : refuse_operation(call));
}

/// Serves a call of a read-only parameter.
template <typename Get>
u32 serve_get(const Call& call, Get get)
{
    return serve(call, get, [&] { return refuse_operation(call); });
}

/// Serves a call with the record of the instance that it is for. find(call) points to it; null or empty:
/// there is no such instance.
template <typename Find, typename Use>
u32 with_instance(const Call& call, Find find, Use use)
{
    if (!is_object(call.value)) {
        return EINVAL;
    }
    const auto found = find(call);
    return found ? use(*found) : finish(call.value, refuse(EINVAL, "there is no such instance"));
}

/// The name of the commander that calls, for event records.
inline const char* commander(const Call& call)
{
    return QSysCmdHal_GetCommanderName(static_cast<i32>(call.argument));
}

/// How an event record shows a text that may be missing.
inline const char* shown(const char* text)
{
    return text == nullptr || *text == '\0' ? "<empty>" : text;
}

} // namespace qsc

/// Names the module of a source file of handlers, for all that they log.
#define QSC_MODULE(NAME)                                                                                     \
    [[maybe_unused]] constexpr const char* kModule = NAME;                                                   \
    [[maybe_unused]] constexpr qsc::Source kSource                                                           \
    {                                                                                                        \
        NAME, __FILE__, sizeof __FILE__                                                                      \
    }

/// Defines an exported handler that its header declares: RESULT is computed from `call`.
#define QSC_HANDLER(NAME, RESULT)                                                                            \
    uint32_t NAME(const char* name, json_object* value, uint32_t oper, uint32_t argument, int64_t,           \
                  uint64_t param)                                                                            \
    {                                                                                                        \
        const qsc::Call call{kSource, #NAME, __LINE__, name, value, oper, argument, param};                  \
        return RESULT;                                                                                       \
    }

/// Define a subtree's exported commit and service functions: RESULT is computed from `request`.
#define QSC_COMMIT(NAME, RESULT)                                                                             \
    uint32_t NAME(const char*, json_object* request, uint32_t, uint32_t, int64_t, uint64_t)                  \
    {                                                                                                        \
        return RESULT;                                                                                       \
    }
#define QSC_SERVICE(NAME, RESULT)                                                                            \
    uint32_t NAME(const char*, json_object* request)                                                         \
    {                                                                                                        \
        return RESULT;                                                                                       \
    }

/// Writes a line of the library log in the name of the handler that is called.
#define QSC_LOG_CALL(call, level, ...)                                                                       \
    Qslog_Log(level, (call).source.module, (call).line, (call).function, __VA_ARGS__)

/// Writes the event record of a successful set.
#define QSC_EVENT(call, ...)                                                                                 \
    QEvtLog_Log((call).source.file, (call).source.file_size, (call).function,                                \
                std::strlen((call).function) + 1, (call).line, 'n', __VA_ARGS__)
