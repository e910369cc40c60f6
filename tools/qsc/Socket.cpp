// SPDX-License-Identifier: Apache-2.0
#include "tools/qsc/Socket.h"

#include <json-c/json.h>

#include "base/Text.h"
#include "tools/qsc/DaemonSocket.h"
#include "tools/qsc/Report.h"
#include "tools/queue/Payload.h"

namespace qsc
{

namespace
{

Text<510> g_refusal;

} // namespace

const char* daemon_refusal()
{
    return g_refusal.c_str();
}

bool dispatch_by_socket(const Options& options, const char* path, u32 operation, json_object* object,
                        u32& code)
{
    JsonRef params{json_object_new_object()};
    json_object_object_add(params.get(), "path", json_object_new_string(path));
    json_object_object_add(params.get(), "operation", json_object_new_int64(operation));
    json_object_object_add(params.get(), "commander", json_object_new_int64(options.commander));
    json_object_object_add(params.get(), "request", json_object_get(object));
    const JsonRef answer = call_daemon(options.socket, "request", std::move(params));
    if (answer == nullptr || say_error(answer.get())) {
        return false;
    }
    g_refusal.clear();
    json_object* const result = queue::member_of(answer.get(), "result");
    if (!queue::read_number(result, "code", code)) {
        failure("the answer is malformed; is %s the socket of a qscd?", options.socket);
        return false;
    }
    g_refusal.append(or_empty(json_object_get_string(queue::member_of(result, "message"))));
    json_object* const request = queue::member_of(result, "request");
    if (json_object_is_type(request, json_type_object) != 0) {
        json_object_object_foreach(request, name, value)
        {
            json_object_object_add(object, name, json_object_get(value));
        }
    }
    return true;
}

} // namespace qsc
