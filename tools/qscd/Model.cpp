// SPDX-License-Identifier: Apache-2.0
#include "tools/qscd/Model.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "base/Parse.h"

using namespace qsc;

namespace qscd
{

namespace
{

constexpr std::string_view kInstance = "{i}";

/// Takes the first name off a path.
std::string_view take_name(std::string_view& path)
{
    const std::string_view name{path.data(), std::min(path.find('.'), path.size())};
    path.remove_prefix(std::min(name.size() + 1, path.size()));
    return name;
}

bool is_number(std::string_view name)
{
    return !name.empty() && std::ranges::all_of(name, is_digit);
}

/// Takes what a described path and a path have in common off both. "{i}" is any number, and "*" for all.
void take_common(std::string_view& pattern, std::string_view& path)
{
    while (!pattern.empty() && !path.empty()) {
        std::string_view pattern_rest = pattern;
        std::string_view path_rest = path;
        const std::string_view wanted = take_name(pattern_rest);
        const std::string_view name = take_name(path_rest);
        if (wanted != name && !(wanted == kInstance && (is_number(name) || name == "*"))) {
            return;
        }
        pattern = pattern_rest;
        path = path_rest;
    }
}

bool find_object(std::string_view path, Qsc_ObjectInfo& object)
{
    PathText text;
    return text.assign(path) && QSysCmdHal_FindObject(text.c_str(), &object) == 0 && has_own_path(object);
}

bool describe(const Qsc_ObjectInfo& object, std::string_view name, Qsc_ParameterInfo& parameter)
{
    for (u32 number = 0; QSysCmdHal_DescribeParameter(&object, number, &parameter) == 0; ++number) {
        if (name == parameter.name) {
            return true;
        }
    }
    return false;
}

/// Whether there is anything at or below a partial path.
bool has_objects(std::string_view path)
{
    Qsc_ObjectInfo object{};
    for (u32 number = 0; QSysCmdHal_DescribeObject(number, &object) == 0; ++number) {
        std::string_view pattern = without_dot(object.path);
        std::string_view rest = path;
        take_common(pattern, rest);
        if (has_own_path(object) && rest.empty()) {
            return true;
        }
    }
    return false;
}

bool is_plain(char c)
{
    return is_digit(c) || is_lower(c) || is_upper(c) ||
           std::string_view{"._-*:"}.find(c) != std::string_view::npos;
}

/// Whether a name may be that of an object's row: a number or a MAC address.
bool is_row(const Qsc_ObjectInfo& object, std::string_view name)
{
    return (object.flags & QSC_OBJECT_ROWS) != 0 && !name.empty() &&
           (is_digit(name.front()) || name.find(':') != std::string_view::npos) &&
           std::ranges::all_of(name, [](char c) { return hex_value(c) >= 0 || c == ':'; });
}

/// A path that was asked for, and what it leads to, which never changes. Most clients ask for the same ones
/// again and again.
struct Found {
    PathText path;
    Place place;
};

std::array<Found, 16> g_found;

std::size_t hash_of(std::string_view path)
{
    std::size_t hash = path.size();
    for (const char c : path) {
        hash = hash * 31 + static_cast<unsigned char>(c);
    }
    return hash;
}

const char* search_place(std::string_view path, Place& place)
{
    if (path.empty() || path.size() > 254 || !std::ranges::all_of(path, is_plain) ||
        path.find("..") != std::string_view::npos || path.starts_with('.')) {
        return "a path is 1 to 254 letters, digits, dots and _, such as Device.Time";
    }
    const std::string_view object_path = without_dot(path);
    (void)place.object.assign(object_path);
    if (path.ends_with('.') && has_objects(object_path)) {
        place.is_partial = true;
        return nullptr;
    }
    Qsc_ObjectInfo object{};
    Qsc_ParameterInfo parameter{};
    if (!find_object(object_path, object)) {
        return "there is no such path";
    }
    place.entry = object.entry;
    std::string_view pattern = without_dot(object.path);
    std::string_view rest = object_path;
    take_common(pattern, rest);
    std::string_view after = rest;
    if (pattern.empty() && is_row(object, take_name(after))) {
        rest = after;
    }
    if (pattern.empty() && rest.empty()) {
        (void)place.object.assign(object_path == without_dot(object.entry->path) ? object.entry->path
                                                                                 : object_path);
        return nullptr;
    }
    if (pattern.empty() && rest.find('.') == std::string_view::npos && describe(object, rest, parameter)) {
        std::string_view above = object_path;
        above.remove_suffix(rest.size() + 1);
        (void)place.object.assign(above == without_dot(object.entry->path) ? object.entry->path : above);
        (void)place.name.assign(rest);
        return nullptr;
    }
    if (has_objects(object_path)) {
        return "the number of an instance is missing, or a dot at the end for everything below";
    }
    return pattern.empty() && rest.find('.') == std::string_view::npos ? kNoSuchParameter.sentence
                                                                       : "there is no such path";
}

} // namespace

std::string_view without_dot(std::string_view path)
{
    path.remove_suffix(path.ends_with('.') ? 1 : 0);
    return path;
}

bool is_at_or_below(std::string_view path, std::string_view object)
{
    object = without_dot(object);
    return path.starts_with(object) && (path.size() == object.size() || path[object.size()] == '.');
}

const Qsc_CommandEntry* entry_for(std::string_view path)
{
    const Qsc_CommandEntry* entry = g_QSysCmdHalCmd;
    while (entry->id != QSC_TABLE_END && !is_at_or_below(path, entry->path)) {
        ++entry;
    }
    return entry->id != QSC_TABLE_END ? entry : nullptr;
}

bool has_own_path(const Qsc_ObjectInfo& object)
{
    return is_at_or_below(object.path, object.entry->path);
}

bool describe(const PathText& object, std::string_view name, Qsc_ParameterInfo& parameter)
{
    Qsc_ObjectInfo info{};
    return QSysCmdHal_FindObject(object.c_str(), &info) == 0 && describe(info, name, parameter);
}

bool is_secret(std::string_view path)
{
    std::string_view name = path;
    name.remove_prefix(path.rfind('.') + 1);
    path.remove_suffix(std::min(name.size() + 1, path.size()));
    Qsc_ObjectInfo object{};
    Qsc_ParameterInfo parameter{};
    return find_object(path, object) && describe(object, name, parameter) &&
           (parameter.flags & QSC_PARAM_SECRET) != 0;
}

const char* find_place(std::string_view path, Place& place)
{
    Found& found = g_found[hash_of(path) % g_found.size()];
    if (!path.empty() && found.path.view() == path) {
        place = found.place;
        return nullptr;
    }
    const char* const wrong = search_place(path, place);
    if (wrong == nullptr && found.path.assign(path)) {
        found.place = place;
    }
    return wrong;
}

bool ObjectWalk::next()
{
    while (!next_instance()) {
        if (!next_described()) {
            return false;
        }
    }
    return true;
}

/// Finds the next description that may be meant, and its instances.
bool ObjectWalk::next_described()
{
    while (QSysCmdHal_DescribeObject(number_, &info_) == 0) {
        ++number_;
        std::string_view pattern = without_dot(info_.path);
        std::string_view rest = place_.object.view();
        take_common(pattern, rest);
        if (info_.parameters == 0 || !rest.empty() || !has_own_path(info_)) {
            continue;
        }
        instance_ = 0;
        instance_count_ = 1;
        instances_[0] = 0;
        if ((info_.flags & QSC_OBJECT_INSTANCES) != 0) {
            u32 count = 0;
            instance_count_ = QSysCmdHal_FindInstances(&info_, instances_, kMostInstances, &count) == 0
                                  ? std::min(count, kMostInstances)
                                  : 0;
        }
        return true;
    }
    return false;
}

bool ObjectWalk::next_instance()
{
    while (instance_ < instance_count_) {
        const u32 number = instances_[instance_++];
        object_.clear();
        for (std::string_view rest = without_dot(info_.path); !rest.empty();) {
            const std::string_view name = take_name(rest);
            object_.append(object_.view().empty() ? "" : ".");
            name == kInstance ? object_.append_number(number) : object_.append(name);
        }
        if (object_.view() == without_dot(info_.entry->path)) {
            (void)object_.assign(info_.entry->path);
        }
        std::string_view pattern = without_dot(object_.view());
        std::string_view rest = place_.object.view();
        take_common(pattern, rest);
        if (rest.empty() || is_at_or_below(object_.view(), place_.object.view())) {
            return true;
        }
    }
    return false;
}

Fault fault_of(u32 code, bool is_set)
{
    switch (code) {
    case EINVAL:
        return {code, 9005, 7026, "a bad argument, a missing instance or value, or no such operation here"};
    case ENOMEM:
        return {code, 9004, 7005, "out of memory"};
    case EFAULT:
        return is_set ? Fault{code, 9007, 7012, "the value was refused, or a command failed"}
                      : Fault{code, 9002, 7003, "the value cannot be read, or a command failed"};
    case ENODATA:
        return {code, 9005, 7016, "there is no such object, or it does not serve this"};
    default:
        return {code, 9002, 7003, "the library failed"};
    }
}

} // namespace qscd
