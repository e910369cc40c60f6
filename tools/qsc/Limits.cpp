// SPDX-License-Identifier: Apache-2.0
#include "tools/qsc/Limits.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "base/Parse.h"

namespace qsc
{

namespace
{

void put(std::string_view text)
{
    (void)std::fwrite(text.data(), 1, text.size(), stdout);
}

/// Splits "least:most", either of which may be missing; false: these are words.
bool split_range(std::string_view values, std::string_view& least, std::string_view& most)
{
    const std::size_t colon = values.find(':');
    const bool is_range = colon != std::string_view::npos && std::ranges::all_of(values, [](char c) {
                              return is_digit(c) || c == '-' || c == ':';
                          });
    if (is_range) {
        least = {values.data(), colon};
        most = {values.data() + colon + 1, values.size() - colon - 1};
    }
    return is_range;
}

void put_range(std::string_view least, std::string_view most)
{
    if (least == most) {
        put(least);
    } else if (least.empty()) {
        put("up to ");
        put(most);
    } else {
        put(least);
        put(most.empty() ? " or more" : " to ");
        put(most);
    }
}

void put_words(std::string_view words)
{
    for (const char character : words) {
        put(character == '|' ? std::string_view{", "} : std::string_view{&character, 1});
    }
}

} // namespace

bool has_limits(const Parameter& parameter)
{
    return *parameter.values != '\0' ||
           (parameter.flags & (QSC_PARAM_LIST | QSC_PARAM_NEEDED | QSC_PARAM_SECRET)) != 0;
}

void print_limits(const Parameter& parameter)
{
    const char* separator = "";
    const auto next = [&](std::string_view text) {
        put(separator);
        put(text);
        separator = "; ";
    };
    std::string_view least;
    std::string_view most;
    if ((parameter.flags & QSC_PARAM_LIST) != 0) {
        next("a list with commas");
    }
    if (split_range(parameter.values, least, most)) {
        next("");
        put_range(least, most);
        put(std::string_view{parameter.type} == "string" ? " characters" : "");
    } else if (*parameter.values != '\0') {
        next("");
        put_words(parameter.values);
    }
    if ((parameter.flags & QSC_PARAM_NEEDED) != 0) {
        next("needed to add one");
    }
    if ((parameter.flags & QSC_PARAM_SECRET) != 0) {
        next("secret");
    }
}

} // namespace qsc
