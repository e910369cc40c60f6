// SPDX-License-Identifier: Apache-2.0
// Reads a configuration file the way OpenVPN itself does, for tests and fuzzers of what is let through to it.
#pragma once

#include <algorithm>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace test
{

using Directive = std::vector<std::string>;

/// Everything that runs a program, loads code, reads or writes a file, or opens a way in.
inline constexpr std::string_view kDangerous[] = {
    // runs
    "up",
    "down",
    "ipchange",
    "route-up",
    "route-pre-down",
    "learn-address",
    "client-connect",
    "client-disconnect",
    "client-crresponse",
    "auth-user-pass-verify",
    "tls-verify",
    "tls-crypt-v2-verify",
    "dns-updown",
    "dns",
    "iproute",
    "plugin",
    "script-security",
    "up-restart",
    "up-delay",
    "down-pre",
    // loads, or takes others' directives
    "config",
    "engine",
    "providers",
    "pkcs11-providers",
    "pkcs11-id",
    "pkcs11-id-management",
    "setenv",
    "setenv-safe",
    "push",
    "ignore-unknown-option",
    "opt-verify",
    "cryptoapicert",
    "inetd",
    "setcon",
    // reads
    "askpass",
    "capath",
    "dh",
    "secret",
    "client-config-dir",
    "http-proxy-user-pass",
    "auth-gen-token-secret",
    "tls-crypt-v2-server",
    "port-share",
    "dev-node",
    "static-challenge",
    "x509-track",
    // writes
    "log",
    "log-append",
    "status",
    "writepid",
    "replay-persist",
    "ifconfig-pool-persist",
    "tls-export-cert",
    "tmp-dir",
    "memstats",
    "genkey",
    "echo",
    "syslog",
    "daemon",
    "errors-to-stderr",
    "keying-material-exporter",
    // goes elsewhere, or lets in
    "cd",
    "chroot",
    "management",
    "management-client",
    "management-client-user",
    "management-hold",
    "management-external-cert",
    "management-external-key",
    "management-query-passwords",
    "management-query-proxy",
    "management-query-remote",
    "management-up-down",
    "management-log-cache",
    "mode",
    "server",
    "server-bridge",
    "server-ipv6",
    "tls-server",
    "mktun",
    "rmtun",
    "lladdr",
    "test-crypto",
    "verify-client-cert",
    "auth-user-pass-optional",
    "client-nat",
    "remap-usr1",
    "show-tls",
    "version",
};

/// Directives that name files when they have arguments.
inline constexpr std::string_view kKeys[] = {
    "ca", "cert", "key", "pkcs12", "tls-auth", "tls-crypt", "tls-crypt-v2", "extra-certs", "crl-verify"};

/// The words of a line: quotes of two kinds, backslashes, remarks.
inline Directive read_words(std::string_view line)
{
    enum { kBetween, kPlain, kDouble, kSingle } state = kBetween;
    Directive words;
    std::string word;
    bool escapes = false;
    const auto is_space = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
    for (std::size_t i = 0; i <= line.size(); ++i) {
        const char in = i < line.size() ? line[i] : '\0';
        char out = '\0';
        if (!escapes && in == '\\' && state != kSingle) {
            escapes = true;
            continue;
        }
        if (state == kBetween) {
            if (!is_space(in) && in != '\0') {
                if (!escapes && (in == ';' || in == '#')) {
                    break;
                }
                state = !escapes && in == '"' ? kDouble : !escapes && in == '\'' ? kSingle : kPlain;
                out = state == kPlain ? in : '\0';
            }
        } else if (state == kPlain) {
            if (!escapes && (is_space(in) || in == '\0')) {
                words.push_back(word);
                word.clear();
                state = kBetween;
            } else {
                out = in;
            }
        } else if (!escapes && in == (state == kDouble ? '"' : '\'')) {
            words.push_back(word);
            word.clear();
            state = kBetween;
        } else {
            out = in;
        }
        escapes = false;
        if (out != '\0') {
            word += out;
        }
    }
    if (!words.empty() && words[0].size() >= 3 && words[0].starts_with("--")) {
        words[0].erase(0, 2);
    }
    return words;
}

/// The file in the pieces that a buffer of 256 bytes gets.
inline std::vector<std::string> read_pieces(std::string_view text)
{
    std::vector<std::string> pieces;
    while (!text.empty()) {
        const std::size_t end = std::min({text.find('\n') == text.npos ? text.size() : text.find('\n') + 1,
                                          std::size_t{255}, text.size()});
        // A C string ends at a NUL.
        pieces.emplace_back(text.substr(0, std::min(end, text.find('\0'))));
        text.remove_prefix(end);
    }
    return pieces;
}

/// What the program would take for its directives, those in blocks of connections included.
inline std::vector<Directive> read_openvpn(std::string_view text)
{
    std::vector<Directive> all;
    const std::vector<std::string> pieces = read_pieces(text);
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        std::string_view piece = pieces[i];
        if (i == 0 && piece.starts_with("\xEF\xBB\xBF")) {
            piece.remove_prefix(3);
        }
        Directive words = read_words(piece);
        if (words.empty()) {
            continue;
        }
        const std::string& first = words[0];
        if (words.size() == 1 && first.size() > 2 && first.front() == '<' && first.back() == '>') {
            const std::string close = "</" + first.substr(1);
            std::string body;
            for (++i; i < pieces.size(); ++i) {
                const std::size_t start = std::min(pieces[i].find_first_not_of(" \t"), pieces[i].size());
                if (pieces[i].compare(start, close.size(), close) == 0) {
                    break;
                }
                body += pieces[i];
            }
            if (first == "<connection>") {
                for (Directive& inner : read_openvpn(body)) {
                    all.push_back(std::move(inner));
                }
            } else {
                all.push_back({first});
            }
            continue;
        }
        if (words.size() > 2 && words[0] == "setenv" && words[1] == "opt") {
            words.erase(words.begin(), words.begin() + 2);
        }
        all.push_back(std::move(words));
    }
    return all;
}

/// Whether a directive does more than describe a connection.
inline bool is_dangerous(const Directive& directive)
{
    const auto is_one_of = [&](const auto& names, std::string_view name) {
        return std::find(std::begin(names), std::end(names), name) != std::end(names);
    };
    const std::string& name = directive[0];
    if (name.front() == '<') {
        return is_one_of(kDangerous, std::string_view{name}.substr(1, name.size() - 2));
    }
    return is_one_of(kDangerous, name) || is_one_of(kKeys, name) ||
           (name == "auth-user-pass" && directive.size() > 1) ||
           ((name == "http-proxy" || name == "socks-proxy") && directive.size() > 3);
}

} // namespace test
