// SPDX-License-Identifier: Apache-2.0
#include "core/Recorder.h"

#include <algorithm>
#include <cerrno>

#include <json-c/json.h>

#include "base/Parse.h"
#include "base/SafeFile.h"
#include "base/Text.h"
#include "include/qslog.h"

namespace qsc
{

namespace
{

constexpr std::string_view kScripts = "/etc/init.d/";

json_object* make_text(std::string_view text)
{
    return json_object_new_string_len(text.data(), static_cast<int>(text.size()));
}

Recorder& recorder_of(Recording& self)
{
    return static_cast<Recorder&>(self);
}

constexpr bool is_plain(char c)
{
    return is_lower(to_lower(c)) || is_digit(c) ||
           std::string_view{"_./:=,+@%-"}.find(c) != std::string_view::npos;
}

/// An argument as a shell would have to be told it.
void append_argument(CommandText& command, std::string_view argument)
{
    command.append(command.view().empty() ? "" : " ");
    if (!argument.empty() && std::ranges::all_of(argument, is_plain)) {
        command.append(argument);
        return;
    }
    command.append("'");
    for (const char& character : argument) {
        command.append(character == '\'' ? std::string_view{"'\\''"} : std::string_view{&character, 1});
    }
    command.append("'");
}

bool is_script(std::string_view program)
{
    return program.starts_with(kScripts);
}

} // namespace

bool is_kept_path(std::string_view path)
{
    return path.starts_with("/etc/");
}

Recorder::Recorder() : Recording{}
{
    starts = [](Recording& self, const char* const* arguments, u32& code) {
        CommandText command;
        for (const char* const* argument = arguments; *argument != nullptr; ++argument) {
            append_argument(command, *argument);
        }
        const bool asks_script =
            arguments[0] != nullptr && is_script(arguments[0]) && arguments[1] != nullptr;
        return recorder_of(self).take(
            command.view(), asks_script ? std::string_view{arguments[0]} : std::string_view{},
            asks_script ? std::string_view{arguments[1]} : std::string_view{}, code);
    };
    runs = [](Recording& self, const char* command, u32& code) {
        const std::string_view whole{or_empty(command)};
        const std::size_t blank = std::min(whole.find(' '), whole.size());
        const std::string_view action = whole.substr(std::min(blank + 1, whole.size()));
        const bool asks_script = is_script(whole) && !action.empty() && action.find(' ') == action.npos;
        return recorder_of(self).take(whole, asks_script ? whole.substr(0, blank) : std::string_view{},
                                      asks_script ? action : std::string_view{}, code);
    };
    writes = [](Recording& self, const char* path, const std::string_view* content, mode_t mode, u32& code) {
        code = 0;
        return recorder_of(self).keep(path, content, mode);
    };
    reads = [](Recording& self, const char* path, FileText& text, u32& code) {
        json_object* file = nullptr;
        if (!json_object_object_get_ex(recorder_of(self).files.get(), path, &file)) {
            return false;
        }
        json_object* const content = json_object_object_get(file, "text");
        text = FileText{};
        code = file == nullptr ? u32{ENOENT}
               : text.append({json_object_get_string(content),
                              static_cast<std::size_t>(json_object_get_string_len(content))})
                   ? 0
                   : u32{ENOMEM};
        return true;
    };
    tells = [](Recording& self, const EventSource& source, std::string_view message) {
        Recorder& recorder = recorder_of(self);
        json_object* const event = json_object_new_array();
        const auto add = [&](json_object* member) {
            recorder.is_out_of_memory =
                recorder.is_out_of_memory || json_object_array_add(event, member) != 0;
        };
        // Addresses of constants: an event never leaves the process.
        add(json_object_new_int64(reinterpret_cast<std::intptr_t>(source.file)));
        add(json_object_new_int64(static_cast<i64>(source.file_size)));
        add(json_object_new_int64(reinterpret_cast<std::intptr_t>(source.function)));
        add(json_object_new_int64(static_cast<i64>(source.function_size)));
        add(json_object_new_int64(source.line));
        add(json_object_new_int64(source.status));
        add(make_text(message));
        recorder.is_out_of_memory =
            recorder.is_out_of_memory || json_object_array_add(recorder.events.get(), event) != 0;
        return true;
    };
    is_plan = true;
    clear();
}

void Recorder::clear()
{
    commands.reset(json_object_new_array());
    files.reset(json_object_new_object());
    events.reset(json_object_new_array());
    was_muted = false;
    switches = 0;
    is_out_of_memory = commands == nullptr || files == nullptr || events == nullptr;
}

void Recorder::begin_step(const char* step, const char* path)
{
    step_ = step;
    path_.reset(json_object_new_string(or_empty(path)));
}

void Recorder::note(std::string_view command, std::string_view script, std::string_view action)
{
    JsonRef entry{json_object_new_object()};
    const u32 code = [&]() -> u32 {
        u32 failed = add_named_member(entry.get(), "step", json_object_new_string(step_));
        failed = failed != 0 ? failed : add_named_member(entry.get(), "path", json_object_get(path_.get()));
        failed = failed != 0 ? failed : add_named_member(entry.get(), "command", make_text(command));
        if (failed == 0 && !script.empty()) {
            failed = add_named_member(entry.get(), "script", make_text(script));
            failed = failed != 0 ? failed : add_named_member(entry.get(), "action", make_text(action));
        }
        return failed;
    }();
    is_out_of_memory =
        is_out_of_memory || code != 0 || json_object_array_add(commands.get(), entry.release()) != 0;
}

bool Recorder::take(std::string_view command, std::string_view script, std::string_view action, u32& code)
{
    code = 0;
    if (is_muted) {
        was_muted = true;
        return true;
    }
    if (decide != nullptr && !script.empty()) {
        return decide(script, action, code, context);
    }
    note(command, script, action);
    return is_plan;
}

bool Recorder::keep(const char* path, const std::string_view* content, mode_t mode)
{
    if (!keeps_files || (!is_plan && !is_kept_path(path))) {
        return false;
    }
    JsonRef file{content != nullptr ? json_object_new_object() : nullptr};
    if (content != nullptr) {
        const u32 code = add_named_member(file.get(), "text", make_text(*content));
        is_out_of_memory =
            is_out_of_memory || code != 0 ||
            add_named_member(file.get(), "mode", json_object_new_int(static_cast<i32>(mode))) != 0 ||
            add_named_member(file.get(), "path", json_object_get(path_.get())) != 0;
    }
    is_out_of_memory = is_out_of_memory || json_object_object_add(files.get(), path, file.release()) != 0;
    return true;
}

void write_events(json_object* events)
{
    const auto number = [](json_object* event, std::size_t place) {
        return json_object_get_int64(json_object_array_get_idx(event, place));
    };
    for (std::size_t i = 0; i < json_object_array_length(events); ++i) {
        json_object* const event = json_object_array_get_idx(events, i);
        // NOLINTBEGIN(performance-no-int-to-ptr): they were pointers
        (void)QEvtLog_Log(reinterpret_cast<const char*>(static_cast<std::intptr_t>(number(event, 0))),
                          static_cast<std::size_t>(number(event, 1)),
                          reinterpret_cast<const char*>(static_cast<std::intptr_t>(number(event, 2))),
                          static_cast<std::size_t>(number(event, 3)), static_cast<long>(number(event, 4)),
                          static_cast<char>(number(event, 5)), "%s",
                          json_object_get_string(json_object_array_get_idx(event, 6)));
        // NOLINTEND(performance-no-int-to-ptr)
    }
}

} // namespace qsc
