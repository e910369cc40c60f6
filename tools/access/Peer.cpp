// SPDX-License-Identifier: Apache-2.0
#include "tools/access/Peer.h"

#include <algorithm>

#include <grp.h>
#include <pwd.h>
#include <sys/socket.h>

#include "base/Parse.h"

namespace qsc::access
{

bool peer_of_socket(int socket, Peer& peer)
{
    ucred credentials{};
    socklen_t size = sizeof credentials;
    if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) {
        return false;
    }
    peer.user = credentials.uid;
    peer.process = credentials.pid;
    peer.groups[0] = credentials.gid;
    peer.group_count = 1;
#ifdef SO_PEERGROUPS
    size = static_cast<socklen_t>(sizeof(gid_t) * (peer.groups.size() - 1));
    if (getsockopt(socket, SOL_SOCKET, SO_PEERGROUPS, peer.groups.data() + 1, &size) == 0) {
        peer.group_count += static_cast<u32>(size / sizeof(gid_t));
    }
#endif
    return true;
}

bool peer_of_user(const char* name, Peer& peer)
{
    const passwd* entry = getpwnam(name);
    uid_t number = 0;
    if (entry == nullptr && parse_whole(std::string_view{name}, number)) {
        entry = getpwuid(number);
        peer.user = number;
        if (entry == nullptr) {
            return true;
        }
    }
    if (entry == nullptr) {
        return false;
    }
    peer.user = entry->pw_uid;
    int count = static_cast<int>(peer.groups.size());
    (void)getgrouplist(entry->pw_name, entry->pw_gid, peer.groups.data(), &count);
    peer.group_count = std::min(static_cast<u32>(count), static_cast<u32>(peer.groups.size()));
    return true;
}

} // namespace qsc::access
