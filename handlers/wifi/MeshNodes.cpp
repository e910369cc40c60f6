// SPDX-License-Identifier: Apache-2.0
#include "handlers/wifi/MeshNodes.h"

#include <algorithm>

#include <json-c/json.h>

#include "base/Utf8.h"
#include "core/RowValue.h"

namespace qsc::wifi
{

namespace
{

/// A member as text, cut between characters where it is too long.
template <typename Text>
void read_text(json_object* node, const char* name, std::size_t longest, Text& text)
{
    json_object* member = nullptr;
    std::string_view content;
    if (find_member(node, name, member) && member != nullptr && text_of(member, content) == 0) {
        content = content.substr(0, longest);
        text.append(content.substr(0, size_of_whole_characters(content)));
    }
}

/// A member as the address of one device, in capitals.
template <typename Text>
bool read_address(json_object* node, const char* name, Text& text)
{
    qsc::Text<30> content;
    read_text(node, name, 18, content);
    const bool is_address = is_mac_address(content.view());
    append_upper(text, is_address ? content.view() : "");
    return is_address;
}

/// A member as a number; 0: it is none within these.
i32 read_number(json_object* node, const char* name, i64 least, i64 most)
{
    json_object* member = nullptr;
    const bool is_number = find_member(node, name, member) && json_object_is_type(member, json_type_int) != 0;
    const i64 number = is_number ? json_object_get_int64(member) : 0;
    return number >= least && number <= most ? static_cast<i32>(number) : 0;
}

} // namespace

MeshNodes::MeshNodes(json_object* dump)
{
    json_object* list = nullptr;
    const bool is_list =
        find_member(dump, "topology information", list) && json_object_is_type(list, json_type_array) != 0;
    const std::size_t size = is_list ? json_object_array_length(list) : 0;
    for (std::size_t i = 0; i < size && count_ < kMost; ++i) {
        json_object* const node = json_object_array_get_idx(list, i);
        Text<30> address;
        if (is_object(node)) {
            const bool has_address = read_address(node, "MACAddress", address);
            entries_[count_++] = {node, has_address ? parse_address(address.view()) : MacAddress{}, kIsRoot};
        }
    }
    for (u32 i = 0; i < count_; ++i) {
        Text<30> parent;
        if (read_address(entries_[i].object, "Parent", parent)) {
            entries_[i].parent = find(parse_address(parent.view()));
        }
    }
}

u32 MeshNodes::find(const MacAddress& address) const
{
    const auto* const end = entries_.begin() + count_;
    const auto* const found =
        std::find_if(entries_.begin(), end, [&](const Entry& entry) { return entry.address == address; });
    return found != end ? static_cast<u32>(found - entries_.begin()) : kIsUnknown;
}

MeshNode MeshNodes::at(u32 number) const
{
    MeshNode node;
    json_object* const object = entries_[number].object;
    read_text(object, "Name", 62, node.name);
    (void)read_address(object, "MACAddress", node.address);
    (void)read_address(object, "Parent", node.parent);
    read_text(object, "Backhaul", 30, node.backhaul);
    node.signal_strength = read_number(object, "SignalStrength", -200, 0);
    json_object* clients = nullptr;
    const bool is_list =
        find_member(object, "Clients", clients) && json_object_is_type(clients, json_type_array) != 0;
    node.clients = is_list ? static_cast<i32>(json_object_array_length(clients))
                           : read_number(object, "Clients", 0, INT32_MAX);
    u32 parent = entries_[number].parent;
    while (parent < kMost && node.hops <= static_cast<i32>(kMost)) {
        parent = entries_[parent].parent;
        ++node.hops;
    }
    node.hops = parent == kIsRoot ? node.hops : -1;
    return node;
}

} // namespace qsc::wifi
