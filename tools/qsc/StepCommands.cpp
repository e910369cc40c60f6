// SPDX-License-Identifier: Apache-2.0
// commit and service: the steps after a set, one by one.
#include <cstring>

#include "tools/qsc/Answers.h"
#include "tools/qsc/Apply.h"
#include "tools/qsc/Commands.h"
#include "tools/qsc/Json.h"
#include "tools/qsc/Requests.h"

namespace qsc
{

namespace
{

/// Finds who takes a step for a path: `step` is that member of its object. Where none does, the path's own
/// subtree refuses.
bool find_taker(const char* path, const char* Object::*step, Target& asked, Target& taker)
{
    if (!find_subtree(path, asked)) {
        return false;
    }
    const char* const who = asked.object.*step;
    if (is_empty(who) || std::strcmp(who, asked.object.entry->path) == 0) {
        taker = asked;
        return true;
    }
    return find_subtree(who, taker);
}

/// Sends a request and shows it as JSON if that is wanted, also when it failed.
ExitCode send_and_show(const Options& options, const Target& target, const char* step, u32 operation,
                       json_object* request)
{
    const ExitCode result = send(options, target, step, operation, request);
    if (options.as_json) {
        print_json(request);
    }
    return result;
}

} // namespace

ExitCode commit(const Options& options, Words words)
{
    Target asked;
    Target taker;
    if (!find_taker(words[0], &Object::commit, asked, taker)) {
        return kUsage;
    }
    const JsonRef request{json_object_new_object()};
    for (const char* package : words.subspan(1)) {
        if (!add_package(request.get(), package)) {
            return out_of_memory();
        }
    }
    return request != nullptr ? send_and_show(options, taker, "commit", QSC_OPER_COMMIT, request.get())
                              : out_of_memory();
}

ExitCode service(const Options& options, Words words)
{
    Target asked;
    Target taker;
    if (!find_taker(words[0], &Object::service, asked, taker)) {
        return kUsage;
    }
    const JsonRef request = action_request(words[1]);
    if (request == nullptr) {
        return out_of_memory();
    }
    Text<510> step;
    step.append("service ").append({words[1], strnlen(words[1], 256)});
    return send_and_show(options, taker, step.c_str(), QSC_OPER_SERVICE, request.get());
}

} // namespace qsc
