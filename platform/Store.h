// SPDX-License-Identifier: Apache-2.0
// What the exported functions are made of. Arguments have been checked by QrnUci.cpp; results are those of
// include/qrnuci.h.
#pragma once

#include <span>
#include <string_view>

#include "platform/Key.h"

namespace qrnuci::store
{

/// Reads an option, or a section's type, with staged changes applied.
[[nodiscard]] u32 read(const Key& key, std::span<char> buffer);

/// Reads one item of a list.
[[nodiscard]] u32 read_item(const Key& key, u32 index, std::span<char> buffer);

/// Stages a value; an empty one deletes the option.
[[nodiscard]] u32 write(const Key& key, std::string_view value);

/// Stages one item of a list.
[[nodiscard]] u32 write_item(const Key& key, u32 index, std::string_view value);

/// Merges the staged changes into the package's file.
[[nodiscard]] u32 commit(std::string_view package);

/// Gives back what is held in memory.
void release();

} // namespace qrnuci::store
