// SPDX-License-Identifier: Apache-2.0
// audit, history and show: three views of the journal. What it holds came from outside, so nothing of it is
// taken on trust.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include <json-c/json.h>

#include "base/Text.h"
#include "include/qsc_journal.h"
#include "include/qsyscmdhal.h"
#include "tools/qsc/Answers.h"
#include "tools/qsc/Commands.h"
#include "tools/qsc/DaemonSocket.h"
#include "tools/qsc/Json.h"
#include "tools/qsc/Printable.h"
#include "tools/queue/Payload.h"

namespace qsc
{

namespace
{

using queue::member_of;

void print_value(json_object* value)
{
    print_escaped(json_object_is_type(value, json_type_string) != 0
                      ? json_object_get_string(value)
                      : json_object_to_json_string_ext(value, JSON_C_TO_STRING_PLAIN));
}

void print_member(json_object* object, const char* name, const char* before = "", const char* after = "")
{
    if (json_object* const value = member_of(object, name)) {
        std::fputs(before, stdout);
        print_value(value);
        std::fputs(after, stdout);
    }
}

void print_time(json_object* entry)
{
    const auto seconds = static_cast<time_t>(json_object_get_int64(member_of(entry, "time")));
    std::tm local{};
    char text[32] = "?";
    if (localtime_r(&seconds, &local) != nullptr) {
        (void)std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    }
    std::fputs(text, stdout);
}

void print_who(json_object* entry)
{
    print_member(entry, "commander");
    print_member(entry, "peer", " (", ")");
}

void print_result(json_object* entry)
{
    json_object* const result = member_of(entry, "result");
    if (json_object_get_int64(result) != 0) {
        std::fputs("failed with code ", stdout);
        print_value(result);
        print_member(entry, "error", ": ");
    } else {
        std::fputs("done", stdout);
        print_member(entry, "error", ": ");
    }
}

void print_change(json_object* change)
{
    print_member(change, "path");
    print_member(change, "parameter", ".");
    std::fputs(": ", stdout);
    print_member(change, "old", "", " -> ");
    print_member(change, "new");
}

/// Calls use(element) for each element of a list, if it is one.
template <typename Use>
void for_each_element(json_object* list, Use use)
{
    if (json_object_is_type(list, json_type_array) != 0) {
        for (std::size_t i = 0; i < json_object_array_length(list); ++i) {
            use(json_object_array_get_idx(list, i));
        }
    }
}

void print_audit(json_object* entry)
{
    const bool has_failed = json_object_get_int64(member_of(entry, "result")) != 0;
    for_each_element(member_of(entry, "changes"), [&](json_object* change) {
        print_time(entry);
        std::fputs("  ", stdout);
        print_member(entry, "id", "", "  ");
        print_who(entry);
        std::fputs("  ", stdout);
        print_change(change);
        std::puts(has_failed ? " (failed)" : "");
    });
}

void print_summary(json_object* entry)
{
    constexpr std::size_t kShown = 3;
    std::size_t count = 0;
    print_member(entry, "id", "", "  ");
    print_time(entry);
    std::fputs("  ", stdout);
    print_member(entry, "kind");
    print_member(entry, "undoes", " of ");
    std::fputs(" by ", stdout);
    print_who(entry);
    for_each_element(member_of(entry, "changes"), [&](json_object* change) {
        if (count < kShown) {
            print_member(change, "path", count == 0 ? "  " : ", ");
            print_member(change, "parameter", ".");
        }
        ++count;
    });
    if (count > kShown) {
        std::printf(" and %zu more", count - kShown);
    }
    std::fputs("  ", stdout);
    print_result(entry);
    std::putchar('\n');
}

/// Adds the names before the values of a difference: "network.wan.proto: dhcp -> static".
void print_difference(json_object* difference)
{
    std::fputs("  ", stdout);
    print_member(difference, "package");
    print_member(difference, "section", ".");
    print_member(difference, "option", ".");
    std::fputs(": ", stdout);
    print_member(difference, "kind");
    print_member(difference, "old", " ");
    print_member(difference, "new", " -> ");
    std::putchar('\n');
}

void print_whole(json_object* entry)
{
    print_member(entry, "id", "id:          ", "\n");
    std::fputs("time:        ", stdout);
    print_time(entry);
    print_member(entry, "uptime", ", ", " s after the start of the device\n");
    print_member(entry, "kind", "kind:        ");
    print_member(entry, "undoes", " of ");
    std::putchar('\n');
    std::fputs("by:          ", stdout);
    print_who(entry);
    std::fputs("\nresult:      ", stdout);
    print_result(entry);
    std::puts("\nchanges:");
    for_each_element(member_of(entry, "changes"), [](json_object* change) {
        std::fputs("  ", stdout);
        print_change(change);
        std::putchar('\n');
    });
    if (member_of(entry, "configuration") != nullptr) {
        std::puts("configuration:");
        for_each_element(member_of(entry, "configuration"), print_difference);
    }
    if (member_of(entry, "cut") != nullptr) {
        std::puts("There was more than the journal takes.");
    }
}

/// Reads the journal, through a running daemon where that is wanted. Null: it failed, which has been said.
JsonRef read_entries(const Options& options, const char* method, const char* name, const char* value)
{
    JsonRef filter{json_object_new_object()};
    if ((value != nullptr && !add(filter.get(), name, JsonRef{json_object_new_string(value)})) ||
        (options.count != 0 && !add(filter.get(), "limit", JsonRef{json_object_new_int64(options.count)}))) {
        out_of_memory();
        return nullptr;
    }
    if (options.socket != nullptr) {
        const JsonRef answer = call_daemon(options.socket, method, std::move(filter));
        if (answer == nullptr || say_error(answer.get())) {
            return nullptr;
        }
        return JsonRef{json_object_get(member_of(member_of(answer.get(), "result"), "entries"))};
    }
    json_object* entries = nullptr;
    const u32 code = QSysCmdHal_JournalRead(filter.get(), &entries);
    if (code != 0) {
        failure("the journal cannot be read: %s", code == EFAULT ? "see the system log" : meaning_of(code));
    }
    return JsonRef{entries};
}

/// Shows entries, each by a function, or all of them as JSON.
ExitCode show_entries(const Options& options, const JsonRef& entries, void (*print)(json_object* entry))
{
    if (entries == nullptr) {
        return kFailed;
    }
    if (options.as_json) {
        print_json(entries.get());
    } else {
        for_each_element(entries.get(), print);
    }
    return kDone;
}

} // namespace

ExitCode audit(const Options& options, Words words)
{
    return show_entries(options, read_entries(options, "audit", "path", words.empty() ? nullptr : words[0]),
                        print_audit);
}

ExitCode history(const Options& options, Words)
{
    return show_entries(options, read_entries(options, "history", nullptr, nullptr),
                        options.quiet ? [](json_object* entry) { print_member(entry, "id", "", "\n"); }
                                      : print_summary);
}

ExitCode show(const Options& options, Words words)
{
    const JsonRef entries = read_entries(options, "show", "id", words[0]);
    if (entries != nullptr && json_object_array_length(entries.get()) == 0) {
        return failure("the journal has no entry '%.64s'; 'qsc history' shows what it has", words[0]);
    }
    return show_entries(options, entries, print_whole);
}

} // namespace qsc
