// SPDX-License-Identifier: Apache-2.0
#include "uci/Overlay.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "uci/Codec.h"
#include "uci/ConfigFile.h"
#include "uci/CopyOut.h"
#include "uci/Delta.h"
#include "uci/View.h"

namespace qrnuci
{

namespace
{

/// No package's name.
constexpr const char* kNotes = ".committed";

/// The one that was ended last: who stages a thousand values one by one begins it a thousand times.
constinit std::atomic<Overlay*> g_resting{nullptr};

template <typename Record>
Record* make()
{
    void* const place = std::malloc(sizeof(Record));
    return place != nullptr ? new (place) Record : nullptr;
}

template <typename Record>
void free_record(Record* record)
{
    record->~Record();
    std::free(record);
}

void free_overlay(Overlay* overlay)
{
    if (overlay == nullptr) {
        return;
    }
    for (auto each = overlay->packages.begin(); each != overlay->packages.end();) {
        OverlayPackage* const package = &*each;
        ++each;
        free_record(package);
    }
    free_record(overlay);
}

/// Finds a package, or adds it with nothing staged; null: no memory.
OverlayPackage* find_or_add(Overlay& overlay, std::string_view name)
{
    for (OverlayPackage& package : overlay.packages) {
        if (package.change.name.view() == name) {
            return &package;
        }
    }
    auto* const made = make<OverlayPackage>();
    if (made != nullptr) {
        made->change.name.append(name);
        overlay.packages.append(*made);
    }
    return made;
}

/// Brings the text of the package's file up to date.
u32 look(OverlayPackage& package)
{
    if (package.is_checked) {
        return 0;
    }
    bool is_new = false;
    const u32 code = package.base.look(package.change.name.view(), is_new);
    package.is_parsed = package.is_parsed && !is_new;
    package.is_checked = code == 0;
    return code;
}

/// Reads the package from its file's text and the lines that are staged.
u32 parse(OverlayPackage& package)
{
    PackageChange& change = package.change;
    if (package.is_parsed && !change.is_spoilt) {
        return 0;
    }
    change.is_spoilt = false;
    change.package.clear();
    Arena& arena = change.package.arena();
    const std::string_view base = package.base.view();
    const std::string_view lines = change.lines.view();
    char* const text = arena.make_text(base.size());
    char* const staged = arena.make_text(lines.size());
    if (text == nullptr || staged == nullptr) {
        return ENOMEM;
    }
    std::copy(base.begin(), base.end(), text);
    std::copy(lines.begin(), lines.end(), staged);
    const std::string_view name = change.name.view();
    if (const u32 code = load_config(name, package.base.path(), text, base.size(), change.package)) {
        return code;
    }
    const u32 code = apply_delta(staged, lines.size(), name, change.package, change.files.state);
    package.is_parsed = code == 0;
    return code;
}

/// Finds a package whose file's text is up to date. ENOENT: it has none.
u32 find_text(Overlay& overlay, std::string_view name, OverlayPackage*& package)
{
    package = find_or_add(overlay, name);
    return package != nullptr ? look(*package) : ENOMEM;
}

/// Finds a package with what is staged.
u32 find_parsed(Overlay& overlay, std::string_view name, OverlayPackage*& package)
{
    if (const u32 code = find_text(overlay, name, package)) {
        return code == ENOENT ? EFAULT : code;
    }
    if (const u32 code = parse(*package)) {
        return code;
    }
    // An index is worth its price after some searches. Where it is lost again and again, less often.
    if (++package->finds >= package->finds_before_index && !package->change.package.has_index()) {
        package->change.package.build_index();
        package->finds = 0;
        package->finds_before_index *= 2;
    }
    return 0;
}

/// Reads what was staged in the folder before.
u32 load(Overlay& overlay)
{
    Growing notes;
    if (const u32 code = overlay.folder.read(kNotes, notes, overlay.notes); code != 0 && code != ENOENT) {
        return code;
    }
    for (std::string_view rest = notes.view(); !rest.empty();) {
        const std::string_view name{rest.data(), std::min(rest.find('\n'), rest.size())};
        rest.remove_prefix(std::min(name.size() + 1, rest.size()));
        OverlayPackage* const package = find_or_add(overlay, name);
        if (package == nullptr) {
            return ENOMEM;
        }
        package->is_noted = true;
    }
    return overlay.folder.for_each_file([&](const char* name) -> u32 {
        OverlayPackage* const package = is_package_name(name) ? find_or_add(overlay, name) : nullptr;
        if (package == nullptr) {
            return is_package_name(name) ? ENOMEM : 0;
        }
        const u32 code = overlay.folder.read(name, package->change.lines, package->file);
        package->stored = package->change.lines.view().size();
        return code;
    });
}

/// Writes what has been staged since into the folder.
u32 store(Overlay& overlay)
{
    Growing notes;
    for (OverlayPackage& package : overlay.packages) {
        if (package.is_noted) {
            notes.append(package.change.name.view()).append("\n");
        }
        std::string_view added = package.change.lines.view();
        added.remove_prefix(package.stored);
        if (added.empty()) {
            continue;
        }
        if (const u32 code =
                overlay.folder.write(package.change.name.c_str(), package.stored, added, package.file)) {
            return code;
        }
        package.stored += added.size();
    }
    if (notes.failed()) {
        return ENOMEM;
    }
    const u32 code = overlay.has_new_notes ? overlay.folder.write(kNotes, 0, notes.view(), overlay.notes) : 0;
    overlay.has_new_notes = false;
    overlay.folder.leave();
    return code;
}

/// Whether the folder is as the overlay has left it.
bool is_as_left(const Overlay& overlay, std::string_view folder)
{
    if (!overlay.folder.is_as_left(folder)) {
        return false;
    }
    bool has_notes = false;
    for (const OverlayPackage& package : overlay.packages) {
        has_notes = has_notes || package.is_noted;
        if (package.stored != 0 && !overlay.folder.has_same_file(package.change.name.c_str(), package.file)) {
            return false;
        }
    }
    return !has_notes || overlay.folder.has_same_file(kNotes, overlay.notes);
}

/// Whether the package is one to list.
bool is_staged(const OverlayPackage& package)
{
    return package.is_noted || !package.change.lines.view().empty();
}

} // namespace

u32 begin_overlay(std::string_view folder)
{
    if (has_own_packages() || is_in_view()) {
        return EFAULT;
    }
    Overlay* overlay = g_resting.exchange(nullptr);
    if (overlay != nullptr && !is_as_left(*overlay, folder)) {
        free_overlay(overlay);
        overlay = nullptr;
    }
    if (overlay == nullptr) {
        overlay = make<Overlay>();
        u32 code = overlay != nullptr ? overlay->folder.open(folder) : ENOMEM;
        code = code != 0 ? code : load(*overlay);
        if (code != 0) {
            free_overlay(overlay);
            return code;
        }
    }
    t_staging.overlay = overlay;
    renew_overlay();
    return 0;
}

u32 end_overlay()
{
    Overlay* const overlay = t_staging.overlay;
    if (overlay == nullptr) {
        return EFAULT;
    }
    for (const OverlayPackage& package : overlay->packages) {
        if (package.is_changing) {
            return EFAULT;
        }
    }
    const u32 code = store(*overlay);
    t_staging.overlay = nullptr;
    free_overlay(code == 0 ? g_resting.exchange(overlay) : overlay);
    return code;
}

void release_overlay()
{
    free_overlay(g_resting.exchange(nullptr));
}

void renew_overlay()
{
    if (t_staging.overlay == nullptr) {
        return;
    }
    for (OverlayPackage& package : t_staging.overlay->packages) {
        package.is_checked = false;
    }
}

u32 list_overlay(std::span<char> buffer, u32& count)
{
    if (t_staging.overlay == nullptr) {
        return EFAULT;
    }
    return copy_all_out(buffer, count, [&](auto take) {
        for (const OverlayPackage& package : t_staging.overlay->packages) {
            if (is_staged(package)) {
                take(package.change.name.view());
            }
        }
    });
}

bool is_changing_in(const Overlay& overlay, std::string_view name)
{
    for (const OverlayPackage& package : overlay.packages) {
        if (package.change.name.view() == name) {
            return package.is_changing;
        }
    }
    return false;
}

u32 begin_change_of(Overlay& overlay, std::string_view name)
{
    OverlayPackage* package = nullptr;
    if (const u32 code = find_parsed(overlay, name, package)) {
        return code;
    }
    if (package->is_changing) {
        return EFAULT;
    }
    package->is_changing = true;
    package->kept = package->change.lines.view().size();
    return 0;
}

u32 end_changes_of(Overlay& overlay, bool is_kept)
{
    u32 code = EFAULT;
    for (OverlayPackage& package : overlay.packages) {
        if (!package.is_changing) {
            continue;
        }
        code = 0;
        package.is_changing = false;
        if (!is_kept && package.change.lines.view().size() != package.kept) {
            package.change.lines.shorten(package.kept);
            package.is_parsed = false;
        }
    }
    return code;
}

u32 find_package(Overlay& overlay, std::string_view name, PackageChange*& change)
{
    OverlayPackage* package = nullptr;
    const u32 code = find_parsed(overlay, name, package);
    change = code == 0 ? &package->change : nullptr;
    return code;
}

u32 note_commit(Overlay& overlay, std::string_view name)
{
    OverlayPackage* package = nullptr;
    if (const u32 code = find_parsed(overlay, name, package)) {
        return code;
    }
    overlay.has_new_notes = overlay.has_new_notes || !package->is_noted;
    package->is_noted = true;
    return 0;
}

u32 copy_base(Overlay& overlay, std::string_view name, std::span<char> buffer, u32* length)
{
    OverlayPackage* package = nullptr;
    const u32 code = find_text(overlay, name, package);
    return code != 0 ? code : copy_text(package->base.view(), buffer, length);
}

u32 copy_result(Overlay& overlay, std::string_view name, std::span<char> buffer, u32* length)
{
    OverlayPackage* package = nullptr;
    if (const u32 code = find_text(overlay, name, package)) {
        return code;
    }
    if (package->change.lines.view().empty()) {
        return copy_text(package->base.view(), buffer, length);
    }
    if (const u32 code = parse(*package)) {
        return code;
    }
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* const memory = open_memstream(&text, &size);
    if (memory == nullptr) {
        return ENOMEM;
    }
    u32 code = export_config(name, package->change.package, memory);
    code = std::fclose(memory) != 0 ? ENOMEM : code == EINVAL ? EFAULT : code;
    code = code != 0 ? code : copy_text({text, size}, buffer, length);
    std::free(text);
    return code;
}

} // namespace qrnuci
