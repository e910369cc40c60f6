// SPDX-License-Identifier: Apache-2.0
#include "handlers/services/OpenVpnFilter.h"

#include <algorithm>
#include <array>
#include <span>

#include "base/Parse.h"
#include "base/Text.h"

namespace qsc::services
{

namespace
{

/// The program reads lines in pieces of 255 bytes: the second piece of a longer one would be another line.
constexpr std::size_t kLongestLine = 250;

/// All directives that are taken, by how many words may follow. With more words some of them name a file.
// NOLINTBEGIN(bugprone-suspicious-missing-comma): each text is one list of words
constexpr std::string_view kDirectives[] = {
    "auth-nocache auth-user-pass block-ipv6 client comp-noadapt disable-occ fast-io float ifconfig-nowarn "
    "mtu-test "
    "mute-replay-warnings nobind passtos persist-key persist-local-ip persist-remote-ip persist-tun "
    "ping-timer-rem "
    "pull push-peer-info remote-random remote-random-hostname route-nopull tls-client tls-exit tun-ipv6",
    "allow-compression auth auth-retry cipher comp-lzo compress connect-retry-max connect-timeout "
    "data-ciphers "
    "data-ciphers-fallback dev dev-type ecdh-curve explicit-exit-notify fragment group hand-window "
    "key-direction "
    "link-mtu lport max-routes mtu-disc mute ncp-ciphers nice ns-cert-type ping ping-exit ping-restart port "
    "proto "
    "proto-force rcvbuf remote-cert-eku remote-cert-tls reneg-bytes reneg-pkts resolv-retry route-gateway "
    "route-metric rport server-poll-timeout session-timeout sndbuf tls-cert-profile tls-cipher "
    "tls-ciphersuites "
    "tls-groups tls-timeout tls-version-max topology tran-window tun-mtu tun-mtu-extra txqueuelen user verb "
    "x509-username-field",
    "connect-retry dhcp-option http-proxy ifconfig inactive keepalive mssfix pull-filter reneg-sec "
    "replay-window "
    "route-delay socks-proxy tls-version-min verify-hash verify-x509-name",
    "remote route-ipv6",
    "route",
    "",
    "redirect-gateway redirect-private remote-cert-ku",
};
// NOLINTEND(bugprone-suspicious-missing-comma)

/// Keys and certificates, which stand in the file itself.
constexpr std::string_view kBlocks =
    "ca cert extra-certs key peer-fingerprint pkcs12 tls-auth tls-crypt tls-crypt-v2 crl-verify";

bool holds_word(std::string_view words, std::string_view wanted)
{
    return for_each_word(words, [&](std::string_view word) -> u32 { return word == wanted ? 1 : 0; }) != 0;
}

constexpr bool is_blank(char c)
{
    return c == ' ' || c == '\t';
}

std::string_view trimmed(std::string_view text)
{
    while (!text.empty() && is_blank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && is_blank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

/// The name between "<" and ">"; empty: there is none.
std::string_view block_name(std::string_view line, std::string_view opening)
{
    return line.size() > opening.size() + 1 && line.starts_with(opening) && line.ends_with('>')
               ? line.substr(opening.size(), line.size() - opening.size() - 1)
               : std::string_view{};
}

class Filter
{
  public:
    explicit Filter(FileText& file) : file_(file) {}

    const char* take_line(std::string_view line)
    {
        if (line.size() > kLongestLine) {
            return "it is too long";
        }
        if (!std::ranges::all_of(line, [](char c) { return (c >= ' ' && c <= '~') || c == '\t'; })) {
            return "it has a character that is no plain one";
        }
        line = trimmed(line);
        return !block_.empty() ? take_key(line) : take_outside(line);
    }

    [[nodiscard]] const char* end() const
    {
        return !block_.empty() || is_connection_ ? "its last block has no end"
               : !is_client_                     ? "it is not that of a client"
               : !has_remote_                    ? "it names no remote"
                                                 : nullptr;
    }

  private:
    const char* write(std::string_view text)
    {
        return file_.append(text) ? nullptr : "there is no memory for it";
    }

    const char* write_line(std::string_view line)
    {
        const char* const why = write(line);
        return why != nullptr ? why : write("\n");
    }

    const char* take_key(std::string_view line)
    {
        if (block_name(line, "</") == block_) {
            block_ = {};
            return write_line(line);
        }
        return line.find_first_of("<>") == std::string_view::npos ? write_line(line)
                                                                  : "it is no line of a key";
    }

    const char* take_outside(std::string_view line)
    {
        if (line.empty() || line.front() == '#' || line.front() == ';') {
            return nullptr;
        }
        if (line.front() == '<') {
            return take_block(line);
        }
        return take_directive(line);
    }

    const char* take_block(std::string_view line)
    {
        constexpr std::string_view kConnection = "connection";
        const std::string_view begins = block_name(line, "<");
        if (begins == kConnection && !is_connection_) {
            is_connection_ = true;
        } else if (block_name(line, "</") == kConnection && is_connection_) {
            is_connection_ = false;
        } else if (!is_connection_ && !begins.empty() && holds_word(kBlocks, begins)) {
            block_ = begins;
        } else {
            return "it begins a block that is not taken, or ends none";
        }
        return write_line(line);
    }

    const char* take_directive(std::string_view line)
    {
        constexpr std::size_t kMostWords = std::size(kDirectives);
        constexpr std::string_view kMarks = "._:/,+=@!%*?-";
        std::array<std::string_view, kMostWords> words;
        std::size_t count = 0;
        for (std::string_view word = take_word(line); !word.empty(); word = take_word(line)) {
            if (word.front() == '#' || word.front() == ';') {
                break; // a remark
            }
            const bool is_plain = std::ranges::all_of(word, [&](char c) {
                return is_digit(c) || is_lower(to_lower(c)) || kMarks.find(c) != std::string_view::npos;
            });
            if (!is_plain || word.front() == '-') {
                return "it has a quote, a dash before a word, or a mark that is not taken";
            }
            if (count == kMostWords) {
                return "it has too many words";
            }
            words[count++] = word;
        }
        return judge(std::span{words}.first(count));
    }

    const char* judge(std::span<const std::string_view> words)
    {
        const std::string_view name = words[0];
        const std::string_view value = words.size() > 1 ? words[1] : std::string_view{};
        std::size_t most = 0;
        while (most < std::size(kDirectives) && !holds_word(kDirectives[most], name)) {
            ++most;
        }
        if (most == std::size(kDirectives)) {
            return "it has a directive that is not taken";
        }
        const bool has_path = name != "route-ipv6" && std::ranges::any_of(words, [](std::string_view word) {
                                  return word.find('/') != std::string_view::npos;
                              });
        if (words.size() > most + 1 || has_path) {
            return "it says more than is taken of its directive";
        }
        if (name == "dev" || name == "dev-type") {
            return value.starts_with("tun") ? nullptr
                                            : "only tun devices are taken"; // which we name ourselves
        }
        if (name == "proto" && value.ends_with("server")) {
            return "it is that of a server";
        }
        is_client_ = is_client_ || name == "client";
        has_remote_ = has_remote_ || (name == "remote" && !value.empty());
        const char* why = nullptr;
        for (std::size_t i = 0; i < words.size() && why == nullptr; ++i) {
            why = i == 0 ? nullptr : write(" ");
            why = why != nullptr ? why : write(words[i]);
        }
        return why != nullptr ? why : write("\n");
    }

    FileText& file_;
    std::string_view block_; ///< that a line is in; empty: none
    bool is_connection_ = false;
    bool is_client_ = false;
    bool has_remote_ = false;
};

} // namespace

OpenVpnFault filter_openvpn(std::string_view text, FileText& file)
{
    if (text.size() > kMostOpenVpn) {
        return {"it is longer than 32768 characters", 0};
    }
    Filter filter{file};
    for (u32 number = 1; !text.empty(); ++number) {
        std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        line.remove_suffix(line.ends_with('\r') ? 1 : 0);
        if (const char* const why = filter.take_line(line)) {
            return {why, number};
        }
    }
    return {filter.end(), 0};
}

} // namespace qsc::services
