// SPDX-License-Identifier: Apache-2.0
#include "uci/Staging.h"

#include <algorithm>
#include <cerrno>
#include <new>

#include <unistd.h>

#include "uci/Change.h"
#include "uci/ConfigFile.h"
#include "uci/Overlay.h"
#include "uci/View.h"

namespace qrnuci
{

constinit thread_local ThreadStaging t_staging{};

namespace
{

/// Locks a package's files for a change, and reads the package as it is then.
u32 begin(std::string_view name, PackageChange& change)
{
    renew_view();
    if (!change.name.assign(name)) {
        return EFAULT;
    }
    PackageFiles& files = change.files;
    if (const u32 code = lock_files(name, Access::kRead, Access::kCreate, files)) {
        return code == ENOENT ? EFAULT : code;
    }
    return load_package(name, files, change.package);
}

/// Writes the file anew without what later changes have superseded. If it cannot, the file is as good as it
/// was, and the next change tries again.
void compact(PackageChange& change, std::size_t size)
{
    Arena arena;
    Growing lines;
    char* const text = arena.make_text(size);
    StagingFile& file = change.files.staging;
    if (text != nullptr && pread(file.file().get(), text, size, 0) == static_cast<ssize_t>(size) &&
        compact_delta(text, size, change.name.view(), arena, lines) == 0) {
        (void)file.replace(lines.view());
    }
}

/// Appends lines to the staging file, in a form that is read whole or not at all.
u32 append_lines(PackageChange& change, const Growing& lines)
{
    if (lines.view().empty()) {
        return lines.failed() ? ENOMEM : 0;
    }
    const DeltaState& state = change.files.state;
    Growing group;
    group.append(group_note(change.name.view(), state, lines.view().size()).view());
    group.append(lines.view());
    if (lines.failed() || group.failed()) {
        return ENOMEM;
    }
    const u32 code = change.files.staging.append(state.sound, group.view());
    change.written = code == 0 ? group.view().size() : 0;
    return code;
}

/// Once everything is staged, a file that has grown too long is written anew.
void finish_lines(PackageChange& change)
{
    const DeltaState& state = change.files.state;
    const std::size_t size = state.sound + change.written;
    if (change.written != 0 && is_long_delta(state.sound) && size > 2 * (state.needed + change.written)) {
        compact(change, size);
    }
}

/// Makes lines part of the thread's change, whose reads see them from now on.
u32 collect_lines(PackageChange& change, const Growing& lines)
{
    const std::string_view text = lines.view();
    const std::size_t before = change.lines.view().size();
    char* const copy = change.package.arena().make_text(text.size());
    u32 code = lines.failed() || copy == nullptr || change.lines.append(text).failed() ? ENOMEM : 0;
    if (code == 0) {
        std::copy(text.begin(), text.end(), copy);
        DeltaState state;
        code = apply_delta(copy, text.size(), change.name.view(), change.package, state);
        change.is_spoilt = code != 0;
    }
    if (code != 0) {
        change.lines.shorten(before);
    }
    return code;
}

} // namespace

namespace
{

/// The thread's change of that package; null: there is none.
PackageChange* find_change(std::string_view name)
{
    PackageChange* change = t_staging.change;
    while (change != nullptr && change->name.view() != name) {
        change = change->before;
    }
    return change;
}

/// Forgets the last change that was begun.
void drop_change()
{
    PackageChange* const dropped = t_staging.change;
    t_staging.change = dropped->before;
    dropped->~PackageChange();
    std::free(dropped);
}

} // namespace

u32 find_own_package(std::string_view name, const Package*& package)
{
    PackageChange* change = find_change(name);
    if (t_staging.overlay != nullptr) {
        if (const u32 code = find_package(*t_staging.overlay, name, change)) {
            return code;
        }
    }
    package = change != nullptr ? &change->package : nullptr;
    return 0;
}

bool is_changing(std::string_view name)
{
    return t_staging.overlay != nullptr ? is_changing_in(*t_staging.overlay, name)
                                        : find_change(name) != nullptr;
}

u32 begin_change(std::string_view name)
{
    if (t_staging.overlay != nullptr) {
        return begin_change_of(*t_staging.overlay, name);
    }
    if (find_change(name) != nullptr) {
        return EFAULT;
    }
    void* const place = std::malloc(sizeof(PackageChange));
    if (place == nullptr) {
        return ENOMEM;
    }
    PackageChange* const before = t_staging.change;
    t_staging.change = new (place) PackageChange;
    t_staging.change->before = before;
    const u32 code = begin(name, *t_staging.change);
    if (code != 0) {
        drop_change();
    }
    return code;
}

u32 end_change(bool is_kept)
{
    if (t_staging.overlay != nullptr) {
        return end_changes_of(*t_staging.overlay, is_kept);
    }
    if (t_staging.change == nullptr) {
        return EFAULT;
    }
    u32 code = 0;
    for (PackageChange* each = t_staging.change; is_kept && code == 0 && each != nullptr;
         each = each->before) {
        code = append_lines(*each, each->lines);
    }
    while (t_staging.change != nullptr) {
        if (code == 0) {
            finish_lines(*t_staging.change);
        } else if (t_staging.change->written != 0) {
            t_staging.change->files.staging.take_back(t_staging.change->files.state.sound);
        }
        drop_change();
    }
    return code;
}

u32 Staging::open(std::string_view name)
{
    if (t_staging.overlay != nullptr) {
        return find_package(*t_staging.overlay, name, change_);
    }
    PackageChange* const begun = find_change(name);
    change_ = begun != nullptr ? begun : &own_;
    return begun != nullptr ? 0 : begin(name, own_);
}

u32 Staging::find(const Key& key, const Section*& section)
{
    section = package().find(key.section);
    if (section != nullptr) {
        return 0;
    }
    log_error("%.*s: no such section to change\n", static_cast<int>(key.package.size()), key.package.data());
    return EFAULT;
}

void Staging::add(std::string_view mark, const Section& section, std::string_view option)
{
    write_change(lines_, mark, change_->name.view(), section.name, option, nullptr);
}

void Staging::add(std::string_view mark, std::string_view section, std::string_view option,
                  std::string_view value)
{
    write_change(lines_, mark, change_->name.view(), section, option, &value);
}

u32 Staging::finish()
{
    if (change_ != &own_) {
        return collect_lines(*change_, lines_);
    }
    const u32 code = append_lines(own_, lines_);
    if (code == 0) {
        finish_lines(own_);
    }
    return code;
}

} // namespace qrnuci
