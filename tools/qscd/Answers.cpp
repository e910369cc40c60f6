// SPDX-License-Identifier: Apache-2.0
#include "tools/qscd/Answers.h"

#include <sys/ipc.h>

#include "include/bacl.h"
#include "tools/queue/Payload.h"

namespace qscd
{

namespace
{

u32 age(u32 since)
{
    return BaCL_GetTimestampSec() - since;
}

/// Takes one answer out if it is too old; a young one, of a sender that chose the same type again, goes back.
bool take_out(u32 queue, u32 type, u32 patience)
{
    qsc::queue::Received message;
    if (message.receive(queue, type, IPC_NOWAIT) != 0) {
        return false;
    }
    if (age(message.send_time()) >= patience) {
        return true;
    }
    (void)QSCBase_Send_NB(queue, type, message.user_value(), message.payload().data(),
                          static_cast<uint16_t>(message.payload().size()), message.kind(), 1, 0);
    return false;
}

} // namespace

void Answers::note(u32 type)
{
    (void)pthread_mutex_lock(&mutex_);
    waiting_[next_] = {type, BaCL_GetTimestampSec()};
    next_ = (next_ + 1) % waiting_.size();
    (void)pthread_mutex_unlock(&mutex_);
}

u32 Answers::expire(u32 queue)
{
    u32 count = 0;
    (void)pthread_mutex_lock(&mutex_);
    for (Waiting& waiting : waiting_) {
        if (waiting.type != 0 && age(waiting.since) >= patience_) {
            while (take_out(queue, waiting.type, patience_)) {
                ++count;
            }
            waiting.type = 0;
        }
    }
    (void)pthread_mutex_unlock(&mutex_);
    return count;
}

} // namespace qscd
