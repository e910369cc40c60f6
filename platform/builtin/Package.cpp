// SPDX-License-Identifier: Apache-2.0
#include "platform/builtin/Package.h"

#include <cstdio>

namespace qrnuci
{

namespace
{

/// The hash that every reader of the format puts into the names of anonymous sections.
u32 name_hash(std::string_view type)
{
    u32 hash = 5381;
    for (const char character : type) {
        hash = hash * 33 + static_cast<u32>(character);
    }
    return hash & 0xFFFF;
}

} // namespace

Section* Package::find(std::string_view name) const
{
    for (Section& section : sections_) {
        if (section.name == name) {
            return &section;
        }
    }
    return nullptr;
}

Section* Package::find(const SectionRef& reference) const
{
    if (!reference.name.empty()) {
        return find(reference.name);
    }
    const auto counts = [&](const Section& section) {
        return reference.type.empty() || section.type == reference.type;
    };
    i32 wanted = reference.index;
    if (wanted < 0) {
        for (const Section& section : sections_) {
            wanted += counts(section) ? 1 : 0;
        }
    }
    for (Section& section : sections_) {
        if (counts(section) && wanted-- == 0) {
            return &section;
        }
    }
    return nullptr;
}

Option* Package::find_option(const Section& section, std::string_view name)
{
    for (Option& option : section.options) {
        if (option.name == name) {
            return &option;
        }
    }
    return nullptr;
}

Section* Package::add_section(std::string_view type, std::string_view name)
{
    auto* const section = arena_.make<Section>();
    if (section == nullptr) {
        return nullptr;
    }
    ++added_sections_;
    section->type = type;
    section->is_anonymous = name.empty();
    if (name.empty()) {
        constexpr std::size_t kRoom = 24;
        char* const made_up = arena_.make_text(kRoom);
        if (made_up == nullptr) {
            return nullptr;
        }
        const int length = std::snprintf(made_up, kRoom, "cfg%02x%04x", added_sections_, name_hash(type));
        name = {made_up, static_cast<std::size_t>(length)};
    }
    section->name = name;
    sections_.append(*section);
    return section;
}

Option* Package::add_option(Section& section, std::string_view name)
{
    auto* const option = arena_.make<Option>();
    if (option != nullptr) {
        option->name = name;
        section.options.append(*option);
    }
    return option;
}

bool Package::append_item(Option& option, std::string_view value)
{
    auto* const item = arena_.make<Item>();
    if (item == nullptr) {
        return false;
    }
    item->value = value;
    option.items.append(*item);
    return true;
}

bool Package::set_option(Section& section, std::string_view name, std::string_view value)
{
    Option* option = find_option(section, name);
    if (value.empty()) {
        remove_option(section, option);
        return true;
    }
    if (option == nullptr && (option = add_option(section, name)) == nullptr) {
        return false;
    }
    option->is_list = false;
    option->items.clear();
    return append_item(*option, value);
}

bool Package::add_item(Section& section, std::string_view name, std::string_view value)
{
    Option* option = find_option(section, name);
    if (option == nullptr && (option = add_option(section, name)) == nullptr) {
        return false;
    }
    option->is_list = true;
    return append_item(*option, value);
}

void Package::remove_option(Section& section, const Option* option)
{
    section.options.remove_if([&](const Option& other) { return &other == option; });
}

void Package::remove_section(const Section* section)
{
    sections_.remove_if([&](const Section& other) { return &other == section; });
}

void Package::move_section(Section& section, int position)
{
    remove_section(&section);
    sections_.insert(section, position);
}

} // namespace qrnuci
