// SPDX-License-Identifier: Apache-2.0
// The job thread: flags, time limits, log lines.
#include <atomic>
#include <cerrno>
#include <cstring>
#include <functional>

#include <dlfcn.h>
#include <sched.h>
#include <unistd.h>

#include "bacl.h"
#include "bacl_regular_job.h"
#include "qslog.h"
#include "support/FakePthread.h"
#include "support/Outside.h"

using namespace test;

namespace
{

struct Clock {
    bool is_fake = false;
    uint32_t now = 0;
    Lines sleeps;                  ///< arguments of usleep()
    std::function<void()> on_step; ///< called by each usleep()
};

Clock g_clock;
std::atomic<int> g_passes{0};
std::atomic<size_t> g_stack_size{0};
std::atomic<bool> g_is_detached{false};

void* well_behaved(void* record)
{
    auto* const info = static_cast<BaCL_RegularInfo*>(record);
    BaCL_RegInfo_SetFlag(info, 3);
    while ((BaCL_RegInfo_GetFlag(info) & BACL_JOB_STOP) == 0) {
        g_passes += *static_cast<int*>(info->PtrParam);
        sched_yield();
    }
    BaCL_RegInfo_SetFlag(info, BACL_JOB_ACKNOWLEDGED);
    return nullptr;
}

void* looks_at_itself(void* record)
{
    pthread_attr_t attributes;
    pthread_getattr_np(pthread_self(), &attributes);
    size_t size = 0;
    int state = 0;
    pthread_attr_getstacksize(&attributes, &size);
    pthread_attr_getdetachstate(&attributes, &state);
    pthread_attr_destroy(&attributes);
    g_stack_size = size;
    g_is_detached = state == PTHREAD_CREATE_DETACHED;
    BaCL_RegInfo_SetFlag(static_cast<BaCL_RegularInfo*>(record), BACL_JOB_ACKNOWLEDGED);
    return nullptr;
}

void* silent(void*)
{
    return nullptr;
}

} // namespace

extern "C" uint32_t BaCL_GetTimestampMS()
{
    static auto* const next =
        reinterpret_cast<decltype(BaCL_GetTimestampMS)*>(dlsym(RTLD_NEXT, "BaCL_GetTimestampMS"));
    return g_clock.is_fake ? g_clock.now : next();
}

extern "C" int usleep(useconds_t time)
{
    if (!g_clock.is_fake) {
        return sched_yield();
    }
    g_clock.now += time / 1000;
    g_clock.sleeps.push_back(std::to_string(time));
    if (g_clock.on_step) {
        g_clock.on_step();
    }
    return 0;
}

class RegularJob : public OutsideTest
{
  protected:
    void SetUp() override
    {
        watch(nullptr);
        g_clock = {};
        OutsideTest::SetUp();
        ASSERT_EQ(BaCL_RegInfo_Init(&info_), 0u);
        ASSERT_EQ(BaCL_RegInfo_SetState(&info_, BACL_JOB_AVAILABLE), 0u);
    }

    void TearDown() override
    {
        watch(nullptr);
        g_clock.is_fake = true;
        if (info_.State != 0) {
            BaCL_RegInfo_Close(&info_);
        }
        g_clock = {};
        OutsideTest::TearDown();
    }

    static std::vector<LogLine> logged() { return std::exchange(outside().logs, {}); }

    BaCL_RegularInfo info_;
};

TEST_F(RegularJob, StartsAndStopsRepeatedly)
{
    int step = 2;
    info_.PtrParam = &step;
    for (int round = 0; round < 2; ++round) {
        g_passes = 0;
        ASSERT_EQ(BaCL_RegInfo_CreateThread(&info_, well_behaved, 0, 10'000), 0u);
        EXPECT_NE(info_.ThreadId, pthread_t{});
        EXPECT_EQ(BaCL_RegInfo_GetExeFlag(&info_), 1u);
        while (g_passes < 10) {
            sched_yield();
        }
        EXPECT_EQ(g_passes % 2, 0) << "the parameter is passed to the routine";
        logged();
        EXPECT_EQ(BaCL_RegInfo_CreateThread(&info_, well_behaved, 0, 1000), 0u);
        EXPECT_EQ(logged(), (std::vector<LogLine>{{4, "[W] already executed\n"}}));
        EXPECT_EQ(BaCL_RegInfo_CloseThread(&info_, 10'000, 0), 0u);
        EXPECT_EQ(BaCL_RegInfo_GetFlag(&info_), 7u) << "running until the flag is cleared";
        EXPECT_EQ(BaCL_RegInfo_ClearExeFlag(&info_), 0u);
    }
    EXPECT_EQ(BaCL_RegInfo_Close(&info_), 0u);
    EXPECT_EQ(logged(), (std::vector<LogLine>{{4, "[W] already stoped\n"}}));
    EXPECT_EQ(info_.State, 0u);
    EXPECT_EQ(info_.Flag, 4u);
    EXPECT_EQ(info_.ThreadId, pthread_t{});
    EXPECT_EQ(info_.PtrParam, &step);
    EXPECT_EQ(BaCL_RegInfo_Close(&info_), 22u);
}

TEST_F(RegularJob, WaitsInStepsUntilTheLimitHasPassed)
{
    g_clock.is_fake = true;
    const struct {
        uint32_t limit;
        size_t acknowledged_after; ///< steps; 0: never
        uint32_t code;
        size_t steps;
    } cases[] = {{0, 0, 62, 1},  {100, 0, 62, 2}, {101, 0, 62, 3},
                 {100, 1, 0, 1}, {101, 2, 0, 2},  {100, 2, 62, 2}};
    for (const auto& [limit, acknowledged_after, code, steps] : cases) {
        g_clock.now = UINT32_MAX - 20; // wraps around meanwhile
        g_clock.on_step = [this, after = acknowledged_after] {
            if (g_clock.sleeps.size() == after) {
                BaCL_RegInfo_SetFlag(&info_, BACL_JOB_ACKNOWLEDGED);
            }
        };
        BaCL_RegInfo_SetFlag(&info_, BACL_JOB_ACKNOWLEDGED | BACL_JOB_STOP); // of the previous thread
        g_clock.sleeps.clear();
        EXPECT_EQ(BaCL_RegInfo_CreateThread(&info_, silent, 0, limit), code) << limit;
        EXPECT_EQ(g_clock.sleeps, Lines(steps, "50000"));
        EXPECT_EQ(BaCL_RegInfo_GetFlag(&info_),
                  code == 0 ? 2u : 0u + (steps == acknowledged_after ? 2u : 0u));

        BaCL_RegInfo_SetFlag(&info_, BACL_JOB_ACKNOWLEDGED | BACL_JOB_RUNNING);
        g_clock.sleeps.clear();
        EXPECT_EQ(BaCL_RegInfo_CloseThread(&info_, limit, 1), code) << limit;
        EXPECT_EQ(g_clock.sleeps, Lines(steps, "50000"));
        EXPECT_EQ(BaCL_RegInfo_GetFlag(&info_) & ~2u, 4u) << "requested to stop, and no longer running";
    }
    g_clock.on_step = nullptr;
    BaCL_RegInfo_SetExeFlag(&info_);
    logged();
    g_clock.sleeps.clear();
    EXPECT_EQ(BaCL_RegInfo_Close(&info_), 0u);
    EXPECT_EQ(g_clock.sleeps.size(), 20u) << "one second";
    EXPECT_EQ(logged(), (std::vector<LogLine>{{3, "[E] BaCL_RegInfo_CloseThread\n"}}));
}

TEST_F(RegularJob, AnyStackSizeStartsADetachedThread)
{
    const auto start = [this](uint32_t size) {
        logged();
        EXPECT_EQ(BaCL_RegInfo_CreateThread(&info_, looks_at_itself, size, 10'000), 0u) << size;
        EXPECT_TRUE(g_is_detached.exchange(false));
        return g_stack_size.load();
    };
    const size_t by_default = start(0);
    const LogLine warning{4, "[W] thread stack is too small. It is set to 2048\n"};
    for (const uint32_t size : {1u, 2047u, 2048u, 2049u, 16383u, 16384u}) {
        EXPECT_LT(start(size), by_default) << size;
        EXPECT_EQ(logged(), std::vector<LogLine>(size < 2048 ? 1 : 0, warning)) << size;
    }
    EXPECT_GT(start(1u << 20), (1u << 20) - (1u << 16));
    EXPECT_LT(g_stack_size, by_default);
}

TEST_F(RegularJob, ThreadsThatCannotBeCreated)
{
    EXPECT_EQ(BaCL_RegInfo_CreateThread(&info_, nullptr, 0, 0), 22u);
    BaCL_RegInfo_ClearState(&info_, BACL_JOB_AVAILABLE);
    EXPECT_EQ(BaCL_RegInfo_CreateThread(&info_, silent, 0, 0), 22u);
    BaCL_RegInfo_SetState(&info_, BACL_JOB_AVAILABLE);
    EXPECT_EQ(logged(), std::vector<LogLine>(2, LogLine{3, "[E] parameter\n"}));

    for (const std::string call : {"attr_init", "attr_setdetachstate", "attr_setstacksize"}) {
        watch(nullptr);
        fake_pthread().failures[call] = ENOMEM;
        info_.ThreadId = pthread_self();
        EXPECT_EQ(BaCL_RegInfo_CreateThread(&info_, silent, 1 << 16, 0), 12u) << call;
        EXPECT_EQ(info_.ThreadId == pthread_t{}, call != "attr_init");
        EXPECT_EQ(logged(), (std::vector<LogLine>{{3, "[E] pthread_" + call + ", error 12\n"}}));
    }
    watch(nullptr);
    fake_pthread().failures["create"] = EAGAIN;
    info_.ThreadId = pthread_self();
    EXPECT_EQ(BaCL_RegInfo_CreateThread(&info_, silent, 0, 0), uint32_t{EAGAIN});
    EXPECT_EQ(logged(), (std::vector<LogLine>{{3, "[E] pthread_create, ret 11\n"}}));
    EXPECT_EQ(info_.ThreadId, pthread_t{});

    fake_pthread().failures = {{"attr_destroy", EBUSY}};
    EXPECT_EQ(BaCL_RegInfo_CreateThread(&info_, silent, 0, 0), 62u) << "created, but not acknowledged";
    EXPECT_EQ(logged(), (std::vector<LogLine>{{4, "[W] pthread_attr_destroy, ret 16\n"}}));

    watch(&info_.Mutex);
    fake_pthread().failures["mutex_lock"] = EDEADLK;
    EXPECT_EQ(BaCL_RegInfo_CreateThread(&info_, silent, 0, 0), uint32_t{EDEADLK});
    EXPECT_EQ(logged().back(), (LogLine{3, "[E] BaCL_RegInfo_ClearFlag, error 35\n"}));
}

// The mutex calls of each function, and its result when one of them fails.
TEST_F(RegularJob, LocksOfEachFunction)
{
    const struct {
        const char* name;
        uint32_t (*call)(BaCL_RegularInfo* info);
        uint32_t result;
        uint32_t without_lock;
        uint32_t flags_without_lock; ///< State, then Flag
    } cases[] = {
        {"SetState", [](auto* info) { return BaCL_RegInfo_SetState(info, 3); }, 0, 35, 0x11},
        {"ClearState", [](auto* info) { return BaCL_RegInfo_ClearState(info, 1); }, 0, 0, 0x01},
        {"GetState", [](auto* info) { return BaCL_RegInfo_GetState(info); }, 1, 1, 0x11},
        {"IsAvailable", [](auto* info) { return BaCL_RegInfo_IsAvailable(info); }, 0, 0, 0x11},
        {"SetFlag", [](auto* info) { return BaCL_RegInfo_SetFlag(info, 4); }, 0, 35, 0x11},
        {"ClearFlag", [](auto* info) { return BaCL_RegInfo_ClearFlag(info, 1); }, 0, 35, 0x11},
        {"GetFlag", [](auto* info) { return BaCL_RegInfo_GetFlag(info); }, 1, 0, 0x11},
        {"SetExeFlag", [](auto* info) { return BaCL_RegInfo_SetExeFlag(info); }, 0, 35, 0x11},
        {"ClearExeFlag", [](auto* info) { return BaCL_RegInfo_ClearExeFlag(info); }, 0, 35, 0x11},
        {"GetExeFlag", [](auto* info) { return BaCL_RegInfo_GetExeFlag(info); }, 1, 0, 0x11},
    };
    for (const auto& [name, call, result, without_lock, flags_without_lock] : cases) {
        SCOPED_TRACE(name);
        const auto fresh = [this](const char* failing) {
            info_.State = info_.Flag = 1;
            watch(&info_.Mutex);
            fake_pthread().failures[failing] = failing == std::string{"mutex_lock"} ? EDEADLK : EPERM;
            logged();
        };
        fresh("nothing");
        EXPECT_EQ(call(&info_), result);
        EXPECT_EQ(fake_pthread().calls, (Lines{"mutex_lock", "mutex_unlock"}));
        EXPECT_TRUE(logged().empty());

        fresh("mutex_lock");
        EXPECT_EQ(call(&info_), without_lock);
        EXPECT_EQ(info_.State << 4 | info_.Flag, flags_without_lock);
        EXPECT_EQ(logged(), (std::vector<LogLine>{{3, "[E] pthread_mutex_lock, error 35\n"}}));

        fresh("mutex_unlock");
        EXPECT_EQ(call(&info_), result);
        EXPECT_EQ(logged(), (std::vector<LogLine>{{4, "[W] pthread_mutex_unlock, error 1\n"}}));
    }
    info_.State = 3;
    EXPECT_EQ(BaCL_RegInfo_IsAvailable(&info_), 1u);
}

TEST_F(RegularJob, AJobIsStoppedEvenIfLocksFail)
{
    g_clock.is_fake = true;
    BaCL_RegInfo_SetFlag(&info_, BACL_JOB_RUNNING | BACL_JOB_ACKNOWLEDGED);
    watch(&info_.Mutex);
    fake_pthread().failures["mutex_lock"] = EDEADLK;
    g_clock.on_step = [this] { info_.Flag |= BACL_JOB_ACKNOWLEDGED; };
    EXPECT_EQ(BaCL_RegInfo_CloseThread(&info_, 1000, 0), 0u);
    EXPECT_EQ(info_.Flag, 7u);
    ASSERT_FALSE(outside().logs.empty());
    EXPECT_EQ(outside().logs[0], (LogLine{4, "[W] pthread_mutex_lock, error 35\n"}));

    fake_pthread().failures["mutex_destroy"] = EBUSY;
    logged();
    EXPECT_EQ(BaCL_RegInfo_Close(&info_), 0u);
    EXPECT_EQ(info_.State, 0u);
    EXPECT_EQ(outside().logs.back(), (LogLine{4, "[W] pthread_mutex_destroy, error 16\n"}));

    fake_pthread().failures = {{"mutex_init", EAGAIN}};
    logged();
    EXPECT_EQ(BaCL_RegInfo_Init(&info_), 11u);
    EXPECT_EQ(info_.State, 0u);
    EXPECT_EQ(logged(), (std::vector<LogLine>{{3, "[E] pthread_mutex_init, error 11\n"}}));
}

TEST_F(RegularJob, FlagsAreMaskedAndBadRecordsRefused)
{
    EXPECT_EQ(BaCL_RegInfo_SetState(&info_, UINT32_MAX), 0u);
    EXPECT_EQ(BaCL_RegInfo_GetState(&info_), 3u);
    EXPECT_EQ(BaCL_RegInfo_SetFlag(&info_, UINT32_MAX), 0u);
    EXPECT_EQ(BaCL_RegInfo_GetFlag(&info_), 7u);
    EXPECT_EQ(BaCL_RegInfo_ClearFlag(&info_, 2), 0u);
    EXPECT_EQ(BaCL_RegInfo_GetFlag(&info_), 5u);
    EXPECT_EQ(BaCL_RegInfo_ClearExeFlag(&info_), 0u);
    EXPECT_EQ(BaCL_RegInfo_GetFlag(&info_), 4u);
    EXPECT_EQ(BaCL_RegInfo_ClearState(&info_, 3), 0u);
    EXPECT_EQ(BaCL_RegInfo_GetState(&info_), 0u);
    logged();
    for (BaCL_RegularInfo* bad : {&info_, static_cast<BaCL_RegularInfo*>(nullptr)}) {
        EXPECT_EQ(BaCL_RegInfo_SetState(bad, 1), 22u);
        EXPECT_EQ(BaCL_RegInfo_ClearState(bad, 1), 22u);
        EXPECT_EQ(BaCL_RegInfo_SetFlag(bad, 1), 22u);
        EXPECT_EQ(BaCL_RegInfo_ClearFlag(bad, 1), 22u);
        EXPECT_EQ(BaCL_RegInfo_CloseThread(bad, 0, 0), 22u);
        EXPECT_EQ(BaCL_RegInfo_Close(bad), 22u);
        EXPECT_EQ(BaCL_RegInfo_GetState(bad), 0u);
        EXPECT_EQ(BaCL_RegInfo_IsAvailable(bad), 0u);
        EXPECT_EQ(BaCL_RegInfo_GetFlag(bad), 0u);
    }
    EXPECT_EQ(BaCL_RegInfo_Init(nullptr), 22u);
    EXPECT_EQ(logged(), std::vector<LogLine>(13, LogLine{3, "[E] parameter\n"})) << "getters do not log";
}

TEST_F(RegularJob, PrintsItself)
{
    Qslog_SetLogLevel(7);
    info_.Flag = 5;
    EXPECT_EQ(BaCL_RegInfo_Print(&info_, nullptr), 0u);
    EXPECT_EQ(logged(), (std::vector<LogLine>{{7, "[D] BaCL_RegularInfo:\n"},
                                              {7, "[D] State 0x3\n"},
                                              {7, "[D] Flag 0x5\n"},
                                              {7, "[D] ThreadId 0 (0x0)\n"},
                                              {7, "[D] PtrParam (nil)\n"}}));
    EXPECT_EQ(BaCL_RegInfo_Print(&info_, "mine"), 0u);
    EXPECT_EQ(logged().at(0).text, "[D] mine (BaCL_RegularInfo):\n");
    EXPECT_EQ(BaCL_RegInfo_Print(&info_, ""), 0u);
    EXPECT_EQ(logged().at(0).text, "[D] BaCL_RegularInfo:\n");
    EXPECT_EQ(BaCL_RegInfo_Print(nullptr, "x"), 22u);
    EXPECT_EQ(logged(), (std::vector<LogLine>{{4, "[W] pointer is NULL\n"}}));
}
