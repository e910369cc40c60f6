// SPDX-License-Identifier: Apache-2.0
// The note of a change that waits to be confirmed: whose it is and until when. Who applies changes writes it;
// every set and commit looks at it. It lies where a reboot empties the folder.
#pragma once

#include "base/Text.h"
#include "base/Types.h"

namespace qsc
{

inline constexpr const char* kWindowNote = "/var/run/qsyscmdhal.window";

/// A name that somebody gives a change: 1 to 64 letters, digits, dots, underscores and hyphens.
using IdText = Text<64>;

[[nodiscard]] bool is_id(std::string_view text);

struct WindowNote {
    enum class State : u8 {
        kApplying,  ///< services are being restarted, its time has not begun
        kOpen,      ///< it may be confirmed until `deadline`
        kReturning, ///< it is being taken back
    };

    IdText id;
    u32 commander = 0;
    State state = State::kApplying;
    u64 deadline = 0; ///< as now_since_boot()
};

/// Whether a file is root's or the own user's. Where others may write to its folder, one of theirs could stop
/// all changes, or have one taken for made.
[[nodiscard]] bool is_own_file(const char* path);

/// Milliseconds since the device was switched on, with those that it was suspended. No clock that can be set.
[[nodiscard]] u64 now_since_boot();

/// The whole seconds that are left until a deadline, the last one counted.
[[nodiscard]] u32 seconds_until(u64 deadline);

/// False: there is none, or nothing that we wrote.
[[nodiscard]] bool read_window_note(WindowNote& note);

/// @return 0, or an errno
[[nodiscard]] u32 write_window_note(const WindowNote& note);

void remove_window_note();

/// Refuses a change while one of another commander waits to be confirmed. @return 0, or EBUSY with a sentence
/// that says whose it is and how long it may take
[[nodiscard]] u32 refuse_in_window(u32 commander);

} // namespace qsc
