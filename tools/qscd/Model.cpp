// SPDX-License-Identifier: Apache-2.0
#include "tools/qscd/Model.h"

#include <algorithm>
#include <cerrno>

#include "base/Parse.h"
#include "include/qsc_dhcpv4_client.h"
#include "include/qsc_handlers.h"
#include "include/qsc_wifi.h"

using namespace qsc;

namespace qscd
{

namespace
{

constexpr Qsc_ParamEntry kUnknown[] = {{QSC_TABLE_END, nullptr, nullptr, 0, 0}};

/// Subtrees whose dispatcher chooses its table itself, so that the command table does not tell it.
constexpr struct {
    std::string_view path;
    const Qsc_ParamEntry* parameters;
} kOwnTables[] = {
    {"Device.DHCPv4.Client.1.X_QRN_RelaySentOption.1.Subcode.",
     g_QscDhcpV4ClientXQrnRelaySentOption1SubcodeCmd},
    {"Device.DHCPv4.Client.1.X_QRN_RelaySentOption.", g_QscDhcpV4ClientXQrnRelaySentOptionCmd},
    {"Device.X_QRN_RemoteLog", g_QscDevXQRNRemoteLogCmd},
};

/// Subtrees whose instances are asked for one by one.
constexpr struct {
    std::string_view path;
    u32 instances;
} kNumbered[] = {
    {"Device.WiFi.Radio", 2},
    {"Device.WiFi.SSID", 16},
};

u32 instances_of(const Qsc_CommandEntry& entry)
{
    for (const auto& [path, instances] : kNumbered) {
        if (path == entry.path) {
            return instances;
        }
    }
    return 0;
}

bool has_parameter(const Qsc_ParamEntry* table, std::string_view name)
{
    while (table->id != QSC_TABLE_END && name != table->name) {
        ++table;
    }
    return table->id != QSC_TABLE_END;
}

/// Whether the rest of a path below a subtree can lead to an object of it.
bool is_object_part(std::string_view rest)
{
    while (!rest.empty()) {
        const std::string_view part{rest.data(), std::min(rest.find('.'), rest.size())};
        if (part != "*" && part != "Stats" && !std::ranges::all_of(part, is_digit)) {
            return false;
        }
        rest.remove_prefix(std::min(part.size() + 1, rest.size()));
    }
    return true;
}

/// What stands below the subtree's own path, without dots around it.
std::string_view rest_of(std::string_view path, const Qsc_CommandEntry& entry)
{
    path = without_dot(path);
    path.remove_prefix(without_dot(entry.path).size());
    path.remove_prefix(path.starts_with('.') ? 1 : 0);
    return path;
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

const Qsc_ParamEntry* parameters_of(const Qsc_CommandEntry& entry, std::string_view object)
{
    if (entry.params == g_QscDeviceWiFiSSIDCmd && object.find("Stats") != std::string_view::npos) {
        return g_QscDeviceWiFiSSIDStatsCmd;
    }
    if (entry.params != nullptr) {
        return entry.params;
    }
    for (const auto& [path, parameters] : kOwnTables) {
        if (path == entry.path) {
            return parameters;
        }
    }
    return kUnknown;
}

const char* type_of(const Place&, std::string_view)
{
    return "";
}

bool next_object(const Qsc_CommandEntry& entry, u32& instance, PathText& object)
{
    const u32 count = instances_of(entry);
    if (++instance > std::max(count, 1U)) {
        return false;
    }
    (void)object.assign(entry.path);
    if (count != 0) {
        object.append(".").append_number(instance);
    } else if (std::string_view{entry.path}.ends_with('.')) {
        object.append("*");
    }
    return true;
}

const char* find_place(std::string_view path, Place& place)
{
    const auto is_plain = [](char c) {
        return is_digit(c) || is_lower(c) || is_upper(c) || c == '.' || c == '_' || c == '-' || c == '*';
    };
    if (path.empty() || !place.object.assign(path) || !std::ranges::all_of(path, is_plain) ||
        path.find("..") != std::string_view::npos) {
        return "a path is 1 to 254 letters, digits, dots and _, such as Device.Time";
    }
    if (path.ends_with('.')) {
        (void)place.object.assign(without_dot(path));
        for (const Qsc_CommandEntry* entry = g_QSysCmdHalCmd; entry->id != QSC_TABLE_END; ++entry) {
            if (is_at_or_below(entry->path, path)) {
                place.is_partial = true;
                return nullptr;
            }
        }
    }
    place.entry = entry_for(path);
    if (place.entry == nullptr) {
        return "there is no such path";
    }
    std::string_view object = without_dot(path);
    const std::string_view rest = rest_of(object, *place.entry);
    std::string_view last = rest;
    last.remove_prefix(rest.rfind('.') + 1); // npos + 1 is 0
    if (!last.empty() && has_parameter(parameters_of(*place.entry, object), last)) {
        (void)place.name.assign(last);
        object.remove_suffix(last.size() + 1);
    }
    if (!is_object_part(rest_of(object, *place.entry))) {
        return kNoSuchParameter.sentence;
    }
    const bool is_entry = object == without_dot(place.entry->path);
    (void)place.object.assign(is_entry ? place.entry->path : object);
    return is_entry && instances_of(*place.entry) != 0
               ? "the number of an instance is missing, or a dot at the end for all of them"
               : nullptr;
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
