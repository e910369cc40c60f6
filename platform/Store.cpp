// SPDX-License-Identifier: Apache-2.0
// The store: locks, staging, commits and cache over the files of the packages.
//
// Locks are taken in one order, the package's file before its staging file, so nobody waits in a circle. A
// reader holds both shared, so that it never sees a commit half done; staging holds the staging file alone
// to itself, a commit both.
#include "platform/Store.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <syslog.h>

#include "platform/Cache.h"
#include "platform/ConfigFile.h"
#include "platform/Delta.h"

namespace qrnuci::store
{

namespace
{

/// An index costs as much as this many searches without one.
constexpr u32 kReadsBeforeIndex = 16;

/// A package's files while they are locked.
struct Files {
    Path config_path;
    Path delta_path;
    LockedFile config;
    LockedFile delta; ///< closed: nothing is staged
    DeltaState state;
};

u32 lock(std::string_view name, Access config_access, Access delta_access, Files& files,
         Snapshot* known_delta = nullptr)
{
    files.config_path = config_path(name);
    files.delta_path = delta_path(name);
    if (!files.config_path.fits() || !files.delta_path.fits()) {
        return EFAULT;
    }
    if (const u32 code = files.config.open(files.config_path.c_str(), config_access)) {
        return code == ENOENT ? EFAULT : code;
    }
    if (known_delta != nullptr && !known_delta->is_there() &&
        known_delta->is_current(files.delta_path.c_str())) {
        return 0;
    }
    const u32 code = files.delta.open(files.delta_path.c_str(), delta_access);
    return code == ENOENT ? 0 : code;
}

/// Reads a package with its staged changes from its locked files. Both texts are hashed for the cache before
/// they are cut up, if a cached package is to be made of them.
u32 load(std::string_view name, Files& files, Package& package, CachedPackage* cached)
{
    const ino_t inode = files.config.status().st_ino;
    char* text = nullptr;
    std::size_t size = 0;
    if (const u32 code = files.config.read(files.config_path.c_str(), package.arena(), text, size)) {
        return code;
    }
    char* staged = nullptr;
    std::size_t staged_size = 0;
    if (files.delta.is_open()) {
        if (const u32 code =
                files.delta.read(files.delta_path.c_str(), package.arena(), staged, staged_size)) {
            return code;
        }
    }
    if (cached != nullptr) {
        cached->config.take(files.config, {text, size});
        cached->delta.take(files.delta, {staged, staged_size});
    }
    if (const u32 code = load_config(name, text, size, package)) {
        return code;
    }
    return apply_delta(staged, staged_size, name, inode, package, files.state);
}

/// Reads a package from its files, for the first time or again.
u32 reload(std::string_view name, CachedPackage& cached)
{
    Files files;
    if (const u32 code = lock(name, Access::kRead, Access::kRead, files, &cached.delta)) {
        return code;
    }
    cached.package.clear();
    cached.reads = 0;
    return load(name, files, cached.package, &cached);
}

/// The package as of now, from the cache or from its files.
u32 current(CacheLock& cache, std::string_view name, const Package*& package)
{
    CachedPackage* const cached = cache.find(name);
    if (cached != nullptr && cached->is_current()) {
        if (++cached->reads == kReadsBeforeIndex) {
            cached->package.build_index();
        }
        package = &cached->package;
        return 0;
    }
    OwnedPackage outdated = cached != nullptr ? cache.take_out(*cached) : make_package(name);
    if (outdated == nullptr) {
        return ENOMEM;
    }
    // Whoever has locked this package's files keeps nobody from reading others.
    if (const u32 code = cache.release_for([&] { return reload(name, *outdated); })) {
        return code;
    }
    package = &cache.put_in(std::move(outdated)).package;
    return 0;
}

/// What a key leads to; valid while the cache is held.
struct Found {
    const Section* section = nullptr;
    const Option* option = nullptr; ///< null: the section has none of that name
};

u32 find(CacheLock& cache, const Key& key, Found& found)
{
    const Package* package = nullptr;
    if (const u32 code = current(cache, key.package, package)) {
        return code;
    }
    found.section = package->find(key.section);
    if (found.section == nullptr) {
        return EFAULT;
    }
    found.option = package->find_option(*found.section, key.option);
    return 0;
}

/// Locks a package's staging file for a change, and reads the package as it is then.
u32 lock_to_stage(std::string_view name, Files& files, Package& package)
{
    // Not before the package is known to exist, or every misspelt name would leave a staging file.
    struct stat status = {};
    if (stat(config_path(name).c_str(), &status) != 0) {
        return EFAULT;
    }
    if (const u32 code = ensure_staging_folder()) {
        return code;
    }
    if (const u32 code = lock(name, Access::kRead, Access::kCreate, files)) {
        return code;
    }
    if (const u32 code = load(name, files, package, nullptr)) {
        return code;
    }
    // A commit was killed before it could empty the file; whoever may write there does it now.
    if (files.state.is_committed && !files.state.has_changes) {
        files.state = {};
        return clear_delta(files.delta, files.delta_path.c_str());
    }
    return 0;
}

/// Copies a text with its end; it is never cut.
u32 copy_out(std::string_view text, std::span<char> buffer)
{
    if (text.size() >= buffer.size()) {
        return EFAULT;
    }
    std::copy(text.begin(), text.end(), buffer.begin());
    buffer[text.size()] = '\0';
    return 0;
}

/// Copies all items with blanks between them; nothing is written unless everything fits.
u32 join_out(const Option& option, std::span<char> buffer)
{
    std::size_t length = 0; // each item with the blank or the end behind it
    for (const Item& item : option.items) {
        length += item.value.size() + 1;
    }
    if (length == 0 || length > buffer.size()) {
        return EFAULT;
    }
    char* out = buffer.data();
    for (const Item& item : option.items) {
        out = std::copy(item.value.begin(), item.value.end(), out);
        *out++ = ' ';
    }
    out[-1] = '\0';
    return 0;
}

/// Text of any length that is put together piece by piece.
class Growing
{
  public:
    Growing() = default;
    Growing(const Growing&) = delete;
    Growing& operator=(const Growing&) = delete;
    ~Growing() { std::free(text_); }

    Growing& append(std::string_view text)
    {
        if (length_ + text.size() > room_) {
            const std::size_t room = std::max<std::size_t>(256, 2 * (length_ + text.size()));
            auto* const grown = static_cast<char*>(std::realloc(text_, room));
            if (grown == nullptr) {
                failed_ = true;
                return *this;
            }
            text_ = grown;
            room_ = room;
        }
        std::copy(text.begin(), text.end(), text_ + length_);
        length_ += text.size();
        return *this;
    }

    [[nodiscard]] bool failed() const { return failed_; }
    [[nodiscard]] std::string_view view() const { return {text_, length_}; }

  private:
    char* text_ = nullptr;
    std::size_t length_ = 0;
    std::size_t room_ = 0;
    bool failed_ = false;
};

/// Adds one line of the staging file.
void append_change(Growing& lines, std::string_view mark, const Key& key, const Section& section,
                   const std::string_view* value)
{
    lines.append(mark).append(key.package).append(".").append(section.name).append(".").append(key.option);
    if (value != nullptr) {
        lines.append("='");
        for (const char& character : *value) {
            lines.append(character == '\'' ? std::string_view{"'\\''"} : std::string_view{&character, 1});
        }
        lines.append("'");
    }
    lines.append("\n");
}

u32 stage(const Files& files, const Growing& lines)
{
    return lines.failed() ? ENOMEM
                          : append_delta(files.delta, files.delta_path.c_str(), files.state, lines.view());
}

/// Loads the package of an option that is to change, and finds its section.
u32 load_section(const Key& key, Files& files, Package& package, const Section*& section)
{
    if (const u32 code = lock_to_stage(key.package, files, package)) {
        return code;
    }
    section = package.find(key.section);
    if (section != nullptr) {
        return 0;
    }
    syslog(LOG_ERR, "%.*s: no such section for option %.*s\n", static_cast<int>(key.package.size()),
           key.package.data(), static_cast<int>(key.option.size()), key.option.data());
    return EFAULT;
}

} // namespace

u32 read(const Key& key, std::span<char> buffer)
{
    CacheLock cache;
    Found found;
    if (const u32 code = find(cache, key, found)) {
        return code;
    }
    if (key.option.empty()) {
        return copy_out(found.section->type, buffer);
    }
    return found.option != nullptr ? join_out(*found.option, buffer) : EFAULT;
}

u32 read_item(const Key& key, u32 index, std::span<char> buffer)
{
    CacheLock cache;
    Found found;
    if (const u32 code = find(cache, key, found)) {
        return code;
    }
    if (found.option == nullptr) {
        return EFAULT;
    }
    for (const Item& item : found.option->items) {
        if (index-- == 0) {
            return copy_out(item.value, buffer);
        }
    }
    return EFAULT;
}

u32 write(const Key& key, std::string_view value)
{
    Files files;
    Package package;
    const Section* section = nullptr;
    if (const u32 code = load_section(key, files, package, section)) {
        return code;
    }
    const Option* const option = package.find_option(*section, key.option);
    const bool is_unchanged =
        option == nullptr ? value.empty() : !option->is_list && (*option->items.begin()).value == value;
    if (is_unchanged) {
        return 0;
    }
    Growing lines;
    append_change(lines, value.empty() ? "-" : "", key, *section, value.empty() ? nullptr : &value);
    return stage(files, lines);
}

u32 write_item(const Key& key, u32 index, std::string_view value)
{
    Files files;
    Package package;
    const Section* section = nullptr;
    if (const u32 code = load_section(key, files, package, section)) {
        return code;
    }
    const Option* const option = package.find_option(*section, key.option);

    // The format has no change of one item, so the list is written anew: as one group, whole or not at all.
    Growing changes;
    u32 position = 0;
    u32 empty_items = 0; // held back: they count only when something stands behind them
    const auto put = [&](std::string_view item) {
        if (item.empty()) {
            ++empty_items;
            return;
        }
        const std::string_view nothing;
        for (; empty_items > 0; --empty_items) {
            append_change(changes, "|", key, *section, &nothing);
        }
        append_change(changes, "|", key, *section, &item);
    };
    if (option != nullptr) {
        append_change(changes, "-", key, *section, nullptr);
        for (const Item& item : option->items) {
            put(position++ == index ? value : item.value);
        }
    }
    for (; position <= index; ++position) {
        put(position == index ? value : std::string_view{});
    }
    if (changes.view().empty()) {
        return changes.failed() ? ENOMEM : 0;
    }
    Growing lines;
    lines.append(group_note(key.package, files.state, changes.view().size()).view()).append(changes.view());
    return changes.failed() ? ENOMEM : stage(files, lines);
}

u32 commit(std::string_view name)
{
    Files files;
    Package package;
    if (const u32 code = lock(name, Access::kChange, Access::kChange, files)) {
        return code;
    }
    if (const u32 code = load(name, files, package, nullptr)) {
        return code;
    }
    if (!files.delta.is_open() || !(files.state.has_changes || files.state.is_committed)) {
        return 0;
    }
    const char* const delta = files.delta_path.c_str();
    if (files.state.has_changes) {
        Replacement replacement;
        if (const u32 code = replacement.write(name, files.config.status(), package)) {
            return code;
        }
        // From here on a kill leaves either the old file with everything staged, or the new one with a note
        // in the staging file that it is all in there.
        if (const u32 code = mark_committed(files.delta, delta, name, files.state, replacement.inode())) {
            return code;
        }
        if (const u32 code = replacement.take_place()) {
            (void)append_delta(files.delta, delta, files.state, ""); // takes the note back
            return code;
        }
    }
    // The change is made; a staging file that could not be emptied is skipped up to its note.
    (void)clear_delta(files.delta, delta);
    return 0;
}

void release()
{
    CacheLock{}.clear();
}

} // namespace qrnuci::store
