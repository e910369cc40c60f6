// SPDX-License-Identifier: Apache-2.0
// The ring buffer on a single thread, compared with a simple model.
#include <cerrno>
#include <cstring>
#include <ctime>
#include <deque>
#include <random>

#include <dlfcn.h>

#include "bacl_ring_buffer.h"
#include "qslog.h"
#include "support/FakePthread.h"
#include "support/Outside.h"

using namespace test;

namespace
{

std::vector<int64_t> g_sleeps; ///< arguments of nanosleep(), in milliseconds
uint32_t g_result_of_wm = 0;   ///< result of Push_WM and Pop_WM, if not 0
int g_interruptions = 0;       ///< how many times it is interrupted, after one millisecond each

std::string joined(const Lines& words)
{
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

} // namespace

// The host's own definitions, which the library calls as well.
extern "C" uint32_t BaCL_RingBuf_Push_WM(BaCL_RingBuffer* ring, const void* data, int32_t count,
                                         int32_t takeMutex)
{
    static auto* const next =
        reinterpret_cast<decltype(BaCL_RingBuf_Push_WM)*>(dlsym(RTLD_NEXT, "BaCL_RingBuf_Push_WM"));
    return g_result_of_wm != 0 ? g_result_of_wm : next(ring, data, count, takeMutex);
}

extern "C" uint32_t BaCL_RingBuf_Pop_WM(BaCL_RingBuffer* ring, void* data, uint32_t count, int32_t takeMutex)
{
    static auto* const next =
        reinterpret_cast<decltype(BaCL_RingBuf_Pop_WM)*>(dlsym(RTLD_NEXT, "BaCL_RingBuf_Pop_WM"));
    return g_result_of_wm != 0 ? g_result_of_wm : next(ring, data, count, takeMutex);
}

// Returns at once.
extern "C" int nanosleep(const timespec* time, timespec* rest)
{
    const int64_t asked = int64_t{time->tv_sec} * 1000 + time->tv_nsec / 1'000'000;
    g_sleeps.push_back(asked);
    if (g_interruptions == 0) {
        return 0;
    }
    --g_interruptions;
    *rest = {.tv_sec = static_cast<time_t>((asked - 1) / 1000),
             .tv_nsec = static_cast<long>((asked - 1) % 1000 * 1'000'000)};
    errno = EINTR;
    return -1;
}

class RingBuffer : public OutsideTest
{
  protected:
    void SetUp() override
    {
        watch(nullptr);
        OutsideTest::SetUp();
        ASSERT_EQ(BaCL_RingBuf_Init(&ring_), 0u);
        ASSERT_EQ(BaCL_RingBuf_AllocateBuffer(&ring_, 8), 0u);
        ASSERT_EQ(BaCL_RingBuf_SetState(&ring_, BACL_RING_ENABLED), 0u);
    }

    void TearDown() override
    {
        watch(nullptr);
        if (ring_.State != 0) {
            EXPECT_EQ(BaCL_RingBuf_Close(&ring_, 0), 0u);
        }
        OutsideTest::TearDown();
    }

    uint32_t push(const std::string& data)
    {
        return BaCL_RingBuf_Push(&ring_, data.data(), static_cast<int32_t>(data.size()));
    }

    std::string pop(uint32_t count)
    {
        std::string data(count, '?');
        const uint32_t code = BaCL_RingBuf_Pop(&ring_, data.data(), count);
        return code != 0 ? "code " + std::to_string(code) : data;
    }

    BaCL_RingBuffer ring_;
};

TEST_F(RingBuffer, BehavesLikeAQueueOfTheLastBytes)
{
    std::deque<char> model;
    std::mt19937 random{7};
    for (int step = 0; step < 20'000; ++step) {
        const auto count = static_cast<uint32_t>(random() % 20 + 1);
        if (random() % 2 == 0) {
            std::string data;
            for (uint32_t i = 0; i < count; ++i) {
                data += static_cast<char>('a' + random() % 26);
            }
            ASSERT_EQ(push(data), 0u);
            model.insert(model.end(), data.begin(), data.end());
            while (model.size() > 8) {
                model.pop_front();
            }
        } else if (count > model.size()) {
            ASSERT_EQ(pop(count), "code 14");
        } else {
            ASSERT_EQ(pop(count), (std::string{model.begin(), model.begin() + count}));
            model.erase(model.begin(), model.begin() + count);
        }
        ASSERT_EQ(BaCL_RingBuf_GetDataSize(&ring_), model.size());
    }
}

TEST_F(RingBuffer, PushesThatDoNotFitOverwriteOrFail)
{
    EXPECT_EQ(push("0123456789"), 0u);
    EXPECT_EQ(BaCL_RingBuf_IsBufferFull(&ring_), 1u);
    EXPECT_EQ(pop(8), "23456789");
    EXPECT_EQ(BaCL_RingBuf_IsBufferEmpty(&ring_), 1u);
    EXPECT_EQ(BaCL_RingBuf_SetStateFlag(&ring_, 0xFF), 0u);
    EXPECT_EQ(BaCL_RingBuf_GetStateFlag(&ring_), 1u);
    outside().logs.clear();
    EXPECT_EQ(push("0123456789"), 14u);
    EXPECT_EQ(outside().logs,
              (std::vector<LogLine>{{3, "[E] too many data (10), buffer is too small, 8 0\n"}}));
    EXPECT_EQ(BaCL_RingBuf_GetDataSize(&ring_), 0u);
    EXPECT_EQ(push("01234567"), 0u);
    EXPECT_EQ(push("x"), 14u);
    outside().logs.clear();
    EXPECT_EQ(pop(9), "code 14");
    EXPECT_EQ(outside().logs,
              (std::vector<LogLine>{{3, "[E] DataSize (8) is too small for ouput size 9\n"}}));
    EXPECT_EQ(pop(8), "01234567");
    EXPECT_EQ(BaCL_RingBuf_ClearStateFlag(&ring_, 1), 0u);
    EXPECT_EQ(BaCL_RingBuf_GetStateFlag(&ring_), 0u);
    EXPECT_EQ(BaCL_RingBuf_FreeBuffer(&ring_), 0u);
    EXPECT_EQ(push("x"), 14u) << "no storage, regardless of the flag";
    EXPECT_EQ(BaCL_RingBuf_GetBufferSize(&ring_), 0u);
    EXPECT_EQ(BaCL_RingBuf_IsBufferFull(&ring_), 0u);
}

TEST_F(RingBuffer, AvailableFormsMoveAsMuchAsPossible)
{
    char data[16] = "abcdefghijklmno";
    EXPECT_EQ(push("12"), 0u);
    EXPECT_EQ(BaCL_RingBuf_PushAvailable(&ring_, data, 1), 6u)
        << "fills the free space, regardless of the count";
    EXPECT_EQ(BaCL_RingBuf_PushAvailable(&ring_, data, 16), 0u);
    EXPECT_EQ(BaCL_RingBuf_PopAvailable(&ring_, data, 3), 3u);
    EXPECT_EQ(std::string(data, 3), "12a");
    EXPECT_EQ(BaCL_RingBuf_PopAvailable(&ring_, data, 16), 5u);
    EXPECT_EQ(std::string(data, 5), "bcdef");
    EXPECT_EQ(BaCL_RingBuf_PopAvailable(&ring_, data, 16), 0u);
    EXPECT_TRUE(outside().logs.empty());
    EXPECT_EQ(BaCL_RingBuf_PopAvailable(&ring_, nullptr, 1), 0u);
    EXPECT_EQ(BaCL_RingBuf_PushAvailable(&ring_, data, 0), 0u);
    EXPECT_EQ(outside().logs.size(), 2u);
    push("1");
    outside().logs.clear();
    g_result_of_wm = 99;
    EXPECT_EQ(BaCL_RingBuf_PushAvailable(&ring_, data, 1), 0u);
    EXPECT_EQ(BaCL_RingBuf_PopAvailable(&ring_, data, 1), 0u);
    g_result_of_wm = 0;
    EXPECT_EQ(outside().logs, (std::vector<LogLine>{{3, "[E] BaCL_RingBuf_Push_WM, error 99\n"},
                                                    {3, "[E] BaCL_RingBuf_Pop_WM, error 99\n"}}));
}

TEST_F(RingBuffer, StateAndThreshold)
{
    EXPECT_EQ(BaCL_RingBuf_SetThreshold(&ring_, 100), 0u);
    EXPECT_EQ(BaCL_RingBuf_GetThreshold(&ring_), 8u);
    EXPECT_EQ(push("1234"), 0u);
    EXPECT_EQ(BaCL_RingBuf_SetState(&ring_, 0xFFFFFFFC), 0u);
    EXPECT_EQ(BaCL_RingBuf_GetState(&ring_), 7u);
    EXPECT_EQ(BaCL_RingBuf_IsAvailable(&ring_), 1u);
    BaCL_RingBuf_SetStateFlag(&ring_, 1);
    EXPECT_EQ(BaCL_RingBuf_ClearState(&ring_, 4), 0u);
    EXPECT_EQ(BaCL_RingBuf_GetStateFlag(&ring_), 1u) << "the threshold is not reached";
    BaCL_RingBuf_SetThreshold(&ring_, 4);
    EXPECT_EQ(BaCL_RingBuf_ClearState(&ring_, 2), 0u);
    EXPECT_EQ(BaCL_RingBuf_GetStateFlag(&ring_), 0u) << "overwriting is allowed again";
    EXPECT_EQ(BaCL_RingBuf_GetState(&ring_), 1u);
    outside().logs.clear();
    EXPECT_EQ(push("x"), 22u);
    EXPECT_EQ(BaCL_RingBuf_ThreadCondSignal(&ring_), 22u);
    EXPECT_EQ(BaCL_RingBuf_ThreadMuxLock(&ring_, 1), 14u);
    EXPECT_EQ(outside().logs, (std::vector<LogLine>{
                                  {3, "[E] parameter\n"}, {3, "[E] parameter\n"}, {3, "[E] not enabled\n"}}));

    BaCL_RingBuf_SetState(&ring_, 2);
    EXPECT_EQ(BaCL_RingBuf_ThreadMuxLock(&ring_, 1), 0u);
    EXPECT_EQ(BaCL_RingBuf_Push_WM(&ring_, "x", 1, 0), 0u);
    EXPECT_EQ(BaCL_RingBuf_ThreadMuxLock(&ring_, 0), 0u);
    EXPECT_EQ(BaCL_RingBuf_AllocateBuffer(&ring_, 8), 0u);
    EXPECT_EQ(BaCL_RingBuf_GetDataSize(&ring_), 0u) << "allocating the same size empties it";
    EXPECT_EQ(BaCL_RingBuf_AllocateBuffer(&ring_, 0), 22u);
    push("abc");
    EXPECT_EQ(BaCL_RingBuf_ClearBuffer(&ring_), 0u);
    EXPECT_EQ(BaCL_RingBuf_IsBufferEmpty(&ring_), 1u);
}

TEST_F(RingBuffer, BadRecordsAndArgumentsAreRefused)
{
    BaCL_RingBuffer cleared;
    std::memset(&cleared, 0, sizeof cleared);
    char byte = 'x';
    for (BaCL_RingBuffer* bad : {static_cast<BaCL_RingBuffer*>(nullptr), &cleared}) {
        outside().logs.clear();
        EXPECT_EQ(BaCL_RingBuf_AllocateBuffer(bad, 1), 22u);
        EXPECT_EQ(BaCL_RingBuf_FreeBuffer(bad), 22u);
        EXPECT_EQ(BaCL_RingBuf_ClearBuffer(bad), 22u);
        EXPECT_EQ(BaCL_RingBuf_Close(bad, 0), 22u);
        EXPECT_EQ(BaCL_RingBuf_Push(bad, &byte, 1), 22u);
        EXPECT_EQ(BaCL_RingBuf_Pop(bad, &byte, 1), 22u);
        EXPECT_EQ(BaCL_RingBuf_PushAvailable(bad, &byte, 1), 0u);
        EXPECT_EQ(BaCL_RingBuf_PopAvailable(bad, &byte, 1), 0u);
        EXPECT_EQ(BaCL_RingBuf_SetThreshold(bad, 1), 22u);
        EXPECT_EQ(BaCL_RingBuf_GetThreshold(bad), 0u);
        EXPECT_EQ(BaCL_RingBuf_SetState(bad, 1), 22u);
        EXPECT_EQ(BaCL_RingBuf_ClearState(bad, 1), 22u);
        EXPECT_EQ(BaCL_RingBuf_IsAvailable(bad), 0u);
        EXPECT_EQ(BaCL_RingBuf_IsBufferEmpty(bad), 0u);
        EXPECT_EQ(BaCL_RingBuf_ThreadCondWait_CF(bad), 22u);
        EXPECT_EQ(BaCL_RingBuf_ThreadCondWait(bad), 22u);
        EXPECT_EQ(BaCL_RingBuf_ThreadMuxLock(bad, 0), 22u);
        EXPECT_EQ(outside().logs, std::vector<LogLine>(17, LogLine{3, "[E] parameter\n"}));
    }
    EXPECT_EQ(BaCL_RingBuf_Init(nullptr), 22u);
    EXPECT_EQ(BaCL_RingBuf_Push(&ring_, nullptr, 1), 22u);
    EXPECT_EQ(BaCL_RingBuf_Push(&ring_, &byte, 0), 22u);
    EXPECT_EQ(BaCL_RingBuf_Push(&ring_, &byte, -1), 22u);
    EXPECT_EQ(BaCL_RingBuf_Pop(&ring_, &byte, 0), 22u);
    EXPECT_EQ(BaCL_RingBuf_Pop(&ring_, nullptr, 1), 22u);
    EXPECT_EQ(BaCL_RingBuf_Close(&ring_, 0), 0u);
    EXPECT_EQ(ring_.State, 0u);
    EXPECT_EQ(BaCL_RingBuf_Close(&ring_, 0), 22u);
}

// The thread calls of each function, in order, and its result when one of them fails.
TEST_F(RingBuffer, LocksAndSignalsOfEachFunction)
{
    static char byte;
    const std::string at_threshold = "mutex_lock cond_signal mutex_unlock";
    const std::string locked = "mutex_lock mutex_unlock";
    const struct {
        const char* name;
        uint32_t (*call)(BaCL_RingBuffer* ring);
        uint32_t result;
        std::string calls;
        uint32_t without_lock;
        uint32_t without_unlock;
    } cases[] = {
        {"Push", [](auto* ring) { return BaCL_RingBuf_Push(ring, "y", 1); }, 0, at_threshold, 35, 0},
        {"Push_WM 1", [](auto* ring) { return BaCL_RingBuf_Push_WM(ring, "y", 1, 1); }, 0, at_threshold, 35,
         0},
        {"Push_WM 0", [](auto* ring) { return BaCL_RingBuf_Push_WM(ring, "y", 1, 0); }, 0, "cond_signal", 0,
         0},
        {"PushAvailable", [](auto* ring) { return BaCL_RingBuf_PushAvailable(ring, "yyyyyyyy", 1); }, 6,
         at_threshold, 0, 6},
        {"Pop", [](auto* ring) { return BaCL_RingBuf_Pop(ring, &byte, 1); }, 0, locked, 35, 0},
        {"Pop_WM 1", [](auto* ring) { return BaCL_RingBuf_Pop_WM(ring, &byte, 1, 1); }, 0, locked, 35, 0},
        {"Pop_WM 0", [](auto* ring) { return BaCL_RingBuf_Pop_WM(ring, &byte, 1, 0); }, 0, "", 0, 0},
        {"PopAvailable", [](auto* ring) { return BaCL_RingBuf_PopAvailable(ring, &byte, 1); }, 1, locked, 0,
         1},
        {"AllocateBuffer", [](auto* ring) { return BaCL_RingBuf_AllocateBuffer(ring, 4); }, 0, locked, 35, 0},
        {"FreeBuffer", [](auto* ring) { return BaCL_RingBuf_FreeBuffer(ring); }, 0, locked, 35, 0},
        {"FreeBuffer_WM 1", [](auto* ring) { return BaCL_RingBuf_FreeBuffer_WM(ring, 1); }, 0, locked, 35, 0},
        {"FreeBuffer_WM 0", [](auto* ring) { return BaCL_RingBuf_FreeBuffer_WM(ring, 0); }, 0, "", 0, 0},
        {"ClearBuffer", [](auto* ring) { return BaCL_RingBuf_ClearBuffer(ring); }, 0, locked, 35, 0},
        {"SetThreshold", [](auto* ring) { return BaCL_RingBuf_SetThreshold(ring, 2); }, 0, at_threshold, 35,
         0},
        {"SetThreshold 0", [](auto* ring) { return BaCL_RingBuf_SetThreshold(ring, 0); }, 0, locked, 35, 0},
        {"GetThreshold", [](auto* ring) { return BaCL_RingBuf_GetThreshold(ring); }, 1, locked, 0, 1},
        {"SetState", [](auto* ring) { return BaCL_RingBuf_SetState(ring, 4); }, 0, locked, 35, 0},
        {"ClearState", [](auto* ring) { return BaCL_RingBuf_ClearState(ring, 2); }, 0, at_threshold, 0, 0},
        {"GetState", [](auto* ring) { return BaCL_RingBuf_GetState(ring); }, 3, locked, 0, 3},
        {"SetStateFlag", [](auto* ring) { return BaCL_RingBuf_SetStateFlag(ring, 1); }, 0, locked, 35, 0},
        {"ClearStateFlag", [](auto* ring) { return BaCL_RingBuf_ClearStateFlag(ring, 1); }, 0, locked, 35, 0},
        {"GetStateFlag", [](auto* ring) { return BaCL_RingBuf_GetStateFlag(ring); }, 0, locked, 0, 0},
        {"GetDataSize", [](auto* ring) { return BaCL_RingBuf_GetDataSize(ring); }, 2, locked, 0, 2},
        {"GetBufferSize", [](auto* ring) { return BaCL_RingBuf_GetBufferSize(ring); }, 8, locked, 0, 8},
        {"IsAvailable", [](auto* ring) { return BaCL_RingBuf_IsAvailable(ring); }, 1, locked, 0, 1},
        {"IsBufferEmpty", [](auto* ring) { return BaCL_RingBuf_IsBufferEmpty(ring); }, 0, locked, 0, 0},
        {"IsBufferFull", [](auto* ring) { return BaCL_RingBuf_IsBufferFull(ring); }, 0, locked, 0, 0},
        {"ThreadCondWait", [](auto* ring) { return BaCL_RingBuf_ThreadCondWait(ring); }, 0, "cond_wait", 0,
         0},
        {"ThreadCondWait_CF", [](auto* ring) { return BaCL_RingBuf_ThreadCondWait_CF(ring); }, 0,
         "mutex_lock cond_wait mutex_unlock", 35, 1},
        {"ThreadCondSignal", [](auto* ring) { return BaCL_RingBuf_ThreadCondSignal(ring); }, 0, "cond_signal",
         0, 0},
        {"ThreadCondSignal_CF", [](auto* ring) { return BaCL_RingBuf_ThreadCondSignal_CF(ring); }, 0,
         at_threshold, 35, 1},
        {"ThreadMuxLock 1", [](auto* ring) { return BaCL_RingBuf_ThreadMuxLock(ring, 1); }, 0, "mutex_lock",
         35, 0},
        {"ThreadMuxLock 0", [](auto* ring) { return BaCL_RingBuf_ThreadMuxLock(ring, 0); }, 0, "mutex_unlock",
         0, 0},
    };
    for (const auto& [name, call, result, calls, without_lock, without_unlock] : cases) {
        SCOPED_TRACE(name);
        const auto fresh = [this] {
            watch(nullptr);
            BaCL_RingBuf_Close(&ring_, 0);
            SetUp();
            push("xx");
            BaCL_RingBuf_SetThreshold(&ring_, 1);
            watch(&ring_.Mutex, &ring_.Condition);
        };
        fresh();
        EXPECT_EQ(call(&ring_), result);
        EXPECT_EQ(joined(fake_pthread().calls), calls);
        EXPECT_TRUE(outside().logs.empty());

        fresh();
        fake_pthread().failures["mutex_lock"] = EDEADLK;
        EXPECT_EQ(call(&ring_), without_lock);
        if (calls.starts_with("mutex_lock")) {
            ASSERT_EQ(outside().logs.size(), 1u) << "logged once";
            EXPECT_EQ(outside().logs[0].text.substr(4), "pthread_mutex_lock, error 14\n");
        }

        fresh();
        fake_pthread().failures["mutex_unlock"] = EPERM;
        EXPECT_EQ(call(&ring_), without_unlock);
        if (calls.ends_with("mutex_unlock")) {
            EXPECT_EQ(outside().logs, (std::vector<LogLine>{{4, "[W] pthread_mutex_unlock, error 1\n"}}));
        }
    }
}

TEST_F(RingBuffer, FailedWaitsAndSignals)
{
    push("xx");
    BaCL_RingBuf_SetThreshold(&ring_, 1);
    watch(&ring_.Mutex, &ring_.Condition);
    fake_pthread().failures = {{"cond_wait", 4}, {"cond_signal", 16}, {"mutex_unlock", 1}};
    EXPECT_EQ(BaCL_RingBuf_ThreadCondWait_CF(&ring_), 5u) << "both errors combined";
    EXPECT_EQ(BaCL_RingBuf_ThreadCondSignal_CF(&ring_), 17u);
    fake_pthread().failures.erase("mutex_unlock");
    outside().logs.clear();
    EXPECT_EQ(BaCL_RingBuf_ThreadCondWait(&ring_), 4u);
    EXPECT_EQ(BaCL_RingBuf_ThreadCondSignal(&ring_), 16u);
    EXPECT_EQ(push("y"), 0u) << "a failed signal does not fail the push";
    EXPECT_EQ(BaCL_RingBuf_SetThreshold(&ring_, 1), 0u);
    EXPECT_EQ(outside().logs, (std::vector<LogLine>{{3, "[E] pthread_cond_wait, error 4\n"},
                                                    {4, "[W] pthread_cond_signal, error 16\n"},
                                                    {4, "[W] pthread_cond_signal, error 16\n"},
                                                    {4, "[W] pthread_cond_signal, error 16\n"}}));
    BaCL_RingBuf_SetStateFlag(&ring_, 1);
    EXPECT_EQ(BaCL_RingBuf_ClearState(&ring_, 2), 0u);
    EXPECT_EQ(ring_.StateFlag, 1u) << "nobody was woken, so overwriting stays forbidden";
}

TEST_F(RingBuffer, SignalsWhenTheThresholdIsReached)
{
    const struct {
        uint32_t threshold;
        const char* pushed;
        const char* calls;
    } cases[] = {
        {3, "ab", "mutex_lock mutex_unlock"},
        {3, "abc", "mutex_lock cond_signal mutex_unlock"},
        {3, "abcd", "mutex_lock cond_signal mutex_unlock"},
        {0, "abcd", "mutex_lock mutex_unlock"},
        {9, "abcdefgh", "mutex_lock cond_signal mutex_unlock"},
    };
    for (const auto& [threshold, pushed, calls] : cases) {
        BaCL_RingBuf_ClearBuffer(&ring_);
        BaCL_RingBuf_SetThreshold(&ring_, threshold);
        watch(&ring_.Mutex, &ring_.Condition);
        EXPECT_EQ(push(pushed), 0u);
        EXPECT_EQ(joined(fake_pthread().calls), calls) << threshold << pushed;
        watch(nullptr);
    }
}

TEST_F(RingBuffer, TheThresholdIsLoweredWithTheStorage)
{
    BaCL_RingBuf_SetThreshold(&ring_, 7);
    BaCL_RingBuf_AllocateBuffer(&ring_, 20);
    EXPECT_EQ(BaCL_RingBuf_GetThreshold(&ring_), 7u);
    BaCL_RingBuf_AllocateBuffer(&ring_, 5);
    EXPECT_EQ(BaCL_RingBuf_GetThreshold(&ring_), 5u);
    BaCL_RingBuf_FreeBuffer(&ring_);
    EXPECT_EQ(BaCL_RingBuf_GetThreshold(&ring_), 0u);
    BaCL_RingBuf_AllocateBuffer(&ring_, 8);
    EXPECT_EQ(BaCL_RingBuf_GetThreshold(&ring_), 0u);
}

TEST_F(RingBuffer, FailedInitLeavesNothingBehind)
{
    BaCL_RingBuffer ring;
    watch(&ring.Mutex, &ring.Condition);
    fake_pthread().failures["mutex_init"] = ENOMEM;
    EXPECT_EQ(BaCL_RingBuf_Init(&ring), 12u);
    EXPECT_EQ(ring.State, 0u);
    EXPECT_EQ(joined(fake_pthread().calls), "mutex_init");
    watch(&ring.Mutex, &ring.Condition);
    fake_pthread().failures["cond_init"] = EAGAIN;
    EXPECT_EQ(BaCL_RingBuf_Init(&ring), 11u);
    EXPECT_EQ(ring.State, 0u);
    EXPECT_EQ(joined(fake_pthread().calls), "mutex_init cond_init mutex_destroy");
    EXPECT_EQ(outside().logs, (std::vector<LogLine>{{3, "[E] pthread_mutex_init, error 12\n"},
                                                    {3, "[E] pthread_cond_init, error 11\n"}}));
}

TEST_F(RingBuffer, CloseWakesEverybodyWaitsAndFreesEverything)
{
    push("xx");
    BaCL_RingBuf_SetThreshold(&ring_, 2);
    BaCL_RingBuf_SetStateFlag(&ring_, 1);
    watch(&ring_.Mutex, &ring_.Condition);
    g_sleeps.clear();
    g_interruptions = 2;
    EXPECT_EQ(BaCL_RingBuf_Close(&ring_, 3'000'000'000u), 0u);
    EXPECT_EQ(g_sleeps, (std::vector<int64_t>{3'000'000'000, 2'999'999'999, 2'999'999'998}));
    EXPECT_EQ(joined(fake_pthread().calls), "mutex_lock cond_signal mutex_unlock cond_broadcast mutex_lock "
                                            "mutex_unlock cond_destroy mutex_destroy");
    EXPECT_EQ(ring_.PtrBuffer, nullptr);
    EXPECT_EQ(ring_.State, 0u);
    EXPECT_EQ(ring_.StateFlag, 0u);
    EXPECT_EQ(ring_.DataSize + ring_.BufferSize + ring_.Threshold, 0u);

    SetUp();
    watch(&ring_.Mutex, &ring_.Condition);
    fake_pthread().failures = {{"mutex_lock", EDEADLK}, {"cond_destroy", EBUSY}, {"mutex_destroy", EBUSY}};
    g_sleeps.clear();
    outside().logs.clear();
    EXPECT_EQ(BaCL_RingBuf_Close(&ring_, 0), 0u);
    EXPECT_EQ(ring_.PtrBuffer, nullptr) << "freed even without the lock";
    EXPECT_TRUE(g_sleeps.empty());
    EXPECT_EQ(outside().logs, (std::vector<LogLine>{{4, "[W] pthread_mutex_lock, error 14\n"},
                                                    {3, "[E] pthread_mutex_lock, error 14\n"},
                                                    {4, "[W] pthread_cond_destroy, error 16\n"},
                                                    {4, "[W] pthread_mutex_destroy, error 16\n"}}));
}

TEST_F(RingBuffer, PrintsTheRecordAndItsBytes)
{
    push("..012345");
    pop(4);
    push("67ab");
    Qslog_SetLogLevel(7);
    outside().logs.clear();
    EXPECT_EQ(BaCL_RingBuf_Print(&ring_, "mine"), 0u);
    const auto& logs = outside().logs;
    ASSERT_GE(logs.size(), 9u);
    EXPECT_EQ(logs[0], (LogLine{7, "[D] mine (BaCL_RingBuffer):\n"}));
    EXPECT_EQ(logs[1].text, "[D] State 0x3\n");
    EXPECT_EQ(logs[2].text.substr(0, 16), "[D] PtrBuffer 0x");
    EXPECT_EQ(logs[3].text, "[D] BufferSize 8\n");
    EXPECT_EQ(logs[4].text, "[D] DataSize 8\n");
    EXPECT_EQ(logs[5].text, "[D] StartLoc 4\n");
    EXPECT_EQ(logs[6].text, "[D] Threshold 0\n");
    EXPECT_NE(logs[7].text.find("Buffer"), std::string::npos);
    EXPECT_NE(logs.back().text.find("234567ab"), std::string::npos) << logs.back().text;
    outside().logs.clear();
    EXPECT_EQ(BaCL_RingBuf_Print(&ring_, nullptr), 0u);
    EXPECT_EQ(BaCL_RingBuf_Print(&ring_, ""), 0u);
    EXPECT_EQ(std::ranges::count(outside().logs, LogLine{7, "[D] BaCL_RingBuffer:\n"}), 2);
    outside().logs.clear();
    EXPECT_EQ(BaCL_RingBuf_Print(nullptr, nullptr), 22u);
    EXPECT_EQ(outside().logs, (std::vector<LogLine>{{4, "[W] pointer is NULL\n"}}));
}
