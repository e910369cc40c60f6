// SPDX-License-Identifier: Apache-2.0
// Answers that wait in the queue for their senders. Those of a sender that has died are taken out again, or
// they would fill the queue in time and block everybody.
#pragma once

#include <array>

#include <pthread.h>

#include "base/Types.h"

namespace qscd
{

using qsc::u32;

class Answers
{
  public:
    explicit Answers(u32 patience_seconds) : patience_(patience_seconds) {}

    /// Notes that an answer of this type was sent.
    void note(u32 type);

    /// Takes out of the queue what has waited too long. @return how many answers that were
    u32 expire(u32 queue);

  private:
    struct Waiting {
        u32 type;
        u32 since; ///< monotonic seconds
    };

    const u32 patience_;
    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
    std::array<Waiting, 256> waiting_{}; ///< type 0: free
    std::size_t next_ = 0;
};

} // namespace qscd
