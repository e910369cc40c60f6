// SPDX-License-Identifier: Apache-2.0
#include "uci/Staging.h"

#include <algorithm>
#include <cerrno>
#include <new>

#include <unistd.h>

#include "uci/Change.h"
#include "uci/ConfigFile.h"
#include "uci/View.h"

namespace qrnuci
{

namespace
{

constinit thread_local PackageChange* t_change = nullptr;

/// Locks a package's files for a change, and reads the package as it is then.
u32 begin(std::string_view name, PackageChange& change)
{
    renew_view();
    if (!change.name.assign(name)) {
        return EFAULT;
    }
    PackageFiles& files = change.files;
    if (const u32 code = lock_files(name, Access::kRead, Access::kCreate, files)) {
        return code;
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

/// Writes lines to the staging file, in a form that is read whole or not at all.
u32 write_lines(PackageChange& change, const Growing& lines)
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
    if (const u32 code = change.files.staging.append(state.sound, group.view())) {
        return code;
    }
    const std::size_t size = state.sound + group.view().size();
    if (is_long_delta(state.sound) && size > 2 * (state.needed + lines.view().size())) {
        compact(change, size);
    }
    return 0;
}

/// Makes lines part of the thread's change, whose reads see them from now on.
u32 collect_lines(PackageChange& change, const Growing& lines)
{
    const std::string_view text = lines.view();
    char* const copy = change.package.arena().make_text(text.size());
    if (lines.failed() || copy == nullptr || change.lines.append(text).failed()) {
        return ENOMEM;
    }
    std::copy(text.begin(), text.end(), copy);
    DeltaState state;
    return apply_delta(copy, text.size(), change.name.view(), change.package, state);
}

} // namespace

const Package* changed_package(std::string_view name)
{
    return t_change != nullptr && t_change->name.view() == name ? &t_change->package : nullptr;
}

u32 begin_change(std::string_view name)
{
    if (t_change != nullptr) {
        return EFAULT;
    }
    void* const place = std::malloc(sizeof(PackageChange));
    if (place == nullptr) {
        return ENOMEM;
    }
    t_change = new (place) PackageChange;
    const u32 code = begin(name, *t_change);
    if (code != 0) {
        (void)end_change(false);
    }
    return code;
}

u32 end_change(bool is_kept)
{
    if (t_change == nullptr) {
        return EFAULT;
    }
    const u32 code = is_kept ? write_lines(*t_change, t_change->lines) : 0;
    t_change->~PackageChange();
    std::free(t_change);
    t_change = nullptr;
    return code;
}

u32 Staging::open(std::string_view name)
{
    if (changed_package(name) != nullptr) {
        change_ = t_change;
        return 0;
    }
    return begin(name, own_);
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
    return change_ == &own_ ? write_lines(own_, lines_) : collect_lines(*change_, lines_);
}

} // namespace qrnuci
