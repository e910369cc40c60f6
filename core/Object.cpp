// SPDX-License-Identifier: Apache-2.0
#include "core/Object.h"

#include <algorithm>
#include <cerrno>

#include "base/Parse.h"
#include "core/GrowingList.h"
#include "core/ServeRow.h"

namespace qsc
{

namespace
{

constexpr std::string_view kInstance = "{i}";

} // namespace

bool parameter_at(const Object& object, std::size_t number, Parameter& parameter)
{
    const std::span<const PackedRow> rows = object.rows();
    if (object.table != nullptr) {
        // Exported tables can be replaced by a host; what is not ours there is no row of ours.
        const Qsc_ParamEntry& entry = object.table[number];
        if (entry.id == QSC_TABLE_END) {
            return false;
        }
        const bool is_row =
            entry.handler != nullptr && entry.handler == object.handler() && entry.param < rows.size();
        // Its name is the row's own, unless a host has put another table in its place.
        const bool is_known = number < rows.size() && (rows[number].name == entry.name ||
                                                       rows[number].name == std::string_view{entry.name});
        parameter = {entry.name, is_row ? nullptr : entry.handler, entry.param,
                     is_row     ? &rows[static_cast<std::size_t>(entry.param)]
                     : is_known ? &rows[number]
                                : nullptr};
        return true;
    }
    if (number >= rows.size()) {
        return false;
    }
    parameter = {rows[number].name, nullptr, 0, &rows[number]};
    return true;
}

bool has_rows(const Object& object)
{
    if (object.table == nullptr) {
        return true;
    }
    auto* const own = object.handler();
    const Qsc_ParamEntry* entry = object.table;
    // A host may have put a table of its own in the place of ours.
    while (entry->id != QSC_TABLE_END && entry->handler != own) {
        ++entry;
    }
    return own != nullptr && entry->id != QSC_TABLE_END;
}

const PackedRow* find_row(const Object& object, std::string_view name)
{
    const auto rows = object.rows();
    const auto row = std::ranges::find_if(rows, [&](const auto& each) { return name == each.name; });
    return row != rows.end() ? &*row : nullptr;
}

bool has_instances(const Object& object)
{
    return std::string_view{object.path}.find(kInstance) != std::string_view::npos;
}

i32 instance_in_path(const Object& object, std::string_view path)
{
    const std::string_view pattern = object.path;
    const std::size_t place = std::min(pattern.find(kInstance), path.size());
    path.remove_prefix(place);
    i32 number = 0;
    return parse_whole(path.substr(0, path.find('.')), number) && number > 0 ? number : 0;
}

std::string_view rest_of_path(const Object& object, std::string_view path)
{
    std::string_view own = object.path;
    const std::size_t number = own.find(kInstance);
    own.remove_prefix(number != std::string_view::npos ? number + kInstance.size() : 0);
    const std::size_t place = path.find(own);
    path.remove_prefix(place != std::string_view::npos ? place + own.size() : path.size());
    path.remove_prefix(path.starts_with('.') ? 1 : 0);
    return path;
}

namespace
{

/// The highest number that an instance may have now.
i32 last_instance(const Object& object)
{
    const CountInstances count = object.count();
    return count != nullptr ? std::min<i32>(count(), object.instances) : object.instances;
}

} // namespace

bool has_instance(const Object& object, i32 number)
{
    const HasInstance exists = object.exists();
    return number >= 1 && number <= last_instance(object) && (exists == nullptr || exists(number));
}

u32 find_instances(const Object& object, std::span<u32, kMostInstances> numbers, u32& count)
{
    count = 0;
    if (const GrowingList* const list = object.list()) {
        ListedSections sections;
        if (const u32 code = sections.read(*list)) {
            return code;
        }
        for (i32 number = sections.next(0); number != 0; number = sections.next(number)) {
            numbers[count++] = static_cast<u32>(number);
        }
    }
    const HasInstance exists = object.exists();
    const i32 last = last_instance(object);
    for (i32 number = 1; number <= last; ++number) {
        if (exists == nullptr || exists(number)) {
            numbers[count++] = static_cast<u32>(number);
        }
    }
    return 0;
}

u32 serve_entry(const Object& object, const char* name, json_object* value, u32 oper, u32 argument, i64,
                u64 param)
{
    forget_refusal();
    if (param >= object.rows().size() || !is_object(value)) {
        return EINVAL;
    }
    RowRequest request{
        .object = object, .path = or_empty(name), .root = nullptr, .oper = oper, .argument = argument};
    begin_get(request);
    const PackedRow& row = object.rows()[static_cast<std::size_t>(param)];
    const u32 code = serve_row(request, row, value);
    if (code != 0) {
        name_refusal(name, row.name, code);
    }
    return code;
}

} // namespace qsc
