// SPDX-License-Identifier: Apache-2.0
#include "handlers/network/Zones.h"

#include <algorithm>

namespace qsc::network
{

u32 visit_listed(const GrowingList& list, void* context,
                 void (*visit)(void* context, i32 number, const char* section))
{
    ListedSections sections;
    const u32 code = sections.read(list);
    for (i32 number = code == 0 ? sections.next(0) : 0; number != 0; number = sections.next(number)) {
        visit(context, number, sections.find(number));
    }
    return code;
}

i32 find_zone_of(u32 address, RowText* name, Network* network)
{
    i32 found = 0;
    (void)for_each_zone([&](i32 number, const char* zone) {
        Network own{};
        if (found != 0 || !read_network(zone, own) || !is_within(address, own)) {
            return;
        }
        found = number;
        if (name != nullptr) {
            (void)name->assign(zone);
        }
        if (network != nullptr) {
            *network = own;
        }
    });
    return found;
}

std::string_view zone_of(const RowRequest& request)
{
    std::string_view section = request.section.view();
    section.remove_prefix(std::min(section.find('.') + 1, section.size()));
    return section.substr(0, section.find('.'));
}

Text<254> option_key(std::string_view package, std::string_view section, std::string_view option)
{
    Text<254> key;
    key.append(package).append(".").append(section).append(option.empty() ? "" : ".").append(option);
    return key;
}

void read_option(const char* package, std::string_view section, const char* option, RowText& value)
{
    (void)uci_peek(option_key(package, section, option).c_str(), value);
}

u32 read_option_number(const char* package, std::string_view section, const char* option)
{
    RowText text;
    u32 number = 0;
    read_option(package, section, option, text);
    (void)parse_whole(text.view(), number);
    return number;
}

bool is_option_on(const char* package, std::string_view section, const char* option)
{
    RowText text;
    read_option(package, section, option, text);
    return is_switched_on(text.view());
}

bool has_section(std::string_view package, std::string_view section)
{
    ValueText type;
    return uci_peek(option_key(package, section).c_str(), type) == 0;
}

u32 read_interfaces(std::string_view zone, RowText& interfaces)
{
    return uci_read_whole(option_key(kZonePackage, zone, "iface").c_str(), interfaces);
}

bool has_word(std::string_view words, std::string_view wanted)
{
    while (!words.empty()) {
        const std::size_t end = std::min(words.find_first_of(" ,"), words.size());
        if (words.substr(0, end) == wanted) {
            return true;
        }
        words.remove_prefix(std::min(end + 1, words.size()));
    }
    return false;
}

} // namespace qsc::network
