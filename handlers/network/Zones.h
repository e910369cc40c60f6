// SPDX-License-Identifier: Apache-2.0
// The network zones of the configuration and their networks. A zone is a section of the package
// "qrnnetworkzone"; what the packages "network", "dhcp" and "firewall" hold for it goes by the same name.
#pragma once

#include <string_view>

#include "core/GrowingList.h"
#include "handlers/network/Networks.h"

namespace qsc::network
{

inline constexpr const char* kZonePackage = "qrnnetworkzone";

/// All packages that a zone is in, in the order in which they are committed.
inline constexpr const char* kZonePackages = "qrnnetworkzone network dhcp firewall";

inline constexpr GrowingList kZones{.package = kZonePackage, .type = "zone", .limit = 16, .named_by = "Name"};

/// Further VLANs of the wired ports, each of which leads to a zone.
inline constexpr GrowingList kDataVlans{.package = kZonePackage, .type = "datavlan"};

/// The zone that the router itself cannot be without, and its name.
inline constexpr i32 kFirstZone = 1;
inline constexpr const char* kLanZone = "lan";

/// Calls visit(context, number, section) for each section of a list, by rising numbers. @return the code of
/// ListedSections::read()
u32 visit_listed(const GrowingList& list, void* context,
                 void (*visit)(void* context, i32 number, const char* section));

/// The same with use(number, section).
template <typename Use>
u32 for_each_listed(const GrowingList& list, Use use)
{
    return visit_listed(list, &use, [](void* context, i32 number, const char* section) {
        (*static_cast<Use*>(context))(number, section);
    });
}

/// Calls use(number, name) for each zone.
template <typename Use>
u32 for_each_zone(Use use)
{
    return for_each_listed(kZones, use);
}

/// Finds the zone whose network an address belongs to: its number, and if wanted its name and its network.
/// 0: there is none.
[[nodiscard]] i32 find_zone_of(u32 address, RowText* name = nullptr, Network* network = nullptr);

/// The zone that a request is about: the name of its section.
[[nodiscard]] std::string_view zone_of(const RowRequest& request);

/// The key of an option of a section, such as "dhcp.lan.start"; of the section itself without an option.
[[nodiscard]] Text<254> option_key(std::string_view package, std::string_view section,
                                   std::string_view option = {});

/// Reads an option; empty: it is missing.
void read_option(const char* package, std::string_view section, const char* option, RowText& value);

/// Reads a number; 0: it is missing, or none.
[[nodiscard]] u32 read_option_number(const char* package, std::string_view section, const char* option);

/// Whether an option is switched on; a missing one is not.
[[nodiscard]] bool is_option_on(const char* package, std::string_view section, const char* option);

/// Whether a package has a section of that name.
[[nodiscard]] bool has_section(std::string_view package, std::string_view section);

/// The interfaces of a zone, with blanks between them. @return the code of uci_read_whole()
[[nodiscard]] u32 read_interfaces(std::string_view zone, RowText& interfaces);

/// Whether a word is among those of a text, which blanks or commas stand between.
[[nodiscard]] bool has_word(std::string_view words, std::string_view wanted);

} // namespace qsc::network
