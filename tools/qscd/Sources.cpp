// SPDX-License-Identifier: Apache-2.0
#include "tools/qscd/Sources.h"

#include <algorithm>
#include <cerrno>

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace qsc;

namespace qscd
{

namespace
{

/// Where the configuration is changed: committed, and staged.
constexpr const char* kFolders[] = {"/etc/config", "/tmp/.uci"};

} // namespace

void Sources::open()
{
    if (files_.is_open()) {
        return;
    }
    files_.replace(FileDescriptor{inotify_init1(IN_CLOEXEC | IN_NONBLOCK)});
    network_.replace(
        FileDescriptor{socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE)});
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR | RTMGRP_IPV4_ROUTE;
    if (network_.is_open() &&
        bind(network_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        (void)network_.close();
    }
    are_new_ = true;
}

void Sources::close()
{
    (void)files_.close();
    (void)network_.close();
    folders_.fill(-1);
}

/// The staging folder may come and go.
bool Sources::find_folders()
{
    bool has_found = false;
    for (std::size_t i = 0; i < folders_.size(); ++i) {
        if (folders_[i] < 0) {
            // NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage): both arrays have one entry a folder
            folders_[i] = inotify_add_watch(files_.get(), kFolders[i],
                                            IN_CLOSE_WRITE | IN_MODIFY | IN_MOVED_TO | IN_CREATE | IN_DELETE |
                                                IN_DELETE_SELF | IN_ONLYDIR);
            has_found = has_found || folders_[i] >= 0;
        }
    }
    return has_found;
}

bool Sources::lacks_folders() const
{
    return std::ranges::count(folders_, -1) != 0;
}

bool Sources::drain(int descriptor)
{
    alignas(inotify_event) char text[4096];
    ssize_t count = 0;
    bool has_read = false;
    // Of what the kernel had no room to say, it says that much.
    while ((count = read(descriptor, text, sizeof text)) > 0 || (count < 0 && errno == ENOBUFS)) {
        has_read = true;
        for (ssize_t at = 0; descriptor == files_.get() && at < count;) {
            const auto* const event = reinterpret_cast<const inotify_event*>(text + at);
            if ((event->mask & IN_IGNORED) != 0) {
                std::ranges::replace(folders_, event->wd, -1);
            }
            at += static_cast<ssize_t>(sizeof *event + event->len);
        }
    }
    return has_read;
}

} // namespace qscd
