// SPDX-License-Identifier: Apache-2.0
// What makes a parameter table right, checked by the compiler beside each table.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "include/qsc_types.h"

namespace qsc
{

inline constexpr Qsc_ParamEntry kTableEnd{QSC_TABLE_END, nullptr, nullptr, 0, 0};

/// Ids and names are unique, and the end stands at the end alone.
consteval bool is_sound(std::span<const Qsc_ParamEntry> table)
{
    for (std::size_t i = 0; i + 1 < table.size(); ++i) {
        if (table[i].id == QSC_TABLE_END || table[i].name == nullptr || table[i].reserved != 0) {
            return false;
        }
        for (std::size_t j = 0; j < i; ++j) {
            if (table[i].id == table[j].id || std::string_view{table[i].name} == table[j].name) {
                return false;
            }
        }
    }
    return !table.empty() && table.back().id == QSC_TABLE_END;
}

} // namespace qsc
