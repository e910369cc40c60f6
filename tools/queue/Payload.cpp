// SPDX-License-Identifier: Apache-2.0
#include "tools/queue/Payload.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <json-c/json.h>
#include <sys/ipc.h>
#include <sys/msg.h>

#include "include/bacl.h"
#include "tools/queue/Protocol.h"

namespace qsc::queue
{

bool Payload::write(json_object* root, u32 operations, u32 commander, u32 code)
{
    const char* const written = json_object_to_json_string_ext(root, JSON_C_TO_STRING_PLAIN);
    if (written == nullptr) {
        return false;
    }
    length_ = std::strlen(written);
    if (length_ > QSCBASE_PAYLOAD_MAX) {
        return false;
    }
    std::memcpy(text_, written, length_ + 1);
    if (QSCBase_ModifyMsgHeader(text_, sizeof text_, operations, 0, commander, code) != 0) {
        return false;
    }
    length_ = std::strlen(text_);
    return length_ <= QSCBASE_PAYLOAD_MAX;
}

u32 Received::receive(u32 queue, i64 type, u32 flags)
{
    const u32 code = QSCBase_Receive(queue, flags, type, bytes_, sizeof bytes_);
    if (code == E2BIG) {
        // Left where it is, it would come before every next message.
        (void)QSCBase_Receive(queue, flags | IPC_NOWAIT | MSG_NOERROR, type, bytes_, sizeof bytes_);
    }
    return code;
}

u32 Received::send_back(u32 queue)
{
    // Sending it anew would make it young again. The kernel reads the type as a long in front of the header.
    constexpr std::size_t kTypeSize = 8;
    u8* const start = bytes_ + kTypeSize - sizeof(long);
    const long type = static_cast<long>(BaCL_GetUint32Le(bytes_));
    std::memcpy(start, &type, sizeof type);
    const std::size_t size = QSCBASE_HEADER_SIZE - kTypeSize + payload().size();
    return msgsnd(static_cast<int>(queue), start, size, IPC_NOWAIT) == 0 ? 0 : static_cast<u32>(errno);
}

u32 Received::send_time() const
{
    return BaCL_GetUint32Le(bytes_ + 8);
}

u32 Received::user_value() const
{
    return BaCL_GetUint32Le(bytes_ + 12);
}

std::string_view Received::payload() const
{
    const std::size_t length = std::min<std::size_t>(BaCL_GetUint16Le(bytes_ + 20), QSCBASE_PAYLOAD_MAX);
    return {reinterpret_cast<const char*>(bytes_) + QSCBASE_HEADER_SIZE, length};
}

JsonRef Received::parse() const
{
    json_tokener* const tokener = json_tokener_new();
    if (tokener == nullptr) {
        return nullptr;
    }
    const std::string_view text = payload();
    JsonRef root{json_tokener_parse_ex(tokener, text.data(), static_cast<int>(text.size()))};
    const bool is_whole = json_tokener_get_error(tokener) == json_tokener_success &&
                          json_tokener_get_parse_end(tokener) == text.size();
    json_tokener_free(tokener);
    return is_whole && json_object_is_type(root.get(), json_type_object) != 0 ? std::move(root) : nullptr;
}

json_object* member_of(json_object* object, const char* name)
{
    json_object* member = nullptr;
    return json_object_object_get_ex(object, name, &member) != 0 ? member : nullptr;
}

bool read_number(json_object* object, const char* name, u32& number)
{
    json_object* const member = member_of(object, name);
    const i64 wide = json_object_get_int64(member);
    if (json_object_is_type(member, json_type_int) == 0 || wide < 0 || wide > UINT32_MAX) {
        return false;
    }
    number = static_cast<u32>(wide);
    return true;
}

} // namespace qsc::queue
