// SPDX-License-Identifier: Apache-2.0
// The exported functions: arguments are checked here.
#include "include/qrnuci.h"

#include <algorithm>
#include <cerrno>

#include "base/Parse.h"
#include "platform/Store.h"

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
    return package != nullptr && is_package_name(package) ? store::commit(package) : EINVAL;
}
