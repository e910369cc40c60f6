// SPDX-License-Identifier: Apache-2.0
#include "core/UciAccess.h"

#include <algorithm>
#include <cstdlib>

#include <json-c/json.h>
#include <unistd.h>

#include "base/Json.h"
#include "base/Parse.h"
#include "base/Recording.h"
#include "core/Refusal.h"

namespace qsc
{

namespace
{

u32 add_packages(json_object* list, const char* packages)
{
    return for_each_word(packages, [&](std::string_view package) -> u32 {
        JsonRef name{json_object_new_string_len(package.data(), static_cast<int>(package.size()))};
        if (name == nullptr || json_object_array_add(list, name.get()) != 0) {
            return ENOMEM;
        }
        (void)name.release();
        return 0;
    });
}

/// Elements that are no texts, or empty ones, are skipped.
u32 commit_all(json_object* list)
{
    for (std::size_t i = 0; i < json_object_array_length(list); ++i) {
        json_object* const element = json_object_array_get_idx(list, i);
        if (json_object_is_type(element, json_type_string) == 0 || json_object_get_string_len(element) == 0) {
            continue;
        }
        const char* const package = json_object_get_string(element);
        if (const u32 code = QrnUci_CommitPackage(package)) {
            return refuse(code, "the package '%.60s' could not be committed", package);
        }
    }
    return 0;
}

} // namespace

bool uci_is_missing(const char* key)
{
    // Asked again with room for any value that a device could hold; what is not written to costs no memory.
    constexpr u32 kRoom = 1 << 20;
    char* const value = static_cast<char*>(std::malloc(kRoom));
    const bool is_missing = value != nullptr && QrnUci_GetString(key, value, kRoom) == EFAULT;
    std::free(value);
    return is_missing;
}

bool is_installed(std::string_view package)
{
    Text<254> path;
    path.append("/etc/config/").append(package);
    return access(path.c_str(), F_OK) == 0;
}

bool uci_holds(const char* key, std::string_view text)
{
    ValueText value;
    return uci_peek(key, value) == 0 && value.view() == text;
}

u32 uci_compare(const char* key, std::string_view text, bool& is_equal)
{
    ValueText value;
    const u32 code = uci_peek(key, value);
    is_equal = code == 0 && value.view() == text;
    return code == EFAULT ? 0 : code; // a value that is too long is another one
}

i32 to_number(const char* text)
{
    // Most are a single digit: a switch that is stored, an instance in a path.
    if (is_digit(text[0]) && (text[1] == '\0' || text[1] == '.')) {
        return text[0] - '0';
    }
    return static_cast<i32>(std::clamp<long>(std::strtol(text, nullptr, 0), INT32_MIN, INT32_MAX));
}

i32 uci_read_int(const Call& call, const char* key)
{
    ValueText value;
    (void)uci_read(call, key, value);
    return to_number(value.c_str());
}

u32 uci_write(const char* key, const char* value)
{
    return QrnUci_SetNewString(key, value, 0, 1);
}

u32 uci_write_int(const char* key, i32 value)
{
    ValueText text;
    return uci_write(key, text.append_number(value).c_str());
}

u32 serve_text(const Call& call, const char* key, void (*record)(const Call& call, const char* text))
{
    const auto get = [&] { return uci_answer_text(call, key); };
    const auto set = [&]() -> u32 {
        ValueText value;
        if (const u32 code = take_value(call, value)) {
            return code;
        }
        if (const u32 code = uci_write(key, value.c_str())) {
            return code;
        }
        record(call, value.c_str());
        return 0;
    };
    return serve(call, get, set);
}

u32 serve_int(const Call& call, const char* key, void (*record)(const Call& call, i32 number))
{
    const auto get = [&] { return answer_int(call.value, uci_read_int(call, key)); };
    const auto set = [&]() -> u32 {
        i32 number = 0;
        if (const u32 code = take_int(call.value, number)) {
            return code;
        }
        if (const u32 code = uci_write_int(key, number)) {
            return code;
        }
        record(call, number);
        return 0;
    };
    return serve(call, get, set);
}

u32 commit_packages(json_object* request, const char* packages)
{
    constexpr const char* kMember = "package";
    json_object* list = nullptr;
    if (find_member(request, kMember, list)) {
        if (json_object_is_type(list, json_type_array) == 0) {
            return EINVAL;
        }
        const u32 code = json_object_array_length(list) == 0 ? add_packages(list, packages) : 0;
        return code != 0 ? code : commit_all(list);
    }
    JsonRef made{json_object_new_array()};
    if (made == nullptr) {
        return ENOMEM;
    }
    if (const u32 code = add_packages(made.get(), packages)) {
        return code;
    }
    const u32 code = commit_all(made.get());
    return code != 0 ? code : add_new_member(request, kMember, made.release());
}

namespace
{

void sync_disks()
{
    if (!is_planning()) {
        sync();
    }
}

} // namespace

u32 serve_commit(json_object* request, u32 (*run)(json_object* request))
{
    if (!is_object(request)) {
        return EINVAL;
    }
    const u32 code = finish(request, run(request));
    sync_disks();
    return code;
}

u32 serve_packages(json_object* request, const char* packages)
{
    const u32 code = finish(request, commit_packages(request, packages));
    sync_disks();
    return code;
}

} // namespace qsc
