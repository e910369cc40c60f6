// SPDX-License-Identifier: Apache-2.0
#include "tools/qsc/Queue.h"

#include <cerrno>
#include <csignal>
#include <cstring>

#include <json-c/json.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <unistd.h>

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

/// Nobody else waits for answers of this type: it is our process, marked apart from the daemon's own type.
u32 answer_type()
{
    return queue::kFirstAnswerType +
           static_cast<u32>(getpid()) % (queue::kLastAnswerType - queue::kFirstAnswerType);
}

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

/// Receives the answer, past those that an earlier process of our number has left.
u32 receive_answer(u32 queue, queue::Received& answer)
{
    const Alarm alarm{kPatienceSeconds};
    return answer.receive(queue, answer_type());
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
    queue::Payload payload;
    if (root == nullptr || !add(root.get(), queue::kPath, json_object_new_string(path)) ||
        !add(root.get(), queue::kRequest, json_object_get(object)) ||
        !payload.write(root.get(), operation, options.commander, 0)) {
        failure("the request is too long for a message of %u bytes", QSCBASE_PAYLOAD_MAX);
        return false;
    }
    queue::Received answer;
    while (answer.receive(options.queue, answer_type(), IPC_NOWAIT) == 0) {
    }
    {
        const Alarm alarm{kPatienceSeconds};
        const u32 sent = QSCBase_Send(options.queue, 0, queue::kRequestType, answer_type(), payload.data(),
                                      static_cast<u16>(payload.length()), queue::kRequestKind);
        if (sent != 0) {
            return say("the request could not be sent", sent);
        }
    }
    if (const u32 received = receive_answer(options.queue, answer)) {
        return say("the answer could not be received", received);
    }
    const JsonRef answered = answer.parse();
    json_object* const header = queue::member_of(answered.get(), queue::kHeader);
    if (answered == nullptr || answer.kind() != queue::kAnswerKind ||
        !queue::read_number(header, queue::kCode, code)) {
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
