// SPDX-License-Identifier: Apache-2.0
// stats: what the service daemon has done, and where its time went. The figures are a process's own, and this
// one has just begun.
#include <cstdio>

#include <json-c/json.h>

#include "base/Text.h"
#include "tools/client/qsc_client.h"
#include "tools/qsc/Answers.h"
#include "tools/qsc/Commands.h"
#include "tools/qsc/DaemonSocket.h"
#include "tools/qsc/Printable.h"
#include "tools/queue/Payload.h"

namespace qsc
{

namespace
{

using queue::member_of;

double milliseconds(json_object* line, const char* name)
{
    return static_cast<double>(json_object_get_int64(member_of(line, name))) / 1000;
}

void print_table(json_object* lines, const char* title, const char* key)
{
    if (json_object_is_type(lines, json_type_array) == 0 || json_object_array_length(lines) == 0) {
        return;
    }
    std::printf("\n%9s %7s %12s %12s  %s\n", "calls", "failed", "total ms", "longest ms", title);
    for (std::size_t i = 0; i < json_object_array_length(lines); ++i) {
        json_object* const line = json_object_array_get_idx(lines, i);
        std::printf("%9lld %7lld %12.3f %12.3f  ",
                    static_cast<long long>(json_object_get_int64(member_of(line, "calls"))),
                    static_cast<long long>(json_object_get_int64(member_of(line, "failures"))),
                    milliseconds(line, "total"), milliseconds(line, "longest"));
        print_escaped(or_empty(json_object_get_string(member_of(line, key))));
        if (json_object* const error = member_of(line, "error")) {
            std::fputs("; last failure: ", stdout);
            print_escaped(or_empty(json_object_get_string(error)));
        }
        std::putchar('\n');
    }
}

} // namespace

ExitCode stats(const Options& options, Words)
{
    const JsonRef answer = call_daemon(options.socket != nullptr ? options.socket : QSC_CLIENT_SOCKET,
                                       "stats", JsonRef{json_object_new_object()});
    if (answer == nullptr) {
        note("the statistics are those of a running qscd");
        return kFailed;
    }
    if (say_error(answer.get())) {
        return kFailed;
    }
    json_object* const result = member_of(answer.get(), "result");
    if (options.as_json) {
        print_json(result);
        return kDone;
    }
    if (json_object_is_type(result, json_type_object) == 0) {
        return failure("the answer is malformed");
    }
    json_object_object_foreach(result, name, value)
    {
        if (json_object_is_type(value, json_type_int) != 0) {
            print_escaped(name);
            std::printf(" = %lld\n", static_cast<long long>(json_object_get_int64(value)));
        }
    }
    print_table(member_of(result, "subtrees"), "subtree", "path");
    print_table(member_of(result, "tools"), "tool", "program");
    return kDone;
}

} // namespace qsc
