// SPDX-License-Identifier: Apache-2.0
#include "core/WindowNote.h"

#include <algorithm>
#include <cerrno>
#include <ctime>

#include <sys/stat.h>
#include <unistd.h>

#include "base/Parse.h"
#include "base/ReplaceFile.h"
#include "base/SafeFile.h"
#include "core/Refusal.h"
#include "include/qsyscmdhal.h"

namespace qsc
{

namespace
{

constexpr std::string_view kStates[] = {"applying", "open", "returning"};

} // namespace

bool is_own_file(const char* path)
{
    struct stat status = {};
    return lstat(path, &status) == 0 && (status.st_uid == 0 || status.st_uid == geteuid());
}

bool is_id(std::string_view text)
{
    constexpr std::size_t kLongest = 64;
    return !text.empty() && text.size() <= kLongest && std::ranges::all_of(text, [](char c) {
        return is_lower(c) || is_upper(c) || is_digit(c) || c == '_' || c == '.' || c == '-';
    });
}

u64 now_since_boot()
{
    timespec now{};
    (void)clock_gettime(CLOCK_BOOTTIME, &now);
    return static_cast<u64>(now.tv_sec) * 1000 + static_cast<u64>(now.tv_nsec) / 1'000'000;
}

u32 seconds_until(u64 deadline)
{
    const u64 now = now_since_boot();
    return deadline > now ? static_cast<u32>(std::min<u64>((deadline - now + 999) / 1000, UINT32_MAX)) : 0;
}

bool read_window_note(WindowNote& note)
{
    constexpr std::size_t kLongest = 256;
    FileText text;
    if (access(kWindowNote, F_OK) != 0 || !is_own_file(kWindowNote) ||
        read_safe_file(kWindowNote, text, kLongest) != 0) {
        return false;
    }
    std::string_view rest = text.view();
    const std::string_view id = take_word(rest);
    const auto* const state = std::ranges::find(kStates, take_word(rest));
    note.state = static_cast<WindowNote::State>(state - std::begin(kStates));
    return is_id(id) && note.id.assign(id) && state != std::end(kStates) &&
           parse_whole(take_word(rest), note.commander) && parse_whole(take_word(rest), note.deadline);
}

u32 write_window_note(const WindowNote& note)
{
    Text<254> text;
    text.append(note.id.view()).append(" ").append(kStates[static_cast<u8>(note.state)]).append(" ");
    text.append_number(note.commander).append(" ");
    text.append_number(static_cast<i64>(note.deadline)).append("\n");
    return replace_file(kWindowNote, text.view(), 0644);
}

void remove_window_note()
{
    (void)unlink(kWindowNote);
}

u32 refuse_in_window(u32 commander)
{
    WindowNote note;
    if (!read_window_note(note) || note.commander == commander) {
        return 0;
    }
    const char* const who = QSysCmdHal_GetCommanderName(static_cast<i32>(note.commander));
    const u32 left = seconds_until(note.deadline);
    if (note.state == WindowNote::State::kApplying) {
        return refuse(EBUSY, "a change of %s (%s) is being applied", who, note.id.c_str());
    }
    if (note.state == WindowNote::State::kReturning || left == 0) {
        return refuse(EBUSY, "an unconfirmed change of %s (%s) is being taken back", who, note.id.c_str());
    }
    return refuse(EBUSY, "an unconfirmed change of %s (%s) is open for %u s", who, note.id.c_str(), left);
}

} // namespace qsc
