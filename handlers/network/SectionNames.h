// SPDX-License-Identifier: Apache-2.0
// The sections of one type, in the file's order, by names that stay right while their options change.
#pragma once

#include <array>
#include <cstring>
#include <string_view>

#include "base/Text.h"
#include "base/UciOptional.h"

namespace qsc::network
{

/// Finds the section of a type with an option that has this value. False: there is none.
[[nodiscard]] bool find_section(const char* package, const char* type, const char* option, const char* value,
                                Text<62>& section);

/// Makes a section of that type and name.
[[nodiscard]] u32 add_section(const char* package, const char* type, const char* name);

class SectionNames
{
  public:
    [[nodiscard]] u32 read(const char* package, const char* type)
    {
        return call_optional(QrnUci_ListSections, package, type, text_.data(), static_cast<u32>(text_.size()),
                             &count_);
    }

    /// Calls use(name) for each, until one answers with a code.
    template <typename Use>
    u32 for_each(Use use) const
    {
        const char* name = text_.data();
        for (u32 i = 0; i < count_; ++i, name += std::strlen(name) + 1) {
            if (const u32 code = use(std::string_view{name})) {
                return code;
            }
        }
        return 0;
    }

  private:
    std::array<char, 8192> text_;
    u32 count_ = 0;
};

} // namespace qsc::network
