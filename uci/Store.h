// SPDX-License-Identifier: Apache-2.0
// What the exported functions are made of. Arguments have been checked by QrnUci.cpp; results are those of
// include/qrnuci.h.
#pragma once

#include <span>
#include <string_view>

#include "include/qrnuci.h"
#include "uci/Key.h"

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

/// Reads all items of a list, each with its end.
[[nodiscard]] u32 read_list(const Key& key, std::span<char> buffer, u32& count);

/// Stages a list whole; without items the option is deleted.
[[nodiscard]] u32 write_list(const Key& key, std::span<const char* const> items);

/// Count, list and find sections; an empty type is every type.
[[nodiscard]] u32 count_sections(std::string_view package, std::string_view type, u32& count);
[[nodiscard]] u32 list_sections(std::string_view package, std::string_view type, std::span<char> buffer,
                                u32& count);
[[nodiscard]] u32 find_section(std::string_view package, std::string_view type, std::string_view option,
                               std::string_view value, std::span<char> buffer);
[[nodiscard]] u32 read_section_name(const Key& key, std::span<char> buffer);
[[nodiscard]] u32 read_section_position(const Key& key, u32& position);

/// Stage a section that comes, goes, moves or gets another name.
[[nodiscard]] u32 add_section(std::string_view package, std::string_view type, std::string_view name,
                              std::span<char> buffer);
[[nodiscard]] u32 delete_section(const Key& key);
[[nodiscard]] u32 move_section(const Key& key, u32 position);
[[nodiscard]] u32 rename_section(const Key& key, std::string_view name);

/// Merges the staged changes into the package's file.
[[nodiscard]] u32 commit(std::string_view package);

/// The text of a package's file, as the thread is to see it, and as its overlay has found it.
[[nodiscard]] u32 read_package_text(std::string_view package, std::span<char> buffer, u32* length);
[[nodiscard]] u32 read_base_text(std::string_view package, std::span<char> buffer, u32* length);

/// Replaces a package's file, makes it (`before` is null) or removes it (`after` is null).
[[nodiscard]] u32 replace_package(std::string_view package, const char* before, const char* after);

/// Tells the differences between two texts of a package; a null one is empty.
[[nodiscard]] u32 compare_packages(const char* before, const char* after, Qrn_UciDifferenceFunction* call,
                                   void* context);

/// Gives back what is held in memory.
void release();

} // namespace qrnuci::store
