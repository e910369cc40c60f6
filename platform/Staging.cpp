// SPDX-License-Identifier: Apache-2.0
#include "platform/Staging.h"

#include <algorithm>
#include <cerrno>
#include <new>

#include "platform/ConfigFile.h"
#include "platform/View.h"

namespace qrnuci
{

namespace
{

constinit thread_local PackageChange* t_change = nullptr;

/// Locks a package's files for a change, and reads the package as it is then.
u32 begin(std::string_view name, PackageChange& change)
{
    renew_view();
    // Not before the package is known to exist, or every misspelt name would leave a staging file.
    struct stat status = {};
    if (!change.name.assign(name) || stat(config_path(name).c_str(), &status) != 0) {
        return EFAULT;
    }
    if (const u32 code = ensure_staging_folder()) {
        return code;
    }
    PackageFiles& files = change.files;
    if (const u32 code = lock_files(name, Access::kRead, Access::kCreate, files)) {
        return code;
    }
    if (const u32 code = load_package(name, files, change.package)) {
        return code;
    }
    // A commit was killed before it could empty the file; whoever may write there does it now.
    if (files.state.is_committed && !files.state.has_changes) {
        files.state = {};
        return clear_delta(files.delta, files.delta_path.c_str());
    }
    return 0;
}

/// Writes lines to the staging file, in a form that is read whole or not at all.
u32 write_lines(const PackageChange& change, const Growing& lines)
{
    if (lines.view().empty()) {
        return lines.failed() ? ENOMEM : 0;
    }
    const PackageFiles& files = change.files;
    Growing group;
    group.append(group_note(change.name.view(), files.state, lines.view().size()).view());
    group.append(lines.view());
    return lines.failed() || group.failed()
               ? ENOMEM
               : append_delta(files.delta, files.delta_path.c_str(), files.state, group.view());
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
    return apply_delta(copy, text.size(), change.name.view(), change.files.config.status().st_ino,
                       change.package, state);
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

void Staging::add_target(std::string_view mark, std::string_view section, std::string_view option)
{
    lines_.append(mark).append(change_->name.view()).append(".").append(section);
    if (!option.empty()) {
        lines_.append(".").append(option);
    }
}

void Staging::add(std::string_view mark, const Section& section, std::string_view option)
{
    add_target(mark, section.name, option);
    lines_.append("\n");
}

void Staging::add(std::string_view mark, std::string_view section, std::string_view option,
                  std::string_view value)
{
    add_target(mark, section, option);
    lines_.append("='");
    for (const char& character : value) {
        lines_.append(character == '\'' ? std::string_view{"'\\''"} : std::string_view{&character, 1});
    }
    lines_.append("'\n");
}

u32 Staging::finish()
{
    return change_ == &own_ ? write_lines(own_, lines_) : collect_lines(*change_, lines_);
}

} // namespace qrnuci
