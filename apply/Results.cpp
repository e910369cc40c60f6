// SPDX-License-Identifier: Apache-2.0
#include "apply/Results.h"

#include <cerrno>

#include <json-c/json.h>

#include "base/ReplaceFile.h"
#include "base/SafeFile.h"
#include "core/Refusal.h"
#include "core/WindowNote.h"

namespace qsc::apply
{

namespace
{

constexpr const char* kFile = "/var/run/qsyscmdhal.results";
constexpr std::size_t kMost = 16;
constexpr std::size_t kLargest = std::size_t{512} * 1024;

/// The results, oldest first. An array, also when there are none.
JsonRef load()
{
    FileText text;
    JsonRef results;
    if (is_own_file(kFile) && read_safe_file(kFile, text, kLargest) == 0) {
        results.reset(json_tokener_parse(text.c_str()));
    }
    if (json_object_is_type(results.get(), json_type_array) == 0) {
        results.reset(json_object_new_array());
    }
    return results;
}

void save(json_object* results)
{
    while (json_object_array_length(results) > kMost) {
        (void)json_object_array_del_idx(results, 0, 1);
    }
    std::size_t length = 0;
    const char* text = json_object_to_json_string_length(results, JSON_C_TO_STRING_PLAIN, &length);
    while (text != nullptr && length > kLargest && json_object_array_length(results) > 1) {
        (void)json_object_array_del_idx(results, 0, 1);
        text = json_object_to_json_string_length(results, JSON_C_TO_STRING_PLAIN, &length);
    }
    if (text != nullptr) {
        (void)replace_file(kFile, {text, length}, 0600);
    }
}

std::string_view id_of(json_object* result)
{
    json_object* id = nullptr;
    std::string_view text;
    return find_member(result, "id", id) && text_of(id, text) == 0 ? text : std::string_view{};
}

/// Where the result of an id is; the length: nowhere.
std::size_t place_of(json_object* results, std::string_view id)
{
    std::size_t place = 0;
    while (place < json_object_array_length(results) &&
           id_of(json_object_array_get_idx(results, place)) != id) {
        ++place;
    }
    return place;
}

i64 number_in(json_object* result, const char* name)
{
    json_object* number = nullptr;
    return find_member(result, name, number) ? json_object_get_int64(number) : 0;
}

json_object* new_result(json_object* results, std::string_view id)
{
    json_object* const result = json_object_new_object();
    (void)add_member(result, "id", json_object_new_string_len(id.data(), static_cast<int>(id.size())));
    (void)json_object_array_add(results, result);
    return result;
}

} // namespace

u64 number_of(json_object* changes)
{
    // The hash of Fowler, Noll and Vo.
    constexpr u64 kStart = 0xCBF29CE484222325U;
    constexpr u64 kFactor = 0x100000001B3U;
    u64 number = kStart;
    const char* const text = json_object_to_json_string_ext(changes, JSON_C_TO_STRING_PLAIN);
    for (const char* c = text; c != nullptr && *c != '\0'; ++c) {
        number = (number ^ static_cast<unsigned char>(*c)) * kFactor;
    }
    return number;
}

u32 find_result(std::string_view id, u64 change, Result& result)
{
    const JsonRef results = load();
    json_object* const found = json_object_array_get_idx(results.get(), place_of(results.get(), id));
    json_object* report = nullptr;
    if (found == nullptr) {
        return ENOENT;
    }
    // What was taken back after a restart of the device is known by its id alone.
    json_object* known = nullptr;
    if (find_member(found, "change", known) && static_cast<u64>(json_object_get_int64(known)) != change) {
        return refuse(EEXIST, "the id is that of another change; give this one an id of its own");
    }
    (void)find_member(found, "report", report);
    result.code = static_cast<u32>(number_in(found, "code"));
    result.report.reset(json_object_get(report));
    return 0;
}

void keep_result(std::string_view id, u64 change, u32 code, json_object* report)
{
    const JsonRef results = load();
    if (const std::size_t place = place_of(results.get(), id);
        place < json_object_array_length(results.get())) {
        (void)json_object_array_del_idx(results.get(), place, 1);
    }
    json_object* const result = new_result(results.get(), id);
    (void)add_member(result, "change", json_object_new_int64(static_cast<i64>(change)));
    (void)add_member(result, "code", json_object_new_int64(code));
    (void)add_member(result, "report",
                     report != nullptr ? json_object_get(report) : json_object_new_object());
    save(results.get());
}

void note_outcome(std::string_view id, const char* outcome)
{
    const JsonRef results = load();
    json_object* found = json_object_array_get_idx(results.get(), place_of(results.get(), id));
    json_object* report = nullptr;
    found = found != nullptr ? found : new_result(results.get(), id);
    if (!find_member(found, "report", report)) {
        report = json_object_new_object();
        (void)add_member(report, "id", json_object_new_string_len(id.data(), static_cast<int>(id.size())));
        (void)add_member(found, "report", report);
    }
    (void)add_member(report, "outcome", json_object_new_string(outcome));
    save(results.get());
}

JsonRef last_outcome()
{
    const JsonRef results = load();
    for (std::size_t i = json_object_array_length(results.get()); i-- > 0;) {
        json_object* const result = json_object_array_get_idx(results.get(), i);
        json_object* report = nullptr;
        json_object* outcome = nullptr;
        if (find_member(result, "report", report) && find_member(report, "outcome", outcome)) {
            JsonRef last{json_object_new_object()};
            const std::string_view id = id_of(result);
            (void)add_member(last.get(), "id",
                             json_object_new_string_len(id.data(), static_cast<int>(id.size())));
            (void)add_member(last.get(), "outcome", json_object_get(outcome));
            return last;
        }
    }
    return nullptr;
}

} // namespace qsc::apply
