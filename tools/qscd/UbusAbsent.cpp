// SPDX-License-Identifier: Apache-2.0
// In a build without libubus there is no bus.
#include "tools/qscd/Ubus.h"

namespace qscd
{

Ubus::~Ubus() = default;
void Ubus::open(const char*) {}
int Ubus::descriptor() const
{
    return -1;
}
void Ubus::handle(bool) {}
int Ubus::look(qsc::u64)
{
    return -1;
}
bool Ubus::take_descriptor_changed()
{
    return false;
}
void Ubus::answer(UbusRequest*, std::string_view) {}

} // namespace qscd
