// SPDX-License-Identifier: Apache-2.0
// Notes what a thread's requests would do to the device, or have it do once they are made as one: the
// commands in order, the files outside the configuration, the event records.
#pragma once

#include "base/Json.h"
#include "base/Recording.h"

namespace qsc
{

/// Decides on an init script that a service asks for. True: it is dealt with, and `code` is the result.
using DecideScript = bool (*)(std::string_view script, std::string_view action, u32& code, void* context);

class Recorder : public Recording
{
  public:
    Recorder();

    /// What is noted from now on belongs to a step ("set", "commit", "service") of a path.
    void begin_step(const char* step, const char* path);

    /// The commands so far, with all secrets: {"step", "path", "command"}, and of an init script {"script",
    /// "action"} as well.
    JsonRef commands;
    /// What files would hold by their paths: {"text", "mode"}; null: it would not be there.
    JsonRef files;
    /// {"file", ..., "message"}: see write_events().
    JsonRef events;

    bool keeps_files = true; ///< those of the flash are kept from being written; in a plan all are
    bool is_muted = false;   ///< commands answer nothing and are not noted
    bool was_muted = false;  ///< one was
    bool is_out_of_memory = false;
    DecideScript decide = nullptr;
    void* context = nullptr; ///< handed to it

    /// Forgets all that was noted.
    void clear();
    /// Notes a command.
    void note(std::string_view command, std::string_view script, std::string_view action);

  private:
    bool take(std::string_view command, std::string_view script, std::string_view action, u32& code);
    bool keep(const char* path, const std::string_view* content, mode_t mode);

    const char* step_ = "";
    JsonRef path_;
};

/// Writes the event records that were noted.
void write_events(json_object* events);

/// Whether a path is on the flash, where changes are made as one.
[[nodiscard]] bool is_kept_path(std::string_view path);

} // namespace qsc
