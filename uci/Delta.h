// SPDX-License-Identifier: Apache-2.0
// The text of a staging file: lines that are applied in order over the package's file.
//
// Line by line it is the format of every program that works on the configuration. A note keeps changes
// together that a kill may have written in part. To other programs it is a change of a section that does not
// exist, which they skip; comments would stop some of them.
//   ~PACKAGE.qrnuci_group.size='N'       the N bytes behind it belong together; fewer mean that their writer
//                                        was killed, and they count as never written
#pragma once

#include <string_view>

#include "base/Text.h"
#include "uci/Growing.h"
#include "uci/Package.h"

namespace qrnuci
{

/// What a text was found to hold.
struct DeltaState {
    std::size_t sound = 0;    ///< bytes up to the end of the last whole change
    std::size_t needed = 0;   ///< of them, those that make a difference; counted where there are many
    bool has_changes = false; ///< there is something to commit
};

/// Applies a text to a package. It is cut up in place and must live as long as the package. A line that makes
/// no sense, or changes what is not there, is skipped: as much of the staged changes as possible is kept.
/// ENOMEM.
[[nodiscard]] u32 apply_delta(char* text, std::size_t size, std::string_view name, Package& package,
                              DeltaState& state);

/// Writes the changes of a text that make a difference. The text is cut up. ENOMEM.
[[nodiscard]] u32 compact_delta(char* text, std::size_t size, std::string_view name, Arena& arena,
                                Growing& lines);

/// Whether a text of that size is worth a count of what it needs.
[[nodiscard]] constexpr bool is_long_delta(std::size_t size)
{
    return size > 4096;
}

using NoteText = qsc::Text<320>;

/// The note to put before lines of that size in total, which are appended to the sound ones; empty when they
/// are written in one piece anyway.
[[nodiscard]] NoteText group_note(std::string_view package, const DeltaState& state, std::size_t size);

} // namespace qrnuci
