// SPDX-License-Identifier: Apache-2.0
#include "uci/Change.h"

#include <algorithm>
#include <bit>

#include "uci/Arena.h"
#include "uci/ByteHash.h"

namespace qrnuci
{

namespace
{

/// What changes are about: an option of a section, or the section itself.
struct Target {
    std::string_view section;
    std::string_view option; ///< empty: the section
    u32 generation = 0;      ///< of a section, and of an option in it; the name may have passed to another
    Change* first = nullptr; ///< those that count, in their order
    Change* last = nullptr;
    bool has_renamed = false;  ///< options, so that it may have two of one name
    u32 additions = 0;         ///< of the section, since it was deleted
    Change* added = nullptr;   ///< the last of them
    Change* deleted = nullptr; ///< what has deleted it before
    Target* options = nullptr; ///< of a section
    Target* next_option = nullptr;
    Target* next = nullptr; ///< with the same hash
};

/// Those that have the same hash.
struct Bucket {
    Target* first = nullptr;
};

/// Whether it deletes the option, whatever that holds.
bool is_deletion(const Change& change)
{
    return change.value.empty() && (change.mark == '-' || change.mark == '=');
}

/// Follows the changes, and marks those that later ones supersede.
class Follower
{
  public:
    Follower(Bucket* buckets, std::size_t mask, Arena& arena) : buckets_(buckets), mask_(mask), arena_(arena)
    {
    }

    /// False: no memory.
    bool follow(Change& change)
    {
        Target* const section = target(change.key.section.name, {});
        if (section == nullptr) {
            return false;
        }
        if (change.key.option.empty()) {
            return follow_section(change, *section);
        }
        if (change.mark == '@') {
            section->has_renamed = true;
        }
        if (section->has_renamed) {
            return true;
        }
        Target* const option = target(change.key.section.name, change.key.option);
        if (option == nullptr) {
            return false;
        }
        if (option->generation != section->generation || option->first == nullptr) {
            option->generation = section->generation;
            option->first = option->last = nullptr;
        }
        follow_option(change, *option);
        return true;
    }

  private:
    bool follow_section(Change& change, Target& section)
    {
        switch (change.mark) {
        case '+':
            ++section.generation; // what was said of its options before was said of nothing
            ++section.additions;
            last_added_ = section.added = &change;
            return true;
        case '-':
            forget_options(section);
            // Names are made up by counting the sections that were added, so only the last can go without a
            // trace. Whether it was there before is not known here, so its deletion stays.
            if (section.additions == 1 && section.added == last_added_) {
                section.added->is_superseded = true;
                if (section.deleted != nullptr) {
                    section.deleted->is_superseded = true;
                }
                last_added_ = nullptr;
            }
            begin_anew(section);
            section.has_renamed = false;
            section.deleted = &change;
            return true;
        case '^':
            last_added_ = nullptr; // where a section stands depends on those that are there
            return true;
        case '@': {
            Target* const renamed = target(change.value, {});
            if (renamed == nullptr) {
                return false;
            }
            begin_anew(section);
            begin_anew(*renamed);
            renamed->has_renamed = renamed->has_renamed || section.has_renamed;
            return true;
        }
        default:
            begin_anew(section);
            return true;
        }
    }

    /// What is said of the section from now on has nothing to do with what was said before.
    static void begin_anew(Target& section)
    {
        ++section.generation;
        section.additions = 0;
        section.added = section.deleted = nullptr;
    }

    static void follow_option(Change& change, Target& option)
    {
        if (is_deletion(change)) {
            supersede(option.first);
            option.first = option.last = &change;
            return;
        }
        // A new value takes the place of what has made the option, as the option keeps its place in the
        // section.
        Change* old = option.first;
        while (old != nullptr && (is_deletion(*old) || old->mark == '~')) {
            old = old->next_of_target;
        }
        if (change.mark == '=' && old != nullptr && !has_removal(old)) {
            supersede(old->next_of_target);
            old->next_of_target = nullptr;
            old->mark = change.mark;
            old->value = change.value;
            old->has_value = true;
            change.is_superseded = true;
            option.last = old;
            return;
        }
        (option.last != nullptr ? option.last->next_of_target : option.first) = &change;
        option.last = &change;
    }

    /// Whether one takes an item out, which is all there is of an option that is no list.
    static bool has_removal(const Change* change)
    {
        while (change != nullptr && change->mark != '-') {
            change = change->next_of_target;
        }
        return change != nullptr;
    }

    static void supersede(Change* change)
    {
        for (; change != nullptr; change = change->next_of_target) {
            change->is_superseded = true;
        }
    }

    static void forget_options(const Target& section)
    {
        for (Target* option = section.options; option != nullptr; option = option->next_option) {
            if (option->generation == section.generation) {
                supersede(option->first);
            }
        }
    }

    /// Finds or makes one; null: no memory.
    Target* target(std::string_view section, std::string_view option)
    {
        const u64 hash = hash_bytes(section) ^ std::rotl(hash_bytes(option), 1);
        Bucket& bucket = buckets_[static_cast<std::size_t>(hash) & mask_];
        for (Target* each = bucket.first; each != nullptr; each = each->next) {
            if (each->section == section && each->option == option) {
                return each;
            }
        }
        auto* const made = arena_.make<Target>();
        if (made != nullptr) {
            made->section = section;
            made->option = option;
            made->next = bucket.first;
            bucket.first = made;
            if (Target* const owner = option.empty() ? nullptr : target(section, {})) {
                made->next_option = owner->options;
                owner->options = made;
            }
        }
        return made;
    }

    Bucket* buckets_;
    std::size_t mask_;
    Arena& arena_;
    Change* last_added_ = nullptr;
};

} // namespace

bool parse_change(std::string_view text, Change& change)
{
    if (text.empty()) {
        return false;
    }
    if (std::string_view{"+-@^|~"}.find(text.front()) != std::string_view::npos) {
        change.mark = text.front();
        text.remove_prefix(1);
    }
    const std::size_t equals = std::min(text.find('='), text.size());
    change.has_value = equals != text.size();
    if (change.has_value) {
        change.value = {text.data() + equals + 1, text.size() - equals - 1};
    }
    return parse_key({text.data(), equals}, change.key) && !change.key.section.name.empty() &&
           (change.has_value || change.mark == '-');
}

void write_change(Growing& lines, std::string_view mark, std::string_view package, std::string_view section,
                  std::string_view option, const std::string_view* value)
{
    lines.append(mark).append(package).append(".").append(section);
    if (!option.empty()) {
        lines.append(".").append(option);
    }
    if (value != nullptr) {
        lines.append("='");
        for (const char& character : *value) {
            lines.append(character == '\'' ? std::string_view{"'\\''"} : std::string_view{&character, 1});
        }
        lines.append("'");
    }
    lines.append("\n");
}

bool mark_superseded(const List<Change>& changes, Arena& arena)
{
    std::size_t count = 0;
    for ([[maybe_unused]] const Change& change : changes) {
        ++count;
    }
    const std::size_t size = std::bit_ceil(count + 1);
    Bucket* const buckets = arena.make<Bucket>(size);
    bool is_done = buckets != nullptr;
    Follower follower{buckets, size - 1, arena};
    for (Change& change : changes) {
        is_done = is_done && follower.follow(change);
    }
    return is_done;
}

} // namespace qrnuci
