// SPDX-License-Identifier: Apache-2.0
#include "handlers/network/EthernetPorts.h"

#include <cstdlib>

#include <dirent.h>
#include <net/if_arp.h>
#include <unistd.h>

#include "base/FileDescriptor.h"
#include "handlers/network/Networks.h"
#include "handlers/network/SectionNames.h"

namespace qsc::network
{

namespace
{

constexpr const char* kDevices = "/sys/class/net";

using PathText = Text<254>;

PathText path_of(std::string_view device, std::string_view file)
{
    PathText path;
    path.append(kDevices).append("/").append(device).append("/").append(file);
    return path;
}

bool has_file(std::string_view device, std::string_view file)
{
    return access(path_of(device, file).c_str(), F_OK) == 0;
}

/// Ports have hardware of their own, which bridges and VLANs have not; of a switch there is one device a
/// port, and one to the processor, which nothing can be plugged into.
int is_port(const dirent* entry)
{
    const char* const name = entry->d_name;
    FileText type;
    i32 number = -1;
    return name[0] != '.' && has_file(name, "device") && !has_file(name, "wireless") &&
                   !has_file(name, "phy80211") && !has_file(name, "dsa") &&
                   read_safe_file(path_of(name, "type").c_str(), type) == 0 &&
                   parse_leading(type.view(), number) && number == ARPHRD_ETHER
               ? 1
               : 0;
}

/// The names of all ports, one a line.
void list_ports(FileText& ports)
{
    const StdioReserve reserve;
    dirent** entries = nullptr;
    const int count = scandir(kDevices, &entries, is_port, versionsort);
    for (int i = 0; i < count; ++i) {
        (void)(ports.append(entries[i]->d_name) && ports.append("\n"));
        std::free(entries[i]);
    }
    std::free(entries);
}

std::string_view take_line(std::string_view& text)
{
    const std::string_view line = first_line(text);
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    return line;
}

std::string_view nth_line(std::string_view text, i32 number)
{
    std::string_view line;
    while (number-- > 0) {
        line = take_line(text);
    }
    return line;
}

std::string_view all_ports(Sources& sources)
{
    return sources.made(kDevices, list_ports);
}

} // namespace

std::string_view port_name(Sources& sources, i32 number)
{
    return nth_line(all_ports(sources), number);
}

i32 port_number(Sources& sources, std::string_view name)
{
    std::string_view rest = all_ports(sources);
    for (i32 number = 1; !rest.empty(); ++number) {
        if (take_line(rest) == name) {
            return number;
        }
    }
    return 0;
}

i32 count_ports()
{
    FileText ports;
    list_ports(ports);
    return static_cast<i32>(std::ranges::count(ports.view(), '\n'));
}

std::string_view device_file(Sources& sources, std::string_view device, const char* file)
{
    return first_line(sources.file(path_of(device, file).c_str()));
}

bool read_device(std::string_view interface, DeviceName& device)
{
    return uci_peek(network_key(interface, "device").c_str(), device) == 0 &&
           device.view().find_first_of("/@") == std::string_view::npos;
}

bool find_device_section(std::string_view device, DeviceName& section)
{
    DeviceName name;
    return name.assign(device) && find_section("network", "device", "name", name.c_str(), section);
}

bool find_owner(std::string_view mac_address, std::string_view except, DeviceName& owner)
{
    const StdioReserve reserve;
    bool is_found = false;
    DIR* const devices = opendir(kDevices);
    if (devices == nullptr) {
        return false;
    }
    while (const dirent* const entry = readdir(devices)) {
        FileText address;
        const std::string_view name = entry->d_name;
        if (!is_found && name.front() != '.' && name != except &&
            read_safe_file(path_of(name, "address").c_str(), address) == 0 &&
            is_same_address(first_line(address.view()), mac_address)) {
            is_found = owner.assign(name);
        }
    }
    (void)closedir(devices);
    return is_found;
}

bool carries(std::string_view interface, std::string_view port)
{
    DeviceName device;
    if (!read_device(interface, device)) {
        return false;
    }
    const std::string_view base = base_device(device.view());
    DeviceName section;
    if (base == port) {
        return true;
    }
    // A bridge as it is configured, or as it is.
    if (find_device_section(base, section)) {
        RowText ports;
        read_network_option(section.view(), "ports", ports);
        if (!ports.view().empty()) {
            return is_word_of(ports.view(), port);
        }
    }
    DeviceName lower;
    lower.append("lower_").append(port);
    return has_file(base, lower.view()) || has_file(device.view(), lower.view());
}

} // namespace qsc::network
