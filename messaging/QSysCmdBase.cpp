// SPDX-License-Identifier: Apache-2.0
// Messages over System V queues, and helpers that commanders and dispatchers share.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>

#include <sys/ipc.h>
#include <sys/msg.h>
#include <unistd.h>

#include "base/Octet.h"
#include "include/bacl.h"
#include "include/qscbase.h"
#include "include/qsyscmdhal.h"
#include "log/Log.h"

using namespace qsc;

namespace
{

constexpr const char* kModule = "QSysCmdBase";

constexpr std::size_t kTypeSize = 8;
constexpr std::size_t kTextHeader = QSCBASE_HEADER_SIZE - kTypeSize;

/// The kernel expects the type as a native long directly in front of the text. It is placed at the end of our
/// 8-byte type word, so that the text has the same offset on every CPU.
constexpr std::size_t kNativeType = kTypeSize - sizeof(long);

/// Returns the number of the first bad argument of a send, or 0.
int find_bad_argument(u32 queue, const void* payload, u16 length, i8 kind)
{
    return queue == QSCBASE_NO_QUEUE           ? 1
           : payload == nullptr && length != 0 ? 2
           : length > QSCBASE_PAYLOAD_MAX      ? 3
           : kind < 0 || kind == INT8_MAX      ? 4
                                               : 0;
}

/// A message in the layout in which it is sent.
class Message
{
  public:
    Message(u32 type, u32 user_value, const void* payload, u16 length, i8 kind)
        : text_size_(kTextHeader + length)
    {
        const long native = static_cast<long>(type);
        std::memcpy(at(kNativeType), &native, sizeof native);
        put<Order::kLittle, u32>(at(12), user_value);
        put<Order::kLittle, u32>(at(16), 0);
        put<Order::kLittle, u16>(at(20), length);
        *at(22) = static_cast<u8>(kind);
        *at(23) = 0;
        if (length != 0) {
            std::memcpy(at(QSCBASE_HEADER_SIZE), payload, length);
        }
        put<Order::kLittle, u32>(at(8), BaCL_GetTimestampSec());
    }

    [[nodiscard]] u32 send(u32 queue, u32 flags)
    {
        return msgsnd(static_cast<int>(queue), at(kNativeType), text_size_, static_cast<int>(flags)) == 0
                   ? 0
                   : static_cast<u32>(errno);
    }

  private:
    u8* at(std::size_t place) { return bytes_.data() + place; }

    alignas(long)
        std::array<u8, QSCBASE_HEADER_SIZE + QSCBASE_PAYLOAD_MAX> bytes_; // initialised as far as it is sent
    std::size_t text_size_;
};

/// Clears the caller's buffer. Returns false for bad arguments.
bool prepare_buffer(u32 queue, void* buffer, u16 size)
{
    if (buffer == nullptr || size < QSCBASE_HEADER_SIZE || queue == QSCBASE_NO_QUEUE) {
        return false;
    }
    std::memset(buffer, 0, size);
    return true;
}

u32 receive(u32 queue, u32 flags, i64 type, void* buffer, u16 size)
{
    if (type < std::numeric_limits<long>::min() || type > std::numeric_limits<long>::max()) {
        return EINVAL;
    }
    auto* const bytes = static_cast<u8*>(buffer);
    if (msgrcv(static_cast<int>(queue), bytes + kNativeType, size - kTypeSize, static_cast<long>(type),
               static_cast<int>(flags)) < 0) {
        return static_cast<u32>(errno);
    }
    long native = 0;
    std::memcpy(&native, bytes + kNativeType, sizeof native);
    const auto wide = static_cast<u64>(native);
    put<Order::kLittle, u32>(bytes, static_cast<u32>(wide));
    put<Order::kLittle, u32>(bytes + 4, static_cast<u32>(wide >> 32));
    return 0;
}

/// Repeats a queue call, with a pause in between, as long as it fails with this code.
template <typename Attempt>
u32 retry(u16 attempts, u16 pause_ms, u32 while_code, Attempt attempt)
{
    u32 code = EFAULT;
    for (u32 i = 0; i < attempts; ++i) {
        if (i > 0) {
            usleep(pause_ms * 1000u);
        }
        code = attempt();
        if (code != while_code) {
            break;
        }
    }
    return code;
}

} // namespace

uint32_t QSCBase_Send(uint32_t queue, uint32_t flags, uint32_t type, uint32_t userValue, const void* payload,
                      uint16_t length, int8_t kind)
{
    if (find_bad_argument(queue, payload, length, kind) != 0) {
        return EINVAL;
    }
    Message message{type, userValue, payload, length, kind};
    return message.send(queue, flags);
}

uint32_t QSCBase_Send_NB(uint32_t queue, uint32_t type, uint32_t userValue, const void* payload,
                         uint16_t length, int8_t kind, uint16_t attempts, uint16_t pauseMs)
{
    if (const int bad = find_bad_argument(queue, payload, length, kind)) {
        QSC_LOG(kLogError, "parameter %d\n", bad);
        return EINVAL;
    }
    Message message{type, userValue, payload, length, kind};
    return retry(attempts, pauseMs, EAGAIN, [&] { return message.send(queue, IPC_NOWAIT); });
}

uint32_t QSCBase_Receive(uint32_t queue, uint32_t flags, int64_t type, void* buffer, uint16_t size)
{
    return prepare_buffer(queue, buffer, size) ? receive(queue, flags, type, buffer, size) : u32{EINVAL};
}

uint32_t QSCBase_Receive_NB(uint32_t queue, int64_t type, void* buffer, uint16_t size, uint16_t attempts,
                            uint16_t pauseMs)
{
    if (!prepare_buffer(queue, buffer, size)) {
        return EINVAL;
    }
    return retry(attempts, pauseMs, ENOMSG, [&] { return receive(queue, IPC_NOWAIT, type, buffer, size); });
}

uint64_t QSCBase_CheckMsgType(uint64_t type)
{
    static constinit u64 counter = 1;
    constexpr int kTries = 10;
    for (int i = 0; type == 0 && i < kTries; ++i) {
        type = static_cast<u64>(std::rand()); // NOLINT(cert-msc30-c,cert-msc50-cpp): any number will do
    }
    if (type == 0) {
        type = counter;
        counter = counter == UINT64_MAX ? 1 : counter + 1;
    }
    return type;
}

const char* QSCBase_GetCommanderName(int32_t commander)
{
    return QSysCmdHal_GetCommanderName(commander);
}

uint32_t QSCBase_ParamId_Init(QSCBase_ParamId* record)
{
    if (record == nullptr) {
        return EINVAL;
    }
    *record = {.context = 0, .index = {-1, -1}, .value = 0};
    return 0;
}

uint32_t QSCBase_ParamId_Close(QSCBase_ParamId*)
{
    return 0;
}
