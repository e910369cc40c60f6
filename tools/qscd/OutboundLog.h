// SPDX-License-Identifier: Apache-2.0
// The daemon's own log: lines go into a ring buffer, and a thread writes them to standard error, so that a
// slow reader of the log never holds up a request.
#pragma once

#include "include/bacl_regular_job.h"
#include "include/bacl_ring_buffer.h"

#include "base/Types.h"

namespace qscd
{

using qsc::u32;

class OutboundLog
{
  public:
    OutboundLog() = default;
    OutboundLog(const OutboundLog&) = delete;
    OutboundLog& operator=(const OutboundLog&) = delete;
    ~OutboundLog() { (void)stop(); }

    [[nodiscard]] u32 start();

    /// Writes what is left and ends the thread. @return 0; ETIME: it did not end
    u32 stop();

    /// Adds a line. One that finds no room is counted, and the count is written when there is room again.
    [[gnu::format(printf, 2, 3)]] void add(const char* format, ...);

  private:
    static void* run(void* record);
    void write_all();
    bool wait();

    BaCL_RingBuffer ring_{};
    BaCL_RegularInfo job_{};
    u32 lost_ = 0; ///< lines; only the adding thread's
    bool is_started_ = false;
    bool is_ending_ = false; ///< nothing will be added any more; under the ring's mutex
};

} // namespace qscd
