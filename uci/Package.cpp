// SPDX-License-Identifier: Apache-2.0
#include "uci/Package.h"

#include <bit>
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

std::string_view made_up_name(u32 number, std::string_view type, MadeUpName& room)
{
    const int length = std::snprintf(room.data(), room.size(), "cfg%02x%04x", number, name_hash(type));
    return {room.data(), static_cast<std::size_t>(length)};
}

/// The hash of a name within something: a section's address, or a number among its like.
u64 hash_of(std::string_view name, u64 within = 0)
{
    u64 hash = (within + 1) * 0x9E3779B97F4A7C15;
    for (const char character : name) {
        hash = (hash ^ static_cast<unsigned char>(character)) * 0x100000001B3;
    }
    return hash ^ (hash >> 32);
}

u64 address_of(const Section& section)
{
    return reinterpret_cast<std::uintptr_t>(&section);
}

} // namespace

Section* Package::find(std::string_view name) const
{
    if (slots_ != nullptr) {
        const auto fits = [&](const Slot& slot) { return slot.section->name == name; };
        const Slot* const slot = look_up(Kind::kByName, hash_of(name), fits);
        return slot != nullptr ? slot->section : nullptr;
    }
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
    return slots_ != nullptr && !reference.type.empty() ? look_up_by_type(reference.type, reference.index)
                                                        : find_by_type(reference);
}

Section* Package::find_by_type(const SectionRef& reference) const
{
    const auto counts = [&](const Section& section) {
        return reference.type.empty() || section.type == reference.type;
    };
    i64 wanted = reference.index;
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

Section* Package::look_up_by_type(std::string_view type, i32 index) const
{
    const auto is_of_type = [&](const Slot& slot) { return slot.section->type == type; };
    const Slot* const last = look_up(Kind::kLastOfType, hash_of(type), is_of_type);
    if (last == nullptr) {
        return nullptr;
    }
    const i64 wanted = index < 0 ? i64{index} + last->section->index_in_type + 1 : index;
    if (wanted < 0 || wanted > last->section->index_in_type) {
        return nullptr;
    }
    const auto fits = [&](const Slot& slot) {
        return slot.section->index_in_type == wanted && slot.section->type == type;
    };
    return look_up(Kind::kByType, hash_of(type, static_cast<u64>(wanted)), fits)->section;
}

Option* Package::find_option(const Section& section, std::string_view name) const
{
    if (slots_ != nullptr) {
        const auto fits = [&](const Slot& slot) {
            return slot.section == &section && slot.option->name == name;
        };
        const Slot* const slot = look_up(Kind::kOption, hash_of(name, address_of(section)), fits);
        return slot != nullptr ? slot->option : nullptr;
    }
    for (Option& option : section.options) {
        if (option.name == name) {
            return &option;
        }
    }
    return nullptr;
}

template <typename Fits>
Package::Slot* Package::look_up(Kind kind, u64 hash, Fits fits) const
{
    for (std::size_t at = static_cast<std::size_t>(hash) & slot_mask_; slots_[at].kind != Kind::kFree;
         at = (at + 1) & slot_mask_) {
        if (slots_[at].hash == hash && slots_[at].kind == kind && fits(slots_[at])) {
            return &slots_[at];
        }
    }
    return nullptr;
}

void Package::enter(Kind kind, u64 hash, Section& section, Option* option)
{
    std::size_t at = static_cast<std::size_t>(hash) & slot_mask_;
    while (slots_[at].kind != Kind::kFree) {
        at = (at + 1) & slot_mask_;
    }
    slots_[at] = {hash, kind, &section, option};
}

void Package::build_index()
{
    std::size_t entries = 0;
    for (const Section& section : sections_) {
        entries += 3;
        for ([[maybe_unused]] const Option& option : section.options) {
            ++entries;
        }
    }
    const std::size_t size = std::bit_ceil(2 * entries + 1);
    slots_ = arena_.make<Slot>(size);
    if (slots_ == nullptr) {
        return;
    }
    slot_mask_ = size - 1;
    slots_to_spare_ = size / 4;
    for (Section& section : sections_) {
        const auto is_of_type = [&](const Slot& slot) { return slot.section->type == section.type; };
        if (Slot* const last = look_up(Kind::kLastOfType, hash_of(section.type), is_of_type)) {
            section.index_in_type = last->section->index_in_type + 1;
            last->section = &section;
        } else {
            enter(Kind::kLastOfType, hash_of(section.type), section);
        }
        enter(Kind::kByType, hash_of(section.type, static_cast<u64>(section.index_in_type)), section);
        enter(Kind::kByName, hash_of(section.name), section);
        for (Option& option : section.options) {
            enter(Kind::kOption, hash_of(option.name, address_of(section)), section, &option);
        }
    }
}

Section* Package::add_section(std::string_view type, std::string_view name)
{
    auto* const section = arena_.make<Section>();
    if (section == nullptr) {
        return nullptr;
    }
    drop_index();
    ++added_sections_;
    section->type = type;
    section->is_anonymous = name.empty();
    if (name.empty()) {
        auto* const room = arena_.make<MadeUpName>();
        if (room == nullptr) {
            return nullptr;
        }
        name = made_up_name(added_sections_, type, *room);
    }
    section->name = name;
    sections_.append(*section);
    return section;
}

std::string_view Package::make_up_name(std::string_view type, MadeUpName& room) const
{
    u32 number = added_sections_;
    std::string_view name;
    do {
        name = made_up_name(++number, type, room);
    } while (find(name) != nullptr);
    return name;
}

u32 Package::count_sections() const
{
    u32 count = 0;
    for ([[maybe_unused]] const Section& section : sections_) {
        ++count;
    }
    return count;
}

u32 Package::position_of(const Section& section) const
{
    u32 position = 0;
    for (const Section& other : sections_) {
        if (&other == &section) {
            break;
        }
        ++position;
    }
    return position;
}

Option* Package::add_option(Section& section, std::string_view name)
{
    auto* const option = arena_.make<Option>();
    if (option == nullptr) {
        return nullptr;
    }
    option->name = name;
    section.options.append(*option);
    if (slots_ != nullptr && slots_to_spare_-- > 0) {
        enter(Kind::kOption, hash_of(name, address_of(section)), section, option);
    } else {
        drop_index();
    }
    return option;
}

Option* Package::find_or_add(Section& section, std::string_view name)
{
    Option* const option = find_option(section, name);
    return option != nullptr ? option : add_option(section, name);
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
    if (value.empty()) {
        remove_option(section, find_option(section, name));
        return true;
    }
    Option* const option = find_or_add(section, name);
    if (option == nullptr) {
        return false;
    }
    option->is_list = false;
    option->items.clear();
    return append_item(*option, value);
}

bool Package::add_item(Section& section, std::string_view name, std::string_view value)
{
    Option* const option = find_or_add(section, name);
    if (option == nullptr) {
        return false;
    }
    option->is_list = true;
    return append_item(*option, value);
}

void Package::remove_option(Section& section, const Option* option)
{
    drop_index();
    section.options.remove_if([&](const Option& other) { return &other == option; });
}

void Package::remove_section(const Section* section)
{
    drop_index();
    sections_.remove_if([&](const Section& other) { return &other == section; });
}

void Package::move_section(Section& section, int position)
{
    remove_section(&section);
    sections_.insert(section, position);
}

} // namespace qrnuci
