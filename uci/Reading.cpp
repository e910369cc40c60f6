// SPDX-License-Identifier: Apache-2.0
// Reading: from the thread's change, its view, the cache or the files, in this order.
#include "uci/Store.h"

#include <algorithm>
#include <cerrno>

#include "uci/CopyOut.h"
#include "uci/Overlay.h"
#include "uci/PackageFiles.h"
#include "uci/View.h"

namespace qrnuci::store
{

namespace
{

/// An index costs as much as this many searches without one.
constexpr u32 kReadsBeforeIndex = 16;

/// Answers with a package from memory.
const Package& use(CachedPackage& cached)
{
    if (++cached.reads == kReadsBeforeIndex) {
        cached.package.build_index();
    }
    return cached.package;
}

/// The package as this thread is to see it.
u32 current(CacheLock& cache, std::string_view name, const Package*& package)
{
    package = nullptr;
    if (has_own_packages()) {
        // A package of an overlay may have to be read.
        const u32 code = cache.release_for([&] { return find_own_package(name, package); });
        if (code != 0 || package != nullptr) {
            return code;
        }
    }
    if (const Seen* const seen = find_in_view(cache, name)) {
        package = seen->code == 0 ? &use(*seen->package) : nullptr;
        return seen->code;
    }
    CachedPackage* const cached = cache.find(name);
    if (cached != nullptr && cached->is_current()) {
        keep_in_view(cache, *cached, 0);
        package = &use(*cached);
        return 0;
    }
    OwnedPackage outdated = cached != nullptr ? cache.take_out(*cached) : nullptr;
    if (outdated == nullptr || outdated->views > 0) {
        outdated = make_package(name);
    }
    if (outdated == nullptr) {
        return ENOMEM;
    }
    // Whoever has locked this package's files keeps nobody from reading others.
    const u32 code = cache.release_for([&] {
        Patience patience = kReaderPatience;
        return read_package(*outdated, view_patience(patience));
    });
    if (code != ENOMEM) {
        keep_in_view(cache, *outdated, code);
    }
    if (code == 0) {
        package = &cache.put_in(std::move(outdated)).package;
    }
    return code;
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

/// Whether a section is one of those that a call is about.
bool is_of_type(const Section& section, std::string_view type)
{
    return type.empty() || section.type == type;
}

bool holds(const Package& package, const Section& section, std::string_view name, std::string_view value)
{
    const Option* const option = package.find_option(section, name);
    if (option == nullptr) {
        return value.empty();
    }
    for (const Item& item : option->items) {
        if (!value.empty() && item.value == value) {
            return true;
        }
    }
    return false;
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

u32 read_list(const Key& key, std::span<char> buffer, u32& count)
{
    CacheLock cache;
    Found found;
    if (const u32 code = find(cache, key, found)) {
        return code;
    }
    if (found.option == nullptr) {
        return EFAULT;
    }
    return copy_all_out(buffer, count, [&](auto take) {
        for (const Item& item : found.option->items) {
            take(item.value);
        }
    });
}

u32 count_sections(std::string_view name, std::string_view type, u32& count)
{
    CacheLock cache;
    const Package* package = nullptr;
    if (const u32 code = current(cache, name, package)) {
        return code;
    }
    count = 0;
    for (const Section& section : package->sections()) {
        count += is_of_type(section, type) ? 1 : 0;
    }
    return 0;
}

u32 list_sections(std::string_view name, std::string_view type, std::span<char> buffer, u32& count)
{
    CacheLock cache;
    const Package* package = nullptr;
    if (const u32 code = current(cache, name, package)) {
        return code;
    }
    return copy_all_out(buffer, count, [&](auto take) {
        for (const Section& section : package->sections()) {
            if (is_of_type(section, type)) {
                take(section.name);
            }
        }
    });
}

u32 find_section(std::string_view name, std::string_view type, std::string_view option,
                 std::string_view value, std::span<char> buffer)
{
    CacheLock cache;
    const Package* package = nullptr;
    if (const u32 code = current(cache, name, package)) {
        return code;
    }
    for (const Section& section : package->sections()) {
        if (is_of_type(section, type) && holds(*package, section, option, value)) {
            return copy_out(section.name, buffer);
        }
    }
    return EFAULT;
}

u32 read_section_name(const Key& key, std::span<char> buffer)
{
    CacheLock cache;
    Found found;
    const u32 code = find(cache, key, found);
    return code != 0 ? code : copy_out(found.section->name, buffer);
}

u32 read_section_position(const Key& key, u32& position)
{
    CacheLock cache;
    const Package* package = nullptr;
    if (const u32 code = current(cache, key.package, package)) {
        return code;
    }
    const Section* const section = package->find(key.section);
    if (section == nullptr) {
        return EFAULT;
    }
    position = package->position_of(*section);
    return 0;
}

void release()
{
    renew_view();
    release_overlay();
    CacheLock{}.clear();
}

} // namespace qrnuci::store
