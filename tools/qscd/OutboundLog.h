// SPDX-License-Identifier: Apache-2.0
// The daemon's own log: lines go into a ring buffer, and a thread writes them to standard error or a file, so
// that a slow reader of the log never holds up a request. Any thread adds lines.
#pragma once

#include <atomic>

#include "include/bacl_regular_job.h"
#include "include/bacl_ring_buffer.h"

#include "base/FileDescriptor.h"
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

    /// Starts its thread; null: it writes to standard error. @return 0, or an errno
    [[nodiscard]] u32 start(const char* file = nullptr);

    /// Writes what is left and ends the thread. @return 0; ETIME: it did not end
    u32 stop();

    /// Adds a line. One that finds no room is counted, and the count is written when there is room again.
    [[gnu::format(printf, 2, 3)]] void add(const char* format, ...);

    /// Has what was added written. Call it now and then.
    void flush();

    /// Whether there is something for flush().
    [[nodiscard]] bool has_lines() const { return has_lines_; }

    /// Has the file opened anew.
    void ask_reopen();

  private:
    [[nodiscard]] bool reopen();
    static void* run(void* record);
    void write_all();
    bool wait();

    BaCL_RingBuffer ring_{};
    BaCL_RegularInfo job_{};
    const char* file_ = nullptr;
    qsc::FileDescriptor output_{-1}; ///< of file_
    std::atomic<u32> lost_{0};       ///< lines
    std::atomic<bool> has_lines_{false};
    std::atomic<bool> wants_reopen_{false};
    bool is_started_ = false;
    bool is_ending_ = false; ///< nothing will be added any more; under the ring's mutex
};

} // namespace qscd
