// SPDX-License-Identifier: Apache-2.0
#include "tools/qsc/Apply.h"

#include <algorithm>

#include "tools/qsc/Json.h"
#include "tools/qsc/Report.h"
#include "tools/qsc/Requests.h"

namespace qsc
{

namespace
{

/// Takes the first word off a text with blanks between its words. False: there is none.
bool take_word(std::string_view& words, PathText& word)
{
    const std::size_t begin = std::min(words.find_first_not_of(' '), words.size());
    words.remove_prefix(begin);
    const std::size_t length = std::min(words.find(' '), words.size());
    const bool is_taken = length != 0 && word.assign({words.data(), length});
    words.remove_prefix(length);
    return is_taken;
}

/// Commits through a subtree. `who` is its path, and after that the packages unless the subtree knows them.
ExitCode commit_through(const Options& options, std::string_view who)
{
    Target target;
    PathText word;
    const JsonRef request{json_object_new_object()};
    if (!take_word(who, word) || !find_subtree(word.c_str(), target)) {
        return kFailed;
    }
    while (take_word(who, word)) {
        if (!add_package(request.get(), word.c_str())) {
            return out_of_memory();
        }
    }
    return request != nullptr ? send(options, target, "commit", QSC_OPER_COMMIT, request.get())
                              : out_of_memory();
}

ExitCode restart_through(const Options& options, const char* who)
{
    Target target;
    const JsonRef request = action_request("restart");
    return request == nullptr ? out_of_memory()
           : !find_subtree(who, target)
               ? kFailed
               : send(options, target, "service restart", QSC_OPER_SERVICE, request.get());
}

/// Calls visit(target) for each object of a plan while it answers kDone.
template <typename Visit>
ExitCode for_each_target(json_object* plan, Visit visit)
{
    return for_each_in(plan, [&](const char* path, json_object*) {
        Target target;
        return find_object(path, target) ? visit(target) : kFailed;
    });
}

ExitCode commit_all(const Options& options, json_object* plan)
{
    const JsonRef done{json_object_new_object()}; // its members are who has committed what
    return for_each_target(plan, [&](const Target& target) {
        PathText who;
        who.append(target.object.commit).append(" ").append(target.object.packages);
        if (is_empty(target.object.commit)) {
            return kDone; // it keeps nothing in the configuration
        }
        if (json_object_object_get_ex(done.get(), who.c_str(), nullptr) != 0) {
            return kDone;
        }
        return object_in(done.get(), who.c_str()) != nullptr ? commit_through(options, who.view())
                                                             : out_of_memory();
    });
}

ExitCode restart_all(const Options& options, json_object* plan)
{
    const JsonRef done{json_object_new_object()};
    return for_each_target(plan, [&](const Target& target) {
        const char* const who = target.object.service;
        if (is_empty(who)) {
            note("%s: committed; nothing was restarted, because this library restarts nothing for it",
                 target.path.c_str());
            return kDone;
        }
        if (json_object_object_get_ex(done.get(), who, nullptr) != 0) {
            return kDone;
        }
        return object_in(done.get(), who) != nullptr ? restart_through(options, who) : out_of_memory();
    });
}

} // namespace

ExitCode apply(const Options& options, json_object* plan)
{
    const ExitCode committed = commit_all(options, plan);
    return committed != kDone ? committed : restart_all(options, plan);
}

} // namespace qsc
