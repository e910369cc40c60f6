// SPDX-License-Identifier: Apache-2.0
// Looking entries of the command table up.
#pragma once

#include <string_view>

#include "include/qsyscmdhal.h"

namespace qsc
{

/// The first entry that fits, or null at the end of the table.
template <typename Fits>
const Qsc_CommandEntry* find_command(Fits fits)
{
    const Qsc_CommandEntry* entry = g_QSysCmdHalCmd;
    while (entry->id != QSC_TABLE_END && !fits(*entry)) {
        ++entry;
    }
    return entry->id != QSC_TABLE_END ? entry : nullptr;
}

/// The entry that serves a path, or null: the first whose own path is a prefix of it.
inline const Qsc_CommandEntry* find_command_for(std::string_view path)
{
    return find_command([&](const Qsc_CommandEntry& entry) { return path.starts_with(entry.path); });
}

} // namespace qsc
