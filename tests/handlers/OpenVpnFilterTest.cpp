// SPDX-License-Identifier: Apache-2.0
// What may stand in the file of an OpenVPN client, and what the program would make of it.
#include "handlers/services/OpenVpnFilter.h"

#include <gtest/gtest.h>

#include "support/OpenVpnReader.h"

using namespace qsc;
using namespace qsc::services;
using namespace test;

namespace
{

const std::string kLeast = "client\nremote vpn.example.net 1194 udp\n";

/// The file that is made of a text; "LINE: WHY" where it is refused.
std::string filtered(const std::string& text)
{
    FileText file;
    const OpenVpnFault fault = filter_openvpn(text, file);
    return fault.why == nullptr ? std::string{file.view()} : std::to_string(fault.line) + ": " + fault.why;
}

bool is_taken(const std::string& text)
{
    FileText file;
    return filter_openvpn(text, file).why == nullptr;
}

std::string key_block(const std::string& tag)
{
    return "<" + tag + ">\n-----BEGIN X-----\nQUJDRA==\n-----END X-----\n</" + tag + ">\n";
}

} // namespace

TEST(OpenVpnFilter, AUsualFileIsWrittenAnew)
{
    EXPECT_EQ(
        filtered("# a provider's\r\n\r\nclient\r\n  dev tun0 \r\nproto udp ; the usual\r\n"
                 "remote\tvpn.example.net   1194\r\nremote 2001:db8::1 443 tcp\r\nauth-user-pass\r\n"
                 "cipher AES-256-GCM\r\ndata-ciphers AES-256-GCM:?CHACHA20-POLY1305\r\n"
                 "route-ipv6 2000::/3\r\nverify-x509-name vpn.example.net name\r\n"
                 "redirect-gateway def1 bypass-dhcp\r\n<ca>\r\n  QUJD\r\n\r\n</ca>\r\nkey-direction 1\r\n"
                 "<connection>\r\nremote b.example.net 53 udp\r\n</connection>"),
        "client\nproto udp\nremote vpn.example.net 1194\nremote 2001:db8::1 443 tcp\nauth-user-pass\n"
        "cipher AES-256-GCM\ndata-ciphers AES-256-GCM:?CHACHA20-POLY1305\nroute-ipv6 2000::/3\n"
        "verify-x509-name vpn.example.net name\nredirect-gateway def1 bypass-dhcp\n<ca>\nQUJD\n\n</ca>\n"
        "key-direction 1\n<connection>\nremote b.example.net 53 udp\n</connection>\n");
    for (const std::string_view tag : kKeys) {
        EXPECT_TRUE(is_taken(kLeast + key_block(std::string{tag}))) << tag;
    }
}

TEST(OpenVpnFilter, NothingThatRunsReadsOrWritesGetsThroughInAnySpelling)
{
    std::vector<std::string> names{std::begin(kDangerous), std::end(kDangerous)};
    names.insert(names.end(), std::begin(kKeys), std::end(kKeys));
    for (const std::string& name : names) {
        const std::string line = name + " x";
        const std::string spellings[] = {
            name, line, "--" + line, "-" + line, "\"" + name + "\" x", "'" + name + "' x", "\\" + line,
            "setenv opt " + line, "--setenv opt " + line, "\t" + line, "\xEF\xBB\xBF" + line, "\v" + line,
            "verb 3\r" + line, std::string("verb 3\0", 7) + line, "<connection>\n" + line + "\n</connection>",
            "<connection>\n--" + line + "\n</connection>",
            // A line of 255 bytes that ends within a remark or a key: what follows would be the next one.
            "#" + std::string(254, 'a') + line,
            "<ca>\n" + std::string(255, 'A') + "</ca>\n" + line + "\n</ca>"};
        for (const std::string& spelling : spellings) {
            EXPECT_FALSE(is_taken(kLeast + spelling + "\n")) << spelling;
            EXPECT_FALSE(is_taken(spelling + "\n" + kLeast)) << spelling;
        }
        const bool is_key = std::find(std::begin(kKeys), std::end(kKeys), name) != std::end(kKeys);
        EXPECT_EQ(is_taken(kLeast + key_block(name)), is_key) << name;
    }
}

TEST(OpenVpnFilter, EachDirectiveTakesItsWordsAndNoMore)
{
    const std::pair<const char*, int> cases[] = {{"auth-nocache", 0},
                                                 {"mute-replay-warnings", 0},
                                                 {"ping-timer-rem", 0},
                                                 {"pull", 0},
                                                 {"cipher", 1},
                                                 {"allow-compression", 1},
                                                 {"link-mtu", 1},
                                                 {"data-ciphers-fallback", 1},
                                                 {"key-direction", 1},
                                                 {"proto-force", 1},
                                                 {"route-metric", 1},
                                                 {"tls-ciphersuites", 1},
                                                 {"tls-groups", 1},
                                                 {"x509-username-field", 1},
                                                 {"connect-retry", 2},
                                                 {"replay-window", 2},
                                                 {"route-delay", 2},
                                                 {"remote", 3},
                                                 {"route", 4},
                                                 {"redirect-gateway", 6},
                                                 {"nice", 1},
                                                 {"dhcp-option", 2},
                                                 {"redirect-private", 6}};
    for (const auto& [name, most] : cases) {
        std::string line = kLeast + name;
        for (int i = 0; i < most; ++i) {
            line += " a._:,+=@!%*?-Z9";
        }
        EXPECT_TRUE(is_taken(line + " # a remark\n")) << line;
        EXPECT_TRUE(is_taken("\t" + line + "\t;/\n")) << line;
        EXPECT_FALSE(is_taken(line + " x\n")) << line;
    }
    for (const char* line : {"dev tun7", "dev-type tun", "proto tcp-client", "route-ipv6 2001:db8::/32"}) {
        EXPECT_TRUE(is_taken(kLeast + line + "\n")) << line;
    }
}

TEST(OpenVpnFilter, WhatIsOddIsRefusedWithItsLine)
{
    const std::pair<std::string, std::string> kRefused[] = {
        {"", "0: it is not that of a client"},
        {"client\n", "0: it names no remote"},
        {"remote x\n", "0: it is not that of a client"},
        {kLeast + "<ca>\nQUJD\n", "0: its last block has no end"},
        {kLeast + "<connection>\n", "0: its last block has no end"},
        {kLeast + "</connection>\n", "3: it begins a block that is not taken, or ends none"},
        {kLeast + "<connection>\n<connection>\n", "4: it begins a block that is not taken, or ends none"},
        {kLeast + "<connection>\n<ca>\n", "4: it begins a block that is not taken, or ends none"},
        {kLeast + "<auth-user-pass>\nanna\ngeheim\n</auth-user-pass>\n",
         "3: it begins a block that is not taken, or ends none"},
        {kLeast + "<>\n", "3: it begins a block that is not taken, or ends none"},
        {kLeast + "<ca> \n<key>\n", "4: it is no line of a key"},
        {kLeast + "<ca>\n</key>\n", "4: it is no line of a key"},
        {kLeast + "auth-user-pass /etc/shadow\n", "3: it says more than is taken of its directive"},
        {kLeast + "auth-user-pass up\n", "3: it says more than is taken of its directive"},
        {kLeast + "http-proxy proxy.example.net 8080 auth.txt\n",
         "3: it says more than is taken of its directive"},
        {kLeast + "verify-x509-name /etc/passwd\n", "3: it says more than is taken of its directive"},
        {kLeast + "dev-type tap\n", "3: only tun devices are taken"},
        {kLeast + "dev tap0\n", "3: only tun devices are taken"},
        {kLeast + "proto tcp-server\n", "3: it is that of a server"},
        {kLeast + "geheim\n", "3: it has a directive that is not taken"},
        {kLeast + "verb $HOME\n", "3: it has a quote, a dash before a word, or a mark that is not taken"},
        {kLeast + "remote-cert-ku 1 2 3 4 5 6 7 8\n", "3: it has too many words"},
        {kLeast + "verb \xC3\xA4\n", "3: it has a character that is no plain one"},
        {kLeast + "#" + std::string(250, 'x') + "\n", "3: it is too long"},
        {std::string(32769, '\n'), "0: it is longer than 32768 characters"},
    };
    for (const auto& [text, why] : kRefused) {
        EXPECT_EQ(filtered(text), why) << text;
    }
}
