// SPDX-License-Identifier: Apache-2.0
#include "tools/qsc/Apply.h"

#include <algorithm>

#include "include/qrnuci.h"
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

/// Commits what was set on an object that no subtree commits for. Nothing is restarted for it either, and
/// that is said.
ExitCode commit_alone(const Target& target)
{
    PathText package;
    for (std::string_view packages = packages_of(target.object); take_word(packages, package);) {
        if (const u32 code = QrnUci_CommitPackage(package.c_str())) {
            return failure("%s: commit of %s failed: code %u (%s)", target.path.c_str(), package.c_str(),
                           code, meaning_of(code));
        }
    }
    note("%s: committed; nothing was restarted, because this library restarts nothing for it",
         target.path.c_str());
    return kDone;
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

} // namespace

ExitCode apply(const Options& options, json_object* plan)
{
    // Their members are what is to be asked, each once.
    const JsonRef commits{json_object_new_object()};
    const JsonRef services{json_object_new_object()};
    const ExitCode gathered = for_each_in(plan, [&](const char* path, json_object*) {
        Target target;
        if (!find_object(path, target)) {
            return kFailed;
        }
        const Object& object = target.object;
        if (is_empty(object.commit)) {
            return commit_alone(target);
        }
        PathText who;
        who.append(object.commit).append(" ").append(object.packages);
        const bool is_added =
            object_in(commits.get(), who.c_str()) != nullptr &&
            (is_empty(object.service) || object_in(services.get(), object.service) != nullptr);
        return is_added ? kDone : out_of_memory();
    });
    if (gathered != kDone) {
        return gathered;
    }
    if (const ExitCode result = for_each_in(
            commits.get(), [&](const char* who, json_object*) { return commit_through(options, who); })) {
        return result;
    }
    return for_each_in(services.get(),
                       [&](const char* who, json_object*) { return restart_through(options, who); });
}

} // namespace qsc
