// SPDX-License-Identifier: Apache-2.0
// Mutexes, logged pthread errors, and words that are read without a lock.
#pragma once

#include <atomic>
#include <cerrno>
#include <utility>

#include <pthread.h>

#include "log/Log.h"

namespace qsc
{

/// Reads a word that other threads change under a mutex that the reader does not hold.
inline u32 load(u32& word)
{
    return std::atomic_ref{word}.load(std::memory_order_acquire);
}

/// Writes such a word.
inline void store(u32& word, u32 value)
{
    std::atomic_ref{word}.store(value, std::memory_order_release);
}

/// Sets and clears bits of such a word.
inline void change_bits(u32& word, u32 set, u32 clear)
{
    store(word, (load(word) & ~clear) | set);
}

/// The exported function that a log line names.
struct Caller {
    const char* module;
    const char* function;
    int line;
};

/// Out of line and cold, because it hardly ever runs.
[[gnu::cold, gnu::noinline]] inline void log_pthread_error(const Caller& caller, int error, const char* call,
                                                           LogLevel level)
{
    Qslog_Log(level, caller.module, caller.line, caller.function, "%s, error %d\n", call, error);
}

/// Logs a pthread error unless it is 0. @return the error
inline u32 check_pthread(const Caller& caller, int error, const char* call, LogLevel level = kLogError)
{
    if (error != 0) {
        log_pthread_error(caller, error, call, level);
    }
    return static_cast<u32>(error);
}

/// Logs a bad argument. @return `answer`
inline u32 reject(const Caller& caller, u32 answer = EINVAL)
{
    Qslog_Log(kLogError, caller.module, caller.line, caller.function, "parameter\n");
    return answer;
}

/// Locks a mutex for the lifetime of the guard. A failed lock is logged; the caller decides whether to go on
/// without it.
class MutexGuard
{
  public:
    /// @param mutex        null: the caller holds it already
    /// @param level        log level of a failed lock
    /// @param shown_error  error number that the log shows; 0: the actual one
    MutexGuard(pthread_mutex_t* mutex, const Caller& caller, LogLevel level = kLogError, int shown_error = 0)
        : mutex_(mutex), caller_(caller), error_(mutex != nullptr ? pthread_mutex_lock(mutex) : 0)
    {
        if (error_ != 0) {
            log_pthread_error(caller, shown_error != 0 ? shown_error : error_, "pthread_mutex_lock", level);
            mutex_ = nullptr;
        }
    }
    MutexGuard(const MutexGuard&) = delete;
    MutexGuard& operator=(const MutexGuard&) = delete;
    ~MutexGuard() { (void)unlock(); }

    /// The error of the lock; 0 if the mutex is held.
    [[nodiscard]] u32 error() const { return static_cast<u32>(error_); }

    /// Unlocks early, for callers that need the error.
    u32 unlock()
    {
        pthread_mutex_t* const mutex = std::exchange(mutex_, nullptr);
        return mutex == nullptr
                   ? 0
                   : check_pthread(caller_, pthread_mutex_unlock(mutex), "pthread_mutex_unlock", kLogWarning);
    }

  private:
    pthread_mutex_t* mutex_; ///< null: nothing to unlock
    Caller caller_;
    int error_;
};

} // namespace qsc

/// The current function as a Caller.
#define QSC_CALLER (qsc::Caller{kModule, __func__, __LINE__})
