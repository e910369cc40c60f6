// SPDX-License-Identifier: Apache-2.0
// What the daemon knows of the parameter tree: which object a path leads to, what is below it, and what a
// failure means in words and in the numbers of other protocols.
#pragma once

#include <string_view>

#include "base/Text.h"
#include "base/Types.h"
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

/// Finds what a path leads to; null: found, otherwise a sentence that says what is wrong with it.
[[nodiscard]] const char* find_place(std::string_view path, Place& place);

/// The parameters of an object, ended by QSC_TABLE_END; at once where the library does not tell.
[[nodiscard]] const Qsc_ParamEntry* parameters_of(const Qsc_CommandEntry& entry, std::string_view object);

/// The type of a parameter, as TR-181 names it; empty: not known.
[[nodiscard]] const char* type_of(const Place& place, std::string_view name);

[[nodiscard]] std::string_view without_dot(std::string_view path);

/// The entry of the command table that serves a path, by whole names; null: none.
[[nodiscard]] const Qsc_CommandEntry* entry_for(std::string_view path);

/// Whether a path is an object's own or below it; a dot at the object's end says nothing.
[[nodiscard]] bool is_at_or_below(std::string_view path, std::string_view object);

/// Answers the path of the next instance of an entry that is asked for one by one; false: it has no more.
[[nodiscard]] bool next_object(const Qsc_CommandEntry& entry, u32& instance, PathText& object);

/// Calls visit(entry, object) for each object that a partial path stands for, in the order of the command
/// table; false ends it.
template <typename Visit>
void for_each_object(const Place& place, Visit visit)
{
    for (const Qsc_CommandEntry* entry = g_QSysCmdHalCmd; entry->id != QSC_TABLE_END; ++entry) {
        if (!is_at_or_below(entry->path, place.object.view())) {
            continue;
        }
        PathText object;
        for (u32 instance = 0; next_object(*entry, instance, object);) {
            if (!visit(*entry, object)) {
                return;
            }
        }
    }
}

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
inline constexpr Fault kNotTried{125, 9002, 7003, "not tried, because another one failed"};

} // namespace qscd
