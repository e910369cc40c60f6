// SPDX-License-Identifier: Apache-2.0
// The job thread: a detached thread that acknowledges its start and its end through flags.
#include "include/bacl_regular_job.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cstring>

#include <unistd.h>

#include "bacl/Pthread.h"
#include "include/bacl.h"

using namespace qsc;

namespace
{

constexpr const char* kModule = "BaCL_RegularJob";

constexpr u32 kSmallestStack = 2048;
constexpr useconds_t kPoll = 50'000;

bool is_initialised(BaCL_RegularInfo* info)
{
    return info != nullptr && (load(info->State) & BACL_JOB_INITIALISED) != 0;
}

/// Sets and clears flags under the mutex.
u32 change_flag(BaCL_RegularInfo* info, const Caller& caller, u32 set, u32 clear)
{
    if (!is_initialised(info)) {
        return reject(caller);
    }
    const MutexGuard guard{&info->Mutex, caller};
    if (guard.error() == 0) {
        change_bits(info->Flag, set, clear);
    }
    return guard.error();
}

/// Whether the job has acknowledged. Taking the mutex makes sure that the job has released it; if the lock
/// fails, the flags are read all the same.
bool has_acknowledged(BaCL_RegularInfo* info, const Caller& caller)
{
    const MutexGuard guard{&info->Mutex, caller};
    return (load(info->Flag) & BACL_JOB_ACKNOWLEDGED) != 0;
}

/// Waits until the job acknowledges, or returns ETIME after the limit.
u32 await_acknowledgement(BaCL_RegularInfo* info, const Caller& caller, u32 limit_ms)
{
    const u32 start = BaCL_GetTimestampMS();
    do {
        if (has_acknowledged(info, caller)) {
            return 0;
        }
        usleep(kPoll);
    } while (BaCL_GetTimestampMS() - start < limit_ms);
    return ETIME;
}

/// Owned thread attributes.
class Attributes
{
  public:
    explicit Attributes(const Caller& caller)
        : caller_(caller), error_(check_pthread(caller, pthread_attr_init(&attributes_), "pthread_attr_init"))
    {
    }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;
    ~Attributes()
    {
        const int result = error_ == 0 ? pthread_attr_destroy(&attributes_) : 0;
        if (result != 0) {
            Qslog_Log(kLogWarning, caller_.module, caller_.line, caller_.function,
                      "pthread_attr_destroy, ret %d\n", result);
        }
    }

    /// The error of the creation.
    [[nodiscard]] u32 error() const { return error_; }

    /// Sets the detached state and the stack size; 0 keeps the default size.
    [[nodiscard]] u32 set(u32 stack_size)
    {
        if (const u32 error =
                check_pthread(caller_, pthread_attr_setdetachstate(&attributes_, PTHREAD_CREATE_DETACHED),
                              "pthread_attr_setdetachstate")) {
            return error;
        }
        return stack_size == 0 ? 0
                               : check_pthread(caller_, pthread_attr_setstacksize(&attributes_, stack_size),
                                               "pthread_attr_setstacksize");
    }

    [[nodiscard]] const pthread_attr_t* get() const { return &attributes_; }

  private:
    pthread_attr_t attributes_;
    Caller caller_;
    u32 error_; ///< of pthread_attr_init()
};

} // namespace

uint32_t BaCL_RegInfo_Init(BaCL_RegularInfo* info)
{
    if (info == nullptr) {
        return reject(QSC_CALLER);
    }
    std::memset(info, 0, sizeof *info);
    if (const u32 code =
            check_pthread(QSC_CALLER, pthread_mutex_init(&info->Mutex, nullptr), "pthread_mutex_init")) {
        return code;
    }
    store(info->State, BACL_JOB_INITIALISED);
    return 0;
}

uint32_t BaCL_RegInfo_Close(BaCL_RegularInfo* info)
{
    if (!is_initialised(info)) {
        return reject(QSC_CALLER);
    }
    (void)BaCL_RegInfo_ClearState(info, BACL_JOB_AVAILABLE);
    constexpr u32 kLimitMs = 1000;
    if (BaCL_RegInfo_CloseThread(info, kLimitMs, 1) != 0) {
        QSC_LOG(kLogError, "BaCL_RegInfo_CloseThread\n");
    }
    store(info->Flag, BACL_JOB_STOP);
    info->ThreadId = 0;
    store(info->State, 0);
    (void)check_pthread(QSC_CALLER, pthread_mutex_destroy(&info->Mutex), "pthread_mutex_destroy",
                        kLogWarning);
    return 0;
}

uint32_t BaCL_RegInfo_SetState(BaCL_RegularInfo* info, uint32_t bits)
{
    if (!is_initialised(info)) {
        return reject(QSC_CALLER);
    }
    const MutexGuard guard{&info->Mutex, QSC_CALLER};
    if (guard.error() == 0) {
        change_bits(info->State, bits & 3, 0);
    }
    return guard.error();
}

uint32_t BaCL_RegInfo_ClearState(BaCL_RegularInfo* info, uint32_t bits)
{
    if (!is_initialised(info)) {
        return reject(QSC_CALLER);
    }
    // Even without the lock: a job must always be able to end.
    const MutexGuard guard{&info->Mutex, QSC_CALLER};
    change_bits(info->State, 0, bits & 3);
    return 0;
}

uint32_t BaCL_RegInfo_GetState(BaCL_RegularInfo* info)
{
    if (!is_initialised(info)) {
        return info != nullptr ? load(info->State) : 0;
    }
    // Even without the lock: one word can be read on its own.
    const MutexGuard guard{&info->Mutex, QSC_CALLER};
    return load(info->State);
}

uint32_t BaCL_RegInfo_IsAvailable(BaCL_RegularInfo* info)
{
    constexpr u32 kBoth = BACL_JOB_INITIALISED | BACL_JOB_AVAILABLE;
    return (BaCL_RegInfo_GetState(info) & kBoth) == kBoth ? 1 : 0;
}

uint32_t BaCL_RegInfo_SetFlag(BaCL_RegularInfo* info, uint32_t bits)
{
    return change_flag(info, QSC_CALLER, bits & 7, 0);
}

uint32_t BaCL_RegInfo_ClearFlag(BaCL_RegularInfo* info, uint32_t bits)
{
    return change_flag(info, QSC_CALLER, 0, bits & 7);
}

uint32_t BaCL_RegInfo_GetFlag(BaCL_RegularInfo* info)
{
    if (!is_initialised(info)) {
        return 0;
    }
    const MutexGuard guard{&info->Mutex, QSC_CALLER};
    return guard.error() == 0 ? load(info->Flag) : 0;
}

uint32_t BaCL_RegInfo_SetExeFlag(BaCL_RegularInfo* info)
{
    return change_flag(info, QSC_CALLER, BACL_JOB_RUNNING, 0);
}

uint32_t BaCL_RegInfo_ClearExeFlag(BaCL_RegularInfo* info)
{
    return change_flag(info, QSC_CALLER, 0, BACL_JOB_RUNNING);
}

uint32_t BaCL_RegInfo_GetExeFlag(BaCL_RegularInfo* info)
{
    return BaCL_RegInfo_GetFlag(info) & BACL_JOB_RUNNING;
}

uint32_t BaCL_RegInfo_CreateThread(BaCL_RegularInfo* info, BaCL_JobRoutine routine, uint32_t stackSize,
                                   uint32_t limitMs)
{
    if (BaCL_RegInfo_IsAvailable(info) == 0 || routine == nullptr) {
        return reject(QSC_CALLER);
    }
    if (BaCL_RegInfo_GetExeFlag(info) != 0) {
        QSC_LOG(kLogWarning, "already executed\n");
        return 0;
    }
    if (stackSize != 0 && stackSize < kSmallestStack) {
        QSC_LOG(kLogWarning, "thread stack is too small. It is set to %d\n",
                static_cast<i32>(kSmallestStack));
    }
    if (stackSize != 0) {
        // The minimum depends on the C library and the CPU: 2 KiB to about 64 KiB.
        stackSize = std::max({stackSize, kSmallestStack, static_cast<u32>(PTHREAD_STACK_MIN)});
    }
    if (const u32 code = BaCL_RegInfo_ClearFlag(info, BACL_JOB_ACKNOWLEDGED | BACL_JOB_STOP)) {
        QSC_LOG(kLogError, "BaCL_RegInfo_ClearFlag, error %d\n", static_cast<i32>(code));
        return code;
    }
    Attributes attributes{QSC_CALLER};
    if (attributes.error() != 0) {
        return attributes.error();
    }
    info->ThreadId = 0;
    if (const u32 code = attributes.set(stackSize)) {
        return code;
    }
    pthread_t thread{};
    const int result = pthread_create(&thread, attributes.get(), routine, info);
    if (result != 0) {
        QSC_LOG(kLogError, "pthread_create, ret %d\n", result);
        return static_cast<u32>(result);
    }
    info->ThreadId = thread;
    return await_acknowledgement(info, QSC_CALLER, limitMs);
}

uint32_t BaCL_RegInfo_CloseThread(BaCL_RegularInfo* info, uint32_t limitMs, int32_t clearExecute)
{
    if (!is_initialised(info)) {
        return reject(QSC_CALLER);
    }
    {
        // Even without the lock: the job must see the request to stop.
        const MutexGuard guard{&info->Mutex, QSC_CALLER, kLogWarning};
        if ((load(info->Flag) & BACL_JOB_RUNNING) == 0) {
            QSC_LOG(kLogWarning, "already stoped\n");
            return 0;
        }
        change_bits(info->Flag, BACL_JOB_STOP,
                    BACL_JOB_ACKNOWLEDGED | (clearExecute != 0 ? BACL_JOB_RUNNING : 0));
    }
    return await_acknowledgement(info, QSC_CALLER, limitMs);
}

uint32_t BaCL_RegInfo_Print(BaCL_RegularInfo* info, const char* title)
{
    if (info == nullptr) {
        QSC_LOG(kLogWarning, "pointer is NULL\n");
        return EINVAL;
    }
    if (title != nullptr && *title != '\0') {
        QSC_LOG(kLogDebug, "%s (BaCL_RegularInfo):\n", title);
    } else {
        QSC_LOG(kLogDebug, "BaCL_RegularInfo:\n");
    }
    const auto thread = static_cast<u32>(std::bit_cast<std::uintptr_t>(info->ThreadId));
    QSC_LOG(kLogDebug, "State 0x%X\n", load(info->State));
    QSC_LOG(kLogDebug, "Flag 0x%X\n", load(info->Flag));
    QSC_LOG(kLogDebug, "ThreadId %u (0x%X)\n", thread, thread);
    QSC_LOG(kLogDebug, "PtrParam %p\n", info->PtrParam);
    return 0;
}
