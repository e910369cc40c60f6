// SPDX-License-Identifier: Apache-2.0
// The checkpoint of what waits, held against other threads and processes, and its members.
#pragma once

#include "apply/Checkpoint.h"
#include "base/ProcessLock.h"
#include "core/WindowNote.h"

namespace qsc::apply
{

inline constexpr u32 kLongestWindow = 604'800; ///< seconds, a week

// The states, as the checkpoint has them.
inline constexpr const char* kApplying = "applying";
inline constexpr const char* kOpen = "open";
inline constexpr const char* kReturning = "returning";

/// Empty, and 0: there is no such member.
[[nodiscard]] std::string_view text_at(json_object* object, const char* name);
[[nodiscard]] i64 number_at(json_object* object, const char* name);

/// Which start of the device this is; empty: the kernel does not say.
[[nodiscard]] IdText boot_id();
[[nodiscard]] bool is_of_this_boot(json_object* checkpoint);

/// The checks in the options of an apply, or of the checkpoint; null: there are none.
[[nodiscard]] json_object* checks_of(json_object* options);

class Held
{
  public:
    Held();

    /// 0; ENOENT: there is none; or an errno.
    [[nodiscard]] u32 code() const { return code_; }
    [[nodiscard]] json_object* root() const { return checkpoint_.get(); }

    /// Begins one where there is none.
    void begin() { checkpoint_.reset(json_object_new_object()); }

    /// Replaces a member.
    void put(const char* name, json_object* value) const { json_object_object_add(root(), name, value); }

    /// Makes it last, and has others see it. @return 0, or an errno: the old one stays
    [[nodiscard]] u32 save() const;

    /// Has others see it.
    void tell() const;

  private:
    ProcessLock lock_;
    JsonRef checkpoint_;
    u32 code_;
};

/// The last service has been restarted, or nothing is to be done for it: the time runs.
void open_window(const Held& held);

/// The apply has come to nothing. A window that was open stays so, with the time that it had.
void drop_window(const Held& held);

/// From now on this process looks at the clock of what waits.
void carry_windows();

} // namespace qsc::apply
