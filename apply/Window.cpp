// SPDX-License-Identifier: Apache-2.0
#include "apply/Window.h"

#include <algorithm>
#include <atomic>
#include <cerrno>

#include <json-c/json.h>
#include <sys/stat.h>
#include <unistd.h>

#include "apply/Apply.h"
#include "apply/Checkpoint.h"
#include "apply/Checks.h"
#include "apply/Results.h"
#include "base/Parse.h"
#include "base/ProcessLock.h"
#include "base/SafeFile.h"
#include "core/Refusal.h"
#include "core/WindowNote.h"
#include "include/qsc_apply.h"
#include "include/qsc_journal.h"
#include "include/qsyscmdhal.h"
#include "log/Log.h"

namespace qsc::apply
{

namespace
{

constexpr const char* kModule = "QscWindow";
constexpr const char* kLock = "/etc/qsyscmdhal/checkpoint.lock";
constexpr u32 kLongest = 604'800; ///< seconds, a week
constexpr u32 kUsual = 300;       ///< seconds, where only checks are to judge
constexpr u32 kMostRetries = 100;

/// After so many beginnings that have not come to an end, going back is given up.
constexpr i64 kMostTries = 3;

constexpr const char* kApplying = "applying";
constexpr const char* kOpen = "open";
constexpr const char* kReturning = "returning";

/// Whether this process looks at the clock of what waits.
constinit std::atomic<bool> g_is_carrier{false};

constinit pthread_mutex_t g_mutex = PTHREAD_MUTEX_INITIALIZER;

std::string_view text_at(json_object* object, const char* name)
{
    json_object* value = nullptr;
    std::string_view text;
    return find_member(object, name, value) && text_of(value, text) == 0 ? text : std::string_view{};
}

i64 number_at(json_object* object, const char* name)
{
    json_object* value = nullptr;
    return find_member(object, name, value) ? json_object_get_int64(value) : 0;
}

json_object* new_text(std::string_view text)
{
    return json_object_new_string_len(text.data(), static_cast<int>(text.size()));
}

/// Which start of the device this is; empty: the kernel does not say.
IdText boot_id()
{
    FileText text;
    IdText id;
    if (read_safe_file("/proc/sys/kernel/random/boot_id", text) == 0) {
        std::string_view rest = text.view();
        (void)id.assign(take_word(rest));
    }
    return id;
}

bool is_of_this_boot(json_object* checkpoint)
{
    const IdText boot = boot_id();
    return !boot.view().empty() && text_at(checkpoint, "boot") == boot.view();
}

/// The checkpoint, held against other threads and processes.
class Held
{
  public:
    Held() : lock_(g_mutex, kLock)
    {
        code_ = lock_.code() != 0 ? lock_.code() : load_checkpoint(checkpoint_);
    }

    /// 0; ENOENT: there is none; or an errno.
    [[nodiscard]] u32 code() const { return code_; }
    [[nodiscard]] json_object* root() const { return checkpoint_.get(); }

    void begin() { checkpoint_.reset(json_object_new_object()); }

    /// Makes it last, and has others see it. @return 0 or an errno: the old one stays
    [[nodiscard]] u32 save() const
    {
        const u32 code = save_checkpoint(root());
        if (code != 0) {
            QSC_LOG(kLogError, "the checkpoint cannot be kept, error %u\n", code);
            return refuse(code, "the checkpoint cannot be kept on the flash");
        }
        tell();
        return 0;
    }

    /// Has others see it.
    void tell() const
    {
        WindowNote note;
        const std::string_view state = text_at(root(), "state");
        note.commander = static_cast<u32>(number_at(root(), "commander"));
        note.state = state == kApplying ? WindowNote::State::kApplying
                     : state == kOpen   ? WindowNote::State::kOpen
                                        : WindowNote::State::kReturning;
        note.deadline = static_cast<u64>(number_at(root(), "deadline"));
        if (!note.id.assign(text_at(root(), "id")) || write_window_note(note) != 0) {
            QSC_LOG(kLogWarning, "%s is not written, ignoring\n", kWindowNote);
        }
    }

    void put(const char* name, json_object* value) const { json_object_object_add(root(), name, value); }

  private:
    ProcessLock lock_;
    JsonRef checkpoint_;
    u32 code_;
};

/// Whether the checkpoint is that of an id, and may be judged now.
u32 judge_id(const Held& held, const char* id)
{
    if (held.code() == ENOENT) {
        return refuse(ENODATA, "nothing waits to be confirmed");
    }
    if (held.code() != 0) {
        return held.code();
    }
    const std::string_view own = text_at(held.root(), "id");
    if (!is_empty(id) && own != id) {
        return refuse(EINVAL, "the change that waits is %s", IdText{}.append(own).c_str());
    }
    const std::string_view state = text_at(held.root(), "state");
    if (state == kReturning) {
        return refuse(EBUSY, "it is being taken back");
    }
    return state == kApplying ? refuse(EBUSY, "it is still being applied") : 0;
}

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

json_object* checks_of(json_object* options)
{
    json_object* checks = nullptr;
    (void)find_member(options, "checks", checks);
    return json_object_is_type(checks, json_type_array) != 0 && json_object_array_length(checks) != 0
               ? checks
               : nullptr;
}

/// Ends an exported function: its sentence names what it was about.
u32 end_call(const char* what, u32 code)
{
    if (code != 0) {
        name_refusal(is_empty(what) ? "change" : what, nullptr, code);
    }
    return code;
}

/// How a window has ended, for those who ask later, and for the journal.
void note_end(json_object* checkpoint, const char* outcome, const char* why, u32 code)
{
    const JsonRef entry{json_object_new_object()};
    const auto commander = static_cast<i32>(number_at(checkpoint, "commander"));
    const bool is_confirmed = std::string_view{outcome} == "confirmed";
    const std::string_view texts[][2] = {{"kind", is_confirmed ? "confirm" : "going back"},
                                         {"undoes", text_at(checkpoint, "id")},
                                         {"commander", QSysCmdHal_GetCommanderName(commander)},
                                         {"peer", text_at(checkpoint, "peer")},
                                         {"error", why}};
    for (const auto& [name, text] : texts) {
        if (!text.empty()) {
            (void)put_text(entry.get(), name.data(), text);
        }
    }
    (void)add_member(entry.get(), "result", json_object_new_int64(code));
    (void)QSysCmdHal_JournalAdd(entry.get());
    json_object* ids = nullptr;
    if (find_member(checkpoint, "ids", ids) && is_object(ids)) {
        json_object_object_foreach(ids, id, unused)
        {
            (void)unused;
            note_outcome(id, outcome);
        }
    }
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
    return take_number(options, "confirm", 1, kLongest, seconds) == 0 &&
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

/// Has the services follow what was put back. `report` gets "services": of each "done", or why it is not.
void follow_back(json_object* scripts, const char* id, json_object* report)
{
    json_object* const told = json_object_new_object();
    if (add_member(report, "services", told) != 0) {
        return;
    }
    tell_accepted(id);
    json_object_object_foreach(scripts, name, action)
    {
        const JsonRef one{json_object_new_object()};
        json_object_object_add(one.get(), name, json_object_get(action));
        forget_refusal();
        const u32 code = run_scripts(one.get());
        (void)add_member(told, name, json_object_new_string(code == 0 ? "done" : refusal()));
    }
    forget_refusal();
}

u32 begin_window(Held& held, const Session& session, u32 seconds)
{
    json_object* const options = session.options.get();
    const IdText boot = boot_id();
    if (boot.view().empty()) {
        return refuse(EFAULT, "the kernel does not tell one start of the device from the next");
    }
    held.begin();
    held.put("boot", new_text(boot.view()));
    held.put("seconds", json_object_new_int64(seconds != 0 ? seconds : kUsual));
    held.put("user", json_object_new_int64(number_at(options, "user")));
    held.put("peer", new_text(text_at(options, "peer")));
    return 0;
}

void open_window(const Held& held)
{
    const u64 length = static_cast<u64>(number_at(held.root(), "seconds")) * 1000;
    held.put("state", new_text(kOpen));
    held.put("deadline", json_object_new_int64(static_cast<i64>(now_since_boot() + length)));
    (void)held.save();
}

/// The apply has come to nothing. A window that was open stays so, with the time that it had.
void drop_window(const Held& held)
{
    const std::string_view before = text_at(held.root(), "before");
    if (before.empty()) {
        (void)remove_checkpoint();
        remove_window_note();
        return;
    }
    held.put("id", new_text(before));
    held.put("state", new_text(kOpen));
    (void)held.save();
}

} // namespace

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
    code = code != 0 ? code : take_number(options, "confirm", 1, kLongest, seconds);
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
    held.put("state", new_text(kApplying));
    held.put("before", new_text(text_at(held.root(), "id")));
    held.put("id", new_text(session.id.view()));
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

using namespace qsc;
using namespace qsc::apply;

uint32_t QSysCmdHal_GetWindow(json_object** window)
{
    if (window == nullptr) {
        return EINVAL;
    }
    *window = nullptr;
    forget_refusal();
    JsonRef answer{json_object_new_object()};
    if (JsonRef last = last_outcome()) {
        (void)add_member(answer.get(), "last", last.release());
    }
    u32 code = ENODATA;
    if (has_window()) {
        const Held held;
        code = held.code() == ENOENT ? u32{ENODATA} : held.code();
        for (const char* name : {"id", "commander", "user", "peer", "state", "seconds", "deadline", "checks",
                                 "retries", "is_judged", "why"}) {
            json_object* value = nullptr;
            if (code == 0 && find_member(held.root(), name, value)) {
                (void)add_member(answer.get(), name, json_object_get(value));
            }
        }
        if (code == 0) {
            const u64 deadline = static_cast<u64>(number_at(held.root(), "deadline"));
            const bool is_open = text_at(held.root(), "state") == kOpen;
            (void)add_member(answer.get(), "left",
                             json_object_new_int64(is_open ? seconds_until(deadline) : 0));
            (void)add_member(answer.get(), "is_of_this_boot",
                             json_object_new_boolean(is_of_this_boot(held.root()) ? 1 : 0));
        }
    }
    *window = answer.release();
    return end_call(nullptr, code == ENODATA ? refuse(ENODATA, "nothing waits to be confirmed") : code);
}

uint32_t QSysCmdHal_ConfirmWindow(const char* id)
{
    forget_refusal();
    const Held held;
    u32 code = judge_id(held, id);
    code = code != 0 ? code : remove_checkpoint();
    if (code == 0) {
        remove_window_note();
        note_end(held.root(), "confirmed", "", 0);
    }
    return end_call(id, code);
}

uint32_t QSysCmdHal_ExtendWindow(const char* id, uint32_t seconds)
{
    forget_refusal();
    if (seconds == 0 || seconds > kLongest) {
        return end_call(id, refuse(EINVAL, "a number of seconds from 1 to %u", kLongest));
    }
    const Held held;
    u32 code = judge_id(held, id);
    if (code == 0) {
        held.put("seconds", json_object_new_int64(seconds));
        held.put("deadline", json_object_new_int64(static_cast<i64>(now_since_boot() + u64{seconds} * 1000)));
        code = held.save();
    }
    return end_call(id, code);
}

uint32_t QSysCmdHal_ResumeWindow(void)
{
    forget_refusal();
    g_is_carrier = true;
    if (!has_window()) {
        remove_window_note();
        return 0;
    }
    const Held held;
    if (held.code() != 0) {
        // What cannot be read cannot be put back either.
        const u32 code = held.code() == EFAULT ? set_checkpoint_aside() : 0;
        remove_window_note();
        return code != 0 ? code : held.code();
    }
    if (text_at(held.root(), "state") == kApplying && is_of_this_boot(held.root())) {
        // Its process was killed: before it had changed anything, or what it had begun has been finished
        // since.
        (is_as_kept(held.root()) ? drop_window : open_window)(held);
    } else {
        held.tell();
    }
    return 0;
}

uint32_t QSysCmdHal_RestoreCheckpoint(const char* why, uint32_t has_services, json_object** report)
{
    forget_refusal();
    JsonRef told{json_object_new_object()};
    JsonRef checkpoint;
    bool is_given_up = false;
    {
        const Held held;
        if (held.code() != 0) {
            return end_call(nullptr, held.code() == ENOENT ? refuse(ENODATA, "nothing waits to be confirmed")
                                                           : held.code());
        }
        const i64 tries = number_at(held.root(), "tries") + 1;
        is_given_up = tries > kMostTries;
        if (text_at(held.root(), "state") != kReturning) {
            held.put("state", new_text(kReturning));
            held.put("why", new_text(or_empty(why)));
        }
        held.put("tries", json_object_new_int64(tries));
        (void)held.save(); // what cannot be kept is done all the same
        checkpoint.reset(json_object_get(held.root()));
    }
    (void)add_member(told.get(), "id", new_text(text_at(checkpoint.get(), "id")));
    (void)add_member(told.get(), "why", new_text(text_at(checkpoint.get(), "why")));
    const u32 code = put_back(checkpoint.get(), told.get());
    json_object* scripts = nullptr;
    if (has_services != 0 && !is_given_up && find_member(checkpoint.get(), "scripts", scripts) &&
        is_object(scripts)) {
        follow_back(scripts, json_object_get_string(json_object_object_get(told.get(), "id")), told.get());
    }
    const char* const outcome = code == 0 ? "restored" : "failed";
    (void)add_member(told.get(), "outcome", new_text(outcome));
    {
        const Held held;
        const u32 ended = code == 0 ? remove_checkpoint() : set_checkpoint_aside();
        if (ended != 0) {
            QSC_LOG(kLogError, "the checkpoint stays, error %u\n", ended);
        }
    }
    remove_window_note();
    note_end(checkpoint.get(), outcome, json_object_get_string(json_object_object_get(told.get(), "why")),
             code);
    if (report != nullptr) {
        *report = told.release();
    }
    return code == 0
               ? 0
               : end_call(nullptr, refuse(code, "not everything could be put back; what is missing is in %s",
                                          kFailedCheckpoint));
}

uint32_t QSysCmdHal_TryChecks(char* failed, uint32_t size)
{
    forget_refusal();
    JsonRef checks;
    {
        const Held held;
        if (const u32 code = judge_id(held, nullptr)) {
            return end_call(nullptr, code);
        }
        checks.reset(json_object_get(checks_of(held.root())));
    }
    const std::size_t count = checks != nullptr ? json_object_array_length(checks.get()) : 0;
    for (std::size_t i = 0; i < count; ++i) {
        std::string_view check;
        (void)text_of(json_object_array_get_idx(checks.get(), i), check);
        if (const u32 code = run_check(check)) {
            if (failed != nullptr && size != 0) {
                failed[check.copy(failed, size - 1)] = '\0';
            }
            return end_call("check", code);
        }
    }
    return 0;
}
