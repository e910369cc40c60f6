// SPDX-License-Identifier: Apache-2.0
// What is done once, before the network of a device starts.
#pragma once

namespace qscd
{

/// Finishes a change that was interrupted, and takes back one that nobody has confirmed before the device was
/// restarted. Says what it has done. False: not everything could be taken back
[[nodiscard]] bool restore();

} // namespace qscd
