// SPDX-License-Identifier: Apache-2.0
// What the firewall's texts mean, however others have written them.
#include <random>

#include <gtest/gtest.h>

#include "handlers/services/Firewall.h"

using namespace qsc;
using namespace qsc::services;

TEST(Firewall, ProtocolsAreReadInAllTheirSpellings)
{
    constexpr Protocols kBoth = kTcp | kUdp;
    const std::pair<const char*, Protocols> cases[] = {
        {"", kBoth},    {"tcp", kTcp},       {"UDP", kUdp},   {"tcp udp", kBoth}, {"TCPUDP", kBoth},
        {"all", kBoth}, {"Any", kBoth},      {"*", kBoth},    {"6", kTcp},        {"17", kUdp},
        {"icmp", 0},    {"icmp  udp", kUdp}, {"sctp esp", 0}, {"tcp6", 0},
    };
    for (const auto& [text, wanted] : cases) {
        EXPECT_EQ(read_protocols(text), wanted) << text;
    }
}

TEST(Firewall, PortsAreOneOrARisingRange)
{
    const std::pair<const char*, PortRange> cases[] = {
        {"80", {80, 0}}, {"80-90", {80, 90}}, {"80:90", {80, 90}}, {"80-80", {80, 80}}, {"65535", {65535, 0}},
    };
    for (const auto& [text, wanted] : cases) {
        PortRange ports;
        EXPECT_TRUE(read_ports(text, ports)) << text;
        EXPECT_EQ(ports, wanted) << text;
    }
    for (const char* const text :
         {"", "0", "-", "80-", "-80", "90-80", "80-65536", "65536", "80 90", "!80", "http"}) {
        PortRange ports;
        EXPECT_FALSE(read_ports(text, ports)) << text;
    }
}

TEST(Firewall, SendersAreAddressesOrPrefixes)
{
    const std::pair<const char*, network::Network> cases[] = {
        {"", {0, 0}},
        {"198.51.100.7", {0xC6336407, 0xFFFFFFFF}},
        {"198.51.100.7/32", {0xC6336407, 0xFFFFFFFF}},
        {"198.51.100.0/24", {0xC6336400, 0xFFFFFF00}},
        {"0.0.0.0/0", {0, 0}},
    };
    for (const auto& [text, wanted] : cases) {
        network::Network remote{};
        EXPECT_TRUE(read_remote(text, remote)) << text;
        EXPECT_EQ(remote.address, wanted.address) << text;
        EXPECT_EQ(remote.mask, wanted.mask) << text;
    }
    for (const char* const text :
         {"/", "/24", "198.51.100.7/", "198.51.100.7/33", "!198.51.100.7", "::1", "host"}) {
        network::Network remote{};
        EXPECT_FALSE(read_remote(text, remote)) << text;
    }
}

TEST(Firewall, WhatIsTakenOverlapsWhereOnePacketIsBoths)
{
    std::mt19937 engine{7};
    const auto random = [&](u32 most) { return static_cast<u32>(engine() % (most + 1)); };
    const auto any = [&] {
        const u32 first = 1 + random(9);
        const u32 length = random(3);
        return Taken{.protocols = static_cast<Protocols>(1 + random(2)),
                     .ports = {first, length == 0 ? 0 : first + length - 1},
                     .remote = {random(3), UINT32_MAX << random(2)}};
    };
    const auto takes = [](const Taken& taken, Protocols protocol, u32 port, u32 sender) {
        return (taken.protocols & protocol) != 0 && port >= taken.ports.first &&
               port <= std::max(taken.ports.first, taken.ports.last) &&
               ((sender ^ taken.remote.address) & taken.remote.mask) == 0;
    };
    int overlaps = 0;
    for (int i = 0; i < 5000; ++i) {
        const Taken one = any();
        const Taken other = any();
        bool is_shared = false;
        for (const Protocols protocol : {kTcp, kUdp}) {
            for (u32 port = 1; port < 16; ++port) {
                for (u32 sender = 0; sender < 8; ++sender) {
                    is_shared = is_shared ||
                                (takes(one, protocol, port, sender) && takes(other, protocol, port, sender));
                }
            }
        }
        ASSERT_EQ(overlap(one, other), is_shared) << i;
        overlaps += is_shared ? 1 : 0;
    }
    EXPECT_GT(overlaps, 500);
    EXPECT_LT(overlaps, 4500);
}
