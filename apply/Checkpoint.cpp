// SPDX-License-Identifier: Apache-2.0
#include "apply/Apply.h"

namespace qsc::apply
{

u32 may_begin(const Session&)
{
    return 0;
}

u32 keep_checkpoint(const Session&, json_object*, json_object*)
{
    return 0;
}

void end_checkpoint(const Session&, json_object*) {}

} // namespace qsc::apply
