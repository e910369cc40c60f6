// SPDX-License-Identifier: Apache-2.0
#include "handlers/network/Wan.h"

#include <bit>

#include "base/UciOptional.h"
#include "handlers/network/EthernetPorts.h"
#include "handlers/network/Networks.h"

namespace qsc::network
{

namespace
{

using Key = Text<126>;

/// The options of an uplink, in the order of Part. IPv6 has the length after the address, IPv4 may have it.
constexpr const char* kOptions[2][3] = {{"ipaddr", "netmask", "gateway"}, {"ip6addr", nullptr, "ip6gw"}};

const char* option_of(Uplink uplink, Part part)
{
    return kOptions[static_cast<std::size_t>(uplink)][static_cast<std::size_t>(part)];
}

Key key_of(Uplink uplink, Part part, bool waits)
{
    Text<30> option;
    option.append(waits ? "qrn_" : "").append(or_empty(option_of(uplink, part)));
    return network_key(name_of(uplink), option.view());
}

/// Reads the first item of the option that holds the address.
void read_item(Uplink uplink, RowText& item)
{
    (void)uci_peek(key_of(uplink, Part::kAddress, !is_static(uplink)).c_str(), item);
    const std::size_t end = item.view().find(' ');
    if (end != std::string_view::npos) {
        (void)item.edit([&](char* text) { return text[end] = '\0'; });
    }
}

bool has_length(Uplink uplink, const RowText& item)
{
    return uplink == Uplink::kWan6 || item.view().find('/') != std::string_view::npos;
}

std::string_view address_of(std::string_view item)
{
    return item.substr(0, item.find('/'));
}

std::string_view length_of(std::string_view item)
{
    item.remove_prefix(std::min(address_of(item).size() + 1, item.size()));
    return item;
}

} // namespace

bool is_static(Uplink uplink)
{
    return uci_holds(network_key(name_of(uplink), "proto").c_str(), "static");
}

void read_stored_part(Uplink uplink, Part part, RowText& text)
{
    text.clear();
    RowText item;
    read_item(uplink, item);
    if (part == Part::kAddress) {
        text.append(address_of(item.view()));
    } else if (part == Part::kLength && has_length(uplink, item)) {
        text.append(length_of(item.view()));
    } else {
        (void)uci_peek(key_of(uplink, part, !is_static(uplink)).c_str(), text);
    }
}

u32 write_part(Uplink uplink, Part part, const char* value)
{
    const bool waits = !is_static(uplink);
    RowText item;
    read_item(uplink, item);
    if (part == Part::kGateway || !has_length(uplink, item)) {
        return uci_write(key_of(uplink, part, waits).c_str(), value);
    }
    u32 mask = 0;
    RowText length;
    RowText changed;
    length.append(part == Part::kLength ? value : length_of(item.view()));
    if (is_netmask(length.view(), mask)) {
        length.clear();
        length.append_number(std::popcount(mask));
    }
    changed.append(part == Part::kAddress ? value : address_of(item.view()));
    changed.append(length.view().empty() ? "" : "/").append(length.view());
    return QrnUci_SetListItem(key_of(uplink, Part::kAddress, waits).c_str(), 0, changed.c_str());
}

u32 move_parts(Uplink uplink, bool is_to_wait)
{
    u32 code = 0;
    for (const Part part : {Part::kAddress, Part::kLength, Part::kGateway}) {
        RowText text;
        const Key from = key_of(uplink, part, !is_to_wait);
        if (option_of(uplink, part) == nullptr || uci_peek(from.c_str(), text) != 0) {
            continue;
        }
        code = code != 0 ? code : uci_write(key_of(uplink, part, is_to_wait).c_str(), text.c_str());
        code = code != 0 ? code : uci_write(from.c_str(), "");
    }
    return code;
}

namespace
{

Part part_of(const PackedRow& row)
{
    const char first = *row.key();
    return first == *kAddressKey ? Part::kAddress : first == *kLengthKey ? Part::kLength : Part::kGateway;
}

} // namespace

Uplink uplink_of(const RowRequest& request)
{
    return request.section.view().ends_with("6.") ? Uplink::kWan6 : Uplink::kWan;
}

u32 answer_part(const RowCall& call)
{
    RowText text;
    const Uplink uplink = uplink_of(call.request);
    const Part part = part_of(call.row);
    is_static(uplink) ? read_stored_part(uplink, part, text) : read_live_part(call, uplink, part, text);
    return answer_stored(call, text.view());
}

u32 store_part(const RowCall& call, std::string_view stored)
{
    const Uplink uplink = uplink_of(call.request);
    RowText before;
    RowText was;
    RowText is;
    const Part part = part_of(call.row);
    read_stored_part(uplink, part, before);
    to_spoken(call.row, before.view(), was);
    to_spoken(call.row, stored, is);
    return was.view() == is.view() ? 0 : write_part(uplink, part, is.c_str());
}

u32 answer_option(const RowCall& call)
{
    RowText stored;
    const u32 code = read_stored(call.request, call.row, stored);
    return code != 0 ? code : answer_stored(call, stored.view());
}

u32 answer_state(const RowCall& call)
{
    return answer_stored(call, live_state(call, uplink_of(call.request)));
}

u32 answer_live(const RowCall& call)
{
    RowText text;
    read_live(live_status(call, uplink_of(call.request)), call.row.key(), text);
    return answer_stored(call, text.view());
}

u32 store_uplink_type(const RowCall& call, std::string_view stored)
{
    RowText before;
    if (read_stored(call.request, call.row, before) == 0 && before.view() == stored) {
        return 0;
    }
    const u32 code = move_parts(uplink_of(call.request), stored != "static");
    return code != 0 ? code : write_stored(call, stored);
}

void read_next_part(const RowCall& call, const char* name, Part part, RowText& text)
{
    if (!is_named(call, name)) {
        read_stored_part(uplink_of(call.request), part, text);
    } else if (read_outcome(call, name, text) != 0) {
        text.clear();
    }
}

bool read_device_key(const char* option, Text<126>& key)
{
    DeviceName device;
    DeviceName section;
    const bool has_section =
        read_device("wan", device) && (find_device_section(device.view(), section) ||
                                       find_device_section(base_device(device.view()), section));
    key = network_key(has_section ? section.view() : "wan", option);
    return has_section;
}

void read_mtu_key(std::string_view type, Text<126>& key)
{
    if (type == kDialled) {
        key = network_key("wan", "mtu");
    } else {
        (void)read_device_key("mtu", key);
    }
}

i64 read_mtu(std::string_view type)
{
    constexpr i64 kEthernet = 1500;
    Text<126> key;
    ValueText text;
    i64 mtu = 0;
    read_mtu_key(type, key);
    const bool is_set = uci_peek(key.c_str(), text) == 0 && parse_whole(text.view(), mtu);
    return is_set ? mtu : type == kDialled ? kMostDialled : kEthernet;
}

} // namespace qsc::network
