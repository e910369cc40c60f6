// SPDX-License-Identifier: Apache-2.0
#include "apply/Window.h"

#include <atomic>
#include <cerrno>

#include <json-c/json.h>
#include <sys/stat.h>
#include <unistd.h>

#include "apply/Apply.h"
#include "apply/Checks.h"
#include "apply/HeldCheckpoint.h"
#include "core/Refusal.h"

namespace qsc::apply
{

namespace
{

constexpr u32 kUsual = 300; ///< seconds, where only checks are to judge
constexpr u32 kMostRetries = 100;

/// Whether this process looks at the clock of what waits.
constinit std::atomic<bool> g_is_carrier{false};

u32 take_number(json_object* options, const char* name, u32 least, u32 most, u32& taken)
{
    json_object* value = nullptr;
    if (!find_member(options, name, value)) {
        return 0;
    }
    const i64 number = json_object_get_int64(value);
    if (json_object_is_type(value, json_type_int) == 0 || number < least || number > most) {
        return refuse(EINVAL, "%s: a number from %u to %u", name, least, most);
    }
    taken = static_cast<u32>(number);
    return 0;
}

/// The checks of the options, judged. @return 0 or EINVAL
u32 judge_checks(json_object* options)
{
    json_object* checks = nullptr;
    if (!find_member(options, "checks", checks)) {
        return 0;
    }
    const std::size_t count =
        json_object_is_type(checks, json_type_array) != 0 ? json_object_array_length(checks) : SIZE_MAX;
    if (count > kMostChecks) {
        return refuse(EINVAL, "checks: a list of at most %zu", kMostChecks);
    }
    for (std::size_t i = 0; i < count; ++i) {
        std::string_view check;
        json_object* const each = json_object_array_get_idx(checks, i);
        if (json_object_is_type(each, json_type_string) == 0 || text_of(each, check) != 0) {
            return refuse(EINVAL, "checks: a list of texts");
        }
        if (const u32 code = judge_check(check)) {
            return code;
        }
    }
    return 0;
}

/// Whether an apply is to be confirmed, by somebody within `seconds`, or by its checks alone: 0.
bool wants_window(json_object* options, u32& seconds)
{
    return take_number(options, "confirm", 1, kLongestWindow, seconds) == 0 &&
           (seconds != 0 || checks_of(options) != nullptr);
}

/// Keeps the old texts that an apply replaces, but those that are kept already.
u32 keep_texts(const Held& held, json_object* texts)
{
    const JsonRef packages{json_object_new_object()};
    const JsonRef files{json_object_new_object()};
    json_object* changed = nullptr;
    if (!find_member(texts, "packages", changed) || !is_object(changed)) {
        return EINVAL;
    }
    json_object_object_foreach(changed, package, item)
    {
        json_object_object_add(packages.get(), package,
                               json_object_get(json_object_object_get(item, "before")));
    }
    if (!find_member(texts, "files", changed) || !is_object(changed)) {
        return EINVAL;
    }
    json_object_object_foreach(changed, path, file)
    {
        struct stat status = {};
        json_object* const before = json_object_object_get(file, "before");
        json_object* kept = nullptr;
        if (before != nullptr && lstat(path, &status) == 0) {
            kept = json_object_new_object();
            json_object_object_add(kept, "text", json_object_get(before));
            json_object_object_add(kept, "mode", json_object_new_int64(status.st_mode & 07777));
            json_object_object_add(kept, "user", json_object_new_int64(status.st_uid));
            json_object_object_add(kept, "group", json_object_new_int64(status.st_gid));
        }
        json_object_object_add(files.get(), path, kept);
    }
    const u32 code = merge_checkpoint(held.root(), "packages", packages.get());
    return code != 0 ? code : merge_checkpoint(held.root(), "files", files.get());
}

u32 begin_window(Held& held, const Session& session, u32 seconds)
{
    json_object* const options = session.options.get();
    const IdText boot = boot_id();
    if (boot.view().empty()) {
        return refuse(EFAULT, "the kernel does not tell one start of the device from the next");
    }
    held.begin();
    held.put("boot", make_text(boot.view()));
    held.put("seconds", json_object_new_int64(seconds != 0 ? seconds : kUsual));
    held.put("user", json_object_new_int64(number_at(options, "user")));
    held.put("peer", make_text(text_at(options, "peer")));
    return 0;
}

} // namespace

void open_window(const Held& held)
{
    const u64 length = static_cast<u64>(number_at(held.root(), "seconds")) * 1000;
    held.put("state", make_text(kOpen));
    held.put("deadline", json_object_new_int64(static_cast<i64>(now_since_boot() + length)));
    (void)held.save();
}

void drop_window(const Held& held)
{
    const std::string_view before = text_at(held.root(), "before");
    if (before.empty()) {
        (void)remove_checkpoint();
        remove_window_note();
        return;
    }
    held.put("id", make_text(before));
    held.put("state", make_text(kOpen));
    (void)held.save();
}

void carry_windows()
{
    g_is_carrier = true;
}

bool wants_window(const Session& session)
{
    u32 seconds = 0;
    return wants_window(session.options.get(), seconds);
}

u32 may_begin(const Session& session)
{
    json_object* const options = session.options.get();
    u32 seconds = 0;
    u32 code = refuse_in_window(session.commander);
    code = code != 0 ? code : take_number(options, "confirm", 1, kLongestWindow, seconds);
    u32 retries = 0;
    code = code != 0 ? code : take_number(options, "retries", 0, kMostRetries, retries);
    code = code != 0 ? code : judge_checks(options);
    return code == 0 && wants_window(options, seconds) && !g_is_carrier
               ? refuse(
                     EFAULT,
                     "a change that is to be confirmed needs a running qscd, through whose socket it is sent")
               : code;
}

u32 keep_checkpoint(const Session& session, json_object* texts)
{
    u32 seconds = 0;
    json_object* const options = session.options.get();
    const bool is_wished = wants_window(options, seconds);
    if (!is_wished && !has_window()) {
        return 0;
    }
    Held held;
    u32 code = held.code();
    if (code == ENOENT) {
        code = begin_window(held, session, seconds);
    } else if (code == 0 && text_at(held.root(), "state") != kOpen) {
        code = refuse(EBUSY, "an unconfirmed change is being taken back");
    } else if (code == 0 && seconds != 0) {
        held.put("seconds", json_object_new_int64(seconds));
    }
    if (code != 0) {
        return code;
    }
    held.put("state", make_text(kApplying));
    held.put("before", make_text(text_at(held.root(), "id")));
    held.put("id", make_text(session.id.view()));
    held.put("commander", json_object_new_int64(session.commander));
    if (is_wished) {
        held.put("is_judged", json_object_new_boolean(seconds == 0 ? 1 : 0));
        held.put("checks", json_object_get(checks_of(options)));
        held.put("retries", json_object_new_int64(number_at(options, "retries")));
    }
    const JsonRef ids{json_object_new_object()};
    json_object_object_add(ids.get(), session.id.c_str(), nullptr);
    code = merge_checkpoint(held.root(), "ids", ids.get());
    code = code != 0 ? code : keep_texts(held, texts);
    code = code != 0 ? code : merge_checkpoint(held.root(), "scripts", session.back.get());
    return code != 0 ? code : held.save();
}

void end_checkpoint(const Session&, json_object* report)
{
    if (!has_window()) {
        return;
    }
    const Held held;
    if (held.code() == 0 && text_at(held.root(), "state") == kApplying) {
        (number_at(report, "result") == 0 ? open_window : drop_window)(held);
    }
}

bool has_window()
{
    return access(kCheckpoint, F_OK) == 0;
}

} // namespace qsc::apply
