// SPDX-License-Identifier: Apache-2.0
// IPv4 prefix arithmetic, in network byte order.
#include <algorithm>

#include <arpa/inet.h>
#include <netinet/in.h>

#include "base/Types.h"
#include "include/bacl.h"

using namespace qsc;

uint32_t QrnNU_IPv4_PrefixToNetmaskValue(int32_t prefix)
{
    // 64 bits wide, because shifting a 32-bit word by 32 is undefined.
    const int host_bits = 32 - std::clamp<i32>(prefix, 0, 32);
    return htonl(static_cast<u32>(~u64{0} << host_bits));
}

uint32_t QrnNU_IPv4_PrefixToNetmask(int32_t prefix)
{
    return QrnNU_IPv4_PrefixToNetmaskValue(prefix);
}

uint32_t QrnNU_IPv4_GetBroadcast(uint32_t address, int32_t prefix)
{
    return address | ~QrnNU_IPv4_PrefixToNetmask(prefix);
}

const char* QrnNU_IPv4_PrefixToNetmaskString(int32_t prefix)
{
    return inet_ntoa({.s_addr = QrnNU_IPv4_PrefixToNetmask(prefix)});
}
