// SPDX-License-Identifier: Apache-2.0
// add and delete: the instances of lists that grow.
#include <algorithm>
#include <cstdio>

#include "tools/qsc/Answers.h"
#include "tools/qsc/Apply.h"
#include "tools/qsc/Assignments.h"
#include "tools/qsc/Changes.h"
#include "tools/qsc/Commands.h"
#include "tools/qsc/Instances.h"
#include "tools/qsc/Json.h"
#include "tools/qsc/NearPath.h"
#include "tools/qsc/Parts.h"
#include "tools/qsc/Paths.h"
#include "tools/qsc/Report.h"

namespace qsc
{

namespace
{

constexpr u32 kHighestNumber = 65535;

bool grows(const Object& object)
{
    return (object.flags & QSC_OBJECT_GROWS) != 0;
}

/// The path of an instance of a list. False: it is too long.
bool path_of_instance(std::string_view list, std::string_view instance, PathText& path)
{
    path.clear();
    path.append(list).append(list.ends_with('.') ? "" : ".").append(instance);
    return path.fits();
}

/// Finds the path of a list's next instance, whose number is above all that there are.
ExitCode next_instance(const Options& options, const char* list, json_object* taken, PathText& path,
                       u32& number)
{
    Target any;
    if (!path_of_instance(list, kInstance, path)) {
        return no_path();
    }
    if (!find_object(path.view(), any) || !grows(any.object)) {
        Place place;
        const ExitCode result = read_place(list, place);
        return result != kDone ? result : wrong_usage("%s is no list that grows", list);
    }
    Instances instances;
    if (const ExitCode result = instances.find(options, any.object)) {
        return result;
    }
    number = instances.numbers().empty() ? 1 : *std::ranges::max_element(instances.numbers()) + 1;
    for (; number <= kHighestNumber; ++number) {
        Text<30> digits;
        digits.append_number(number);
        if (!path_of_instance(list, digits.view(), path)) {
            return no_path();
        }
        if (json_object_object_get_ex(taken, path.c_str(), nullptr) == 0) {
            return kDone;
        }
    }
    return failure("%s has no number left: %u is in use", list, kHighestNumber);
}

/// Puts a request with a switch that is 1 into a plan; null: no memory.
json_object* add_switch(json_object* plan, const char* path, const char* name)
{
    json_object* const request = object_in(plan, path);
    return add_value(request, name, JsonRef{json_object_new_int(1)}) ? request : nullptr;
}

} // namespace

ExitCode plan_addition(const Options& options, Words words, json_object* taken, json_object* plan,
                       PathText& path, u32& number)
{
    if (const ExitCode result = next_instance(options, words[0], taken, path, number)) {
        return result;
    }
    Target target;
    json_object* const request = add_switch(plan, path.c_str(), "X_QRN_Add");
    if (request == nullptr || !find_object(path.view(), target)) {
        return out_of_memory();
    }
    for (const char* word : words.subspan(1)) {
        if (const ExitCode result = read_assignment(target, word, request)) {
            return result;
        }
    }
    return kDone;
}

ExitCode plan_deletions(Words words, json_object* plan)
{
    for (const char* word : words) {
        Target target;
        if (const ExitCode result = read_object(word, target)) {
            return result;
        }
        if (!grows(target.object)) {
            return wrong_usage("%s is no instance of a list that grows", word);
        }
        if (add_switch(plan, target.path.c_str(), "X_QRN_Delete") == nullptr) {
            return out_of_memory();
        }
    }
    return kDone;
}

ExitCode add_instance(const Options& options, Words words)
{
    PathText path;
    u32 number = 0;
    const JsonRef plan{json_object_new_object()};
    if (const ExitCode result = plan_addition(options, words, nullptr, plan.get(), path, number)) {
        return result;
    }
    Options for_set = options;
    for_set.apply = false;
    for_set.as_json = false; // the path belongs to what is printed
    if (const ExitCode result = make_changes(for_set, plan.get())) {
        return result;
    }
    if (options.as_json) {
        print_json(plan.get());
    } else if (options.quiet) {
        std::printf("%u\n", number);
    } else {
        std::printf("%s\n", path.c_str());
    }
    return options.apply ? apply(options, plan.get()) : kDone;
}

ExitCode delete_instances(const Options& options, Words words)
{
    const JsonRef plan{json_object_new_object()};
    const ExitCode result = plan_deletions(words, plan.get());
    return result != kDone ? result : make_changes(options, plan.get());
}

} // namespace qsc
