// SPDX-License-Identifier: Apache-2.0
// Files below /tmp, where anybody may put anything: opened once, copied to a folder of ours, used there.
#pragma once

#include <string_view>

#include "base/FileDescriptor.h"
#include "base/Text.h"

namespace qsc::system
{

/// A file in a folder that no one else can look into. It is removed with the folder, unless it is kept.
class PrivateCopy
{
  public:
    PrivateCopy() = default;
    PrivateCopy(const PrivateCopy&) = delete;
    PrivateCopy& operator=(const PrivateCopy&) = delete;
    ~PrivateCopy();

    /// Copies a file: below /tmp, no link on its way, root's, and that no one else may write to. EFAULT: it
    /// is none, and refuse() said so.
    [[nodiscard]] u32 take(std::string_view name);

    /// Makes the folder alone; path() is where a new file is made.
    [[nodiscard]] u32 make_folder();

    /// Judges where a new file is to go: below /tmp, and nothing is there.
    [[nodiscard]] u32 check_new(std::string_view name) const;

    /// Gives the file a name below /tmp that nothing has, mode 0600.
    [[nodiscard]] u32 publish(std::string_view name) const;

    [[nodiscard]] const char* path() const { return path_.c_str(); }
    void keep() { is_kept_ = true; }

  private:
    Text<62> folder_;
    Text<78> path_;
    bool is_kept_ = false;
};

} // namespace qsc::system
