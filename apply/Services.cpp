// SPDX-License-Identifier: Apache-2.0
// Which services follow a change: those alone whose packages differ, each once, in the order in which the
// device starts them.
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>

#include <json-c/json.h>
#include <poll.h>
#include <unistd.h>

#include "apply/Apply.h"
#include "base/Parse.h"
#include "base/SafeFile.h"
#include "core/Refusal.h"
#include "core/RunTool.h"
#include "log/Log.h"

namespace qsc::apply
{

namespace
{

constexpr const char* kModule = "Apply";
constexpr const char* kUbus = "/bin/ubus";
constexpr i32 kLast = 1000;
constexpr const char* kReloadsItself = "it reloads itself when it is told that its package has changed";

/// What an init script says of itself.
class Script
{
  public:
    /// It may be a link: the folder is the system's.
    explicit Script(const char* path) : name_(path)
    {
        name_.remove_prefix(name_.rfind('/') + 1);
        char target[PATH_MAX];
        (void)(realpath(path, &target[0]) != nullptr && read_safe_file(&target[0], text_) == 0);
    }

    /// Its place among the others.
    [[nodiscard]] i32 start() const
    {
        constexpr i32 kUsual = 50;
        i32 number = kUsual;
        (void)for_each_line([&](std::string_view line) {
            if (line.starts_with("START=")) {
                line.remove_prefix(6);
                (void)parse_leading(line, number);
                return true;
            }
            return false;
        });
        return number;
    }

    [[nodiscard]] bool is_supervised() const
    {
        return for_each_line([](std::string_view line) { return line.starts_with("USE_PROCD=1"); });
    }

    [[nodiscard]] bool has_reload() const
    {
        return for_each_line([](std::string_view line) {
            return line.starts_with("reload()") || line.starts_with("reload_service()");
        });
    }

    /// Whether it reads a package: the one of its own name, or as it says.
    [[nodiscard]] bool reads(std::string_view package) const
    {
        return package == name_ || names(package, kLoad) || names(package, kTrigger);
    }

    /// Whether it says anything of what it reads.
    [[nodiscard]] bool is_known() const
    {
        return for_each_line(
            [](std::string_view line) { return line.starts_with(kLoad) || line.starts_with(kTrigger); });
    }

    /// Whether it is reloaded when a package is told to have changed.
    [[nodiscard]] bool is_triggered_by(std::string_view package) const
    {
        return is_supervised() && names(package, kTrigger);
    }

  private:
    static constexpr std::string_view kLoad = "config_load";
    static constexpr std::string_view kTrigger = "procd_add_reload_trigger";

    std::string_view name_;
    FileText text_;

    template <typename Fits>
    [[nodiscard]] bool for_each_line(Fits fits) const
    {
        std::string_view rest = text_.view();
        while (!rest.empty()) {
            const std::size_t size = std::min(rest.find('\n'), rest.size());
            std::string_view line{rest.data(), size};
            rest.remove_prefix(std::min(size + 1, rest.size()));
            line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
            if (fits(line)) {
                return true;
            }
        }
        return false;
    }

    /// Whether a line begins with a word, and has the package among the others.
    [[nodiscard]] bool names(std::string_view package, std::string_view word) const
    {
        return for_each_line([&](std::string_view line) {
            if (!line.starts_with(word)) {
                return false;
            }
            (void)take_word(line);
            for (std::string_view name = take_word(line); !name.empty(); name = take_word(line)) {
                if (name.size() > 2 && (name.front() == '"' || name.front() == '\'')) {
                    name = {name.data() + 1, name.size() - 2};
                }
                if (name == package) {
                    return true;
                }
            }
            return false;
        });
    }
};

bool is_there(json_object* object, const char* name)
{
    return json_object_object_get_ex(object, name, nullptr) != 0;
}

/// One service, and why it is needed.
struct Service {
    const char* path;
    json_object* commands;
    bool is_chosen;
    Qsc_ObjectInfo object{};
    bool has_file = false;
};

bool has_file(const Service& service, const Plan& plan)
{
    json_object_object_foreach(json_object_object_get(plan.texts.get(), "files"), name, item)
    {
        (void)name;
        Qsc_ObjectInfo object;
        const char* const path = member_text(item, "path");
        if (QSysCmdHal_FindObject(path, &object) == 0 && std::string_view{object.service} == service.path) {
            return true;
        }
    }
    return false;
}

/// Calls visit(package) for those that differ and that the service is for, while it answers false.
template <typename Visit>
bool for_each_changed(const Service& service, const Plan& plan, Visit visit)
{
    json_object_object_foreach(json_object_object_get(plan.texts.get(), "packages"), package, item)
    {
        (void)item;
        if ((is_empty(service.object.packages) || is_word_of(service.object.packages, package)) &&
            visit(std::string_view{package})) {
            return true;
        }
    }
    return false;
}

bool is_needed(const Service& service, const Plan& plan)
{
    return service.is_chosen || service.has_file ||
           for_each_changed(service, plan, [](std::string_view) { return true; });
}

/// Whether one of the service's scripts reads a package.
bool is_read_by_any(const Service& service, std::string_view package)
{
    for (std::size_t i = 0; i < json_object_array_length(service.commands); ++i) {
        const char* const script = member_text(json_object_array_get_idx(service.commands, i), "script");
        if (*script != '\0' && Script{script}.reads(package)) {
            return true;
        }
    }
    return false;
}

/// Why an init script of a needed service is not run; null: it is.
const char* why_not(const Service& service, const Script& script, const Plan& plan)
{
    if (service.is_chosen) {
        return nullptr;
    }
    bool is_triggered = false;
    const bool has_changed = for_each_changed(service, plan, [&](std::string_view package) {
        const bool is_for_it =
            script.reads(package) || !script.is_known() || !is_read_by_any(service, package);
        is_triggered =
            is_triggered || (is_for_it && access(kUbus, X_OK) == 0 && script.is_triggered_by(package));
        return is_for_it && !is_triggered;
    });
    return is_triggered                      ? kReloadsItself
           : has_changed || service.has_file ? nullptr
                                             : "nothing that it reads has changed";
}

u32 skip(const Session& session, const Plan& plan, const char* command, const char* why)
{
    JsonRef entry{json_object_new_object()};
    u32 code = add_named_member(entry.get(), "command", mask_text(session, command).release());
    code = code != 0 ? code : put_text(entry.get(), "why", why);
    return code != 0 ? code
                     : append_to(json_object_object_get(plan.report.get(), "skipped"), entry.release());
}

u32 add_command(const Session& session, const Plan& plan, json_object* command, const char* text)
{
    return show_command(session, command, text, json_object_object_get(plan.report.get(), "commands"));
}

/// Adds one command of a service to the plan, if it is to be run.
u32 plan_command(const Session& session, const Service& service, const Plan& plan, json_object* command)
{
    const char* const text = member_text(command, "command");
    const char* const path = member_text(command, "script");
    if (*path == '\0') {
        return add_command(session, plan, command, text);
    }
    if (is_there(plan.runs.get(), text)) {
        return skip(session, plan, text, "once is enough");
    }
    const char* action = member_text(command, "action");
    const Script script{path};
    if (std::string_view{action} == "restart") {
        const char* const why = why_not(service, script, plan);
        action = !service.is_chosen && script.has_reload() ? "reload" : action;
        if (why == kReloadsItself) {
            // Nobody tells it of the way back.
            const u32 code = add_member(session.back.get(), text, json_object_new_string(action));
            return code != 0 ? code : skip(session, plan, text, why);
        }
        if (why != nullptr) {
            return skip(session, plan, text, why);
        }
    }
    CommandText shown;
    shown.append(path).append(" ").append(action);
    u32 code = add_member(plan.runs.get(), text, json_object_new_string(action));
    code = code != 0 ? code : add_member(session.back.get(), text, json_object_new_string(action));
    return code != 0 ? code : add_command(session, plan, command, shown.c_str());
}

/// Where a service stands among the others: as its first init script; those that may cut the line come last,
/// where somebody has to confirm that they have not.
i32 place_of(const Session& session, json_object* commands)
{
    i32 place = kLast;
    for (std::size_t i = 0; i < json_object_array_length(commands); ++i) {
        const char* const script = member_text(json_object_array_get_idx(commands, i), "script");
        if (*script == '\0') {
            continue;
        }
        std::string_view name{script};
        name.remove_prefix(name.rfind('/') + 1);
        const bool may_cut = name == "network" || name == "wifi" || name == "firewall";
        if (may_cut &&
            (is_there(session.options.get(), "confirm") || is_there(session.options.get(), "checks"))) {
            return kLast + Script{script}.start();
        }
        place = std::min(place, Script{script}.start());
    }
    return place;
}

/// The service that comes next: the first of the lowest place.
json_object* take_next(const Session& session, json_object* services)
{
    std::size_t best = 0;
    i32 lowest = INT32_MAX;
    for (std::size_t i = 0; i < json_object_array_length(services); ++i) {
        json_object* const commands =
            json_object_object_get(json_object_array_get_idx(services, i), "commands");
        if (const i32 place = place_of(session, commands); place < lowest) {
            lowest = place;
            best = i;
        }
    }
    json_object* const next = json_object_get(json_object_array_get_idx(services, best));
    (void)json_object_array_del_idx(services, best, 1);
    return next;
}

/// Whether sets that the service is for tell drivers something at once.
bool is_live(const Service& service, const Plan& plan)
{
    json_object* const commands = json_object_object_get(plan.report.get(), "commands");
    for (std::size_t i = 0; i < json_object_array_length(commands); ++i) {
        json_object* const command = json_object_array_get_idx(commands, i);
        Qsc_ObjectInfo object;
        if (std::string_view{member_text(command, "step")} == "set" &&
            QSysCmdHal_FindObject(member_text(command, "path"), &object) == 0 &&
            std::string_view{object.service} == service.path) {
            return true;
        }
    }
    return false;
}

u32 plan_service(const Session& session, json_object* entry, const Plan& plan)
{
    Service service{.path = member_text(entry, "path"),
                    .commands = json_object_object_get(entry, "commands"),
                    .is_chosen = is_there(session.chosen.get(), member_text(entry, "path"))};
    if (QSysCmdHal_FindObject(service.path, &service.object) != 0) {
        return EINVAL;
    }
    service.has_file = has_file(service, plan);
    const bool needs = is_needed(service, plan);
    const bool tells_drivers = is_live(service, plan);
    u32 code = needs ? append_to(plan.order.get(), json_object_new_string(service.path)) : 0;
    for (std::size_t i = 0; i < json_object_array_length(service.commands) && code == 0; ++i) {
        json_object* const command = json_object_array_get_idx(service.commands, i);
        code =
            needs ? plan_command(session, service, plan, command)
                  : skip(session, plan, member_text(command, "command"), "nothing that it reads has changed");
        // Only its service knows what the drivers are to do instead.
        const char* const name = member_text(command, "command");
        if (code == 0 && tells_drivers && !is_empty(member_text(command, "script")) &&
            !is_there(session.back.get(), name)) {
            code =
                add_member(session.back.get(), name, json_object_new_string(member_text(command, "action")));
        }
    }
    return code;
}

/// The event by which the init scripts learn that a package has changed.
void write_event(const char* package, CommandText& event)
{
    event.append(R"({"type":"config.change","data":{"package":")").append(package).append(R"("}})");
}

u32 plan_events(const Session& session, const Plan& plan)
{
    if (is_of_sets_only(session) || access(kUbus, X_OK) != 0) {
        return 0;
    }
    json_object_object_foreach(json_object_object_get(plan.texts.get(), "packages"), package, item)
    {
        (void)item;
        CommandText event;
        CommandText shown;
        write_event(package, event);
        shown.append(kUbus).append(" call service event '").append(event.view()).append("'");
        JsonRef command{json_object_new_object()};
        u32 code = put_text(command.get(), "step", "event");
        code = code != 0 ? code : put_text(command.get(), "path", "");
        code = code != 0 ? code : add_command(session, plan, command.get(), shown.c_str());
        if (code != 0) {
            return code;
        }
    }
    return 0;
}

/// An apply comes to an end, so that it can go back.
constexpr u32 kScriptDeadline = 120'000;

/// Runs an init script, and waits for a moment until its service runs.
u32 run_script(const char* script, const char* action)
{
    const char* const arguments[] = {script, action, nullptr};
    if (run_tool({.arguments = arguments, .deadline = kScriptDeadline}, kModule) != 0) {
        QSC_LOG(kLogError, "%s %s failed\n", script, action);
        return refuse(EFAULT, "%s %s failed", script, action);
    }
    if (std::string_view{action} == "stop" || !Script{script}.is_supervised()) {
        return 0;
    }
    constexpr int kTries = 20;
    constexpr int kPause_ms = 100;
    for (int i = 0; i < kTries; ++i) {
        const char* const question[] = {script, "status", nullptr};
        FileText answer;
        (void)run_tool({.arguments = question, .output = &answer, .is_optional = true}, kModule);
        if (answer.view().find("not running") == std::string_view::npos) {
            return 0;
        }
        (void)poll(nullptr, 0, kPause_ms);
    }
    return refuse(EFAULT, "%s %s has ended, but its service does not run", script, action);
}

/// Splits "SCRIPT ACTION", as the scripts that are to be run are named.
u32 run_named(const char* name, json_object* action)
{
    Text<254> script;
    const std::string_view whole{name};
    script.append({whole.data(), std::min(whole.find(' '), whole.size())});
    return script.fits() ? run_script(script.c_str(), json_object_get_string(action)) : EFAULT;
}

bool run_if_needed(std::string_view script, std::string_view action, u32& code, void* context)
{
    auto& session = *static_cast<Session*>(context);
    CommandText name;
    name.append(script).append(" ").append(action);
    json_object* wanted = nullptr;
    code = 0;
    if (find_member(session.runs, name.c_str(), wanted) && wanted != nullptr) {
        const JsonRef held{json_object_get(wanted)};
        CommandText shown;
        shown.append(script).append(" ").append(json_object_get_string(wanted));
        (void)json_object_object_add(session.runs, name.c_str(), nullptr); // it is done
        const RecordingScope as_it_is{nullptr};
        session.recorder.note(shown.view(), {}, {});
        code = run_named(name.c_str(), held.get());
    }
    return true;
}

void tell_changed(Session& session, const Plan& plan)
{
    if (access(kUbus, X_OK) != 0) {
        return;
    }
    session.recorder.begin_step("event", "");
    json_object_object_foreach(json_object_object_get(plan.texts.get(), "packages"), package, item)
    {
        (void)item;
        CommandText event;
        write_event(package, event);
        const char* const arguments[] = {kUbus, "call", "service", "event", event.c_str(), nullptr};
        if (run_tool({.arguments = arguments}, kModule) != 0) {
            QSC_LOG(kLogWarning, "nobody was told that %s has changed\n", package);
        }
    }
}

} // namespace

JsonRef note_services(Session& session)
{
    JsonRef services{json_object_new_array()};
    Recorder& recorder = session.recorder;
    json_object_object_foreach(session.services.get(), path, request)
    {
        json_object* copy = nullptr;
        JsonRef entry{json_object_new_object()};
        recorder.commands.reset(json_object_new_array());
        recorder.begin_step("service", path);
        if (recorder.commands == nullptr || json_object_deep_copy(request, &copy, nullptr) != 0) {
            return {};
        }
        const JsonRef sent{copy};
        if (const u32 code = send(session, path, copy, QSC_OPER_SERVICE)) {
            (void)add_refused(session, path, nullptr, code);
        }
        if (put_text(entry.get(), "path", path) != 0 ||
            add_member(entry.get(), "commands", json_object_get(recorder.commands.get())) != 0 ||
            append_to(services.get(), entry.release()) != 0) {
            return {};
        }
    }
    return services;
}

u32 plan_services(Session& session, json_object* services, Plan& plan)
{
    u32 code = put_array(plan.report.get(), "skipped") != nullptr ? 0 : u32{ENOMEM};
    while (code == 0 && json_object_array_length(services) != 0) {
        const JsonRef next{take_next(session, services)};
        code = plan_service(session, next.get(), plan);
    }
    return code != 0 ? code : plan_events(session, plan);
}

u32 run_services(Session& session, const Plan& plan)
{
    JsonRef runs{nullptr};
    json_object* copy = nullptr;
    if (json_object_deep_copy(plan.runs.get(), &copy, nullptr) != 0) {
        return ENOMEM;
    }
    runs.reset(copy);
    Recorder& recorder = session.recorder;
    session.runs = copy;
    recorder.is_plan = false;
    recorder.keeps_files = false;
    recorder.switches = plan.switches;
    recorder.decide = run_if_needed;
    const RecordingScope scope{&recorder};
    u32 code = 0;
    for (std::size_t i = 0; i < json_object_array_length(plan.order.get()) && code == 0; ++i) {
        const char* const path = json_object_get_string(json_object_array_get_idx(plan.order.get(), i));
        json_object* request = nullptr;
        recorder.begin_step("service", path);
        code = json_object_deep_copy(json_object_object_get(session.services.get(), path), &request,
                                     nullptr) == 0
                   ? 0
                   : u32{ENOMEM};
        const JsonRef sent{request};
        code = code != 0 ? code : send(session, path, request, QSC_OPER_SERVICE);
        if (code != 0) {
            (void)add_refused(session, path, nullptr, code);
        }
    }
    if (code == 0) {
        tell_changed(session, plan);
    }
    recorder.decide = nullptr;
    session.runs = nullptr;
    return code;
}

u32 run_scripts(json_object* runs)
{
    const RecordingScope as_it_is{nullptr};
    u32 first = 0;
    json_object_object_foreach(runs, name, action)
    {
        const u32 code = run_named(name, action);
        first = first != 0 ? first : code;
    }
    return first;
}

} // namespace qsc::apply
