// SPDX-License-Identifier: Apache-2.0
#include "uci/Matching.h"

#include <algorithm>

#include "uci/ByteHash.h"

namespace qrnuci
{

namespace
{

/// With more pairs to choose from, sections are paired in their order.
constexpr std::size_t kMostPairs = 65'536;

/// The same whatever order the options have.
u64 hash_content(const Section& section)
{
    u64 sum = hash_bytes(section.type);
    for (const Option& option : section.options) {
        ByteHash hash;
        hash.add(option.name);
        for (const Item& item : option.items) {
            hash.add("=");
            hash.add(item.value);
        }
        sum += hash.value();
    }
    return sum;
}

/// How many options both have: twice for those that say the same.
u32 likeness(const Section& one, const Section& other)
{
    u32 sum = 0;
    for (const Option& option : one.options) {
        const Option* const found = find_option(other, option.name);
        sum += found == nullptr ? 0 : is_same(option, *found) ? 2 : 1;
    }
    return sum;
}

u32 count_options(const Section& section)
{
    u32 count = 0;
    for ([[maybe_unused]] const Option& option : section.options) {
        ++count;
    }
    return count;
}

bool has_same_content(const Matched& one, const Matched& other)
{
    const u32 count = count_options(*one.section);
    return one.content == other.content && one.section->type == other.section->type &&
           count == count_options(*other.section) && likeness(*one.section, *other.section) == 2 * count;
}

void pair(Matched& one, Matched& other)
{
    one.partner = &other;
    other.partner = &one;
}

/// Pairs those left for which fits(old, new) holds, looking first at what follows the last pair: mostly there
/// is little between two equal sections.
template <typename Fits>
void pair_all(std::span<Matched> old_sections, std::span<Matched> new_sections, Fits fits)
{
    std::size_t next = 0;
    for (Matched& wanted : new_sections) {
        for (std::size_t step = 0; wanted.partner == nullptr && step < old_sections.size(); ++step) {
            const std::size_t at = (next + step) % old_sections.size();
            if (old_sections[at].partner == nullptr && fits(old_sections[at], wanted)) {
                pair(old_sections[at], wanted);
                next = at + 1;
            }
        }
    }
}

bool are_anonymous(const Matched& one, const Matched& other)
{
    return one.section->is_anonymous && other.section->is_anonymous;
}

/// Pairs what is left without a name with the most alike of its type.
void pair_alike(std::span<Matched> old_sections, std::span<Matched> new_sections)
{
    const auto count_left = [](std::span<Matched> sections) {
        return static_cast<std::size_t>(
            std::ranges::count_if(sections, [](const Matched& each) { return each.partner == nullptr; }));
    };
    const auto fits = [](const Matched& before, const Matched& after) {
        return are_anonymous(before, after) && before.section->type == after.section->type;
    };
    if (count_left(old_sections) * count_left(new_sections) > kMostPairs) {
        pair_all(old_sections, new_sections, fits);
        return;
    }
    for (Matched& wanted : new_sections) {
        Matched* best = nullptr;
        u32 most = 0;
        for (Matched& each : old_sections) {
            if (wanted.partner != nullptr || each.partner != nullptr || !fits(each, wanted)) {
                continue;
            }
            if (const u32 found = likeness(*each.section, *wanted.section); found > most) {
                most = found;
                best = &each;
            }
        }
        if (best != nullptr) {
            pair(*best, wanted);
        }
    }
}

/// Finds the fewest sections that must have moved: all but the longest row of pairs that are in one order.
bool find_moved(std::span<Matched> new_sections, Arena& arena)
{
    auto* const rows = arena.make<Matched*>(new_sections.size()); // of each length, the row that ends first
    auto* const before = arena.make<Matched*>(new_sections.size());
    if (rows == nullptr || before == nullptr) {
        return false;
    }
    std::size_t longest = 0;
    for (Matched& each : new_sections) {
        if (each.partner == nullptr) {
            continue;
        }
        Matched** const place =
            std::lower_bound(rows, rows + longest, &each, [](const Matched* one, const Matched* other) {
                return one->partner->position < other->partner->position;
            });
        each.is_moved = true;
        before[each.position] = place != rows ? place[-1] : nullptr;
        longest = std::max(longest, static_cast<std::size_t>(place - rows) + 1);
        *place = &each;
    }
    Matched* stays = longest > 0 ? rows[longest - 1] : nullptr;
    for (; stays != nullptr; stays = before[stays->position]) {
        stays->is_moved = false;
    }
    return true;
}

} // namespace

const Option* find_option(const Section& section, std::string_view name)
{
    for (const Option& option : section.options) {
        if (option.name == name) {
            return &option;
        }
    }
    return nullptr;
}

bool is_same(const Option& one, const Option& other)
{
    auto each = other.items.begin();
    for (const Item& item : one.items) {
        if (!(each != other.items.end()) || (*each).value != item.value) {
            return false;
        }
        ++each;
    }
    return one.is_list == other.is_list && !(each != other.items.end());
}

Sections list_sections(Package& package)
{
    const std::size_t count = package.count_sections();
    auto* const all = package.arena().make<Matched>(count);
    if (all == nullptr) {
        return {};
    }
    u32 position = 0;
    for (const Section& section : package.sections()) {
        all[position].section = &section;
        all[position].content = hash_content(section);
        all[position].position = position;
        ++position;
    }
    return {{all, count}, true};
}

bool match(std::span<Matched> old_sections, std::span<Matched> new_sections, Arena& arena)
{
    pair_all(old_sections, new_sections, [](const Matched& before, const Matched& after) {
        return !before.section->is_anonymous && !after.section->is_anonymous &&
               before.section->name == after.section->name;
    });
    pair_all(old_sections, new_sections, [](const Matched& before, const Matched& after) {
        return are_anonymous(before, after) && has_same_content(before, after);
    });
    // One that says something, and says it under another name now.
    pair_all(old_sections, new_sections, [](const Matched& before, const Matched& after) {
        return !after.section->options.empty() && has_same_content(before, after);
    });
    pair_alike(old_sections, new_sections);
    return find_moved(new_sections, arena);
}

} // namespace qrnuci
