// SPDX-License-Identifier: Apache-2.0
// What the library says about itself: its objects and their parameters.
#pragma once

#include <string_view>

#include "base/Types.h"
#include "include/qsc_describe.h"
#include "include/qsyscmdhal.h"

namespace qsc
{

using Object = Qsc_ObjectInfo;
using Parameter = Qsc_ParameterInfo;

/// Calls visit(object) for each object that a path can name.
template <typename Visit>
void for_each_object(Visit visit)
{
    Object object{};
    for (u32 number = 0; QSysCmdHal_DescribeObject(number, &object) == 0; ++number) {
        // Of one that is not served there may be no more than the word that chooses it.
        if (std::string_view{object.path}.starts_with(object.entry->path)) {
            visit(object);
        }
    }
}

template <typename Visit>
void for_each_parameter(const Object& object, Visit visit)
{
    Parameter parameter{};
    for (u32 number = 0; QSysCmdHal_DescribeParameter(&object, number, &parameter) == 0; ++number) {
        visit(parameter);
    }
}

} // namespace qsc
