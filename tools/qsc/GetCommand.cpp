// SPDX-License-Identifier: Apache-2.0
// get: the parameters of one object, of several, or of everything below a path.
#include "tools/qsc/Answers.h"
#include "tools/qsc/Commands.h"
#include "tools/qsc/Json.h"
#include "tools/qsc/Paths.h"
#include "tools/qsc/Requests.h"

namespace qsc
{

namespace
{

/// A path of the command line, with the names of parameters that follow it.
struct Asked {
    Place place;
    JsonRef objects; ///< the paths of the place's objects
    JsonRef names;   ///< the parameters that are asked for; empty: all
};

/// Every object that is meant has to have the parameter.
ExitCode add_name(const Asked& asked, const char* name)
{
    const ExitCode result = for_each_text(asked.objects.get(), [&](const char* path) {
        Target target;
        return find_object(path, target) ? check_parameter(target, name) : kFailed;
    });
    return result != kDone ? result : object_in(asked.names.get(), name) != nullptr ? kDone : out_of_memory();
}

/// Takes a path and the names after it off the words.
ExitCode take_asked(const Options& options, Words& words, Asked& asked)
{
    if (const ExitCode result = read_place(words[0], asked.place)) {
        return result;
    }
    words = words.subspan(1);
    if (const ExitCode result = list_objects(options, asked.place, asked.objects)) {
        return result;
    }
    asked.names.reset(json_object_new_object());
    if (!asked.place.parameter.view().empty()) {
        if (const ExitCode result = add_name(asked, asked.place.parameter.c_str())) {
            return result;
        }
    }
    for (; !words.empty() && !is_path(words[0]); words = words.subspan(1)) {
        if (const ExitCode result = add_name(asked, words[0])) {
            return result;
        }
    }
    return asked.names != nullptr ? kDone : out_of_memory();
}

/// Adds what is asked to the requests of a plan. Asking for everything outweighs asking for some.
ExitCode add_request(const char* path, json_object* names, json_object* plan)
{
    json_object* before = nullptr;
    const bool is_new = json_object_object_get_ex(plan, path, &before) == 0;
    if (is_new || json_object_object_length(names) == 0) {
        json_object* copy = nullptr;
        const bool is_copied = json_object_deep_copy(names, &copy, nullptr) == 0;
        return is_copied && add(plan, path, JsonRef{copy}) ? kDone : out_of_memory();
    }
    if (json_object_object_length(before) == 0) {
        return kDone;
    }
    return for_each_in(names, [&](const char* name, json_object*) {
        return object_in(before, name) != nullptr ? kDone : out_of_memory();
    });
}

/// Whether an object was only found on the way, and can be set alone.
bool is_passed_over(const Place& place, const char* path)
{
    Target target;
    return place.reach == Place::kBelow && find_object(path, target) &&
           (target.object.access & QSC_OPER_GET) == 0;
}

/// Reads all words: what is asked, in its order, and the requests that answer it, each object's once.
ExitCode read_words(const Options& options, Words words, json_object* asked_in_order, json_object* plan,
                    bool& is_single)
{
    for (u32 count = 1; !words.empty(); ++count) {
        Asked asked;
        if (const ExitCode result = take_asked(options, words, asked)) {
            return result;
        }
        is_single = count == 1 && asked.place.reach == Place::kObject;
        const ExitCode result = for_each_text(asked.objects.get(), [&](const char* path) {
            if (is_passed_over(asked.place, path)) {
                return kDone;
            }
            json_object* const element = json_object_new_object();
            const bool is_added = json_object_array_add(asked_in_order, element) == 0 &&
                                  add(element, path, JsonRef{json_object_get(asked.names.get())});
            return is_added ? add_request(path, asked.names.get(), plan) : out_of_memory();
        });
        if (result != kDone) {
            return result;
        }
    }
    return kDone;
}

bool can_get(const Parameter& parameter)
{
    return (parameter.access & QSC_OPER_GET) != 0;
}

/// Asks for one parameter alone.
void get_alone(const Options& options, const Target& target, const char* name, json_object* request)
{
    const JsonRef one{json_object_new_object()};
    u32 code = 0;
    if (object_in(one.get(), name) == nullptr) {
        out_of_memory();
    } else if (dispatch(options, target, QSC_OPER_GET, one.get(), code)) {
        if (code != 0) {
            refused(target, "get", name, code);
        }
        (void)add(request, name, JsonRef{json_object_get(object_in(one.get(), name))});
    }
}

bool is_in(json_object* request, const Parameter& parameter)
{
    return json_object_object_get_ex(request, parameter.name, nullptr) != 0;
}

/// The parameter that a get ended at: of those that were named, the one with the code of a failure; of all,
/// the first that is not there. Null: none is to blame.
const char* find_failed(const Object& object, json_object* request, bool is_all)
{
    if (!is_all) {
        return failed_parameter(object, request);
    }
    const char* failed = nullptr;
    for_each_parameter(object, [&](const Parameter& parameter) {
        if (failed == nullptr && can_get(parameter) && !is_in(request, parameter)) {
            failed = parameter.name;
        }
    });
    return failed;
}

/// Says what a get ended at, and asks for the parameters after that, each alone. Where none stands before it,
/// the failure seems to be the object's and ends it all.
void get_rest(const Options& options, const Target& target, bool is_all, u32 code, json_object* request)
{
    const std::string_view failed = or_empty(find_failed(target.object, request, is_all));
    bool is_before = true;
    bool is_any_before = false;
    for_each_parameter(target.object, [&](const Parameter& parameter) {
        if (failed == parameter.name) {
            is_before = false;
            refused(target, "get", is_any_before || !is_all ? parameter.name : nullptr, code);
        } else if (is_before) {
            is_any_before = is_any_before || is_in(request, parameter);
        } else if (is_any_before && can_get(parameter) && (is_all || is_in(request, parameter))) {
            get_alone(options, target, parameter.name, request);
        }
    });
    if (is_before) {
        refused(target, "get", nullptr, code);
    }
}

ExitCode get_object(const Options& options, const Target& target, json_object* request)
{
    const bool is_all = json_object_object_length(request) == 0;
    u32 code = 0;
    if (!dispatch(options, target, QSC_OPER_GET, request, code)) {
        return kFailed;
    }
    if (code != 0) {
        get_rest(options, target, is_all, code, request);
    }
    return code == 0 ? kDone : kFailed;
}

} // namespace

ExitCode get(const Options& options, Words words)
{
    const JsonRef asked{json_object_new_array()};
    const JsonRef plan{json_object_new_object()};
    bool is_single = true;
    if (asked == nullptr || plan == nullptr) {
        return out_of_memory();
    }
    if (const ExitCode wrong = read_words(options, words, asked.get(), plan.get(), is_single)) {
        return wrong;
    }
    ExitCode result = kDone;
    (void)for_each_in(plan.get(), [&](const char* path, json_object* request) {
        Target target;
        if (!find_object(path, target) || get_object(options, target, request) != kDone) {
            result = kFailed;
        }
        return kDone; // what fails keeps nothing else from being answered
    });
    if (options.as_json && options.quiet) {
        print_json_values(plan.get(), is_single);
    } else if (options.as_json) {
        print_plan(plan.get(), is_single);
    } else {
        print_answers(asked.get(), plan.get(),
                      options.quiet ? Show::kValues
                      : is_single   ? Show::kNames
                                    : Show::kFullNames);
    }
    return result;
}

} // namespace qsc
