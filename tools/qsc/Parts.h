// SPDX-License-Identifier: Apache-2.0
// The parts of a path, between its dots.
#pragma once

#include <algorithm>
#include <string_view>

#include "base/Parse.h"

namespace qsc
{

/// Stands for an instance number in the paths of described objects.
inline constexpr std::string_view kInstance = "{i}";
/// Stands for every instance in paths that people write, as kInstance does.
inline constexpr std::string_view kEvery = "*";

/// Walks the parts of a path. A dot at its end makes no part.
class Parts
{
  public:
    explicit Parts(std::string_view path) : rest_(path) {}

    /// Takes the next part. False: there are no more.
    [[nodiscard]] bool next(std::string_view& part)
    {
        if (rest_.empty()) {
            return false;
        }
        part = {rest_.data(), std::min(rest_.find('.'), rest_.size())};
        rest_.remove_prefix(std::min(part.size() + 1, rest_.size()));
        return true;
    }

  private:
    std::string_view rest_;
};

inline bool is_number(std::string_view part)
{
    return !part.empty() && std::ranges::all_of(part, is_digit);
}

inline bool is_every(std::string_view part)
{
    return part == kEvery || part == kInstance;
}

/// Whether a part as it was written fits one of a described path.
inline bool part_fits(std::string_view written, std::string_view described)
{
    return written == described || (is_every(written) && is_number(described)) ||
           (described == kInstance && (is_every(written) || is_number(written)));
}

/// Whether a part may name a row of an object: by a number or a MAC address.
inline bool is_row(std::string_view part)
{
    return !part.empty() && (is_digit(part.front()) || part.find(':') != std::string_view::npos) &&
           std::ranges::all_of(part, [](char c) { return hex_value(c) >= 0 || c == ':'; });
}

/// Whether a path leaves open which instances are meant.
inline bool holds_every(std::string_view path)
{
    Parts parts{path};
    for (std::string_view part; parts.next(part);) {
        if (is_every(part)) {
            return true;
        }
    }
    return false;
}

/// How a path as it was written relates to a described one.
enum class Fit {
    kNone,
    kAbove, ///< it is the beginning of it
    kObject ///< it is all of it
};

/// With `next`, if given, the first part of the described path that the written one does not have.
inline Fit fit(std::string_view written, std::string_view described, std::string_view* next = nullptr)
{
    Parts wanted{written};
    Parts parts{described};
    for (std::string_view part;;) {
        std::string_view own;
        const bool is_wanted = wanted.next(part);
        const bool is_own = parts.next(own);
        if (!is_wanted) {
            if (next != nullptr) {
                *next = own;
            }
            return is_own ? Fit::kAbove : Fit::kObject;
        }
        if (!is_own || !part_fits(part, own)) {
            return Fit::kNone;
        }
    }
}

} // namespace qsc
