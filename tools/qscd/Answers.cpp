// SPDX-License-Identifier: Apache-2.0
#include "tools/qscd/Answers.h"

#include <cerrno>

#include <sys/ipc.h>
#include <sys/msg.h>

#include "include/bacl.h"
#include "tools/queue/Protocol.h"

namespace qscd
{

bool Answers::put_back(u32 queue)
{
    is_held_ = message_.send_back(queue) == EAGAIN;
    return !is_held_;
}

u32 Answers::expire(u32 queue)
{
    if (is_held_ && !put_back(queue)) {
        return 0;
    }
    // The queue itself is looked at, not a list of what was sent: others put messages there as well. A young
    // one is put at the end, so that each comes first in its turn.
    u32 count = 0;
    for (;;) {
        const u32 code = message_.receive(queue, qsc::queue::kRequestType, IPC_NOWAIT | MSG_EXCEPT);
        if (code == 0 && BaCL_GetTimestampSec() - message_.send_time() < patience_) {
            (void)put_back(queue);
            return count;
        }
        if (code != 0 && code != E2BIG) {
            return count;
        }
        ++count;
    }
}

} // namespace qscd
