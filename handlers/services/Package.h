// SPDX-License-Identifier: Apache-2.0
// The sections of a package, which are written as a whole by more than one row.
#pragma once

#include <array>
#include <span>
#include <string_view>

#include "core/ServeRow.h"

namespace qsc::services
{

/// An option and its value.
struct OptionValue {
    const char* option;
    const char* value;
};

struct Package {
    const char* name;

    /// The type of a section; empty: there is none.
    [[nodiscard]] ValueText type_of(std::string_view section) const;

    /// Reads an option, the items of a list with blanks between them. A missing one is empty. False: it
    /// cannot be read.
    [[nodiscard]] bool read(std::string_view section, const char* option, RowText& value) const;

    /// The same as a text, where what cannot be read is none.
    [[nodiscard]] RowText get(std::string_view section, const char* option) const;

    /// Whether an option is this text; empty: it is missing.
    [[nodiscard]] bool holds(std::string_view section, const char* option, std::string_view text) const;

    /// Whether a switch is on; `fallback`: where it is missing.
    [[nodiscard]] bool is_on(std::string_view section, const char* option, bool fallback) const;

    /// Stores an option, unless it is stored already; empty: takes it away.
    [[nodiscard]] u32 keep(std::string_view section, const char* option, std::string_view value) const;
    [[nodiscard]] u32 keep(std::string_view section, std::span<const OptionValue> values) const;

    /// Makes a section of that name and type, unless there is one.
    [[nodiscard]] u32 make(const char* section, const char* type) const;

    /// Deletes a section.
    [[nodiscard]] u32 drop(std::string_view section) const;
};

/// The sections of one type, in the file's order.
class Sections
{
  public:
    Sections(const Package& package, const char* type);

    /// Whether their names could be read.
    [[nodiscard]] bool is_read() const { return is_read_; }

    /// The name of the next section; null: there is none left.
    [[nodiscard]] const char* next();

  private:
    std::array<char, 8192> names_;
    const char* name_ = names_.data();
    u32 left_ = 0;
    bool is_read_;
};

/// Whether a switch of the request's object is on.
[[nodiscard]] bool is_row_on(RowRequest& request, std::string_view name = "Enable");

/// The name of the section that a request is about.
[[nodiscard]] std::string_view section_name(const RowRequest& request);

} // namespace qsc::services
