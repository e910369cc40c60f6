// SPDX-License-Identifier: Apache-2.0
#include "handlers/services/Url.h"

#include <algorithm>
#include <cerrno>

#include "base/Parse.h"
#include "core/Refusal.h"
#include "core/RowValue.h"

namespace qsc::services
{

u32 check_url(std::string_view url)
{
    constexpr std::string_view kOthers = "-._~:/?[]@!&*+,=%;";
    if (url.empty()) {
        return 0;
    }
    const std::size_t scheme = url.starts_with("http://") ? 7 : url.starts_with("https://") ? 8 : 0;
    if (scheme == 0) {
        return refuse(EFAULT, "it begins with neither http:// nor https://");
    }
    if (!std::ranges::all_of(url, [&](char c) {
            return is_digit(c) || is_lower(to_lower(c)) || kOthers.find(c) != std::string_view::npos;
        })) {
        return refuse(EFAULT, "it has a character that no address has here");
    }
    url.remove_prefix(scheme);
    std::string_view host = url.substr(0, url.find_first_of("/?"));
    const std::size_t at = host.rfind('@');
    if (at != std::string_view::npos) {
        if (host.substr(0, at) != "[USERNAME]:[PASSWORD]") {
            return refuse(EFAULT, "a user name and a password have parameters of their own");
        }
        host.remove_prefix(at + 1);
    }
    const std::size_t colon = host.find(':');
    u32 port = 1;
    if (colon != std::string_view::npos && (!parse_whole(host.substr(colon + 1), port) || port > 65535)) {
        port = 0;
    }
    return port != 0 && is_host(host.substr(0, colon)) ? 0 : refuse(EFAULT, "it names no host");
}

} // namespace qsc::services
