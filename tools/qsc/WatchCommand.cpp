// SPDX-License-Identifier: Apache-2.0
// watch: shows what paths hold, and how it changes, as the service daemon tells it.
#include <cstdio>
#include <cstring>

#include <json-c/json.h>

#include "tools/client/qsc_client.h"
#include "tools/qsc/Commands.h"
#include "tools/qsc/DaemonSocket.h"
#include "tools/qsc/Printable.h"
#include "tools/queue/Payload.h"

namespace qsc
{

namespace
{

using queue::member_of;

void print(json_object* value)
{
    const char* const text = json_object_is_type(value, json_type_string) != 0
                                 ? json_object_get_string(value)
                                 : json_object_to_json_string_ext(value, JSON_C_TO_STRING_PLAIN);
    print_escaped(text);
}

void print_event(json_object* event)
{
    const char* const type = json_object_get_string(member_of(event, "type"));
    if (type == nullptr) {
        return;
    }
    if (std::strcmp(type, "lost") == 0) {
        std::printf("%s events were lost here\n", json_object_get_string(member_of(event, "count")));
        return;
    }
    if (member_of(event, "path") == nullptr) {
        // A change that waits, as a whole.
        std::fputs("change ", stdout);
        print(member_of(event, "id"));
        std::printf(": %s", type);
        for (const char* name : {"seconds", "why"}) {
            if (json_object* const more = member_of(event, name)) {
                std::fputs(", ", stdout);
                print(more);
                std::fputs(*name == 's' ? " s" : "", stdout);
            }
        }
        std::fputs(", by ", stdout);
        print(member_of(event, "by"));
        std::putchar('\n');
        return;
    }
    print(member_of(event, "path"));
    if (std::strcmp(type, "changed") == 0) {
        std::fputs(": ", stdout);
        print(member_of(event, "old"));
        std::fputs(" -> ", stdout);
        print(member_of(event, "new"));
    } else {
        std::printf(": %s", type);
    }
    std::fputs(", by ", stdout);
    print(member_of(event, "by"));
    std::putchar('\n');
}

} // namespace

ExitCode watch(const Options& options, Words words)
{
    json_object* const paths = json_object_new_array();
    for (const char* path : words) {
        json_object_array_add(paths, json_object_new_string(path));
    }
    if (words.empty()) {
        json_object_array_add(paths, json_object_new_string("Device."));
    }
    JsonRef params{json_object_new_object()};
    json_object_object_add(params.get(), "paths", paths);
    const JsonRef answer = call_daemon(options.socket != nullptr ? options.socket : QSC_CLIENT_SOCKET,
                                       "subscribe", std::move(params));
    if (answer == nullptr || say_error(answer.get())) {
        return kFailed;
    }
    json_object_object_foreach(member_of(member_of(answer.get(), "result"), "values"), path, value)
    {
        print_escaped(path);
        std::fputs(" = ", stdout);
        print(value);
        std::putchar('\n');
    }
    (void)std::fflush(stdout);
    for (u32 number = 0; options.count == 0 || number < options.count; ++number) {
        const JsonRef event = next_event();
        if (event == nullptr) {
            return failure("qscd has ended the connection");
        }
        if (options.as_json) {
            std::puts(
                json_object_to_json_string_ext(member_of(event.get(), "params"), JSON_C_TO_STRING_PLAIN));
        } else {
            print_event(member_of(event.get(), "params"));
        }
        (void)std::fflush(stdout);
    }
    return kDone;
}

} // namespace qsc
