// SPDX-License-Identifier: Apache-2.0
#include "tools/qsc/Tables.h"

#include "include/qsc_dhcpv4_client.h"
#include "include/qsc_handlers.h"
#include "include/qsc_wifi.h"

namespace qsc
{

namespace
{

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

constexpr Qsc_ParamEntry kNone[] = {{QSC_TABLE_END, nullptr, nullptr, 0, 0}};

constexpr const char* kDhcpPackages[] = {"qrndhcpopts", "network"};
constexpr const char* kRadioPackages[] = {"mtkwireless"};
constexpr const char* kSsidPackages[] = {"mtkwireless", "qrnnetworkzone"};

constexpr Application kApplications[] = {
    {"Device.DHCPv4.Client.1", "Device.DHCPv4.Client.1", kDhcpPackages},
    {"Device.WiFi.Radio", nullptr, kRadioPackages},
    {"Device.WiFi.SSID", nullptr, kSsidPackages},
};

} // namespace

const Qsc_ParamEntry* parameters_of(const Qsc_CommandEntry& entry, std::string_view path)
{
    for (const auto& [subtree, word, parameters] : kSubObjects) {
        if (subtree == entry.path && path.find(word) != std::string_view::npos) {
            return parameters;
        }
    }
    if (entry.params != nullptr) {
        return entry.params;
    }
    for (const auto& [subtree, parameters] : kOwnTables) {
        if (subtree == entry.path) {
            return parameters;
        }
    }
    return kNone;
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

} // namespace qsc
