// SPDX-License-Identifier: Apache-2.0
// Answers that wait in the queue for their senders. Those of a sender that has died are taken out again, or
// they would fill the queue in time and block all others.
#pragma once

#include "base/Types.h"
#include "tools/queue/Payload.h"

namespace qscd
{

using qsc::u32;

class Answers
{
  public:
    explicit Answers(u32 patience_seconds) : patience_(patience_seconds) {}

    /// Removes from the queue what has waited too long, whichever process sent it. @return how many messages
    u32 expire(u32 queue);

  private:
    [[nodiscard]] bool put_back(u32 queue);

    const u32 patience_;
    qsc::queue::Received message_{};
    bool is_held_ = false; ///< message_ is to go back, but the queue was full
};

} // namespace qscd
