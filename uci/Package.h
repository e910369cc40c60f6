// SPDX-License-Identifier: Apache-2.0
// A package in memory: sections of options, and the changes that files and staged deltas make to them.
#pragma once

#include <array>
#include <string_view>

#include "uci/Arena.h"
#include "uci/Key.h"
#include "uci/List.h"

namespace qrnuci
{

struct Item {
    std::string_view value;
    Item* next = nullptr;
};

struct Option {
    std::string_view name;
    bool is_list = false; ///< a plain option is a list of exactly one item
    List<Item> items;
    Option* next = nullptr;
};

/// Room for a section's made-up name.
using MadeUpName = std::array<char, 24>;

struct Section {
    std::string_view type;
    std::string_view name;
    bool is_anonymous = false; ///< its name is made up and not written to the file
    List<Option> options;
    i32 index_in_type = 0; ///< how many of its type stand before it; known once the package is indexed
    Section* next = nullptr;
};

/// Texts handed to the changes below must live as long as the package: they come from its arena, or from a
/// buffer that the caller keeps. A change that answers false found no memory.
class Package
{
  public:
    [[nodiscard]] const List<Section>& sections() const { return sections_; }
    [[nodiscard]] Arena& arena() { return arena_; }

    void clear()
    {
        sections_.clear();
        added_sections_ = 0;
        slots_ = nullptr;
        arena_.clear();
    }

    [[nodiscard]] Section* find(std::string_view name) const;
    [[nodiscard]] Section* find(const SectionRef& reference) const;
    [[nodiscard]] Option* find_option(const Section& section, std::string_view name) const;

    /// Makes every later search a look into a table, until something comes, goes or gets another name.
    /// Without memory for the table the searches go on as before.
    void build_index();
    void drop_index() { slots_ = nullptr; }
    [[nodiscard]] bool has_index() const { return slots_ != nullptr; }

    /// Adds a section; an empty name makes one up as every reader of the file does, so that staged changes
    /// of other programs find it.
    [[nodiscard]] Section* add_section(std::string_view type, std::string_view name);

    /// The name that the next section without one of its own would get.
    [[nodiscard]] std::string_view make_up_name(std::string_view type, MadeUpName& room) const;

    [[nodiscard]] u32 count_sections() const;
    [[nodiscard]] u32 position_of(const Section& section) const;

    /// Sets a plain option; an empty value deletes it.
    [[nodiscard]] bool set_option(Section& section, std::string_view name, std::string_view value);

    /// Adds an item to a list; a plain option becomes a list first.
    [[nodiscard]] bool add_item(Section& section, std::string_view name, std::string_view value);

    /// Adds an option that the section does not have yet, without a value.
    [[nodiscard]] Option* add_option(Section& section, std::string_view name);

    /// Adds a value behind those that the option has.
    [[nodiscard]] bool append_item(Option& option, std::string_view value);

    void remove_option(Section& section, const Option* option);
    void remove_section(const Section* section);
    void move_section(Section& section, int position);

  private:
    [[nodiscard]] Option* find_or_add(Section& section, std::string_view name);

    enum class Kind : u32 { kFree, kByName, kByType, kLastOfType, kOption };

    /// What a search finds: a section by its name, by its type and number, as the last of its type; or an
    /// option of a section.
    struct Slot {
        u64 hash;
        Kind kind;
        Section* section;
        Option* option;
    };

    void enter(Kind kind, u64 hash, Section& section, Option* option = nullptr);
    template <typename Fits>
    [[nodiscard]] Slot* look_up(Kind kind, u64 hash, Fits fits) const;
    [[nodiscard]] Section* look_up_by_type(std::string_view type, i32 index) const;
    [[nodiscard]] Section* find_by_type(const SectionRef& reference) const;

    Arena arena_;
    List<Section> sections_;
    u32 added_sections_ = 0;
    Slot* slots_ = nullptr; ///< null: not indexed
    std::size_t slot_mask_ = 0;
    std::size_t slots_to_spare_ = 0; ///< for options that come
};

} // namespace qrnuci
