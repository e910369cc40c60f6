// SPDX-License-Identifier: Apache-2.0
#include "tools/qsc/Assignments.h"

#include <cstring>

#include "tools/qsc/Json.h"
#include "tools/qsc/NearPath.h"
#include "tools/qsc/Parts.h"
#include "tools/qsc/Paths.h"
#include "tools/qsc/Report.h"

namespace qsc
{

namespace
{

using NameText = Text<254>;

/// An assignment in its parts.
struct Assignment {
    std::string_view name; ///< with the object's path before it, if it has one
    const char* value = nullptr;
    bool is_json = false;
};

ExitCode split(const char* word, Assignment& assignment)
{
    const char* const equals = std::strchr(word, '=');
    if (equals == nullptr || equals == word) {
        return wrong_usage(
            "'%s' is no assignment; write NAME=VALUE, or NAME:=JSON for a value that is no text", word);
    }
    assignment.is_json = equals[-1] == ':';
    assignment.value = equals + 1;
    assignment.name = {word, static_cast<std::size_t>(equals - word - (assignment.is_json ? 1 : 0))};
    return kDone;
}

ExitCode read_value(const Assignment& assignment, const NameText& name, JsonRef& value)
{
    const char* const text = assignment.value;
    if (!assignment.is_json) {
        value.reset(json_object_new_string(text));
        return value != nullptr ? kDone : out_of_memory();
    }
    const char* error = nullptr;
    value = parse_json(text, std::strlen(text), error);
    return error == nullptr ? kDone
                            : wrong_usage("%s: '%s' is not JSON (%s); write %s=%s if it is a text",
                                          name.c_str(), text, error, name.c_str(), text);
}

ExitCode add_assignment(const Target& target, const Assignment& assignment, json_object* request)
{
    NameText name;
    if (assignment.name.empty() || !name.assign(assignment.name)) {
        return wrong_usage("a parameter's name is 1 to 254 characters long, as in NAME=VALUE");
    }
    if (const ExitCode result = check_parameter(target, name.view())) {
        return result;
    }
    if (json_object_object_get_ex(request, name.c_str(), nullptr) != 0) {
        return wrong_usage("%s is set twice", name.c_str());
    }
    JsonRef value;
    if (const ExitCode result = read_value(assignment, name, value)) {
        return result;
    }
    return add_value(request, name.c_str(), std::move(value)) ? kDone : out_of_memory();
}

/// Takes the path off an assignment that begins with it. What it ends with if it is no object's has been
/// said.
ExitCode take_path(Assignment& assignment, Target& target)
{
    const std::size_t dot = assignment.name.rfind('.');
    if (dot == std::string_view::npos) {
        return kDone;
    }
    PathText path;
    if (!path.assign({assignment.name.data(), dot})) {
        return no_path();
    }
    assignment.name.remove_prefix(dot + 1);
    return read_object(path.c_str(), target);
}

/// The words of a set while they are read.
struct Reader {
    json_object* plan;
    Target target{};
    bool has_target = false;

    /// A path that nothing is assigned to is a mistake.
    [[nodiscard]] ExitCode check_last() const
    {
        const bool is_used =
            !has_target || json_object_object_get_ex(plan, target.path.c_str(), nullptr) != 0;
        return is_used ? kDone
                       : wrong_usage("nothing is set on %s; write NAME=VALUE after the path",
                                     target.path.c_str());
    }

    ExitCode take_object(const char* word)
    {
        const ExitCode result = check_last();
        has_target = true;
        return result != kDone ? result : read_object(word, target);
    }

    ExitCode take_assignment(const char* word)
    {
        Assignment assignment;
        if (const ExitCode result = split(word, assignment)) {
            return result;
        }
        Target own = target;
        if (const ExitCode result = take_path(assignment, own)) {
            return result;
        }
        if (own.path.view().empty()) {
            return wrong_usage("'%s' has no path; write PATH NAME=VALUE, or PATH.NAME=VALUE", word);
        }
        json_object* const request = object_in(plan, own.path.c_str());
        return request != nullptr ? add_assignment(own, assignment, request) : out_of_memory();
    }
};

} // namespace

ExitCode read_assignment(const Target& target, const char* word, json_object* request)
{
    Assignment assignment;
    const ExitCode result = split(word, assignment);
    return result != kDone ? result : add_assignment(target, assignment, request);
}

ExitCode read_assignments(Words words, json_object* plan)
{
    Reader reader{plan};
    for (const char* word : words) {
        const bool is_object = std::strchr(word, '=') == nullptr && (!reader.has_target || is_path(word));
        if (const ExitCode result = is_object ? reader.take_object(word) : reader.take_assignment(word)) {
            return result;
        }
    }
    return reader.check_last();
}

ExitCode read_object(const char* text, Target& target)
{
    Place place;
    if (const ExitCode result = read_place(text, place)) {
        return result;
    }
    if (!place.parameter.view().empty()) {
        return wrong_usage("'%s' is a parameter, and an object is needed; to set it, write %s=VALUE", text,
                           text);
    }
    if (!find_object(place.path.view(), target) || holds_every(target.path.view())) {
        return wrong_usage("'%s' means several objects, and one is needed; 'qsc list %s%s' shows them", text,
                           text, place.path.view().ends_with('.') ? "" : ".");
    }
    return kDone;
}

} // namespace qsc
