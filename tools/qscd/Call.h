// SPDX-License-Identifier: Apache-2.0
// One request on its way through the daemon.
#pragma once

#include <cstdlib>
#include <memory>
#include <new>

#include "base/Json.h"
#include "tools/access/Access.h"
#include "tools/qscd/Answer.h"
#include "tools/qscd/Model.h"
#include "tools/qscd/Tools.h"

namespace qscd
{

using qsc::i64;

struct FreeMemory {
    void operator()(void* memory) const { std::free(memory); }
};

/// One path of a request, and what is to become of it.
struct Item {
    Place place;
    json_object* value; ///< of a set; the message's
};

struct Method;
class QueueServer;
struct UbusRequest;

struct Call {
    Call* next = nullptr;

    // Who asks, and for what.
    u64 client = 0; ///< number of the connection; 0: it is closed
    u32 slot = 0;   ///< of the connection
    bool is_notification = false;
    QueueServer* queue = nullptr; ///< null: it came over the socket
    u32 answer_type = 0;          ///< in the queue
    UbusRequest* ubus = nullptr;  ///< null: it did not come over ubus
    uid_t user = 0;               ///< who asks
    qsc::JsonRef message;
    json_object* params = nullptr; ///< the message's; null: none
    const Method* method = nullptr;
    u32 commander = 0;
    u32 operation = 0;
    std::unique_ptr<Item[], FreeMemory> items;
    u32 item_count = 0;

    // Its progress. The supervisor reads these under its lock.
    ToolRun run;
    u64 came = 0;    ///< milliseconds of the monotonic clock
    u64 started = 0; ///< 0: not yet
    u64 deadline = 0;
    bool is_late = false;     ///< its tools have been killed
    bool was_warned = false;  ///< that it is overdue
    bool is_answered = false; ///< before it came back, because it did not
    char late_tool[64] = "";

    u32 code = 0; ///< the library's last

    // Of a change that is made as one.
    bool is_master = false;  ///< root or the daemon's own user asks
    bool wants_word = false; ///< its client is answered before what may cut the line
    bool has_word = false;   ///< that has been done
    qsc::Text<64> accepted;  ///< the id that it is told
    qsc::JsonRef events;     ///< what has become of a change that waits, an array of objects

    // Of what is watched.
    u32 subscription = 0; ///< that it is to make; 0: none
    u32 hint_count = 0;   ///< what was known of authors when it began
    qsc::JsonRef sample;  ///< path to value
    qsc::JsonRef unread;  ///< the objects that could not be read
    Answer answer;
};

/// A call of its own memory; null: there is none.
[[nodiscard]] inline Call* new_call()
{
    void* const memory = std::malloc(sizeof(Call));
    return memory != nullptr ? new (memory) Call : nullptr;
}

inline void delete_call(Call* call)
{
    if (call != nullptr) {
        call->~Call();
        std::free(call);
    }
}

struct DeleteCall {
    void operator()(Call* call) const { delete_call(call); }
};

} // namespace qscd
