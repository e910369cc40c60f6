// SPDX-License-Identifier: Apache-2.0
// The file of a package's staged changes, in the folder where every program that works on the configuration
// stages its own: trusted, read, appended to, written anew.
//
// It is never replaced, for somebody may have it open and wait for its lock. What cannot be one append is
// made safe against a kill at any moment by a copy beside it, ".PACKAGE.qrnuci-copy", of what is to hold: the
// copy is complete, then the file is emptied, then the next step is made, then the copy goes. It begins with
// a line of numbers: the size and the hash of the file before it was emptied, and the inode of a package's
// file.
//   - While the file is as it was before, the copy means nothing.
//   - If the package's file has that inode, the copy is part of it: a commit was killed after its rename. As
//   the
//     staging file is empty by then, other programs see the changes once.
//   - Otherwise what is staged is the copy, and after it whatever others have added to the file since.
#pragma once

#include <string_view>

#include "uci/Growing.h"
#include "uci/LockedFile.h"

namespace qrnuci
{

/// Where every program that works on the configuration stages its changes.
inline constexpr const char* kStagingFolder = "/tmp/.uci";

/// The path of a package's staging file.
[[nodiscard]] Path delta_path(std::string_view package);

/// Whether a folder found at kStagingFolder, without following links, is to be trusted: what others can write
/// there would be committed in our name.
[[nodiscard]] bool is_trusted_folder(const struct stat& status);

/// Looks at the staging folder, and makes it if that is wanted. ENOENT: it is missing. EFAULT: it is not to
/// be trusted, or could not be made, which is logged.
[[nodiscard]] u32 check_staging_folder(bool is_made);

/// What a staging file was found to hold.
struct Staged {
    char* text = nullptr;
    std::size_t size = 0;
    std::string_view file; ///< what the file itself holds; the text may be cut up in its place
};

/// A package's staging file, open and locked. A closed one stands for no file.
class StagingFile
{
  public:
    /// ENOENT: there is none.
    [[nodiscard]] u32 open(std::string_view package, Access access, Patience& patience);
    void close() { file_.close(); }

    [[nodiscard]] bool is_open() const { return file_.is_open(); }
    [[nodiscard]] LockedFile& file() { return file_; }

    /// Reads what is staged over a package's file that has this inode.
    [[nodiscard]] u32 read(ino_t config, Arena& arena, Staged& staged);

    /// Writes down what was read where a kill has left less, and removes a copy that means nothing any more.
    /// To be called before anything else is written.
    [[nodiscard]] u32 restore(const Staged& staged);

    /// Appends to the first `end` bytes. What does not fit is taken back.
    [[nodiscard]] u32 append(std::size_t end, std::string_view text);

    /// Takes everything after the first `end` bytes back.
    void take_back(std::size_t end);

    /// Holds another text from then on, or the same as before.
    [[nodiscard]] u32 replace(std::string_view text);

    /// Empties the file, because its first `end` bytes become part of a package's file with this inode. Where
    /// there is no room for the copy, it is only emptied by finish_commit().
    [[nodiscard]] u32 begin_commit(std::size_t end, ino_t config);
    void finish_commit();
    void take_back_commit();

  private:
    [[nodiscard]] u32 make_copy(std::string_view text, ino_t config);
    void remove_copy();
    [[nodiscard]] u32 fill(std::string_view text);
    [[nodiscard]] bool write_at(std::size_t offset, std::string_view text);
    [[nodiscard]] u32 read_again(Growing& text) const;

    LockedFile file_;
    Path path_;
    Path copy_path_;
    bool is_whole_ = true; ///< the file itself holds everything
    bool has_copy_ = false;
    std::size_t size_ = 0; ///< of the file when it was read
    Growing committed_;    ///< what the file held before it was emptied
};

} // namespace qrnuci
