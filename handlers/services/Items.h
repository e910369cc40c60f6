// SPDX-License-Identifier: Apache-2.0
// The items of a list of the configuration that are ours beside those of others.
#pragma once

#include <array>
#include <span>
#include <string_view>

#include "base/Types.h"

namespace qsc::services
{

class Items
{
  public:
    /// Reads a list; a missing one is empty. False: it cannot be read, or is too long.
    [[nodiscard]] bool read(const char* key);

    [[nodiscard]] std::span<const char* const> all() const { return {items_.data(), count_}; }

    /// Adds an item, made of three texts. False: there is no room for it.
    [[nodiscard]] bool add(std::string_view before, std::string_view text, std::string_view after);

    /// Takes away the last item that is made of these, if there is one.
    void remove(std::string_view before, std::string_view text, std::string_view after);

    /// Stores the list.
    [[nodiscard]] u32 write(const char* key) const;

  private:
    u32 count_ = 0;
    std::size_t used_ = 0;
    std::array<const char*, 256> items_;
    std::array<char, 12'288> texts_;
};

} // namespace qsc::services
