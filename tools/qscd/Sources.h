// SPDX-License-Identifier: Apache-2.0
// What says that others may have changed something: the folders of the configuration, and the kernel's
// messages of links, addresses and routes.
#pragma once

#include <array>
#include <utility>

#include "base/FileDescriptor.h"

namespace qscd
{

class Sources
{
  public:
    void open();
    void close();
    [[nodiscard]] bool are_open() const { return files_.is_open(); }

    /// Watches folders that were not there until now. True: there is one, and it may hold changes already.
    [[nodiscard]] bool find_folders();

    /// Whether a folder is still missing, so that it has to be looked for now and then.
    [[nodiscard]] bool lacks_folders() const;

    /// Takes all that there is to read from one of the descriptors. True: something may have changed.
    [[nodiscard]] bool drain(int descriptor);

    /// Readable when something has changed; -1: not open.
    [[nodiscard]] int files() const { return files_.get(); }
    [[nodiscard]] int network() const { return network_.get(); }

    /// Whether the descriptors are new since the last call.
    [[nodiscard]] bool take_new() { return std::exchange(are_new_, false); }

  private:
    qsc::FileDescriptor files_{-1};
    qsc::FileDescriptor network_{-1};
    std::array<int, 2> folders_{-1, -1}; ///< inotify's numbers; -1: not watched
    bool are_new_ = false;
};

} // namespace qscd
