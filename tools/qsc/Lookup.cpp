// SPDX-License-Identifier: Apache-2.0
#include "tools/qsc/Lookup.h"

#include <algorithm>
#include <array>

#include "base/Parse.h"
#include "include/qsc_dhcpv4_client.h"
#include "include/qsc_handlers.h"
#include "include/qsc_wifi.h"
#include "tools/qsc/Report.h"

namespace qsc
{

namespace
{

constexpr std::size_t kLongestWord = 255;

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

/// Objects inside a subtree that have a table of their own.
constexpr struct {
    std::string_view path;
    std::string_view word; ///< somewhere in the path
    const Qsc_ParamEntry* parameters;
} kSubObjects[] = {
    {"Device.WiFi.SSID", "Stats", g_QscDeviceWiFiSSIDStatsCmd},
};

constexpr Qsc_ParamEntry kUnknown[] = {{QSC_TABLE_END, nullptr, nullptr, 0, 0}};

/// Subtrees whose changes are committed by another one.
constexpr Application kApplications[] = {
    {"Device.DHCPv4.Client.1", "Device.DHCPv4.Client.1", {"qrndhcpopts", "network"}},
};

/// Whether a path is the subtree's own or below it.
bool is_at_or_below(std::string_view path, std::string_view subtree)
{
    return path.starts_with(subtree) &&
           (path.size() == subtree.size() || subtree.ends_with('.') || path[subtree.size()] == '.');
}

} // namespace

std::size_t edit_distance(std::string_view first, std::string_view second)
{
    first = {first.data(), std::min(first.size(), kLongestWord)};
    second = {second.data(), std::min(second.size(), kLongestWord)};
    std::array<std::size_t, kLongestWord + 1> row{};
    for (std::size_t j = 0; j <= second.size(); ++j) {
        row[j] = j;
    }
    for (std::size_t i = 1; i <= first.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= second.size(); ++j) {
            const std::size_t change = diagonal + (to_lower(first[i - 1]) == to_lower(second[j - 1]) ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, change});
        }
    }
    return row[second.size()];
}

void Suggestion::consider(const char* candidate)
{
    const std::size_t distance = edit_distance(given_, candidate);
    if (distance < distance_) {
        distance_ = distance;
        best_ = candidate;
    }
}

bool parse_number(std::string_view text, u32& number)
{
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
        return parse_whole(text, number, 16);
    }
    return parse_whole(text, number);
}

bool find_target(const char* path, Target& target)
{
    if (!target.path.assign(path) || *path == '\0') {
        wrong_usage("a path is 1 to 510 characters long, such as Device.X_QRN_RemoteLog");
        return false;
    }
    PathText dotted;
    dotted.append(path).append(".");
    Suggestion nearest{path};
    for (const Qsc_CommandEntry* entry = QSysCmdHal_GetFunList(); entry->id != QSC_TABLE_END; ++entry) {
        if (is_at_or_below(path, entry->path)) {
            target.entry = entry;
            return true;
        }
        if (dotted.view() == entry->path) {
            target = {entry, dotted};
            return true;
        }
        nearest.consider(entry->path);
    }
    wrong_usage("there is no path '%s'; did you mean '%s'? 'qsc list' shows them all.", path, nearest.best());
    return false;
}

const Qsc_ParamEntry* parameters_of(const Qsc_CommandEntry& entry)
{
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

const Qsc_ParamEntry* parameters_of(const Target& target)
{
    for (const auto& [path, word, parameters] : kSubObjects) {
        if (path == target.entry->path && target.path.view().find(word) != std::string_view::npos) {
            return parameters;
        }
    }
    return parameters_of(*target.entry);
}

const Application* application_of(const Qsc_CommandEntry& entry)
{
    for (const Application& application : kApplications) {
        if (std::string_view{entry.path}.starts_with(application.subtrees)) {
            return &application;
        }
    }
    return nullptr;
}

bool check_parameter(const Target& target, std::string_view name)
{
    const Qsc_ParamEntry* entry = parameters_of(target);
    const bool is_known = entry->id != QSC_TABLE_END;
    Suggestion nearest{name};
    for (; entry->id != QSC_TABLE_END; ++entry) {
        if (name == entry->name) {
            return true;
        }
        nearest.consider(entry->name);
    }
    if (is_known) {
        wrong_usage("%s has no parameter '%.*s'; did you mean '%s'?", target.path.c_str(),
                    static_cast<int>(name.size()), name.data(), nearest.best());
    }
    return !is_known;
}

} // namespace qsc
