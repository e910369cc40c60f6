// SPDX-License-Identifier: Apache-2.0
// "Device.WiFi.MultiAP": the mesh, and with "X_QRN_MeshTopo" the nodes that its agent knows.
#include <json-c/json.h>

#include "core/JsonList.h"
#include "core/Objects.h"
#include "handlers/wifi/MeshNodes.h"

using namespace qsc;

namespace
{

QSC_MODULE("QscDeviceWiFiMultiAP");

constexpr const char* kDump = "/tmp/dump.txt";

/// The agent's dump; null: it cannot be read, which is logged.
JsonRef read_dump(const RowCall& call)
{
    const std::string_view text = call.request.sources.file(kDump);
    JsonRef dump{text.empty() ? nullptr : json_tokener_parse(text.data())};
    if (dump == nullptr) {
        QSC_LOG_CALL(call, kLogWarning, "%s cannot be read\n", kDump);
    }
    return dump;
}

u32 answer_count(const RowCall& call)
{
    const JsonRef dump = read_dump(call);
    return answer_number(call, wifi::MeshNodes{dump.get()}.count());
}

u32 answer_list(const RowCall& call)
{
    const JsonRef dump = read_dump(call);
    const wifi::MeshNodes nodes{dump.get()};
    JsonList list;
    for (u32 i = 0; i < nodes.count(); ++i) {
        const wifi::MeshNode node = nodes.at(i);
        JsonRow row;
        row.add("Name", node.name.view()).add("MACAddress", node.address.view());
        row.add("Parent", node.parent.view()).add("Backhaul", node.backhaul.view());
        row.add_number("Hops", node.hops).add_number("SignalStrength", node.signal_strength);
        row.add_number("Clients", node.clients);
        if (!list.add(std::move(row))) {
            break;
        }
    }
    return list.answer(call);
}

u32 check_enable(const RowCall& call, std::string_view)
{
    RowText enable;
    RowText name;
    const bool will_be_on = read_outcome(call, "X_QRN_Enable", enable) == 0 && enable.view() == "1";
    return will_be_on && (read_outcome(call, "X_QRN_SSID", name) != 0 || name.view().empty())
               ? refuse(EFAULT, "a mesh needs a name")
               : 0;
}

constexpr Access kReadWrite = Access::kReadWrite;

constexpr Row kRows[] = {
    {.name = "X_QRN_Role",
     .kind = Kind::kStoredWord,
     .access = kReadWrite,
     .limits = QSC_STORED_WORDS("Controller|Agent|Auto", "1|2|0"),
     .key = "role",
     .fallback = "0"},
    {.name = "X_QRN_SSID", .access = kReadWrite, .limits = ":32", .key = "ssid", .check = check_enable},
    {.name = "X_QRN_BackhaulBand",
     .kind = Kind::kWord,
     .access = kReadWrite,
     .limits = "2.4GHz|5GHz|Auto",
     .key = "band",
     .fallback = "Auto"},
    {.name = "X_QRN_Enable",
     .kind = Kind::kBoolean,
     .access = kReadWrite,
     .key = "enable",
     .fallback = "0",
     .check = check_enable},
    {.name = "APDeviceNumberOfEntries",
     .kind = Kind::kUnsigned,
     .place = Place::kFunction,
     .get = answer_count},
};

constexpr Row kTopologyRows[] = {
    {.name = "X_QRN_List", .kind = Kind::kJson, .place = Place::kFunction, .get = answer_list},
};

} // namespace

QSC_OBJECT(kWiFiMultiAp, "Device.WiFi.MultiAP", kRows, .area = "WiFi mesh", .section = "mtkwireless.mesh.",
           .section_type = "mesh", .package = "mtkwireless")
QSC_OBJECT(kWiFiMeshTopology, "Device.WiFi.MultiAP.X_QRN_MeshTopo", kTopologyRows)
