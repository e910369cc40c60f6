// SPDX-License-Identifier: Apache-2.0
// confirm, extend, cancel and pending: what becomes of a change that waits in the service daemon.
#include <cstdio>

#include <json-c/json.h>

#include "tools/client/qsc_client.h"
#include "tools/qsc/Commands.h"
#include "tools/qsc/DaemonSocket.h"
#include "tools/qsc/Lookup.h"
#include "tools/qsc/Printable.h"
#include "tools/queue/Payload.h"

namespace qsc
{

namespace
{

using queue::member_of;

/// Asks the daemon. @return its result; null: it has none, which has been said
JsonRef ask(const Options& options, const char* method, JsonRef params)
{
    const JsonRef answer = call_daemon(options.socket != nullptr ? options.socket : QSC_CLIENT_SOCKET, method,
                                       std::move(params));
    if (answer == nullptr || say_error(answer.get())) {
        return nullptr;
    }
    JsonRef result{json_object_get(member_of(answer.get(), "result"))};
    if (result != nullptr && options.as_json) {
        std::puts(json_object_to_json_string_ext(result.get(), JSON_C_TO_STRING_PLAIN));
    }
    return result;
}

JsonRef params_of(const Options& options, const char* id)
{
    JsonRef params{json_object_new_object()};
    json_object_object_add(params.get(), "id", json_object_new_string(id));
    json_object_object_add(params.get(), "commander", json_object_new_int64(options.commander));
    return params;
}

void print_member(json_object* object, const char* name)
{
    print_escaped(or_empty(json_object_get_string(member_of(object, name))));
}

/// Says in a line what a decision has come to.
ExitCode decide(const Options& options, const char* method, JsonRef params, const char* id, const char* done)
{
    const JsonRef result = ask(options, method, std::move(params));
    if (result != nullptr && !options.as_json && !options.quiet) {
        print_escaped(id);
        std::puts(done);
    }
    return result != nullptr ? kDone : kFailed;
}

void print_pending(json_object* waiting)
{
    print_member(waiting, "id");
    std::printf(": %s, ", json_object_get_string(member_of(waiting, "state")));
    if (json_object_get_int64(member_of(waiting, "left")) != 0) {
        std::printf("%s of %s s left, ", json_object_get_string(member_of(waiting, "left")),
                    json_object_get_string(member_of(waiting, "seconds")));
    }
    std::fputs("by ", stdout);
    print_member(waiting, "by");
    std::fputs(" (", stdout);
    print_member(waiting, "peer");
    std::puts(")");
}

} // namespace

ExitCode confirm(const Options& options, Words words)
{
    return decide(options, "confirm", params_of(options, words[0]), words[0], " is confirmed");
}

ExitCode extend(const Options& options, Words words)
{
    u32 seconds = 0;
    if (!parse_number(words[1], seconds)) {
        return wrong_usage("'%s' is no number of seconds", words[1]);
    }
    JsonRef params = params_of(options, words[0]);
    json_object_object_add(params.get(), "seconds", json_object_new_int64(seconds));
    Text<62> done;
    done.append(" may be confirmed for ").append_number(seconds).append(" s from now");
    return decide(options, "extend", std::move(params), words[0], done.c_str());
}

ExitCode cancel(const Options& options, Words words)
{
    return decide(options, "cancel", params_of(options, words[0]), words[0], " is being taken back");
}

ExitCode pending(const Options& options, Words)
{
    const JsonRef result = ask(options, "pending", JsonRef{json_object_new_object()});
    if (result == nullptr || options.as_json) {
        return result != nullptr ? kDone : kFailed;
    }
    json_object* const waiting = member_of(result.get(), "pending");
    json_object* const last = member_of(result.get(), "last");
    if (waiting != nullptr && options.quiet) {
        print_member(waiting, "id");
        std::puts("");
    } else if (waiting != nullptr) {
        print_pending(waiting);
    } else if (!options.quiet) {
        std::fputs("nothing waits to be confirmed", stdout);
        if (last != nullptr) {
            std::fputs("; the last was ", stdout);
            print_member(last, "id");
            std::fputs(": ", stdout);
            print_member(last, "outcome");
        }
        std::puts("");
    }
    return kDone;
}

} // namespace qsc
