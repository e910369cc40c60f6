// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace fuzz
{

/// Gives the fake device the state that each input begins with.
void reset_device();

} // namespace fuzz
