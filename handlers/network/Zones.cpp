// SPDX-License-Identifier: Apache-2.0
#include "handlers/network/Zones.h"

namespace qsc::network
{

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

} // namespace qsc::network
