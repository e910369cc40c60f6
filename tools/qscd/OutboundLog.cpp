// SPDX-License-Identifier: Apache-2.0
#include "tools/qscd/OutboundLog.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace qscd
{

namespace
{

constexpr u32 kCapacity = 16 * 1024;
constexpr u32 kStartLimitMs = 5000;

/// A program that should read the log and does not must not hold up the end of the daemon.
constexpr u32 kStopLimitMs = 300;

} // namespace

u32 OutboundLog::start(const char* file)
{
    file_ = file;
    if (file_ != nullptr && !reopen()) {
        return static_cast<u32>(errno);
    }
    if (const u32 code = BaCL_RingBuf_Init(&ring_)) {
        return code;
    }
    if (const u32 code = BaCL_RegInfo_Init(&job_)) {
        return code;
    }
    is_started_ = true;
    if (const u32 code = BaCL_RingBuf_AllocateBuffer(&ring_, kCapacity)) {
        return code;
    }
    BaCL_RingBuf_SetState(&ring_, BACL_RING_ENABLED);
    BaCL_RingBuf_SetStateFlag(&ring_, BACL_RING_NO_OVERWRITE);
    // A line wakes no thread: flush() does, now and then, or a buffer that fills up.
    BaCL_RingBuf_SetThreshold(&ring_, kCapacity / 2);
    job_.PtrParam = this;
    BaCL_RegInfo_SetState(&job_, BACL_JOB_AVAILABLE);
    return BaCL_RegInfo_CreateThread(&job_, run, 64 * 1024, kStartLimitMs);
}

u32 OutboundLog::stop()
{
    if (!is_started_) {
        return 0;
    }
    is_started_ = false;
    // The thread is woken first: the stop that it must acknowledge is a flag, which wakes no thread.
    if (BaCL_RingBuf_ThreadMuxLock(&ring_, 1) == 0) {
        is_ending_ = true;
        BaCL_RingBuf_ThreadCondSignal(&ring_);
        BaCL_RingBuf_ThreadMuxLock(&ring_, 0);
    }
    if (const u32 code = BaCL_RegInfo_CloseThread(&job_, kStopLimitMs, 1)) {
        return code; // it still uses what would be freed
    }
    BaCL_RegInfo_Close(&job_);
    BaCL_RingBuf_Close(&ring_, 0);
    return 0;
}

/// Waits until there is something to write; false: nothing will come any more.
bool OutboundLog::wait()
{
    if (BaCL_RingBuf_ThreadMuxLock(&ring_, 1) != 0) {
        return false;
    }
    while (ring_.DataSize == 0 && !is_ending_ && !wants_reopen_ && BaCL_RingBuf_ThreadCondWait(&ring_) == 0) {
    }
    const bool goes_on = ring_.DataSize != 0 || !is_ending_;
    BaCL_RingBuf_ThreadMuxLock(&ring_, 0);
    return goes_on;
}

/// Opens the file again, which has been renamed. Where that fails, the old one stays in use.
bool OutboundLog::reopen()
{
    const int opened = open(file_, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY, 0640);
    if (opened >= 0) {
        output_.replace(qsc::FileDescriptor{opened});
    }
    return opened >= 0;
}

void OutboundLog::flush()
{
    if (has_lines_.exchange(false) && BaCL_RingBuf_ThreadMuxLock(&ring_, 1) == 0) {
        BaCL_RingBuf_ThreadCondSignal(&ring_);
        BaCL_RingBuf_ThreadMuxLock(&ring_, 0);
    }
}

void OutboundLog::ask_reopen()
{
    wants_reopen_ = file_ != nullptr;
    has_lines_ = true;
    flush();
}

void OutboundLog::write_all()
{
    char part[1024];
    while (const u32 count = BaCL_RingBuf_PopAvailable(&ring_, part, sizeof part)) {
        if (!qsc::write_all(output_.is_open() ? output_.get() : STDERR_FILENO, {part, count})) {
            return; // no reader, or a full disk: lines are lost, requests are not
        }
    }
}

void* OutboundLog::run(void* record)
{
    auto* const job = static_cast<BaCL_RegularInfo*>(record);
    auto* const log = static_cast<OutboundLog*>(job->PtrParam);
    BaCL_RegInfo_SetFlag(job, BACL_JOB_RUNNING | BACL_JOB_ACKNOWLEDGED);
    while (log->wait()) {
        if (log->wants_reopen_.exchange(false)) {
            (void)log->reopen();
        }
        log->write_all();
    }
    // Asking for the stop takes an earlier acknowledgement back.
    constexpr useconds_t kPass = 1'000;
    while ((BaCL_RegInfo_GetFlag(job) & BACL_JOB_STOP) == 0) {
        usleep(kPass);
    }
    BaCL_RegInfo_SetFlag(job, BACL_JOB_ACKNOWLEDGED);
    return nullptr;
}

void OutboundLog::add(const char* format, ...)
{
    char line[512];
    const u32 lost = lost_;
    const int prefix = lost != 0
                           ? std::snprintf(line, sizeof line, "qscd: %u lines were lost here\nqscd: ", lost)
                           : std::snprintf(line, sizeof line, "qscd: ");
    va_list arguments;
    va_start(arguments, format);
    const int length =
        std::vsnprintf(line + prefix, sizeof line - static_cast<std::size_t>(prefix) - 1, format, arguments);
    va_end(arguments);
    const int end = std::min(prefix + std::max(length, 0), static_cast<int>(sizeof line) - 2);
    // The text of a request must not break the line.
    std::replace_if(
        line + prefix, line + end, [](char c) { return static_cast<unsigned char>(c) < ' '; }, '?');
    line[end] = '\n';
    lost_ = BaCL_RingBuf_Push(&ring_, line, end + 1) == 0 ? 0 : lost + 1;
    has_lines_ = true;
}

} // namespace qscd
