// SPDX-License-Identifier: Apache-2.0
// What the daemon knows of the parameter tree: which object a path leads to, what is below it, and what a
// failure means in words and in the numbers of other protocols.
#pragma once

#include <string_view>

#include "base/Text.h"
#include "base/Types.h"
#include "include/qsc_describe.h"
#include "include/qsyscmdhal.h"

namespace qscd
{

using qsc::u32;

using PathText = qsc::Text<254>;

/// What a path of a request leads to.
struct Place {
    const Qsc_CommandEntry* entry = nullptr;
    PathText object;         ///< as the entry's dispatcher wants it
    qsc::Text<126> name;     ///< the parameter; empty: all of the object
    bool is_partial = false; ///< everything below `object`, which the path ended in a dot to say
};

/// Finds what a path leads to; null: found, otherwise a sentence that says what is wrong with it. Only for
/// the thread that reads the sockets: what it has found before it remembers.
[[nodiscard]] const char* find_place(std::string_view path, Place& place);

[[nodiscard]] std::string_view without_dot(std::string_view path);

/// Whether a path is an object's own or below it; a dot at the object's end says nothing.
[[nodiscard]] bool is_at_or_below(std::string_view path, std::string_view object);

/// The entry of the command table that serves a path, by whole names; null: none.
[[nodiscard]] const Qsc_CommandEntry* entry_for(std::string_view path);

/// Describes a parameter of an object; false: the library does not know it.
[[nodiscard]] bool describe(const PathText& object, std::string_view name, Qsc_ParameterInfo& parameter);

/// Whether the value at a parameter's path is secret.
[[nodiscard]] bool is_secret(std::string_view path);

/// Whether a described object has a path of its own, and is not a part that others hold.
[[nodiscard]] bool has_own_path(const Qsc_ObjectInfo& object);

/// The objects that a partial path stands for, one after the other in the order of the command table: those
/// that exist now and that the library serves.
class ObjectWalk
{
  public:
    explicit ObjectWalk(const Place& place) : place_(place) {}

    [[nodiscard]] bool next();

    [[nodiscard]] const Qsc_CommandEntry& entry() const { return *info_.entry; }
    [[nodiscard]] const PathText& object() const { return object_; }

  private:
    [[nodiscard]] bool next_described();
    [[nodiscard]] bool next_instance();

    static constexpr u32 kMostInstances = 256;

    const Place& place_;
    Qsc_ObjectInfo info_{};
    PathText object_;
    u32 number_ = 0; ///< of the next described object
    u32 instances_[kMostInstances]{};
    u32 instance_count_ = 0;
    u32 instance_ = 0; ///< the next
};

/// A failure as others number it.
struct Fault {
    u32 code; ///< the library's
    u32 cwmp;
    u32 usp;
    const char* sentence;
};

/// What a code of the library means after a get or a set.
[[nodiscard]] Fault fault_of(u32 code, bool is_set);

inline constexpr Fault kNoSuchParameter{22, 9005, 7026, "there is no such parameter"};
inline constexpr Fault kReadOnly{14, 9008, 7013, "it cannot be set"};
inline constexpr Fault kNotTried{125, 9002, 7003, "not tried, because another one failed"};

} // namespace qscd
