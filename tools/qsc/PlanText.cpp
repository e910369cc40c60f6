// SPDX-License-Identifier: Apache-2.0
#include "tools/qsc/PlanText.h"

#include <cstdio>
#include <string_view>

#include <json-c/json.h>

#include "base/Text.h"
#include "tools/qsc/Printable.h"
#include "tools/queue/Payload.h"

namespace qsc
{

namespace
{

using queue::member_of;

std::string_view text_in(json_object* object, const char* name)
{
    json_object* const member = member_of(object, name);
    return member != nullptr ? std::string_view{or_empty(json_object_get_string(member))}
                             : std::string_view{};
}

void print_in(json_object* object, const char* before, const char* name, const char* after = "")
{
    std::fputs(before, stdout);
    print_escaped(text_in(object, name));
    std::fputs(after, stdout);
}

bool has(json_object* object, const char* name)
{
    return json_object_object_get_ex(object, name, nullptr) != 0;
}

void print_change(json_object* change)
{
    print_in(change, "  ", "path", ".");
    print_in(change, "", "parameter", " = ");
    print_in(change, "", "value");
    if (has(change, "old")) {
        print_in(change, " (was ", "old", ")");
    }
}

void print_difference(json_object* difference)
{
    const std::string_view kind = text_in(difference, "kind");
    std::fputs(kind == "added" ? "  + " : kind == "deleted" ? "  - " : "    ", stdout);
    print_in(difference, "", "package", ".");
    print_in(difference, "", "section");
    if (has(difference, "option")) {
        print_in(difference, ".", "option");
    }
    if (kind == "added") {
        print_in(difference, " = ", "new");
    } else if (kind == "deleted") {
        print_in(difference, " (was ", "old", ")");
    } else {
        print_in(difference, kind == "moved" ? " moves from place " : ": ", "old",
                 kind == "moved" ? " to " : " -> ");
        print_in(difference, "", "new");
    }
}

void print_refusal(json_object* refusal)
{
    print_in(refusal, "  ", "error");
}

/// One part of a plan.
struct Section {
    const char* member;
    const char* title;
    void (*print)(json_object* entry);
};

constexpr Section kSections[] = {
    {"changes", "Parameters", print_change},
    {"configuration", "Configuration", print_difference},
    {"packages", "Packages to write",
     [](json_object* name) {
         std::fputs("  ", stdout);
         print_escaped(or_empty(json_object_get_string(name)));
     }},
    {"files", "Files",
     [](json_object* file) {
         print_in(file, "  ", "path", " is ");
         print_in(file, "", "kind");
     }},
    {"commands", "Commands", [](json_object* command) { print_in(command, "  ", "command"); }},
    {"skipped", "Not needed",
     [](json_object* skipped) {
         print_in(skipped, "  ", "command", ": ");
         print_in(skipped, "", "why");
     }},
    {"refused", "Refused", print_refusal},
};

} // namespace

void print_changes(json_object* plan)
{
    for (const Section& section : kSections) {
        json_object* const entries = member_of(plan, section.member);
        const std::size_t count =
            json_object_is_type(entries, json_type_array) != 0 ? json_object_array_length(entries) : 0;
        if (count != 0) {
            std::printf("%s:\n", section.title);
        }
        for (std::size_t i = 0; i < count; ++i) {
            section.print(json_object_array_get_idx(entries, i));
            std::putchar('\n');
        }
    }
    if (has(plan, "hash")) {
        print_in(plan, "Hash: ", "hash", "\n");
    }
}

} // namespace qsc
