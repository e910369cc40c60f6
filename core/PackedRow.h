// SPDX-License-Identifier: Apache-2.0
// Rows as the library keeps them: what a row leaves out takes no room, and a handler that it describes is
// left to the exported table, which names it anyway.
#pragma once

#include "core/Row.h"

namespace qsc
{

class PackedRow : Sparse<RowCell, u8>
{
  public:
    constexpr PackedRow() = default;
    constexpr PackedRow(const Row& row, const RowCell* cells)
        : Sparse(row, cells), kind(row.kind), line(row.name.line), access(row.access), place(row.place),
          unit(row.unit), marks(row.marks), name(row.name.text)
    {
    }

    // In the order that leaves no gaps.
    Kind kind{};
    u16 line = 0;
    Access access{};
    Place place{};
    Unit unit{};
    Marks marks = 0;
    const char* name = nullptr;

    [[nodiscard]] const char* limits() const { return at<&RowCell::text>(Row::kLimits); }
    [[nodiscard]] const char* key() const { return at<&RowCell::text>(Row::kKey); }
    [[nodiscard]] const char* fallback() const { return at<&RowCell::text>(Row::kFallback); }
    [[nodiscard]] const char* outside() const { return at<&RowCell::text>(Row::kOutside); }
    [[nodiscard]] RowGet get() const { return at<&RowCell::get>(Row::kGet); }
    [[nodiscard]] RowTake check() const { return at<&RowCell::take>(Row::kCheck); }
    [[nodiscard]] RowTake set() const { return at<&RowCell::take>(Row::kSet); }
};
static_assert(sizeof(PackedRow) <= 24, "one goes into every parameter");

} // namespace qsc
