// SPDX-License-Identifier: Apache-2.0
// Locking as the records of this library do it: a failure is logged and told, and the work goes on where it
// can.
#pragma once

#include <atomic>

#include <pthread.h>

#include "log/Log.h"

namespace qsc
{

/// A word that is written under a record's mutex and looked at before it is taken.
inline u32 load(u32& word)
{
    return std::atomic_ref{word}.load(std::memory_order_acquire);
}

inline void store(u32& word, u32 value)
{
    std::atomic_ref{word}.store(value, std::memory_order_release);
}

/// Sets and clears bits of such a word.
inline void change_bits(u32& word, u32 set, u32 clear)
{
    store(word, (load(word) & ~clear) | set);
}

/// What a pthread call came to; failures are logged in the name of the function that made it.
class PthreadLog
{
  public:
    PthreadLog(const char* module, const char* function, int line)
        : module_(module), function_(function), line_(line)
    {
    }

    [[nodiscard]] u32 told(int result, const char* call, LogLevel level = kLogError) const
    {
        if (result != 0) {
            tell(result, call, level);
        }
        return static_cast<u32>(result);
    }

    /// The same for a lock. Some records always show one number for it; 0: they show its error.
    [[nodiscard]] u32 told_lock(int result, int shown, LogLevel level = kLogError) const
    {
        if (result != 0) {
            tell(shown != 0 ? shown : result, "pthread_mutex_lock", level);
        }
        return static_cast<u32>(result);
    }

  private:
    // Out of the way of what goes well.
    [[gnu::cold, gnu::noinline]] void tell(int result, const char* call, LogLevel level) const
    {
        Qslog_Log(level, module_, line_, function_, "%s, error %d\n", call, result);
    }

    const char* module_;
    const char* function_;
    int line_;
};

/// Holds a record's mutex until it goes out of scope. Without the lock, code() is not 0.
class Held
{
  public:
    Held(pthread_mutex_t& mutex, const PthreadLog& log, bool take = true, LogLevel level = kLogError,
         int shown = 0)
        : mutex_(mutex), log_(log), code_(take ? log.told_lock(pthread_mutex_lock(&mutex), shown, level) : 0),
          is_held_(take && code_ == 0)
    {
    }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
    ~Held() { (void)release(); }

    [[nodiscard]] u32 code() const { return code_; }

    /// Gives the mutex back early, where the result counts.
    u32 release()
    {
        if (!is_held_) {
            return 0;
        }
        is_held_ = false;
        return log_.told(pthread_mutex_unlock(&mutex_), "pthread_mutex_unlock", kLogWarning);
    }

  private:
    pthread_mutex_t& mutex_;
    PthreadLog log_;
    u32 code_;
    bool is_held_;
};

} // namespace qsc

/// For pthread calls of the function that stands around it.
#define QSC_PTHREAD_LOG qsc::PthreadLog(kModule, __func__, __LINE__)

/// Ends a function that was given a record in the wrong state, or another bad argument.
#define QSC_REFUSE_UNLESS(FINE, RESULT)                                                                      \
    do {                                                                                                     \
        if (!(FINE)) {                                                                                       \
            QSC_LOG(qsc::kLogError, "parameter\n");                                                          \
            return RESULT;                                                                                   \
        }                                                                                                    \
    } while (false)
