// SPDX-License-Identifier: Apache-2.0
// The ring buffer on one thread, against a plain model.
#include <cerrno>
#include <cstring>
#include <deque>
#include <random>

#include "bacl_ring_buffer.h"
#include "qslog.h"
#include "support/FailingLock.h"
#include "support/Outside.h"

using namespace test;

class RingBuffer : public OutsideTest
{
  protected:
    void SetUp() override
    {
        OutsideTest::SetUp();
        ASSERT_EQ(BaCL_RingBuf_Init(&ring_), 0u);
        ASSERT_EQ(BaCL_RingBuf_AllocateBuffer(&ring_, 8), 0u);
        ASSERT_EQ(BaCL_RingBuf_SetState(&ring_, BACL_RING_ENABLED), 0u);
    }

    void TearDown() override
    {
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

TEST_F(RingBuffer, BehavesAsAQueueOfTheLastBytes)
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

TEST_F(RingBuffer, WhatDoesNotFitOverwritesOrIsRefused)
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
    EXPECT_EQ(BaCL_RingBuf_FreeBuffer(&ring_), 0u);
    EXPECT_EQ(push("x"), 14u) << "no storage, whatever the flag";
    EXPECT_EQ(BaCL_RingBuf_GetBufferSize(&ring_), 0u);
    EXPECT_EQ(BaCL_RingBuf_IsBufferFull(&ring_), 0u);
}

TEST_F(RingBuffer, AvailableFormsTakeWhatThereIs)
{
    char data[16] = "abcdefghijklmno";
    EXPECT_EQ(push("12"), 0u);
    EXPECT_EQ(BaCL_RingBuf_PushAvailable(&ring_, data, 1), 6u) << "the whole free space, whatever the count";
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
    EXPECT_EQ(BaCL_RingBuf_GetStateFlag(&ring_), 0u) << "whoever waited may overwrite";
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
    EXPECT_EQ(BaCL_RingBuf_GetDataSize(&ring_), 0u) << "the same size again empties it";
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

TEST_F(RingBuffer, ALockThatFailsIsToldAs14)
{
    push("1234");
    {
        const FailingLock held{ring_.Mutex};
        EXPECT_EQ(push("5"), uint32_t{EDEADLK});
        EXPECT_EQ(pop(1), "code 35");
        EXPECT_EQ(BaCL_RingBuf_GetDataSize(&ring_), 0u);
        EXPECT_EQ(BaCL_RingBuf_ThreadMuxLock(&ring_, 1), uint32_t{EDEADLK});
        EXPECT_EQ(outside().logs, std::vector<LogLine>(4, LogLine{3, "[E] pthread_mutex_lock, error 14\n"}));
        outside().logs.clear();
        EXPECT_EQ(BaCL_RingBuf_ClearState(&ring_, BACL_RING_ENABLED), 0u) << "cleared all the same";
        EXPECT_EQ(outside().logs, (std::vector<LogLine>{{4, "[W] pthread_mutex_lock, error 14\n"}}));
    }
    EXPECT_EQ(BaCL_RingBuf_GetState(&ring_), 1u);
    EXPECT_EQ(BaCL_RingBuf_GetDataSize(&ring_), 4u);
}

TEST_F(RingBuffer, PrintsItselfAndItsBytesInOrder)
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
    EXPECT_EQ(logs[3].text, "[D] BufferSize 8\n");
    EXPECT_EQ(logs[4].text, "[D] DataSize 8\n");
    EXPECT_EQ(logs[5].text, "[D] StartLoc 4\n");
    EXPECT_EQ(logs[6].text, "[D] Threshold 0\n");
    EXPECT_NE(logs[7].text.find("Buffer"), std::string::npos);
    EXPECT_NE(logs.back().text.find("234567ab"), std::string::npos) << logs.back().text;
    outside().logs.clear();
    EXPECT_EQ(BaCL_RingBuf_Print(nullptr, nullptr), 22u);
    EXPECT_EQ(outside().logs, (std::vector<LogLine>{{4, "[W] pointer is NULL\n"}}));
}
