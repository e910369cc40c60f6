// SPDX-License-Identifier: Apache-2.0
// Bridges and VLANs of the zones. Each zone but the LAN has a bridge of its own. Its ports are the zone's
// interfaces, or, when it has a VLAN, that VLAN of the LAN's bridge, which has the interfaces then. The first
// VLAN of a bridge has the kernel filter all of it, so the LAN has one from then on as well, and is put back
// when the last is gone.
#include <algorithm>
#include <array>

#include "base/UciOptional.h"
#include "handlers/network/EthernetPorts.h"
#include "handlers/network/SectionNames.h"
#include "handlers/network/ZoneSections.h"

namespace qsc::network
{

namespace
{

constexpr const char* kNetwork = "network";
constexpr const char* kUntagged = ":u*";
constexpr const char* kTagged = ":t";

/// The items of a list while they are collected.
class Items
{
  public:
    void add(std::string_view item, std::string_view ending = {})
    {
        const std::size_t size = item.size() + ending.size() + 1;
        if (count_ == items_.size() || used_ + size > text_.size()) {
            fits_ = false;
            return;
        }
        char* const start = text_.data() + used_;
        char* const end = std::copy(ending.begin(), ending.end(), std::copy(item.begin(), item.end(), start));
        *end = '\0';
        items_[count_++] = start;
        used_ += size;
    }

    void add_words(std::string_view words, std::string_view ending = {})
    {
        (void)for_each_word(words, [&](std::string_view word) -> u32 {
            add(word, ending);
            return 0;
        });
    }

    [[nodiscard]] u32 write(std::string_view section, const char* option) const
    {
        const Text<254> key = option_key(kNetwork, section, option);
        return fits_ ? call_optional(QrnUci_SetList, key.c_str(), items_.data(), count_)
                     : refuse(EFAULT, "%s would be too long", key.c_str());
    }

  private:
    std::array<char, 2048> text_;
    std::array<const char*, 96> items_;
    std::size_t used_ = 0;
    u32 count_ = 0;
    bool fits_ = true;
};

/// "br-lan.20"
Text<62> vlan_device(std::string_view bridge, u32 vlan)
{
    Text<62> device;
    device.append(bridge).append(".").append_number(vlan);
    return device;
}

Text<62> vlan_section(u32 vlan)
{
    Text<62> section;
    section.append(kVlanSection).append_number(vlan);
    return section;
}

/// Everything that is arranged.
class Arrangement
{
  public:
    u32 run()
    {
        has_bridge_ = find_lan_bridge(bridge_, ports_);
        u32 code = has_bridge_ ? find_wired_ports() : 0;
        code = code != 0 ? code : arrange_zones();
        if (code != 0 || !has_bridge_) {
            return code;
        }
        code = arrange_data_vlans();
        code = code != 0 ? code : arrange_lan();
        return code != 0 ? code : delete_unused();
    }

  private:
    Text<62> bridge_;
    Text<62> ports_; ///< the section that has them
    RowText wired_;  ///< the ports of the LAN's bridge that are in no zone's list
    RowText used_;   ///< the sections of VLANs that are needed
    bool has_bridge_ = false;

    /// What cannot be read whole is left as it is: a port that is missed would be cut off, or be let in.
    u32 find_wired_ports()
    {
        RowText all;
        RowText in_zones;
        u32 code = uci_read_whole(option_key(kNetwork, ports_.view(), "ports").c_str(), all);
        const u32 unread = for_each_zone([&](i32, const char* zone) {
            RowText interfaces;
            code = code != 0 ? code : read_interfaces(zone, interfaces);
            in_zones.append(interfaces.view()).append(" ");
        });
        code = code != 0 ? code : unread;
        (void)for_each_word(all.view(), [&](std::string_view port) -> u32 {
            if (!has_word(in_zones.view(), port)) {
                wired_.append(wired_.view().empty() ? "" : " ").append(port);
            }
            return 0;
        });
        return code != 0 ? code : in_zones.fits() ? 0 : refuse(EFAULT, "the zones have too many interfaces");
    }

    /// Writes the section of a VLAN of the LAN's bridge.
    u32 write_vlan(u32 vlan, Items& ports)
    {
        const Text<62> section = vlan_section(vlan);
        used_.append(section.view()).append(" ");
        u32 code =
            has_section(kNetwork, section.view()) ? 0 : add_section(kNetwork, "bridge-vlan", section.c_str());
        code = code != 0 ? code
                         : uci_write(option_key(kNetwork, section.view(), "device").c_str(), bridge_.c_str());
        code = code != 0 ? code
                         : uci_write_int(option_key(kNetwork, section.view(), "vlan").c_str(),
                                         static_cast<i32>(vlan));
        return code != 0 ? code : ports.write(section.view(), "ports");
    }

    /// The wired ports carry the management's VLAN beside their own, if it is to be tagged there.
    [[nodiscard]] bool is_tagged_management(u32 vlan) const
    {
        constexpr const char* kSection = "mgmtvlan";
        return is_option_on(kZonePackage, kSection, "enable") &&
               is_option_on(kZonePackage, kSection, "tagged") &&
               read_option_number(kZonePackage, kSection, "vlan_id") == vlan;
    }

    u32 arrange_zone(std::string_view zone)
    {
        Items members;
        RowText interfaces;
        if (const u32 code = read_interfaces(zone, interfaces)) {
            return code;
        }
        const u32 vlan = has_bridge_ ? vlan_of(zone) : 0;
        if (vlan == 0) {
            members.add_words(interfaces.view());
        } else {
            Items ports;
            ports.add_words(interfaces.view(), kUntagged);
            if (is_tagged_management(vlan)) {
                ports.add_words(wired_.view(), kTagged);
            }
            members.add(vlan_device(bridge_.view(), vlan).view());
            if (const u32 code = write_vlan(vlan, ports)) {
                return code;
            }
        }
        (void)for_each_listed(kDataVlans, [&](i32, const char* section) {
            RowText leads_to;
            read_option(kZonePackage, section, "zone", leads_to);
            if (has_bridge_ && leads_to.view() == zone && is_option_on(kZonePackage, section, "enable")) {
                members.add(
                    vlan_device(bridge_.view(), read_option_number(kZonePackage, section, "vlan_id")).view());
            }
        });
        return members.write(bridge_section(zone).view(), "ports");
    }

    u32 arrange_zones()
    {
        u32 code = 0;
        const u32 unread = for_each_zone(
            [&](i32, const char* zone) { code = code == 0 && is_managed(zone) ? arrange_zone(zone) : code; });
        return unread != 0 ? unread : code;
    }

    u32 arrange_data_vlans()
    {
        u32 code = 0;
        const u32 unread = for_each_listed(kDataVlans, [&](i32, const char* section) {
            if (code == 0 && is_option_on(kZonePackage, section, "enable")) {
                Items ports;
                ports.add_words(wired_.view(), kTagged);
                code = write_vlan(read_option_number(kZonePackage, section, "vlan_id"), ports);
            }
        });
        return unread != 0 ? unread : code;
    }

    u32 arrange_lan()
    {
        Items members;
        RowText interfaces;
        DeviceName device;
        u32 code = read_interfaces(kLanZone, interfaces);
        members.add_words(wired_.view());
        members.add_words(interfaces.view());
        code = code != 0 ? code : members.write(ports_.view(), "ports");
        (void)read_device(kLanZone, device);
        const std::string_view own = device.view();
        u32 now = 0;
        const bool is_on_vlan =
            own.size() > bridge_.view().size() && parse_whole(own.substr(bridge_.view().size() + 1), now);
        if (code != 0 || (is_on_vlan && !has_section(kNetwork, vlan_section(now).view()))) {
            return code; // its VLAN is somebody else's business
        }
        Text<62> wanted = bridge_;
        if (!used_.view().empty()) {
            const u32 vlan = vlan_of(kLanZone);
            Items ports;
            ports.add_words(wired_.view(), kUntagged);
            ports.add_words(interfaces.view(), kUntagged);
            wanted = vlan_device(bridge_.view(), vlan);
            code = write_vlan(vlan, ports);
        }
        return code != 0 || own == wanted.view() ? code : uci_write("network.lan.device", wanted.c_str());
    }

    u32 delete_unused()
    {
        SectionNames names;
        const u32 code = names.read(kNetwork, "bridge-vlan");
        return code != 0 ? code : names.for_each([&](std::string_view name) -> u32 {
            const bool is_unused = name.starts_with(kVlanSection) && !has_word(used_.view(), name);
            return is_unused ? call_optional(QrnUci_DeleteSection, option_key(kNetwork, name).c_str()) : 0;
        });
    }
};

} // namespace

bool find_lan_bridge(Text<62>& bridge, Text<62>& section)
{
    DeviceName device;
    RowText type;
    if (!read_device(kLanZone, device) || !bridge.assign(base_device(device.view())) ||
        !find_device_section(bridge.view(), section)) {
        return false;
    }
    read_option(kNetwork, section.view(), "type", type);
    return type.view() == "bridge";
}

u32 vlan_of(std::string_view zone)
{
    constexpr u32 kMost = 4094;
    const u32 vlan = read_option_number(kZonePackage, zone, "vid");
    return vlan == 0 && zone == kLanZone ? 1 : vlan > kMost ? 0 : vlan;
}

u32 arrange_bridges()
{
    Arrangement arrangement;
    return arrangement.run();
}

} // namespace qsc::network
