// SPDX-License-Identifier: Apache-2.0
// A package's file: read whole, replaced whole.
#pragma once

#include <string_view>

#include "uci/LockedFile.h"
#include "uci/Package.h"

namespace qrnuci
{

/// Packages here come before those of the same name in /etc/config.
inline constexpr const char* kFirstFolder = "/var/run/uci";

/// The paths that a package's file may have: the one that comes first, and the usual one.
[[nodiscard]] Path first_path(std::string_view package);
[[nodiscard]] Path usual_path(std::string_view package);

/// The path of a package's file as of now.
[[nodiscard]] Path config_path(std::string_view package);

/// Reads the text of a package's file. What is malformed is logged with its line.
[[nodiscard]] u32 load_config(std::string_view name, const Path& path, char* text, std::size_t size,
                              Package& package);

/// Makes the entries of a file's folder safe on the storage.
void sync_folder_of(const Path& path);

/// Removes what killed commits have left beside a package's file, which is locked: nobody else writes such a
/// file then.
void remove_left_files(const Path& path);

/// A new file beside a package's, complete and safe on the storage, but not yet in its place.
class Replacement
{
  public:
    Replacement() = default;
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;
    ~Replacement();

    /// Writes the package beside its file, with owner and permissions of the old file.
    [[nodiscard]] u32 write(std::string_view name, const Path& path, const struct stat& old,
                            const Package& package);

    /// Writes a text likewise. Without an old file the new one is the own user's.
    [[nodiscard]] u32 write_text(const Path& path, const struct stat* old, std::string_view text);

    /// The file's inode, which it keeps when it takes its place.
    [[nodiscard]] ino_t inode() const { return inode_; }

    /// Takes the place of the old file, which is locked. From then on it is what readers see, also after a
    /// power failure.
    [[nodiscard]] u32 take_place(const struct stat& old);

    /// Takes a place where there is no file. EAGAIN: there is one.
    [[nodiscard]] u32 take_free_place();

  private:
    [[nodiscard]] u32 resolve(const Path& path);
    [[nodiscard]] int create();
    template <typename Export>
    [[nodiscard]] u32 fill(const struct stat& old, Export write_content);
    [[nodiscard]] u32 check(std::string_view name) const;
    [[nodiscard]] u32 refuse() const;

    Path target_;
    Path path_; ///< empty: nothing to clean up
    ino_t inode_ = 0;
};

} // namespace qrnuci
