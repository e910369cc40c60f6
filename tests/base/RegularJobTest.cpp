// SPDX-License-Identifier: Apache-2.0
// The job thread: its flags, its limits, its log.
#include <atomic>
#include <cerrno>
#include <cstring>

#include <sched.h>

#include "bacl_regular_job.h"
#include "qslog.h"
#include "support/FailingLock.h"
#include "support/Outside.h"

using namespace test;

namespace
{

std::atomic<int> g_passes{0};

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

void* silent(void*)
{
    return nullptr;
}

} // namespace

class RegularJob : public OutsideTest
{
  protected:
    void SetUp() override
    {
        OutsideTest::SetUp();
        ASSERT_EQ(BaCL_RegInfo_Init(&info_), 0u);
    }

    void TearDown() override
    {
        if (info_.State != 0) {
            BaCL_RegInfo_Close(&info_);
        }
        OutsideTest::TearDown();
    }

    BaCL_RegularInfo info_;
};

TEST_F(RegularJob, StartsRunsAndStops)
{
    int step = 2;
    info_.PtrParam = &step;
    EXPECT_EQ(BaCL_RegInfo_CreateThread(&info_, well_behaved, 0, 1000), 22u) << "not available";
    EXPECT_EQ(BaCL_RegInfo_SetState(&info_, 0xFF), 0u);
    EXPECT_EQ(BaCL_RegInfo_GetState(&info_), 3u);
    ASSERT_EQ(BaCL_RegInfo_CreateThread(&info_, well_behaved, 1 << 16, 5000), 0u);
    EXPECT_NE(info_.ThreadId, pthread_t{});
    EXPECT_EQ(BaCL_RegInfo_GetExeFlag(&info_), 1u);
    outside().logs.clear();
    EXPECT_EQ(BaCL_RegInfo_CreateThread(&info_, well_behaved, 0, 1000), 0u);
    EXPECT_EQ(outside().logs, (std::vector<LogLine>{{4, "[W] already executed\n"}}));
    EXPECT_EQ(BaCL_RegInfo_CloseThread(&info_, 5000, 0), 0u);
    EXPECT_EQ(BaCL_RegInfo_GetFlag(&info_), 7u) << "running until it is cleared";
    EXPECT_GE(g_passes, 0);
    EXPECT_EQ(BaCL_RegInfo_ClearExeFlag(&info_), 0u);
    outside().logs.clear();
    EXPECT_EQ(BaCL_RegInfo_Close(&info_), 0u);
    EXPECT_EQ(outside().logs, (std::vector<LogLine>{{4, "[W] already stoped\n"}}));
    EXPECT_EQ(info_.State, 0u);
    EXPECT_EQ(info_.Flag, 4u);
    EXPECT_EQ(info_.ThreadId, pthread_t{});
    EXPECT_EQ(info_.PtrParam, &step);
    EXPECT_EQ(BaCL_RegInfo_Close(&info_), 22u);
}

TEST_F(RegularJob, ARoutineThatSaysNothingIsGivenUp)
{
    BaCL_RegInfo_SetState(&info_, 2);
    EXPECT_EQ(BaCL_RegInfo_CreateThread(&info_, silent, 0, 60), 62u);
    EXPECT_EQ(BaCL_RegInfo_CreateThread(&info_, nullptr, 0, 60), 22u);
    BaCL_RegInfo_SetExeFlag(&info_);
    EXPECT_EQ(BaCL_RegInfo_CloseThread(&info_, 0, 1), 62u);
    EXPECT_EQ(BaCL_RegInfo_GetFlag(&info_), 4u);
    BaCL_RegInfo_SetExeFlag(&info_);
    outside().logs.clear();
    EXPECT_EQ(BaCL_RegInfo_Close(&info_), 0u);
    EXPECT_EQ(outside().logs, (std::vector<LogLine>{{3, "[E] BaCL_RegInfo_CloseThread\n"}}));
}

TEST_F(RegularJob, SmallStacksAreRaisedAndToldAbout)
{
    BaCL_RegInfo_SetState(&info_, 2);
    (void)BaCL_RegInfo_CreateThread(&info_, silent, 1000, 0);
    ASSERT_FALSE(outside().logs.empty());
    EXPECT_EQ(outside().logs[0], (LogLine{4, "[W] thread stack is too small. It is set to 2048\n"}));
}

TEST_F(RegularJob, ALockThatFailsIsToldByItsError)
{
    BaCL_RegInfo_SetState(&info_, 2);
    const FailingLock held{info_.Mutex};
    EXPECT_EQ(BaCL_RegInfo_SetFlag(&info_, 1), uint32_t{EDEADLK});
    EXPECT_EQ(BaCL_RegInfo_SetState(&info_, 2), uint32_t{EDEADLK});
    EXPECT_EQ(BaCL_RegInfo_GetFlag(&info_), 0u);
    EXPECT_EQ(BaCL_RegInfo_ClearState(&info_, 2), 0u) << "cleared all the same";
    EXPECT_EQ(info_.State, 1u);
    EXPECT_EQ(info_.Flag, 0u);
    EXPECT_EQ(outside().logs, std::vector<LogLine>(4, LogLine{3, "[E] pthread_mutex_lock, error 35\n"}));
}

TEST_F(RegularJob, FlagsAreMaskedAndBadRecordsRefused)
{
    EXPECT_EQ(BaCL_RegInfo_SetFlag(&info_, UINT32_MAX), 0u);
    EXPECT_EQ(BaCL_RegInfo_GetFlag(&info_), 7u);
    EXPECT_EQ(BaCL_RegInfo_ClearFlag(&info_, 2), 0u);
    EXPECT_EQ(BaCL_RegInfo_GetFlag(&info_), 5u);
    EXPECT_EQ(BaCL_RegInfo_ClearState(&info_, 3), 0u);
    EXPECT_EQ(BaCL_RegInfo_GetState(&info_), 0u);
    outside().logs.clear();
    for (BaCL_RegularInfo* bad : {&info_, static_cast<BaCL_RegularInfo*>(nullptr)}) {
        EXPECT_EQ(BaCL_RegInfo_SetState(bad, 1), 22u);
        EXPECT_EQ(BaCL_RegInfo_SetFlag(bad, 1), 22u);
        EXPECT_EQ(BaCL_RegInfo_CloseThread(bad, 0, 0), 22u);
        EXPECT_EQ(BaCL_RegInfo_IsAvailable(bad), 0u);
        EXPECT_EQ(BaCL_RegInfo_GetFlag(bad), 0u);
    }
    EXPECT_EQ(outside().logs, std::vector<LogLine>(6, LogLine{3, "[E] parameter\n"}))
        << "getters keep silent";
    Qslog_SetLogLevel(7);
    outside().logs.clear();
    EXPECT_EQ(BaCL_RegInfo_Print(&info_, nullptr), 0u);
    EXPECT_EQ(outside().logs, (std::vector<LogLine>{{7, "[D] BaCL_RegularInfo:\n"},
                                                    {7, "[D] State 0x0\n"},
                                                    {7, "[D] Flag 0x5\n"},
                                                    {7, "[D] ThreadId 0 (0x0)\n"},
                                                    {7, "[D] PtrParam (nil)\n"}}));
    outside().logs.clear();
    EXPECT_EQ(BaCL_RegInfo_Print(nullptr, "x"), 22u);
    EXPECT_EQ(outside().logs, (std::vector<LogLine>{{4, "[W] pointer is NULL\n"}}));
}
