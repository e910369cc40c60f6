// SPDX-License-Identifier: Apache-2.0
// Messages, with fake queue calls: the exact bytes that are passed to the kernel and to the caller, on every
// CPU.
#include <cerrno>
#include <cstring>
#include <ctime>
#include <functional>
#include <vector>

#include <sys/ipc.h>
#include <sys/msg.h>
#include <unistd.h>

#include "qscbase.h"
#include "qslog.h"
#include "support/Outside.h"

using namespace test;
using namespace std::string_literals;

namespace
{

/// A queue call as seen by the kernel.
struct QueueCall {
    int queue;
    long type;
    std::string text; ///< of the message sent
    size_t size;
    int flags;
};

std::vector<QueueCall> g_calls;
std::vector<int> g_results; ///< errno of each call, 0 for success; the last one is repeated
std::string g_arriving;     ///< text of the message to receive
long g_arriving_type;
std::vector<int> g_random;

int next_result()
{
    const int result = g_results.empty() ? 0 : g_results.front();
    if (g_results.size() > 1) {
        g_results.erase(g_results.begin());
    }
    errno = result;
    return result;
}

} // namespace

extern "C" {

int msgsnd(int queue, const void* message, size_t size, int flags)
{
    long type = 0;
    std::memcpy(&type, message, sizeof type);
    g_calls.push_back({queue, type, {static_cast<const char*>(message) + sizeof type, size}, size, flags});
    return next_result() == 0 ? 0 : -1;
}

ssize_t msgrcv(int queue, void* message, size_t size, long type, int flags)
{
    g_calls.push_back({queue, type, {}, size, flags});
    if (next_result() != 0) {
        return -1;
    }
    std::memcpy(message, &g_arriving_type, sizeof g_arriving_type);
    std::memcpy(static_cast<char*>(message) + sizeof g_arriving_type, g_arriving.data(), g_arriving.size());
    return static_cast<ssize_t>(g_arriving.size());
}

int usleep(useconds_t time)
{
    outside().done.push_back("usleep " + std::to_string(time));
    return 0;
}

int rand(void) noexcept
{
    const int number = g_random.empty() ? 0 : g_random.front();
    if (!g_random.empty()) {
        g_random.erase(g_random.begin());
    }
    return number;
}

} // extern "C"

class Message : public OutsideTest
{
  protected:
    void SetUp() override
    {
        OutsideTest::SetUp();
        g_calls.clear();
        g_results.clear();
        g_random.clear();
    }
};

TEST_F(Message, IsLittleEndianOnEveryCpu)
{
    const std::string payload = "payload\0 with a NUL"s;
    ASSERT_EQ(QSCBase_Send(7, 0x1000, 0x12345678, 0xA1B2C3D4, payload.data(),
                           static_cast<uint16_t>(payload.size()), 126),
              0u);
    ASSERT_EQ(g_calls.size(), 1u);
    const QueueCall& call = g_calls[0];
    EXPECT_EQ(call.queue, 7);
    EXPECT_EQ(call.flags, 0x1000);
    EXPECT_EQ(call.type, 0x12345678);
    EXPECT_EQ(call.size, payload.size() + 16);
    const auto byte = [&](size_t place) { return static_cast<unsigned char>(call.text[place]); };
    const unsigned sent = byte(0) | static_cast<unsigned>(byte(1)) << 8 |
                          static_cast<unsigned>(byte(2)) << 16 | static_cast<unsigned>(byte(3)) << 24;
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    EXPECT_LE(static_cast<unsigned>(now.tv_sec) - sent, 1u);
    EXPECT_EQ(call.text.substr(4, 12),
              (std::string{'\xD4', '\xC3', '\xB2', '\xA1', 0, 0, 0, 0, 19, 0, 126, 0}));
    EXPECT_EQ(call.text.substr(16), payload);

    ASSERT_EQ(QSCBase_Send(0, 0, 1, 0, nullptr, 0, 0), 0u);
    EXPECT_EQ(g_calls[1].size, 16u) << "only the header";
    const std::string longest(4096, 'p');
    ASSERT_EQ(QSCBase_Send(0, 0, 1, 0, longest.data(), 4096, 0), 0u);
    EXPECT_EQ(g_calls[2].size, 4112u);
    EXPECT_EQ(g_calls[2].text.substr(12, 2), (std::string{0, 16}));
    g_results = {EIDRM};
    EXPECT_EQ(QSCBase_Send(0, 0, 1, 0, nullptr, 0, 0), 43u);
}

TEST_F(Message, BadArgumentsAreRejectedAndLoggedByTheNonBlockingForm)
{
    const struct {
        uint32_t queue;
        const void* payload;
        uint16_t length;
        int8_t kind;
        const char* log;
    } cases[] = {
        {UINT32_MAX, "p", 1, 0, "[E] parameter 1\n"}, {1, nullptr, 1, 0, "[E] parameter 2\n"},
        {1, "p", 4097, 0, "[E] parameter 3\n"},       {1, "p", 1, 127, "[E] parameter 4\n"},
        {1, "p", 1, -1, "[E] parameter 4\n"},         {UINT32_MAX, nullptr, 4097, -1, "[E] parameter 1\n"},
    };
    for (const auto& [queue, payload, length, kind, log] : cases) {
        outside().logs.clear();
        EXPECT_EQ(QSCBase_Send(queue, 0, 1, 0, payload, length, kind), 22u);
        EXPECT_TRUE(outside().logs.empty());
        EXPECT_EQ(QSCBase_Send_NB(queue, 1, 0, payload, length, kind, 1, 0), 22u);
        EXPECT_EQ(outside().logs, (std::vector<LogLine>{{3, log}}));
    }
    EXPECT_TRUE(g_calls.empty());
    outside().logs.clear();
    Qslog_SetProperty(QSLOG_LONG_PREFIX);
    QSCBase_Send_NB(UINT32_MAX, 1, 0, nullptr, 0, 0, 1, 0);
    EXPECT_EQ(outside().logs.at(0).text.substr(0, 12), "QSysCmdBase:");
}

TEST_F(Message, PausesBetweenAttempts)
{
    g_results = {EAGAIN};
    EXPECT_EQ(QSCBase_Send_NB(1, 1, 0, "p", 1, 0, 3, 10), 11u);
    EXPECT_EQ(g_calls.size(), 3u);
    EXPECT_EQ(g_calls[2].flags, IPC_NOWAIT);
    EXPECT_EQ(outside().done, (Lines{"usleep 10000", "usleep 10000"}));
    g_calls.clear();
    EXPECT_EQ(QSCBase_Send_NB(1, 1, 0, "p", 1, 0, 0, 10), 14u);
    EXPECT_TRUE(g_calls.empty());
    g_results = {EAGAIN, EIDRM, 0};
    EXPECT_EQ(QSCBase_Send_NB(1, 1, 0, "p", 1, 0, 9, 0), 43u) << "other errors are not retried";
    g_results = {EAGAIN, 0};
    EXPECT_EQ(QSCBase_Send_NB(1, 1, 0, "p", 1, 0, 9, 65535), 0u);
    EXPECT_EQ(outside().done.back(), "usleep 65535000");

    char buffer[64];
    g_calls.clear();
    g_results = {ENOMSG};
    EXPECT_EQ(QSCBase_Receive_NB(1, 5, buffer, sizeof buffer, 2, 1), 42u);
    EXPECT_EQ(g_calls.size(), 2u);
    EXPECT_EQ(g_calls[1].flags, IPC_NOWAIT);
    EXPECT_EQ(QSCBase_Receive_NB(1, 5, buffer, sizeof buffer, 0, 1), 14u);
    g_results = {E2BIG};
    EXPECT_EQ(QSCBase_Receive_NB(1, 5, buffer, sizeof buffer, 9, 1), 7u);
}

TEST_F(Message, IsReceivedInTheSameLayout)
{
    g_arriving = "0123456789abcdefPAYLOAD";
    g_arriving_type = 0x01020304;
    unsigned char buffer[4120];
    std::memset(buffer, 'x', sizeof buffer);
    ASSERT_EQ(QSCBase_Receive(3, 0x2000, -9, buffer, 64), 0u);
    EXPECT_EQ(g_calls[0].queue, 3);
    EXPECT_EQ(g_calls[0].type, -9);
    EXPECT_EQ(g_calls[0].size, 56u);
    EXPECT_EQ(g_calls[0].flags, 0x2000);
    EXPECT_EQ(std::memcmp(buffer,
                          "\4\3\2\1\0\0\0\0"
                          "0123456789abcdefPAYLOAD\0\0",
                          33),
              0);
    EXPECT_EQ(buffer[63], 0) << "cleared completely";
    EXPECT_EQ(buffer[64], 'x');

    g_calls.clear();
    EXPECT_EQ(QSCBase_Receive(3, 0, 1, buffer, 23), 22u);
    EXPECT_EQ(QSCBase_Receive(3, 0, 1, nullptr, 64), 22u);
    EXPECT_EQ(QSCBase_Receive(UINT32_MAX, 0, 1, buffer, 64), 22u);
    EXPECT_EQ(QSCBase_Receive_NB(3, 1, buffer, 23, 1, 0), 22u);
    EXPECT_TRUE(g_calls.empty());
    g_arriving = "0123456789abcdef";
    EXPECT_EQ(QSCBase_Receive(3, 0, 1, buffer, 24), 0u);
    EXPECT_EQ(g_calls[0].size, 16u);
    g_results = {EIDRM};
    std::memset(buffer, 'x', 24);
    EXPECT_EQ(QSCBase_Receive(3, 0, 1, buffer, 24), 43u);
    EXPECT_EQ(buffer[0], 0);
}

TEST_F(Message, TypesAreChosen)
{
    EXPECT_EQ(QSCBase_CheckMsgType(5), 5u);
    EXPECT_EQ(QSCBase_CheckMsgType(UINT64_MAX), UINT64_MAX);
    g_random = {0, 0, 0, 0, 0, 0, 0, 0, 0, 77, 88};
    EXPECT_EQ(QSCBase_CheckMsgType(0), 77u);
    g_random = {};
    EXPECT_EQ(QSCBase_CheckMsgType(0), 1u);
    g_random = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 99};
    EXPECT_EQ(QSCBase_CheckMsgType(0), 2u) << "the counter after ten attempts";
    EXPECT_STREQ(QSCBase_GetCommanderName(0x8), "CLI");
    EXPECT_STREQ(QSCBase_GetCommanderName(0x800), "UNKNOWN");
    EXPECT_STREQ(QSCBase_GetCommanderName(0), "UNKNOWN");

    QSCBase_ParamId record = {1, {2, 3}, 4};
    EXPECT_EQ(QSCBase_ParamId_Init(&record), 0u);
    EXPECT_EQ(record.context, 0u);
    EXPECT_EQ(record.index[0], -1);
    EXPECT_EQ(record.index[1], -1);
    EXPECT_EQ(record.value, 0u);
    EXPECT_EQ(QSCBase_ParamId_Init(nullptr), 22u);
    EXPECT_EQ(QSCBase_ParamId_Close(nullptr), 0u);
}
