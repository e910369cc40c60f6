// SPDX-License-Identifier: Apache-2.0
// What stands between a thread and the device while its changes are planned or made as one. A plain request
// has none, and pays one look for it where it starts a tool or writes a file.
#pragma once

#include <atomic>
#include <cstddef>
#include <string_view>

#include <sys/types.h>

#include "base/Types.h"

namespace qsc
{

class FileText;

/// Where an event record comes from: constants of the library.
struct EventSource {
    const char* file;
    std::size_t file_size;
    const char* function;
    std::size_t function_size;
    long line;
    char status;
};

/// Each function answers whether it has dealt with the thing in the thread's place; `code` is its result
/// then.
struct Recording {
    /// A program is to be started: the program first, null last.
    bool (*starts)(Recording& self, const char* const* arguments, u32& code) = nullptr;
    /// A command of a shell is to be run. What it does itself, without one, comes as a command as well.
    bool (*runs)(Recording& self, const char* command, u32& code) = nullptr;
    /// A file is to get new content, or to go: null.
    bool (*writes)(Recording& self, const char* path, const std::string_view* content, mode_t mode,
                   u32& code) = nullptr;
    /// A file is to be read.
    bool (*reads)(Recording& self, const char* path, FileText& text, u32& code) = nullptr;
    /// An event record is to be written. It is one of the changes, if they are made.
    bool (*tells)(Recording& self, const EventSource& source, std::string_view message) = nullptr;
    u32 switches = 0;     ///< see RememberedSwitch
    bool is_plan = false; ///< nothing may be written, started or told
};

extern constinit thread_local Recording* t_recording;

/// What handlers remember between the requests of a process. Changes that are planned, or made as one, have a
/// memory of their own.
class RememberedSwitch
{
  public:
    explicit constexpr RememberedSwitch(u32 number) : bit_(1U << number) {}

    // NOLINTNEXTLINE(google-explicit-constructor): it stands for its value
    operator bool() const
    {
        return t_recording != nullptr ? (t_recording->switches & bit_) != 0 : is_on_.load();
    }

    // NOLINTNEXTLINE(misc-unconventional-assign-operator): nobody chains it
    void operator=(bool on)
    {
        if (t_recording == nullptr) {
            is_on_ = on;
        } else {
            t_recording->switches = on ? t_recording->switches | bit_ : t_recording->switches & ~bit_;
        }
    }

  private:
    std::atomic<bool> is_on_{false};
    u32 bit_;
};

/// Whether the thread only plans.
[[nodiscard]] inline bool is_planning()
{
    return t_recording != nullptr && t_recording->is_plan;
}

/// Whether a command is dealt with; its result then.
[[nodiscard]] inline bool is_recorded(const char* command, u32& code)
{
    return t_recording != nullptr && t_recording->runs(*t_recording, command, code);
}

/// Has the thread record within a scope, or stop recording.
class RecordingScope
{
  public:
    explicit RecordingScope(Recording* recording) : before_(t_recording) { t_recording = recording; }
    RecordingScope(const RecordingScope&) = delete;
    RecordingScope& operator=(const RecordingScope&) = delete;
    ~RecordingScope() { t_recording = before_; }

  private:
    Recording* before_;
};

} // namespace qsc
