// SPDX-License-Identifier: Apache-2.0
// What may be meant by a path that there is not.
#pragma once

#include "tools/qsc/Report.h"

namespace qsc
{

/// Says that a text cannot be a path. @return kUsage
ExitCode no_path();

/// Says that there is no such path, and which one may be meant. @return kUsage
ExitCode no_such_path(const char* path);

} // namespace qsc
