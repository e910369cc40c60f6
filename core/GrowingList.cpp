// SPDX-License-Identifier: Apache-2.0
#include "core/GrowingList.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/Parse.h"
#include "base/UciOptional.h"

namespace qsc
{

namespace
{

constexpr const char* kIndex = "qrn_index";

SectionText section_of(const GrowingList& list, const char* name)
{
    SectionText section;
    section.append(list.package).append(".").append(name).append(".");
    return section;
}

Text<254> index_key(const SectionText& section)
{
    Text<254> key;
    key.append(section.view()).append(kIndex);
    return key;
}

/// The number that a section has stored; 0: none.
i32 stored_number(const SectionText& section)
{
    ValueText text;
    u32 number = 0;
    const bool is_number = uci_peek(index_key(section).c_str(), text) == 0 &&
                           parse_whole(text.view(), number) && number <= kHighestInstance;
    return is_number ? static_cast<i32>(number) : 0;
}

/// Whether the request sets X_QRN_Add or X_QRN_Delete to 1.
bool is_asked(const RowRequest& request, Kind kind)
{
    const auto rows = request.object.rows();
    const auto row = std::ranges::find(rows, kind, &PackedRow::kind);
    json_object* value = nullptr;
    std::string_view text;
    // What it is otherwise, its own check says.
    return row != rows.end() && find_member(request.root, row->name, value) &&
           find_member(value, "ParamValue", value) && text_of(value, text) == 0 &&
           (text == "1" || text == "true");
}

u32 find_in(RowRequest& request, const ListedSections& sections)
{
    const char* const name = sections.find(request.instance);
    if (name == nullptr) {
        return EINVAL;
    }
    request.section = section_of(*request.object.list(), name);
    return 0;
}

/// A new instance rests until its switch is set.
u32 switch_off(RowRequest& request)
{
    const PackedRow* const row = find_row(request.object, "Enable");
    json_object* value = nullptr;
    if (row == nullptr || row->place != Place::kOption || find_member(request.root, row->name, value)) {
        return 0;
    }
    Text<254> key;
    append_key(request, *row, key);
    return uci_write(key.c_str(), (row->marks & kInverted) != 0 ? "1" : "0");
}

u32 add(RowRequest& request)
{
    const GrowingList& list = *request.object.list();
    Text<126> name;
    json_object* value = nullptr;
    std::string_view own;
    if (list.named_by != nullptr && find_member(request.root, list.named_by, value)) {
        (void)take_text(value, own);
    }
    Text<126> wanted;
    wanted.append(own);
    const u32 code = name.fill([&](char* buffer, std::size_t size) {
        return call_optional(QrnUci_AddSection, list.package, list.type, wanted.c_str(), buffer,
                             static_cast<u32>(size));
    });
    if (code != 0) {
        return refuse(code, "a section of %s could not be made", list.package);
    }
    request.section = section_of(list, name.c_str());
    const u32 written = uci_write_int(index_key(request.section).c_str(), request.instance);
    return written != 0 ? written : switch_off(request);
}

} // namespace

u32 ListedSections::read(const GrowingList& list)
{
    u32 count = 0;
    if (const u32 code = call_optional(QrnUci_ListSections, list.package, list.type, names_.data(),
                                       static_cast<u32>(names_.size()), &count)) {
        count_ = 0;
        return is_installed(list.package) ? code : 0;
    }
    count_ = 0;
    const char* name = names_.data();
    for (u32 i = 0; i < count; ++i, name += std::strlen(name) + 1) {
        const SectionText section = section_of(list, name);
        if (list.is_ours != nullptr && !list.is_ours(section.c_str())) {
            continue;
        }
        if (count_ == kMost) {
            return EFAULT;
        }
        const i32 stored = stored_number(section);
        const bool is_own = stored > 0 && find(stored) == nullptr;
        listed_[count_++] = {name, static_cast<u16>(is_own ? stored : 0), is_own};
    }
    i32 free = 1;
    for (u32 i = 0; i < count_; ++i) {
        if (listed_[i].number == 0) {
            while (find(free) != nullptr) {
                ++free;
            }
            listed_[i].number = static_cast<u16>(free);
        }
    }
    return 0;
}

const char* ListedSections::find(i32 number) const
{
    for (u32 i = 0; i < count_; ++i) {
        if (listed_[i].number == number) {
            return listed_[i].name;
        }
    }
    return nullptr;
}

i32 ListedSections::next(i32 after) const
{
    i32 lowest = 0;
    for (u32 i = 0; i < count_; ++i) {
        const i32 number = listed_[i].number;
        lowest = number > after && (lowest == 0 || number < lowest) ? number : lowest;
    }
    return lowest;
}

u32 ListedSections::store_numbers(const GrowingList& list) const
{
    for (u32 i = 0; i < count_; ++i) {
        if (listed_[i].is_stored) {
            continue;
        }
        if (const u32 code =
                uci_write_int(index_key(section_of(list, listed_[i].name)).c_str(), listed_[i].number)) {
            return code;
        }
    }
    return 0;
}

u32 find_section(RowRequest& request)
{
    ListedSections sections;
    const u32 code = sections.read(*request.object.list());
    return code != 0 ? code : find_in(request, sections);
}

bool adds(const RowRequest& request)
{
    return is_asked(request, Kind::kAdd);
}

u32 find_or_begin(RowRequest& request)
{
    const GrowingList& list = *request.object.list();
    ListedSections sections;
    // Who only looks the instances up has no business in their package.
    const bool is_grown = find_row(request.object, kAddRow.name.text) != nullptr;
    if (sections.read(list) != 0 || (is_grown && sections.store_numbers(list) != 0)) {
        return EFAULT;
    }
    const u32 code = find_in(request, sections);
    request.is_new = code == EINVAL;
    // One that is to be added need not be there; check_add() judges that.
    return request.is_new && adds(request) ? 0 : code;
}

u32 add_or_delete(RowRequest& request)
{
    if (request.is_new) {
        return add(request);
    }
    if (!is_asked(request, Kind::kDelete)) {
        return 0;
    }
    Text<254> key;
    key.append(request.section.view().substr(0, request.section.view().size() - 1));
    const u32 code = call_optional(QrnUci_DeleteSection, key.c_str());
    return code != 0 ? refuse(code, "%s could not be deleted", key.c_str()) : 0;
}

namespace
{

/// A secret may be sent empty, to stay what it is; a new one is nothing yet.
bool lacks_secret(const RowCall& call, const PackedRow& row)
{
    RowText value;
    return (row.marks & kSecret) != 0 && read_outcome(call, row.name, value) == 0 && value.view().empty();
}

} // namespace

u32 check_add(const RowCall& call, std::string_view stored)
{
    const RowRequest& request = call.request;
    if (stored != "1") {
        return 0;
    }
    if (!request.is_new) {
        return refuse(EFAULT, "there is an instance %d already", request.instance);
    }
    ListedSections sections;
    const GrowingList& list = *request.object.list();
    if (sections.read(list) != 0 || sections.count() >= list.limit) {
        return refuse(EFAULT, "there are %u already, and no more are kept", list.limit);
    }
    for (const PackedRow& row : request.object.rows()) {
        const bool is_needed = (row.marks & kNeeded) != 0;
        if (is_needed && (!is_named(call, row.name) || lacks_secret(call, row))) {
            return refuse(EFAULT, "a new instance needs %s", row.name);
        }
    }
    return 0;
}

u32 check_delete(const RowCall& call, std::string_view stored)
{
    if (stored != "1") {
        return 0;
    }
    for (const PackedRow& row : call.request.object.rows()) {
        if (row.kind != Kind::kDelete && is_named(call, row.name)) {
            return refuse(EFAULT, "it stands alone in its request, without %s", row.name);
        }
    }
    return 0;
}

} // namespace qsc
