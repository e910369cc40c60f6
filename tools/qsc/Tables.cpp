// SPDX-License-Identifier: Apache-2.0
#include "tools/qsc/Tables.h"

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "include/qsc_dhcpv4_client.h"
#include "include/qsc_handlers.h"
#include "include/qsc_wifi.h"

namespace qsc
{

namespace
{

struct Known {
    const char* path;
    const char* entry;
    const Qsc_ParamEntry* parameters;
    const char* commit;
    const char* packages;
    u32 instances;
    const char* word;
};

constexpr Known kKnown[] = {
    {"Device.DHCPv4.Client.1.SentOption.{i}", "Device.DHCPv4.Client.1.SentOption.",
     g_QscDhcpV4ClientSentOptionCmd, "Device.DHCPv4.Client.1", "qrndhcpopts network", 2, nullptr},
    {"Device.DHCPv4.Client.1.ReqOption.{i}", "Device.DHCPv4.Client.1.ReqOption.",
     g_QscDhcpV4ClientReqOptionCmd, "Device.DHCPv4.Client.1", "qrndhcpopts network", 1, nullptr},
    {"Device.DHCPv4.Client.1.X_QRN_RelaySentOption.1.Subcode.{i}",
     "Device.DHCPv4.Client.1.X_QRN_RelaySentOption.1.Subcode.",
     g_QscDhcpV4ClientXQrnRelaySentOption1SubcodeCmd, "Device.DHCPv4.Client.1", "qrndhcpopts network", 2,
     nullptr},
    {"Device.DHCPv4.Client.1.X_QRN_RelaySentOption.{i}", "Device.DHCPv4.Client.1.X_QRN_RelaySentOption.",
     g_QscDhcpV4ClientXQrnRelaySentOptionCmd, "Device.DHCPv4.Client.1", "qrndhcpopts network", 1, nullptr},
    {"Device.DHCPv4.Client.1", "Device.DHCPv4.Client.1", g_QscDhcpV4ClientCmd, "Device.DHCPv4.Client.1",
     "qrndhcpopts network", 0, nullptr},
    {"Device.WiFi.Radio.{i}", "Device.WiFi.Radio", g_QscDeviceWiFiRadioCmd, "", "mtkwireless", 2, nullptr},
    {"Device.WiFi.SSID.{i}", "Device.WiFi.SSID", g_QscDeviceWiFiSSIDCmd, "", "mtkwireless qrnnetworkzone", 18,
     nullptr},
    {"Device.WiFi.SSID.{i}.Stats", "Device.WiFi.SSID", g_QscDeviceWiFiSSIDStatsCmd, "", "", 18, "Stats"},
    {"Device.X_QRN_RemoteLog", "Device.X_QRN_RemoteLog", g_QscDevXQRNRemoteLogCmd, "Device.X_QRN_RemoteLog",
     "", 0, nullptr},
};

Object described(const Qsc_CommandEntry* entry, const Known* known)
{
    const Qsc_ParamEntry* const table = known != nullptr ? known->parameters : entry->params;
    u32 count = 0;
    while (table != nullptr && table[count].id != QSC_TABLE_END) {
        ++count;
    }
    const char* const serving = known != nullptr ? known->commit : entry->path;
    return {known != nullptr ? known->path : entry->path,
            entry,
            serving,
            serving,
            known != nullptr ? known->packages : "",
            count,
            QSC_OPER_GET | QSC_OPER_SET,
            known != nullptr && known->instances != 0 ? QSC_OBJECT_INSTANCES : 0,
            table};
}

} // namespace

u32 describe_object(u32 number, Object& object)
{
    for (const Qsc_CommandEntry* entry = QSysCmdHal_GetFunList(); entry->id != QSC_TABLE_END; ++entry) {
        bool is_known = false;
        for (const Known& known : kKnown) {
            if (std::string_view{known.entry} == entry->path) {
                is_known = true;
                if (number-- == 0) {
                    object = described(entry, &known);
                    return 0;
                }
            }
        }
        if (!is_known && number-- == 0) {
            object = described(entry, nullptr);
            return 0;
        }
    }
    return EFAULT;
}

u32 describe_parameter(const Object& object, u32 number, Parameter& parameter)
{
    if (number >= object.parameters) {
        return EFAULT;
    }
    parameter = {static_cast<const Qsc_ParamEntry*>(object.object)[number].name,
                 "",
                 "",
                 "",
                 QSC_OPER_GET | QSC_OPER_SET,
                 0};
    return 0;
}

u32 describe_path(const char* path, Object& object)
{
    const std::string_view wanted{path};
    for (const Qsc_CommandEntry* entry = QSysCmdHal_GetFunList(); entry->id != QSC_TABLE_END; ++entry) {
        if (!wanted.starts_with(entry->path)) {
            continue;
        }
        const Known* found = nullptr;
        for (const Known& known : kKnown) {
            if (std::string_view{known.entry} == entry->path &&
                (known.word == nullptr || wanted.find(known.word) != std::string_view::npos)) {
                found = &known;
            }
        }
        object = described(entry, found);
        return 0;
    }
    return EFAULT;
}

u32 describe_instances(const Object& object, u32* numbers, u32 size, u32& count)
{
    count = 0;
    for (const Known& known : kKnown) {
        if (known.path == object.path) {
            for (u32 i = 1; i <= known.instances; ++i) {
                if (known.instances == 18 && (i == 9 || i == 10)) {
                    continue;
                }
                if (count < size) {
                    numbers[count] = i;
                }
                ++count;
            }
        }
    }
    return 0;
}

u32 check_set(const char*, json_object*, u32)
{
    return 0;
}

const char* last_refusal()
{
    return "";
}

bool Instances::find(const Object& object)
{
    if (describe_instances(object, nullptr, 0, count_) != 0) {
        return false;
    }
    // Others may add instances meanwhile; those are left out.
    const u32 room = count_;
    numbers_.reset(static_cast<u32*>(std::calloc(room + 1, sizeof(u32))));
    if (numbers_ == nullptr || describe_instances(object, numbers_.get(), room, count_) != 0) {
        return false;
    }
    count_ = std::min(count_, room);
    return true;
}

} // namespace qsc
