// SPDX-License-Identifier: Apache-2.0
// Where rows keep their values in the configuration.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "base/UciOptional.h"
#include "core/RowParts.h"

namespace qsc
{

namespace
{

/// A list's items, with commas between them.
u32 read_items(const char* key, RowText& stored)
{
    std::array<char, 2048> items;
    u32 count = 0;
    const u32 code = call_optional(QrnUci_GetList, key, items.data(), static_cast<u32>(items.size()), &count);
    const char* item = items.data();
    for (u32 i = 0; code == 0 && i < count; ++i, item += std::strlen(item) + 1) {
        stored.append(stored.view().empty() ? "" : ",").append(item);
    }
    return code;
}

void replace_all(RowText& text, char from, char to)
{
    std::replace(text.data(), text.data() + text.view().size(), from, to);
}

std::string_view package_of(std::string_view key)
{
    return key.substr(0, key.find('.'));
}

u32 say_unwritten(const RowCall& call, const char* key, u32 code)
{
    if (code == EFAULT && !is_installed(package_of(key))) {
        return say_uninstalled(code, call.source.module, package_of(key));
    }
    QSC_LOG_CALL(call, kLogError, "%s not stored, error %u\n", key, code);
    return refuse(code, "%s could not be stored", key);
}

/// Makes an object's section of its own for its first value, if it has none yet.
void add_missing_section(const RowRequest& request)
{
    if (request.object.section_type() == nullptr) {
        return;
    }
    std::string_view rest = request.section.view();
    Text<126> package;
    Text<126> name;
    package.append(rest.substr(0, rest.find('.')));
    name.append(section_name(rest));
    // Where it is there already, nothing is added.
    (void)call_optional(QrnUci_AddSection, package.c_str(), request.object.section_type(), name.c_str(),
                        static_cast<char*>(nullptr), 0U);
}

/// Whether what is stored says the same, in whichever spelling.
bool is_unchanged(const RowCall& call, const char* key, std::string_view stored)
{
    RowText before;
    RowText was;
    RowText is;
    // A new instance holds what it was given, also where that is what a missing option means.
    if (call.request.is_new || read_stored(call.request, call.row, before) != 0) {
        return false;
    }
    speak(call.row, before.view(), was);
    speak(call.row, stored, is);
    // A value that is too long to be read is another one.
    const bool may_be_missing = before.view() == or_empty(call.row.fallback());
    return was.view() == is.view() && (!may_be_missing || uci_peek(key, before) == 0 || uci_is_missing(key));
}

} // namespace

u32 say_uninstalled(u32 code, const char* module, std::string_view package)
{
    const auto length = static_cast<int>(package.size());
    Qslog_Log(kLogError, module, __LINE__, __func__, "%.*s is not installed\n", length, package.data());
    return refuse(code, "%.*s is not installed", length, package.data());
}

std::string_view section_name(std::string_view section)
{
    section.remove_prefix(std::min(section.find('.') + 1, section.size()));
    return section.substr(0, section.find('.'));
}

void append_key(const RowRequest& request, const PackedRow& row, Text<254>& key)
{
    const std::string_view written = or_empty(row.key());
    const bool is_whole = written.find('.') != std::string_view::npos;
    const std::size_t star = std::min(written.find('*'), written.size());
    key.append(is_whole ? "" : request.section.view()).append(written.substr(0, star));
    if (star < written.size()) {
        key.append(section_name(request.section.view())).append(written.substr(star + 1));
    }
    key.append(is_whole ? "" : request.suffix.view());
}

u32 read_stored(RowRequest& request, const PackedRow& row, RowText& stored)
{
    stored.clear();
    Text<254> key;
    append_key(request, row, key);
    u32 code = 0;
    if (row.place == Place::kList) {
        code = read_items(key.c_str(), stored);
    } else {
        code = uci_peek(key.c_str(), stored);
        if ((row.marks & kMany) != 0) {
            replace_all(stored, ' ', ',');
        }
    }
    if (stored.view().empty()) {
        stored.append(or_empty(row.fallback()));
    }
    return code == EFAULT ? 0 : code;
}

u32 write_items(const char* key, RowText& stored)
{
    constexpr std::size_t kMost = 256;
    std::array<const char*, kMost> items;
    u32 count = 0;
    // Each comma ends an item in place.
    const char* const end = stored.data() + stored.view().size();
    std::replace(stored.data(), stored.data() + stored.view().size(), ',', '\0');
    for (const char* item = stored.c_str(); item < end; item += std::strlen(item) + 1) {
        if (count == kMost) {
            return refuse(EFAULT, "it has more than %zu items", kMost);
        }
        items[count++] = item;
    }
    return call_optional(QrnUci_SetList, key, items.data(), count);
}

u32 write_stored(const RowCall& call, std::string_view stored)
{
    Text<254> key;
    append_key(call.request, call.row, key);
    if (is_unchanged(call, key.c_str(), stored)) {
        return is_installed(package_of(key.view())) ? 0 : say_unwritten(call, key.c_str(), EFAULT);
    }
    RowText value;
    if (!value.assign(stored)) {
        return EFAULT;
    }
    if ((call.row.marks & kOmitted) != 0 && stored == or_empty(call.row.fallback())) {
        value.clear();
    }
    u32 code = 0;
    add_missing_section(call.request);
    if (call.row.place == Place::kList) {
        code = write_items(key.c_str(), value);
    } else {
        if ((call.row.marks & (kMany | kCommas)) == kMany) {
            replace_all(value, ',', ' ');
        }
        code = uci_write(key.c_str(), value.c_str());
    }
    return code != 0 ? say_unwritten(call, key.c_str(), code) : 0;
}

} // namespace qsc
