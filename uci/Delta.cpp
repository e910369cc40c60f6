// SPDX-License-Identifier: Apache-2.0
#include "uci/Delta.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "base/Parse.h"
#include "uci/Change.h"
#include "uci/Scanner.h"

namespace qrnuci
{

namespace
{

constexpr std::string_view kGroup = "qrnuci_group";

/// Sets a section's type, or adds the section.
bool set_section(Package& package, Section* section, const Change& change)
{
    if (section != nullptr && is_type(change.value)) {
        // Every program makes a type of another length a new section of that name, which is anonymous no
        // more.
        const bool stays = section->is_anonymous && section->type.size() == change.value.size();
        section->is_anonymous = stays || change.mark == '+';
        section->type = change.value;
        package.drop_index();
    } else if (section != nullptr && change.value.empty()) {
        package.remove_section(section);
    } else if (is_type(change.value)) {
        section = package.add_section(change.value, change.key.section.name);
        if (section == nullptr) {
            return false;
        }
        section->is_anonymous = change.mark == '+';
    }
    return true;
}

/// Takes out an option, one item of a list by its number, or a section.
void remove(Package& package, Section& section, Option* option, const Change& change)
{
    if (change.key.option.empty()) {
        package.remove_section(&section);
        return;
    }
    if (option == nullptr) {
        return;
    }
    if (!option->is_list || change.value.empty()) {
        package.remove_option(section, option);
        return;
    }
    i32 index = 0;
    if (qsc::parse_leading(change.value, index)) {
        option->items.remove_if([&](const Item&) { return index-- == 0; });
    }
}

/// Makes one change; false: no memory. A change of what is not there is none.
bool apply(Package& package, const Change& change)
{
    Section* const section = package.find(change.key.section.name);
    if (change.key.option.empty() && (change.mark == '=' || change.mark == '+')) {
        return set_section(package, section, change);
    }
    if (section == nullptr) {
        return true;
    }
    Option* const option = package.find_option(*section, change.key.option);
    switch (change.mark) {
    case '-':
        remove(package, *section, option, change);
        return true;
    case '@':
        package.drop_index();
        if (is_name(change.value) && change.key.option.empty()) {
            section->name = change.value;
            section->is_anonymous = false;
        } else if (is_name(change.value) && option != nullptr) {
            option->name = change.value;
        }
        return true;
    case '^': {
        i32 position = 0; // without a number it is the front
        (void)qsc::parse_leading(change.value, position);
        if (change.key.option.empty()) {
            package.move_section(*section, position);
        }
        return true;
    }
    case '|':
        return change.key.option.empty() || package.add_item(*section, change.key.option, change.value);
    case '~':
        if (option != nullptr && option->is_list) {
            option->items.remove_if([&](const Item& item) { return item.value == change.value; });
        }
        return true;
    default:
        return package.set_option(*section, change.key.option, change.value);
    }
}

/// The number in a note; false: it is not that note.
bool note_number(const Change& change, std::string_view note, u64& number)
{
    return change.mark == '~' && change.key.section.name == note && qsc::parse_whole(change.value, number);
}

NoteText make_note(std::string_view package, std::string_view note, const char* option, u64 number)
{
    char assignment[48];
    (void)std::snprintf(assignment, sizeof assignment, ".%s='%llu'\n", option,
                        static_cast<unsigned long long>(number));
    NoteText line;
    line.append("~").append(package).append(".").append(note).append(assignment);
    return line;
}

/// Reads the changes of a staging file up to the first that was written in part.
u32 read_changes(char* text, std::size_t size, std::string_view name, Arena& arena, List<Change>& changes,
                 DeltaState& state)
{
    Scanner scanner{text, size};
    std::size_t group_end = 0;
    while (!scanner.at_end()) {
        std::string_view word;
        if (!scanner.take_word(word)) {
            break; // a value that does not end
        }
        Change change;
        const bool is_change =
            scanner.at_line_end() && parse_change(word, change) && change.key.package == name;
        const bool has_end = scanner.next_line();
        u64 number = 0;
        if (is_change && note_number(change, kGroup, number)) {
            if (!has_end || number > size - scanner.offset()) {
                break;
            }
            group_end = scanner.offset() + static_cast<std::size_t>(number);
        } else if (is_change) {
            auto* const kept = arena.make<Change>();
            if (kept == nullptr) {
                return ENOMEM;
            }
            *kept = change;
            changes.append(*kept);
        }
        if (!has_end) {
            break; // a last line without its end is seen, but the next change is written over it
        }
        if (scanner.offset() >= group_end) {
            state.sound = scanner.offset();
        }
    }
    return 0;
}

/// The bytes that the changes need which make a difference.
u32 count_needed(const List<Change>& changes, Arena& arena, std::size_t& needed)
{
    if (!mark_superseded(changes, arena)) {
        return ENOMEM;
    }
    for (const Change& change : changes) {
        const Key& key = change.key;
        needed += change.is_superseded ? 0
                                       : key.package.size() + key.section.name.size() + key.option.size() +
                                             change.value.size() + 7;
    }
    return 0;
}

} // namespace

u32 apply_delta(char* text, std::size_t size, std::string_view name, Package& package, DeltaState& state)
{
    List<Change> changes;
    if (const u32 code = read_changes(text, size, name, package.arena(), changes, state)) {
        return code;
    }
    state.has_changes = !changes.empty();
    for (const Change& change : changes) {
        if (!apply(package, change)) {
            return ENOMEM;
        }
    }
    return is_long_delta(size) ? count_needed(changes, package.arena(), state.needed) : 0;
}

u32 compact_delta(char* text, std::size_t size, std::string_view name, Arena& arena, Growing& lines)
{
    List<Change> changes;
    DeltaState state;
    if (const u32 code = read_changes(text, size, name, arena, changes, state)) {
        return code;
    }
    if (!mark_superseded(changes, arena)) {
        return ENOMEM;
    }
    for (const Change& change : changes) {
        if (!change.is_superseded) {
            const std::string_view mark{&change.mark, change.mark == '=' ? 0U : 1U};
            write_change(lines, mark, name, change.key.section.name, change.key.option,
                         change.has_value ? &change.value : nullptr);
        }
    }
    return lines.failed() ? ENOMEM : 0;
}

NoteText group_note(std::string_view package, const DeltaState& state, std::size_t size)
{
    // A kill can stop a write between two pages of the file, but not within one.
    constexpr std::size_t kPageSize = 4096;
    return state.sound % kPageSize + size > kPageSize ? make_note(package, kGroup, "size", size) : NoteText{};
}

} // namespace qrnuci
