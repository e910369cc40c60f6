// SPDX-License-Identifier: Apache-2.0
// Programs that run on when their request has been answered: one of a kind on the device at a time.
#pragma once

#include "base/FileDescriptor.h"
#include "base/Types.h"

namespace qsc
{

struct DetachedRun {
    const char* const* arguments; ///< the program first, null last
    u32 delay = 0;                ///< seconds until it begins
    u32 deadline = 0;             ///< seconds after which it is ended, with all that it has started; 0: never
    bool may_be_ended = false;    ///< by take_over()
};

/// The lock of a kind of program: a file of our own that the program and all that it starts keep locked until
/// the last of them has ended.
class DetachedLock
{
  public:
    /// Takes the lock, if it is free. The file is made when it is not there.
    explicit DetachedLock(const char* path);

    /// Whether this is the one that has it.
    [[nodiscard]] bool is_held() const { return is_held_; }

    /// Starts a program, which has the lock from then on. @return 0, or EFAULT as run_tool()
    [[nodiscard]] u32 start(const DetachedRun& run, const char* module);

    /// Takes the lock over from a program that may be ended, and ends that. False: it is no such program.
    [[nodiscard]] bool take_over();

  private:
    bool try_lock();

    const char* path_;
    FileDescriptor file_;
    bool is_held_ = false;
};

/// What a lock says of the program that had it last.
enum class DetachedState : u8 { kNever, kRuns, kLate, kEnded };

/// Looks at a lock without taking it. kLate: its deadline ended it.
[[nodiscard]] DetachedState look_at_lock(const char* path);

} // namespace qsc
