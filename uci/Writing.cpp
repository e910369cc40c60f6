// SPDX-License-Identifier: Apache-2.0
// Writing: every change is one or more lines of the staging file.
#include <algorithm>
#include <cerrno>

#include "uci/Staging.h"
#include "uci/Store.h"

namespace qrnuci::store
{

namespace
{

/// Opens a package for a change of one of its sections.
u32 open(const Key& key, Staging& staging, const Section*& section)
{
    const u32 code = staging.open(key.package);
    return code != 0 ? code : staging.find(key, section);
}

/// Writes the items of a list anew. Empty ones count only when something stands behind them.
class ListLines
{
  public:
    ListLines(Staging& staging, const Section& section, std::string_view option)
        : staging_(staging), section_(section), option_(option)
    {
    }

    void add(std::string_view item)
    {
        if (item.empty()) {
            ++empty_items_;
            return;
        }
        for (; empty_items_ > 0; --empty_items_) {
            staging_.add("|", section_.name, option_, {});
        }
        staging_.add("|", section_.name, option_, item);
    }

  private:
    Staging& staging_;
    const Section& section_;
    std::string_view option_;
    u32 empty_items_ = 0;
};

u32 count(const Option& option)
{
    u32 items = 0;
    for ([[maybe_unused]] const Item& item : option.items) {
        ++items;
    }
    return items;
}

/// Whether an option is exactly this list.
bool is_list_of(const Option& option, std::span<const char* const> items)
{
    auto next = items.begin();
    for (const Item& item : option.items) {
        if (next == items.end() || item.value != *next++) {
            return false;
        }
    }
    return option.is_list && next == items.end();
}

void log_taken(std::string_view package, std::string_view name)
{
    log_error("%.*s: there is a section %.*s already\n", static_cast<int>(package.size()), package.data(),
              static_cast<int>(name.size()), name.data());
}

} // namespace

u32 write(const Key& key, std::string_view value)
{
    Staging staging;
    const Section* section = nullptr;
    if (const u32 code = open(key, staging, section)) {
        return code;
    }
    const Option* const option = staging.package().find_option(*section, key.option);
    const bool is_unchanged =
        option == nullptr ? value.empty() : !option->is_list && (*option->items.begin()).value == value;
    if (is_unchanged) {
        return 0;
    }
    if (value.empty()) {
        staging.add("-", *section, key.option);
    } else {
        staging.add("", section->name, key.option, value);
    }
    return staging.finish();
}

u32 write_item(const Key& key, u32 index, std::string_view value)
{
    Staging staging;
    const Section* section = nullptr;
    if (const u32 code = open(key, staging, section)) {
        return code;
    }
    const Option* const option = staging.package().find_option(*section, key.option);
    ListLines lines{staging, *section, key.option};
    u32 position = option != nullptr ? count(*option) : 0;
    // Behind the last, items are added; otherwise the list is written anew, for nothing changes one of its
    // items.
    if (option != nullptr && index < position) {
        staging.add("-", *section, key.option);
        position = 0;
        for (const Item& item : option->items) {
            lines.add(position++ == index ? value : item.value);
        }
    }
    for (; position <= index; ++position) {
        lines.add(position == index ? value : std::string_view{});
    }
    return staging.finish();
}

u32 write_list(const Key& key, std::span<const char* const> items)
{
    while (!items.empty() && *items.back() == '\0') {
        items = items.first(items.size() - 1);
    }
    Staging staging;
    const Section* section = nullptr;
    if (const u32 code = open(key, staging, section)) {
        return code;
    }
    const Option* const option = staging.package().find_option(*section, key.option);
    if (option == nullptr ? items.empty() : is_list_of(*option, items)) {
        return 0;
    }
    if (option != nullptr) {
        staging.add("-", *section, key.option);
    }
    ListLines lines{staging, *section, key.option};
    for (const char* const item : items) {
        lines.add(item);
    }
    return staging.finish();
}

u32 add_section(std::string_view package, std::string_view type, std::string_view name,
                std::span<char> buffer)
{
    Staging staging;
    if (const u32 code = staging.open(package)) {
        return code;
    }
    MadeUpName made_up;
    const bool is_anonymous = name.empty();
    if (is_anonymous) {
        name = staging.package().make_up_name(type, made_up);
    } else if (staging.package().find(name) != nullptr) {
        log_taken(package, name);
        return EFAULT;
    }
    if (!buffer.empty() && name.size() >= buffer.size()) {
        return EFAULT;
    }
    staging.add(is_anonymous ? "+" : "", name, {}, type);
    const u32 code = staging.finish();
    if (code == 0 && !buffer.empty()) {
        *std::copy(name.begin(), name.end(), buffer.begin()) = '\0';
    }
    return code;
}

u32 delete_section(const Key& key)
{
    Staging staging;
    const Section* section = nullptr;
    if (const u32 code = open(key, staging, section)) {
        return code;
    }
    staging.add("-", *section, {});
    return staging.finish();
}

u32 move_section(const Key& key, u32 position)
{
    Staging staging;
    const Section* section = nullptr;
    if (const u32 code = open(key, staging, section)) {
        return code;
    }
    position = std::min(position, staging.package().count_sections() - 1);
    if (position == staging.package().position_of(*section)) {
        return 0;
    }
    qsc::Text<24> text;
    staging.add("^", section->name, {}, text.append_number(position).view());
    return staging.finish();
}

u32 rename_section(const Key& key, std::string_view name)
{
    Staging staging;
    const Section* section = nullptr;
    if (const u32 code = open(key, staging, section)) {
        return code;
    }
    const Section* const other = staging.package().find(name);
    if (other == section && !section->is_anonymous) {
        return 0;
    }
    if (other != nullptr && other != section) {
        log_taken(key.package, name);
        return EFAULT;
    }
    staging.add("@", section->name, {}, name);
    return staging.finish();
}

} // namespace qrnuci::store
