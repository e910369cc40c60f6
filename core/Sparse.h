// SPDX-License-Identifier: Apache-2.0
// Constant records of which most leave most members out: what is left out takes no room. Each is written down
// as a plain record, from which the compiler makes the one that the library keeps: a mark for every member
// that is there, and an array with a cell for each.
//
// A plain record has a member type Cell, a union of pointers, and calls use(part, cell) in for_each_cell(use)
// for each member that is there, the lowest part first. A part is a single bit.
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <type_traits>

#include "base/Types.h"

namespace qsc
{

/// Whether a member of a plain record is there. Where null pointers are sanitized, the address of something
/// that is defined elsewhere is no constant, but it is an address.
template <typename Member>
constexpr bool is_given(Member* member)
{
    if (std::is_constant_evaluated()) {
        return __builtin_constant_p(member != nullptr) ? member != nullptr : true;
    }
    return member != nullptr;
}

/// Calls use(part, cell) if a member of a plain record is there.
constexpr void use_member(auto use, u32 part, auto member, auto cell)
{
    if (is_given(member)) {
        use(part, cell);
    }
}

/// How many of the marks stand below a part.
[[nodiscard]] u32 count_below(u32 marks, u32 part);

/// Marks is an unsigned type of enough bits for the parts.
template <typename Cell, typename Marks>
class Sparse
{
  protected:
    constexpr Sparse() = default;
    template <typename Record>
    constexpr Sparse(const Record& record, const Cell* cells) : cells_(cells)
    {
        record.for_each_cell([&](u32 part, Cell) { marks_ = static_cast<Marks>(marks_ | part); });
    }

    /// What the cell of a part holds as this member of the union; null: it is left out.
    template <auto Member>
    [[nodiscard, gnu::noinline]] auto at(u32 part) const
    {
        const bool is_there = (marks_ & part) != 0;
        return is_there ? cells_[count_below(marks_, part)].*Member : nullptr;
    }

  private:
    const Cell* cells_ = nullptr;
    Marks marks_ = 0;
};

template <typename Record, std::size_t Count>
consteval std::size_t count_cells(std::span<const Record, Count> records)
{
    std::size_t count = 0;
    for (const Record& record : records) {
        record.for_each_cell([&](u32, auto) { ++count; });
    }
    return count;
}

template <std::size_t CellCount, typename Record, std::size_t Count>
consteval auto pack_cells(std::span<const Record, Count> records)
{
    std::array<typename Record::Cell, CellCount> cells{};
    std::size_t used = 0;
    for (const Record& record : records) {
        record.for_each_cell([&](u32, auto cell) { cells[used++] = cell; });
    }
    return cells;
}

template <typename Packed, typename Record, std::size_t Count>
consteval auto pack_records(std::span<const Record, Count> records, const typename Record::Cell* cells)
{
    std::array<Packed, Count> packed{};
    for (std::size_t i = 0; i < Count; ++i) {
        packed[i] = Packed{records[i], cells};
        records[i].for_each_cell([&](u32, auto) { ++cells; });
    }
    return packed;
}

template <const auto& Records>
inline constexpr auto kCells = pack_cells<count_cells(std::span{Records})>(std::span{Records});

/// A constant array of plain records, packed.
template <typename Packed, const auto& Records>
inline constexpr auto kPacked = pack_records<Packed>(std::span{Records}, kCells<Records>.data());

} // namespace qsc
