// SPDX-License-Identifier: Apache-2.0
// What an apply would do: the differences of packages and files, and the commands.
#include <array>
#include <bit>
#include <cerrno>
#include <cstring>
#include <iterator>

#include <json-c/json.h>
#include <sys/random.h>
#include <sys/stat.h>

#include "apply/Apply.h"
#include "base/ReplaceFile.h"
#include "base/SafeFile.h"
#include "base/UciOptional.h"
#include "core/Refusal.h"

namespace qsc::apply
{

namespace
{

/// A keyed hash (SipHash-2-4): whoever sees it in a plan cannot try out what a secret may be.
class KeyedHash
{
  public:
    KeyedHash(u64 first, u64 second)
        : state_{first ^ 0x736f6d6570736575, second ^ 0x646f72616e646f6d, first ^ 0x6c7967656e657261,
                 second ^ 0x7465646279746573}
    {
    }

    u64 of(std::string_view text)
    {
        const u64 size = text.size();
        for (; text.size() >= sizeof(u64); text.remove_prefix(sizeof(u64))) {
            take(word_of(text, sizeof(u64)), 2);
        }
        take(word_of(text, text.size()) | size << 56, 2);
        state_[2] ^= 0xFF;
        take(0, 4);
        return state_[0] ^ state_[1] ^ state_[2] ^ state_[3];
    }

  private:
    static u64 word_of(std::string_view text, std::size_t size)
    {
        u64 word = 0;
        std::memcpy(&word, text.data(), size);
        return word;
    }

    void take(u64 word, int rounds)
    {
        auto& [a, b, c, d] = state_;
        d ^= word;
        for (int i = 0; i < rounds; ++i) {
            a += b;
            c += d;
            b = std::rotl(b, 13) ^ a;
            d = std::rotl(d, 16) ^ c;
            a = std::rotl(a, 32) + d;
            c += b;
            d = std::rotl(d, 21) ^ a;
            b = std::rotl(b, 17) ^ c;
            c = std::rotl(c, 32);
        }
        a ^= word;
    }

    std::array<u64, 4> state_;
};

/// The device's own key, made when it is first needed.
u32 read_key(std::array<u64, 2>& key)
{
    constexpr const char* kKey = "/etc/qsyscmdhal/key";
    const RecordingScope as_it_is{nullptr};
    FileText text;
    if (read_safe_file(kKey, text) == 0 && text.view().size() == sizeof key) {
        std::memcpy(key.data(), text.view().data(), sizeof key);
        return 0;
    }
    return getrandom(key.data(), sizeof key, 0) == sizeof key
               ? replace_file(kKey, {reinterpret_cast<const char*>(key.data()), sizeof key}, 0600)
               : u32{EFAULT};
}

/// Over what was asked for, and the texts before it.
u32 add_hash(const Session& session, const Plan& plan)
{
    JsonRef whole{json_object_new_array()};
    u32 code = append_to(whole.get(), json_object_get(session.sets.get()));
    code = code != 0 ? code : append_to(whole.get(), json_object_get(session.commits.get()));
    code = code != 0 ? code : append_to(whole.get(), json_object_get(session.services.get()));
    for (const char* const member : {"packages", "files"}) {
        json_object_object_foreach(json_object_object_get(plan.texts.get(), member), name, item)
        {
            json_object* const before = json_object_object_get(item, "before");
            code = code != 0 ? code : append_to(whole.get(), json_object_new_string(name));
            code = code != 0 || json_object_array_add(whole.get(), json_object_get(before)) == 0
                       ? code
                       : u32{ENOMEM};
        }
    }
    std::array<u64, 2> key{};
    std::size_t size = 0;
    const char* const text = json_object_to_json_string_length(whole.get(), JSON_C_TO_STRING_PLAIN, &size);
    code = code != 0 || text != nullptr ? code : u32{ENOMEM};
    code = code != 0 ? code : read_key(key);
    if (code != 0) {
        return refuse(code, "%s cannot be used", kFolder);
    }
    constexpr const char* kDigits = "0123456789abcdef";
    u64 hash = KeyedHash{key[0], key[1]}.of({text, size});
    std::array<char, 16> digits;
    for (char& digit : digits) {
        hash = std::rotl(hash, 4);
        digit = kDigits[hash & 0xF];
    }
    return put_text(plan.report.get(), "hash", {digits.data(), digits.size()});
}

using ReadPackage = u32(const char*, char*, u32, u32*);

/// The text of a package as one of the two functions has it; null in `text`: there is none.
u32 read_package(ReadPackage* read, const char* name, JsonRef& text)
{
    u32 size = 0;
    u32 code = call_optional(read, name, static_cast<char*>(nullptr), 0U, &size);
    if (code == ENOENT) {
        text.reset();
        return 0;
    }
    auto* const memory =
        static_cast<char*>(std::malloc(size_t{size} + 1)); // NOLINT(cppcoreguidelines-no-malloc)
    if (memory == nullptr) {
        return ENOMEM;
    }
    code = call_optional(read, name, memory, size + 1, &size);
    if (code == 0) {
        text.reset(make_text({memory, size}));
    }
    std::free(memory); // NOLINT(cppcoreguidelines-no-malloc)
    return code != 0 || text != nullptr ? code : u32{ENOMEM};
}

/// Where the differences of a package go.
struct Differences {
    const Session& session;
    const char* package;
    json_object* all;
    bool has_any = false;
};

u32 add_difference(const Qrn_UciDifference* difference, void* context)
{
    constexpr const char* kKinds[] = {"", "added", "deleted", "changed", "moved", "renamed"};
    auto& differences = *static_cast<Differences*>(context);
    differences.has_any = true;
    JsonRef entry{json_object_new_object()};
    const bool is_secret = is_secret_option(differences.session, difference->option, difference->old_value,
                                            difference->new_value);
    const auto shown = [&](const char* value) { return is_secret && *value != '\0' ? "***" : value; };
    u32 code = put_text(entry.get(), "package", differences.package);
    code = code != 0 ? code : put_text(entry.get(), "section", difference->section);
    code = code != 0 ? code : put_text(entry.get(), "type", difference->type);
    if (*difference->option != '\0') {
        code = code != 0 ? code : put_text(entry.get(), "option", difference->option);
    }
    code = code != 0 ? code
                     : put_text(entry.get(), "kind",
                                kKinds[difference->kind < std::size(kKinds) ? difference->kind : 0]);
    if (difference->kind != QRN_UCI_ADDED) {
        code = code != 0 ? code : put_text(entry.get(), "old", shown(difference->old_value));
    }
    if (difference->kind != QRN_UCI_DELETED) {
        code = code != 0 ? code : put_text(entry.get(), "new", shown(difference->new_value));
    }
    return code != 0 ? code : append_to(differences.all, entry.release());
}

u32 add_texts(Session& session, Plan& plan, const char* name, JsonRef before, JsonRef after)
{
    json_object* const configuration = json_object_object_get(plan.report.get(), "configuration");
    Differences differences{.session = session, .package = name, .all = configuration};
    const auto text = [](const JsonRef& whole) {
        return whole != nullptr ? json_object_get_string(whole.get()) : nullptr;
    };
    u32 code = note_stored_secrets(session, text(before));
    code = code != 0 ? code : note_stored_secrets(session, text(after));
    code = code != 0 ? code
                     : call_optional(QrnUci_ComparePackages, text(before), text(after), add_difference,
                                     static_cast<void*>(&differences));
    if (code != 0) {
        return refuse(code, "%s cannot be read", name);
    }
    if (!differences.has_any) {
        return 0;
    }
    JsonRef item{json_object_new_object()};
    const bool is_added = json_object_object_add(item.get(), "before", before.release()) == 0 &&
                          json_object_object_add(item.get(), "after", after.release()) == 0;
    code = is_added ? add_member(json_object_object_get(plan.texts.get(), "packages"), name, item.release())
                    : u32{ENOMEM};
    // What is only set is staged.
    return code != 0 || is_of_sets_only(session)
               ? code
               : append_to(json_object_object_get(plan.report.get(), "packages"),
                           json_object_new_string(name));
}

u32 add_package(Session& session, Plan& plan, const char* name)
{
    JsonRef before;
    JsonRef after;
    u32 code = read_package(QrnUci_ReadPackageBefore, name, before);
    code = code != 0 ? code : read_package(QrnUci_ReadPackage, name, after);
    return code != 0 ? refuse(code, "%s cannot be read", name)
                     : add_texts(session, plan, name, std::move(before), std::move(after));
}

/// What is given is put in place as it is.
u32 add_given(Session& session, Plan& plan)
{
    const auto share_member = [](json_object* item, const char* name) {
        return JsonRef{json_object_get(json_object_object_get(item, name))};
    };
    json_object_object_foreach(json_object_object_get(session.given.get(), "packages"), name, item)
    {
        if (const u32 code =
                add_texts(session, plan, name, share_member(item, "before"), share_member(item, "after"))) {
            return code;
        }
    }
    return 0;
}

u32 add_given_files(const Session& session, Plan& plan)
{
    if (session.given == nullptr) {
        return 0;
    }
    json_object_object_foreach(json_object_object_get(session.given.get(), "files"), path, item)
    {
        const bool was_there = json_object_object_get(item, "before") != nullptr;
        const bool is_there = json_object_object_get(item, "after") != nullptr;
        u32 code = add_member(json_object_object_get(plan.texts.get(), "files"), path, json_object_get(item));
        JsonRef entry{json_object_new_object()};
        code = code != 0 ? code : put_text(entry.get(), "path", path);
        code = code != 0 ? code
                         : put_text(entry.get(), "kind",
                                    !was_there  ? "made"
                                    : !is_there ? "deleted"
                                                : "changed");
        code =
            code != 0 ? code : append_to(json_object_object_get(plan.report.get(), "files"), entry.release());
        if (code != 0) {
            return code;
        }
    }
    return 0;
}

u32 add_packages(Session& session, Plan& plan)
{
    constexpr u32 kRoom = 4096;
    char names[kRoom];
    u32 count = 0;
    if (put_array(plan.report.get(), "configuration") == nullptr ||
        put_array(plan.report.get(), "packages") == nullptr) {
        return ENOMEM;
    }
    if (session.given != nullptr) {
        return add_given(session, plan);
    }
    if (const u32 code = call_optional(QrnUci_ListOverlay, &names[0], kRoom, &count)) {
        return code;
    }
    // By their names, however they came to be in the overlay.
    std::string_view last;
    for (u32 i = 0; i < count; ++i) {
        std::string_view next;
        const char* name = names;
        for (u32 j = 0; j < count; ++j, name += std::strlen(name) + 1) {
            const std::string_view other{name};
            next = other > last && (next.empty() || other < next) ? other : next;
        }
        if (const u32 code = add_package(session, plan, next.data())) {
            return code;
        }
        last = next;
    }
    return 0;
}

/// A file beside what it would be.
u32 add_file(Plan& plan, const char* path, json_object* file, json_object* files)
{
    const RecordingScope as_it_is{nullptr};
    FileText text;
    struct stat status = {};
    const bool was_there = read_safe_file(path, text) == 0 && lstat(path, &status) == 0;
    json_object* const after = json_object_object_get(file, "text");
    const std::string_view content{after != nullptr ? json_object_get_string(after) : "",
                                   static_cast<std::size_t>(json_object_get_string_len(after))};
    if (was_there == (file != nullptr) && content == text.view()) {
        return 0;
    }
    JsonRef entry{json_object_new_object()};
    u32 code = put_text(entry.get(), "path", path);
    code = code != 0 ? code
                     : put_text(entry.get(), "kind",
                                !was_there        ? "made"
                                : file == nullptr ? "deleted"
                                                  : "changed");
    code = code != 0 ? code : append_to(files, entry.release());
    if (code != 0 || !is_kept_path(path)) {
        return code;
    }
    JsonRef item{json_object_new_object()};
    const bool is_added =
        json_object_object_add(item.get(), "before", was_there ? make_text(text.view()) : nullptr) == 0 &&
        json_object_object_add(item.get(), "after", json_object_get(after)) == 0 &&
        json_object_object_add(item.get(), "mode", json_object_get(json_object_object_get(file, "mode"))) ==
            0 &&
        json_object_object_add(item.get(), "old_mode",
                               json_object_new_int(static_cast<i32>(status.st_mode & 07777))) == 0 &&
        json_object_object_add(item.get(), "path", json_object_get(json_object_object_get(file, "path"))) ==
            0;
    return is_added ? add_member(json_object_object_get(plan.texts.get(), "files"), path, item.release())
                    : u32{ENOMEM};
}

/// Whether the sets of an object run commands.
bool runs_commands(json_object* commands, std::string_view path)
{
    for (std::size_t i = 0; i < json_object_array_length(commands); ++i) {
        json_object* const command = json_object_array_get_idx(commands, i);
        if (std::string_view{member_text(command, "step")} == "set" && member_text(command, "path") == path) {
            return true;
        }
    }
    return false;
}

/// Files that a set's commands change: known by their names alone until they have run.
u32 add_outside(const Session& session, Plan& plan, json_object* files)
{
    json_object_object_foreach(session.outside.get(), path, file)
    {
        if (json_object_object_get_ex(session.recorder.files.get(), path, nullptr) != 0 ||
            !runs_commands(json_object_object_get(plan.report.get(), "commands"),
                           member_text(file, "path"))) {
            continue;
        }
        const RecordingScope as_it_is{nullptr};
        FileText text;
        JsonRef entry{json_object_new_object()};
        JsonRef item{json_object_new_object()};
        u32 code = read_safe_file(path, text);
        code = code != 0 ? code : put_text(entry.get(), "path", path);
        code = code != 0 ? code : put_text(entry.get(), "kind", "changed");
        code = code != 0 ? code : append_to(files, entry.release());
        if (code == 0 && text.view() != member_text(file, "text")) {
            code =
                add_named_member(item.get(), "before", json_object_get(json_object_object_get(file, "text")));
            code = code != 0 ? code : put_text(item.get(), "after", text.view());
            code = code != 0 ? code : put_text(item.get(), "path", member_text(file, "path"));
            for (const char* const mode : {"mode", "old_mode"}) {
                code = code != 0 ? code
                                 : add_named_member(item.get(), mode,
                                                    json_object_get(json_object_object_get(file, "mode")));
            }
            code = code != 0
                       ? code
                       : add_member(json_object_object_get(plan.texts.get(), "files"), path, item.release());
        }
        if (code != 0) {
            return code;
        }
    }
    return 0;
}

u32 add_files(const Session& session, Plan& plan)
{
    json_object* const files = put_array(plan.report.get(), "files");
    json_object_object_foreach(session.recorder.files.get(), path, file)
    {
        if (const u32 code = add_file(plan, path, file, files)) {
            return code;
        }
    }
    return add_outside(session, plan, files);
}

/// A copy whose members are the same ones.
JsonRef share(json_object* object)
{
    JsonRef copy{json_object_new_object()};
    json_object_object_foreach(object, name, value)
    {
        if (json_object_object_add(copy.get(), name, json_object_get(value)) != 0) {
            return {};
        }
    }
    return copy;
}

JsonRef share_array(json_object* array)
{
    JsonRef copy{json_object_new_array()};
    for (std::size_t i = 0; i < json_object_array_length(array); ++i) {
        if (append_to(copy.get(), json_object_get(json_object_array_get_idx(array, i))) != 0) {
            return {};
        }
    }
    return copy;
}

u32 fill_plan(Session& session, Plan& plan)
{
    u32 code = put_text(plan.report.get(), "id", session.id.view());
    code = code != 0
               ? code
               : add_named_member(plan.report.get(), "changes", share_array(session.changes.get()).release());
    code = code != 0 ? code : commit_all(session);
    plan.switches = session.recorder.switches;
    code = code != 0 ? code : add_packages(session, plan);
    // The commands before the services; those of the services stand in their order.
    code =
        code != 0 ? code : add_named_member(plan.report.get(), "commands", show_commands(session).release());
    const JsonRef services = note_services(session);
    code = code != 0 ? code : add_files(session, plan);
    code = code != 0 ? code : add_given_files(session, plan);
    code = code != 0             ? code
           : services != nullptr ? plan_services(session, services.get(), plan)
                                 : u32{ENOMEM};
    code = code != 0 ? code : add_hash(session, plan);
    code = code != 0
               ? code
               : add_named_member(plan.report.get(), "refused", share_array(session.refused.get()).release());
    code =
        code != 0 ? code : add_named_member(plan.report.get(), "result", json_object_new_int64(session.code));
    return code != 0 || !session.recorder.is_out_of_memory ? code : u32{ENOMEM};
}

} // namespace

u32 read_package(const char* name, JsonRef& text)
{
    return read_package(QrnUci_ReadPackage, name, text);
}

u32 make_plan(Session& session, Plan& plan)
{
    // Commits and services are only tried, so that more may be set afterwards.
    Recorder& recorder = session.recorder;
    JsonRef files = share(recorder.files.get());
    JsonRef commands = share_array(recorder.commands.get());
    JsonRef events = share_array(recorder.events.get());
    JsonRef refused = share_array(session.refused.get());
    const u32 refusal_before = session.code;
    const u32 switches = recorder.switches;
    plan.report.reset(json_object_new_object());
    plan.texts.reset(json_object_new_object());
    plan.order.reset(json_object_new_array());
    plan.runs.reset(json_object_new_object());
    session.back.reset(json_object_new_object());
    u32 code = put_object(plan.texts.get(), "packages") != nullptr &&
                       put_object(plan.texts.get(), "files") != nullptr
                   ? fill_plan(session, plan)
                   : u32{ENOMEM};
    code = code != 0 ? code : session.code;
    std::swap(recorder.files, files);
    std::swap(recorder.commands, commands);
    std::swap(recorder.events, events);
    std::swap(session.refused, refused);
    session.code = refusal_before;
    recorder.switches = switches;
    return code;
}

} // namespace qsc::apply
