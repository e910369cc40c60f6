// SPDX-License-Identifier: Apache-2.0
// "SysUpg": firmware, settings and restarts. Whatever could leave a router that does not start any more is
// looked at before anything happens, and one action at a time.
#include <cerrno>
#include <cstdlib>

#include <sys/stat.h>
#include <unistd.h>

#include "core/Detached.h"
#include "core/Objects.h"
#include "core/Refusal.h"
#include "core/Request.h"
#include "core/RowSource.h"
#include "core/RowValue.h"
#include "core/RunTool.h"
#include "core/Tables.h"
#include "handlers/system/PrivateCopy.h"
#include "include/qsc_handlers.h"

using namespace qsc;
using namespace qsc::system;

namespace
{

QSC_MODULE("QscSysUpg");

constexpr const char* kLock = "/tmp/qrn_sysupg.lock";
constexpr u32 kAnswerFirst_s = 2; ///< until what ends the connection begins

/// One request: the "Action" object is the call's value.
struct Action {
    const Call& call;
    json_object* request;
    DetachedLock& lock;
};

/// Takes the text of a member beside "Action". False: there is none.
bool take_member(const Action& action, const char* name, std::string_view& text)
{
    json_object* member = nullptr;
    return find_member(action.request, name, member) && is_object(member) && take_text(member, text) == 0;
}

u32 take_file_name(const Action& action, std::string_view& name)
{
    return take_member(action, "FileName", name) ? 0 : refuse(EINVAL, "FileName is missing");
}

u32 answer(const Action& action, const char* message)
{
    return answer_text(action.call.value, message, "Message");
}

/// What happens is on record before it does.
void record(const Action& action, const char* what)
{
    QSC_EVENT(action.call, "%s by %s", what, commander(action.call));
    sync();
}

u32 check_image(const char* path)
{
    constexpr u32 kDeadline = 60'000;
    const char* const arguments[] = {"sysupgrade", "-T", path, nullptr};
    const u32 code = run_tool({.arguments = arguments, .deadline = kDeadline}, kModule);
    return code == 0 ? 0 : refuse(EFAULT, "it is no image for this device");
}

/// Copies the file that the request names, so that no one changes it after it was looked at.
u32 copy_named(const Action& action, PrivateCopy& copy)
{
    std::string_view name;
    const u32 code = take_file_name(action, name);
    return code != 0 ? code : copy.take(name);
}

u32 start(const Action& action, const char* const* arguments, u32 delay, bool may_be_ended)
{
    return action.lock.start({.arguments = arguments, .delay = delay, .may_be_ended = may_be_ended}, kModule);
}

u32 check(const Action& action)
{
    PrivateCopy copy;
    u32 code = copy_named(action, copy);
    code = code != 0 ? code : check_image(copy.path());
    return code != 0 ? code : answer(action, "the image is right for this device");
}

u32 upgrade(const Action& action)
{
    PrivateCopy copy;
    std::string_view keeps = "1";
    (void)take_member(action, "KeepSettings", keeps);
    const bool forgets = keeps == "0" || keeps == "false";
    if (!forgets && keeps != "1" && keeps != "true") {
        return refuse(EFAULT, "KeepSettings is neither 0 nor 1");
    }
    u32 code = copy_named(action, copy);
    code = code != 0 ? code : check_image(copy.path());
    if (code != 0) {
        return code;
    }
    record(action, forgets ? "upgrade without settings" : "upgrade");
    const char* const arguments[] = {"sysupgrade", forgets ? "-n" : copy.path(),
                                     forgets ? copy.path() : nullptr, nullptr};
    code = start(action, arguments, kAnswerFirst_s, false);
    if (code != 0) {
        return code;
    }
    copy.keep();
    return answer(action, "the upgrade begins");
}

u32 backup(const Action& action)
{
    std::string_view name;
    PrivateCopy copy;
    u32 code = take_file_name(action, name);
    code = code != 0 ? code : copy.check_new(name);
    code = code != 0 ? code : copy.make_folder();
    if (code != 0) {
        return code;
    }
    record(action, "backup");
    const char* const arguments[] = {"sysupgrade", "-b", copy.path(), nullptr};
    if (run_tool({.arguments = arguments, .deadline = 0}, kModule) != 0) {
        return refuse(EFAULT, "the settings could not be saved");
    }
    code = copy.publish(name);
    return code != 0 ? code : answer(action, "the settings are saved");
}

/// Takes the next word off a line, and the blanks after it.
void skip_word(std::string_view& line)
{
    line.remove_prefix(std::min(line.find(' '), line.size()));
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
}

bool is_within(std::string_view path)
{
    if (path.empty() || path.front() == '/') {
        return false;
    }
    while (!path.empty()) {
        const std::string_view part = path.substr(0, path.find('/'));
        if (part == "..") {
            return false;
        }
        path.remove_prefix(std::min(part.size() + 1, path.size()));
    }
    return true;
}

/// Judges a line such as "-rw------- 0/0 12 2026-01-01 10:00:00 etc/name". Only files, folders and links that
/// stay within are restored; a name that holds a line feed makes a line that is none.
bool is_right_entry(std::string_view line)
{
    constexpr std::string_view kArrow = " -> ";
    constexpr u32 kColumns = 5;
    if (line.find_first_of("-dl") != 0) {
        return false;
    }
    for (u32 i = 0; i < kColumns; ++i) {
        skip_word(line);
    }
    const std::size_t arrow = line.find(kArrow);
    return is_within(line.substr(0, arrow)) &&
           (arrow == std::string_view::npos || is_within(line.substr(arrow + kArrow.size())));
}

/// The tool unpacks over everything and looks at nothing.
u32 check_archive(const char* path)
{
    constexpr u32 kDeadline = 60'000;
    const char* const arguments[] = {"tar", "-tvzf", path, nullptr};
    FileText list;
    if (run_tool({.arguments = arguments, .deadline = kDeadline, .output = &list}, kModule) != 0 ||
        list.view().empty()) {
        return refuse(EFAULT, "it is no archive of settings");
    }
    std::string_view rest = list.view();
    while (!rest.empty()) {
        const std::string_view line = first_line(rest);
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
        if (!is_right_entry(line)) {
            return refuse(EFAULT, "the archive holds what does not belong into one");
        }
    }
    return 0;
}

u32 restore(const Action& action)
{
    PrivateCopy copy;
    u32 code = copy_named(action, copy);
    code = code != 0 ? code : check_archive(copy.path());
    if (code != 0) {
        return code;
    }
    record(action, "restore");
    const char* const arguments[] = {"sysupgrade", "-r", copy.path(), nullptr};
    code = run_tool({.arguments = arguments, .deadline = 0}, kModule);
    sync();
    return code != 0 ? refuse(EFAULT, "the settings could not be restored")
                     : answer(action, "the settings are restored; they hold from the next reboot on");
}

/// Whether what was changed since the firmware is kept apart from it, so that it can be erased.
bool has_overlay()
{
    FileText mounts;
    return read_safe_file("/proc/self/mounts", mounts) == 0 &&
           mounts.view().find(" /overlay ") != std::string_view::npos;
}

u32 factory_reset(const Action& action)
{
    if (!has_overlay()) {
        return refuse(EFAULT, "this device has no overlay to erase");
    }
    record(action, "factory reset");
    const char* const arguments[] = {"sh", "-c", "firstboot -y && reboot", nullptr};
    const u32 code = start(action, arguments, kAnswerFirst_s, false);
    return code != 0 ? code : answer(action, "the factory reset begins");
}

/// A second one takes the place of one that still waits.
u32 reboot(const Action& action)
{
    constexpr u32 kLongest_s = 3600;
    std::string_view text = "0";
    u32 delay = 0;
    (void)take_member(action, "Delay", text);
    if (!parse_whole(text, delay) || delay > kLongest_s) {
        return refuse(EFAULT, "Delay is not 0 to %u", kLongest_s);
    }
    if (!action.lock.is_held() && !action.lock.take_over()) {
        return refuse(EFAULT, "another action is under way");
    }
    record(action, "reboot");
    const char* const arguments[] = {"reboot", nullptr};
    const u32 code = start(action, arguments, std::max(delay, kAnswerFirst_s), true);
    return code != 0 ? code : answer(action, "the reboot comes");
}

/// Serves an action with what all of them have in common.
template <u32 (*kRun)(const Action&)>
u32 act(const char* name, json_object* value, u32 oper, u32 argument, i64, u64 param)
{
    auto* const request = reinterpret_cast<json_object*>(static_cast<std::uintptr_t>(param));
    if (!is_object(value) || !is_object(request)) {
        return EINVAL;
    }
    const Call call{kSource, name, __LINE__, name, value, oper, argument, param};
    if ((oper & QSC_OPER_GET) != 0) {
        return finish(value, refuse(EFAULT, "an action cannot be read"));
    }
    DetachedLock lock{kLock};
    // Only a reboot may take the place of another action, and only of one that waits.
    if (!lock.is_held() && kRun != reboot) {
        return finish(value, refuse(EFAULT, "another action is under way"));
    }
    return finish(value, kRun({call, request, lock}));
}

constexpr Row action(RowName name, const char* members, Marks marks = 0)
{
    Row row{.name = name};
    row.kind = Kind::kAction;
    row.access = Access::kWrite;
    row.limits = members;
    row.marks = marks;
    return row;
}

constexpr Row kRows[] = {
    action("Check", "FileName"),
    action("Upgrade", "FileName|KeepSettings", kFinal),
    action("Backup", "FileName"),
    action("Restore", "FileName", kFinal),
    action("FactoryReset", nullptr, kFinal),
    action("Reboot", "Delay", kFinal),
};

} // namespace

// What tools show; the table has the actions themselves.
QSC_DEFINE_OBJECT(kSysUpg, .path = "SysUpg", .rows = qsc::kPacked<qsc::PackedRow, kRows>)

Qsc_ParamEntry g_QscSysUpgCmd[] = {{0, "Check", act<check>, 0, 0},
                                   {1, "Upgrade", act<upgrade>, 0, 0},
                                   {2, "Backup", act<backup>, 0, 0},
                                   {3, "Restore", act<restore>, 0, 0},
                                   {4, "FactoryReset", act<factory_reset>, 0, 0},
                                   {5, "Reboot", act<reboot>, 0, 0},
                                   qsc::kTableEnd};
