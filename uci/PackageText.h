// SPDX-License-Identifier: Apache-2.0
// The text of a package's file, without what is staged.
#pragma once

#include <span>
#include <string_view>

#include "uci/Cache.h"

namespace qrnuci
{

/// The text as it was when it was looked at.
class PackageText
{
  public:
    /// Looks at the file, and reads it unless it still is what was read before. ENOENT: there is none.
    [[nodiscard]] u32 look(std::string_view name, bool& is_new);

    [[nodiscard]] const Path& path() const { return path_; }
    [[nodiscard]] std::string_view view() const { return text_; }

  private:
    [[nodiscard]] bool is_current(std::string_view name);
    [[nodiscard]] u32 read();

    Path path_;
    Absence first_absence_;
    Snapshot snapshot_;
    Arena arena_;
    std::string_view text_;
};

/// Copies a text with its end, or tells how long it is. EFAULT: it does not fit.
[[nodiscard]] u32 copy_text(std::string_view text, std::span<char> buffer, u32* length);

} // namespace qrnuci
