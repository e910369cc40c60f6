// SPDX-License-Identifier: Apache-2.0
// What include/qsc_stats.h answers: calls, failures and times of the subtrees and of the tools.
#pragma once

#include "base/Types.h"

namespace qsc
{

struct Counters;

/// Counts one request to a subtree, if anybody wants that.
class RequestCount
{
  public:
    RequestCount();

    /// It has ended, with this code; its sentence is that of the thread.
    void end(u32 subtree, u32 code) const
    {
        if (counters_ != nullptr) {
            count(subtree, code);
        }
    }

  private:
    void count(u32 subtree, u32 code) const;

    Counters* counters_;
    u64 begun_ns_ = 0;
};

} // namespace qsc
