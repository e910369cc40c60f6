// SPDX-License-Identifier: Apache-2.0
#include "core/RowSource.h"

#include <algorithm>
#include <cerrno>

#include <json-c/json.h>

#include "base/Parse.h"
#include "core/Request.h"
#include "core/RunTool.h"

namespace qsc
{

namespace
{

constexpr std::string_view kBlanks = " \t";

/// Takes the next word of a place off it.
std::string_view take_word(std::string_view& place)
{
    const std::size_t end = std::min(place.find(' '), place.size());
    const std::string_view word = place.substr(0, end);
    place.remove_prefix(std::min(end + 1, place.size()));
    return word;
}

std::string_view trimmed(std::string_view text)
{
    const std::size_t begin = std::min(text.find_first_not_of(kBlanks), text.size());
    const std::size_t end = text.find_last_not_of(" \t\r");
    return text.substr(begin, end == std::string_view::npos ? 0 : end + 1 - begin);
}

/// What is missing is no error of a get.
void warn(const char* module, const char* tool, const char* why)
{
    Qslog_Log(kLogWarning, module, __LINE__, tool, "%s %s\n", tool, why);
}

/// A variable of the boot loader. Each is asked for on its own, and asked for once by the parameter it
/// answers.
bool read_boot_variable(Sources& sources, std::string_view name, const char* module, RowText& text)
{
    Text<62> variable;
    FileText output;
    if (!variable.assign(name)) {
        return false;
    }
    const char* const arguments[] = {"fw_printenv", "-n", variable.c_str(), nullptr};
    if (sources.lacks_boot_environment()) {
        return false;
    }
    const u32 code = run_tool({.arguments = arguments, .output = &output, .is_optional = true}, module);
    if (code == kNotInstalled) {
        warn(module, "fw_printenv", "is not installed");
        sources.set_lacks_boot_environment();
    } else if (code == EFAULT) {
        sources.note_ended();
    }
    if (code != 0) {
        return false;
    }
    return text.assign(trimmed(first_line(output.view()))) && !text.view().empty();
}

bool read_place(Sources& sources, std::string_view place, const char* module, RowText& text)
{
    if (place.starts_with('=')) {
        return text.assign(place.substr(1));
    }
    Text<254> path;
    if (!path.assign(take_word(place))) {
        return false;
    }
    if (path.view() == "env") {
        return read_boot_variable(sources, place, module, text);
    }
    const std::string_view content = sources.file(path.c_str());
    return text.assign(place.empty() ? trimmed(first_line(content)) : find_line_value(content, place)) &&
           !text.view().empty();
}

} // namespace

Sources::Slot& Sources::slot_for(const char* name, const void* tool, bool& is_new)
{
    Text<126> fitting;
    const bool fits = fitting.assign(name);
    for (Slot& slot : slots_) {
        const bool is_free = slot.name.view().empty() && slot.tool == nullptr;
        if (fits && (is_free || (slot.tool == tool && slot.name.view() == name))) {
            is_new = is_free;
            slot.tool = tool;
            slot.name = fitting;
            return slot;
        }
    }
    is_new = true;
    spare_ = Slot{};
    return spare_;
}

std::string_view Sources::file(const char* path)
{
    bool is_new = false;
    Slot& slot = slot_for(path, nullptr, is_new);
    if (is_new) {
        has_missing_ = read_safe_file(path, slot.text) != 0 || has_missing_;
    }
    return slot.text.view();
}

std::string_view Sources::made(const char* name, void (*make)(FileText& text))
{
    bool is_new = false;
    Slot& slot = slot_for(name, nullptr, is_new);
    if (is_new) {
        make(slot.text);
    }
    return slot.text.view();
}

Sources::Slot& Sources::run(const Tool& tool, const char* module)
{
    bool is_new = false;
    Slot& slot = slot_for("", &tool, is_new);
    if (is_new) {
        FileText output;
        const u32 code = run_tool(
            {.arguments = tool.arguments, .deadline = tool.deadline, .output = &output, .is_optional = true},
            module);
        if (code == 0) {
            slot.text = std::move(output);
        } else if (code == kNotInstalled) {
            warn(module, tool.arguments[0], "is not installed");
        } else if (code != EFAULT) {
            warn(module, tool.arguments[0], "failed");
        } else { // that is logged
            note_ended();
        }
    }
    return slot;
}

std::string_view Sources::output(const Tool& tool, const char* module)
{
    return run(tool, module).text.view();
}

json_object* Sources::json(const Tool& tool, const char* module)
{
    Slot& slot = run(tool, module);
    if (!slot.is_parsed) {
        slot.is_parsed = true;
        slot.json.reset(json_tokener_parse(slot.text.c_str()));
        if (slot.json == nullptr && !slot.text.view().empty()) {
            warn(module, tool.arguments[0], "printed no JSON");
        }
    }
    return slot.json.get();
}

bool read_places(Sources& sources, std::string_view places, const char* module, RowText& text)
{
    std::string_view rest = places;
    (void)sources.take_missing(); // what others missed, they have found elsewhere
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find('|'), rest.size());
        if (read_place(sources, rest.substr(0, end), module, text)) {
            return true;
        }
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    if (sources.take_missing() && sources.warns()) {
        Qslog_Log(kLogWarning, module, __LINE__, "read_places", "nothing found in %.*s\n",
                  static_cast<int>(places.size()), places.data());
    }
    text.clear();
    return false;
}

std::string_view first_line(std::string_view text)
{
    return text.substr(0, text.find('\n'));
}

std::string_view find_line_value(std::string_view text, std::string_view name)
{
    while (!text.empty()) {
        std::string_view line = first_line(text);
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        if (!line.starts_with(name)) {
            continue;
        }
        line.remove_prefix(name.size());
        const std::size_t value = line.find_first_not_of(" \t:=");
        if (value == 0 || line.empty()) {
            continue; // a longer name, or none
        }
        line = trimmed(line.substr(std::min(value, line.size())));
        const bool is_quoted =
            line.size() > 1 && (line.front() == '\'' || line.front() == '"') && line.back() == line.front();
        return is_quoted ? line.substr(1, line.size() - 2) : line;
    }
    return {};
}

json_object* find_in_json(json_object* root, std::string_view path)
{
    while (root != nullptr && !path.empty()) {
        const std::size_t end = std::min(path.find('.'), path.size());
        Text<126> step;
        const bool fits = step.assign(path.substr(0, end));
        path.remove_prefix(std::min(end + 1, path.size()));
        json_object* member = nullptr;
        u32 index = 0;
        if (fits && json_object_is_type(root, json_type_array) != 0 && parse_whole(step.view(), index)) {
            member = json_object_array_get_idx(root, index);
        } else if (fits) {
            (void)find_member(root, step.c_str(), member);
        }
        root = member;
    }
    return root;
}

} // namespace qsc
