// SPDX-License-Identifier: Apache-2.0
// "Device.LLDP": what the router tells its neighbours of itself, and what they tell. Their words come from
// strangers' frames.
#include <ctime>

#include <json-c/json.h>
#include <unistd.h>

#include "base/Recording.h"
#include "base/Utf8.h"
#include "core/JsonList.h"
#include "core/Objects.h"
#include "core/RunTool.h"
#include "core/Service.h"
#include "core/ServiceSteps.h"
#include "handlers/network/EthernetPorts.h"
#include "handlers/network/References.h"
#include "include/qsc_handlers.h"

using namespace qsc;
using namespace qsc::network;

namespace
{

QSC_MODULE("QscLldp");

constexpr const char* kScript = "lldpd";
constexpr std::string_view kPortPath = "Device.Ethernet.Interface.";

bool is_on()
{
    ValueText text;
    return uci_peek("lldpd.config.enabled", text) != 0 || is_switched_on(text.view());
}

/// The path of what the daemon knows by this name; otherwise the name.
void refer(Sources& sources, std::string_view name, RowText& reference)
{
    refer_to_interface(name, reference);
    const i32 port = reference.view().empty() ? port_number(sources, name) : 0;
    if (port != 0) {
        reference.append(kPortPath).append_number(port);
    } else if (reference.view().empty()) {
        reference.append(name);
    }
}

u32 answer_interfaces(const RowCall& call)
{
    RowText stored;
    RowText spoken;
    if (const u32 code = read_stored(call.request, call.row, stored)) {
        return code;
    }
    (void)for_each_item(stored.view(), [&](std::string_view name) -> u32 {
        RowText reference;
        refer(call.request.sources, name, reference);
        spoken.append(spoken.view().empty() ? "" : ",").append(reference.view());
        return 0;
    });
    return answer_stored(call, spoken.view());
}

/// The daemon's name of what a path refers to. It also knows devices and patterns of names, such as "!eth*".
u32 read_name(Sources& sources, std::string_view reference, RowText& name)
{
    static constexpr std::string_view kSigns = "_-.!*";
    constexpr auto is_usual = [](char letter) {
        return is_digit(letter) || is_lower(to_lower(letter)) ||
               kSigns.find(letter) != std::string_view::npos;
    };
    i32 port = 0;
    const bool is_path = reference.starts_with("Device.");
    const bool is_known =
        !is_path ? std::ranges::all_of(reference, is_usual) && name.assign(reference)
        : !reference.starts_with(kPortPath)
            ? find_interface(reference, name)
            : parse_whole(reference.substr(kPortPath.size()), port) && name.assign(port_name(sources, port));
    return is_known && !name.view().empty() ? 0 : refuse(EFAULT, "there is no such interface");
}

/// Reads all names that a list of references means.
u32 read_names(const RowCall& call, std::string_view references, RowText& names)
{
    return for_each_item(references, [&](std::string_view reference) -> u32 {
        RowText name;
        if (const u32 code = read_name(call.request.sources, reference, name)) {
            return code;
        }
        const auto is_it = [&](std::string_view other) -> u32 { return other == name.view() ? EEXIST : 0; };
        if (for_each_item(names.view(), is_it) != 0) {
            return refuse(EFAULT, "an interface is named twice");
        }
        names.append(names.view().empty() ? "" : ",").append(name.view());
        return 0;
    });
}

u32 check_interfaces(const RowCall& call, std::string_view stored)
{
    RowText names;
    return read_names(call, stored, names);
}

u32 store_interfaces(const RowCall& call, std::string_view stored)
{
    RowText names;
    RowText before;
    u32 code = read_names(call, stored, names);
    code = code != 0 ? code : read_stored(call.request, call.row, before);
    Text<254> key;
    append_key(call.request, call.row, key);
    return code != 0 || before.view() == names.view() ? code : write_items(key.c_str(), names);
}

/// The daemon gets it between quotes.
u32 check_description(const RowCall&, std::string_view stored)
{
    return stored.find_first_of("\"\\") == std::string_view::npos
               ? 0
               : refuse(EFAULT, "it has a quote or a backslash");
}

constexpr const char* kAsk[] = {"lldpcli", "-f", "json0", "show", "neighbors", nullptr};
constexpr Tool kNeighbours{.arguments = kAsk};
constexpr std::size_t kMostNeighbours = 64;

/// The neighbours as the daemon lists them; null: none.
json_object* all_neighbours(const RowCall& call, std::size_t& count)
{
    json_object* const root = is_on() ? call.request.sources.json(kNeighbours, call.source.module) : nullptr;
    json_object* const list = find_in_json(root, "lldp.0.interface");
    count = json_object_is_type(list, json_type_array) != 0
                ? std::min(json_object_array_length(list), kMostNeighbours)
                : 0;
    return list;
}

/// A neighbour's text, of at most as many bytes as one of its frames has room for.
std::string_view text_at(json_object* neighbour, const char* path)
{
    constexpr std::size_t kLongest = 255;
    std::string_view text;
    json_object* const member = find_in_json(neighbour, path);
    if (member == nullptr || text_of(member, text) != 0) {
        return {};
    }
    text = text.substr(0, kLongest);
    return text.substr(0, text.size() < kLongest ? text.size() : size_of_whole_characters(text));
}

void read_capabilities(json_object* neighbour, RowText& text)
{
    json_object* const all = find_in_json(neighbour, "chassis.0.capability");
    const std::size_t count =
        json_object_is_type(all, json_type_array) != 0 ? json_object_array_length(all) : 0;
    for (std::size_t i = 0; i < count; ++i) {
        json_object* const one = json_object_array_get_idx(all, i);
        json_object* enabled = nullptr;
        if (find_member(one, "enabled", enabled) && json_object_get_boolean(enabled) != 0) {
            text.append(text.view().empty() ? "" : ",").append(text_at(one, "type"));
        }
    }
}

u32 answer_count(const RowCall& call)
{
    std::size_t count = 0;
    (void)all_neighbours(call, count);
    return answer_number(call, static_cast<i64>(count));
}

u32 answer_neighbours(const RowCall& call)
{
    std::size_t count = 0;
    JsonList rows;
    json_object* const list = all_neighbours(call, count);
    bool has_room = true;
    for (std::size_t i = 0; i < count && has_room; ++i) {
        json_object* const neighbour = json_object_array_get_idx(list, i);
        RowText interface;
        RowText capabilities;
        refer(call.request.sources, text_at(neighbour, "name"), interface);
        read_capabilities(neighbour, capabilities);
        JsonRow row;
        row.add("Interface", interface.view())
            .add("ChassisID", text_at(neighbour, "chassis.0.id.0.value"))
            .add("PortID", text_at(neighbour, "port.0.id.0.value"))
            .add("SystemName", text_at(neighbour, "chassis.0.name.0.value"))
            .add("Capabilities", capabilities.view());
        has_room = rows.add(std::move(row));
    }
    return rows.answer(call);
}

/// Options that older scripts do not know, and what the daemon calls them.
constexpr const char* kTimes[][2] = {{"lldpd.config.lldp_tx_interval", "tx-interval"},
                                     {"lldpd.config.lldp_tx_hold", "tx-hold"}};

/// Tells the daemon, which was started just now, what its script left out.
void tell_times()
{
    constexpr const char* kSocket = "/var/run/lldpd.socket";
    constexpr timespec kPause{.tv_sec = 0, .tv_nsec = 100'000'000};
    constexpr int kMostPauses = 30;
    Sources sources;
    if (sources.file("/etc/init.d/lldpd").find("lldp_tx_interval") != std::string_view::npos) {
        return;
    }
    for (int i = 0; i < kMostPauses && !is_planning() && access(kSocket, F_OK) != 0; ++i) {
        (void)nanosleep(&kPause, nullptr);
    }
    for (const auto& [key, word] : kTimes) {
        ValueText value;
        const char* const arguments[] = {"lldpcli", "configure", "lldp", word, value.c_str(), nullptr};
        if (uci_peek(key, value) == 0 &&
            run_tool({.arguments = arguments, .is_optional = true}, kModule) != 0) {
            QSC_LOG(kLogWarning, "lldpcli did not take the %s\n", word);
        }
    }
}

u32 apply(std::string_view action)
{
    const bool stops = action == "stop" || !is_on();
    if (!stops && action != "start" && action != "restart" && action != "reload") {
        return start_init_script(kScript, action);
    }
    u32 code = start_init_script(kScript, stops ? "stop" : "enable");
    code = code != 0 ? code : start_init_script(kScript, stops ? "disable" : "restart");
    if (code == 0 && !stops) {
        tell_times();
    }
    return code;
}

} // namespace

/// The script cannot be reloaded while the daemon is stopped, and knows nothing of the switch.
u32 qsc::network::serve_lldp(const char*, json_object* request)
{
    return serve_action(request, apply);
}

namespace
{

constexpr Access kReadWrite = Access::kReadWrite;
constexpr Place kFunction = Place::kFunction;

constexpr Row kRows[] = {
    {.name = "X_QRN_Interfaces",
     .kind = Kind::kReference,
     .access = kReadWrite,
     .place = kFunction,
     .marks = kMany,
     .limits = ":256",
     .key = "interface",
     .get = answer_interfaces,
     .check = check_interfaces,
     .set = store_interfaces},
    {.name = "X_QRN_TxInterval",
     .kind = Kind::kUnsigned,
     .access = kReadWrite,
     .unit = Unit::kSeconds,
     .limits = "1:3600",
     .key = "lldp_tx_interval",
     .fallback = "30"},
    {.name = "X_QRN_TxHold",
     .kind = Kind::kUnsigned,
     .access = kReadWrite,
     .limits = "1:100",
     .key = "lldp_tx_hold",
     .fallback = "4"},
    {.name = "X_QRN_ReceiveOnly",
     .kind = Kind::kBoolean,
     .access = kReadWrite,
     .key = "readonly_mode",
     .fallback = "0"},
    {.name = "X_QRN_SystemDescription",
     .access = kReadWrite,
     .key = "lldp_description",
     .check = check_description},
    {.name = "X_QRN_Enable", .kind = Kind::kBoolean, .access = kReadWrite, .key = "enabled", .fallback = "1"},
    {.name = "X_QRN_NeighborNumberOfEntries",
     .kind = Kind::kUnsigned,
     .place = kFunction,
     .get = answer_count},
    {.name = "X_QRN_List", .kind = Kind::kJson, .place = kFunction, .get = answer_neighbours},
};

} // namespace

QSC_EXPORTED_OBJECT(kLldp, "Device.LLDP", g_QscDevLLDPCmd, kRows, .area = "lldp", .section = "lldpd.config.",
                    .section_type = "lldpd", .package = "lldpd")
