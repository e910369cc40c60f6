// SPDX-License-Identifier: Apache-2.0
#include "apply/HeldCheckpoint.h"

#include <json-c/json.h>
#include <pthread.h>

#include "base/Parse.h"
#include "base/SafeFile.h"
#include "core/Refusal.h"
#include "log/Log.h"

namespace qsc::apply
{

namespace
{

constexpr const char* kModule = "QscWindow";
constexpr const char* kLock = "/etc/qsyscmdhal/checkpoint.lock";

constinit pthread_mutex_t g_mutex = PTHREAD_MUTEX_INITIALIZER;

} // namespace

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

json_object* checks_of(json_object* options)
{
    json_object* checks = nullptr;
    (void)find_member(options, "checks", checks);
    return json_object_is_type(checks, json_type_array) != 0 && json_object_array_length(checks) != 0
               ? checks
               : nullptr;
}

Held::Held() : lock_(g_mutex, kLock)
{
    code_ = lock_.code() != 0 ? lock_.code() : load_checkpoint(checkpoint_);
}

u32 Held::save() const
{
    const u32 code = save_checkpoint(root());
    if (code != 0) {
        QSC_LOG(kLogError, "the checkpoint cannot be kept, error %u\n", code);
        return refuse(code, "the checkpoint cannot be kept on the flash");
    }
    tell();
    return 0;
}

void Held::tell() const
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

} // namespace qsc::apply
