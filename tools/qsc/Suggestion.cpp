// SPDX-License-Identifier: Apache-2.0
#include "tools/qsc/Suggestion.h"

#include <algorithm>
#include <array>

#include "base/Parse.h"

namespace qsc
{

namespace
{

constexpr std::size_t kLongestWord = 255;
using Row = std::array<std::size_t, kLongestWord + 1>;

bool is_same(char first, char second)
{
    return to_lower(first) == to_lower(second);
}

} // namespace

std::size_t edit_distance(std::string_view first, std::string_view second)
{
    first = {first.data(), std::min(first.size(), kLongestWord)};
    second = {second.data(), std::min(second.size(), kLongestWord)};
    Row before{};
    Row above{};
    Row row{};
    for (std::size_t j = 0; j <= second.size(); ++j) {
        row[j] = j;
    }
    for (std::size_t i = 1; i <= first.size(); ++i) {
        before = above;
        above = row;
        row[0] = i;
        for (std::size_t j = 1; j <= second.size(); ++j) {
            const std::size_t change = above[j - 1] + (is_same(first[i - 1], second[j - 1]) ? 0 : 1);
            row[j] = std::min({above[j] + 1, row[j - 1] + 1, change});
            if (i > 1 && j > 1 && is_same(first[i - 1], second[j - 2]) &&
                is_same(first[i - 2], second[j - 1])) {
                row[j] = std::min(row[j], before[j - 2] + 1);
            }
        }
    }
    return row[second.size()];
}

void Suggestion::consider(std::string_view candidate)
{
    const std::size_t distance = edit_distance(given_, candidate);
    const bool is_cut_short = given_.size() > 1 && candidate.size() > given_.size() &&
                              edit_distance(given_, {candidate.data(), given_.size()}) == 0;
    const bool is_near = is_cut_short || distance <= std::max<std::size_t>(1, given_.size() / 3);
    if (is_near && distance < distance_) {
        distance_ = distance;
        best_ = candidate;
    }
}

} // namespace qsc
