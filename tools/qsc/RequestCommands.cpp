// SPDX-License-Identifier: Apache-2.0
// get, set, commit, service, request, log and version: the commands that send a request.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <json-c/json.h>

#include "base/Text.h"
#include "core/JsonRef.h"
#include "include/qrnuci.h"
#include "include/qslog.h"
#include "tools/qsc/Answers.h"
#include "tools/qsc/Commands.h"
#include "tools/qsc/Lookup.h"
#include "tools/qsc/Queue.h"
#include "tools/qsc/Suggestion.h"
#include "tools/qsc/Tables.h"

namespace qsc
{

namespace
{

constexpr std::size_t kLongestRequest = 1 << 20;

struct FreeMemory {
    void operator()(char* memory) const { std::free(memory); }
};

/// Has the request served, by the library or by the daemon; false: it never got there, which has been said.
bool dispatch(const Options& options, const Target& target, u32 operation, json_object* object, u32& code)
{
    if (options.by_queue) {
        return dispatch_by_queue(options, target.path.c_str(), operation, object, code);
    }
    code = target.entry->dispatcher(target.path.c_str(), object, operation, options.commander, 0, 0);
    return true;
}

ExitCode out_of_memory()
{
    return failure("out of memory");
}

/// Sends a request and says in a sentence what failed, with the parameter if the handlers told it.
ExitCode send(const Options& options, const Target& target, const char* step, u32 operation,
              json_object* object)
{
    u32 code = 0;
    if (!dispatch(options, target, operation, object, code)) {
        return kFailed;
    }
    if (code == 0) {
        return kDone;
    }
    const char* const parameter = failed_parameter(target, object);
    return failure("%s: %s%s%s failed: code %u (%s)", target.path.c_str(), step,
                   parameter != nullptr ? " of " : "", or_empty(parameter), code, meaning_of(code));
}

/// Adds a member to an object, which then owns it; false: no memory.
[[nodiscard]] bool add(json_object* object, const char* name, JsonRef member)
{
    if (member == nullptr || json_object_object_add(object, name, member.get()) != 0) {
        return false;
    }
    (void)member.release();
    return true;
}

JsonRef parse_json(const char* text, std::size_t length, const char*& error)
{
    json_tokener* const tokener = json_tokener_new();
    if (tokener == nullptr) {
        error = "out of memory";
        return nullptr;
    }
    JsonRef value{json_tokener_parse_ex(tokener, text, static_cast<int>(length) + 1)};
    const json_tokener_error result = json_tokener_get_error(tokener);
    error = result != json_tokener_success ? json_tokener_error_desc(result) : nullptr;
    // The text ends where its terminator stands; anything left before that is not part of the value.
    const std::size_t end = json_tokener_get_parse_end(tokener);
    if (error == nullptr && end < length && std::strspn(text + end, " \t\r\n") < length - end) {
        error = "more text behind the value";
    }
    json_tokener_free(tokener);
    return error == nullptr ? std::move(value) : nullptr;
}

/// Adds one NAME=VALUE or NAME:=JSON to a set request; says what is wrong with it.
ExitCode add_assignment(const Target& target, const char* word, json_object* object)
{
    const char* const equals = std::strchr(word, '=');
    if (equals == nullptr || equals == word) {
        return wrong_usage(
            "'%s' is no assignment; write NAME=VALUE, or NAME:=JSON for a value that is no text", word);
    }
    const bool is_json = equals[-1] == ':';
    const std::string_view name{word, static_cast<std::size_t>(equals - word - (is_json ? 1 : 0))};
    Text<254> key;
    if (name.empty() || !key.assign(name)) {
        return wrong_usage("'%s' is no assignment; a name is 1 to 254 characters long", word);
    }
    if (const ExitCode result = check_parameter(target, name)) {
        return result;
    }
    if (json_object_object_get_ex(object, key.c_str(), nullptr) != 0) {
        return wrong_usage("%s is set twice", key.c_str());
    }
    const char* const text = equals + 1;
    JsonRef value;
    if (is_json) {
        const char* error = nullptr;
        value = parse_json(text, std::strlen(text), error);
        if (error != nullptr) {
            return wrong_usage("%s: '%s' is not JSON (%s); write %s=%s if it is a text", key.c_str(), text,
                               error, key.c_str(), text);
        }
    } else {
        value.reset(json_object_new_string(text));
        if (value == nullptr) {
            return out_of_memory();
        }
    }
    JsonRef parameter{json_object_new_object()};
    // JSON null is a null pointer, which is a value here and no failure.
    if (parameter == nullptr || json_object_object_add(parameter.get(), "ParamValue", value.get()) != 0) {
        return out_of_memory();
    }
    (void)value.release();
    return add(object, key.c_str(), std::move(parameter)) ? kDone : out_of_memory();
}

JsonRef action_request(const char* action)
{
    JsonRef object{json_object_new_object()};
    if (object != nullptr && !add(object.get(), "action", JsonRef{json_object_new_string(action)})) {
        object.reset();
    }
    return object;
}

/// Reads a request object from standard input.
ExitCode read_request(JsonRef& object)
{
    const std::unique_ptr<char, FreeMemory> text{static_cast<char*>(std::malloc(kLongestRequest + 2))};
    if (text == nullptr) {
        return out_of_memory();
    }
    const std::size_t length = std::fread(text.get(), 1, kLongestRequest + 1, stdin);
    if (std::ferror(stdin) != 0) {
        return failure("standard input cannot be read: %s", std::strerror(errno));
    }
    if (length > kLongestRequest) {
        return wrong_usage("the request on standard input is longer than %zu bytes", kLongestRequest);
    }
    text.get()[length] = '\0';
    const char* error = nullptr;
    object = parse_json(text.get(), length, error);
    if (error != nullptr) {
        return wrong_usage("standard input holds no JSON object (%s), such as {\"NAME\":{}}", error);
    }
    return kDone;
}

/// Reads operations: a number, or names joined by "+" or ",".
bool parse_operations(const char* text, u32& operations)
{
    if (parse_number(text, operations)) {
        return true;
    }
    operations = 0;
    for (std::string_view rest{text}; !rest.empty();) {
        const std::size_t length = std::min(rest.find_first_of("+,"), rest.size());
        const std::string_view word{rest.data(), length};
        const Qsc_OperName* entry = g_QscCmdList;
        Suggestion nearest{word};
        while (entry->value != QSC_TABLE_END && word != entry->name) {
            nearest.consider(entry++->name);
        }
        if (entry->value == QSC_TABLE_END) {
            wrong_usage("there is no operation '%.*s'%s", static_cast<int>(length), word.data(),
                        Hint{nearest}.c_str());
            return false;
        }
        operations |= entry->value;
        rest.remove_prefix(std::min(length + 1, rest.size()));
    }
    return true;
}

/// A request that is being put together.
struct Draft {
    Target target;
    JsonRef object;
};

ExitCode start(const char* path, Draft& draft)
{
    if (!find_target(path, draft.target)) {
        return kUsage;
    }
    draft.object.reset(json_object_new_object());
    return draft.object != nullptr ? kDone : out_of_memory();
}

/// Sends a request and shows it as JSON if that is wanted, also when it failed.
ExitCode finish(const Options& options, const Draft& draft, const char* step, u32 operation)
{
    const ExitCode result = send(options, draft.target, step, operation, draft.object.get());
    if (options.as_json) {
        print_json(draft.object.get());
    }
    return result;
}

ExitCode add_packages(Words packages, json_object* object)
{
    JsonRef list{json_object_new_array()};
    for (const char* package : packages) {
        JsonRef name{json_object_new_string(package)};
        if (list == nullptr || name == nullptr || json_object_array_add(list.get(), name.get()) != 0) {
            return out_of_memory();
        }
        (void)name.release();
    }
    return packages.empty() || add(object, "package", std::move(list)) ? kDone : out_of_memory();
}

/// Commits what a set has staged where no subtree does. Nothing is to be restarted, and that is said.
ExitCode commit_alone(const Target& changed, const Application& application)
{
    for (const char* package : application.packages) {
        if (const u32 code = QrnUci_CommitPackage(package)) {
            return failure("%s: commit of %s failed: code %u (%s)", changed.path.c_str(), package, code,
                           meaning_of(code));
        }
    }
    note("%s: committed; nothing was restarted, because this library restarts nothing for it",
         changed.path.c_str());
    return kDone;
}

/// Commit and service after a set, each as its own request; the first failure ends it.
ExitCode apply(const Options& options, const Target& changed)
{
    const Application* const application = application_of(*changed.entry);
    Target target;
    if (application == nullptr) {
        target = changed;
    } else if (application->path == nullptr) {
        return commit_alone(changed, *application);
    } else if (!find_target(application->path, target)) {
        return kUsage;
    }
    const JsonRef what{json_object_new_object()};
    const JsonRef restart = action_request("restart");
    if (what == nullptr || restart == nullptr) {
        return out_of_memory();
    }
    if (application != nullptr) {
        if (const ExitCode result = add_packages(application->packages, what.get())) {
            return result;
        }
    }
    const ExitCode committed = send(options, target, "commit", QSC_OPER_COMMIT, what.get());
    return committed != kDone ? committed
                              : send(options, target, "service restart", QSC_OPER_SERVICE, restart.get());
}

} // namespace

ExitCode get(const Options& options, Words words)
{
    Draft draft;
    if (const ExitCode result = start(words[0], draft)) {
        return result;
    }
    if (const ExitCode result = check_any_parameter(draft.target)) {
        return result;
    }
    for (const char* name : words.subspan(1)) {
        if (const ExitCode result = check_parameter(draft.target, name)) {
            return result;
        }
        if (!add(draft.object.get(), name, JsonRef{json_object_new_object()})) {
            return out_of_memory();
        }
    }
    if (const ExitCode result = finish(options, draft, "get", QSC_OPER_GET)) {
        return result;
    }
    if (!options.as_json) {
        print_answers(draft.target, draft.object.get());
    }
    return kDone;
}

ExitCode set(const Options& options, Words words)
{
    Draft draft;
    if (const ExitCode result = start(words[0], draft)) {
        return result;
    }
    for (const char* word : words.subspan(1)) {
        if (const ExitCode result = add_assignment(draft.target, word, draft.object.get())) {
            return result;
        }
    }
    if (const ExitCode result = finish(options, draft, "set", QSC_OPER_SET)) {
        return result;
    }
    return options.apply ? apply(options, draft.target) : kDone;
}

ExitCode commit(const Options& options, Words words)
{
    Draft draft;
    if (const ExitCode result = start(words[0], draft)) {
        return result;
    }
    if (const ExitCode result = add_packages(words.subspan(1), draft.object.get())) {
        return result;
    }
    return finish(options, draft, "commit", QSC_OPER_COMMIT);
}

ExitCode service(const Options& options, Words words)
{
    Draft draft;
    if (const ExitCode result = start(words[0], draft)) {
        return result;
    }
    draft.object = action_request(words[1]);
    if (draft.object == nullptr) {
        return out_of_memory();
    }
    Text<510> step;
    step.append("service ").append({words[1], strnlen(words[1], 256)});
    return finish(options, draft, step.c_str(), QSC_OPER_SERVICE);
}

ExitCode request(const Options& options, Words words)
{
    Draft draft;
    u32 operations = 0;
    if (!find_target(words[0], draft.target) || !parse_operations(words[1], operations)) {
        return kUsage;
    }
    if (const ExitCode result = read_request(draft.object)) {
        return result;
    }
    Options as_json = options;
    as_json.as_json = true;
    return finish(as_json, draft, words[1], operations);
}

ExitCode log(const Options& options, Words words)
{
    if (words.size() == 2) {
        u32 number = 0;
        if (!parse_number(words[1], number)) {
            return wrong_usage("'%s' is no number; a level is 0 to 7, properties are a sum of 1, 2 and 4",
                               words[1]);
        }
        Text<254> assignment;
        assignment.append(words[0]).append(":=");
        char digits[16];
        (void)std::snprintf(digits, sizeof digits, "%u", number);
        assignment.append(digits);
        const char* const set_words[] = {"syslog", assignment.c_str()};
        if (const ExitCode result = set(options, set_words)) {
            return result;
        }
    }
    const char* const get_words[] = {"syslog", words.empty() ? nullptr : words[0]};
    return get(options, Words{get_words}.first(words.empty() ? 1 : 2));
}

ExitCode version(const Options& options, Words)
{
    static const Qsc_VersionRecord record{.fwver = nullptr, .progver = QSC_VERSION};
    const char* const words[] = {"version"};
    Target target;
    if (!find_target(words[0], target)) {
        return kUsage;
    }
    for (Qsc_CommandEntry* row = QSysCmdHal_GetFunList(); row->id != QSC_TABLE_END; ++row) {
        if (row == target.entry) {
            row->reserved = reinterpret_cast<std::uintptr_t>(&record);
        }
    }
    return get(options, words);
}

} // namespace qsc
