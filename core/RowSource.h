// SPDX-License-Identifier: Apache-2.0
// What values are read from besides the configuration: files, the boot environment, and the answers of tools.
// A request reads each once.
#pragma once

#include <array>
#include <string_view>
#include <utility>

#include "base/Json.h"
#include "base/SafeFile.h"
#include "core/RowValue.h"

namespace qsc
{

/// A tool that answers on its standard output.
struct Tool {
    const char* const* arguments; ///< the program first, null last
    u32 deadline = 5000;          ///< milliseconds
};

/// What one request has read so far.
class Sources
{
  public:
    /// The content of a file, of at most 1 MiB; empty: there is none, which take_missing() then knows.
    std::string_view file(const char* path);

    /// What a function makes of the device's state, under a name that is no file's.
    std::string_view made(const char* name, void (*make)(FileText& text));

    /// What a tool prints, as JSON; null: it failed, or printed something else, which is logged once, in the
    /// module's name.
    json_object* json(const Tool& tool, const char* module);

    /// What a tool prints; empty: it failed.
    std::string_view output(const Tool& tool, const char* module);

    /// Whether a file was missing since it was last asked.
    [[nodiscard]] bool take_missing() { return std::exchange(has_missing_, false); }

    /// Whether this is the first that the request has to say of what is missing.
    [[nodiscard]] bool warns() { return !std::exchange(has_warned_, true); }

    /// Whether a tool gave no answer, for which it is ended, since it was last asked. Nobody knows the value.
    [[nodiscard]] bool take_ended() { return std::exchange(has_ended_, false); }
    void note_ended() { has_ended_ = true; }

    /// A device without the boot loader's tool is asked once a request.
    [[nodiscard]] bool lacks_boot_environment() const { return lacks_boot_environment_; }
    void set_lacks_boot_environment() { lacks_boot_environment_ = true; }

  private:
    struct Slot {
        Text<126> name; ///< of a file
        const void* tool = nullptr;
        FileText text;
        JsonRef json;
        bool is_parsed = false;
    };
    /// What does not fit is read again each time.
    std::array<Slot, 6> slots_;
    Slot spare_;
    bool lacks_boot_environment_ = false;
    bool has_missing_ = false;
    bool has_warned_ = false;
    bool has_ended_ = false;

    Slot& slot_for(const char* name, const void* tool, bool& is_new);
    Slot& run(const Tool& tool, const char* module);
};

/// Reads the first of several places, with "|" between them, that has something:
///   "/path"       the first line of a file
///   "/path NAME"  the value after NAME in a file of lines "NAME value", "NAME: value" or "NAME='value'"
///   "env NAME"    a variable of the boot loader's environment
///   "=text"       that text
/// False: none has; a file that is missing is then worth a warning, once a request.
[[nodiscard]] bool read_places(Sources& sources, std::string_view places, const char* module, RowText& text);

/// The value after a name in lines of "NAME value", "NAME: value" or "NAME='value'"; empty: none.
[[nodiscard]] std::string_view find_line_value(std::string_view text, std::string_view name);

/// The first line, without its line feed.
[[nodiscard]] std::string_view first_line(std::string_view text);

/// The member at a path such as "ipv4-address.0.address"; null: there is none.
[[nodiscard]] json_object* find_in_json(json_object* root, std::string_view path);

} // namespace qsc
