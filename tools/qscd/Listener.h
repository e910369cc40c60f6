// SPDX-License-Identifier: Apache-2.0
// What shows that a daemon runs: its lock, and the socket that clients connect to.
#pragma once

#include "base/FileDescriptor.h"
#include "base/Text.h"
#include "base/Types.h"

namespace qscd
{

using qsc::u32;

/// A file that is locked while a daemon runs, and holds its process number.
class LockFile
{
  public:
    /// False: it could not, or another one runs; which has been said.
    [[nodiscard]] bool take(const char* path);

  private:
    qsc::FileDescriptor file_{-1};
};

class Listener
{
  public:
    Listener() = default;
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    ~Listener() { close(); }

    /// Makes the socket, in the place of one that was left. Rights are checked for each request, so
    /// everyone may connect. False: it could not, which has been said.
    [[nodiscard]] bool open(const char* path);

    /// Takes a socket that another process has made, from --fd or from the supervisor (LISTEN_FDS); false: it
    /// is none.
    [[nodiscard]] bool inherit(int descriptor);

    /// The next connection, or -1 and errno. When descriptors run out, it is taken and closed again at once.
    [[nodiscard]] int accept();

    [[nodiscard]] int get() const { return socket_.get(); }

    void close();

  private:
    void reserve();

    LockFile lock_;
    qsc::FileDescriptor socket_{-1};
    qsc::FileDescriptor spare_{-1};
    qsc::Text<126> path_; ///< what is to be removed in the end; empty: nothing
};

/// The descriptor that a supervisor has handed over; -1: none.
[[nodiscard]] int inherited_descriptor();

} // namespace qscd
