// SPDX-License-Identifier: Apache-2.0
// A thread's private overlay of the packages: what it stages, in memory until it ends, then in a folder.
#pragma once

#include <span>
#include <string_view>

#include "uci/OverlayFolder.h"
#include "uci/PackageText.h"
#include "uci/Staging.h"

namespace qrnuci
{

/// A package in an overlay. Its change has no files: its lines are all that is staged.
struct OverlayPackage {
    PackageChange change;
    PackageText base;        ///< its file's text
    bool is_checked = false; ///< the text need not be looked at again
    bool is_parsed = false;  ///< change.package holds it, with what is staged
    bool is_noted = false;   ///< as committed
    bool is_changing = false;
    u32 finds = 0; ///< since the package had an index
    u32 finds_before_index = 16;
    std::size_t kept = 0;   ///< bytes of the lines that were there before the change
    std::size_t stored = 0; ///< bytes of the lines that are in the folder
    struct stat file = {};  ///< which hold them
    OverlayPackage* next = nullptr;
};

struct Overlay {
    OverlayFolder folder;
    List<OverlayPackage> packages;
    bool has_new_notes = false;
    struct stat notes = {};
};

/// Begins and ends the thread's overlay.
[[nodiscard]] u32 begin_overlay(std::string_view folder);
[[nodiscard]] u32 end_overlay();

/// Frees the overlay that was ended last, which is kept for the next one in the same folder.
void release_overlay();

/// Lists the packages with something staged or noted.
[[nodiscard]] u32 list_overlay(std::span<char> buffer, u32& count);

/// Looks at the files of its packages again.
void renew_overlay();

/// Begins a change of a package in an overlay, and ends those of all that were begun.
[[nodiscard]] u32 begin_change_of(Overlay& overlay, std::string_view name);
[[nodiscard]] u32 end_changes_of(Overlay& overlay, bool is_kept);

/// Whether the thread is in a change of the package.
[[nodiscard]] bool is_changing_in(const Overlay& overlay, std::string_view name);

/// The package with what is staged.
[[nodiscard]] u32 find_package(Overlay& overlay, std::string_view name, PackageChange*& change);

/// Notes a package as committed.
[[nodiscard]] u32 note_commit(Overlay& overlay, std::string_view name);

/// The text of a package's file that the overlay stands on, and the one that a commit would write, as
/// copy_text() has them. ENOENT: it has no file.
[[nodiscard]] u32 copy_base(Overlay& overlay, std::string_view name, std::span<char> buffer, u32* length);
[[nodiscard]] u32 copy_result(Overlay& overlay, std::string_view name, std::span<char> buffer, u32* length);

} // namespace qrnuci
