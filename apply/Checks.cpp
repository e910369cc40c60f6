// SPDX-License-Identifier: Apache-2.0
#include "apply/Checks.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <arpa/inet.h>

#include "base/Parse.h"
#include "base/SafeFile.h"
#include "base/Text.h"
#include "core/Refusal.h"
#include "core/RunTool.h"
#include "log/Log.h"

namespace qsc::apply
{

namespace
{

constexpr const char* kModule = "QscChecks";
constexpr u32 kDeadline = 10'000;
constexpr std::string_view kGateway = "gateway";
constexpr std::string_view kDns = "dns";
constexpr std::string_view kUrl = "url:";
constexpr std::size_t kMostWords = 16;

using AddressText = Text<80>;
using CheckText = Text<510>;

/// Calls use(words) for each line of a file of the kernel's, until one answers true.
template <std::size_t Count, typename Use>
bool find_line(const char* path, Use use)
{
    FileText text;
    if (read_safe_file(path, text) != 0) {
        return false;
    }
    for (std::string_view rest = text.view(); !rest.empty();) {
        std::string_view line{rest.data(), std::min(rest.find('\n'), rest.size())};
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
        std::array<std::string_view, Count> words;
        for (std::string_view& word : words) {
            word = take_word(line);
        }
        if (!words.back().empty() && use(words)) {
            return true;
        }
    }
    return false;
}

/// Whether a route leads over a gateway.
bool has_gateway(std::string_view flags)
{
    constexpr u32 kGatewayFlag = 0x2; // RTF_GATEWAY
    u32 bits = 0;
    return parse_whole(flags, bits, 16) && (bits & kGatewayFlag) != 0;
}

/// The gateway of the default route of IPv4, else of IPv6, as `ping` takes it.
bool find_gateway(AddressText& address)
{
    // Interface, destination, gateway and flags; addresses as a number of this machine's in hexadecimal.
    const bool is_found = find_line<4>("/proc/net/route", [&](const auto& words) {
        in_addr gateway{};
        char text[INET_ADDRSTRLEN];
        return words[1] == "00000000" && has_gateway(words[3]) && parse_whole(words[2], gateway.s_addr, 16) &&
               address.assign(inet_ntop(AF_INET, &gateway, text, sizeof text));
    });
    // Destination, length, source, length, gateway, metric, references, uses, flags and interface.
    constexpr std::string_view kNowhere = "00000000000000000000000000000000";
    return is_found || find_line<10>("/proc/net/ipv6_route", [&](const auto& words) {
               if (words[0] != kNowhere || words[1] != "00" || !has_gateway(words[8]) ||
                   words[4].size() != kNowhere.size()) {
                   return false;
               }
               address.clear();
               for (std::size_t i = 0; i < words[4].size(); i += 4) {
                   address.append(i != 0 ? ":" : "").append({words[4].data() + i, 4});
               }
               return address.append("%").append(words[9]).fits();
           });
}

u32 run(const char* const* arguments)
{
    const u32 code = run_tool({.arguments = arguments, .deadline = kDeadline}, kModule);
    return code == 0 ? 0 : refuse(EFAULT, "%s ended with %u", arguments[0], code);
}

u32 ping_gateway()
{
    AddressText address;
    if (!find_gateway(address)) {
        return refuse(EFAULT, "there is no default route over a gateway");
    }
    const char* const arguments[] = {"ping", "-W", "3", "-c", "1", address.c_str(), nullptr};
    return run(arguments);
}

/// Splits a command at its blanks, in place. @return how many words there are; 0: too many
std::size_t split(char* text, std::array<const char*, kMostWords + 1>& words)
{
    std::size_t count = 0;
    while (*text != '\0') {
        for (; is_space(*text); ++text) {
            *text = '\0';
        }
        if (*text != '\0' && count == kMostWords) {
            return 0;
        }
        if (*text != '\0') {
            words[count++] = text;
        }
        while (*text != '\0' && !is_space(*text)) {
            ++text;
        }
    }
    words[count] = nullptr;
    return count;
}

u32 run_command(std::string_view check)
{
    CheckText text;
    std::array<const char*, kMostWords + 1> words{};
    if (!text.assign(check) || split(text.data(), words) == 0) {
        return refuse(EFAULT, "the check is empty or too long");
    }
    return run(words.data());
}

} // namespace

bool is_command(std::string_view check)
{
    return check != kGateway && check != kDns && !check.starts_with(kUrl);
}

u32 judge_check(std::string_view check)
{
    CheckText text;
    std::array<const char*, kMostWords + 1> words{};
    if (std::ranges::any_of(check, is_control) || !text.assign(check) || split(text.data(), words) == 0) {
        return refuse(EINVAL, "a check is gateway, dns, url:ADDRESS, or a program with up to 15 arguments");
    }
    if (check.starts_with(kUrl)) {
        check.remove_prefix(kUrl.size());
        if ((!check.starts_with("http://") && !check.starts_with("https://")) || words[1] != nullptr) {
            return refuse(EINVAL, "a check's address begins with http:// or https:// and has no blanks");
        }
    }
    return 0;
}

u32 run_check(std::string_view check)
{
    if (check == kGateway) {
        return ping_gateway();
    }
    if (check == kDns) {
        // Any name server can answer this; no name of somebody's has to exist for it.
        constexpr const char* kArguments[] = {"nslookup", "-type=ns", ".", nullptr};
        return run(kArguments);
    }
    if (check.starts_with(kUrl)) {
        check.remove_prefix(kUrl.size());
        CheckText address;
        address.append(check);
        const char* const arguments[] = {"wget",          "-q",   "-T", "5", "-O", "/dev/null",
                                         address.c_str(), nullptr};
        return run(arguments);
    }
    return run_command(check);
}

} // namespace qsc::apply
