// SPDX-License-Identifier: Apache-2.0
// The exported functions: arguments are checked here.
#include "include/qrnuci.h"

#include <algorithm>
#include <cerrno>

#include "base/Text.h"
#include "uci/Overlay.h"
#include "uci/Store.h"
#include "uci/View.h"

using namespace qrnuci;

namespace
{

/// More items than any list on a device has; a larger index would only fill memory with empty ones.
constexpr u32 kMostItems = 65536;

bool parse(const char* text, Key& key)
{
    return text != nullptr && parse_key(text, key);
}

/// An option's key: sections are read but not written.
bool parse_option(const char* text, Key& key)
{
    return parse(text, key) && !key.option.empty();
}

/// A section's key.
bool parse_section(const char* text, Key& key)
{
    return parse(text, key) && key.option.empty();
}

bool is_package(const char* text)
{
    return text != nullptr && is_package_name(text);
}

/// A text that the file format cannot carry must not be staged. Line feeds and the like it can.
bool is_storable(std::string_view text)
{
    return std::ranges::none_of(text, [](char c) {
        return static_cast<unsigned char>(c) < ' ' && c != '\t' && c != '\n' && c != '\r';
    });
}

} // namespace

uint32_t QrnUci_Init(void)
{
    return 0;
}

uint32_t QrnUci_Close(void)
{
    store::release();
    return 0;
}

uint32_t QrnUci_GetString(const char* key, char* buffer, uint32_t size)
{
    Key parsed;
    if (!parse(key, parsed) || buffer == nullptr || size == 0) {
        return EINVAL;
    }
    return store::read(parsed, {buffer, size});
}

uint32_t QrnUci_SetNewString(const char* key, const char* value, uint32_t, uint32_t)
{
    Key parsed;
    if (!parse_option(key, parsed) || value == nullptr) {
        return EINVAL;
    }
    return is_storable(value) ? store::write(parsed, value) : EFAULT;
}

uint32_t QrnUci_GetListItem(const char* key, uint32_t index, char* buffer, uint32_t size)
{
    Key parsed;
    if (!parse_option(key, parsed) || buffer == nullptr || size == 0) {
        return EINVAL;
    }
    return store::read_item(parsed, index, {buffer, size});
}

uint32_t QrnUci_SetListItem(const char* key, uint32_t index, const char* value)
{
    Key parsed;
    if (!parse_option(key, parsed) || value == nullptr) {
        return EINVAL;
    }
    return index < kMostItems && is_storable(value) ? store::write_item(parsed, index, value) : EFAULT;
}

uint32_t QrnUci_CommitPackage(const char* package)
{
    return is_package(package) ? store::commit(package) : EINVAL;
}

uint32_t QrnUci_BeginView(void)
{
    begin_view();
    return 0;
}

uint32_t QrnUci_EndView(void)
{
    return end_view();
}

uint32_t QrnUci_RenewView(void)
{
    renew_view();
    renew_overlay();
    return 0;
}

uint32_t QrnUci_BeginChange(const char* package)
{
    return is_package(package) ? begin_change(package) : EINVAL;
}

uint32_t QrnUci_EndChange(uint32_t keep)
{
    return end_change(keep != 0);
}

uint32_t QrnUci_CountSections(const char* package, const char* type, uint32_t* count)
{
    if (!is_package(package) || type == nullptr || count == nullptr) {
        return EINVAL;
    }
    return store::count_sections(package, type, *count);
}

uint32_t QrnUci_ListSections(const char* package, const char* type, char* buffer, uint32_t size,
                             uint32_t* count)
{
    if (!is_package(package) || type == nullptr || buffer == nullptr || size == 0 || count == nullptr) {
        return EINVAL;
    }
    return store::list_sections(package, type, {buffer, size}, *count);
}

uint32_t QrnUci_FindSection(const char* package, const char* type, const char* option, const char* value,
                            char* buffer, uint32_t size)
{
    if (!is_package(package) || type == nullptr || option == nullptr || !is_name(option) ||
        value == nullptr || buffer == nullptr || size == 0) {
        return EINVAL;
    }
    return store::find_section(package, type, option, value, {buffer, size});
}

uint32_t QrnUci_GetSectionName(const char* key, char* buffer, uint32_t size)
{
    Key parsed;
    if (!parse_section(key, parsed) || buffer == nullptr || size == 0) {
        return EINVAL;
    }
    return store::read_section_name(parsed, {buffer, size});
}

uint32_t QrnUci_GetSectionPosition(const char* key, uint32_t* position)
{
    Key parsed;
    if (!parse_section(key, parsed) || position == nullptr) {
        return EINVAL;
    }
    return store::read_section_position(parsed, *position);
}

uint32_t QrnUci_AddSection(const char* package, const char* type, const char* name, char* buffer,
                           uint32_t size)
{
    const std::string_view wanted{qsc::or_empty(name)};
    if (!is_package(package) || type == nullptr || !is_type(type) || (!wanted.empty() && !is_name(wanted))) {
        return EINVAL;
    }
    return store::add_section(package, type, wanted, {buffer, buffer != nullptr ? size : 0});
}

uint32_t QrnUci_DeleteSection(const char* key)
{
    Key parsed;
    return parse_section(key, parsed) ? store::delete_section(parsed) : EINVAL;
}

uint32_t QrnUci_MoveSection(const char* key, uint32_t position)
{
    Key parsed;
    return parse_section(key, parsed) ? store::move_section(parsed, position) : EINVAL;
}

uint32_t QrnUci_RenameSection(const char* key, const char* name)
{
    Key parsed;
    if (!parse_section(key, parsed) || name == nullptr || !is_name(name)) {
        return EINVAL;
    }
    return store::rename_section(parsed, name);
}

uint32_t QrnUci_DeleteOption(const char* key)
{
    return QrnUci_SetNewString(key, "", 0, 1);
}

uint32_t QrnUci_GetList(const char* key, char* buffer, uint32_t size, uint32_t* count)
{
    Key parsed;
    if (!parse_option(key, parsed) || buffer == nullptr || size == 0 || count == nullptr) {
        return EINVAL;
    }
    return store::read_list(parsed, {buffer, size}, *count);
}

uint32_t QrnUci_SetList(const char* key, const char* const* items, uint32_t count)
{
    Key parsed;
    if (!parse_option(key, parsed) || (items == nullptr && count != 0)) {
        return EINVAL;
    }
    const std::span<const char* const> all{items, count};
    if (std::ranges::any_of(all, [](const char* item) { return item == nullptr; })) {
        return EINVAL;
    }
    const bool fits = count <= kMostItems && std::ranges::all_of(all, is_storable);
    return fits ? store::write_list(parsed, all) : EFAULT;
}

uint32_t QrnUci_BeginOverlay(const char* folder)
{
    return folder != nullptr && *folder == '/' ? begin_overlay(folder) : EINVAL;
}

uint32_t QrnUci_EndOverlay(void)
{
    return end_overlay();
}

uint32_t QrnUci_ListOverlay(char* buffer, uint32_t size, uint32_t* count)
{
    return buffer != nullptr && size != 0 && count != nullptr ? list_overlay({buffer, size}, *count) : EINVAL;
}

uint32_t QrnUci_ReadPackage(const char* package, char* buffer, uint32_t size, uint32_t* length)
{
    return is_package(package) && (buffer != nullptr || size == 0)
               ? store::read_package_text(package, {buffer, size}, length)
               : EINVAL;
}

uint32_t QrnUci_ReadPackageBefore(const char* package, char* buffer, uint32_t size, uint32_t* length)
{
    return is_package(package) && (buffer != nullptr || size == 0)
               ? store::read_base_text(package, {buffer, size}, length)
               : EINVAL;
}

uint32_t QrnUci_ReplacePackage(const char* package, const char* before, const char* after)
{
    return is_package(package) ? store::replace_package(package, before, after) : EINVAL;
}

uint32_t QrnUci_ComparePackages(const char* before, const char* after, Qrn_UciDifferenceFunction* call,
                                void* context)
{
    return call != nullptr ? store::compare_packages(before, after, call, context) : EINVAL;
}
