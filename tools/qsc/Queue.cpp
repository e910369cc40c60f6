// SPDX-License-Identifier: Apache-2.0
#include "tools/qsc/Queue.h"

#include <cerrno>
#include <csignal>
#include <cstring>

#include <json-c/json.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <unistd.h>

#include "include/bacl.h"
#include "include/qsyscmdhal.h"
#include "tools/qsc/Lookup.h"
#include "tools/qsc/Report.h"
#include "tools/queue/Payload.h"
#include "tools/queue/Protocol.h"

namespace qsc
{

namespace
{

/// A service may restart the network before it answers.
constexpr unsigned kPatienceSeconds = 60;

void wake(int) {}

/// Interrupts a wait that takes too long.
class Alarm
{
  public:
    explicit Alarm(unsigned seconds)
    {
        struct sigaction action = {};
        action.sa_handler = wake; // without restarting: the wait must end
        (void)sigaction(SIGALRM, &action, &before_);
        (void)alarm(seconds);
    }
    Alarm(const Alarm&) = delete;
    Alarm& operator=(const Alarm&) = delete;
    ~Alarm()
    {
        (void)alarm(0);
        (void)sigaction(SIGALRM, &before_, nullptr);
    }

  private:
    struct sigaction before_ = {};
};

/// What makes an answer ours: a type that no one else can guess, and a number that comes back in it.
struct Mark {
    u32 type;
    i64 number;

    [[nodiscard]] static Mark make()
    {
        u64 random[2] = {static_cast<u64>(getpid()), BaCL_GetTimestampMSHQ()};
        if (getentropy(random, sizeof random) != 0) {
            random[1] ^= random[0] << 32; // still different from other processes
        }
        return {queue::kFirstAnswerType +
                    static_cast<u32>(random[0] % (queue::kLastAnswerType - queue::kFirstAnswerType)),
                static_cast<i64>(random[1] >> 1)};
    }

    [[nodiscard]] bool is_on(json_object* root) const
    {
        json_object* const member = queue::member_of(root, queue::kNumber);
        return json_object_is_type(member, json_type_int) != 0 && json_object_get_int64(member) == number;
    }
};

/// Adds a member that the object then owns; false: no memory.
bool add(json_object* object, const char* name, json_object* member)
{
    return member != nullptr && json_object_object_add(object, name, member) == 0;
}

bool say(const char* step, u32 code)
{
    failure("%s: %s", step,
            code == EINTR    ? "no answer came in time; does qscd still run?"
            : code == EIDRM  ? "qscd has ended and removed its queue"
            : code == EINVAL ? "there is no such queue; qscd prints its queue when it starts"
                             : std::strerror(static_cast<int>(code)));
    return false;
}

/// Receives our answer, past what others have sent under its type.
u32 receive_answer(u32 queue, const Mark& mark, queue::Received& message, JsonRef& answer)
{
    const Alarm alarm{kPatienceSeconds};
    for (;;) {
        const u32 code = message.receive(queue, mark.type);
        if (code != 0 && code != E2BIG) {
            return code;
        }
        answer = code == 0 ? message.parse() : nullptr;
        if (mark.is_on(answer.get())) {
            return 0;
        }
    }
}

/// Another user's queue would get our requests, passwords and all, and answer what it likes.
bool is_trusted(u32 queue)
{
    msqid_ds status{};
    if (msgctl(static_cast<int>(queue), IPC_STAT, &status) != 0) {
        return say("the request could not be sent", static_cast<u32>(errno));
    }
    const auto is_ours = [](uid_t user) { return user == 0 || user == geteuid(); };
    if (!is_ours(status.msg_perm.uid) || !is_ours(status.msg_perm.cuid)) {
        failure("queue %u belongs to user %u, who is neither root nor you: nothing was sent", queue,
                static_cast<unsigned>(status.msg_perm.cuid));
        return false;
    }
    return true;
}

} // namespace

bool find_queue(const char* text, u32& queue)
{
    const std::string_view word{text};
    if (!parse_number(word, queue) || queue > INT32_MAX) {
        wrong_usage("'%s' is no queue; give its number, or its key as 0x51534344", text);
        return false;
    }
    if (!word.starts_with("0x") && !word.starts_with("0X")) {
        return true;
    }
    const int found = msgget(static_cast<key_t>(queue), 0);
    if (found < 0) {
        failure("the queue of key %s cannot be used: %s; does qscd run?", text, std::strerror(errno));
        return false;
    }
    queue = static_cast<u32>(found);
    return true;
}

bool dispatch_by_queue(const Options& options, const char* path, u32 operation, json_object* object,
                       u32& code)
{
    const JsonRef root{json_object_new_object()};
    const Mark mark = Mark::make();
    queue::Payload payload;
    if (!is_trusted(options.queue)) {
        return false;
    }
    if (root == nullptr || !add(root.get(), queue::kNumber, json_object_new_int64(mark.number)) ||
        !add(root.get(), queue::kPath, json_object_new_string(path)) ||
        !add(root.get(), queue::kRequest, json_object_get(object)) ||
        !payload.write(root.get(), operation, options.commander, 0)) {
        failure("the request is too long for a message of %u bytes", QSCBASE_PAYLOAD_MAX);
        return false;
    }
    {
        const Alarm alarm{kPatienceSeconds};
        const u32 sent = QSCBase_Send(options.queue, 0, queue::kRequestType, mark.type, payload.data(),
                                      static_cast<u16>(payload.length()), queue::kRequestKind);
        if (sent != 0) {
            return say("the request could not be sent", sent);
        }
    }
    queue::Received answer;
    JsonRef answered;
    if (const u32 received = receive_answer(options.queue, mark, answer, answered)) {
        return say("the answer could not be received", received);
    }
    json_object* const header = queue::member_of(answered.get(), queue::kHeader);
    if (answer.kind() != queue::kAnswerKind || !queue::read_number(header, queue::kCode, code)) {
        failure("the answer is malformed; is that the queue of a qscd?");
        return false;
    }
    if (json_object* const error = queue::member_of(answered.get(), queue::kError)) {
        failure("qscd: %s (code %u)", json_object_get_string(error), code);
        return false;
    }
    json_object* const request = queue::member_of(answered.get(), queue::kRequest);
    if (json_object_is_type(request, json_type_object) != 0) {
        json_object_object_foreach(request, name, value)
        {
            json_object_object_add(object, name, json_object_get(value));
        }
    }
    return true;
}

} // namespace qsc
