// SPDX-License-Identifier: Apache-2.0
// The built-in store: reads and writes UCI's own files, for machines without libuci.
//
// Locks are taken in one order, the package's file before its staging file, so nobody waits in a circle. A
// reader holds both shared, so that it never sees a commit half done; staging holds the staging file alone
// to itself, a commit both.
#include "platform/Backend.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <syslog.h>

#include "platform/builtin/ConfigFile.h"
#include "platform/builtin/Delta.h"

namespace qrnuci::backend
{

namespace
{

/// A package with its staged changes, and the locks that keep it so.
struct Loaded {
    Path config_path;
    Path delta_path;
    LockedFile config;
    LockedFile delta; ///< closed: nothing is staged
    Package package;
    DeltaState state;
};

u32 load(std::string_view name, Access config_access, Access delta_access, Loaded& loaded)
{
    loaded.config_path = config_path(name);
    loaded.delta_path = delta_path(name);
    const char* const path = loaded.config_path.c_str();
    const char* const delta = loaded.delta_path.c_str();
    if (!loaded.config_path.fits() || !loaded.delta_path.fits()) {
        return EFAULT;
    }
    if (const u32 code = loaded.config.open(path, config_access)) {
        return code == ENOENT ? EFAULT : code;
    }
    if (const u32 code = loaded.delta.open(delta, delta_access); code != 0 && code != ENOENT) {
        return code;
    }
    if (const u32 code = load_config(loaded.config, path, loaded.package)) {
        return code;
    }
    if (!loaded.delta.is_open()) {
        return 0;
    }
    char* text = nullptr;
    std::size_t size = 0;
    if (const u32 code = loaded.delta.read(delta, loaded.package.arena(), text, size)) {
        return code;
    }
    if (const u32 code =
            apply_delta(text, size, name, loaded.config.status().st_ino, loaded.package, loaded.state)) {
        return code;
    }
    // A commit was killed before it could empty the file; whoever may write there does it now.
    if (delta_access != Access::kRead && loaded.state.is_committed && !loaded.state.has_changes) {
        loaded.state = {};
        return clear_delta(loaded.delta, delta);
    }
    return 0;
}

u32 load_to_read(std::string_view name, Loaded& loaded)
{
    return load(name, Access::kRead, Access::kRead, loaded);
}

u32 load_to_stage(std::string_view name, Loaded& loaded)
{
    // Not before the package is known to exist, or every misspelt name would leave a staging file.
    struct stat status = {};
    if (stat(config_path(name).c_str(), &status) != 0) {
        return EFAULT;
    }
    if (const u32 code = ensure_staging_folder()) {
        return code;
    }
    return load(name, Access::kRead, Access::kCreate, loaded);
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

u32 stage(const Loaded& loaded, const Growing& lines)
{
    return lines.failed() ? ENOMEM
                          : append_delta(loaded.delta, loaded.delta_path.c_str(), loaded.state, lines.view());
}

/// Loads the package of an option that is to change, and finds its section.
u32 load_section(const Key& key, Loaded& loaded, const Section*& section)
{
    if (const u32 code = load_to_stage(key.package, loaded)) {
        return code;
    }
    section = loaded.package.find(key.section);
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
    Loaded loaded;
    if (const u32 code = load_to_read(key.package, loaded)) {
        return code;
    }
    const Section* const section = loaded.package.find(key.section);
    if (section == nullptr) {
        return EFAULT;
    }
    if (key.option.empty()) {
        return copy_out(section->type, buffer);
    }
    const Option* const option = Package::find_option(*section, key.option);
    return option != nullptr ? join_out(*option, buffer) : EFAULT;
}

u32 read_item(const Key& key, u32 index, std::span<char> buffer)
{
    Loaded loaded;
    if (const u32 code = load_to_read(key.package, loaded)) {
        return code;
    }
    const Section* const section = loaded.package.find(key.section);
    const Option* const option = section != nullptr ? Package::find_option(*section, key.option) : nullptr;
    if (option == nullptr) {
        return EFAULT;
    }
    for (const Item& item : option->items) {
        if (index-- == 0) {
            return copy_out(item.value, buffer);
        }
    }
    return EFAULT;
}

u32 write(const Key& key, std::string_view value)
{
    Loaded loaded;
    const Section* section = nullptr;
    if (const u32 code = load_section(key, loaded, section)) {
        return code;
    }
    const Option* const option = Package::find_option(*section, key.option);
    const bool is_unchanged =
        option == nullptr ? value.empty() : !option->is_list && (*option->items.begin()).value == value;
    if (is_unchanged) {
        return 0;
    }
    Growing lines;
    append_change(lines, value.empty() ? "-" : "", key, *section, value.empty() ? nullptr : &value);
    return stage(loaded, lines);
}

u32 write_item(const Key& key, u32 index, std::string_view value)
{
    Loaded loaded;
    const Section* section = nullptr;
    if (const u32 code = load_section(key, loaded, section)) {
        return code;
    }
    const Option* const option = Package::find_option(*section, key.option);

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
    char group[32];
    const int length = std::snprintf(group, sizeof group, "#group %zu\n", changes.view().size());
    Growing lines;
    lines.append({group, static_cast<std::size_t>(length)}).append(changes.view());
    return changes.failed() ? ENOMEM : stage(loaded, lines);
}

u32 commit(std::string_view package)
{
    Loaded loaded;
    if (const u32 code = load(package, Access::kChange, Access::kChange, loaded)) {
        return code;
    }
    if (!loaded.delta.is_open() || !loaded.state.has_changes) {
        return 0;
    }
    const char* const delta = loaded.delta_path.c_str();
    Replacement replacement;
    if (const u32 code =
            replacement.write(loaded.config_path.c_str(), loaded.config.status(), loaded.package)) {
        return code;
    }
    // From here on a kill leaves either the old file with everything staged, or the new one with a note in
    // the staging file that it is all in there.
    if (const u32 code = mark_committed(loaded.delta, delta, loaded.state, replacement.inode())) {
        return code;
    }
    if (const u32 code = replacement.take_place()) {
        (void)append_delta(loaded.delta, delta, loaded.state, ""); // takes the note back
        return code;
    }
    // The change is made; a staging file that could not be emptied is skipped up to its note.
    (void)clear_delta(loaded.delta, delta);
    return 0;
}

void release() {}

} // namespace qrnuci::backend
