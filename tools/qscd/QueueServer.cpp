// SPDX-License-Identifier: Apache-2.0
#include "tools/qscd/QueueServer.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <json-c/json.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <unistd.h>

#include "include/bacl.h"
#include "tools/qscd/Server.h"
#include "tools/queue/Protocol.h"

using namespace qsc;
using namespace qsc::queue;

namespace qscd
{

namespace
{

/// The sender of a request that is older than this, in seconds, has given up on it.
constexpr u32 kOldestRequest = 60;

/// Serves a request on a copy: what an attempt has left in it, another one must not find.
void execute_queue(Call& call)
{
    json_object* copied = nullptr;
    if (json_object_deep_copy(member_of(call.message.get(), kRequest), &copied, nullptr) != 0) {
        call.code = ENOMEM;
        call.queue->answer(call, "out of memory");
        return;
    }
    JsonRef request{copied};
    (void)dispatch(call, *call.items[0].place.entry, call.items[0].place.object, call.operation, copied);
    if (!call.run.was_refused || call.run.may_start) {
        json_object_object_add(call.message.get(), kRequest, request.release());
        call.queue->answer(call, call.run.is_over ? "the request took too long, and its tools were ended"
                                                  : nullptr);
    }
}

/// What a request of the queue is to the rest of the daemon.
constexpr Method kQueueMethod = {"queue", Lane::kOrdered, 0, 0, nullptr, execute_queue, {}};

bool understand(const Received& message, Call& call)
{
    json_object* const root = call.message.get();
    json_object* const header = member_of(root, kHeader);
    json_object* const path = member_of(root, kPath);
    const char* const text = json_object_get_string(path);
    return message.kind() == kRequestKind && message.user_value() >= kFirstAnswerType &&
           message.user_value() <= kLastAnswerType && json_object_is_type(path, json_type_string) != 0 &&
           std::strlen(text) == static_cast<std::size_t>(json_object_get_string_len(path)) &&
           call.items[0].place.object.assign(text) &&
           json_object_is_type(member_of(root, kRequest), json_type_object) != 0 &&
           read_number(header, kOperations, call.operation) &&
           read_number(header, kCommander, call.commander);
}

} // namespace

bool QueueServer::make_queue()
{
    Text<510> lock;
    char name[32];
    (void)std::snprintf(name, sizeof name, "/qscd-%08x.lock", options_.key);
    lock.append(options_.folder).append(name);
    if (!lock_.take(lock.c_str())) {
        return false;
    }
    const auto key = static_cast<key_t>(options_.key);
    const int left_behind = msgget(key, 0);
    if (left_behind >= 0) {
        (void)msgctl(left_behind, IPC_RMID, nullptr);
    }
    const int queue = msgget(key, IPC_CREAT | IPC_EXCL | static_cast<int>(options_.mode));
    if (queue < 0) {
        std::fprintf(stderr, "qscd: the queue of key 0x%x cannot be made: %s\n", options_.key,
                     std::strerror(errno));
        return false;
    }
    queue_ = static_cast<u32>(queue);
    return true;
}

bool QueueServer::start(int wake_fd)
{
    wake_fd_ = wake_fd;
    if (!make_queue()) {
        return false;
    }
    const int code = pthread_create(&thread_, nullptr, run, this);
    is_running_ = code == 0;
    if (code != 0) {
        std::fprintf(stderr, "qscd: a thread cannot be started: %s\n", std::strerror(code));
    }
    return is_running_;
}

void QueueServer::stop()
{
    is_ending_ = true;
    if (queue_ != QSCBASE_NO_QUEUE) {
        (void)msgctl(static_cast<int>(queue_), IPC_RMID, nullptr);
    }
    if (std::exchange(is_running_, false)) {
        (void)pthread_join(thread_, nullptr);
    }
}

void* QueueServer::run(void* self)
{
    static_cast<QueueServer*>(self)->receive_all();
    return nullptr;
}

void QueueServer::receive_all()
{
    Received message;
    for (;;) {
        const u32 code = message.receive(queue_, kRequestType);
        if (code == 0) {
            handle(message);
        } else if (code == E2BIG) {
            drop("a message that is too long");
        } else if (code != EINTR) {
            if (!is_ending_) {
                server_.log().add("the queue cannot be used any more: %s",
                                  std::strerror(static_cast<int>(code)));
                has_failed_ = true;
                const u64 one = 1;
                (void)!write(wake_fd_, &one, sizeof one);
            }
            return;
        }
    }
}

/// The content of a message may be secret: only that it was dropped is logged.
void QueueServer::drop(const char* why)
{
    ++dropped_;
    server_.log().add("dropped %s", why);
}

void QueueServer::handle(const Received& message)
{
    if (BaCL_GetTimestampSec() - message.send_time() > kOldestRequest) {
        drop("a request that is too old");
        return;
    }
    Call* const call = new_call();
    if (call == nullptr) {
        drop("a request, because there is no memory");
        return;
    }
    call->message = message.parse();
    call->items.reset(static_cast<Item*>(std::malloc(sizeof(Item))));
    if (call->items != nullptr) {
        std::construct_at(&call->items[0]);
    }
    if (call->message == nullptr || call->items == nullptr || !understand(message, *call)) {
        drop("a malformed message");
        delete_call(call);
        return;
    }
    ++served_;
    call->queue = this;
    call->answer_type = message.user_value();
    call->method = &kQueueMethod;
    Place& place = call->items[0].place;
    place.entry = entry_for(place.object.view());
    if (place.entry == nullptr) {
        call->code = EINVAL;
        answer(*call, "there is no such path");
        delete_call(call);
        return;
    }
    const bool is_get = (call->operation & QSC_OPER_GET) != 0;
    call->came = BaCL_GetTimestampMSHQ();
    if (!is_get || !Server::attempt(*call)) {
        server_.workers().submit(call, !is_get);
        return;
    }
    delete_call(call);
}

void QueueServer::answer(Call& call, const char* error)
{
    json_object* const root = call.message.get();
    const auto code = call.code;
    if (error != nullptr) {
        json_object_object_add(root, kError, json_object_new_string(error));
    }
    server_.log().add("%s 0x%x %s: %u", QSCBase_GetCommanderName(static_cast<i32>(call.commander)),
                      call.operation, call.items[0].place.object.c_str(), code);
    Payload payload;
    if (!payload.write(root, call.operation, call.commander, code)) {
        // The request was served; only its answer cannot travel, and that is what the sender must know.
        Text<254> sentence;
        sentence.append("served, but the answer of ").append_number(static_cast<i64>(payload.length()));
        sentence.append(" bytes is longer than a message, which takes ").append_number(QSCBASE_PAYLOAD_MAX);
        json_object_object_del(root, kRequest);
        json_object_object_del(root, kPath);
        json_object_object_add(root, kError, json_object_new_string(sentence.c_str()));
        if (!payload.write(root, call.operation, call.commander, EMSGSIZE)) {
            server_.log().add("no memory for an answer");
            return;
        }
    }
    // A full queue is not waited for: the sender may be dead.
    constexpr u16 kAttempts = 10;
    constexpr u16 kPauseMs = 10;
    const u32 sent = QSCBase_Send_NB(queue_, call.answer_type, 0, payload.data(),
                                     static_cast<u16>(payload.length()), kAnswerKind, kAttempts, kPauseMs);
    if (sent != 0) {
        ++dropped_;
        server_.log().add("an answer of type %u could not be sent: %s", call.answer_type,
                          std::strerror(static_cast<int>(sent)));
    }
}

} // namespace qscd
