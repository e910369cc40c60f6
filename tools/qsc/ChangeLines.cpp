// SPDX-License-Identifier: Apache-2.0
#include "tools/qsc/ChangeLines.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <json-c/json.h>

#include "tools/qsc/Assignments.h"
#include "tools/qsc/Changes.h"
#include "tools/qsc/Json.h"
#include "tools/qsc/Line.h"
#include "tools/qsc/Report.h"

namespace qsc
{

namespace
{

/// Moves the requests of a plan to the end of the changes.
ExitCode flush(JsonRef& plan, json_object* changes)
{
    const ExitCode result = for_each_in(plan.get(), [&](const char* path, json_object* request) {
        JsonRef change{json_object_new_object()};
        const bool is_made = add(change.get(), "path", JsonRef{json_object_new_string(path)}) &&
                             add(change.get(), "set", JsonRef{json_object_get(request)}) &&
                             json_object_array_add(changes, change.get()) == 0;
        (void)(is_made ? change.release() : nullptr);
        return is_made ? kDone : out_of_memory();
    });
    plan.reset(json_object_new_object());
    return result;
}

/// The instances that are added so far, as an object whose members are their paths; null: no memory.
JsonRef added_paths(json_object* changes)
{
    JsonRef paths{json_object_new_object()};
    for (std::size_t i = 0; i < json_object_array_length(changes); ++i) {
        json_object* const path = json_object_object_get(json_object_array_get_idx(changes, i), "path");
        if (!add(paths.get(), json_object_get_string(path), JsonRef{json_object_new_boolean(1)})) {
            return {};
        }
    }
    return paths;
}

/// Changes while their lines are read.
struct Reader {
    const Options& options;
    json_object* changes;
    JsonRef plan{json_object_new_object()}; ///< sets that another one may still join

    ExitCode read(std::string_view command, Words words)
    {
        if (command == "set") {
            return read_assignments(words, plan.get());
        }
        if (words.empty()) {
            return wrong_usage("nothing to %s", command.data());
        }
        if (const ExitCode result = flush(plan, changes)) {
            return result;
        }
        PathText path;
        u32 number = 0;
        const JsonRef taken = added_paths(changes);
        const ExitCode result = command == "add"
                                    ? plan_addition(options, words, taken.get(), plan.get(), path, number)
                                    : plan_deletions(words, plan.get());
        return result != kDone ? result : flush(plan, changes);
    }
};

} // namespace

ExitCode read_change(const Options& options, const char* command, Words words, json_object* changes)
{
    Reader reader{.options = options, .changes = changes};
    const ExitCode result = reader.read(command, words);
    return result != kDone ? result : flush(reader.plan, changes);
}

ExitCode read_change_lines(const Options& options, json_object* changes)
{
    struct Buffer {
        char* text = nullptr;
        std::size_t size = 0;
        ~Buffer() { std::free(text); }
    } buffer;
    Reader reader{.options = options, .changes = changes};
    for (u32 number = 1; getline(&buffer.text, &buffer.size, stdin) >= 0; ++number) {
        Line line;
        if (!line.split(buffer.text)) {
            return wrong_usage("line %u has an open quote, or more than %zu words", number,
                               Line::kMostWords - 2);
        }
        if (line.count() == 1) {
            continue;
        }
        const Words words{line.words() + 1, static_cast<std::size_t>(line.count() - 1)};
        const std::string_view first{words[0]};
        const bool is_named = first == "set" || first == "add" || first == "delete";
        const ExitCode result = is_named ? reader.read(first, words.subspan(1)) : reader.read("set", words);
        if (result != kDone) {
            note("line %u is wrong, and nothing was done", number);
            return result;
        }
    }
    return std::ferror(stdin) == 0 ? flush(reader.plan, changes)
                                   : failure("standard input cannot be read: %s", std::strerror(errno));
}

} // namespace qsc
