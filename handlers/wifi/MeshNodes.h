// SPDX-License-Identifier: Apache-2.0
// The nodes of the mesh, from the agent's dump: a JSON object whose array "topology information" has an
// object for each node, with the members "Name", "MACAddress", "Parent" (its parent's address), "Backhaul",
// "SignalStrength" (dBm) and "Clients" (their number, or an array of them). All of it comes from other
// devices: any member may be missing, or be something else.
#pragma once

#include <array>

#include "base/Json.h"
#include "base/Text.h"
#include "handlers/wifi/MacAddresses.h"

namespace qsc::wifi
{

struct MeshNode {
    Text<62> name;
    Text<30> address; ///< empty: it has none
    Text<30> parent;
    Text<30> backhaul;
    i32 hops = 0; ///< up to the node without a parent; -1: there is no way there
    i32 signal_strength = 0;
    i32 clients = 0;
};

class MeshNodes
{
  public:
    static constexpr u32 kMost = 256;

    /// Reads a dump, which must live as long as the nodes; null: there are none.
    explicit MeshNodes(json_object* dump);

    [[nodiscard]] u32 count() const { return count_; }
    [[nodiscard]] MeshNode at(u32 number) const;

  private:
    struct Entry {
        json_object* object;
        MacAddress address; ///< all zero: it has none
        u32 parent;         ///< its number, or one of these
    };
    static constexpr u32 kIsRoot = kMost;
    static constexpr u32 kIsUnknown = kMost + 1;

    u32 count_ = 0;
    std::array<Entry, kMost> entries_;

    [[nodiscard]] u32 find(const MacAddress& address) const;
};

} // namespace qsc::wifi
