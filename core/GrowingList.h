// SPDX-License-Identifier: Apache-2.0
// Lists whose instances callers add and delete: each is a section of the configuration, with its number in
// the option "qrn_index".
#pragma once

#include "core/ServeRow.h"

namespace qsc
{

struct GrowingList {
    const char* package;
    const char* type; ///< of its sections
    u32 limit = 64;
    /// Whether a section of the type belongs to the list, by what its keys begin with; null: all do.
    bool (*is_ours)(const char* section) = nullptr;
    /// The parameter of a new instance that its section is named after; null: sections have no names.
    const char* named_by = nullptr;
};

inline constexpr i32 kHighestInstance = 65535;

/// Judges X_QRN_Add and X_QRN_Delete.
[[nodiscard]] u32 check_add(const RowCall& call, std::string_view stored);
[[nodiscard]] u32 check_delete(const RowCall& call, std::string_view stored);

/// The first rows of a growing list.
inline constexpr Row kAddRow{.name = "X_QRN_Add",
                             .kind = Kind::kAdd,
                             .access = Access::kWrite,
                             .place = Place::kInstance,
                             .check = check_add};
inline constexpr Row kDeleteRow{.name = "X_QRN_Delete",
                                .kind = Kind::kDelete,
                                .access = Access::kWrite,
                                .place = Place::kInstance,
                                .check = check_delete};

/// The sections of a list, and the numbers they go by: stored ones first, then those without one, or with one
/// that is taken, have the lowest that are free, in the file's order.
class ListedSections
{
  public:
    static constexpr u32 kMost = 256;

    /// A package that is not installed has none. EFAULT: the configuration cannot be read, holds more than
    /// can be listed, or its library knows no lists.
    [[nodiscard]] u32 read(const GrowingList& list);

    [[nodiscard]] u32 count() const { return count_; }
    /// The name of the section that goes by a number; null: none does.
    [[nodiscard]] const char* find(i32 number) const;
    /// The lowest number above `after` that a section goes by; 0: none.
    [[nodiscard]] i32 next(i32 after) const;
    /// Writes down the numbers that are not stored yet.
    [[nodiscard]] u32 store_numbers(const GrowingList& list) const;

  private:
    struct Listed {
        const char* name;
        u16 number;
        bool is_stored;
    };
    u32 count_ = 0;
    std::array<Listed, kMost> listed_;
    std::array<char, 8192> names_;
};

/// Finds the section of a get's instance. @return 0; EINVAL: there is none; EFAULT: the list cannot be read
[[nodiscard]] u32 find_section(RowRequest& request);

/// Whether a set adds its instance.
[[nodiscard]] bool adds(const RowRequest& request);

/// Finds the section of a set's instance, in a list that the request has to itself, or that it is new.
[[nodiscard]] u32 find_or_begin(RowRequest& request);

/// Adds or deletes the instance where the request, which is right, says so.
[[nodiscard]] u32 add_or_delete(RowRequest& request);

} // namespace qsc
